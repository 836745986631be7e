// Streams that are wrong on purpose: what comes of each, and what it costs.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/life.h"
#include "tests/support/plugin_host.h"
#include "tools/streams/hostile_streams.h"

namespace kelflac_test {

static std::string FileText(const std::filesystem::path& path) {
    std::ostringstream out;
    out << std::ifstream(path, std::ios::binary).rdbuf();
    return out.str();
}

/** What is told of a file; behind "/" with its size unknown, where that differs. */
static std::string Lives(const Bytes& file) {
    DemuxerLife(file, [](Call& call) {
        if (call.op == "setpos" && call.arg < 0) call.result = -1;
    });
    PluginLife(file);
    PluginLife(file, UnknownSize);
    const std::string known = DemuxerLife(file).told, unknown = DemuxerLife(file, UnknownSize).told;
    return known + (unknown != known ? "/" + unknown : "");
}

TEST(Hostile, EveryStream) {
    std::string rows;
    for (const auto& [name, bytes] : HostileStreams()) {
        SCOPED_TRACE(name);
        rows += name + " " + Lives(bytes) + "\n";
    }
    EXPECT_EQ(rows, FileText(KELFLAC_HOSTILE_LIVES));
}

TEST(Hostile, EveryMarkerAndEveryEnd) {
    const Bytes sound = StreamBuilder{}.Picture({Text("P")}).Frames(0, 2, 60).Build();
    const Bytes l = Text("fLaCID3"), behind(sound.begin() + 4, sound.end());
    for (size_t i = 0; i < 7 * 7 * 7 * 7; i++) {
        const Bytes file = Cat({{l[i / 343], l[i / 49 % 7], l[i / 7 % 7], l[i % 7]}, behind});
        EXPECT_EQ(Demuxer(file).err, file == sound ? 0 : -5);
        EXPECT_EQ(PluginLife(file).told.empty(), file != sound);
    }
    std::string told, last;
    for (size_t size = 0; size <= sound.size(); size++) {
        const std::string now = Lives({sound.data(), sound.data() + size});
        if (now != last) told += std::to_string(size) + ": " + now + " ";
        last = now;
    }
    EXPECT_EQ(told, "0: -5 4: -3 94: <P>1/-3 149: <P>0!/-3 154: <P>2/<P>1 ");
}

static thread_local size_t looked_at, searches;

// The linker turns calls of find_far_sync_code into calls of the second.
using Find = int(const KELFLACF_FAL_RUNS& runs, int from, int limit);
extern "C" Find __real__Z18find_far_sync_codeRK17KELFLACF_FAL_RUNSii,
    __wrap__Z18find_far_sync_codeRK17KELFLACF_FAL_RUNSii;
int __wrap__Z18find_far_sync_codeRK17KELFLACF_FAL_RUNSii(const KELFLACF_FAL_RUNS& runs, int from,
                                                         int limit) {
    const int at = __real__Z18find_far_sync_codeRK17KELFLACF_FAL_RUNSii(runs, from, limit);
    looked_at += static_cast<size_t>(at - from + 1);
    searches++;
    return at;
}

TEST(Hostile, SearchesGrowWithTheFileAlone) {
    Bytes buffer(1 << 24);
    for (int kind = 0; kind < kCostlyKindCount; kind++) {
        Bytes file = CostlyStream(kind, 1 << 20, 9000);
        for (bool large_ring : {false, true}) {
            if (large_ring) std::fill_n(file.begin() + 15, 3, uint8_t{0xFF});  // the largest frame
            looked_at = searches = 0;
            Demuxer d(file);
            ASSERT_EQ(d.err, 0);
            uint32_t length = 0;
            int64_t time = 0;
            while (kelflacfd_get_frm(d.ctx, buffer.data(), 1 << 24, &length, &time, &time) != 1)
                d.ctx->full_check_count = KELFLACFD_FULL_CHECK_COUNT;
            EXPECT_LE(looked_at, 3 * file.size()) << kCostlyKinds[kind];
            EXPECT_LE(searches, file.size() / 4) << kCostlyKinds[kind];
            EXPECT_LE(d.source.counts["read"], static_cast<int>(file.size() / 8));
        }
    }
}

extern "C" __attribute__((weak)) void __asan_init();  // whose quarantine comes and goes

static thread_local size_t reads;  // of a byte or a word of metadata

using ReadByte = int(KELFLACF_FAL* fal);
using ReadWord = uint32_t(KELFLACF_FAL* fal);
extern "C" ReadByte __real__Z18kelflacf_fal_read1P12KELFLACF_FAL,
    __wrap__Z18kelflacf_fal_read1P12KELFLACF_FAL;
extern "C" ReadWord __real__Z18kelflacf_fal_read4P12KELFLACF_FAL,
    __wrap__Z18kelflacf_fal_read4P12KELFLACF_FAL;
int __wrap__Z18kelflacf_fal_read1P12KELFLACF_FAL(KELFLACF_FAL* fal) {
    reads++;
    return __real__Z18kelflacf_fal_read1P12KELFLACF_FAL(fal);
}
uint32_t __wrap__Z18kelflacf_fal_read4P12KELFLACF_FAL(KELFLACF_FAL* fal) {
    reads++;
    return __real__Z18kelflacf_fal_read4P12KELFLACF_FAL(fal);
}

TEST(Hostile, WhatIsPromisedBehindTheEndIsNotReadOneByOne) {
    const std::pair<int, Bytes> blocks[] = {
        {kSeekTable, Bytes(90)},
        {kPicture, PictureBody({{}, 3, {}, {}, {}, {}, 0x1000000})},
        {kVorbisComment, Cat({Le(0, 4), Le(1'000'000, 4)})},
        {kVorbisComment, Cat({Le(0, 4), Le(0xFFFFFFFF, 4)})}};
    for (const auto& [type, body] : blocks) {
        reads = 0;
        Demuxer d(StreamBuilder{}.Block(type, body, 0xFFFFFF).Build(), [](Call& call) {
            if (call.op == "getsize") call.result = 1 << 25;  // so that the block could end there
        });
        EXPECT_EQ(d.err, -3);
        EXPECT_GT(reads, 10U);
        EXPECT_LT(reads, 100U);
    }
}

TEST(Hostile, ASeekThatCreepsEndsAfter4GiB) {
    // The first probe meets frames whose numbers creep towards the target's and never reach it; the
    // last number is so large that each step is short, and the next probe crosses as much again.
    constexpr uint64_t kTarget = 100'000;
    constexpr size_t kFirstProbe = 9'900'042, kFile = 20'000'000;
    Bytes run, end;
    for (uint64_t i = 0; i < 750; i++) run = Cat({run, FrameBytes({kTarget - 200 + i / 5}, 200)});
    for (uint64_t n : {kTarget - 40, kTarget - 39, uint64_t{1'100'000}})
        end = Cat({end, FrameBytes({n}, 200)});
    const StreamInfo info = {4096, 4096, 0, 44100, 2, 16, 300, 2 * kTarget * 4096};
    Bytes file = StreamBuilder(info).Frames(0, 2, 200).Build();
    file.resize(kFirstProbe, 0x55);
    file = Cat({file, run});
    file.resize(kFile - end.size(), 0x55);
    Session s(Cat({file, end}));
    ASSERT_EQ(s.Start(), AMEDIA_OK);
    s.source.calls = 0;
    EXPECT_EQ(s.Read(android::SEEK, 9'287'981'858).status, AMEDIA_OK);
    EXPECT_GT(s.source.calls, 1'000'000);
    EXPECT_LT(s.source.calls, (int64_t{4} << 30) / 4096 * 11 / 10);
}

TEST(Memory, StaysWhereItWas) {
    const auto resident_pages = [] {
        size_t all = 0, resident = 0;
        std::ifstream("/proc/self/statm") >> all >> resident;
        return resident;
    };
    const Bytes file = StreamBuilder{}.Picture({Bytes(9000)}).Frames(0, 3, 900).Build();
    size_t before = 0;
    for (int round = 0; round < 10000; round++) {
        if (round == 1000) before = resident_pages();
        PluginLife(file);
    }
    if (__asan_init != nullptr) return;
    EXPECT_LE(resident_pages(), before + 128);
}

TEST(Memory, IsBoundedInPublicFiles) {
    const char* const folder = std::getenv("KELFLAC_TEST_FILES");
    if (folder == nullptr) GTEST_SKIP() << "KELFLAC_TEST_FILES names no folder of FLAC files";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file()) Lives(Text(FileText(entry.path())));
}

}  // namespace kelflac_test
