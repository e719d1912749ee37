/// \file
/// What the tests of replies share: a link with an area of its own, and requests in that area and in another.
#ifndef UNIT_REPLY_EXCHANGE_H
#define UNIT_REPLY_EXCHANGE_H

#include "exchange.h"

namespace support {

const int own_area = 6;
const int other_area = 9;

/// The echo of ReplyTest::write_of, right and with a wrong CRC.
const char *const good_echo = "01 10 00 0A 00 01 21 CB";
const char *const bad_echo = "01 10 00 0A 00 01 FF FF";

/// A link of area 6 that retries nothing, and the requests that the tests of replies queue on it.
class ReplyTest : public DriverTest {
protected:
    ReplyTest() {
        info.channel_id = 70;
        info.local_area_no = own_area;
        info.retry_times = 0;
    }

    // A write of register 10, var_group 20.
    static RW_VAR write_of(int id, int area = own_area, int station = 1) {
        RW_VAR var = write_var(7, 10, 1, "34 12", station);
        var.var_group = 20;
        var.var_id = id;
        var.area_no = area;
        return var;
    }

    static RW_VAR once_of(int id, int area = own_area, int station = 1) {
        RW_VAR var = make_var(7, 20, 1, station);
        var.var_group = 20;
        var.var_id = id;
        var.area_no = area;
        return var;
    }

    static void queue_write(RW_VAR var) {
        AddListWriteVar(&var);
    }

    static void queue_once_read(RW_VAR var) {
        AddListOnceReadVar(&var, 1);
    }

    static void poll(int addr, int area = own_area) {
        RW_VAR var = make_var(7, addr, 1);
        var.area_no = area;
        AddListReadVar(&var);
    }

    // Builds the next frame and answers it with a good reply.
    static int complete() {
        EXPECT_NE(ComCommunication(), nullptr);
        return answer_correctly();
    }

    // Builds the next frame and does not answer it.
    static int fail() {
        EXPECT_NE(ComCommunication(), nullptr);
        return answer_nothing();
    }

    // "group/id@station" of each entry.
    static std::string identities(const QList<RW_VAR> &list) {
        std::string text;
        for (const RW_VAR &var : list)
            text += (text.empty() ? "" : " ") + std::to_string(var.var_group) + "/" + std::to_string(var.var_id) + "@" +
                    std::to_string(var.station_no);
        return text;
    }

    // A frame in flight that no queue holds, expecting 8 bytes.
    static void put_in_flight(int var_group, int area, int reply_len = 8) {
        RW_VAR var = write_of(1, area);
        var.var_group = var_group;
        Protocol request = support::make_frame(var, bytes("01 10 00 0A 00 01 02 12 34 AB DD"), 0);
        request.reply_len = reply_len;
        request.data_offset = 0;
        PLC_driver.frame_list.append(request);
    }
};

}  // namespace support

#endif
