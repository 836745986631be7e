#include "bench/streams.h"

#include <fstream>
#include <iterator>
#include <map>
#include <random>

#include "tests/support/flac_codec.h"

namespace kelflac_bench {
namespace {

using namespace kelflac_test;

Bytes Encode(const std::string& name) {
    if (name == "16-44") return kelflac_test::Encode(MakePcm(44100 * 240, 2, 16, 44100));
    if (name == "24-96") return kelflac_test::Encode(MakePcm(96000 * 90, 2, 24, 96000));
    return kelflac_test::Encode(MakePcm(192000 * 20, 6, 24, 192000));
}

Bytes FromFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
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
    const std::string path = "bench-" + name + ".flac";
    stream = FromFile(path);
    if (!stream.empty()) return stream;
    stream = Encode(name);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(stream.data()),
               static_cast<std::streamsize>(stream.size()));
    return stream;
}

Bytes Tagged(size_t pictures, size_t comments, bool timed) {
    StreamInfo info;
    if (!timed) info.samples = 0;
    StreamBuilder builder(info);
    if (pictures > 0) builder.Picture({Bytes(pictures, 0x55)});
    if (comments > 0) {
        builder.Comments({"TITLE=Song", "COMMENT=" + std::string(comments, 'x'), "ARTIST=Singer"});
        builder.Block(kSeekTable, Bytes(18 * 100));
    }
    return builder.Frames(0, 20, 3000).Build();
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

}  // namespace kelflac_bench
