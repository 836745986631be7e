// The buffered reader over well-behaved and misbehaving sources.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>

#include "libextractor/flac/demuxer/kelflacfd_sync.h"
#include "tests/support/demuxer_host.h"

namespace kelflac_test {
namespace {

using Lines = std::vector<std::string>;

Bytes Noise(size_t size) {
    Bytes bytes(size);
    std::mt19937_64 random(7);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random() | 1);  // never 0
    return bytes;
}
void RefusePositions(Call& call) {
    if (call.op == "setpos") call.result = -1;
}

TEST(Reader, Creation) {
    // Source's bytes and size hint; result, end of data, ring size, handles closed.
    const std::pair<std::pair<size_t, int>, std::vector<int>> rows[] = {
        {{0, 4096}, {1, 1, 8192, 0}},      {{1, 4096}, {0, 1, 8192, 0}},
        {{4095, 4096}, {0, 1, 8192, 0}},   {{4096, 4096}, {0, 0, 8192, 0}},
        {{9000, 4097}, {0, 0, 16384, 0}},  {{9000, 20000}, {0, 0, 32768, 0}},
        {{9000, 12288}, {0, 0, 16384, 0}}, {{9000, 1 << 30}, {-2, 0, 0, 1}}};
    for (const auto& [given, expected] : rows) {
        Reader r(Noise(given.first), {}, given.second);
        EXPECT_EQ((std::vector<int>{r.created, r.eof, r.size, r.source.counts["close"]}), expected);
    }
    Reader refused({}, [](Call& call) { call.result = -1; });
    EXPECT_EQ(refused.created, -4);
    EXPECT_EQ(refused.source.Lines(), Lines{"open 18 @0 = -1"});
}

/** Runs a script of operations: s skip, p setpos, r read, b top up, k peek1, w peek4. Gives for
   each its result (1 for a byte or word that is not 0), the bytes then buffered and "e" at the end.
 */
std::string Play(Reader& reader, const std::string& script) {
    std::istringstream in(script);
    std::string out;
    char op = 0;
    for (int arg = 0; in >> op >> arg;) {
        Bytes bytes(30000);
        const int result = op == 's'   ? kelflacf_fal_skip(&reader, arg)
                           : op == 'p' ? reader.SetPos(arg)
                           : op == 'r' ? kelflacf_fal_read(&reader, bytes.data(), arg)
                           : op == 'b' ? kelflacf_fal_bytes_peek(&reader)
                           : op == 'k' ? kelflacf_fal_peek1(&reader, arg) != 0
                                       : kelflacf_fal_peek4(&reader, arg) != 0;
        out += std::to_string(result) + ":" + std::to_string(kelflacf_fal_buffered(&reader)) +
               (reader.eof != 0 ? "e " : " ");
    }
    return out;
}

TEST(Reader, Scripts) {
    const auto short_first = [](Call& call) {
        if (call.op == "read" && call.index == 0) call.result = 100;
    };
    const auto third_fails = [](Call& call) {
        if (call.op == "read" && call.index == 2) call.result = -1;
    };
    const struct {
        size_t bytes;
        Hook hook;
        const char *script, *expected;
    } rows[] = {
        {100, {}, "r200 k0", "100:0e 0:0e "},
        // A top-up leaves a byte free; peeks refill for their first bytes alone.
        {50000,
         {},
         "k4096 b0 r1 b0 s8189 w0 w2147483647",
         "0:4096 4096:4096 1:4095 8191:8191 0:2 1:4098 0:4098 "},
        // All that is buffered; to the end, where a few bytes came; nothing.
        {10000, {}, "s4096 s5904 s0", "0:4096 0:0e 1:0e "},
        {10000, {}, "s11000 s-5", "1:0e 0:0e "},  // less in the block than the offset in it
        // Among the buffered bytes; before them; at the end and behind, which keeps the flag; back.
        {10000,
         {},
         "p0 p4095 p10 p10000 p123456 k0 p9999 p-1",
         "0:4096 0:1 0:4086 0:0 0:0 0:0e 0:1e 1:0e "},
        {10000, UnknownSize, "p11000 p99999 p9000", "1:0e 1:0e 0:1000e "},
        {10000, RefusePositions, "p9000", "-4:4096 "},
        // A short first read is the end, which a top-up passes and any position clears.
        {30000, short_first, "r200 k0 b0 p101", "100:0e 0:0e 4096:4096e 0:4095 "},
        {30000, third_fails, "r100 r20000 k0 p8192", "100:3996 8092:0e 0:0e 0:4096 "},
    };
    for (const auto& row : rows) {
        Reader reader(Noise(row.bytes), row.hook);
        EXPECT_EQ(Play(reader, row.script), row.expected) << row.script;
    }
    Reader reader(Noise(10000));
    Play(reader, "p0 p4095 p10 s4086");
    EXPECT_EQ(reader.source.Lines("read setpos"),
              (Lines{"read 4096 @0 = 4096", "setpos 0 @4096 = 0", "read 4096 @0 = 4096",
                     "setpos 4096 @4096 = 0", "read 4096 @4096 = 4096"}));
    const Bytes data = Noise(20000);
    Reader refused(data, RefusePositions);
    EXPECT_EQ(kelflacf_fal_skip(&refused, 10001), 0) << "goes on where the source stands";
    EXPECT_EQ(kelflacf_fal_read1(&refused), data[4096 + (10001 & 4095)]);
}

TEST(Reader, ATopUpEndsAtTheSecondEmptyReadInARow) {
    // The reads that give nothing, the first load being number 0; the bytes then buffered in a ring
    // of 32 KiB, and the reads made.
    const struct {
        std::vector<int> empty;
        int buffered, reads;
    } rows[] = {
        {{}, 28672, 7}, {{1}, 24576, 7}, {{1, 2}, 4096, 3}, {{1, 3}, 20480, 7}, {{5, 6}, 20480, 7}};
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        const auto fail = [&](Call& call) {
            const auto& empty = row.empty;
            if (call.op == "read" && std::count(empty.begin(), empty.end(), call.index) > 0)
                call.result = 0;
        };
        Reader reader(Noise(40000), fail, 20000);
        EXPECT_EQ(kelflacf_fal_bytes_peek(&reader), row.buffered);
        EXPECT_EQ(reader.source.counts["read"], row.reads);
    }
}

TEST(Reader, ServesBytesAcrossTheRingsEnd) {
    const std::tuple<uint8_t, uint8_t, const char*> rows[] = {
        {0xFF, 0xF8, "100 100 91 91 10 10 -1 "},
        {0xFF, 0x55, "100 100 10 10 10 10 -1 "},
        {0x55, 0xF8, "100 100 10 10 10 10 -1 "}};
    for (const auto& [last, first, expected] : rows) {
        Bytes data(12288, 0x55);
        for (size_t at : {8110U, 8200U}) data[at] = 0xFF, data[at + 1] = 0xF8;
        data[8191] = last, data[8192] = first;  // these lie at the ring's end and its start
        for (bool grown : {false, true}) {
            Reader reader(data);
            EXPECT_EQ(Play(reader, "s4000 b0 s4100 b0"), "0:96 4192:4192 0:92 4188:4188 ");
            std::string found;
            for (int limit : {4000, 101, 100, 92, 91, 11, 10})
                found +=
                    std::to_string(find_last_sync_code(kelflacf_fal_runs(&reader), limit)) + " ";
            EXPECT_EQ(found, expected);
            EXPECT_EQ(kelflacf_fal_resize_buf(&reader, grown ? 20000 : 100), 0);
            Bytes rest(4188);
            EXPECT_EQ(kelflacf_fal_read(&reader, rest.data(), 5000), 4188);
            EXPECT_EQ(rest, Bytes(data.begin() + 8100, data.end()));
        }
    }
}

}  // namespace
}  // namespace kelflac_test
