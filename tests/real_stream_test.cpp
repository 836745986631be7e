// Real streams: libFLAC's, with libFLAC as the judge, and public files, judged by their own bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/support/plugin_host.h"
#include "tools/streams/flac_codec.h"

namespace kelflac_test {

TEST(RealStream, ReadsAndSeeksWholeFrames) {
    constexpr uint32_t kBits[] = {16, 16, 24, 24, 8, 20, 12, 24},
                       kBlocks[] = {192, 4096, 1152, 4608, 1000, 2048, 200, 576},
                       kRates[] = {8000, 44100, 48000, 96000, 12345, 192000, 22050, 655350};
    const StreamBuilder rich =
        StreamBuilder{}.Block(kSeekTable, Bytes(36)).Picture({Bytes(20000, 0xFF)});
    std::vector<int64_t> missed;
    for (uint32_t ch = 1; ch <= 8; ch++) {
        SCOPED_TRACE(ch);
        const uint32_t block = kBlocks[ch - 1], rate = kRates[ch - 1];
        const Pcm pcm = MakePcm(ch == 1 ? 384000 : 20000, ch, kBits[ch - 1], rate);
        const Bytes stream = Encode(pcm, block, ch % 2 ? rich : StreamBuilder{}, ch % 3 != 0);
        const std::vector<FrameSpan> frames = Decode(stream).frames;
        const auto is = [&](const Packet& p, size_t n) {
            const uint8_t* const at = &stream[frames.at(n).offset];
            const uint64_t us = uint64_t{n} * block * 1'000'000 / rate;
            return p.bytes == Bytes(at, at + frames[n].size) &&
                   p.meta.find("timeUs=" + std::to_string(us) + "L, ") == 0;
        };
        Session s(Cat({ch % 4 == 0 ? Id3v2(5000) : Bytes{}, stream}));
        ASSERT_EQ(s.Start(), AMEDIA_OK);
        Bytes out = Text(s.TrackFormat().substr(strlen("csd-0=<"), 42));
        size_t n = 0;
        for (Packet p = s.Read(); p.status == AMEDIA_OK; p = s.Read(), n++) {
            EXPECT_TRUE(n < 245 ? is(p, n) : p.meta.find("timeUs=0L, ") == 0) << n;
            out.insert(out.end(), p.bytes.begin(), p.bytes.end());
        }
        EXPECT_EQ(s.Read().status, AMEDIA_ERROR_END_OF_STREAM);
        const Decoded decoded = Decode(out);
        EXPECT_TRUE(decoded.samples == pcm.samples && decoded.md5_ok && decoded.errors == 0);
        uint64_t random = 1;
        for (int i = 0; i < 1000 && n > 245; i++) {
            const auto us = static_cast<int64_t>(NextRandom(random) % 48'000'000);
            const auto wanted = static_cast<size_t>(us / 24'000), last = frames.size() - 1;
            const Packet p = s.Read(android::SEEK, us);
            if (!is(p, wanted) && !is(p, std::min(wanted + 1, last)) && !is(p, wanted - 1))
                missed.push_back(us);
        }
    }
    // This one's first probe falls behind the last header, where the search meets the end.
    EXPECT_EQ(missed, std::vector<int64_t>{47978645});
}

TEST(RealStream, PublicFilesComeBackWhole) {
    const char* const folder = std::getenv("KELFLAC_TEST_FILES");
    if (folder == nullptr) GTEST_SKIP() << "KELFLAC_TEST_FILES names no folder of FLAC files";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.path().extension() != ".flac") continue;
        SCOPED_TRACE(entry.path());
        std::ifstream in(entry.path(), std::ios::binary);
        const Bytes file(std::istreambuf_iterator<char>(in), {});
        // A fixed block size of at least 16 and samples below 32 bits open.
        bool last = false, sound = false;
        auto pos = file.begin() + 4;
        for (; !last; pos += 4 + (pos[1] << 16 | pos[2] << 8 | pos[3])) {
            last = pos[0] >= kLastBlockFlag;
            if ((pos[0] & 0x7F) != kStreamInfo) continue;
            sound = pos[4] == pos[6] && pos[5] == pos[7] && (pos[4] > 0 || pos[5] >= 16) &&
                    (pos[16] % 2 == 0 || pos[17] < 0xF0);
        }
        Session s(file);
        EXPECT_EQ(s.Start(), sound ? AMEDIA_OK : AMEDIA_ERROR_INVALID_OBJECT);
        // The frame before a change of format has no successor and is left out unannounced.
        const auto n = entry.path().stem();
        const bool odd = n == "03 - decreasing number of channels" || n == "04 - changing bitdepth";
        for (int refused = 0; s.track != nullptr && refused < 256;) {
            const Packet p = s.Read();
            const auto found = std::search(pos, file.end(), p.bytes.begin(), p.bytes.end());
            EXPECT_TRUE(found == pos || refused > 0 || odd) << pos - file.begin();
            pos = found + static_cast<ptrdiff_t>(p.bytes.size());
            refused = p.status == 0 ? 0 : p.status == -10000 ? refused + 1 : 256;
        }
        EXPECT_TRUE(!sound || pos == file.end());
    }
}

}  // namespace kelflac_test
