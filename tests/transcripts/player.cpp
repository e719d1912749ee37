#include "player.h"

#include "record_pattern.h"
#include "session.h"
#include "source.h"

#include "hex_text.h"

#include <functional>
#include <map>
#include <optional>
#include <regex>
#include <sstream>

namespace transcripts {

namespace {

using Step = std::function<void(Session &)>;
using Parser = Step (*)(const Statement &);

QString latin1(const std::string &text) {
    return QString::fromLatin1(text.c_str());
}

std::string std_text(const QString &text) {
    return text.toUtf8().constData();
}

// A statement that changes something; `check` is one that changes nothing.
Step action(int line, const std::function<void(Session &)> &run) {
    return [line, run](Session &session) {
        session.begin_action(line);
        run(session);
    };
}

Step check(int line, const std::function<void(Session &)> &run) {
    return [line, run](Session &session) {
        session.begin_statement(line);
        run(session);
    };
}

// "left separator right"
std::optional<std::pair<std::string, std::string>> cut(const std::string &text, const std::string &separator) {
    const std::size_t at = text.find(separator);
    if (at == std::string::npos)
        return std::nullopt;
    return std::make_pair(text.substr(0, at), text.substr(at + separator.size()));
}

RecordPattern record_of(int line, const std::string &text, const std::vector<std::string> &required,
                        const std::vector<std::string> &allowed = {}) {
    Words words(line, text);
    const RecordPattern pattern(words);
    pattern.require(words, required, allowed);
    return pattern;
}

void no_more(const Statement &statement) {
    if (!statement.more.empty())
        throw Malformed(statement.more.front().number, "an indented line has no meaning here");
}

// The host's block and stations

struct BlockWord {
    const char *name;
    int ComInfo::*member;
};

const BlockWord block_words[] = {
    {"max_count", &ComInfo::max_count},
    {"default_station", &ComInfo::default_station},
    {"retry_times", &ComInfo::retry_times},
    {"retry_count", &ComInfo::retry_count},
    {"multi_station", &ComInfo::multi_station},
    {"state_a", &ComInfo::state_a},
    {"success_limit", &ComInfo::success_limit},
    {"success_count", &ComInfo::success_count},
    {"state_b", &ComInfo::state_b},
    {"remote_mode", &ComInfo::remote_mode},
    {"local_area_no", &ComInfo::local_area_no},
    {"write_mode", &ComInfo::write_mode},
    {"finish_flag", &ComInfo::finish_flag},
    {"channel_id", &ComInfo::channel_id},
};

int ComInfo::*block_word(const std::string &name) {
    for (const BlockWord &word : block_words)
        if (name == word.name)
            return word.member;
    return nullptr;
}

struct DriverCounter {
    const char *name;
    int Communication_Protocol::*member;
};

const DriverCounter driver_counters[] = {
    {"read_pass_count", &Communication_Protocol::read_pass_count},
    {"last_op", &Communication_Protocol::last_op},
    {"write_tries", &Communication_Protocol::write_tries},
    {"once_read_tries", &Communication_Protocol::once_read_tries},
};

int Communication_Protocol::*driver_counter(const std::string &name) {
    for (const DriverCounter &counter : driver_counters)
        if (name == counter.name)
            return counter.member;
    return nullptr;
}

std::vector<std::pair<int ComInfo::*, int>> block_settings(const Statement &statement) {
    Words words(statement.line, statement.joined());
    std::vector<std::pair<int ComInfo::*, int>> settings;
    do {
        const std::string name = words.take();
        int ComInfo::*const member = block_word(name);
        if (member == nullptr)
            words.refuse("not a word of the host's block: \"" + name + "\"");
        settings.emplace_back(member, words.number());
    } while (!words.done());
    return settings;
}

void apply(const std::vector<std::pair<int ComInfo::*, int>> &settings, ComInfo &info) {
    for (const auto &setting : settings)
        info.*setting.first = setting.second;
}

Step host(const Statement &statement) {
    const auto settings = block_settings(statement);
    return [settings, line = statement.line](Session &session) {
        apply(settings, session.block.info);
        session.connect(line);
    };
}

Step host_changes(const Statement &statement) {
    const auto settings = block_settings(statement);
    return action(statement.line, [settings](Session &session) { apply(settings, session.block.info); });
}

using StationCall = void (*)(int, int);

Step station_call(const Statement &statement, StationCall call) {
    Words words(statement.line, statement.joined());
    words.take("station");
    const int station = words.number();
    words.take("mode");
    const int mode = words.number();
    words.end();
    return action(statement.line, [=](Session &) { call(station, mode); });
}

Step enable_ethernet(const Statement &statement) {
    return station_call(statement, EnableEthernet);
}

Step en_comm_station(const Statement &statement) {
    return station_call(statement, EnCommStation);
}

Step disabled_stations(const Statement &statement) {
    Words words(statement.line, statement.joined());
    std::string expected;
    if (words.next_is("none"))
        words.take();
    else
        do
            expected += std::to_string(words.number()) + " ";
        while (!words.done());
    words.end();
    return check(statement.line, [=](Session &session) {
        std::string found;
        for (int station : PLC_driver.disabled_stations.keys())
            found += std::to_string(station) + (Ethernetcontains(station) ? " " : "(unknown to Ethernetcontains) ");
        session.compare(statement.line, "disabled stations", expected, found);
    });
}

// Lists of records

// "none", "1 entry", "n entries", or one item per line
struct ExpectedList {
    std::size_t size = 0;
    std::vector<std::pair<int, RecordPattern>> items;
};

std::optional<std::size_t> bare_size(const Statement &statement, const std::string &one, const std::string &many) {
    const std::vector<Line> items = statement.items();
    if (items.empty())
        throw Malformed(statement.line, "an empty list is called \"none\"");
    if (items.size() > 1)
        return std::nullopt;
    Words words(items[0].number, items[0].text);
    if (words.next_is("none")) {
        words.take();
        words.end();
        return 0;
    }
    const std::string unit = items[0].text.substr(items[0].text.rfind(' ') + 1);
    if (unit != one && unit != many)
        return std::nullopt;
    const int size = words.number();
    words.take(size == 1 ? one : many);
    words.end();
    return static_cast<std::size_t>(size);
}

ExpectedList expected_list(const Statement &statement) {
    ExpectedList list;
    if (const std::optional<std::size_t> size = bare_size(statement, "entry", "entries")) {
        list.size = *size;
        return list;
    }
    for (const Line &line : statement.items()) {
        Words words(line.number, line.text);
        list.items.emplace_back(line.number, RecordPattern(words));
    }
    list.size = list.items.size();
    return list;
}

void compare_list(Session &session, int line, const std::string &what, const ExpectedList &expected,
                  const QList<RW_VAR> &found) {
    session.compare(line, what + ": entries", std::to_string(expected.size), std::to_string(found.size()));
    for (std::size_t i = 0; i < expected.items.size() && i < static_cast<std::size_t>(found.size()); ++i) {
        const RecordPattern &pattern = expected.items[i].second;
        session.compare(expected.items[i].first, what, pattern.text(), pattern.as_in(found.at(static_cast<int>(i))));
    }
}

Step list_check(const Statement &statement, QList<RW_VAR> Communication_Protocol::*list) {
    const ExpectedList expected = expected_list(statement);
    return check(statement.line, [=](Session &session) {
        compare_list(session, statement.line, statement.verb, expected, PLC_driver.*list);
    });
}

Step write_queue(const Statement &statement) {
    return list_check(statement, &Communication_Protocol::write_list);
}

Step once_read_queue(const Statement &statement) {
    return list_check(statement, &Communication_Protocol::once_read_list);
}

Step read_list(const Statement &statement) {
    return list_check(statement, &Communication_Protocol::read_list);
}

// Variables

Step poll(const Statement &statement) {
    const int line = statement.line;
    const std::string text = statement.joined();
    if (text == "nothing")
        return [line](Session &session) {
            session.poll_nothing(line);
        };
    const RW_VAR var = record_of(line, text, {"station", "type", "address", "count"}, {"aux"}).record();
    if (var.reg_type < 0 || var.reg_type > 255 || var.station_no < 0 || var.station_no > 255)
        throw Malformed(line, "a polled variable has a type and a station of 0 to 255");
    const HOST_VAR polled = support::host_var(var.reg_type, var.station_no, std_text(var.addr_text).c_str(),
                                              var.reg_count, std_text(var.aux_text).c_str());
    return [=](Session &session) {
        session.poll(line, polled);
    };
}

Step blocks(const Statement &statement) {
    const ExpectedList expected = expected_list(statement);
    return [=](Session &session) {
        const int returned = session.rebuild(statement.line);
        session.compare(statement.line, "blocks: returned", std::to_string(expected.size), std::to_string(returned));
        compare_list(session, statement.line, "blocks", expected, PLC_driver.read_list);
    };
}

const std::vector<std::string> record_extras = {"group",      "id",       "area",    "write_marker", "host_ref3",
                                                "store_mode", "aux_word", "address", "aux",          "data"};

Step add_poll(const Statement &statement) {
    const RecordPattern pattern =
        record_of(statement.line, statement.joined(), {"station", "class", "from", "count"}, record_extras);
    return action(statement.line, [=](Session &session) {
        RW_VAR var = pattern.record();
        session.keep_result(AddListReadVar(&var));
    });
}

Step read_once(const Statement &statement) {
    const auto parts = cut(statement.joined(), " leaves ");
    const RecordPattern pattern =
        record_of(statement.line, parts ? parts->first : statement.joined(), {"station", "type", "address", "count"},
                  {"group", "id", "area", "store_mode", "aux_word", "from"});
    std::optional<RecordPattern> left;
    if (parts) {
        Words words(statement.line, parts->second);
        left.emplace(words);
    }
    return action(statement.line, [=](Session &session) {
        RW_VAR var = pattern.record();
        session.keep_result(AddListOnceReadVar(&var, 0));
        if (left)
            session.compare(statement.line, "leaves", left->text(), left->as_in(var));
    });
}

Step read_once_as_it_is(const Statement &statement) {
    const RecordPattern pattern =
        record_of(statement.line, statement.joined(), {"station", "class", "from", "count"}, record_extras);
    return action(statement.line, [=](Session &session) {
        RW_VAR var = pattern.record();
        session.keep_result(AddListOnceReadVar(&var, 1));
    });
}

Step queue_write(const Statement &statement) {
    const RecordPattern pattern =
        record_of(statement.line, statement.joined(), {"station", "type", "from", "count", "data"}, record_extras);
    return action(statement.line, [=](Session &session) {
        RW_VAR var = pattern.record();
        if (!pattern.names("write_marker"))
            var.host_ref2 = 1;
        session.keep_result(AddListWriteVar(&var));
    });
}

Step write(const Statement &statement) {
    const RecordPattern pattern = record_of(statement.line, statement.joined(),
                                            {"station", "type", "address", "count", "data"}, {"group", "id", "aux"});
    return action(statement.line, [=](Session &session) {
        const RW_VAR &var = pattern.record();
        session.keep_result(SetRegisterData(var.aux_text, var.reg_type, var.addr_text, var.station_no, var.value_bytes,
                                            var.reg_count, var.var_group, var.var_id));
    });
}

Step read(const Statement &statement) {
    const std::string text = statement.joined();
    const auto refused = cut(text, " is refused with ");
    const auto given = refused ? refused : cut(text, " gives ");
    if (!given)
        throw Malformed(statement.line, "a read \"gives\" bytes or \"is refused with\" them");
    const RecordPattern pattern = record_of(statement.line, given->first, {"station", "type", "address", "count"});
    Words words(statement.line, given->second);
    const std::string expected = support::hex(words.data());
    words.end();
    return check(statement.line, [=, parses = !refused](Session &session) {
        const RW_VAR &var = pattern.record();
        QByteArray out("untouched");
        const int result =
            GetRegisterData(latin1("unused"), var.reg_type, var.addr_text, var.station_no, out, var.reg_count);
        session.compare(statement.line, "read: returned", parses ? "1" : "0", std::to_string(result));
        session.compare(statement.line, "read", expected, support::hex(out));
    });
}

Step parse(const Statement &statement) {
    const auto parts = cut(statement.joined(), " gives ");
    if (!parts)
        throw Malformed(statement.line, "an address \"gives\" a number");
    const RecordPattern pattern = record_of(statement.line, parts->first, {"type", "address"});
    const int expected = decimal(statement.line, parts->second);
    return check(statement.line, [=](Session &session) {
        const RW_VAR &var = pattern.record();
        session.compare(statement.line, "parse", std::to_string(expected),
                        std::to_string(PLCAddressChangeIntef(var.reg_type, var.addr_text)));
    });
}

// The line

struct ExpectedFrame {
    bool none = false;
    std::string bytes;
    std::optional<std::string> reply;
    std::optional<std::pair<int, RecordPattern>> var;
};

// "17 bytes, data at 3, 12 long", "8 bytes", "no reply", "any length"
std::string expected_reply(Words &words) {
    std::ostringstream text;
    if (words.next_is("no")) {
        words.take();
        words.take("reply");
        text << "0 bytes, data at 0, 0 long";
    } else if (words.next_is("any")) {
        words.take();
        words.take("length");
        text << "-1 bytes, data at 0, 0 long";
    } else {
        text << words.number() << " bytes";
        words.take("bytes");
        int offset = 0;
        int length = 0;
        if (words.next_is("data")) {
            words.take();
            words.take("at");
            offset = words.number();
            length = words.number();
            words.take("long");
        }
        text << ", data at " << offset << ", " << length << " long";
    }
    words.end();
    return text.str();
}

ExpectedFrame expected_frame(const Statement &statement) {
    ExpectedFrame expected;
    std::string bytes;
    for (const Line &line : statement.items()) {
        Words words(line.number, line.text);
        if (words.next_is("expects") && !expected.reply) {
            words.take();
            expected.reply = expected_reply(words);
        } else if (words.next_is("for") && !expected.var) {
            words.take();
            expected.var.emplace(line.number, RecordPattern(words));
        } else if (words.next_is("none")) {
            words.take();
            words.end();
            expected.none = true;
        } else {
            bytes += (bytes.empty() ? "" : " ") + support::hex(hex_pairs(line.number, line.text));
        }
    }
    if (expected.none ? !bytes.empty() || expected.reply || expected.var : bytes.empty())
        throw Malformed(statement.line, "a frame is its bytes and what it expects, or \"none\"");
    expected.bytes = bytes;
    return expected;
}

void compare_frame(Session &session, const Statement &statement, const ExpectedFrame &expected, const Protocol *found) {
    session.compare(statement.line, statement.verb, expected.none ? "none" : expected.bytes,
                    found == nullptr ? "none" : support::hex(found->frame));
    if (found == nullptr)
        return;
    session.compare(statement.line, statement.verb + ": bytes to send", std::to_string(found->frame.size()),
                    std::to_string(found->send_len));
    if (expected.reply)
        session.compare(statement.line, statement.verb + ": expects", *expected.reply,
                        std::to_string(found->reply_len) + " bytes, data at " + std::to_string(found->data_offset) +
                            ", " + std::to_string(found->data_len) + " long");
    if (expected.var)
        session.compare(expected.var->first, statement.verb + ": for", expected.var->second.text(),
                        expected.var->second.as_in(found->var));
}

Step next_frame(const Statement &statement) {
    const ExpectedFrame expected = expected_frame(statement);
    return [=](Session &session) {
        compare_frame(session, statement, expected, session.next_frame(statement.line));
    };
}

Step same_frame(const Statement &statement) {
    const ExpectedFrame expected = expected_frame(statement);
    if (expected.none)
        throw Malformed(statement.line, "the same frame cannot be none");
    return [=](Session &session) {
        compare_frame(session, statement, expected, session.same_frame(statement.line));
    };
}

Step reply(const Statement &statement) {
    const int line = statement.line;
    const std::string text = statement.joined();
    if (text == "null")
        return [line](Session &session) {
            session.null_reply(line);
        };
    const QByteArray data = text == "none" ? QByteArray() : hex_pairs(line, text);
    if (data.isEmpty() && text != "none")
        throw Malformed(line, "a reply is bytes, \"none\" or \"null\"");
    return [=](Session &session) {
        session.reply(line, data);
    };
}

Step returns(const Statement &statement) {
    no_more(statement);
    const int expected = decimal(statement.line, statement.text);
    return check(statement.line, [=](Session &session) { session.returns(statement.line, expected); });
}

Step in_flight(const Statement &statement) {
    std::vector<std::string> expected;
    const std::optional<std::size_t> size = bare_size(statement, "frame", "frames");
    if (!size)
        for (const Line &line : statement.items())
            expected.push_back(support::hex(hex_pairs(line.number, line.text)));
    return check(statement.line, [=](Session &session) {
        const QList<Protocol> &frames = PLC_driver.frame_list;
        session.compare(statement.line, "in flight: frames", std::to_string(size.value_or(expected.size())),
                        std::to_string(frames.size()));
        for (std::size_t i = 0; i < expected.size() && i < static_cast<std::size_t>(frames.size()); ++i)
            session.compare(statement.line, "in flight", expected[i],
                            support::hex(frames.at(static_cast<int>(i)).frame));
    });
}

// What the host sees afterwards

Step callbacks(const Statement &statement) {
    static const std::regex call(R"(write_result\(channel -?\d+, group -?\d+, id -?\d+, (done|failed)\)|)"
                                 R"(comm_error\(empty list, group -?\d+, flag -?\d+\))");
    std::vector<std::string> expected;
    const std::vector<Line> items = statement.items();
    if (items.empty())
        throw Malformed(statement.line, "an empty list of callbacks is called \"none\"");
    if (items.size() > 1 || items[0].text != "none")
        for (const Line &line : items) {
            if (!std::regex_match(line.text, call))
                throw Malformed(line.number, "not a callback: \"" + line.text + "\"");
            expected.push_back(line.text);
        }
    return check(statement.line, [=](Session &session) {
        const std::vector<std::string> found = session.take_callbacks();
        for (std::size_t i = 0; i < std::max(expected.size(), found.size()); ++i)
            session.compare(statement.line, "callbacks: call " + std::to_string(i + 1),
                            i < expected.size() ? expected[i] : "none", i < found.size() ? found[i] : "none");
    });
}

Step counters(const Statement &statement) {
    Words words(statement.line, statement.joined());
    std::vector<std::pair<std::string, int>> expected;
    do {
        const std::string name = words.take();
        if (block_word(name) == nullptr && driver_counter(name) == nullptr)
            words.refuse("not a counter: \"" + name + "\"");
        expected.emplace_back(name, words.number());
    } while (!words.done());
    return check(statement.line, [=](Session &session) {
        for (const auto &counter : expected) {
            int ComInfo::*const word = block_word(counter.first);
            const int found = word != nullptr ? session.block.info.*word : PLC_driver.*driver_counter(counter.first);
            session.compare(statement.line, counter.first, std::to_string(counter.second), std::to_string(found));
        }
    });
}

Step comm_failed(const Statement &statement) {
    no_more(statement);
    if (statement.text != "true" && statement.text != "false")
        throw Malformed(statement.line, "comm_failed is true or false");
    return check(statement.line, [=](Session &session) {
        session.compare(statement.line, "comm_failed", statement.text, PLC_driver.comm_failed ? "true" : "false");
    });
}

Step result_record(const Statement &statement) {
    Words words(statement.line, statement.joined());
    const RecordPattern pattern(words);
    return check(statement.line, [=](Session &session) {
        if (session.result_record() == nullptr)
            throw Malformed(statement.line, "there was no reply yet");
        session.compare(statement.line, "result record", pattern.text(), pattern.as_in(*session.result_record()));
    });
}

Step fail_record(const Statement &statement) {
    Words words(statement.line, statement.joined());
    const RecordPattern pattern(words);
    return check(statement.line, [=](Session &session) {
        session.compare(statement.line, "fail record", pattern.text(), pattern.as_in(PLC_driver.fail_var));
    });
}

template <class Value> std::string cached(const QHash<unsigned int, Value> &cache, unsigned int key, int digits) {
    if (!cache.contains(key))
        return "-";
    const std::string text = QString::number(cache.value(key), 16).toUpper().toLatin1().constData();
    if (digits == 0)
        return text;
    return "0x" + std::string(static_cast<std::size_t>(digits) - text.size(), '0') + text;
}

std::string cached(int reg_class, unsigned int key) {
    if (reg_class < 7)
        return cached(PLC_driver.bit_cache, key, 0);
    return reg_class == 13 ? cached(PLC_driver.dword_cache, key, 8) : cached(PLC_driver.word_cache, key, 4);
}

Step cache(const Statement &statement) {
    static const std::regex bit("[01]|-");
    static const std::regex word("0x[0-9A-F]{4}|-");
    static const std::regex dword("0x[0-9A-F]{8}|-");
    const auto parts = cut(statement.joined(), ": ");
    if (!parts)
        throw Malformed(statement.line, "the values come after a colon");
    const RW_VAR var = record_of(statement.line, parts->first, {"station", "class", "from"}).record();
    if (var.reg_type < 0 || var.reg_type > 13)
        throw Malformed(statement.line, "not a class that is cached");
    const std::regex &form = var.reg_type < 7 ? bit : (var.reg_type == 13 ? dword : word);
    Words words(statement.line, parts->second);
    std::vector<std::string> expected;
    do {
        expected.push_back(words.take());
        if (!std::regex_match(expected.back(), form))
            words.refuse("not a value of this class: \"" + expected.back() + "\"");
    } while (!words.done());
    return check(statement.line, [=](Session &session) {
        const unsigned int key = static_cast<unsigned int>(var.station_no) << 24 |
                                 static_cast<unsigned int>(var.reg_type) << 16 |
                                 static_cast<unsigned int>(var.reg_addr);
        for (std::size_t i = 0; i < expected.size(); ++i)
            session.compare(statement.line, "cache: address " + std::to_string(var.reg_addr + static_cast<int>(i)),
                            expected[i], cached(var.reg_type, key + static_cast<unsigned int>(i)));
    });
}

Step cache_holds(const Statement &statement) {
    Words words(statement.line, statement.joined());
    const int bits = words.number();
    words.take("bits");
    const int registers = words.number();
    words.take("registers");
    const int values = words.number();
    words.take("values");
    words.end();
    return check(statement.line, [=](Session &session) {
        const auto compare = [&](const char *what, int expected, const auto &found) {
            session.compare(statement.line, std::string("cache holds: ") + what, std::to_string(expected),
                            std::to_string(found.size()));
        };
        compare("bits", bits, PLC_driver.bit_cache);
        compare("registers", registers, PLC_driver.word_cache);
        compare("values", values, PLC_driver.dword_cache);
    });
}

const std::map<std::string, Parser> verbs = {
    {"host", host},
    {"host changes", host_changes},
    {"EnableEthernet", enable_ethernet},
    {"EnCommStation", en_comm_station},
    {"disabled stations", disabled_stations},
    {"poll", poll},
    {"blocks", blocks},
    {"add poll", add_poll},
    {"read once", read_once},
    {"read once as it is", read_once_as_it_is},
    {"write", write},
    {"queue write", queue_write},
    {"read", read},
    {"parse", parse},
    {"next frame", next_frame},
    {"same frame", same_frame},
    {"reply", reply},
    {"returns", returns},
    {"callbacks", callbacks},
    {"in flight", in_flight},
    {"write queue", write_queue},
    {"once-read queue", once_read_queue},
    {"read list", read_list},
    {"counters", counters},
    {"comm_failed", comm_failed},
    {"result record", result_record},
    {"fail record", fail_record},
    {"cache", cache},
    {"cache holds", cache_holds},
};

Step step_of(const Statement &statement) {
    const auto verb = verbs.find(statement.verb);
    if (verb == verbs.end())
        throw Malformed(statement.line, "unknown verb: \"" + statement.verb + "\"");
    return verb->second(statement);
}

}  // namespace

std::vector<Complaint> play(std::istream &text) {
    Session session;
    try {
        const std::vector<Statement> statements = read_statements(text);
        std::vector<Step> steps;
        for (const Statement &statement : statements)
            steps.push_back(step_of(statement));
        for (const Step &step : steps)
            step(session);
        session.end(statements.back().line);
    } catch (const Malformed &malformed) {
        session.complain(malformed.line, std::string("malformed: ") + malformed.what());
    }
    return session.complaints;
}

}  // namespace transcripts
