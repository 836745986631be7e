// Builds valid and invalid FLAC streams (RFC 9639) byte by byte, with no code of the library.
// A value that is wider than its field gives wrong bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelflac_streams {

using Bytes = std::vector<uint8_t>;
using Texts = std::vector<std::string>;
using Maybe32 = std::optional<uint32_t>;

Bytes Hex(const std::string& pairs);  ///< "FF F8 C9"; throws for any other form.
Bytes Text(const std::string& text);  ///< Its characters, without a terminator.
Bytes Be(uint64_t value, int count);  ///< The low `count` bytes, most significant first.
Bytes Le(uint64_t value, int count);  ///< The same, least significant first.
Bytes Cat(const std::vector<Bytes>& parts);
uint64_t NextRandom(uint64_t& state);  ///< A fixed xorshift sequence; `state` must not be 0.

/** STREAMINFO (8.2). A StreamBuilder sets unset members from its frames. Without it they are 0. */
struct StreamInfo {
    uint32_t min_block = 4096, max_block = 4096, min_frame = 0;
    uint32_t rate = 44100, channels = 2, bits = 16;
    Maybe32 max_frame = {};                ///< Unset: the largest frame's size.
    std::optional<uint64_t> samples = {};  ///< Unset: the end of the last frame.
    Bytes md5 = Bytes(16);
};

/** PICTURE (8.8). A stated length, if set, replaces the true one. */
struct PictureSpec {
    Bytes data = {};
    uint32_t type = 3;  ///< Front cover.
    std::string mime = "image/png", description = {};
    Maybe32 stated_mime = {}, stated_description = {}, stated_data = {};
};

constexpr int kStreamInfo = 0, kPadding = 1, kApplication = 2, kSeekTable = 3, kVorbisComment = 4,
              kCueSheet = 5, kPicture = 6, kLastBlockFlag = 128;
Bytes StreamInfoBody(const StreamInfo& info);
Bytes PictureBody(const PictureSpec& picture);
Bytes CommentsBody(const Texts& comments, const std::string& vendor = "vendor",
                   Maybe32 stated_count = {});
Bytes MetaBlock(int type, const Bytes& body, Maybe32 stated_length = {});
/** An ID3v2.4 tag of `payload` zeros. With a footer, its flag is set and 10 bytes follow. */
Bytes Id3v2(uint32_t payload, int flags = 0, bool footer = false);

/** A frame header (9.1). By default 4096 samples, 44.1 kHz, left/right stereo, 16 bits. */
struct FrameHeader {
    uint64_t number = 0;
    Bytes raw_number = {};                     ///< If not empty, replaces the coded number.
    uint32_t sync = 0xFFF8;                    ///< Sync code of 15 bits, blocking strategy.
    uint32_t block_code = 12, block_tail = 0;  ///< Codes 6, 7 write the tail, block size - 1.
    uint32_t rate_code = 9, rate_tail = 0;     ///< Codes 12, 13, 14 write the tail.
    uint32_t assignment = 1;                   ///< Channels - 1, or 8 to 10: decorrelated stereo.
    uint32_t bits_code = 4, reserved = 0, crc_error = 0;  ///< crc_error: XORed with the CRC-8.
    uint8_t subframe = 0x02;  ///< First byte after the header: a verbatim subframe.
};
/** The coded number (9.1.5) in `count` bytes, 1 to 7. That may be more than the number needs. With
    a `count` of 0 it has as few bytes as possible. */
Bytes CodedNumber(uint64_t number, int count = 0);
Bytes HeaderBytes(const FrameHeader& header);  ///< Ends with the CRC-8.
/** A frame of `size` bytes: header, subframe byte and filler. The filler depends on the number, has
    no 0xFF and can't be decoded. Throws when `size` is too small for the first two. */
Bytes FrameBytes(const FrameHeader& header, size_t size);

/** Builds a stream: StreamBuilder{}.Comments({"TITLE=Song"}).Frames(0, 10, 500).Build(). STREAMINFO
    comes first, then the blocks, then the frames. The last block is flagged as the last. */
class StreamBuilder {
  public:
    explicit StreamBuilder(StreamInfo info = {}) : info_(std::move(info)) {}
    StreamBuilder& Block(int type, const Bytes& body, Maybe32 stated_length = {});
    StreamBuilder& Comments(const Texts& c) { return Block(kVorbisComment, CommentsBody(c)); }
    StreamBuilder& Picture(const PictureSpec& p) { return Block(kPicture, PictureBody(p)); }
    StreamBuilder& Frames(uint64_t first, uint64_t count, size_t size, FrameHeader header = {});
    StreamBuilder& Raw(const Bytes& bytes);  ///< Added after the frames so far.
    Bytes Build() const;

  private:
    StreamInfo info_;
    Bytes blocks_, audio_;
    size_t last_block_ = 0, largest_frame_ = 0;  // last_block_: offset in Build's `meta`
    uint64_t samples_ = 0;
};

}  // namespace kelflac_streams
