#pragma once

#include "host/list/poll_list.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory_resource>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace kelpo {

/// The number that the driver makes of an address text; nothing when it does not accept the text.
using AddressOf = std::function<std::optional<int>(int type, const std::string &text)>;

/// Something that a list file says, as text, and where.
struct Field {
    std::string text;
    int line;
    bool noted = false;  ///< the content is not usable, and the mistake is noted already
};

/// A variable as a list file gives it.
struct VariableRow {
    int line;
    std::optional<Field> name, station, type, address, count, view, every{};
};

/// A station as a list file gives it; the number is known to be 1 to 247.
struct StationRow {
    int line;
    Station station;
};

/// Makes a list of what its files say, and notes every mistake in it: the first thousand of a kind, and how many
/// more there are.
class ListBuilder {
public:
    /// All three must outlive the builder.
    ListBuilder(PollList &list, Remarks &remarks, const AddressOf &address_of);
    ~ListBuilder() = default;
    ListBuilder(const ListBuilder &) = delete;
    ListBuilder &operator=(const ListBuilder &) = delete;

    void mistake(const FilePlace &place, const std::string &text);
    void warning(const FilePlace &place, const std::string &text);

    /// To be called for all stations before the first variable: they decide what a variable without a station means.
    void add_station(const std::string &file, const StationRow &row);

    /// Adds the variable, and fills in what is left out: the only described station, or 1; the type's own view; one
    /// value; the name "station:type:address". A row with a mistake is noted and left out.
    void add_variable(const std::string &file, const VariableRow &row);

    /// To be called at the end: stations that are named only by variables are added.
    void finish();

private:
    std::optional<long long> number_in(const std::string &file, const Field &field, const std::string &what,
                                       long long low, long long high, const std::string &meaning);
    std::optional<int> station_of(const std::string &file, const VariableRow &row);
    std::optional<int> type_of(const std::string &file, const VariableRow &row);
    std::optional<std::string> address_of(const std::string &file, const VariableRow &row, std::optional<int> type);
    std::optional<View> view_of(const std::string &file, const VariableRow &row, std::optional<int> type);
    std::optional<int> count_of(const std::string &file, const VariableRow &row, std::optional<View> view);
    std::optional<std::chrono::milliseconds> every_of(const std::string &file, const VariableRow &row,
                                                      std::optional<int> station);
    bool may_take(const std::string &name, const FilePlace &place);

    // What was noted of one kind of remark.
    struct Noted {
        std::size_t kept = 0;
        std::size_t last = 0;  // in remarks_
    };

    void note(Remark remark);

    PollList &list_;
    Remarks &remarks_;
    std::map<Remark::Kind, Noted> noted_;
    const AddressOf &address_of_;
    std::uint8_t number_of(const std::string &file);

    // A name that is taken: that of a variable of the list, or of one that was left out.
    struct Taken {
        std::size_t index;  // in list_.variables or left_out_
        DefinedAt at;
        bool left_out;
    };
    // By the names, which are where they are kept.
    struct NameOrder {
        using is_transparent = void;
        const ListBuilder *builder;

        bool operator()(const Taken &one, const Taken &other) const {
            return builder->name_of(one) < builder->name_of(other);
        }
        bool operator()(const Taken &one, const std::string &name) const {
            return builder->name_of(one) < name;
        }
        bool operator()(const std::string &name, const Taken &one) const {
            return name < builder->name_of(one);
        }
    };

    const std::string &name_of(const Taken &taken) const;

    std::vector<std::string> left_out_;                 // names
    std::pmr::monotonic_buffer_resource names_memory_;  // given back as a whole
    std::pmr::set<Taken, NameOrder> names_{NameOrder{this}, &names_memory_};
    std::map<int, FilePlace> stations_;
    std::map<int, std::chrono::milliseconds> rates_;  // of stations that have one
};

}  // namespace kelpo
