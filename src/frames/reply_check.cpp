#include "frames/reply_check.h"

#include "Communication_Protocol.h"
#include "bytes.h"
#include "checksums.h"

namespace {

const int shortest_reply = 5;

// CalCRC only reads: a reply whose bytes the host shares keeps sharing them.
bool crc_is_right(const QByteArray &reply) {
    const unsigned char *const bytes = unsigned_bytes(reply);
    const int covered = static_cast<int>(reply.size()) - 2;
    const int crc = CalCRC(const_cast<unsigned char *>(bytes), static_cast<unsigned short>(covered));
    return crc == get_u16_low_first(bytes + covered);
}

// An exception reply carries the request's function code with its top bit set, and so fails here like any other answer
// to something else.
bool answers_function(const QByteArray &reply, const Protocol &request) {
    return request.frame.size() >= 2 && unsigned_bytes(request.frame)[0] == request.var.station_no &&
           reply.at(1) == request.frame.at(1);
}

}  // namespace

int CheckGetData(QByteArray *reply, int /*len*/) {
    if (reply == 0 || reply->size() < shortest_reply || PLC_driver.frame_list.isEmpty())
        return Rejected;
    const Protocol &request = PLC_driver.frame_list.at(0);
    if (unsigned_bytes(*reply)[0] != request.var.station_no)
        return Rejected;
    if (PLC_driver.com_info->remote_mode == 0 && !answers_function(*reply, request))
        return Rejected;
    if (!crc_is_right(*reply))
        return Rejected;
    return request.var.host_ref2 != 0 ? ValidNothingToStore : ValidWithData;
}
