#include "bench/streams.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <random>

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

void Append(Bytes* out, const Bytes& bytes) {
    out->insert(out->end(), bytes.begin(), bytes.end());
}

/** A header of 7 or 8 bytes with its first subframe byte. */
Bytes FalseHeader(int kind, uint64_t index, std::mt19937_64& random) {
    constexpr uint32_t kBits[] = {0, 1, 2, 4, 5, 6};
    FrameHeader header;
    if (kind != 2) {
        header.rate_code = static_cast<uint32_t>(random() % 12);
        header.assignment = static_cast<uint32_t>(random() % 11);
        header.bits_code = kBits[random() % 6];
    }
    header.number = kind == 1 ? index % 0x80 : index % 0x800;
    header.crc_error = kind == 4 ? 1 : 0;
    return Cat({HeaderBytes(header), {header.subframe}});
}

/** Two headers of each kind in turn, then nothing until they come again a ring later. */
Bytes PairsOfAKind(uint64_t index, uint32_t max_frame) {
    constexpr uint32_t kBits[] = {0, 1, 2, 4, 5, 6};
    constexpr uint64_t kKinds = 12 * 8 * 6;
    const auto kind = static_cast<uint32_t>(index / 2 % kKinds);
    FrameHeader header;
    header.rate_code = kind % 12;
    header.assignment = kind / 12 % 8;
    header.bits_code = kBits[kind / 96];
    const bool last = kind == kKinds - 1 && index % 2 != 0;
    return FrameBytes(header, last ? size_t{max_frame} * 2 : 20);
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

Bytes Hostile(int kind, size_t size, uint32_t max_frame) {
    std::mt19937_64 random(7);
    Bytes junk;
    for (uint64_t index = 0; junk.size() < size; ++index) {
        if (kind == 0) junk.resize(size, 0xFF);
        if (kind >= 1 && kind <= 4) Append(&junk, FalseHeader(kind, index, random));
        if (kind == 5) junk.push_back(static_cast<uint8_t>(random()));
        if (kind == 6) Append(&junk, PairsOfAKind(index, max_frame));
    }
    StreamInfo info;
    info.max_frame = max_frame;
    return StreamBuilder(info).Frames(0, 108, 4000).Raw(junk).Build();
}

MemorySource HostileSource(int kind, const HostileRing& ring, size_t mib) {
    constexpr size_t kMib = 1 << 20;
    static int kept_kind = -1;
    static uint32_t kept_max_frame = 0;
    static size_t kept_mib = 0;
    static Bytes kept;
    if (kind != kept_kind || ring.max_frame != kept_max_frame || mib > kept_mib) {
        kept = Hostile(kind, mib * kMib, ring.max_frame);
        kept_kind = kind;
        kept_max_frame = ring.max_frame;
        kept_mib = mib;
    }
    return {kept, kept.size() - (kept_mib - mib) * kMib};
}

}  // namespace kelflac_bench
