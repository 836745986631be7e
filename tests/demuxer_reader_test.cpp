// The buffered reader over sources that behave well and badly.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>

#include "tests/support/demuxer_host.h"
#include "tests/support/heap.h"

namespace kelflac_test {

static Bytes Noise(size_t size) {
    Bytes bytes(size);
    uint64_t random = 7;
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(NextRandom(random) | 1);  // never 0
    return bytes;
}

TEST(Reader, HasARingForItsHintAndAChunk) {
    // The source's bytes, the hint, the result, `eof`, the ring, the number of closes.
    const std::tuple<size_t, int, int, int, int, int> rows[] = {
        {0, 4096, 1, 1, 8192, 0},      {1, 4096, 0, 1, 8192, 0},     {4095, 4096, 0, 1, 8192, 0},
        {4096, 4096, 0, 0, 8192, 0},   {9000, 4097, 0, 0, 16384, 0}, {9000, 20000, 0, 0, 32768, 0},
        {9000, 12288, 0, 0, 16384, 0}, {9000, 1 << 30, -2, 0, 0, 1}};
    for (const auto& [bytes, hint, created, at_end, ring, closes] : rows) {
        SCOPED_TRACE(std::to_string(bytes) + " bytes, a hint of " + std::to_string(hint));
        Reader reader(Noise(bytes), {}, hint);
        EXPECT_EQ(reader.created, created);
        EXPECT_EQ(reader.eof, at_end);
        EXPECT_EQ(reader.size, ring);
        EXPECT_EQ(reader.reach, ring + kelflacf_fal_buffered(&reader)) << "a load adds `size`";
        EXPECT_EQ(reader.source.counts["close"], closes);
    }
}

/** Does the steps of a script, "read 200 = 100 (0 end)", and returns it with the real results. The
    result of a peek or read4 is 1 for any value but 0. In brackets: the buffered bytes, and "end"
    if `eof` is set. */
static std::string Play(Reader* reader, const std::string& script) {
    Bytes to(30000);
    const std::map<std::string, std::function<int(int)>> steps = {
        {"skip", [=](int n) { return kelflacf_fal_skip(reader, n); }},
        {"move", [=](long long n) { return kelflacf_fal_setpos(reader, &n); }},
        {"read", [&](int n) { return kelflacf_fal_read(reader, to.data(), n); }},
        {"fill", [=](int) { return kelflacf_fal_bytes_peek(reader); }},
        {"peek", [=](int n) { return kelflacf_fal_peek1(reader, n) != 0; }},
        {"peek4", [=](int n) { return kelflacf_fal_peek4(reader, n) != 0; }},
        {"read4", [=](int) { return kelflacf_fal_read4(reader) != 0; }}};
    std::istringstream in(script);
    std::ostringstream played;
    std::string step, expected;
    for (int n = 0; in >> step >> n && std::getline(in, expected, ')');) {
        played << (played.tellp() > 0 ? " " : "") << step << " " << n << " = " << steps.at(step)(n);
        played << " (" << kelflacf_fal_buffered(reader) << (reader->eof != 0 ? " end)" : ")");
    }
    return played.str();
}

TEST(Reader, ServesSkipsMovesReadsAndPeeks) {
    const Hook sound;
    const std::tuple<const char*, int, Hook, const char*> rows[] = {
        {"past the end", 100, sound,
         "read 0 = 0 (100 end) read 200 = 100 (0 end) peek 0 = 0 (0 end) peek 9 = 0 (0 end)"},
        {"a fill leaves a byte free, peeks refill as if their offset were 0", 50000, sound,
         "peek4 4096 = 0 (4096) fill 0 = 4096 (4096) read 1 = 1 (4095) fill 0 = 8191 (8191) "
         "skip 8189 = 0 (2) peek4 0 = 1 (4098) peek4 2147483647 = 0 (4098)"},
        {"four buffered bytes are enough for a word", 10000, sound,
         "skip 4092 = 0 (4) peek4 0 = 1 (4) read4 0 = 1 (0) read4 0 = 1 (4092)"},
        {"skips of all that is buffered", 10000, sound,
         "skip 4096 = 0 (4096) skip 5904 = 0 (0 end) skip 0 = 1 (0 end)"},
        {"skips past the end and by -5", 10000, sound,
         "skip 11000 = 1 (0 end) skip -5 = 0 (0 end)"},
        {"moves among the buffered bytes, before them, to the end and back", 10000, sound,
         "move 0 = 0 (4096) move 4095 = 0 (1) move 10 = 0 (4086) move 10000 = 0 (0) "
         "move 123456 = 0 (0) peek 0 = 0 (0 end) move 9999 = 0 (1 end) move -1 = 1 (0 end)"},
        {"a move past the end of a source of one byte", 1, sound, "move 9 = 0 (0 end)"},
        {"a move to where it is", 10000, sound,
         "fill 0 = 4096 (4096) read 1 = 1 (4095) fill 0 = 8191 (8191) move 1 = 0 (8191)"},
        {"moves past an unknown end", 10000, UnknownSize,
         "move 11000 = 1 (0 end) move 99999 = 1 (0 end) move 9000 = 0 (1000 end)"},
        {"a refused move", 10000, RefusePositions, "move 9000 = -4 (4096)"},
        {"a short read sets eof; a fill ignores it and a move clears it", 30000, SpoilRead(0, 100),
         "read 200 = 100 (0 end) peek 0 = 0 (0 end) fill 0 = 4096 (4096 end) move 101 = 0 (4095)"},
        {"a ring that was emptied is filled from its start", 30000, SpoilRead(0, 100),
         "skip 200 = 1 (0 end) fill 0 = 4096 (4096 end) read 1 = 1 (4095 end) fill 0 = 8191 (8191 "
         "end)"},
        {"a refill after a short read goes up to a chunk's end", 30000, SpoilRead(1, 100),
         "read 5000 = 5000 (3192)"},
        {"a failed read is the end too", 30000, SpoilRead(2, -1),
         "read 100 = 100 (3996) read 20000 = 8092 (0 end) peek 0 = 0 (0 end) move 8192 = 0 (4096)"},
    };
    for (const auto& [what, bytes, hook, script] : rows) {
        Reader reader(Noise(static_cast<size_t>(bytes)), hook);
        EXPECT_EQ(Play(&reader, script), script) << what;
    }
}

TEST(Reader, SkipsMoreThanAnIntHoldsInTwoSteps) {
    Reader reader(Noise(20000), RefusePositions);  // the reads go on where they were
    skip_u32(&reader, 1U << 31);
    EXPECT_EQ(reader.source.Lines("setpos"),
              (Texts{"setpos 2147479552 @4096 = -1", "setpos 8192 @8192 = -1"}));
}

TEST(Reader, GivesZerosForBytesThatAreMissing) {
    Reader reader(Noise(100));
    uint8_t* const bytes = read_to_heap(&reader, 200, 8);
    EXPECT_EQ(Bytes(bytes, bytes + 208), Cat({Noise(100), Bytes(108)}));
    free(bytes);
    long long pos = 0;
    EXPECT_EQ(kelflacf_fal_getpos(&reader, &pos), 0);
    EXPECT_EQ(pos, 100);
}

TEST(Reader, FillsUpToTheSecondEmptyReadInARow) {
    // The reads that give few bytes (the first load is number 0), and how many they give. Then the
    // bytes buffered in a ring of 32 KiB, and the number of reads.
    const std::tuple<std::set<int>, int, int, int> rows[] = {
        {{}, 0, 28672, 7},     {{1}, 0, 24576, 7},    {{1, 2}, 0, 4096, 3},
        {{1, 3}, 0, 20480, 7}, {{5, 6}, 0, 20480, 7}, {{1, 2}, 1, 20482, 7}};
    for (const auto& [few, bytes, buffered, reads] : rows) {
        SCOPED_TRACE("the reads (from 0) " + testing::PrintToString(few) + " give " +
                     std::to_string(bytes) + " bytes");
        const auto spoil = [spoiled = few, given = bytes](Call& call) {
            if (call.op == "read" && spoiled.count(call.index) > 0) call.result = given;
        };
        Reader reader(Noise(40000), spoil, 20000);
        EXPECT_EQ(kelflacf_fal_bytes_peek(&reader), buffered);
        EXPECT_EQ(reader.source.counts["read"], reads);
    }
}

TEST(Reader, KeepsItsBytesInALargerRing) {
    const Bytes data = Noise(12288);
    // Steps of a script, the position after them, and the bytes buffered up to the ring's end.
    const std::tuple<const char*, int, int> rows[] = {
        {"skip 4000 () fill 0 () skip 1500 ()", 5500, 2692},
        {"skip 4000 () fill 0 () skip 4100 () fill 0 ()", 8100, 92}};
    for (const auto& [hint, status] : {std::pair(100, 0), {20000, 0}, {1 << 30, -2}}) {
        for (const auto& [steps, pos, up_to_end] : rows) {
            SCOPED_TRACE(std::string(steps) + ", then a ring for " + std::to_string(hint));
            Reader reader(data);
            Play(&reader, steps);
            const auto [a, b] = kelflacf_fal_runs(&reader);
            EXPECT_EQ(a.count, up_to_end) << "the bytes buffered up to the ring's end";
            Bytes read = Cat({{a.bytes, a.bytes + a.count}, {b.bytes, b.bytes + b.count}});
            const auto from = data.begin() + pos;
            EXPECT_EQ(read, Bytes(from, from + a.count + b.count));
            const size_t allocations = heap_allocations;
            EXPECT_EQ(kelflacf_fal_resize_buf(&reader, hint), status);
            EXPECT_EQ(kelflacf_fal_resize_buf(&reader, 100), 0) << "there is room already";
            EXPECT_EQ(heap_allocations - allocations, status == 0 && hint != 100 ? 1U : 0U);
            read.resize(7000);
            read.resize(static_cast<size_t>(kelflacf_fal_read(&reader, read.data(), 7000)));
            EXPECT_EQ(read, Bytes(from, data.end()));
        }
    }
}

}  // namespace kelflac_test
