// Streams of libFLAC, compared with its decoder, and public files, compared with their own bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/support/life.h"
#include "tests/support/plugin_host.h"
#include "tools/streams/flac_codec.h"

namespace kelflac_test {

static uint64_t TimeUs(const Packet& p) {
    return std::stoull(p.meta.substr(strlen("timeUs=")));
}

TEST(RealStream, FramesHaveTheirTimesAndDecodeToTheSamples) {
    for (uint32_t ch = 1; ch <= 8; ch++) {
        SCOPED_TRACE(ch);
        const EncodedStream e = EncodeKind(ch, ch == 1 ? 384000 : 20000);
        Started s(Cat({ch % 4 == 0 ? Id3v2(5000) : Bytes{}, e.stream}));
        Bytes out = Text(s.TrackFormat().substr(strlen("csd-0=<"), 42));
        size_t n = 0;
        for (Packet p = s.Read(); p.status == AMEDIA_OK; p = s.Read(), n++) {
            const uint64_t us = uint64_t{n} * e.block * 1'000'000 / e.pcm.rate;
            EXPECT_EQ(TimeUs(p), n < 245 ? us : 0) << n;
            EXPECT_EQ(p.bytes, n < 245 ? e.Frame(n) : p.bytes) << n;
            out.insert(out.end(), p.bytes.begin(), p.bytes.end());
        }
        EXPECT_EQ(s.Read().status, AMEDIA_ERROR_END_OF_STREAM);
        const Decoded decoded = Decode(out);
        EXPECT_EQ(decoded.samples, e.pcm.samples);
        EXPECT_TRUE(decoded.md5_ok);
        EXPECT_EQ(decoded.errors, 0);
    }
}

TEST(RealStream, SeeksLandOnTheFrameOrItsNeighbour) {
    const EncodedStream e = EncodeKind(1, 384000);
    constexpr uint64_t kFrameUs = 24'000;
    Started s(e.stream);
    std::vector<uint64_t> missed;
    uint64_t random = 1;
    for (int i = 0; i < 1000; i++) {
        const uint64_t us = NextRandom(random) % 48'000'000;
        const Packet p = s.Read(android::SEEK, static_cast<int64_t>(us));
        if (p.status != AMEDIA_OK) missed.push_back(us);
        if (p.status != AMEDIA_OK) continue;
        const uint64_t n = TimeUs(p) / kFrameUs, sought = us / kFrameUs;
        ASSERT_LE(std::max(n, sought) - std::min(n, sought), 1U)
            << "frame " << n << " after a seek to frame " << sought << ", " << us << " us";
        ASSERT_EQ(p.bytes, e.Frame(static_cast<size_t>(n)))
            << "not frame " << n << ", whose time it has";
    }
    // Here the first probe is after the last header, and the search meets the end.
    EXPECT_EQ(missed, std::vector<uint64_t>{47978645});
}

TEST(RealStream, PublicFilesLoseNoBytes) {
    const char* const folder = std::getenv("KELFLAC_TEST_FILES");
    if (folder == nullptr) GTEST_SKIP() << "KELFLAC_TEST_FILES names no folder of FLAC files";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.path().extension() != ".flac") continue;
        SCOPED_TRACE(entry.path());
        std::ifstream in(entry.path(), std::ios::binary);
        const Bytes file(std::istreambuf_iterator<char>(in), {});
        // A stream opens if its block size is fixed, at least 16, and its samples below 32 bits.
        bool last = false, sound = false;
        auto pos = file.begin() + 4;
        for (; !last; pos += 4 + (pos[1] << 16 | pos[2] << 8 | pos[3])) {
            last = pos[0] >= kLastBlockFlag;
            if ((pos[0] & 0x7F) != kStreamInfo) continue;
            sound = pos[4] == pos[6] && pos[5] == pos[7] && (pos[4] > 0 || pos[5] >= 16) &&
                    (pos[16] % 2 == 0 || pos[17] < 0xF0);
        }
        DemuxerLife(file);
        PluginLife(file);
        Session s(file);
        EXPECT_EQ(s.Start(), sound ? AMEDIA_OK : AMEDIA_ERROR_INVALID_OBJECT);
        // The frame before a change of format has no successor: it is left out without a status.
        const auto n = entry.path().stem();
        const bool odd = n == "03 - decreasing number of channels" || n == "04 - changing bitdepth";
        for (int refused = 0; s.track != nullptr && refused < 256;) {
            const Packet p = s.Read();
            const auto found = std::search(pos, file.end(), p.bytes.begin(), p.bytes.end());
            EXPECT_EQ(refused > 0 || odd ? 0 : found - pos, 0) << pos - file.begin();
            pos = found + static_cast<ptrdiff_t>(p.bytes.size());
            refused = p.status == 0 ? 0 : p.status == -10000 ? refused + 1 : 256;
        }
        EXPECT_EQ(sound ? file.end() - pos : 0, 0);
    }
}

}  // namespace kelflac_test
