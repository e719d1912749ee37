#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

/// What the programs of this project share.
namespace common {

/// A command line that cannot be carried out. what() says why, for the user.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Says why a text is not a value of an option, or nothing when it is one.
using Check = std::function<std::string(const std::string &)>;

/// An option, flag or argument of a command, to set more of its properties. Owned by the command line that it belongs
/// to.
class Option {
public:
    explicit Option(CLI::Option *option) : option_(option) {}

    Option &required();
    /// Numbers from `least` to `most`, both included.
    Option &range(int least, int most);
    Option &range(double least, double most);
    /// One of these words.
    Option &one_of(const std::vector<std::string> &words);
    Option &check(const Check &check);
    /// The word that the help shows for the value.
    Option &type_name(const char *word);
    /// What the help shows as the value when none is given.
    Option &default_str(const std::string &text);
    /// The help shows the variable's present value as the default.
    Option &capture_default_str();
    /// The heading of the help under which it is listed.
    Option &group(const char *heading);
    /// If it is given more than once, the last one counts.
    Option &take_last();
    /// Each value has an option's name of its own before it.
    Option &one_value_each();
    /// Several values in one word, with `between` between them.
    Option &delimiter(char between);
    Option &needs(const Option &other);
    Option &excludes(const Option &other);

private:
    CLI::Option *option_;
};

/// A command, or a subcommand of one: what it takes, and what it does. Refers to the command line that it belongs to,
/// and may be copied.
class Command {
public:
    explicit Command(CLI::App *app) : app_(app) {}

    Command add_subcommand(const char *name, const char *meaning);

    /// An option --NAME, or an argument when `name` begins with no dash; parsing puts what was given into `value`.
    /// Value is int, unsigned, std::uint64_t, std::string, a std::optional of int, unsigned, double or
    /// std::string, or a std::vector of unsigned or std::string.
    template <typename Value> Option add_option(const char *name, Value &value, const char *meaning);

    /// An option whose values are words, each for a value of the program.
    template <typename Value>
    Option add_option(const char *name, std::optional<Value> &value, const std::map<std::string, Value> &words,
                      const char *meaning) {
        std::vector<std::string> known;
        known.reserve(words.size());
        for (const auto &[word, meant] : words)
            known.push_back(word);
        return add_word(
                   name, [&value, words](const std::string &word) { value = words.at(word); }, meaning)
            .one_of(known);
    }

    /// True is put into `value` when the flag is given.
    Option add_flag(const char *name, bool &value, const char *meaning);

    /// The text below the options in the help.
    void footer(const std::string &text);

    /// One subcommand must be called.
    void require_subcommand();

    /// What the command does, once its options are read.
    void callback(const std::function<void()> &run);

    /// Instead of that: everything after the command's name, options and --help included, goes to `run` as it is.
    void pass_on(const std::function<void(const std::vector<std::string> &)> &run);

private:
    Option add_word(const char *name, const std::function<void(const std::string &)> &take, const char *meaning);

    CLI::App *app_;
};

/// A program's command line. The variables that its options fill must live until it is parsed.
class CommandLine {
public:
    /// `name` is what the user calls the program by; help and errors show it. `version` is what --version prints.
    CommandLine(const std::string &meaning, const std::string &name, const std::string &version);
    ~CommandLine();
    CommandLine(const CommandLine &) = delete;
    CommandLine &operator=(const CommandLine &) = delete;

    /// The program itself, to add options and subcommands to.
    Command command() const;

    /// Reads the arguments, which are those of main without the program's name, and does what the command called does.
    /// Nothing when it has run, or when there was nothing to run. Otherwise the program's exit code: 0 after --help and
    /// --version, whose text goes to `out`; 2 after a UsageError, of the options or of the command, which is reported
    /// in one line to `error`.
    std::optional<int> parse(const std::vector<std::string> &arguments, std::ostream &out, std::ostream &error);

private:
    std::unique_ptr<CLI::App> app_;
};

}  // namespace common
