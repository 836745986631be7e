// A file as it is, to compare with how the plug-in reads it.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "decoder.h"
#include "input.h"
#include "reasons.h"
#include "session.h"

namespace kelflac {

/** STREAMINFO (RFC 9639, 8.2). */
struct StreamInfo {
    std::array<uint8_t, 34> body;

    int64_t minBlock() const { return number(0, 2); }
    int64_t maxBlock() const { return number(2, 2); }
    int64_t minFrame() const { return number(4, 3); }
    int64_t maxFrame() const { return number(7, 3); }
    int64_t rate() const { return number(10, 3) >> 4; }
    int64_t channels() const { return (body[12] >> 1 & 7) + 1; }
    int64_t bits() const { return (number(12, 2) >> 4 & 31) + 1; }
    int64_t samples() const { return (number(13, 1) & 15) << 32 | number(14, 4); }

  private:
    int64_t number(size_t at, size_t bytes) const;
};

/** What stands before the audio. */
struct Head {
    std::vector<std::pair<off64_t, off64_t>> id3_tags;  ///< Places and sizes of ID3v2 tags.
    off64_t marker_end = 0;                             ///< Of "fLaC"; 0 = there is none.
    std::optional<StreamInfo> info;                     ///< The last one.
};

/** A time as the plug-in works it out: the products modulo 2^64, the quotients truncated. */
int64_t timeUs(uint64_t samples, int64_t rate);

/** What a frame's header says of its place (RFC 9639, 9.1.5). */
struct FramePlace {
    int64_t number;  ///< Of the frame, or of its first sample in streams of variable block size.
    uint64_t sample;
};
/** Nothing when `frame` doesn't begin with a sync code and a number. */
std::optional<FramePlace> placeOf(std::string_view frame, int64_t block);

/** A file that is read without the plug-in. */
class Original {
  public:
    static constexpr off64_t kBlockHeader = 4;  ///< Of a metadata block (RFC 9639, 8.1).

    explicit Original(const std::string& path) : mInput(path, true) { mInput.getSize(&mSize); }

    off64_t size() const { return mSize; }
    FileInput& input() { return mInput; }

    /** Walks the tags and metadata blocks as the plug-in does, but accepts more than it. */
    Head head();
    /** Where an ID3v1 tag stands. */
    std::optional<off64_t> id3v1();
    /** Why the plug-in does not open this file; nothing when no reason is seen. */
    std::optional<Reason> refusal(const Decoded& decoded, bool size_known);

    /** Whether these bytes stand at a place. */
    bool standsAt(std::string_view bytes, off64_t at);
    /** Where these bytes stand in the file, the first time from `from` on. */
    std::optional<off64_t> find(std::string_view bytes, off64_t from);

  private:
    bool read(off64_t offset, void* data, size_t size) {
        return mInput.readAt(offset, data, size) == static_cast<ssize_t>(size);
    }

    FileInput mInput;
    off64_t mSize = 0;
    std::string mWindow;
};

}  // namespace kelflac
