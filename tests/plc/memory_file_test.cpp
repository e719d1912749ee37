#include "plc/memory/memory_reader.h"
#include "plc/memory/memory_writer.h"
#include "temporary_folder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

namespace plc {
namespace {

class MemoryFile : public testing::Test {
protected:
    MemoryWriter make_file(const std::vector<unsigned> &stations) {
        stations_.clear();
        for (const unsigned station : stations)
            stations_.emplace_back(station);
        return MemoryWriter(path_, stations_);
    }

    // What a request writes to the station at `index` from `address` on.
    void write(MemoryWriter &writer, std::size_t index, Table table, unsigned address,
               const std::vector<std::uint16_t> &values) {
        StationMemory &memory = stations_[index];
        Change change{table, address, {}};
        for (std::size_t i = 0; i < values.size(); ++i)
            change.before.push_back(memory.value(table, address + static_cast<unsigned>(i)));
        memory.put({memory.station(), table, address, values});
        writer.publish_change(index, memory, change);
    }

    void step(MemoryWriter &writer) {
        ++moment_;
        for (StationMemory &memory : stations_)
            memory.move_to(moment_);
        writer.publish_next_moment();
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
    std::vector<StationMemory> stations_;
    Moment moment_ = 0;
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
    stations_ = {StationMemory(7), StationMemory(247)};
    stations_[0].coils[1300] = 1;
    stations_[1].registers[65535] = 0xABCD;
    const MemoryWriter writer(path_, stations_);
    const MemoryReader reader = MemoryReader::open(path_);

    EXPECT_EQ(reader.moment(), 0u);
    EXPECT_EQ(reader.stations(), (std::vector<unsigned>{7, 247}));
    EXPECT_EQ(reader.coil(7, 1300, 0), true);
    EXPECT_EQ(reader.coil(247, 1300, 0), false);
    EXPECT_EQ(reader.holding_register(247, 65535, 0), 0xABCD);
    EXPECT_EQ(reader.holding_register(7, 65535, 0), 0);
    EXPECT_EQ(reader.holding_register(7, 3, 0), 7003);
}

TEST_F(MemoryFile, ComputesWhatMovesForEveryMomentSoFar) {
    MemoryWriter writer = make_file({1, 2});
    for (int i = 0; i < 9; ++i)
        step(writer);
    const MemoryReader reader = MemoryReader::open(path_);
    EXPECT_EQ(reader.moment(), 9u);
    EXPECT_EQ(reader.holding_register(1, 0, 9), 1009);
    EXPECT_EQ(reader.holding_register(1, 0, 8), 1008);
    EXPECT_EQ(reader.holding_register(2, 0, 1), 2001);
    EXPECT_EQ(reader.holding_register(2, 0, 0), 2000);
    EXPECT_EQ(reader.coil(1, 0, 9), false);
    EXPECT_EQ(reader.coil(1, 0, 8), true);
}

TEST_F(MemoryFile, ShowsAtEachMomentWhatStationsHeldThen) {
    MemoryWriter writer = make_file({1, 2});
    std::vector<std::vector<StationMemory>> held;
    for (std::uint16_t round = 0; round < 6; ++round) {
        write(writer, round % 2, Table::registers, 8030, {round, round, round});
        write(writer, 0, Table::registers, 8038, {7, 8, 9, static_cast<std::uint16_t>(round + 10)});
        write(writer, 1, Table::coils, 38, {1, 0, 1, static_cast<std::uint16_t>(round % 2)});
        held.push_back(stations_);
        step(writer);
    }
    const MemoryReader reader = MemoryReader::open(path_);
    for (Moment moment = 0; moment < held.size(); ++moment)
        for (const StationMemory &memory : held[moment])
            for (const Table table : {Table::coils, Table::registers})
                for (unsigned address = 0; address < 8100; ++address)
                    ASSERT_EQ(reader.value(memory.station(), table, address, moment), memory.value(table, address))
                        << memory.station() << " " << address << " " << moment;
}

TEST_F(MemoryFile, HoldsAPresetWhereValuesMoveUntilTheNextMoment) {
    stations_ = {StationMemory(1)};
    stations_[0].put({1, Table::registers, 0, {77, 78}});
    MemoryWriter writer(path_, stations_);
    write(writer, 0, Table::registers, 1, {79});
    step(writer);
    write(writer, 0, Table::registers, 0, {80});
    const MemoryReader reader = MemoryReader::open(path_);
    EXPECT_EQ(reader.holding_register(1, 0, 0), 77);
    EXPECT_EQ(reader.holding_register(1, 1, 0), 79);
    EXPECT_EQ(reader.holding_register(1, 0, 1), 80);
    EXPECT_EQ(reader.holding_register(1, 1, 1), 100);
}

TEST_F(MemoryFile, ShowsNothingOfAMomentToCome) {
    const MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);
    EXPECT_EQ(reader.holding_register(1, 0, 1), std::nullopt);
    EXPECT_EQ(reader.coil(1, 50, 0xFFFFFFFF), std::nullopt);
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

TEST_F(MemoryFile, ShowsAWriteAtOnceAndNotInTheMomentBefore) {
    MemoryWriter writer = make_file({1, 2});
    step(writer);
    const MemoryReader reader = MemoryReader::open(path_);

    write(writer, 1, Table::registers, 100, {77, 78});
    write(writer, 1, Table::coils, 65535, {1});

    EXPECT_EQ(reader.holding_register(2, 99, 1), 0);
    EXPECT_EQ(reader.holding_register(2, 100, 1), 77);
    EXPECT_EQ(reader.holding_register(2, 101, 1), 78);
    EXPECT_EQ(reader.holding_register(2, 102, 1), 0);
    EXPECT_EQ(reader.coil(2, 65534, 1), false);
    EXPECT_EQ(reader.coil(2, 65535, 1), true);
    EXPECT_EQ(reader.holding_register(2, 100, 0), 0);
    EXPECT_EQ(reader.coil(2, 65535, 0), false);
    EXPECT_EQ(reader.holding_register(1, 100, 1), 0);
}

TEST_F(MemoryFile, ShowsWhatHasLeftTheLogOnlyAsItIsNow) {
    MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);
    step(writer);
    const std::vector<std::uint16_t> many(123, 5);
    for (std::size_t written = 0; written <= write_log_length; written += many.size())
        write(writer, 0, Table::registers, 100, many);

    EXPECT_EQ(reader.holding_register(1, 100, 1), 5);
    EXPECT_EQ(reader.holding_register(1, 100, 0), std::nullopt);
    EXPECT_EQ(reader.holding_register(1, 0, 0), 1000);
    EXPECT_EQ(reader.holding_register(1, 0, 1), std::nullopt);
    step(writer);
    EXPECT_EQ(reader.holding_register(1, 0, 2), 1002);
    EXPECT_EQ(reader.holding_register(1, 100, 1), 5);
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

    write(writer, 1, Table::registers, 100, {40, 41});
    write(writer, 1, Table::registers, 100, {50, 51});
    step(writer);
    write(writer, 0, Table::coils, 65535, {1});

    EXPECT_EQ(reader.writes_logged(), 5u);
    const auto all = reader.writes_from(2);
    ASSERT_TRUE(all.has_value());
    ASSERT_EQ(all->size(), 3u);
    EXPECT_EQ((*all)[0].station, 7u);
    EXPECT_EQ((*all)[0].table, Table::registers);
    EXPECT_EQ((*all)[0].address, 100u);
    EXPECT_EQ((*all)[0].before, 40);
    EXPECT_EQ((*all)[0].after, 50);
    EXPECT_EQ((*all)[0].moment, 0u);
    EXPECT_EQ((*all)[1].address, 101u);
    EXPECT_EQ((*all)[1].before, 41);
    EXPECT_EQ((*all)[1].after, 51);
    EXPECT_EQ((*all)[2].station, 1u);
    EXPECT_EQ((*all)[2].table, Table::coils);
    EXPECT_EQ((*all)[2].address, 65535u);
    EXPECT_EQ((*all)[2].before, 0);
    EXPECT_EQ((*all)[2].after, 1);
    EXPECT_EQ((*all)[2].moment, 1u);

    EXPECT_EQ(reader.writes_from(4)->size(), 1u);
    EXPECT_TRUE(reader.writes_from(5)->empty());
    EXPECT_FALSE(reader.writes_from(6));
}

TEST_F(MemoryFile, ForgetsTheOldestWrites) {
    MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);
    for (std::uint16_t value = 0; value <= write_log_length; ++value)
        write(writer, 0, Table::registers, 5, {value});
    EXPECT_FALSE(reader.writes_from(0));
    const auto kept = reader.writes_from(1);
    ASSERT_TRUE(kept.has_value());
    ASSERT_EQ(kept->size(), write_log_length);
    EXPECT_EQ(kept->front().after, 1);
    EXPECT_EQ(kept->back().after, write_log_length);
}

TEST_F(MemoryFile, CountsHowOftenFaultsHappened) {
    MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);
    EXPECT_TRUE(reader.fault_counts().empty());
    writer.publish_fault_counts(std::vector<FaultCount>(max_faults, {3, 2}));
    const std::vector<FaultCount> counts = reader.fault_counts();
    ASSERT_EQ(counts.size(), max_faults);
    EXPECT_EQ(counts.front().fitted, 3u);
    EXPECT_EQ(counts.back().happened, 2u);
    EXPECT_EQ(reader.holding_register(1, 0, 0), 1000);
}

TEST_F(MemoryFile, LogsRequestsWithTheirWritesAndThePiecesOfTheirReplies) {
    MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);
    writer.log_request(8, 0);
    write(writer, 0, Table::registers, 4, {1, 2, 3});
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
    write(writer, 0, Table::registers, 4, {1});
    writer.count_request(0);
    EXPECT_EQ(reader.writes_logged(), 0x100000001u);
    EXPECT_EQ(reader.writes_from(0x100000000)->at(0).address, 4u);
    EXPECT_EQ(reader.counters().requests_seen, 0x100000001u);
}

TEST_F(MemoryFile, ForgetsRequestsAndPiecesThatHaveLeftTheLog) {
    MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);
    for (std::uint32_t i = 0; i <= traffic_log_length; ++i) {
        writer.log_request(i, 0);
        writer.log_piece({i, i, 0});
    }
    EXPECT_FALSE(reader.requests_from(0));
    EXPECT_FALSE(reader.pieces_from(0));
    ASSERT_TRUE(reader.requests_from(1) && reader.pieces_from(1));
    EXPECT_EQ(reader.requests_from(1)->front().ends_at, 1u);
    EXPECT_EQ(reader.requests_from(1)->back().ends_at, traffic_log_length);
    EXPECT_EQ(reader.pieces_from(1)->back().request, traffic_log_length);
    EXPECT_FALSE(reader.requests_from(traffic_log_length + 2));
}

TEST_F(MemoryFile, HasItsNumbersWhereTheLayoutSays) {
    stations_ = {StationMemory(5), StationMemory(9)};
    stations_[1].put({9, Table::registers, 50, {0x0102}});
    stations_[1].put({9, Table::coils, 60, {1}});
    MemoryWriter writer(path_, stations_);
    step(writer);
    writer.count_request(1);
    write(writer, 1, Table::registers, 50, {0x5678});
    writer.publish_fault_counts({{8, 7}, {6, 5}});
    writer.log_request(41, 2);
    writer.log_piece({0, 7, 123456});

    const std::string file = bytes();
    ASSERT_EQ(file.size(), 104784u + 2 * 2 * 2 * 65536);
    EXPECT_EQ(file.substr(0, 8), "KELPOPLC");
    EXPECT_EQ(number_at(file, 8), 6u);
    EXPECT_EQ(number_at(file, 12), 2u);
    EXPECT_EQ(number_at(file, 16), 6u);
    EXPECT_EQ(number_at(file, 20), 1u);
    EXPECT_EQ(number_at(file, 24), 2u);
    EXPECT_EQ(number_at(file, 28), 0u);
    EXPECT_EQ(long_number_at(file, 32), 1u);
    EXPECT_EQ(long_number_at(file, 40), 0u);
    EXPECT_EQ(long_number_at(file, 48), 0u);
    EXPECT_EQ(file[56], 5);
    EXPECT_EQ(file[57], 9);
    EXPECT_EQ(long_number_at(file, 312), 0u);
    EXPECT_EQ(long_number_at(file, 320), 1u);
    EXPECT_EQ(long_number_at(file, 2360), 1u);
    EXPECT_EQ(number_at(file, 2368), 1u);           // moment
    EXPECT_EQ(number_at(file, 2372), 0x01020032u);  // address, value before
    EXPECT_EQ(number_at(file, 2376), 0x01095678u);  // value after, station, table
    EXPECT_EQ(long_number_at(file, 51520), 8u);
    EXPECT_EQ(long_number_at(file, 51528), 7u);
    EXPECT_EQ(long_number_at(file, 51536), 6u);
    EXPECT_EQ(long_number_at(file, 51544), 5u);

    EXPECT_EQ(long_number_at(file, 55616), 1u);
    EXPECT_EQ(long_number_at(file, 55624), 41u);
    EXPECT_EQ(long_number_at(file, 55632), 0u);
    EXPECT_EQ(number_at(file, 55640), 1u);
    EXPECT_EQ(number_at(file, 55644), 2u);
    EXPECT_EQ(long_number_at(file, 80200), 1u);
    EXPECT_EQ(long_number_at(file, 80208), 0u);
    EXPECT_EQ(long_number_at(file, 80216), 7u);
    EXPECT_EQ(long_number_at(file, 80224), 123456u);

    const std::size_t second_station = 104784 + 2 * 2 * 65536;
    EXPECT_EQ(number_at(file, second_station + 2 * 60), 1u);
    EXPECT_EQ(number_at(file, second_station + 2 * 65536 + 2 * 50), 0x5678u);
    EXPECT_EQ(number_at(file, second_station + 2 * 65536 + 2 * 2) >> 16, 9003u);
}

TEST_F(MemoryFile, NeverShowsHalfAChange) {
    constexpr std::uint16_t last = 2000;
    constexpr std::size_t values_per_write = 100;
    MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);

    std::atomic<bool> done(false);
    std::thread changes([&] {
        for (std::uint16_t moment = 1; moment <= last; ++moment) {
            step(writer);
            write(writer, 0, Table::registers, 20000, std::vector<std::uint16_t>(values_per_write, moment));
        }
        done = true;
    });
    do {
        const Moment moment = reader.moment();
        if (moment > 0) {
            EXPECT_EQ(reader.holding_register(1, 20000, moment - 1).value_or(moment - 1), moment - 1);
        }
        const std::uint64_t whole_writes = reader.writes_logged() / values_per_write * values_per_write;
        if (const auto writes = reader.writes_from(whole_writes)) {
            EXPECT_EQ(writes->size() % values_per_write, 0u);
        }
    } while (!done);
    changes.join();
    EXPECT_EQ(reader.holding_register(1, 20000, last), last);
}

TEST_F(MemoryFile, ShowsNothingWhenTheControllerDiedInTheMidstOfAChange) {
    const MemoryWriter writer = make_file({1});
    const MemoryReader reader = MemoryReader::open(path_);
    patch(16, 3);
    EXPECT_EQ(reader.holding_register(1, 0, 0), std::nullopt);
    patch(16, 4);
    EXPECT_EQ(reader.holding_register(1, 0, 0), 1000);
}

TEST_F(MemoryFile, StaysReadableAfterTheWriterIsGone) {
    make_file({1});
    EXPECT_EQ(MemoryReader::open(path_).holding_register(1, 3, 0), 1003);
}

TEST_F(MemoryFile, ReplacesAnEarlierOneWithoutDisturbingItsReaders) {
    make_file({1});
    const MemoryReader earlier = MemoryReader::open(path_);
    const MemoryWriter writer = make_file({2});
    EXPECT_EQ(earlier.holding_register(1, 3, 0), 1003);
    EXPECT_EQ(MemoryReader::open(path_).holding_register(2, 3, 0), 2003);
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

TEST_F(MemoryFile, LeavesNoFileWhenItCannotBeMade) {
    std::filesystem::create_directory(path_);
    EXPECT_THROW(make_file({1}), std::runtime_error);
    EXPECT_THROW(MemoryWriter(folder_ / "nowhere/memory", stations_), std::runtime_error);
    const std::filesystem::path parent = std::filesystem::path(path_).parent_path();
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(parent), {}), 1);
}

TEST_F(MemoryFile, LeavesNothingBehindWhenItCannotBeMapped) {
    std::vector<MemoryWriter> all;
    try {
        for (;;)
            all.emplace_back(path_, stations_);
    } catch (const std::runtime_error &) {
    }
    EXPECT_EQ(all.size(), 64U);
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
    MemoryWriter writer = make_file({7});
    const MemoryReader reader = MemoryReader::open(path_);
    std::filesystem::resize_file(path_, 0);
    step(writer);
    write(writer, 0, Table::registers, 100, {11});
    writer.count_reply();
    EXPECT_EQ(reader.counters().replies_sent, 0u);
    EXPECT_EQ(reader.stations(), std::vector<unsigned>{7});
    EXPECT_EQ(reader.holding_register(7, 3, 0), 0);
    EXPECT_EQ(reader.holding_register(7, 100, 0), 0);
    EXPECT_THROW(MemoryReader::open(path_), std::runtime_error);

    const MemoryWriter next = make_file({7});
    EXPECT_EQ(MemoryReader::open(path_).holding_register(7, 3, 0), 7003);
}

TEST_F(MemoryFile, IsAskedForItsStationsOnce) {
    make_file({7});
    const MemoryReader reader = MemoryReader::open(path_);
    patch(12, 100000000);
    EXPECT_EQ(reader.stations(), std::vector<unsigned>{7});
    EXPECT_EQ(reader.holding_register(8, 0, 0), std::nullopt);
}

TEST_F(MemoryFile, WithSenselessNumbersLeadsToNoReadElsewhere) {
    make_file({7});
    const MemoryReader reader = MemoryReader::open(path_);
    patch(20, 0xFFFFFFFF);    // moment
    patch(24, 0xFFFFFFFF);    // faults
    patch(2360, 0xFFFFFFFF);  // writes
    patch(2364, 0xFFFFFFFF);
    patch(2376, 0xFFFFFFFF);  // value after, station and table of the first
    EXPECT_EQ(reader.fault_counts().size(), max_faults);
    EXPECT_EQ(reader.holding_register(7, 100, 0xFFFFFFFE), 0);
    EXPECT_EQ(reader.writes_from(0xFFFFFFFFFFFFFFFE - write_log_length + 1)->size(), write_log_length);
    EXPECT_FALSE(reader.writes_from(0));
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
    patch(8, 6);
    EXPECT_NO_THROW(MemoryReader::open(path_));
    patch(12, 2);
    EXPECT_THROW(MemoryReader::open(path_), std::runtime_error);
}

}  // namespace
}  // namespace plc
