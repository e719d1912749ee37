/// \file
/// A second implementation of the driver's rules: slow and plain, with no code of the driver and no type of Qt.
///
/// Each operation of model::Driver has the name of the driver's operation, and its body follows the written rule step
/// by step. Where it and the driver differ, one of the two breaks the rule.
///
/// Numbers: record fields are 32 bits wide; sums are calculated and compared in 64 bits and cut to 32 where they are
/// stored in a field.
#ifndef MODEL_MODEL_H
#define MODEL_MODEL_H

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace model {

using Bytes = std::vector<std::uint8_t>;

/// One variable. Texts are Latin-1.
struct Var {
    int var_group = 0;
    int var_id = 0;
    int host_ref2 = 0;
    int host_ref3 = 0;
    int area_no = 0;
    int ret_value = 0;
    std::string aux_text;
    std::string addr_text;
    int reg_type = 0;
    int reg_addr = 0;
    int station_no = 0;
    int reg_count = 0;
    int store_mode = 0;
    int aux_word = 0;
    Bytes value_bytes;
};

/// One request frame in flight.
struct Frame {
    Bytes frame;
    int send_len = 0;
    int reply_len = 0;
    int data_offset = 0;
    int data_len = 0;
    Var var;
};

/// One variable that the host wants polled.
struct PolledVar {
    int reg_type = 0;
    int station_no = 0;
    std::string addr_text;
    std::string aux_text;
    int reg_count = 0;
};

/// Indexes of the words of the host's block that the driver knows.
enum Word {
    max_count = 4,
    default_station = 6,
    retry_times = 7,
    retry_count = 8,
    multi_station = 9,
    state_a = 10,
    success_limit = 11,
    success_count = 12,
    state_b = 13,
    remote_mode = 14,
    local_area_no = 15,
    write_mode = 16,
    finish_flag = 17,
    channel_id = 18
};

/// The host's block: more words than the driver knows, so that a stray write is noticed.
using HostBlock = std::array<int, 32>;

/// One call of a host callback, with the queues as the callback sees them.
struct HostCall {
    enum Kind { write_result, comm_error } kind = write_result;
    std::array<int, 4> arguments{};   ///< of comm_error: 1 for an empty list, var_group, flag, 0
    std::size_t writes = 0;           ///< entries of the write queue during the call
    std::size_t once_reads = 0;       ///< entries of the once-read queue during the call
    std::size_t frames = 0;           ///< frames in flight during the call
    bool queues_are_settled = false;  ///< the rules define those three numbers
};

/// How often each kind of thing happened.
using Tally = std::map<std::string, unsigned long>;

/// \name Rules without state
/// @{
int low32(long long value);
std::optional<int> number_from(const std::string &text, int base);
int string_address_to_int(int type, const std::string &text);
int get_plc_reg(int type);
void update_info(Var &var);
int get_offset_address(int type, int address);
int cal_sum(const Bytes &data);
int cal_crc(const Bytes &data, std::size_t length);
int cal_lrc(const Bytes &data);
int cal_xor(const Bytes &data, std::size_t length);
int digital_to_ascii(int digit);
int ascii_to_digital(int ch);
void bubble_sort(std::deque<Var> &vars);
void whether_group(int total, int limit, Var &var, std::deque<Var> &out);
void pass_ret_value(const Var &from, Var &to);
/// @}

/// The driver's whole visible state and every operation on it.
class Driver {
public:
    HostBlock *info = nullptr;
    std::deque<Var> read_list;
    std::deque<Var> write_list;
    std::deque<Var> once_read_list;
    std::deque<Frame> frame_list;
    std::set<int> disabled_stations;
    Var ret_var;
    int last_op = 100;
    int write_tries = 0;
    int once_read_tries = 0;
    int read_pass_count = 0;
    bool comm_failed = false;
    Var fail_var;
    std::unordered_map<std::uint32_t, std::uint8_t> bit_cache;
    std::unordered_map<std::uint32_t, std::uint16_t> word_cache;
    std::unordered_map<std::uint32_t, std::uint32_t> dword_cache;

    std::vector<HostCall> calls;  ///< callbacks so far; the code that reads them empties the list
    Tally happened;

    // configuration
    void set_com_info(HostBlock *block);
    void enable_ethernet(int station, int mode);
    bool ethernet_contains(int station) const;

    // registration and planning
    int add_list_read_var(const Var &var);
    int add_list_write_var(const Var &var);
    int add_list_once_read_var(Var &var, int mode);
    int recreat_read_var_list(const std::vector<PolledVar> &vars);
    void merge(const std::deque<Var> &vars, int limit, std::deque<Var> &output);

    // values
    void write_data_to_local(const Var &var);
    int get_register_data(int reg_type, const std::string &address, int station_no, Bytes &out, int count);
    int set_register_data(const std::string &text, int reg_type, const std::string &address, int station_no,
                          const Bytes &data, int count, int var_group, int var_id);

    // link
    const Frame *com_communication();
    int data_com(const Bytes *reply, int length);
    int deal_data_of_local_area(const Bytes *reply, int length);
    int deal_data_of_remote_area(const Bytes *reply, int length);
    int check_get_data(const Bytes *reply) const;
    void save_to_local_data_area(const Bytes *reply);
    int get_driver_return_value(int kind) const;
    int switch_error_return(int base) const;

private:
    int word(Word index) const;
    void set_word(Word index, int value);
    void note(const char *what);
    int units_per_request() const;
    int station_for(int wanted) const;
    void call_write_result(const Var &var, int status, bool queues_are_settled);
    void call_comm_error(int var_group);

    void submit(const Var &var);

    void read_register(const Var &var);
    void read_analog(const Var &var);
    void read_analog_2(const Var &var, int split);
    void write_register(const Var &var);
    void write_analog(const Var &var);
    void write_analog_in_two(const Var &var, int split, bool swapped);
    void write_analog_bit(const Var &var);
    void remote_read_var(const Var &var);
    void remote_write_var(const Var &var);
    Bytes remote_frame_start(const Var &var) const;
    void queue_frame(const Bytes &frame, int reply_len, int data_offset, int data_len, const Var &var);
    void expect_good_replies(int number);

    void drop_disabled_heads(std::deque<Var> &queue);
    void special_register_save(const Bytes &reply);
    void advance_queue(bool remote_reply);
    void retire_head(std::deque<Var> &queue, bool report);
    void purge(std::deque<Var> &queue);
};

}  // namespace model

#endif
