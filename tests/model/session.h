/// \file
/// One random session of the driver, side by side with the model.
///
/// Every decision comes from a Choices object, so that a seeded engine and a byte stream can both drive it.
#ifndef MODEL_SESSION_H
#define MODEL_SESSION_H

#include "choices.h"
#include "comparison.h"
#include "controller.h"
#include "model.h"

#include <deque>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace model {

/// The driver as newly loaded, the model, and operations on both. One session at a time: the driver is one global
/// object.
class Session {
public:
    explicit Session(Choices &source);
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    /// Does one operation on both and compares everything visible. Returns the first difference in words, empty when
    /// there is none. After a difference the session is over.
    std::string step();

    /// The last operations in words, the newest last, one a line.
    std::string history() const;

    /// How often each kind of thing happened so far.
    const Tally &happened() const {
        return expected.happened;
    }

private:
    /// How the host and the line behave for a while.
    struct Behaviour {
        const char *name;
        unsigned good_replies;  ///< percent
        unsigned wild_records;  ///< percent of the hand-made records that carry odd values
        unsigned wild_values;   ///< percent of the host's other numbers and texts that may be anything
        // weights of the operations
        unsigned link, host_write, host_read, once_read, rebuild, hand_made, station, config, query, helper,
            unusual_call;
    };
    static const std::vector<Behaviour> behaviours;

    // the operations
    void link();
    void com_communication();
    void data_com();
    void host_write();
    void host_read();
    void once_read();
    void rebuild();
    void hand_made();
    void station();
    void config();
    void new_behaviour();
    void query();
    void helper();
    void unusual_call();
    void large_operation();

    // helpers without state
    void help_checks();
    void help_types();
    void help_addresses();
    void help_group();
    void help_merge();
    void help_sort();
    void help_pass();
    void help_characters();

    // what they use
    int any_int();
    int or_any(int usual);
    int some_station();
    int some_type();
    int some_address(int type);
    std::string some_text();
    std::string address_text(int type, int address);
    std::string some_address_text(int type);
    int some_count();
    Bytes some_bytes(std::size_t size);
    Bytes some_host_data(int type, int count);
    Var read_record();
    Var write_record();
    void make_odd(Var &var);
    int config_value(Word word);
    struct Reply {
        bool null = false;
        Bytes bytes;
        int length = 0;
        std::string words;
    };
    Reply some_reply();
    Reply good_reply();
    Reply bad_reply();

    void remember(const std::string &words);
    void set_both(std::size_t word, int value);
    void install_block(std::size_t index);
    void compare();
    void compare_calls();

    Choices &choices;
    Driver expected;
    Controller controller;
    Difference difference;
    const Behaviour *behaviour;
    unsigned behaviour_steps_left = 0;
    std::vector<HostBlock> model_blocks;
    std::unique_ptr<std::vector<DriverBlock>> driver_blocks;
    std::size_t installed = 0;
    std::vector<int> stations;
    std::vector<int> types;
    std::vector<int> clusters;
    Bytes previous_reply;
    Var previous_once_read;
    const Protocol *in_flight = nullptr;  ///< what the driver returned last, while it must return the same again
    std::deque<std::string> done;
};

}  // namespace model

#endif
