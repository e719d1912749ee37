#include "host/driver/address_text.h"
#include "host/driver/driver.h"
#include "host/driver/dry_run.h"
#include "host/driver/register_types.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace kelpo {
namespace {

// What the host says about a register type is what the driver does with it.
class RegisterTypes : public testing::TestWithParam<int> {
protected:
    const RegisterType &type = register_type(GetParam());
    const Driver driver{DRIVER_FILE};
    DryRun dry_run{driver};

    Variable place(const std::string &address, int count = 1) const {
        return {"", 1, type.type, address, count, default_view(type.type)};
    }
};

TEST_P(RegisterTypes, NameTheirNumbersAsTheDriverReadsThem) {
    for (const int number : {0, 7, 8, 100, 1234, 30000})
        EXPECT_EQ(driver.number_of(type.type, address_text(type.type, number)), number) << number;
}

TEST_P(RegisterTypes, ArePolledInTheirClass) {
    const Span span = dry_run.span_of(place(address_text(type.type, 32), 6));
    EXPECT_EQ(span.register_class, type.register_class);
    if (!type.is_bit_of_register) {  // the driver polls other registers for these
        const NumberRange range = range_in_class(type, 32, 6);
        EXPECT_EQ(span.first, range.first);
        EXPECT_EQ(span.first + span.count - 1, range.last);
    }
}

TEST_P(RegisterTypes, AreWhereTheDriverAsksForThem) {
    const ClassMap map = dry_run.map_of(type.register_class);
    EXPECT_EQ(map.coils, type.table == ModbusTable::coils);
    EXPECT_EQ(map.width, type.modbus_per_number);
    EXPECT_EQ(map.low_base, type.low_base);
    EXPECT_EQ(map.high_start, type.high_start);
    EXPECT_EQ(map.high_base, type.high_base);
    for (const int number : {0, 5, 255, 256, 2047, 2048, 7999, 8000, 9000}) {
        const auto address = modbus_address(type, number);
        EXPECT_EQ(address, map.modbus_address(number));
        EXPECT_EQ(number_at(type, static_cast<int>(address)), number);
    }
}

TEST_P(RegisterTypes, AreWrittenAsTheDriverWritesThem) {
    constexpr int read_first = 3;
    const auto write = dry_run.use_of(type.type, address_text(type.type, 208)).write;
    EXPECT_EQ(write.has_value(), type.writes != RegisterType::Writes::never);
    EXPECT_EQ(write && write->function() == read_first, type.is_bit_of_register);
}

TEST_P(RegisterTypes, HaveValuesOfTheSizeThatTheDriverHolds) {
    for (const int count : {1, 2, 5, 16})
        EXPECT_EQ(driver.held_bytes(place(address_text(type.type, 208), count)).size(),
                  static_cast<std::size_t>(value_size(type, count)))
            << count;
}

INSTANTIATE_TEST_SUITE_P(All, RegisterTypes, testing::Range(0, last_register_type + 1));

TEST(RegisterTypeOutsideTheTable, CannotBeWritten) {
    for (const int type : {-1, 18, 1000}) {
        EXPECT_FALSE(is_register_type(type));
        EXPECT_EQ(register_type(type).writes, RegisterType::Writes::never);
    }
}

TEST(BytesOfAValue, AreInTheNumbersOfTheClass) {
    const auto numbers = [](int type, int number, int size) {
        std::string text;
        for (int i = 0; i < size; ++i)
            text += std::to_string(number_of_byte(register_type(type), number, i)) + " ";
        return text;
    };
    EXPECT_EQ(numbers(1, 16, 3), "16 17 18 ");
    EXPECT_EQ(numbers(9, 3, 4), "3 3 4 4 ");
    EXPECT_EQ(numbers(12, 10, 8), "11 11 10 10 13 13 12 12 ");
    EXPECT_EQ(numbers(13, 3, 8), "3 3 3 3 4 4 4 4 ");
    EXPECT_EQ(numbers(15, 5 * 16 + 14, 3), "5 5 6 ");
}

}  // namespace
}  // namespace kelpo
