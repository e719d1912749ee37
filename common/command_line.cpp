#include "common/command_line.h"

#include "common/nearest.h"
#include "common/utf8_text.h"

#include <algorithm>
#include <ostream>
#include <sstream>

#include <CLI/CLI.hpp>

namespace common {
namespace {

constexpr int exit_wrong_usage = 2;

std::string with_commas(const std::vector<std::string> &words) {
    std::string text;
    for (const std::string &word : words)
        text += (text.empty() ? "" : ", ") + word;
    return text;
}

// "; X was meant", or which there are.
std::string suggestion(const std::string &word, const std::vector<std::string> &known) {
    const std::optional<std::string> meant = nearest(word, known);
    return meant ? "; " + *meant + " was meant" : "; there are " + with_commas(known);
}

std::vector<std::string> options_of(const CLI::App &command) {
    std::vector<std::string> names;
    for (const CLI::Option *const option : command.get_options())
        for (const std::string &name : option->get_lnames())
            names.push_back("--" + name);
    return names;
}

std::vector<std::string> subcommands_of(const CLI::App &command) {
    std::vector<std::string> names;
    for (const CLI::App *const subcommand : command.get_subcommands(nullptr))
        names.push_back(subcommand->get_name());
    return names;
}

// What is wrong with a command line that has words which nothing takes; nothing when it has none.
std::string about_unknown_word(const CLI::App &program) {
    const CLI::App *command = &program;
    while (!command->get_subcommands().empty())
        command = command->get_subcommands().front();
    const std::vector<std::string> unknown = command->remaining();
    if (unknown.empty())
        return {};
    const auto option = std::find_if(unknown.begin(), unknown.end(),
                                     [](const std::string &word) { return word.size() > 1 && word.front() == '-'; });
    if (option != unknown.end()) {
        const std::string name = option->substr(0, option->find('='));
        return "there is no option " + name + suggestion(name, options_of(*command));
    }
    const std::vector<std::string> subcommands = subcommands_of(*command);
    if (!subcommands.empty())
        return "there is no command " + unknown.front() + suggestion(unknown.front(), subcommands);
    return "nothing takes the argument " + unknown.front();
}

// The library's own message for a number that is out of its range differs from version to version.
template <typename Number> void check_range(CLI::Option &option, Number least, Number most) {
    const CLI::Range range(least, most);
    const auto complaint = [range, least, most](const std::string &typed) {
        std::ostringstream text;
        if (!range(typed).empty())
            text << "Value " << typed << " not in range " << least << " to " << most;
        return text.str();
    };
    option.check(CLI::Validator(complaint, range.get_description()));
}

}  // namespace

Option &Option::required() {
    option_->required();
    return *this;
}

Option &Option::range(int least, int most) {
    check_range(*option_, least, most);
    return *this;
}

Option &Option::range(double least, double most) {
    check_range(*option_, least, most);
    return *this;
}

Option &Option::one_of(const std::vector<std::string> &words) {
    return check([words](const std::string &word) {
        const bool is_one = std::find(words.begin(), words.end(), word) != words.end();
        return is_one ? std::string() : "there is no " + word + suggestion(word, words);
    });
}

Option &Option::check(const Check &check) {
    option_->check([check](const std::string &text) { return check(text); });
    return *this;
}

Option &Option::type_name(const char *word) {
    option_->type_name(word);
    return *this;
}

Option &Option::default_str(const std::string &text) {
    option_->default_str(text);
    return *this;
}

Option &Option::capture_default_str() {
    option_->capture_default_str();
    return *this;
}

Option &Option::group(const char *heading) {
    option_->group(heading);
    return *this;
}

Option &Option::take_last() {
    option_->take_last();
    return *this;
}

Option &Option::one_value_each() {
    option_->allow_extra_args(false);
    return *this;
}

Option &Option::delimiter(char between) {
    option_->delimiter(between);
    return *this;
}

Option &Option::needs(const Option &other) {
    option_->needs(other.option_);
    return *this;
}

Option &Option::excludes(const Option &other) {
    option_->excludes(other.option_);
    return *this;
}

Command Command::add_subcommand(const char *name, const char *meaning) {
    return Command(app_->add_subcommand(name, meaning));
}

template <typename Value> Option Command::add_option(const char *name, Value &value, const char *meaning) {
    return Option(app_->add_option(name, value, meaning));
}

template Option Command::add_option(const char *, int &, const char *);
template Option Command::add_option(const char *, unsigned &, const char *);
template Option Command::add_option(const char *, std::uint64_t &, const char *);
template Option Command::add_option(const char *, std::string &, const char *);
template Option Command::add_option(const char *, std::optional<int> &, const char *);
template Option Command::add_option(const char *, std::optional<unsigned> &, const char *);
template Option Command::add_option(const char *, std::optional<double> &, const char *);
template Option Command::add_option(const char *, std::optional<std::string> &, const char *);
template Option Command::add_option(const char *, std::vector<unsigned> &, const char *);
template Option Command::add_option(const char *, std::vector<std::string> &, const char *);

Option Command::add_flag(const char *name, bool &value, const char *meaning) {
    return Option(app_->add_flag(name, value, meaning));
}

Option Command::add_word(const char *name, const std::function<void(const std::string &)> &take, const char *meaning) {
    return Option(app_->add_option_function<std::string>(name, take, meaning)->type_name("WORD"));
}

void Command::footer(const std::string &text) {
    app_->footer(text);
}

void Command::require_subcommand() {
    app_->require_subcommand(1);
}

void Command::callback(const std::function<void()> &run) {
    app_->callback(run);
}

void Command::pass_on(const std::function<void(const std::vector<std::string> &)> &run) {
    app_->set_help_flag();
    app_->prefix_command();
    app_->callback([app = app_, run] { run(app->remaining()); });
}

CommandLine::CommandLine(const std::string &meaning, const std::string &name, const std::string &version)
    : app_(std::make_unique<CLI::App>(meaning, name)) {
    app_->set_version_flag("--version", name + " " + version);
    app_->failure_message([name](const CLI::App *program, const CLI::Error &refused) {
        const std::string unknown = about_unknown_word(*program);
        return name + ": " + printable(unknown.empty() ? refused.what() : unknown) + "\n";
    });
}

CommandLine::~CommandLine() = default;

Command CommandLine::command() const {
    return Command(app_.get());
}

std::optional<int> CommandLine::parse(const std::vector<std::string> &arguments, std::ostream &out,
                                      std::ostream &error) {
    try {
        app_->parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError &refused) {
        return app_->exit(refused, out, error) == 0 ? 0 : exit_wrong_usage;
    } catch (const UsageError &refused) {
        error << app_->get_name() << ": " << printable(refused.what()) << "\n";
        return exit_wrong_usage;
    }
    return std::nullopt;
}

}  // namespace common
