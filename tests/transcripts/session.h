/// \file
/// The driver and the host that a transcript plays with.
#ifndef TRANSCRIPTS_SESSION_H
#define TRANSCRIPTS_SESSION_H

#include "player.h"
#include "words.h"

#include "driver_test.h"

#include <optional>
#include <string>
#include <vector>

namespace transcripts {

/// A newly loaded driver and a host block, as long as the object exists. Collects what is not as stated.
class Session {
public:
    Session();
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    /// \name What the host does
    /// @{

    /// Hands the block and the callbacks over. Nothing else may come before.
    void connect(int line);

    /// Called before every further action: the last one's result and callbacks must have been stated.
    void begin_action(int line);

    /// Keeps what an action returned until `returns`.
    void keep_result(int value);

    /// Adds a variable to the list that `rebuild` passes.
    void poll(int line, const HOST_VAR &var);

    /// The list that `rebuild` passes is empty.
    void poll_nothing(int line);

    /// Passes the polled variables to the driver; returns the number of blocks.
    int rebuild(int line);

    /// ComCommunication, when a new frame is expected.
    const Protocol *next_frame(int line);

    /// ComCommunication, when the frame in flight is expected again.
    const Protocol *same_frame(int line);

    /// DataCom with `data`, or with a null pointer and length 0.
    void reply(int line, const QByteArray &data);
    void null_reply(int line);

    /// @}
    /// \name What is stated
    /// @{

    /// A statement other than an action.
    void begin_statement(int line);

    /// Complains when `found` is not `expected`.
    void compare(int line, const std::string &what, const std::string &expected, const std::string &found);

    void returns(int line, int expected);

    /// The callbacks since the last action, in order; they count as stated from now on.
    std::vector<std::string> take_callbacks();

    /// The record that DataCom returned last; null before the first reply.
    const RW_VAR *result_record() const {
        return result;
    }

    /// The end: all must have been stated, the host's own words unchanged and the mutexes free.
    void end(int line);

    /// @}

    void complain(int line, const std::string &text);

    support::HostBlock block;
    std::vector<Complaint> complaints;

private:
    void answer(QByteArray *data, int length);

    bool connected;
    bool poll_open;
    QList<HOST_VAR> polled;
    std::optional<int> unstated_result;
    const Protocol *in_flight;
    const RW_VAR *result;
};

}  // namespace transcripts

#endif
