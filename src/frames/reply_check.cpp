#include "frames/reply_check.h"

#include "Communication_Protocol.h"
#include "bytes.h"
#include "checksums.h"
#include "frame_layout.h"

namespace {

// CalCRC only reads: a reply whose bytes the host shares keeps sharing them.
bool crc_is_right(const QByteArray &reply) {
    const unsigned char *const bytes = unsigned_bytes(reply);
    const int covered = static_cast<int>(reply.size()) - crc_length;
    const int crc = CalCRC(const_cast<unsigned char *>(bytes), static_cast<unsigned short>(covered));
    return crc == get_u16_low_first(bytes + covered);
}

// An exception reply carries the request's function code with its top bit set, and so fails here like any other answer
// to something else.
bool answers_function(const QByteArray &reply, const Protocol &request) {
    return request.frame.size() > function_at && unsigned_bytes(request.frame)[station_at] == request.var.station_no &&
           reply.at(function_at) == request.frame.at(function_at);
}

}  // namespace

int CheckGetData(QByteArray *reply, int /*len*/) {
    if (reply == 0 || reply->size() < shortest_reply || PLC_driver.frame_list.isEmpty())
        return Rejected;
    const Protocol &request = PLC_driver.frame_list.at(0);
    if (unsigned_bytes(*reply)[station_at] != request.var.station_no)
        return Rejected;
    if (PLC_driver.com_info->remote_mode == 0 && !answers_function(*reply, request))
        return Rejected;
    if (!crc_is_right(*reply))
        return Rejected;
    return request.var.host_ref2 != 0 ? ValidNothingToStore : ValidWithData;
}
