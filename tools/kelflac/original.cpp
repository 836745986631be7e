#include "original.h"

#include <cstring>

namespace kelflac {

int64_t StreamInfo::number(size_t at, size_t bytes) const {
    int64_t number = 0;
    for (size_t i = at; i < at + bytes; ++i) number = number << 8 | body[i];
    return number;
}

int64_t timeUs(uint64_t samples, int64_t rate) {
    constexpr uint64_t kUnits = 10'000'000;  // The demuxer counts units of 100 ns.
    return rate > 0 ? static_cast<int64_t>(samples * kUnits / static_cast<uint64_t>(rate)) / 10 : 0;
}

std::optional<FramePlace> placeOf(std::string_view frame, int64_t block) {
    constexpr size_t kNumberAt = 4;
    constexpr size_t kLongest = 7;
    const auto byte = [&](size_t at) { return static_cast<uint8_t>(frame[at]); };
    if (frame.size() <= kNumberAt || byte(0) != 0xFF || byte(1) >> 2 != 0x3E) return std::nullopt;
    // Coded as UTF-8 is, with up to six bytes after the first.
    uint64_t number = byte(kNumberAt);
    size_t after = 0;
    for (uint64_t bits = number; (bits & 0xC0) == 0xC0; bits = bits << 1 & 0xFF) ++after;
    if (after >= kLongest || frame.size() < kNumberAt + 1 + after) return std::nullopt;
    if (after > 0) number &= 0x3FU >> after;
    for (size_t i = 1; i <= after; ++i) number = number << 6 | (byte(kNumberAt + i) & 0x3FU);
    const bool of_sample = (byte(1) & 1) != 0;
    return FramePlace{static_cast<int64_t>(number),
                      of_sample ? number : number * static_cast<uint64_t>(block)};
}

Head Original::head() {
    Head out;
    uint8_t bytes[10];
    off64_t pos = 0;
    while (read(pos, bytes, 10) && memcmp(bytes, "ID3", 3) == 0) {
        // An ID3v2 tag's size has four groups of 7 bits; the top bits don't count.
        const off64_t size = 10 + ((bytes[6] & 0x7F) << 21 | (bytes[7] & 0x7F) << 14 |
                                   (bytes[8] & 0x7F) << 7 | (bytes[9] & 0x7F));
        out.id3_tags.emplace_back(pos, size);
        pos += size;
    }
    if (!read(pos, bytes, 4) || memcmp(bytes, "fLaC", 4) != 0) return out;
    out.marker_end = pos += 4;
    for (bool last = false; !last && read(pos, bytes, kBlockHeader);) {
        constexpr int kInvalid = 7;
        last = (bytes[0] & 0x80) != 0;
        const int type = bytes[0] & 7;  // What the plug-in looks at.
        const off64_t length = bytes[1] << 16 | bytes[2] << 8 | bytes[3];
        if (length == 0 || type == kInvalid || pos + kBlockHeader + length > mSize) break;
        StreamInfo info{};
        if (type == 0 && read(pos + kBlockHeader, info.body.data(), info.body.size()))
            out.info = info;
        // The plug-in reads 34 bytes of a STREAMINFO, whatever length it states.
        pos += kBlockHeader + (type == 0 ? static_cast<off64_t>(info.body.size()) : length);
    }
    return out;
}

std::optional<off64_t> Original::id3v1() {
    constexpr off64_t kSize = 128;
    if (mSize >= kSize && standsAt("TAG", mSize - kSize)) return mSize - kSize;
    return std::nullopt;
}

std::optional<Reason> Original::refusal(const Decoded& decoded, bool size_known) {
    constexpr int64_t kMinBlock = 16;
    constexpr int64_t kBitsUnknown = 32;
    const Head head = this->head();
    if (head.marker_end == 0) return Reason{"no-marker", "no fLaC marker"};
    if (head.id3_tags.size() > 1) return Reason{"two-id3v2-tags", "two or more ID3v2 tags"};
    if (!head.info) return Reason{"no-streaminfo", "no STREAMINFO is met before the audio"};
    const StreamInfo& info = *head.info;
    if (info.maxBlock() == 0 || info.minBlock() < kMinBlock)
        return Reason{"small-blocks", "a block size below 16"};
    if (info.minBlock() != info.maxBlock())
        return Reason{"variable-block-size", "variable block size"};
    if (info.rate() == 0) return Reason{"no-rate", "a sample rate of 0"};
    if (info.bits() == kBitsUnknown) return Reason{"32-bits", "32 bits a sample"};
    if (!decoded.known) return Reason{"unexplained", "no reason known: the audio is not decoded"};
    if (decoded.frames == 0) return Reason{"no-frame", "no frame is found"};
    if (!size_known && decoded.frames == 1)
        return Reason{"one-frame", "only one frame, in a source of unknown size"};
    if (!decoded.faults.none())
        return Reason{"damaged", "the file is damaged: perhaps no frame can be found"};
    if (decoded.info_at != head.marker_end + kBlockHeader)
        return Reason{"streaminfo-not-first", "STREAMINFO is not the first metadata block"};
    return std::nullopt;
}

bool Original::standsAt(std::string_view bytes, off64_t at) {
    mWindow.resize(std::max(mWindow.size(), bytes.size()));
    return read(at, mWindow.data(), bytes.size()) && mWindow.compare(0, bytes.size(), bytes) == 0;
}

std::optional<off64_t> Original::find(std::string_view bytes, off64_t from) {
    constexpr off64_t kStep = 256 << 10;
    mWindow.resize(bytes.size() + kStep);  // Windows overlap by bytes.size().
    for (off64_t pos = from;; pos += kStep) {
        const ssize_t count = mInput.readAt(pos, mWindow.data(), mWindow.size());
        if (count < static_cast<ssize_t>(bytes.size())) return std::nullopt;
        const void* found =
            memmem(mWindow.data(), static_cast<size_t>(count), bytes.data(), bytes.size());
        if (found != nullptr) return pos + (static_cast<const char*>(found) - mWindow.data());
    }
}

}  // namespace kelflac
