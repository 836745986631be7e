// What the demuxer asks of its source, call for call, and what it answers: opening, reading to the
// end and seeking in a dozen streams. The sums were taken from a demuxer that looks at one byte
// after another; a faster search must look the same to its source, except that a top-up may stop at
// the first read that gives nothing.
#include <gtest/gtest.h>

#include <random>

#include "tests/support/demuxer_host.h"

namespace kelflac_test {
namespace {

/** Frames of up to `largest` bytes full of 0xFF and header-like bytes; `junk` true adds headers of
    every kind that belong to no frame. */
Bytes NoisyFrames(uint64_t count, size_t largest, bool junk) {
    std::mt19937_64 random(count + largest);
    std::vector<Bytes> parts;
    for (uint64_t i = 0; i < count; ++i) {
        FrameHeader header;
        header.number = i;
        parts.push_back(FrameBytes(header, 20 + static_cast<size_t>(random() % (largest - 20))));
        for (size_t k = 8; k < parts.back().size(); ++k) {
            const auto byte = static_cast<uint8_t>(random());
            parts.back()[k] = byte < 40 ? 0xFF : byte < 80 ? 0xF8 : byte;
        }
        for (int k = 0; junk && k < 3; ++k) {
            header.number = random() & 0xFFFFFFF;
            header.rate_code = static_cast<uint32_t>(random() % 12);
            header.assignment = static_cast<uint32_t>(random() % 11);
            header.bits_code = static_cast<uint32_t>(random() % 3);
            parts.push_back(Cat({HeaderBytes(header), {0x02, 0x55}}));
        }
    }
    return Cat(parts);
}

Bytes Stream(uint64_t frames, size_t largest, uint64_t samples, bool junk = false,
             const Bytes& tail = {}) {
    const StreamInfo info = {4096, 4096, 0, 44100, 2, 16, static_cast<uint32_t>(largest), samples};
    return StreamBuilder(info).Raw(NoisyFrames(frames, largest, junk)).Raw(tail).Build();
}

/** The whole life of a demuxer over a source, as one number. */
uint64_t Life(Bytes bytes, Hook hook) {
    std::string told;
    Demuxer demuxer(std::move(bytes), std::move(hook));
    const auto read = [&] {
        const Frame frame = demuxer.Read(9000);
        told += (std::to_string(frame.status) + " " + std::to_string(frame.length) + " " +
                 std::to_string(frame.time));
        return frame.status;
    };
    told += std::to_string(demuxer.err);
    for (int reads = 0; demuxer.ctx != nullptr && reads < 600 && read() != 1; ++reads) {
    }
    std::mt19937_64 random(1);
    for (int i = 0; demuxer.ctx != nullptr && i < 25; ++i) {
        const auto length = static_cast<uint64_t>(demuxer.info.duration) * 9 / 8 + 1;
        int64_t landed = -1;
        told += std::to_string(demuxer.Seek(static_cast<int64_t>(random() % length), &landed));
        told += std::to_string(landed);
        if (read() != 1) read();
    }
    std::string last;
    for (const std::string& line : demuxer.source.Lines()) {
        const bool empty_read =
            line.rfind("read", 0) == 0 && line.substr(line.size() - 4) == " = 0";
        if (!empty_read || line != last) told += line;
        last = line;
    }
    uint64_t sum = 0xCBF29CE484222325;  // FNV-1a
    for (const char c : told) sum = (sum ^ static_cast<uint8_t>(c)) * 0x100000001B3;
    return sum;
}

TEST(CallSequence, IsThatOfTheByteByByteSearch) {
    const uint64_t second = 44100;
    const Bytes tagged = StreamBuilder({4096, 4096, 0, 44100, 2, 16, 5000, 9 * second})
                             .Picture({Bytes(70000, 0xFF)})
                             .Comments({"TITLE=" + std::string(9000, 'x'), "DATE=2020", "X=y"})
                             .Block(kSeekTable, Bytes(18 * 300))
                             .Block(kPadding, Bytes(30000))
                             .Raw(NoisyFrames(97, 5000, false))
                             .Build();
    const auto shorten = [](Call& call) {
        if (call.op == "read" && call.index > 9 && call.index % 7 == 0)
            call.result = call.result / 3;
    };
    const auto refuse = [](Call& call) {
        if (call.op == "setpos" && call.index % 2 == 0) call.result = -1;
    };
    const auto lie = [](Call& call) {
        if (call.op == "getsize") call.result += 100000;
    };
    const struct {
        Bytes bytes;
        Hook hook;
        uint64_t sum;
    } rows[] = {
        {Stream(300, 200, 300 * 4096), {}, 0x09CD6E1E05B62505},
        {Stream(200, 8000, 200 * 4096), {}, 0x161517BF3A67A958},
        {Stream(200, 8000, 0), {}, 0x065B1D9F8CF2E0B7},
        {Stream(200, 8000, 200 * 4096), UnknownSize, 0xA01F7C8CFCEFF383},
        {Stream(200, 3000, 200 * 4096, true), {}, 0xC9A634714C3D01B5},
        {Stream(40, 3000, 40 * 4096, true, Bytes(60000, 0xFF)), {}, 0x89E37A19FDB03C1D},
        {Stream(40, 20000, 40 * 4096, false, Bytes(9999, 0x55)), {}, 0x53A3F564C3D4979B},
        {Cat({Id3v2(70000), tagged}), {}, 0x66DF686D0BB18018},
        {tagged, UnknownSize, 0x93FBABBB645C261C},
        {Stream(300, 4000, 300 * 4096), shorten, 0xC887AC877EC6D88C},
        {Stream(300, 4000, 300 * 4096), refuse, 0xC21290555C1ECE6B},
        {Stream(300, 4000, 300 * 4096), lie, 0x25DED7CDC84FEB86},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Life(row.bytes, row.hook), row.sum) << std::hex << "stream " << &row - rows;
    }
}

}  // namespace
}  // namespace kelflac_test
