/// \file
/// A simple controller, which answers request frames from a memory of its own.
#ifndef MODEL_CONTROLLER_H
#define MODEL_CONTROLLER_H

#include "model.h"

#include <map>
#include <utility>

namespace model {

/// A controller that answers for every station. It understands both request formats by their check bytes.
class Controller {
public:
    /// The reply to `request`; empty when its check bytes or its function code are not valid.
    Bytes answer(const Bytes &request);

private:
    using Place = std::pair<int, int>;  ///< station, address

    Bytes answer_rtu(const Bytes &request);
    Bytes answer_remote(const Bytes &request) const;
    int value_at(const std::map<Place, int> &memory, Place place) const;

    std::map<Place, int> coils;
    std::map<Place, int> registers;
    int answered = 0;  ///< memory that nobody wrote changes with every answer
};

}  // namespace model

#endif
