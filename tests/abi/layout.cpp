#include "layout.h"

#include "ozna_kelpo_port.h"

#include <istream>
#include <map>
#include <ostream>
#include <sstream>
#include <stdexcept>

namespace records {
namespace {

std::string text_of(const Place &place) {
    return "offset " + std::to_string(place.offset) + " size " + std::to_string(place.size);
}

std::map<std::string, Place> by_name(const Layout &layout) {
    std::map<std::string, Place> places;
    for (const Place &place : layout)
        places.emplace(place.name, place);
    return places;
}

}  // namespace

#define RECORD(record)                                                                                                 \
    Place {                                                                                                            \
#        record, 0, sizeof(record)                                                                                     \
    }
#define FIELD(record, field)                                                                                           \
    Place {                                                                                                            \
#        record "." #        field, offsetof(record, field), sizeof(record::field)                                     \
    }

Layout measured_layout() {
    return {
        RECORD(RW_VAR),
        FIELD(RW_VAR, var_group),
        FIELD(RW_VAR, var_id),
        FIELD(RW_VAR, host_ref2),
        FIELD(RW_VAR, host_ref3),
        FIELD(RW_VAR, area_no),
        FIELD(RW_VAR, ret_value),
        FIELD(RW_VAR, aux_text),
        FIELD(RW_VAR, addr_text),
        FIELD(RW_VAR, reg_type),
        FIELD(RW_VAR, reg_addr),
        FIELD(RW_VAR, station_no),
        FIELD(RW_VAR, reg_count),
        FIELD(RW_VAR, store_mode),
        FIELD(RW_VAR, aux_word),
        FIELD(RW_VAR, value_bytes),

        RECORD(Protocol),
        FIELD(Protocol, frame),
        FIELD(Protocol, send_len),
        FIELD(Protocol, reply_len),
        FIELD(Protocol, data_offset),
        FIELD(Protocol, data_len),
        FIELD(Protocol, var),

        RECORD(EXTENDVAR),
        FIELD(EXTENDVAR, ext_a),
        FIELD(EXTENDVAR, ext_b),
        FIELD(EXTENDVAR, ext_c),
        FIELD(EXTENDVAR, ext_data),

        RECORD(HOST_VAR),
        FIELD(HOST_VAR, host_byte_0),
        FIELD(HOST_VAR, reg_type),
        FIELD(HOST_VAR, station_no),
        FIELD(HOST_VAR, host_byte_3),
        FIELD(HOST_VAR, host_word_4),
        FIELD(HOST_VAR, addr_text),
        FIELD(HOST_VAR, aux_text),
        FIELD(HOST_VAR, reg_count),

        RECORD(ComInfo),
        FIELD(ComInfo, host_words_0_to_3),
        FIELD(ComInfo, max_count),
        FIELD(ComInfo, host_word_5),
        FIELD(ComInfo, default_station),
        FIELD(ComInfo, retry_times),
        FIELD(ComInfo, retry_count),
        FIELD(ComInfo, multi_station),
        FIELD(ComInfo, state_a),
        FIELD(ComInfo, success_limit),
        FIELD(ComInfo, success_count),
        FIELD(ComInfo, state_b),
        FIELD(ComInfo, remote_mode),
        FIELD(ComInfo, local_area_no),
        FIELD(ComInfo, write_mode),
        FIELD(ComInfo, finish_flag),
        FIELD(ComInfo, channel_id),

        RECORD(Communication_Protocol),
        FIELD(Communication_Protocol, com_info),
        FIELD(Communication_Protocol, read_list),
        FIELD(Communication_Protocol, write_list),
        FIELD(Communication_Protocol, once_read_list),
        FIELD(Communication_Protocol, read_source_list),
        FIELD(Communication_Protocol, frame_list),
        FIELD(Communication_Protocol, extend_list),
        FIELD(Communication_Protocol, write_result_cb),
        FIELD(Communication_Protocol, comm_error_cb),
        FIELD(Communication_Protocol, list_mutex),
        FIELD(Communication_Protocol, cache_mutex),
        FIELD(Communication_Protocol, station_mutex),
        FIELD(Communication_Protocol, disabled_stations),
        FIELD(Communication_Protocol, ret_var),
        FIELD(Communication_Protocol, last_op),
        FIELD(Communication_Protocol, write_tries),
        FIELD(Communication_Protocol, once_read_tries),
        FIELD(Communication_Protocol, read_pass_count),
        FIELD(Communication_Protocol, comm_failed),
        FIELD(Communication_Protocol, spare_flag),
        FIELD(Communication_Protocol, fail_var),
        FIELD(Communication_Protocol, send_buf),
        FIELD(Communication_Protocol, bit_cache),
        FIELD(Communication_Protocol, word_cache),
        FIELD(Communication_Protocol, dword_cache),
    };
}

#undef FIELD
#undef RECORD

std::string layout_file_name() {
    const char *const word_size = sizeof(void *) == 8 ? "lp64" : "ilp32";
    return "layout-qt" + std::to_string(QT_VERSION >> 16) + "-" + word_size + ".txt";
}

void print(std::ostream &out, const Layout &layout) {
    for (const Place &place : layout)
        out << place.name << ' ' << place.offset << ' ' << place.size << '\n';
}

Layout read_layout(std::istream &in) {
    Layout layout;
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        Place place;
        std::string more;
        if (!(words >> place.name >> place.offset >> place.size) || words >> more)
            throw std::runtime_error("not a line of a layout: " + line);
        layout.push_back(place);
    }
    return layout;
}

std::string differences(const Layout &expected, const Layout &found) {
    const std::map<std::string, Place> expected_places = by_name(expected);
    const std::map<std::string, Place> found_places = by_name(found);
    std::string text;
    for (const Place &place : expected) {
        const auto other = found_places.find(place.name);
        if (other == found_places.end())
            text += place.name + ": expected " + text_of(place) + ", found no such field\n";
        else if (!(other->second == place))
            text += place.name + ": expected " + text_of(place) + ", found " + text_of(other->second) + "\n";
    }
    for (const Place &place : found) {
        if (expected_places.find(place.name) == expected_places.end())
            text += place.name + ": not expected, found " + text_of(place) + "\n";
    }
    return text;
}

}  // namespace records
