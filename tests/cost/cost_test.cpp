// The cost law: what files of every kind cost, honest and hostile, over sources of every kind.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "libextractor/mfal/kelcmn_mfal_android_q.h"
#include "tests/cost/meter.h"
#include "tools/host/memory_source.h"
#include "tools/streams/costly_streams.h"
#include "tools/streams/flac_codec.h"

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

TEST(Cost, IsTheSameOnEachRun) {
    const Bytes file = StreamBuilder{}.Comments({"TITLE=t"}).Frames(0, 50, 500).Build();
    FileSource source(file, HONEST);
    const Bill first = MeterLife("a short file", &source);
    EXPECT_GT(first.blocks, file.size() / 64) << "nothing is counted";
    EXPECT_GE(first.bytes, file.size()) << "less is allowed for than is delivered";
    EXPECT_EQ(MeterLife("a short file", &source).blocks, first.blocks);
}

TEST(Cost, OfStreamsThatRepeatOneThingGrowsAsTheirSize) {
    Worst worst;
    for (const size_t size : {size_t{64} << 10, size_t{512} << 10})
        for (const auto& [name, bytes] : RepeatingStreams(size))
            worst.Meter(name + " of " + std::to_string(size) + " bytes", bytes);
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

TEST(Cost, OfSearchingJunkAllAlongIsLawful) {
    Worst worst;
    Bytes buffer(1 << 24);
    for (int kind = 0; kind < kCostlyKindCount; kind++) {
        for (const uint32_t max_frame : {9000U, 0xFFFFFFU}) {
            const Bytes file = CostlyStream(kind, 1 << 20, max_frame);
            FileSource source(file, HONEST);
            const auto read_all = [&](android::CDataSource* metered) {
                android::DataSourceHelper helper(metered);
                KELCMN_MFAL_PARAM param = {{}, &helper};
                _KELCMN_MFAL record = {kelcmn_mfal_open,
                                       kelcmn_mfal_close,
                                       kelcmn_mfal_read,
                                       {},
                                       kelcmn_mfal_getpos,
                                       kelcmn_mfal_setpos,
                                       {},
                                       kelcmn_mfal_getsize,
                                       {},
                                       {},
                                       &param,
                                       {}};
                int64_t time = 0;
                uint32_t length = 0;
                KELFLACFD_INFO info;
                KELFLACFD_CTX* const ctx = kelflacfd_create(&record, &time, &info, nullptr);
                const auto room = static_cast<int32_t>(buffer.size());
                while (kelflacfd_get_frm(ctx, buffer.data(), room, &length, &time, &time) != 1)
                    ctx->full_check_count = KELFLACFD_FULL_CHECK_COUNT;
                kelflacfd_delete(ctx);
            };
            worst.Note(kCostlyKinds[kind], Meter(kCostlyKinds[kind], &source, read_all));
        }
    }
}

TEST(Cost, OfHonestFilesIsFarBelowTheLaw) {
    Worst worst;
    const struct {
        uint32_t channels, bits, rate;
    } rows[] = {{2, 16, 44100}, {2, 24, 96000}, {6, 24, 192000}, {1, 8, 8000}};
    for (const auto& row : rows) {
        const Pcm pcm = MakePcm(20 * row.rate, row.channels, row.bits, row.rate);
        StreamBuilder tags = StreamBuilder{}.Comments({"TITLE=t"}).Picture({Bytes(100000, 'p')});
        const Bytes file = Encode(pcm, 4096, tags);
        FileSource source(file, HONEST);
        const std::string name = std::to_string(row.bits) + "/" + std::to_string(row.rate);
        const Bill bill = MeterLife(name.c_str(), &source);
        EXPECT_LE(bill.PerByte(), kHonestBlocksPerByte);
        worst.Note(name, bill);
    }
}

TEST(Cost, OfPublicFilesIsLawful) {
    const char* const folder = std::getenv("KELFLAC_TEST_FILES");
    if (folder == nullptr) GTEST_SKIP() << "KELFLAC_TEST_FILES names no folder of FLAC files";
    Worst worst;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file()) continue;
        std::ifstream in(entry.path(), std::ios::binary);
        const Bytes file{std::istreambuf_iterator<char>(in), {}};
        worst.Meter(entry.path().filename(), file);
    }
}

}  // namespace kelflac_test
