#include "Communication_Protocol.h"

#include <cstring>

Communication_Protocol::Communication_Protocol()
    : com_info(0), write_result_cb(0), comm_error_cb(0), last_op(100), write_tries(0), once_read_tries(0),
      read_pass_count(0), comm_failed(false), spare_flag(false) {
    std::memset(send_buf, 0, sizeof send_buf);
}

Communication_Protocol PLC_driver;

void *LB = 0;
void *LW = 0;
void *RWI = 0;
