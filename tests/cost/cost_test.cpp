// The cost law: what files of every kind cost, honest and hostile, over sources of every kind.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/cost/meter.h"
#include "tools/host/memory_source.h"
#include "tools/streams/costly_streams.h"

namespace kelflac_test {

using namespace kelflac_host;
using namespace kelflac_streams;

/** What a source does besides giving its bytes. */
enum { HONEST, NO_SIZE, LIES, SHORTENS, FAILS_NOW_AND_THEN, FAILS_IN_THE_MIDDLE };
constexpr const char* kManners[] = {"is honest",           "can't tell its size",
                                    "tells a larger size", "shortens reads",
                                    "fails now and then",  "fails from the middle on"};

struct FileSource : MemorySource {
    FileSource(const Bytes& file, int manners) : MemorySource(file) {
        constexpr int kFaultEvery = 5, kLarger = 32 << 20;
        constexpr int64_t kSniffed = 10;
        const auto middle = static_cast<int64_t>(file.size() / 2);
        const Hook hooks[] = {
            {},
            UnknownSize,
            [](Call& c) { c.result += c.op == "getsize" ? kLarger : 0; },
            [](Call& c) { c.result /= c.op == "read" && c.arg > kSniffed ? 3 : 1; },
            [](Call& c) {
                c.result = c.op == "read" && c.index % kFaultEvery == 4 ? -1 : c.result;
            },
            [=](Call& c) { c.result = c.op == "read" && c.pos > middle ? -1 : c.result; }};
        hook = hooks[manners];
        keeps_calls = false;
    }
};

/** Prints the bill that comes nearest to the law. */
struct Worst {
    ~Worst() {
        printf("at most %llu %% of the law, by %s: %.2f blocks a byte\n",
               static_cast<unsigned long long>(bill.Percent()), by.c_str(), bill.PerByte());
    }
    void Note(const std::string& name, const Bill& other) {
        if (other.Percent() < bill.Percent()) return;
        bill = other;
        by = name;
    }
    /** Meters a file's life over sources of every kind. */
    void Meter(const std::string& name, const Bytes& file) {
        for (int manners = HONEST; manners <= FAILS_IN_THE_MIDDLE; manners++) {
            FileSource source(file, manners);
            const std::string told = name + ", over a source that " + kManners[manners];
            Note(told, MeterLife(told.c_str(), &source));
        }
    }
    Bill bill = {0, 1, 1};
    std::string by;
};

TEST(Cost, OfStreamsThatRepeatOneThingGrowsAsTheirSize) {
    Worst worst;
    for (const size_t size : {size_t{64} << 10, size_t{512} << 10})
        for (const auto& [name, bytes] : RepeatingStreams(size))
            worst.Meter(name + " for " + std::to_string(size), bytes);
}

TEST(Cost, OfHostileStreamsIsLawful) {
    Worst worst;
    for (const auto& [name, bytes] : HostileStreams()) worst.Meter(name, bytes);
}

TEST(Cost, OfADateGrowsAsItsDigits) {
    constexpr size_t kSize = 16 << 20;
    for (const bool in_blocks : {false, true}) {
        const size_t size = in_blocks ? kSize : kSize - 100;  // a block's length has 24 bits
        Bill bills[2];
        for (const bool other_key : {false, true}) {
            const Bytes file = DateStream(size, other_key, in_blocks);
            FileSource source(file, HONEST);
            bills[other_key] = MeterLife("a huge date", &source);
        }
        EXPECT_LE(bills[0].blocks, 3 * bills[1].blocks) << "in blocks: " << in_blocks;
    }
}

static Bytes Contents(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

TEST(Cost, OfAnHonestFileIsFarBelowTheLawAndTheSameOnEachRun) {
    FileSource source(Contents(KELFLAC_SAMPLE), HONEST);
    const Bill bill = MeterLife("the sample", &source);
    EXPECT_GT(bill.bytes, source.data.size()) << "the sample was not read";
    EXPECT_GT(bill.blocks, source.data.size() / 64) << "nothing was counted";
    EXPECT_LE(bill.PerByte(), kHonestBlocksPerByte);
    EXPECT_EQ(MeterLife("the sample", &source).blocks, bill.blocks);
}

TEST(Cost, OfPublicFilesIsLawful) {
    const char* const folder = std::getenv("KELFLAC_TEST_FILES");
    if (folder == nullptr) GTEST_SKIP() << "KELFLAC_TEST_FILES names no folder of FLAC files";
    Worst worst;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file()) worst.Meter(entry.path().filename(), Contents(entry.path()));
}

}  // namespace kelflac_test
