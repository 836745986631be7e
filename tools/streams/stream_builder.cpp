#include "tools/streams/stream_builder.h"

#include <sstream>
#include <stdexcept>

namespace kelflac_streams {

Bytes Hex(const std::string& pairs) {
    std::istringstream in(pairs);
    Bytes out;
    for (uint32_t value; in >> std::hex >> value && value <= 0xFF;)
        out.push_back(static_cast<uint8_t>(value));
    if (3 * out.size() != pairs.size() + 1) throw std::invalid_argument("not hex: " + pairs);
    return out;
}

Bytes Text(const std::string& text) {
    return {text.begin(), text.end()};
}

Bytes Le(uint64_t value, int count) {
    Bytes out;
    for (int i = 0; i < count; i++) out.push_back(static_cast<uint8_t>(value >> (8 * i)));
    return out;
}

Bytes Be(uint64_t value, int count) {
    const Bytes le = Le(value, count);
    return {le.rbegin(), le.rend()};
}

Bytes Cat(const std::vector<Bytes>& parts) {
    Bytes out;
    for (const Bytes& part : parts) out.insert(out.end(), part.begin(), part.end());
    return out;
}

uint64_t NextRandom(uint64_t& state) {
    state ^= state << 13;
    state ^= state >> 7;
    return state ^= state << 17;
}

Bytes StreamInfoBody(const StreamInfo& info) {
    uint64_t format = info.rate;
    format = format << 3 | ((info.channels - 1) & 0x7);
    format = format << 5 | ((info.bits - 1) & 0x1F);
    format = format << 36 | (info.samples.value_or(0) & 0xFFFFFFFFF);
    return Cat({Be(info.min_block, 2), Be(info.max_block, 2), Be(info.min_frame, 3),
                Be(info.max_frame.value_or(0), 3), Be(format, 8), info.md5});
}

Bytes PictureBody(const PictureSpec& p) {
    const auto counted = [](const Bytes& bytes, Maybe32 stated) {
        return Cat({Be(stated ? *stated : bytes.size(), 4), bytes});
    };
    return Cat({Be(p.type, 4), counted(Text(p.mime), p.stated_mime),
                counted(Text(p.description), p.stated_description), Bytes(16),
                counted(p.data, p.stated_data)});
}

Bytes CommentsBody(const Texts& comments, const std::string& vendor, Maybe32 stated_count) {
    Bytes out = Cat({Le(vendor.size(), 4), Text(vendor),
                     Le(stated_count ? *stated_count : comments.size(), 4)});
    for (const std::string& c : comments) out = Cat({out, Le(c.size(), 4), Text(c)});
    return out;
}

Bytes MetaBlock(int type, const Bytes& body, Maybe32 stated_length) {
    const uint64_t length = stated_length ? *stated_length : body.size();
    return Cat({{static_cast<uint8_t>(type)}, Be(length, 3), body});
}

Bytes Id3v2(uint32_t payload, int flags, bool footer) {
    Bytes fields = {4, 0, static_cast<uint8_t>(flags | (footer ? 0x10 : 0))};
    for (int shift : {21, 14, 7, 0}) fields.push_back(payload >> shift & 0x7F);
    return Cat(
        {Text("ID3"), fields, Bytes(payload), footer ? Cat({Text("3DI"), fields}) : Bytes{}});
}

Bytes CodedNumber(uint64_t number, int count) {
    constexpr int kValueBits[] = {0, 7, 11, 16, 21, 26, 31, 36};  // by the number of bytes
    for (int n = 1; count == 0; n++) count = n == 7 || number >> kValueBits[n] == 0 ? n : 0;
    if (count == 1) return {static_cast<uint8_t>(number & 0x7F)};
    // As many leading ones as bytes, a zero, then the number, six bits in each later byte.
    Bytes out = Be(0xFF00U >> count | (number >> (6 * (count - 1)) & 0x7FU >> count), 1);
    for (int i = count - 2; i >= 0; i--)
        out.push_back(static_cast<uint8_t>(0x80 | (number >> (6 * i) & 0x3F)));
    return out;
}

Bytes HeaderBytes(const FrameHeader& h) {
    const int block_tail = h.block_code == 6 ? 1 : h.block_code == 7 ? 2 : 0;
    const int rate_tail = h.rate_code == 12 ? 1 : h.rate_code == 13 || h.rate_code == 14 ? 2 : 0;
    Bytes out = Cat({Be(h.sync, 2), Be(h.block_code << 4 | h.rate_code, 1),
                     Be(h.assignment << 4 | h.bits_code << 1 | h.reserved, 1),
                     h.raw_number.empty() ? CodedNumber(h.number) : h.raw_number,
                     Be(h.block_tail, block_tail), Be(h.rate_tail, rate_tail)});
    uint32_t crc = 0;  // CRC-8 (9.1.8), x^8 + x^2 + x + 1, bit by bit
    for (uint8_t byte : out) {
        crc ^= byte;
        for (int bit = 0; bit < 8; bit++) crc = (crc & 0x80) != 0 ? crc << 1 ^ 0x107 : crc << 1;
    }
    out.push_back(static_cast<uint8_t>(crc ^ h.crc_error));
    return out;
}

Bytes FrameBytes(const FrameHeader& header, size_t size) {
    Bytes out = Cat({HeaderBytes(header), {header.subframe}});
    if (out.size() > size) throw std::invalid_argument("frame too small for its header");
    uint64_t state = (header.number * 2 + 1) * 0x9E3779B97F4A7C15;  // odd, so never 0
    while (out.size() < size) out.push_back(static_cast<uint8_t>(NextRandom(state) % 0xFF));
    return out;
}

StreamBuilder& StreamBuilder::Block(int type, const Bytes& body, Maybe32 stated_length) {
    last_block_ = MetaBlock(kStreamInfo, StreamInfoBody(info_)).size() + blocks_.size();
    blocks_ = Cat({blocks_, MetaBlock(type, body, stated_length)});
    return *this;
}

StreamBuilder& StreamBuilder::Frames(uint64_t first, uint64_t count, size_t size, FrameHeader h) {
    for (h.number = first; h.number < first + count; h.number++) Raw(FrameBytes(h, size));
    if (largest_frame_ < size) largest_frame_ = size;
    samples_ = h.number * info_.max_block;
    return *this;
}

StreamBuilder& StreamBuilder::Raw(const Bytes& bytes) {
    audio_.insert(audio_.end(), bytes.begin(), bytes.end());
    return *this;
}

Bytes StreamBuilder::Build() const {
    StreamInfo info = info_;
    if (!info.max_frame) info.max_frame = static_cast<uint32_t>(largest_frame_);
    if (!info.samples) info.samples = samples_;
    Bytes meta = Cat({MetaBlock(kStreamInfo, StreamInfoBody(info)), blocks_});
    meta[last_block_] |= kLastBlockFlag;
    return Cat({Text("fLaC"), meta, audio_});
}

}  // namespace kelflac_streams
