#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>

#include "bench/harness.h"
#include "tools/streams/costly_streams.h"
#include "tools/streams/flac_codec.h"

namespace {

using namespace kelflac_streams;
using Make = std::function<Bytes()>;

constexpr size_t kMib = 1 << 20;

/** A source of the bytes that `make` returns. Made once for each `key`. */
std::function<Source*()> Kept(const std::string& key, const Make& make) {
    return [=] {
        static std::map<std::string, Source> kept;
        if (kept.count(key) == 0) kept.try_emplace(key, make());
        return &kept.at(key);
    };
}

struct Recipe {
    const char* name;
    uint32_t seconds, channels, bits, rate;
};
constexpr Recipe kRecipes[] = {{"16 bit, 44.1 kHz, stereo", 600, 2, 16, 44100},
                               {"24 bit, 96 kHz, stereo", 180, 2, 24, 96000},
                               {"24 bit, 192 kHz, 6 channels", 60, 6, 24, 192000}};

/** Encoded tones in loud and quiet passages of 3 s, so that frame sizes differ as in music. Kept in
    the working folder for the next run. */
Bytes Music(const Recipe& music) {
    const std::string path = "bench, " + std::string(music.name) + ".flac";
    std::ifstream in(path, std::ios::binary);
    Bytes bytes{std::istreambuf_iterator<char>(in), {}};
    if (!bytes.empty()) return bytes;
    const size_t passage = size_t{3} * music.rate * music.channels;
    Pcm pcm = MakePcm(size_t{music.seconds} * music.rate, music.channels, music.bits, music.rate);
    uint64_t random = 1, bits_less = 0;
    for (size_t i = 0; i < pcm.samples.size(); ++i) {
        if (i % passage == 0) bits_less = NextRandom(random) % 8;
        pcm.samples[i] >>= bits_less;
    }
    bytes = Encode(pcm);
    std::ofstream out(path, std::ios::binary);
    std::copy(bytes.begin(), bytes.end(), std::ostreambuf_iterator<char>(out));
    return bytes;
}

Bytes Untagged(std::optional<uint64_t> samples) {
    StreamInfo info;
    info.samples = samples;
    return StreamBuilder(info).Frames(0, 20, 3000).Build();
}

/** A 4 MiB picture, 100 comments of 1 KiB, a few usual comments, and a SEEKTABLE. */
Bytes Tagged() {
    Texts comments = {"TITLE=A title", "ARTIST=An artist", "DATE=2024-05-01", "TRACKNUMBER=3/12"};
    for (int i = 0; i < 100; ++i)
        comments.push_back("COMMENT" + std::to_string(i) + "=" + std::string(1024, 'x'));
    StreamBuilder builder;
    builder.Picture({Bytes(4 * kMib, 0x55)}).Comments(comments).Block(kSeekTable, Bytes(1800));
    return builder.Frames(0, 20, 3000).Build();
}

/** 16 MiB of frames of 4,000 bytes. With `half_silence` the same number of frames follows, of 14
    bytes each. Silence gives such frames. */
Bytes Honest(uint32_t max_frame, bool half_silence) {
    constexpr uint64_t kFrames = 16 * kMib / 4000;
    StreamInfo info;
    info.max_frame = max_frame;
    return StreamBuilder(info)
        .Frames(0, kFrames, 4000)
        .Frames(kFrames, half_silence ? kFrames : 0, 14)
        .Build();
}

/** Adds the streams that state `max_frame` as their largest frame. `ring` names the size of the
    ring that the reader then has. */
void AddCostly(const std::string& ring, uint32_t max_frame, bool small,
               std::vector<Stream>* streams) {
    const std::vector<size_t> sizes =
        small ? std::vector<size_t>{2, 4, 8} : std::vector<size_t>{8, 16, 32, 64};
    const auto to_seek = [&](const std::string& what, const Make& make) {
        streams->push_back({"seek", "seeks, " + ring, Kept("seek " + what + ring, make), what});
    };
    to_seek("music", [=] { return Honest(max_frame, false); });
    to_seek("half silence", [=] { return Honest(max_frame, true); });
    for (int kind = 0; kind < kCostlyKindCount; ++kind) {
        const std::string name = std::string(kCostlyKinds[kind]) + ", " + ring;
        const bool dense = kind == kCodes || kind == kCodesAndNumbers || kind == kBrokenCrc;
        const auto make = [=](size_t mib) {
            return [=] {
                // It may be longer than asked for.
                Bytes bytes = CostlyStream(kind, mib * kMib, max_frame);
                bytes.resize(CostlyStream(kind, 0, max_frame).size() + mib * kMib);
                return bytes;
            };
        };
        const auto largest = Kept(name, make(sizes.back()));
        for (const size_t mib : sizes) {
            const size_t less = (sizes.back() - mib) * kMib;
            const auto first_part = [=] {
                const Bytes& whole = largest()->data;
                return Bytes(whole.data(), whole.data() + whole.size() - less);
            };
            const std::string size = "/" + std::to_string(mib);
            streams->push_back({dense ? "dense" : "hostile", name,
                                less == 0 ? largest : Kept(name + size, first_part), size});
        }
        to_seek(kCostlyKinds[kind], make(16));
    }
}

}  // namespace

std::vector<Stream> Streams() {
    const bool small = getenv("KELFLAC_BENCH_SMALL") != nullptr;
    std::vector<Stream> all = {{"open", "bare", Kept("bare", [] { return Untagged({}); }), ""},
                               {"open", "untimed", Kept("untimed", [] { return Untagged(0); }), ""},
                               {"open", "tagged", Kept("tagged", Tagged), ""}};
    for (const Recipe& recipe : kRecipes) {
        const auto music = Kept(recipe.name, [=] { return Music(recipe); });
        if (!small || &recipe == kRecipes) all.push_back({"music", recipe.name, music, ""});
    }
    AddCostly("small ring", 9000, small, &all);
    if (!small) AddCostly("large ring", 0xFFFFFF, small, &all);
    return all;
}
