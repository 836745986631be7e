#include "bench/streams.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>

#include "tools/streams/costly_streams.h"
#include "tools/streams/flac_codec.h"

namespace kelflac_bench {
namespace {

using namespace kelflac_streams;

constexpr size_t kPictureBytes = 4 << 20;
constexpr size_t kCommentBytes = 1024;
constexpr size_t kSeekTableBytes = 18 * 100;

struct Recipe {
    const char* name;
    uint32_t seconds, channels, bits, rate;
};
constexpr Recipe kRecipes[] = {
    {"16-44", 600, 2, 16, 44100}, {"24-96", 180, 2, 24, 96000}, {"24-192x6", 60, 6, 24, 192000}};

/** Makes passages of some seconds loud or quiet, so that frames differ in size as music's do. */
void AddDynamics(Pcm* pcm) {
    constexpr size_t kPassageSeconds = 3;
    const size_t passage = kPassageSeconds * pcm->rate * pcm->channels;
    uint64_t state = 1;
    for (size_t start = 0; start < pcm->samples.size(); start += passage) {
        const auto quieter = static_cast<int>(NextRandom(state) % 8);  // by so many bits
        const size_t end = std::min(start + passage, pcm->samples.size());
        for (size_t i = start; i < end; ++i) pcm->samples[i] >>= quieter;
    }
}

Bytes Encode(const Recipe& recipe) {
    const size_t samples = size_t{recipe.seconds} * recipe.rate;
    Pcm pcm = MakePcm(samples, recipe.channels, recipe.bits, recipe.rate);
    AddDynamics(&pcm);
    return kelflac_streams::Encode(pcm);
}

/** Fields that the demuxer stores, and 100 KiB of others, a KiB each. */
Texts ManyComments() {
    Texts comments = {"TITLE=A title of a usual length",
                      "artist=An artist",
                      "ALBUM=An album",
                      "ALBUMARTIST=Several artists",
                      "GENRE=Test",
                      "DATE=2024-05-01",
                      "TRACKNUMBER=3/12",
                      "DISCNUMBER=1",
                      "COMPOSER=A composer"};
    for (int i = 0; i < 100; ++i) {
        comments.push_back("COMMENT" + std::to_string(i) + "=" + std::string(kCommentBytes, 'x'));
    }
    return comments;
}

/** Empty when there is no such file. */
Bytes FromFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    if (!in) return {};
    Bytes bytes(static_cast<size_t>(in.tellg()));
    in.seekg(0).read(reinterpret_cast<char*>(bytes.data()),
                     static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

}  // namespace

const Bytes& Encoded(const std::string& name) {
    static std::map<std::string, Bytes> streams;
    Bytes& stream = streams[name];
    if (!stream.empty()) return stream;
    const Recipe& recipe = *std::find_if(std::begin(kRecipes), std::end(kRecipes),
                                         [&](const Recipe& r) { return r.name == name; });
    const std::string path = "bench-" + name + "-" + std::to_string(recipe.seconds) + "s.flac";
    stream = FromFile(path);
    if (!stream.empty()) return stream;
    stream = Encode(recipe);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(stream.data()),
               static_cast<std::streamsize>(stream.size()));
    return stream;
}

const Bytes& ForOpening(const std::string& name) {
    static std::map<std::string, Bytes> streams;
    Bytes& stream = streams[name];
    if (!stream.empty()) return stream;
    StreamInfo info;
    if (name == "untimed") info.samples = 0;
    StreamBuilder builder(info);
    if (name == "tagged") {
        builder.Picture({Bytes(kPictureBytes, 0x55)}).Comments(ManyComments());
        builder.Block(kSeekTable, Bytes(kSeekTableBytes));
    }
    return stream = builder.Frames(0, 20, 3000).Build();
}

MemorySource HostileSource(int kind, const HostileRing& ring, size_t mib) {
    constexpr size_t kMib = 1 << 20;
    static int kept_kind = -1;
    static uint32_t kept_max_frame = 0;
    static size_t kept_mib = 0;
    static Bytes kept;
    if (kind != kept_kind || ring.max_frame != kept_max_frame || mib > kept_mib) {
        kept = CostlyStream(kind, mib * kMib, ring.max_frame);
        kept_kind = kind;
        kept_max_frame = ring.max_frame;
        kept_mib = mib;
    }
    return {kept, kept.size() - (kept_mib - mib) * kMib};
}

Bytes HonestStream(int kind, const HostileRing& ring) {
    constexpr size_t kFrameBytes = 4000, kSilentBytes = 14, kFrames = (16 << 20) / kFrameBytes;
    StreamInfo info;
    info.max_frame = ring.max_frame;
    StreamBuilder builder(info);
    builder.Frames(0, kFrames, kFrameBytes);
    if (kind == 1) builder.Frames(kFrames, kFrames, kSilentBytes);
    return builder.Build();
}

}  // namespace kelflac_bench
