// A file as it is, to compare with what the plug-in makes of it.
#pragma once

#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "input.h"
#include "session.h"

namespace kelflac {

class Original {
  public:
    explicit Original(const std::string& path) : mInput(path, true) { mInput.getSize(&mSize); }

    off64_t size() const { return mSize; }

    /** Where the metadata ends and the audio begins (RFC 9639, 8), behind ID3v2 tags in front. */
    off64_t audioStart() {
        uint8_t head[10];
        off64_t pos = 0;
        while (read(pos, head, 10) && memcmp(head, "ID3", 3) == 0) {
            // An ID3v2 tag's size has four groups of 7 bits; the top bits don't count.
            pos += 10 + ((head[6] & 0x7F) << 21 | (head[7] & 0x7F) << 14 | (head[8] & 0x7F) << 7 |
                         (head[9] & 0x7F));
        }
        pos += 4;  // "fLaC"
        for (bool last = false; !last && read(pos, head, 4);) {
            last = (head[0] & 0x80) != 0;
            pos += 4 + (head[1] << 16 | head[2] << 8 | head[3]);
        }
        return pos;
    }

    /** Where the frame's bytes stand in the file, the first time from `from` on. */
    std::optional<off64_t> find(const Frame& frame, off64_t from) {
        constexpr off64_t kStep = 64 << 10;
        mWindow.resize(frame.size + kStep);  // Windows overlap by the frame's size.
        for (off64_t pos = from;; pos += kStep) {
            const ssize_t count = mInput.readAt(pos, mWindow.data(), mWindow.size());
            if (count < static_cast<ssize_t>(frame.size)) return std::nullopt;
            const void* found =
                memmem(mWindow.data(), static_cast<size_t>(count), frame.data, frame.size);
            if (found != nullptr) return pos + (static_cast<const uint8_t*>(found) - &mWindow[0]);
        }
    }

  private:
    bool read(off64_t offset, uint8_t* data, ssize_t size) {
        return mInput.readAt(offset, data, static_cast<size_t>(size)) == size;
    }

    FileInput mInput;
    off64_t mSize = 0;
    std::vector<uint8_t> mWindow;
};

}  // namespace kelflac
