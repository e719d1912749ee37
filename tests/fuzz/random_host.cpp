/// \file
/// Fuzz target: a random host and a random line, the driver compared with its model.
///
/// The input is read as the decisions of a model::Session; the session ends when its bytes end. A difference between
/// the driver and the model, in anything that a host can see, ends the program.
#include "choices.h"
#include "require.h"
#include "session.h"

#include <cstddef>
#include <cstdint>
#include <iostream>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    model::StreamChoices choices(data, size);
    model::Session session(choices);
    for (unsigned step = 1; !choices.ended(); ++step) {
        const std::string difference = session.step();
        if (difference.empty())
            continue;
        std::cerr << "Step " << step << ": " << difference << "\n(expected: the model; found: the driver)\n"
                  << "The last operations, the newest last, with the model's results:\n"
                  << session.history();
        fuzz::fail("the driver and its model do the same");
    }
    return 0;
}
