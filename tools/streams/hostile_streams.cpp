#include "tools/streams/hostile_streams.h"

#include <functional>
#include <set>

namespace kelflac_streams {
namespace {

using Streams = std::vector<NamedStream>;
constexpr int kFrameBytes = 200, kFramesBytes = 3 * kFrameBytes;

/** The blocks before a title and three frames. */
Bytes Amid(StreamBuilder blocks = StreamBuilder{}) {
    return blocks.Comments({"TITLE=t"}).Frames(0, 3, kFrameBytes).Build();
}

/** Three frames behind blocks of any kind and order. */
Bytes Framed(const std::vector<Bytes>& blocks) {
    const Bytes sound = Amid();
    return Cat({Text("fLaC"), Cat(blocks), {sound.end() - kFramesBytes, sound.end()}});
}

Bytes InfoBlock(const StreamInfo& info, int type = kStreamInfo) {
    return MetaBlock(type, StreamInfoBody(info));
}

/** A number of `bits` bits in a file, and the file with another in its place. */
struct Field {
    std::string name;
    int bits;
    uint64_t fits;
    std::function<Bytes(uint32_t)> stream;
};

Field BlockLength(const std::string& name, int type, const Bytes& body) {
    return {"length-of-" + name, 24, body.size(),
            [=](uint32_t v) { return Amid(StreamBuilder{}.Block(type, body, v)); }};
}

Field InfoField(const std::string& name, int bits, void (*set)(StreamInfo&, uint32_t)) {
    return {"info-" + name, bits, 16, [=](uint32_t v) {
                StreamInfo info;
                set(info, v);
                return Amid(StreamBuilder(info));
            }};
}

/** Comments between two pictures. */
Bytes Comments(uint32_t vendor, uint32_t count, uint32_t length) {
    const Bytes body = Cat({Le(vendor, 4), Text("vendor"), Le(count, 4), Le(length, 4),
                            Text("TITLE=t"), Le(6, 4), Text("DATE=9"), Le(0, 4)});
    StreamBuilder blocks;
    blocks.Picture({Text("P")}).Block(kVorbisComment, body).Picture({Text("P")});
    return blocks.Frames(0, 3, kFrameBytes).Build();
}

Bytes Picture(Maybe32 mime, Maybe32 description, Maybe32 data) {
    return Amid(StreamBuilder{}.Picture({Text("PNG"), 3, "mim", "des", mime, description, data}));
}

std::vector<Field> Fields() {
    const Bytes info = StreamInfoBody({}), sound = Amid();
    return {
        {"id3v2-size", 32, 20,
         [=](uint32_t v) {
             return Cat({Text("ID3"), {4, 0, 0}, Be(v, 4), Bytes(20), sound});
         }},
        {"length-of-first-info", 24, 34,
         [=](uint32_t v) { return Framed({MetaBlock(kLastBlockFlag, info, v)}); }},
        BlockLength("second-info", kStreamInfo, info),
        BlockLength("padding", kPadding, Bytes(10)),
        BlockLength("application", kApplication, Bytes(10)),
        BlockLength("seek-table", kSeekTable, Bytes(36, 0xFF)),
        BlockLength("comments", kVorbisComment, CommentsBody({"DATE=9"})),
        BlockLength("cue-sheet", kCueSheet, Bytes(10)),
        BlockLength("picture", kPicture, PictureBody({Text("P")})),
        {"comments-vendor-length", 32, 6, [](uint32_t v) { return Comments(v, 3, 7); }},
        {"comments-count", 32, 3, [](uint32_t v) { return Comments(6, v, 7); }},
        {"comments-length", 32, 7, [](uint32_t v) { return Comments(6, 3, v); }},
        {"picture-mime-length", 32, 3, [](uint32_t v) { return Picture(v, {}, {}); }},
        {"picture-description-length", 32, 3, [](uint32_t v) { return Picture({}, v, {}); }},
        {"picture-data-length", 32, 3, [](uint32_t v) { return Picture({}, {}, v); }},
        InfoField("min-block", 16, [](StreamInfo& i, uint32_t v) { i.min_block = v; }),
        InfoField("max-block", 16, [](StreamInfo& i, uint32_t v) { i.max_block = v; }),
        InfoField("blocks", 16, [](StreamInfo& i, uint32_t v) { i.min_block = i.max_block = v; }),
        InfoField("min-frame", 24, [](StreamInfo& i, uint32_t v) { i.min_frame = v; }),
        InfoField("max-frame", 24, [](StreamInfo& i, uint32_t v) { i.max_frame = v; }),
        InfoField("rate", 20, [](StreamInfo& i, uint32_t v) { i.rate = v; }),
        InfoField("channels", 3, [](StreamInfo& i, uint32_t v) { i.channels = v + 1; }),
        InfoField("sample-bits", 5, [](StreamInfo& i, uint32_t v) { i.bits = v + 1; }),
        InfoField("samples", 32, [](StreamInfo& i, uint32_t v) { i.samples = v; }),
    };
}

/** What comes before the frames, in an odd order, number or relation. */
Streams Metadata() {
    const Bytes marker = Text("fLaC"), sound = Amid(), sound_behind(sound.begin() + 4, sound.end()),
                info = InfoBlock({}), small = InfoBlock({8, 8}),
                variable_8 = InfoBlock({4096, 1152}, 8),
                large_8 = InfoBlock({4096, 4096, 0, 1, 1, 8, 0xFFFFFF}, 8),
                others = Cat({MetaBlock(kApplication, Bytes(9)), MetaBlock(9, Bytes(9))}),
                no_table = MetaBlock(kSeekTable, {}), type_127 = MetaBlock(127, Bytes(20)),
                bad = MetaBlock(kVorbisComment, Cat({Le(0, 4), Le(1, 4), Bytes(3)})),
                date = MetaBlock(kVorbisComment, CommentsBody({"DATE=9"})),
                title = MetaBlock(kVorbisComment | kLastBlockFlag, CommentsBody({"TITLE=t"}));
    return {
        {"lower-case", Cat({Text("flac"), sound_behind})},
        {"8-mib-of-zeros-behind", Cat({marker, Bytes(8 << 20)})},
        {"ones-behind", Cat({marker, Bytes(100000, 0xFF)})},
        {"id3v2-larger-than-the-ring", Cat({Id3v2(300000), sound})},
        {"two-id3v2", Cat({Id3v2(257), Id3v2(9), sound})},
        {"id3v2-footer", Cat({Id3v2(9, 0, true), sound})},
        {"id3v2-alone", Id3v2(23)},
        {"id3v2-past-the-end", Hex("49 44 33 04 00 00 7F 7F 7F 7F 00")},
        {"info-missing", Framed({title})},
        {"info-third", Framed({others, info, title})},
        {"info-twice", Framed({info, info, title})},
        {"info-then-larger-of-type-8", Framed({info, large_8, title})},
        {"info-then-small", Framed({info, small, title})},
        {"info-then-variable-of-type-8", Framed({info, variable_8, title})},
        {"type-127-first", Framed({type_127, info, title})},
        {"type-127-later", Framed({info, date, type_127, title})},
        {"bad-comments-first", Framed({bad, info, title})},
        {"bad-comments-later", Framed({info, bad, title})},
        {"comments-twice", Framed({info, date, title})},
        {"zero-length-seek-table", Framed({info, date, no_table, title})},
        {"no-last-flag", Framed({info, date})},
        {"no-frame", Cat({marker, info, title})},
    };
}

Streams Crowds() {
    StreamBuilder pictures;
    for (uint8_t i = 0; i < 17; i++) pictures.Picture({{static_cast<uint8_t>('a' + i)}, 4, "-->"});
    Bytes blocks = {'x'};
    for (int i = 0; i < 200000; i++) blocks.insert(blocks.end(), {kApplication, 0, 0, 1, 'x'});
    const Bytes very_many = Cat({Bytes(400000), Le(30006, 4), Text("TITLE="), Bytes(30000, 'x')});
    const Bytes picture = PictureBody({Text("P"), 3, "m", "d", {}, {}, 0xFFFF00});
    const auto comments = [](uint32_t count, const Bytes& rest) {
        return Amid(StreamBuilder{}.Block(kVorbisComment, Cat({Le(0, 4), Le(count, 4), rest})));
    };
    return {
        {"17-pictures", Amid(pictures)},
        {"picture-data-behind-its-block", Picture({}, {}, 100)},
        {"picture-of-16-mib", Amid(StreamBuilder{}.Block(kPicture, picture, 0xFFFFFF))},
        {"200001-blocks", Amid(StreamBuilder{}.Block(kApplication, blocks, 1))},
        {"100000-empty-comments", comments(100001, very_many)},
        {"4-gi-comments-in-12-bytes", comments(0xFFFFFFFF, Bytes(4))},
    };
}

/** Frames with given numbers in a stream that states as many as there are. */
Bytes WithNumbers(uint64_t (*number)(uint64_t index)) {
    StreamBuilder frames({4096, 4096, 0, 44100, 2, 16, 30000, uint64_t{1501} * 4096});
    for (uint64_t i = 0; i <= 1500; i++) frames.Frames(number(i), 1, 40);
    return frames.Build();
}

/** Frames too large, changed, with something behind them, or with numbers that lead astray. */
Streams Frames() {
    const Bytes tag = Cat({Text("TAG"), Bytes(125, 't')}), tags = Cat({tag, tag}), none;
    const StreamInfo untimed = {4096, 4096, 0, 44100, 2, 16, {}, 0};
    const StreamInfo stated = {4096, 4096, 0, 44100, 2, 16, kFrameBytes};
    const FrameHeader deep = {0, {}, 0xFFF8, 12, 0, 9, 0, 1, 7};
    const Bytes other_rate = FrameBytes({3, {}, 0xFFF8, 12, 0, 10}, 200);
    const auto three = [](const StreamInfo& info, size_t second, const Bytes& behind) {
        StreamBuilder out = StreamBuilder(info).Frames(0, 1, kFrameBytes);
        return out.Frames(1, 1, second).Frames(2, 1, kFrameBytes).Raw(behind).Build();
    };
    return {
        {"frame-above-the-stated-maximum", three(stated, 201, none)},
        {"frame-beyond-the-ring", three(stated, 9000, none)},
        {"frame-above-the-buffer", three({}, 102401, none)},
        {"untimed", three(untimed, 200, none)},
        {"untimed-and-tags-behind", three(untimed, 200, tags)},
        {"tags-behind", three({}, 200, tags)},
        {"id3v1-behind", three({}, 200, tag)},
        {"file-behind", three({}, 200, Amid())},
        {"change-of-rate", three({}, 200, Cat({other_rate, other_rate}))},
        {"32-bit-frames", StreamBuilder{}.Frames(0, 3, 200, deep).Build()},
        {"past-the-countdown", StreamBuilder{}.Frames(1, 260, 60).Build()},
        {"numbers-diverging", WithNumbers([](uint64_t i) { return i % 1500; })},
        {"numbers-creeping", WithNumbers([](uint64_t i) { return i * i; })},
        {"numbers-circling", WithNumbers([](uint64_t i) { return i % 12 * 100; })},
        {"numbers-falling", WithNumbers([](uint64_t i) { return 1500 - i; })},
        {"numbers-scattered", WithNumbers([](uint64_t i) { return i * 0x9E3779B97F4A7C15 >> 28; })},
    };
}

/** Headers of which `n` bytes are the file's last, and the last of a ring of 8 KiB. */
Streams CutHeaders() {
    const FrameHeader header = {0, CodedNumber(5, 7), 0xFFF8, 7, 0, 13};
    const Bytes longest = FrameBytes(header, 17);
    constexpr size_t kSize = 4000, kPaddingBytes = 8192 - 46 - kSize;
    Streams out;
    for (size_t n = 1; n <= 17; n++) {
        const Bytes head(longest.data(), longest.data() + n);
        out.push_back({"cut-by-the-file-" + std::to_string(n), Cat({Amid(), head})});
    }
    for (size_t n = 1; n <= 17; n++) {
        StreamBuilder padded = StreamBuilder{}.Block(kPadding, Bytes(kPaddingBytes - n));
        padded.Frames(0, 3, kSize, header);
        out.push_back({"cut-by-the-ring-" + std::to_string(n), padded.Build()});
    }
    return out;
}

}  // namespace

Streams HostileStreams() {
    Streams out;
    for (const Field& field : Fields()) {
        const uint64_t half = uint64_t{1} << (field.bits - 1);
        for (uint64_t v : std::set<uint64_t>{0, 1, field.fits - 1, field.fits, field.fits + 1, 1000,
                                             half - 1, half, 2 * half - 1}) {
            const std::string name = field.name + "-" + std::to_string(v);
            if (v < 2 * half) out.push_back({name, field.stream(static_cast<uint32_t>(v))});
        }
    }
    for (const Streams& part : {Metadata(), Crowds(), Frames(), CutHeaders()})
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

}  // namespace kelflac_streams
