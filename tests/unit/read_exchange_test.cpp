// Whole exchanges as transcripts: what went out, what came back, what the driver concluded, what the host then reads.
#include "driver_test.h"
#include "hex_text.h"

#include <sstream>

using support::bytes;
using support::DriverTest;
using support::hex;
using support::host_var;

namespace {

class ReadExchange : public DriverTest {
protected:
    void plan(std::initializer_list<HOST_VAR> vars) {
        QList<HOST_VAR> list;
        for (const HOST_VAR &var : vars)
            list.append(var);
        log << "plan " << ReCreatReadVarList(&list) << ": " << support::blocks(PLC_driver.read_list) << "\n";
    }

    void send() {
        const Protocol *const request = ComCommunication();
        if (request == nullptr)
            log << "-> nothing";
        else
            log << "-> " << hex(request->frame.left(request->send_len));
        if (info.finish_flag != 0)
            log << " (pass finished)";
        log << "\n";
    }

    // The reply as bytes, or "" when nothing came.
    void receive(const char *reply) {
        QByteArray data = bytes(reply);
        const std::size_t errors_before = comm_errors.size();
        const RW_VAR *const result = DataCom(&data, static_cast<int>(data.size()));
        log << "<- " << (data.isEmpty() ? std::string("nothing") : hex(data)) << " : " << result->ret_value;
        if (info.retry_count != 0)
            log << ", " << info.retry_count << " failed";
        if (comm_errors.size() > errors_before)
            log << ", error of group " << comm_errors.back().var_group;
        if (info.finish_flag != 0)
            log << " (pass finished)";
        log << "\n";
    }

    void value(int type, const char *address, int station, int count) {
        QByteArray out;
        const int known = GetRegisterData(QString(), type, QString::fromLatin1(address), station, out, count);
        log << "type " << type << " " << address << " of " << station << " = " << hex(out) << " (" << known << ")\n";
    }

    std::ostringstream log;
};

}  // namespace

TEST_F(ReadExchange, OneWordOfOneStationFromThePlanToTheScreen) {
    plan({host_var(7, 1, "100", 2)});
    value(7, "100", 1, 2);
    send();
    receive("01 03 04 12 34 AB CD 00 20");
    value(7, "100", 1, 2);
    value(12, "100", 1, 2);
    value(15, "100.2", 1, 4);
    send();
    receive("01 03 04 00 01 00 02 2A 32");
    value(7, "100", 1, 2);
    EXPECT_EQ(log.str(), "plan 1: 1/7(100,2)\n"
                         "type 7 100 of 1 = 00 00 00 00 (1)\n"
                         "-> 01 03 00 64 00 02 85 D4\n"
                         "<- 01 03 04 12 34 AB CD 00 20 : 1\n"
                         "type 7 100 of 1 = 34 12 CD AB (1)\n"
                         "type 12 100 of 1 = CD AB 34 12 (1)\n"
                         "type 15 100.2 of 1 = 01 00 01 01 (1)\n"
                         "-> 01 03 00 64 00 02 85 D4\n"
                         "<- 01 03 04 00 01 00 02 2A 32 : 1 (pass finished)\n"
                         "type 7 100 of 1 = 01 00 02 00 (1)\n");
}

TEST_F(ReadExchange, BitsWordsAndDoubleWordsOfTwoStations) {
    info.multi_station = 1;
    plan({host_var(13, 2, "205", 4), host_var(8, 2, "254", 4), host_var(0, 1, "17", 10), host_var(7, 1, "8000", 1)});
    send();
    receive("01 01 02 81 02 58 6D");
    send();
    receive("01 03 02 00 07 F9 86");
    send();
    receive("02 03 04 00 11 00 22 19 2F");
    send();
    receive("02 03 04 00 33 00 44 39 0F");
    send();
    receive("02 03 08 00 01 86 A0 FF FF FF FE D5 B8");
    value(0, "17", 1, 10);
    value(7, "8000", 1, 1);
    value(8, "254", 2, 4);
    value(13, "205", 2, 4);
    value(13, "205", 1, 4);
    EXPECT_EQ(log.str(), "plan 4: 1/0(15,10) 1/7(8000,1) 2/8(254,4) 2/13(5,2)\n"
                         "-> 01 01 04 BF 00 0A 8C D9\n"
                         "<- 01 01 02 81 02 58 6D : 1\n"
                         "-> 01 03 C3 50 00 01 B8 5F\n"
                         "<- 01 03 02 00 07 F9 86 : 1\n"
                         "-> 02 03 20 3E 00 02 AE 34\n"
                         "<- 02 03 04 00 11 00 22 19 2F : 1\n"
                         "-> 02 03 2E E0 00 02 CC E6\n"
                         "<- 02 03 04 00 33 00 44 39 0F : 1\n"
                         "-> 02 03 25 EE 00 04 2F 03\n"
                         "<- 02 03 08 00 01 86 A0 FF FF FF FE D5 B8 : 1\n"
                         "type 0 17 of 1 = 01 00 00 00 00 00 00 01 00 01 (1)\n"
                         "type 7 8000 of 1 = 07 00 (1)\n"
                         "type 8 254 of 2 = 11 00 22 00 33 00 44 00 (1)\n"
                         "type 13 205 of 2 = A0 86 01 00 FE FF FF FF (1)\n"
                         "type 13 205 of 1 = 00 00 00 00 00 00 00 00 (1)\n");
}

TEST_F(ReadExchange, AStationThatFallsSilentAndComesBack) {
    info.multi_station = 1;
    plan({host_var(7, 1, "10", 1), host_var(7, 2, "20", 1)});
    send();
    receive("01 03 02 00 01 79 84");
    send();
    receive("");
    send();
    receive("02 03 02 00 02 00 00");
    send();
    receive("02 6A 8B 00 00");
    send();
    receive("02 83 02 30 F1");
    send();
    receive("01 03 02 00 03 F8 45");
    send();
    receive("02 03 02 00 04 FD 87");
    value(7, "10", 1, 1);
    value(7, "20", 2, 1);
    EXPECT_EQ(log.str(), "plan 2: 1/7(10,1) 2/7(20,1)\n"
                         "-> 01 03 00 0A 00 01 A4 08\n"
                         "<- 01 03 02 00 01 79 84 : 1\n"
                         "-> 02 03 00 14 00 01 C4 3D\n"
                         "<- nothing : 0, 1 failed\n"
                         "-> 02 03 00 14 00 01 C4 3D\n"
                         "<- 02 03 02 00 02 00 00 : 0, 2 failed\n"
                         "-> 02 03 00 14 00 01 C4 3D\n"
                         "<- 02 6A 8B 00 00 : 1000, 2 failed\n"
                         "-> 02 03 00 14 00 01 C4 3D\n"
                         "<- 02 83 02 30 F1 : 71, error of group 0\n"
                         "-> 01 03 00 0A 00 01 A4 08\n"
                         "<- 01 03 02 00 03 F8 45 : 1\n"
                         "-> 02 03 00 14 00 01 C4 3D\n"
                         "<- 02 03 02 00 04 FD 87 : 1\n"
                         "type 7 10 of 1 = 03 00 (1)\n"
                         "type 7 20 of 2 = 04 00 (1)\n");
}

TEST_F(ReadExchange, DisablingEnablingAndReplanningWhileAFrameIsInFlight) {
    info.multi_station = 1;
    plan({host_var(7, 1, "10", 1), host_var(7, 2, "20", 1)});
    send();
    EnableEthernet(1, 0);
    plan({host_var(7, 1, "30", 1), host_var(7, 2, "40", 1)});
    send();
    receive("01 03 02 00 01 79 84");
    value(7, "10", 1, 1);
    send();
    receive("02 03 02 00 02 7D 85");
    EnableEthernet(2, 0);
    send();
    EnCommStation(-1, 0);
    send();
    // The good reply to the frame of the old plan turned the new one; so it begins with station 2, then passes over 1.
    EXPECT_EQ(log.str(), "plan 2: 1/7(10,1) 2/7(20,1)\n"
                         "-> 01 03 00 0A 00 01 A4 08\n"
                         "plan 2: 1/7(30,1) 2/7(40,1)\n"
                         "-> 01 03 00 0A 00 01 A4 08\n"
                         "<- 01 03 02 00 01 79 84 : 1\n"
                         "type 7 10 of 1 = 01 00 (1)\n"
                         "-> 02 03 00 28 00 01 04 31\n"
                         "<- 02 03 02 00 02 7D 85 : 1\n"
                         "-> nothing (pass finished)\n"
                         "-> 01 03 00 1E 00 01 E4 0C (pass finished)\n");
}

TEST_F(ReadExchange, AnEmptyPlanFinishesAtOnceAndANewPlanBeginsANewPass) {
    plan({});
    send();
    plan({host_var(7, 1, "10", 1)});
    send();
    receive("01 03 02 00 01 79 84");
    send();
    receive("01 03 02 00 01 79 84");
    plan({host_var(7, 1, "10", 1)});
    send();
    EXPECT_EQ(log.str(), "plan 0: \n"
                         "-> nothing (pass finished)\n"
                         "plan 1: 1/7(10,1)\n"
                         "-> 01 03 00 0A 00 01 A4 08\n"
                         "<- 01 03 02 00 01 79 84 : 1\n"
                         "-> 01 03 00 0A 00 01 A4 08\n"
                         "<- 01 03 02 00 01 79 84 : 1 (pass finished)\n"
                         "plan 1: 1/7(10,1)\n"
                         "-> 01 03 00 0A 00 01 A4 08\n");
}
