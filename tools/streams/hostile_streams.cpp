#include "tools/streams/hostile_streams.h"

#include <functional>
#include <set>

namespace kelflac_streams {
namespace {

using Streams = std::vector<NamedStream>;
constexpr int kFrameBytes = 200, kTwoFramesBytes = 2 * kFrameBytes, kFramesBytes = 3 * kFrameBytes;

/** A stream of `blocks`, then a title and three frames. */
Bytes Amid(StreamBuilder blocks = StreamBuilder{}) {
    return blocks.Comments({"TITLE=t"}).Frames(0, 3, kFrameBytes).Build();
}

/** Three frames after blocks of any kind and order. */
Bytes Framed(const std::vector<Bytes>& blocks) {
    const Bytes sound = Amid();
    return Cat({Text("fLaC"), Cat(blocks), {sound.end() - kFramesBytes, sound.end()}});
}

Bytes InfoBlock(const StreamInfo& info, int type = kStreamInfo) {
    return MetaBlock(type, StreamInfoBody(info));
}

/** A number of `bits` bits in a file. `stream` makes the file with any number in its place. */
struct Field {
    std::string title;
    std::string name, unit;  // "PADDING states", "bytes"
    int bits;
    uint64_t fits;  // the right number; for a field of STREAMINFO just a number
    std::function<Bytes(uint32_t)> stream;
    uint64_t zero = 0;  // what a 0 in the file means
};

std::string LengthInRow(const std::string& fact) {
    return fact + ". Its stated length is in the row.";
}

Field BlockLength(const std::string& block, int type, const Bytes& body) {
    const auto stream = [=](uint32_t v) { return Amid(StreamBuilder{}.Block(type, body, v)); };
    const std::string length = Counted(body.size(), "bytes");
    const std::string title = LengthInRow("The " + block + " block has " + length);
    return {title, block + " states", "bytes", 24, body.size(), stream};
}

Field InfoField(const std::string& name, const std::string& unit, int bits, uint64_t zero,
                void (*set)(StreamInfo&, uint32_t)) {
    const auto stream = [=](uint32_t v) {
        StreamInfo info;
        set(info, v);
        return Amid(StreamBuilder(info));
    };
    const std::string title = "The " + name + " that STREAMINFO states is in the row.";
    return {title, name + " of", unit, bits, 16, stream, zero};
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
        {"An ID3v2 tag of 20 bytes comes first. Its size has seven bits in each byte.",
         "ID3v2 size field of", "", 32, 20,
         [=](uint32_t v) {
             return Cat({Text("ID3"), {4, 0, 0}, Be(v, 4), Bytes(20), sound});
         }},
        {LengthInRow("The first STREAMINFO block, here the only block, has 34 bytes"),
         "first STREAMINFO states", "bytes", 24, 34,
         [=](uint32_t v) { return Framed({MetaBlock(kLastBlockFlag, info, v)}); }},
        BlockLength("second STREAMINFO", kStreamInfo, info),
        BlockLength("PADDING", kPadding, Bytes(10)),
        BlockLength("APPLICATION", kApplication, Bytes(10)),
        BlockLength("SEEKTABLE", kSeekTable, Bytes(36, 0xFF)),
        BlockLength("VORBIS_COMMENT", kVorbisComment, CommentsBody({"DATE=9"})),
        BlockLength("CUESHEET", kCueSheet, Bytes(10)),
        BlockLength("PICTURE", kPicture, PictureBody({Text("P")})),
        {LengthInRow("The vendor text before the comments has 6 bytes"), "vendor text states",
         "bytes", 32, 6, [](uint32_t v) { return Comments(v, 3, 7); }},
        {"A block has 3 comments. Their stated number is in the row.", "VORBIS_COMMENT states",
         "comments", 32, 3, [](uint32_t v) { return Comments(6, v, 7); }},
        {LengthInRow("The first comment has 7 bytes"), "first comment states", "bytes", 32, 7,
         [](uint32_t v) { return Comments(6, 3, v); }},
        {LengthInRow("The MIME type of a picture has 3 bytes"), "MIME type states", "bytes", 32, 3,
         [](uint32_t v) { return Picture(v, {}, {}); }},
        {LengthInRow("The description of a picture has 3 bytes"), "description states", "bytes", 32,
         3, [](uint32_t v) { return Picture({}, v, {}); }},
        {LengthInRow("The image \"PNG\" of a picture has 3 bytes"), "image states", "bytes", 32, 3,
         [](uint32_t v) { return Picture({}, {}, v); }},
        InfoField("smallest block", "samples", 16, 0, [](auto& i, auto v) { i.min_block = v; }),
        InfoField("largest block", "samples", 16, 0, [](auto& i, auto v) { i.max_block = v; }),
        InfoField("smallest and largest block", "samples", 16, 0,
                  [](auto& i, auto v) { i.min_block = i.max_block = v; }),
        InfoField("smallest frame", "bytes", 24, 0, [](auto& i, auto v) { i.min_frame = v; }),
        InfoField("largest frame", "bytes", 24, 0, [](auto& i, auto v) { i.max_frame = v; }),
        InfoField("sample rate", "Hz", 20, 0, [](auto& i, auto v) { i.rate = v; }),
        InfoField("channel count", "", 3, 1, [](auto& i, auto v) { i.channels = v + 1; }),
        InfoField("sample size", "bits", 5, 1, [](auto& i, auto v) { i.bits = v + 1; }),
        InfoField("sample count", "samples", 32, 0, [](auto& i, auto v) { i.samples = v; }),
    };
}

/** Metadata that is missing, repeated or misplaced. */
Streams Metadata() {
    const Bytes marker = Text("fLaC"), sound = Amid(), rest(sound.begin() + 4, sound.end()),
                info = InfoBlock({}), small = InfoBlock({8, 8}),
                variable_8 = InfoBlock({4096, 1152}, 8),
                large_8 = InfoBlock({4096, 4096, 0, 1, 1, 8, 0xFFFFFF}, 8),
                others = Cat({MetaBlock(kApplication, Bytes(9)), MetaBlock(9, Bytes(9))}),
                no_table = MetaBlock(kSeekTable, {}), type_127 = MetaBlock(127, Bytes(20)),
                bad = MetaBlock(kVorbisComment, Cat({Le(0, 4), Le(1, 4), Bytes(3)})),
                date = MetaBlock(kVorbisComment, CommentsBody({"DATE=9"})),
                title = MetaBlock(kVorbisComment | kLastBlockFlag, CommentsBody({"TITLE=t"}));
    return {
        {"marker in lower case", Cat({Text("flac"), rest})},
        {"8 MiB of zeros after the marker", Cat({marker, Bytes(8 << 20)})},
        {"100,000 bytes 0xFF after the marker", Cat({marker, Bytes(100000, 0xFF)})},
        {"ID3v2 tag of 3 MiB", Cat({Id3v2(3 << 20), sound})},
        {"two ID3v2 tags", Cat({Id3v2(257), Id3v2(9), sound})},
        {"ID3v2 tag with a footer", Cat({Id3v2(9, 0, true), sound})},
        {"ID3v2 tag and nothing else", Id3v2(23)},
        {"ID3v2 tag that runs past the end", Hex("49 44 33 04 00 00 7F 7F 7F 7F 00")},
        {"no STREAMINFO", Framed({title})},
        {"STREAMINFO as the third block", Framed({others, info, title})},
        {"STREAMINFO twice", Framed({info, info, title})},
        {"STREAMINFO, then one with larger frames, type 8", Framed({info, large_8, title})},
        {"STREAMINFO, then one with too small blocks", Framed({info, small, title})},
        {"STREAMINFO, then one with variable blocks, type 8", Framed({info, variable_8, title})},
        {"block of type 127 as the first", Framed({type_127, info, title})},
        {"block of type 127 as the third", Framed({info, date, type_127, title})},
        {"broken comments as the first block", Framed({bad, info, title})},
        {"broken comments as the second block", Framed({info, bad, title})},
        {"comments twice", Framed({info, date, title})},
        {"SEEKTABLE of 0 bytes before the title", Framed({info, date, no_table, title})},
        {"no block has the last-block flag", Framed({info, date})},
        {"no frame", Cat({marker, info, title})},
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
        {"17 pictures", Amid(pictures)},
        {"image longer than its block", Picture({}, {}, 100)},
        {"image of 16 MiB that isn't there",
         Amid(StreamBuilder{}.Block(kPicture, picture, 0xFFFFFF))},
        {"image of 17 MiB, more than a block can state",
         Amid(StreamBuilder{}.Picture({Bytes(17 << 20, 'p')}))},
        {"200,001 blocks", Amid(StreamBuilder{}.Block(kApplication, blocks, 1))},
        {"100,000 empty comments before a title", comments(100001, very_many)},
        {"4,294,967,295 comments in 12 bytes", comments(0xFFFFFFFF, Bytes(4))},
    };
}

/** 1501 frames of 40 bytes with these numbers, which lead seeks to wrong places. */
Bytes NumberedStream(const std::function<uint64_t(uint64_t)>& number) {
    StreamBuilder frames({4096, 4096, 0, 44100, 2, 16, 30000, uint64_t{1501} * 4096});
    for (uint64_t i = 0; i <= 1500; i++) frames.Frames(number(i), 1, 40);
    return frames.Build();
}

/** Frames too large, changed, with bytes after them, or with numbers that mislead seeks. */
Streams Frames() {
    const Bytes tag = Cat({Text("TAG"), Bytes(125, 't')}), tags = Cat({tag, tag}), none;
    const StreamInfo untimed = {4096, 4096, 0, 44100, 2, 16, {}, 0};
    const StreamInfo stated = {4096, 4096, 0, 44100, 2, 16, kFrameBytes};
    const FrameHeader deep = {0, {}, 0xFFF8, 12, 0, 9, 0, 1, 7};
    const Bytes other_rate = FrameBytes({3, {}, 0xFFF8, 12, 0, 10}, 200);
    const auto three = [](const StreamInfo& info, size_t second, const Bytes& after) {
        StreamBuilder out = StreamBuilder(info).Frames(0, 1, kFrameBytes);
        return out.Frames(1, 1, second).Frames(2, 1, kFrameBytes).Raw(after).Build();
    };
    return {
        {"frame above the stated maximum", three(stated, 201, none)},
        {"frame larger than the ring", three(stated, 9000, none)},
        {"frame larger than the buffer", three({}, 102401, none)},
        {"no sample count", three(untimed, 200, none)},
        {"no sample count, and tags after the frames", three(untimed, 200, tags)},
        {"two tags after the frames", three({}, 200, tags)},
        {"ID3v1 tag after the frames", three({}, 200, tag)},
        {"another file after the frames", three({}, 200, Amid())},
        {"another sample rate in the last frames", three({}, 200, Cat({other_rate, other_rate}))},
        {"frames of 32-bit samples", StreamBuilder{}.Frames(0, 3, 200, deep).Build()},
        {"260 frames, more than are searched for", StreamBuilder{}.Frames(1, 260, 60).Build()},
        {"frame numbers, the last is 0", NumberedStream([](uint64_t i) { return i % 1500; })},
        {"frame numbers that grow as squares", NumberedStream([](uint64_t i) { return i * i; })},
        {"12 frame numbers again and again",
         NumberedStream([](uint64_t i) { return i % 12 * 100; })},
        {"frame numbers that fall", NumberedStream([](uint64_t i) { return 1500 - i; })},
        {"frame numbers at random",
         NumberedStream([](uint64_t i) { return i * 0x9E3779B97F4A7C15 >> 28; })},
    };
}

/** Three frames. The second has another header than the others. The third is twice as large. */
Streams SecondFrames() {
    const std::pair<std::string, void (*)(FrameHeader&)> changes[] = {
        {"another block size", [](auto& h) { h.block_code = 11; }},
        {"another blocking strategy", [](auto& h) { h.sync = 0xFFF9; }},
        {"another kind of stereo", [](auto& h) { h.assignment = 10; }},
        {"another sample rate", [](auto& h) { h.rate_code = 10; }},
        {"another number of channels", [](auto& h) { h.assignment = 0; }},
        {"another sample size", [](auto& h) { h.bits_code = 6; }},
        {"a wrong CRC-8", [](auto& h) { h.crc_error = 1; }},
        {"a reserved type of subframe", [](auto& h) { h.subframe = 4; }},
    };
    Streams out;
    for (const auto& [what, change] : changes) {
        FrameHeader header;
        change(header);
        StreamBuilder stream = StreamBuilder{}.Frames(0, 1, kFrameBytes);
        stream.Frames(1, 1, kFrameBytes, header).Frames(2, 1, kTwoFramesBytes);
        out.push_back({"second frame with " + what, stream.Build()});
    }
    return out;
}

/** A file of a picture and two frames, cut in or beside the marker and the frames. */
Streams CutFiles() {
    const Bytes sound = StreamBuilder{}.Picture({Text("P")}).Frames(0, 2, 60).Build();
    Streams out;
    for (const size_t size : {0U, 3U, 4U, 88U, 93U, 94U, 148U, 149U, 153U, 154U, 207U}) {
        const std::string name = "first " + Counted(size, "bytes") + " of a file";
        out.push_back({name, {sound.data(), sound.data() + size}});
    }
    return out;
}

/** The first chunk ends with the first `n` bytes of a frame. */
Streams CutByTheFirstChunk() {
    Streams out;
    for (size_t n = 3; n <= 8; n++) {
        StreamBuilder padded = StreamBuilder{}.Block(kPadding, Bytes(4096 - 46 - n));
        out.push_back({Counted(n, "bytes") + " of a header at the first chunk's end",
                       padded.Frames(200, 3, kFrameBytes).Build()});
    }
    return out;
}

/** The file ends with the first `n` bytes of a header and a subframe byte. */
Streams CutByTheFile(const Bytes& longest) {
    Streams out;
    for (size_t n = 1; n <= longest.size(); n++) {
        const Bytes head(longest.data(), longest.data() + n);
        out.push_back(
            {Counted(n, "bytes") + " of a header at the file's end", Cat({Amid(), head})});
    }
    return out;
}

/** A ring of 8 KiB ends with the first `n` bytes of a frame. */
Streams CutByTheRing(const FrameHeader& header, size_t longest) {
    constexpr size_t kSize = 4000, kPaddingBytes = 8192 - 46 - kSize;
    Streams out;
    for (size_t n = 1; n <= longest; n++) {
        StreamBuilder padded = StreamBuilder{}.Block(kPadding, Bytes(kPaddingBytes - n));
        padded.Frames(0, 3, kSize, header);
        out.push_back({Counted(n, "bytes") + " of a header at the ring's end", padded.Build()});
    }
    return out;
}

/** The field at 0, 1, 1000, the maximum, near `fits`, and near half of its range. */
StreamGroup Extremes(const Field& field) {
    StreamGroup out = {field.title, {}};
    const uint64_t half = uint64_t{1} << (field.bits - 1);
    for (uint64_t v : std::set<uint64_t>{0, 1, field.fits - 1, field.fits, field.fits + 1, 1000,
                                         half - 1, half, 2 * half - 1}) {
        const std::string name = field.name + " " + Counted(v + field.zero, field.unit);
        if (v < 2 * half) out.streams.push_back({name, field.stream(static_cast<uint32_t>(v))});
    }
    return out;
}

}  // namespace

Bytes CreepingStream() {
    constexpr uint64_t kTarget = 100'000;
    constexpr size_t kFirstProbe = 9'900'042, kFile = 20'000'000;
    Bytes run, end;
    for (uint64_t i = 0; i < 750; i++) run = Cat({run, FrameBytes({kTarget - 200 + i / 5}, 200)});
    for (uint64_t n : {kTarget - 40, kTarget - 39, uint64_t{1'100'000}})
        end = Cat({end, FrameBytes({n}, 200)});
    const StreamInfo info = {4096, 4096, 0, 44100, 2, 16, 300, 2 * kTarget * 4096};
    Bytes file = StreamBuilder(info).Frames(0, 2, 200).Build();
    file.resize(kFirstProbe, 0x55);
    file = Cat({file, run});
    file.resize(kFile - end.size(), 0x55);
    return Cat({file, end});
}

std::string Counted(uint64_t number, const std::string& unit) {
    std::string out = std::to_string(number);
    for (size_t at = out.size(); at > 3;) out.insert(at -= 3, ",");
    if (unit.empty()) return out;
    const bool singular = number == 1 && unit.back() == 's';
    return out + " " + unit.substr(0, unit.size() - (singular ? 1 : 0));
}

std::vector<StreamGroup> HostileGroups() {
    const FrameHeader longest = {0, CodedNumber(5, 7), 0xFFF8, 7, 0, 13};
    constexpr size_t kLongest = 17;  // with the first subframe byte
    std::vector<StreamGroup> out;
    for (const Field& field : Fields()) out.push_back(Extremes(field));
    out.push_back(
        {"Marker, ID3v2 tag or blocks are wrong, missing, repeated or misplaced.", Metadata()});
    out.push_back(
        {"Many or huge pictures, blocks or comments. The 17 pictures are the letters a to q.",
         Crowds()});
    out.push_back(
        {"Frames are too large or change, bytes follow them, or their numbers mislead seeks. After "
         "244 frames with numbers above 0, the column \"frames\" counts fixed-size pieces.",
         Frames()});
    out.push_back({"The second of three frames has another header.", SecondFrames()});
    out.push_back(
        {"A file of 208 bytes with a picture, and with frames at bytes 88 and 148, is cut.",
         CutFiles()});
    out.push_back(
        {"The first 4,096 bytes, which are read first, end in the first frame's header or after "
         "it.",
         CutByTheFirstChunk()});
    out.push_back({"The file ends in a header of 16 bytes, after it or after the subframe byte.",
                   CutByTheFile(FrameBytes(longest, kLongest))});
    out.push_back(
        {"The ring of 8 KiB ends in such a header or after it.", CutByTheRing(longest, kLongest)});
    return out;
}

std::vector<NamedStream> HostileStreams() {
    Streams out;
    for (const StreamGroup& group : HostileGroups())
        out.insert(out.end(), group.streams.begin(), group.streams.end());
    return out;
}

}  // namespace kelflac_streams
