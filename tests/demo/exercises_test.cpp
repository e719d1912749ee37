#include "demo/exercises.h"

#include "host/driver/driver_library.h"
#include "host/driver/raw_calls.h"
#include "plc/memory/moving_values.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <tuple>

namespace {

using kelpo::DemoRow;
using kelpo::Kind;
using kelpo::Values;
using kelpo::View;
using kelpo::WriteExercise;

using Address = std::tuple<int, bool, int>;  // station, whether a coil, Modbus address

std::vector<Address> addresses_of(const DemoRow &row) {
    std::vector<Address> all;
    for (const kelpo::Place &place : row.places) {
        const int last_bit = place.first_bit + place.values - 1;
        const int count = row.kind == Kind::long_word  ? 2 * place.values
                          : row.kind == Kind::word_bit ? last_bit / 16 + 1
                                                       : place.values;
        for (int i = 0; i < count; ++i)
            all.emplace_back(row.variable.station, row.kind == Kind::coil, place.modbus_address + i);
    }
    return all;
}

bool moves(const Address &address) {
    const auto [station, coil, number] = address;
    return plc::moves(coil ? plc::Table::coils : plc::Table::registers, static_cast<unsigned>(number));
}

std::vector<WriteExercise> all_writes() {
    std::vector<WriteExercise> all = kelpo::write_exercises();
    all.push_back(kelpo::read_only_exercise());
    all.push_back(kelpo::unanswered_exercise());
    return all;
}

std::vector<DemoRow> all_once_reads() {
    std::vector<DemoRow> all = kelpo::once_read_exercises();
    all.push_back(kelpo::dropped_reply_exercise());
    return all;
}

TEST(WriteExercises, HaveEveryWritableTypeAndThreeStations) {
    std::set<int> types, stations;
    for (const WriteExercise &exercise : kelpo::write_exercises()) {
        types.insert(exercise.target.variable.type);
        stations.insert(exercise.target.variable.station);
    }
    EXPECT_EQ(types.size(), 17U);
    EXPECT_EQ(*types.begin(), 1);
    EXPECT_EQ(*types.rbegin(), 17);
    EXPECT_EQ(stations, std::set<int>({1, 2, 3}));
}

TEST(WriteExercises, GiveEveryPlaceAValue) {
    for (const WriteExercise &exercise : all_writes()) {
        std::size_t places = 0;
        for (const kelpo::Place &place : exercise.target.places)
            places += static_cast<std::size_t>(place.values);
        EXPECT_EQ(exercise.values.size(), places) << exercise.target.variable.name;
        const std::size_t units = exercise.target.kind == Kind::long_word ? 2 : 1;
        EXPECT_EQ((static_cast<std::size_t>(exercise.target.variable.count) + units - 1) / units, places)
            << exercise.target.variable.name;
    }
}

TEST(WriteExercises, KnowWhatTheControllerChanges) {
    for (const WriteExercise &exercise : all_writes()) {
        const auto addresses = addresses_of(exercise.target);
        EXPECT_EQ(exercise.target.moves, std::any_of(addresses.begin(), addresses.end(), moves))
            << exercise.target.variable.name;
    }
}

TEST(WriteExercises, WriteNothingThatIsShown) {
    std::set<Address> shown;
    for (const DemoRow &row : kelpo::demo_list())
        for (const Address &address : addresses_of(row))
            shown.insert(address);
    for (const DemoRow &row : all_once_reads())
        for (const Address &address : addresses_of(row))
            shown.insert(address);
    for (const WriteExercise &exercise : all_writes())
        for (const Address &address : addresses_of(exercise.target))
            EXPECT_EQ(shown.count(address), 0U) << exercise.target.variable.name;
}

TEST(WriteExercises, WriteSomethingElseInTheNextRound) {
    for (const WriteExercise &exercise : all_writes()) {
        EXPECT_EQ(exercise.values_in_round(0), exercise.values);
        for (int round = 0; round < 3; ++round) {
            const Values values = exercise.values_in_round(round), next = exercise.values_in_round(round + 1);
            for (std::size_t i = 0; i < values.size(); ++i)
                EXPECT_NE(values[i], next[i]) << exercise.target.variable.name;
        }
    }
}

TEST(WriteExercises, StayWithinWhatTheirPlacesHold) {
    for (const WriteExercise &exercise : all_writes()) {
        const View view = exercise.target.variable.view;
        const std::int64_t most = view == View::bits ? 1 : view == View::unsigned_words ? 0xFFFF : 0xFFFFFFFF;
        for (const std::int64_t value : exercise.values_in_round(999))
            EXPECT_LE(value, most) << exercise.target.variable.name;
        EXPECT_TRUE(view == View::bits || view == View::unsigned_words || view == View::unsigned_longs);
    }
}

TEST(OnceReadExercises, MoveAndAreNotPolled) {
    ComInfo info{};
    info.max_count = 100;
    info.multi_station = 1;
    const kelpo::DriverLibrary library(DRIVER_FILE);
    library.entry().SetComInfo(&info);
    std::vector<kelpo::Variable> variables;
    for (const DemoRow &row : kelpo::demo_list())
        variables.push_back(row.variable);
    QList<HOST_VAR> list = kelpo::polled(variables);
    library.entry().ReCreatReadVarList(&list);

    Communication_Protocol &state = *library.entry().PLC_driver;
    const auto blocks = library.read_blocks();
    ASSERT_FALSE(blocks.empty());
    for (const DemoRow &row : all_once_reads()) {
        for (const Address &address : addresses_of(row))
            EXPECT_TRUE(moves(address)) << row.variable.name;

        RW_VAR read;
        read.reg_type = row.variable.type;
        read.station_no = row.variable.station;
        read.reg_count = row.variable.count;
        read.addr_text = QString::fromLatin1(row.variable.address.c_str());
        library.entry().AddListOnceReadVar(&read, 0);
        ASSERT_FALSE(state.once_read_list.isEmpty()) << row.variable.name;
        const RW_VAR &asked = state.once_read_list.last();
        for (const RW_VAR &block : blocks)
            EXPECT_FALSE(block.station_no == asked.station_no && block.reg_type == asked.reg_type &&
                         block.reg_addr < asked.reg_addr + asked.reg_count &&
                         asked.reg_addr < block.reg_addr + block.reg_count)
                << row.variable.name;
    }
}

}  // namespace
