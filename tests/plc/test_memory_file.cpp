#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "plc/memory_file.h"
#include "temporary_folder.h"

namespace plc {
namespace {

struct Values {
    std::vector<std::uint8_t> coils = std::vector<std::uint8_t>(65536);
    std::vector<std::uint16_t> registers = std::vector<std::uint16_t>(65536);

    StationValues view() const {
        return {coils.data(), registers.data()};
    }

    void fill_registers(std::uint16_t value) {
        registers.assign(registers.size(), value);
    }
};

class MemoryFile : public testing::Test {
protected:
    MemoryWriter make_file(const std::vector<unsigned> &stations) const {
        return MemoryWriter(path_, stations, std::vector<StationValues>(stations.size(), values_.view()));
    }

    void write_text(const std::string &text) const {
        std::ofstream(path_, std::ios::binary) << text;
    }

    void patch(std::streamoff position, std::uint32_t number) const {
        std::fstream file(path_, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(position);
        file.write(reinterpret_cast<const char *>(&number), sizeof number);
    }

    std::string bytes() const {
        std::ifstream file(path_, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    TemporaryFolder folder_;
    std::string path_ = folder_ / "memory";
    Values values_;
};

std::uint32_t number_at(const std::string &bytes, std::size_t position) {
    std::uint32_t number;
    std::memcpy(&number, bytes.data() + position, sizeof number);
    return number;
}

std::uint64_t long_number_at(const std::string &bytes, std::size_t position) {
    std::uint64_t number;
    std::memcpy(&number, bytes.data() + position, sizeof number);
    return number;
}

TEST_F(MemoryFile, ShowsTheFirstMomentAsSoonAsItExists) {
    values_.coils[1200] = 1;
    values_.registers[65535] = 0xABCD;
    const MemoryWriter writer = make_file({7, 247});
    const MemoryReader reader = MemoryReader::open(path_);

    EXPECT_EQ(reader.moment(), 0u);
    EXPECT_EQ(reader.stations(), (std::vector<unsigned>{7, 247}));
    EXPECT_EQ(reader.coil(7, 1200, 0), true);
    EXPECT_EQ(reader.coil(247, 1201, 0), false);
    EXPECT_EQ(reader.holding_register(247, 65535, 0), 0xABCD);
    EXPECT_EQ(reader.holding_register(7, 65534, 0), 0);
}

TEST_F(MemoryFile, KeepsTheStationsApart) {
    Values other;
    other.registers[5] = 55;
    other.coils[6] = 1;
    MemoryWriter writer(path_, {1, 2}, {values_.view(), other.view()});
    const MemoryReader reader = MemoryReader::open(path_);
    EXPECT_EQ(reader.holding_register(1, 5, 0), 0);
    EXPECT_EQ(reader.holding_register(2, 5, 0), 55);
    EXPECT_EQ(reader.coil(1, 6, 0), false);
    EXPECT_EQ(reader.coil(2, 6, 0), true);
}

TEST_F(MemoryFile, KeepsTheLastFourMoments) {
    MemoryWriter writer = make_file({1});
    for (std::uint16_t moment = 1; moment <= 9; ++moment) {
        values_.fill_registers(moment);
        writer.publish_next_moment({values_.view()});
    }
    const MemoryReader reader = MemoryReader::open(path_);
    EXPECT_EQ(reader.moment(), 9u);
    EXPECT_EQ(reader.holding_register(1, 40, 9), 9);
    EXPECT_EQ(reader.holding_register(1, 40, 8), 8);
    EXPECT_EQ(reader.holding_register(1, 40, 7), 7);
    EXPECT_EQ(reader.holding_register(1, 40, 6), 6);
    EXPECT_EQ(reader.holding_register(1, 40, 5), std::nullopt);
    EXPECT_EQ(reader.coil(1, 40, 5), std::nullopt);
}

TEST_F(MemoryFile, ShowsNothingOfAMomentToCome) {
    const MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);
    EXPECT_EQ(reader.holding_register(1, 0, 1), std::nullopt);
    EXPECT_EQ(reader.coil(1, 0, 0xFFFFFFFF), std::nullopt);
}

TEST_F(MemoryFile, ShowsNothingOfAnUnknownStationOrAddress) {
    const MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);
    EXPECT_EQ(reader.coil(2, 0, 0), std::nullopt);
    EXPECT_EQ(reader.holding_register(0, 0, 0), std::nullopt);
    EXPECT_EQ(reader.holding_register(257, 0, 0), std::nullopt);
    EXPECT_EQ(reader.coil(1, 65536, 0), std::nullopt);
    EXPECT_EQ(reader.holding_register(1, 65536, 0), std::nullopt);
}

TEST_F(MemoryFile, ShowsAWriteAtOnceInTheCurrentMomentOnly) {
    MemoryWriter writer = make_file({1, 2});
    writer.publish_next_moment({values_.view(), values_.view()});
    const MemoryReader reader = MemoryReader::open(path_);

    values_.fill_registers(77);
    values_.coils.assign(65536, 1);
    writer.publish_registers(1, values_.view(), 100, {0, 0});
    writer.publish_coils(1, values_.view(), 65535, {0});

    EXPECT_EQ(reader.holding_register(2, 99, 1), 0);
    EXPECT_EQ(reader.holding_register(2, 100, 1), 77);
    EXPECT_EQ(reader.holding_register(2, 101, 1), 77);
    EXPECT_EQ(reader.holding_register(2, 102, 1), 0);
    EXPECT_EQ(reader.coil(2, 65534, 1), false);
    EXPECT_EQ(reader.coil(2, 65535, 1), true);
    EXPECT_EQ(reader.holding_register(2, 100, 0), 0);
    EXPECT_EQ(reader.coil(2, 65535, 0), false);
    EXPECT_EQ(reader.holding_register(1, 100, 1), 0);
}

TEST_F(MemoryFile, CountsWhatHappensOnTheLine) {
    MemoryWriter writer = make_file({1, 7});
    const MemoryReader reader = MemoryReader::open(path_);
    writer.count_request(0);
    writer.count_request(1);
    writer.count_request(1);
    writer.count_broadcast();
    writer.count_reply();
    writer.count_reply();
    writer.count_dropped_frame();
    const LineCounters counters = reader.counters();
    EXPECT_EQ(counters.requests_seen, 4u);
    EXPECT_EQ(counters.replies_sent, 2u);
    EXPECT_EQ(counters.frames_dropped, 1u);
    EXPECT_EQ(reader.requests_to(1), 1u);
    EXPECT_EQ(reader.requests_to(7), 2u);
    EXPECT_EQ(reader.requests_to(2), std::nullopt);
}

TEST_F(MemoryFile, LogsTheWritesWithWhatWasThereBefore) {
    MemoryWriter writer = make_file({1, 7});
    const MemoryReader reader = MemoryReader::open(path_);
    EXPECT_EQ(reader.writes_logged(), 0u);
    EXPECT_TRUE(reader.writes_from(0)->empty());

    values_.registers[100] = 50;
    values_.registers[101] = 51;
    writer.publish_registers(1, values_.view(), 100, {40, 41});
    writer.publish_next_moment({values_.view(), values_.view()});
    values_.coils[65535] = 1;
    writer.publish_coils(0, values_.view(), 65535, {0});

    EXPECT_EQ(reader.writes_logged(), 3u);
    const auto all = reader.writes_from(0);
    ASSERT_TRUE(all.has_value());
    ASSERT_EQ(all->size(), 3u);
    EXPECT_EQ((*all)[0].station, 7u);
    EXPECT_EQ((*all)[0].table, LoggedWrite::Table::registers);
    EXPECT_EQ((*all)[0].address, 100u);
    EXPECT_EQ((*all)[0].before, 40);
    EXPECT_EQ((*all)[0].after, 50);
    EXPECT_EQ((*all)[0].moment, 0u);
    EXPECT_EQ((*all)[1].address, 101u);
    EXPECT_EQ((*all)[1].before, 41);
    EXPECT_EQ((*all)[1].after, 51);
    EXPECT_EQ((*all)[2].station, 1u);
    EXPECT_EQ((*all)[2].table, LoggedWrite::Table::coils);
    EXPECT_EQ((*all)[2].address, 65535u);
    EXPECT_EQ((*all)[2].before, 0);
    EXPECT_EQ((*all)[2].after, 1);
    EXPECT_EQ((*all)[2].moment, 1u);

    EXPECT_EQ(reader.writes_from(2)->size(), 1u);
    EXPECT_TRUE(reader.writes_from(3)->empty());
    EXPECT_EQ(reader.writes_from(4), std::nullopt);
}

TEST_F(MemoryFile, ForgetsTheOldestWrites) {
    MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);
    for (std::uint16_t value = 0; value <= log_length; ++value) {
        values_.registers[5] = value;
        writer.publish_registers(0, values_.view(), 5, {0});
    }
    EXPECT_EQ(reader.writes_from(0), std::nullopt);
    const auto kept = reader.writes_from(1);
    ASSERT_TRUE(kept.has_value());
    ASSERT_EQ(kept->size(), log_length);
    EXPECT_EQ(kept->front().after, 1);
    EXPECT_EQ(kept->back().after, log_length);
}

TEST_F(MemoryFile, TellsHowOftenFaultsCameUp) {
    MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);
    EXPECT_TRUE(reader.fault_counts().empty());
    writer.publish_fault_counts(std::vector<FaultCount>(max_faults, {3, 2}));
    const std::vector<FaultCount> counts = reader.fault_counts();
    ASSERT_EQ(counts.size(), max_faults);
    EXPECT_EQ(counts.front().fitted, 3u);
    EXPECT_EQ(counts.back().happened, 2u);
    EXPECT_EQ(reader.holding_register(1, 0, 0), 0);
}

TEST_F(MemoryFile, LogsRequestsWithTheirWritesAndThePiecesOfTheirReplies) {
    MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);
    writer.log_request(8, 0);
    writer.publish_registers(0, values_.view(), 4, {1, 2, 3});
    writer.log_request(23, 5);
    writer.log_piece({1, 8, 77});

    const auto requests = reader.requests_from(0);
    ASSERT_TRUE(requests && requests->size() == 2);
    EXPECT_EQ(requests->at(0).ends_at, 8u);
    EXPECT_EQ(requests->at(0).writes, 0u);
    EXPECT_EQ(requests->at(1).ends_at, 23u);
    EXPECT_EQ(requests->at(1).first_write, 0u);
    EXPECT_EQ(requests->at(1).writes, 3u);
    EXPECT_EQ(requests->at(1).fault, 5u);

    const auto pieces = reader.pieces_from(0);
    ASSERT_TRUE(pieces && pieces->size() == 1);
    EXPECT_EQ(pieces->at(0).request, 1u);
    EXPECT_EQ(pieces->at(0).ends_at, 8u);
    EXPECT_EQ(pieces->at(0).microseconds, 77u);
}

TEST_F(MemoryFile, CountsBeyond32Bits) {
    MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);
    writer.log_request(0x100000008, 0);
    writer.log_piece({0x200000001, 0x300000007, 0x400000003});
    writer.publish_fault_counts({{0x500000002, 0x600000001}});
    patch(2364, 1);  // 2^32 writes so far
    patch(36, 1);    // and as many requests

    EXPECT_EQ(reader.requests_from(0)->at(0).ends_at, 0x100000008u);
    EXPECT_EQ(reader.pieces_from(0)->at(0).request, 0x200000001u);
    EXPECT_EQ(reader.pieces_from(0)->at(0).ends_at, 0x300000007u);
    EXPECT_EQ(reader.pieces_from(0)->at(0).microseconds, 0x400000003u);
    EXPECT_EQ(reader.fault_counts().at(0).fitted, 0x500000002u);
    EXPECT_EQ(reader.fault_counts().at(0).happened, 0x600000001u);
    writer.publish_registers(0, values_.view(), 4, {1});
    writer.count_request(0);
    EXPECT_EQ(reader.writes_logged(), 0x100000001u);
    EXPECT_EQ(reader.writes_from(0x100000000)->at(0).address, 4u);
    EXPECT_EQ(reader.counters().requests_seen, 0x100000001u);
}

TEST_F(MemoryFile, ForgetsRequestsAndPiecesThatHaveLeftTheLog) {
    MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);
    for (std::uint32_t i = 0; i <= traffic_length; ++i) {
        writer.log_request(i, 0);
        writer.log_piece({i, i, 0});
    }
    EXPECT_FALSE(reader.requests_from(0));
    EXPECT_FALSE(reader.pieces_from(0));
    ASSERT_TRUE(reader.requests_from(1) && reader.pieces_from(1));
    EXPECT_EQ(reader.requests_from(1)->front().ends_at, 1u);
    EXPECT_EQ(reader.requests_from(1)->back().ends_at, traffic_length);
    EXPECT_EQ(reader.pieces_from(1)->back().request, traffic_length);
    EXPECT_FALSE(reader.requests_from(traffic_length + 2));
}

TEST_F(MemoryFile, HasItsNumbersWhereTheLayoutSays) {
    values_.coils[2] = 1;
    values_.registers[3] = 0x1234;
    MemoryWriter writer = make_file({5, 9});
    writer.publish_next_moment({values_.view(), values_.view()});
    writer.count_request(1);
    values_.registers[4] = 0x5678;
    writer.publish_registers(1, values_.view(), 4, {0x0102});
    writer.publish_fault_counts({{8, 7}, {6, 5}});
    writer.log_request(41, 2);
    writer.log_piece({0, 7, 123456});

    const std::string file = bytes();
    ASSERT_EQ(file.size(), 104784u + 2 * 4 * 3 * 65536);
    EXPECT_EQ(file.substr(0, 8), "KELPOPLC");
    EXPECT_EQ(number_at(file, 8), 5u);
    EXPECT_EQ(number_at(file, 12), 2u);
    EXPECT_EQ(number_at(file, 16), 4u);
    EXPECT_EQ(number_at(file, 20), 8u);
    EXPECT_EQ(number_at(file, 24), 1u);
    EXPECT_EQ(number_at(file, 28), 2u);
    EXPECT_EQ(long_number_at(file, 32), 1u);
    EXPECT_EQ(long_number_at(file, 40), 0u);
    EXPECT_EQ(long_number_at(file, 48), 0u);
    EXPECT_EQ(file[56], 5);
    EXPECT_EQ(file[57], 9);
    EXPECT_EQ(long_number_at(file, 312), 0u);
    EXPECT_EQ(long_number_at(file, 320), 1u);
    EXPECT_EQ(long_number_at(file, 2360), 1u);
    EXPECT_EQ(long_number_at(file, 2368), 1u);
    EXPECT_EQ(long_number_at(file, 2376), 1u);
    EXPECT_EQ(number_at(file, 2384), 1u);           // moment
    EXPECT_EQ(number_at(file, 2388), 0x01020004u);  // address, value before
    EXPECT_EQ(number_at(file, 2392), 0x01095678u);  // value after, station, table
    EXPECT_EQ(long_number_at(file, 51536), 8u);
    EXPECT_EQ(long_number_at(file, 51544), 7u);
    EXPECT_EQ(long_number_at(file, 51552), 6u);
    EXPECT_EQ(long_number_at(file, 51560), 5u);

    EXPECT_EQ(long_number_at(file, 55632), 41u);
    EXPECT_EQ(long_number_at(file, 55640), 0u);
    EXPECT_EQ(number_at(file, 55648), 1u);
    EXPECT_EQ(number_at(file, 55652), 2u);
    EXPECT_EQ(long_number_at(file, 80208), 0u);
    EXPECT_EQ(long_number_at(file, 80216), 7u);
    EXPECT_EQ(long_number_at(file, 80224), 123456u);

    const std::size_t second_station_slot_1 = 104784 + (1 * 4 + 1) * 3 * 65536;
    EXPECT_EQ(file[second_station_slot_1 + 2], 1);
    EXPECT_EQ(number_at(file, second_station_slot_1 + 65536 + 2 * 2), 0x12340000u);
}

TEST_F(MemoryFile, NeverShowsHalfAChange) {
    constexpr Moment last = 500;
    MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);

    std::atomic<bool> done(false);
    std::thread changes([&] {
        for (Moment moment = 1; moment <= last; ++moment) {
            values_.fill_registers(static_cast<std::uint16_t>(moment));
            writer.publish_next_moment({values_.view()});
        }
        done = true;
    });
    // The oldest moment's slot is the next to be overwritten.
    do {
        const Moment current = reader.moment();
        const Moment oldest = current < history_slots ? 0 : current - (history_slots - 1);
        const std::optional<std::uint16_t> value = reader.holding_register(1, 20000, oldest);
        EXPECT_EQ(value.value_or(oldest), oldest);
    } while (!done);
    changes.join();
    EXPECT_EQ(reader.holding_register(1, 20000, last), last);
}

TEST_F(MemoryFile, ShowsNothingWhenTheControllerDiedInTheMidstOfAChange) {
    const MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);
    patch(20, 3);
    EXPECT_EQ(reader.holding_register(1, 0, 0), std::nullopt);
    patch(20, 4);
    EXPECT_EQ(reader.holding_register(1, 0, 0), 0);
}

TEST_F(MemoryFile, StaysReadableAfterTheWriterHasGone) {
    values_.registers[1] = 11;
    make_file({1});
    EXPECT_EQ(MemoryReader::open(path_).holding_register(1, 1, 0), 11);
}

TEST_F(MemoryFile, ReplacesAnEarlierOneWithoutDisturbingItsReaders) {
    values_.registers[1] = 11;
    make_file({1});
    const MemoryReader earlier = MemoryReader::open(path_);

    values_.registers[1] = 22;
    const MemoryWriter writer = make_file({1});
    EXPECT_EQ(earlier.holding_register(1, 1, 0), 11);
    EXPECT_EQ(MemoryReader::open(path_).holding_register(1, 1, 0), 22);
}

TEST_F(MemoryFile, ReplacesAnEmptyFile) {
    write_text("");
    const MemoryWriter writer = make_file({1});
    EXPECT_EQ(MemoryReader::open(path_).moment(), 0u);
}

TEST_F(MemoryFile, IsNotMadeInPlaceOfAnotherFile) {
    write_text("my diary");
    EXPECT_THROW(make_file({1}), std::runtime_error);
    EXPECT_EQ(bytes(), "my diary");
}

TEST_F(MemoryFile, LeavesNothingBehindWhenItCannotBeMade) {
    std::filesystem::create_directory(path_);
    EXPECT_THROW(make_file({1}), std::runtime_error);
    EXPECT_THROW(MemoryWriter(folder_ / "nowhere/memory", {1}, {values_.view()}), std::runtime_error);
    const std::filesystem::path parent = std::filesystem::path(path_).parent_path();
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(parent), {}), 1);
}

TEST_F(MemoryFile, IsMadeBesideALinkThatAnotherUserPutInItsWay) {
    const std::string victim = folder_ / "victim";
    std::ofstream(victim) << "my diary";
    std::filesystem::create_symlink(victim, path_ + "." + std::to_string(::getpid()));
    const MemoryWriter writer = make_file({1});
    EXPECT_EQ(MemoryReader::open(path_).moment(), 0u);
    EXPECT_FALSE(std::filesystem::is_symlink(path_));
    std::ifstream file(victim);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "my diary");
}

TEST_F(MemoryFile, ThatIsMadeShorterEndsNeitherItsWriterNorItsReader) {
    values_.registers[1] = 11;
    MemoryWriter writer = make_file({7});
    const MemoryReader reader = MemoryReader::open(path_);
    std::filesystem::resize_file(path_, 0);
    writer.publish_next_moment({values_.view()});
    writer.count_reply();
    EXPECT_EQ(reader.counters().replies_sent, 0u);
    EXPECT_EQ(reader.stations(), std::vector<unsigned>{7});
    EXPECT_NE(reader.holding_register(7, 1, 0), 11);
    EXPECT_THROW(MemoryReader::open(path_), std::runtime_error);

    const MemoryWriter next = make_file({7});
    EXPECT_EQ(MemoryReader::open(path_).holding_register(7, 1, 0), 11);
}

TEST_F(MemoryFile, IsLookedAtOnceForItsStations) {
    make_file({7});
    const MemoryReader reader = MemoryReader::open(path_);
    patch(12, 100000000);
    EXPECT_EQ(reader.stations(), std::vector<unsigned>{7});
    EXPECT_EQ(reader.holding_register(8, 0, 0), std::nullopt);
}

TEST_F(MemoryFile, IsNotReadFromAPipe) {
    const std::string pipe = folder_ / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_THROW(MemoryReader::open(pipe), std::runtime_error);
}

TEST_F(MemoryFile, IsNotReadWhenItIsSomethingElse) {
    EXPECT_THROW(MemoryReader::open(path_), std::runtime_error);
    write_text("KELPOPLC");
    EXPECT_THROW(MemoryReader::open(path_), std::runtime_error);
    write_text(std::string(1000, 'x'));
    EXPECT_THROW(MemoryReader::open(path_), std::runtime_error);
}

TEST_F(MemoryFile, IsNotReadWhenItsLayoutIsAnother) {
    make_file({1});
    patch(8, 2);
    EXPECT_THROW(MemoryReader::open(path_), std::runtime_error);
    patch(8, 5);
    EXPECT_NO_THROW(MemoryReader::open(path_));
    patch(12, 2);
    EXPECT_THROW(MemoryReader::open(path_), std::runtime_error);
    patch(12, 1);
    patch(16, 5);
    EXPECT_THROW(MemoryReader::open(path_), std::runtime_error);
}

}  // namespace
}  // namespace plc
