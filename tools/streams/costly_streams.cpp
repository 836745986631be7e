#include "tools/streams/costly_streams.h"

#include <algorithm>

namespace kelflac_streams {
namespace {

using Streams = std::vector<NamedStream>;

/** A header and the first subframe byte: 7 or 8 bytes. */
Bytes FalseHeader(int kind, uint32_t index, uint64_t& random) {
    constexpr uint32_t kBits[] = {0, 1, 2, 4, 5, 6};
    const uint32_t r = kind == kPairs ? index / 2 : NextRandom(random) & 0xFFFFFF;
    FrameHeader header;
    if (kind != kNumbers) header = {0, {}, 0xFFF8, 12, 0, r % 12, 0, r / 12 % 8, kBits[r / 96 % 6]};
    if (kind != kPairs) header.number = index % (kind == kCodes ? 0x80 : 0x800);
    header.crc_error = kind == kBrokenCrc ? 1 : 0;
    return Cat({HeaderBytes(header), {header.subframe}});
}

Bytes Repeat(const Bytes& unit, size_t size) {
    Bytes out;
    out.reserve(size + unit.size());
    while (out.size() < size) out.insert(out.end(), unit.begin(), unit.end());
    return out;
}

Bytes Comment(const std::string& text) {
    return Cat({Le(text.size(), 4), Text(text)});
}

constexpr uint32_t kMostComments = 0xFFFFFFFF;  // comments are read up to the block's end

/** A comment block of these encoded comments. */
Bytes CommentsBlock(const std::vector<Bytes>& comments, uint32_t count = kMostComments) {
    return MetaBlock(kVorbisComment, Cat({Le(0, 4), Le(count, 4), Cat(comments)}));
}

Bytes InfoBlock(uint32_t max_frame = 9000) {
    return MetaBlock(kStreamInfo, StreamInfoBody({4096, 4096, 0, 44100, 2, 16, max_frame, 4096}));
}

/** STREAMINFO, `blocks`, PADDING and three frames. */
Bytes Framed(const std::vector<Bytes>& blocks) {
    const Bytes end = MetaBlock(kPadding | kLastBlockFlag, Bytes(1));
    std::vector<Bytes> parts = {Text("fLaC"), InfoBlock(), Cat(blocks), end};
    for (uint64_t number = 0; number < 3; number++) parts.push_back(FrameBytes({number}, 200));
    return Cat(parts);
}

/** For each key four streams: many empty comments; many with a digit; a huge one, then empty ones
    in the same block; a huge one, then empty ones in a block each. */
Streams SameKey(size_t size) {
    Streams out;
    for (const std::string key :
         {"TITLE=", "ARTIST=", "ALBUM=", "ALBUMARTIST=", "ALBUM ARTIST=", "COMPILATION=",
          "COMPOSER=", "GENRE=", "AUTHOR=", "DATE=", "TRACKNUMBER=", "DISCNUMBER=", "LYRICIST="}) {
        const Bytes empty = Comment(key), huge = Comment(key + std::string(size / 2, '9'));
        const Bytes block = CommentsBlock({empty}, 1);
        out.push_back({key + " again and again", Framed({CommentsBlock({Repeat(empty, size)})})});
        out.push_back(
            {key + " of 1 digit", Framed({CommentsBlock({Repeat(Comment(key + "1"), size)})})});
        out.push_back(
            {key + " huge, then empty", Framed({CommentsBlock({huge, Repeat(empty, size / 2)})})});
        out.push_back({key + " huge, then empty in a block each",
                       Framed({CommentsBlock({huge}, 1), Repeat(block, size / 2)})});
    }
    return out;
}

Streams Comments(size_t size) {
    const Bytes slashes = Comment("TRACKNUMBER=1/" + std::string(size, '1'));
    return {
        {"empty comments", Framed({CommentsBlock({Bytes(size)})})},
        {"comments of 1 byte", Framed({CommentsBlock({Repeat(Comment("x"), size)})})},
        {"almost a key", Framed({CommentsBlock({Repeat(Comment("ALBUM ARTIST"), size)})})},
        {"almost a key, short", Framed({CommentsBlock({Repeat(Comment("ALBUM"), size)})})},
        {"a huge track total", Framed({CommentsBlock({slashes})})},
    };
}

/** Files that end a few bytes after the start of a block that states 16 MiB. */
Streams Promises() {
    const auto cut = [](int type, const Bytes& body) {
        const Bytes info = MetaBlock(kStreamInfo, StreamInfoBody({}));
        return Cat({Text("fLaC"), info, MetaBlock(type, body, 0xFFFFFF)});
    };
    return {
        {"a seek table past the end", cut(kSeekTable, Bytes(90))},
        {"a picture past the end", cut(kPicture, PictureBody({{}, 3, {}, {}, {}, {}, 0x1000000}))},
        {"a million comments past the end", cut(kVorbisComment, Cat({Le(0, 4), Le(1000000, 4)}))},
        {"4 Gi comments past the end", cut(kVorbisComment, Cat({Le(0, 4), Le(0xFFFFFFFF, 4)}))},
    };
}

/** A short block for each eight bytes of `size`, 2^16 for 512 KiB. Two streams have fewer. */
Streams Blocks(size_t size) {
    const auto blocks = [size](const Bytes& block) {
        return Framed({Repeat(block, size / 8 * block.size())});
    };
    Streams out = {
        {"pictures of 0 bytes", blocks(MetaBlock(kPicture, PictureBody({{}, 3, "", ""})))},
        {"pictures of 1 byte", blocks(MetaBlock(kPicture, PictureBody({{'p'}, 3, "", ""})))},
        {"seek tables without a point", blocks({kSeekTable, 0, 0, 1})},
        {"seek tables of one point", blocks(MetaBlock(kSeekTable, Bytes(18)))},
        {"one long seek table", Framed({MetaBlock(kSeekTable, Bytes(size))})},
        {"comment blocks with 0 comments", blocks(CommentsBlock({}, 0))},
        {"STREAMINFO again and again", blocks(InfoBlock())},
    };
    for (const int type : {kPadding, kApplication, kCueSheet, kPadding + 8, 120 + kCueSheet})
        out.push_back({"blocks of type " + std::to_string(type), blocks(MetaBlock(type, {'x'}))});
    Bytes growing;
    for (uint32_t max_frame = 4096; max_frame < 1 << 24; max_frame *= 2)
        growing = Cat({growing, InfoBlock(max_frame)});
    out.push_back({"STREAMINFO with larger and larger frames", Framed({growing, Bytes(1)})});
    return out;
}

/** About `size` bytes of `frame` repeated. Frames numbered 0 never end the countdown. */
Bytes Frames(uint32_t max_frame, const Bytes& frame, size_t size) {
    StreamInfo info = {4096, 4096, 0, 44100, 2, 16, max_frame, size};
    return StreamBuilder(info).Raw(Repeat(frame, size)).Build();
}

Streams Audio(size_t size) {
    const Bytes least = FrameBytes({}, 7), numbered = FrameBytes({1}, 7);
    FrameHeader other;
    other.rate_code = 10;
    const Bytes twins = Cat({least, FrameBytes(other, 7)});
    constexpr uint32_t kLargest = 0xFFFFFF;
    const size_t many = 2 * size;  // tags or frames: a million for 512 KiB
    return {
        {"ID3v2 tags of 0 bytes", Cat({Repeat(Id3v2(0), many * 10), Framed({})})},
        {"frames of 7 bytes", Frames(7, least, size)},
        {"frames of 7 bytes of two kinds", Frames(99, twins, size)},
        {"frames above the stated maximum", Frames(6, least, many * 7)},
        {"frames above the stated maximum, then pieces of 1 byte", Frames(1, numbered, size)},
        {"pieces above the buffer", Frames(kLargest, numbered, size)},
        {"frames of 7 bytes in the largest ring", Frames(kLargest, least, size)},
        {"headers without a subframe byte", Frames(9000, HeaderBytes({}), size)},
    };
}

}  // namespace

Bytes CostlyStream(int kind, size_t size, uint32_t max_frame) {
    constexpr uint32_t kHeaderKinds = 12 * 8 * 6;
    uint64_t random = 7;
    Bytes junk(kind == kOnes ? size : 0, 0xFF);
    for (uint32_t index = 0; junk.size() < size; index++) {
        const Bytes more =
            kind == kRandom ? Be(NextRandom(random), 8) : FalseHeader(kind, index, random);
        junk.insert(junk.end(), more.begin(), more.end());
        // A pair of each kind of header, then zeros, so that the next pairs come a ring later.
        if (kind == kPairs && (index + 1) % (2 * kHeaderKinds) == 0)
            junk.resize(junk.size() + size_t{2} * max_frame);
    }
    StreamInfo info;
    info.max_frame = max_frame;
    return StreamBuilder(info).Frames(0, 108, 4000).Raw(junk).Build();
}

Bytes DateStream(size_t size, bool other_key, bool in_blocks) {
    const Bytes first = Comment("DATE=" + std::string(size / 2, '9'));
    const Bytes comment = Comment(other_key ? "DATF=" : "DATE=");
    if (!in_blocks) return Framed({CommentsBlock({first, Repeat(comment, size - first.size())})});
    const Bytes block = CommentsBlock({comment}, 1);
    return Framed({CommentsBlock({first}, 1), Repeat(block, size - first.size())});
}

Streams RepeatingStreams(size_t size) {
    Streams out;
    for (const Streams& part :
         {SameKey(size), Comments(size), Promises(), Blocks(size), Audio(size)})
        out.insert(out.end(), part.begin(), part.end());
    for (int kind = 0; kind < kCostlyKindCount; kind++) {
        const std::string name = kCostlyKinds[kind];
        out.push_back({name, CostlyStream(kind, size, 9000)});
        if (kind != kPairs)
            out.push_back({name + " in the largest ring", CostlyStream(kind, size, 0xFFFFFF)});
    }
    return out;
}

}  // namespace kelflac_streams
