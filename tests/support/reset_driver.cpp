#include "reset_driver.h"

#include "ozna_kelpo_port.h"

#include <cstring>

namespace support {

void reset_driver() {
    PLC_driver.com_info = nullptr;
    PLC_driver.read_list.clear();
    PLC_driver.write_list.clear();
    PLC_driver.once_read_list.clear();
    PLC_driver.read_source_list.clear();
    PLC_driver.frame_list.clear();
    PLC_driver.extend_list.clear();
    PLC_driver.write_result_cb = nullptr;
    PLC_driver.comm_error_cb = nullptr;
    PLC_driver.disabled_stations.clear();
    PLC_driver.ret_var = RW_VAR();
    PLC_driver.last_op = 100;
    PLC_driver.write_tries = 0;
    PLC_driver.once_read_tries = 0;
    PLC_driver.read_pass_count = 0;
    PLC_driver.comm_failed = false;
    PLC_driver.spare_flag = false;
    PLC_driver.fail_var = RW_VAR();
    std::memset(PLC_driver.send_buf, 0, sizeof PLC_driver.send_buf);
    PLC_driver.bit_cache.clear();
    PLC_driver.word_cache.clear();
    PLC_driver.dword_cache.clear();
    LB = nullptr;
    LW = nullptr;
    RWI = nullptr;
}

}  // namespace support
