#include "host/plan/address_report.h"

#include <gmock/gmock.h>

#include <sstream>

namespace {

using namespace kelpo;

struct Expected {
    int type;
    const char *text;
    const char *report;
};

class AddressReports : public testing::TestWithParam<Expected> {};

TEST_P(AddressReports, SayWhereTheAddressIs) {
    const Driver library(DRIVER_FILE);
    std::ostringstream out;
    print_address(report_address(GetParam().type, GetParam().text, library), out);
    EXPECT_EQ(out.str(), GetParam().report);
}

const Expected reports[] = {
    {7, "100", R"(address    100 of type 7 is number 100
class      7
polled     holding register 100 (counted from 1: 101; 40101)
written    there, with function 16
request    01 03 00 64 00 01 C5 D5 (to station 1), answered by 7 bytes
range      numbers 0 to 7999 are at 0 and up, from 8000 on at 50000 and up
)"},
    {0, "17", R"(address    17 of type 0 is number 15
class      0
polled     coil 1215 (counted from 1: 1216)
written    never: this type is read-only
request    01 01 04 BF 00 01 CD 1E (to station 1), answered by 6 bytes
range      numbers from 0 on are at 1200 and up
)"},
    {2, "2047", R"(address    2047 of type 2 is number 2047
class      2
polled     coil 4047 (counted from 1: 4048)
written    there, with function 5
request    01 01 0F CF 00 01 CE E1 (to station 1), answered by 6 bytes
range      numbers 0 to 2047 are at 2000 and up, from 2048 on at 12000 and up
remark     the next number is elsewhere: a read of both takes two requests
)"},
    {13, "204", R"(address    204 of type 13 is number 4
class      13
polled     holding registers 9708 to 9709 (counted from 1: 9709 to 9710; 49709 to 49710)
written    there, with function 16
request    01 03 25 EC 00 02 0E F2 (to station 1), answered by 9 bytes
range      numbers from 0 on are at 9700 and up, two registers each
)"},
    {15, "6.20", R"(address    6.20 of type 15 is number 116: word 7, bit 4
class      7
polled     holding register 116 (counted from 1: 117; 40117)
written    holding register 7 (counted from 1: 8; 40008), bit 4: read, and written back changed
request    01 03 00 74 00 01 C4 10 (to station 1), answered by 7 bytes
range      numbers 0 to 7999 are at 0 and up, from 8000 on at 50000 and up
remark     6.20 is 7.4: 16 bits are the next word
remark     polled, it asks for number 116, not for its word: to see it move, poll type 7, address 7
)"},
    {7, "30000", R"(address    30000 of type 7 is number 30000
class      7
polled     holding register 6464 (counted from 1: 6465; 46465)
written    there, with function 16
request    01 03 19 40 00 01 82 82 (to station 1), answered by 7 bytes
range      numbers 0 to 7999 are at 0 and up, from 8000 on at 50000 and up
remark     it would be at Modbus address 72000, above 65535: a frame asks for another place
)"},
    {12, "8000", R"(address    8000 of type 12 is number 8000
class      7
polled     holding registers 50000 to 50001 (counted from 1: 50001 to 50002; 450001 to 450002)
written    there, with function 16
request    01 03 C3 50 00 02 F8 5E (to station 1), answered by 9 bytes
range      numbers 0 to 7999 are at 0 and up, from 8000 on at 50000 and up
)"},
};

INSTANTIATE_TEST_SUITE_P(OfAllKinds, AddressReports, testing::ValuesIn(reports));

}  // namespace
