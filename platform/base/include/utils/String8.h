// String8: a string of 8-bit characters. It has only the calls that build a text.
#pragma once

#include <cstdlib>
#include <cstring>
#include <utility>

#include "utils/Errors.h"

namespace android {

/** Text with a NUL after it. Without memory a copy or a construction is empty, and an append
    changes nothing and returns NO_MEMORY. */
class String8 {
  public:
    String8() = default;
    explicit String8(const char* text) { append(text); }
    explicit String8(const char* bytes, size_t count) { append(bytes, count); }
    String8(const String8& other) { append(other); }
    String8(String8&& other) noexcept { swap(other); }
    ~String8() { free(mText); }
    String8& operator=(String8 other) noexcept {
        swap(other);
        return *this;
    }

    status_t append(const String8& other) { return append(other.mText, other.mSize); }
    status_t append(const char* text) { return append(text, strlen(text)); }
    status_t append(const char* bytes, size_t count) {
        if (count == 0) return OK;
        // A new block each time: `bytes` may lie in the old one.
        auto* joined = static_cast<char*>(malloc(mSize + count + 1));
        if (joined == nullptr) return NO_MEMORY;
        memcpy(joined, string(), mSize);
        memcpy(joined + mSize, bytes, count);
        mSize += count;
        joined[mSize] = '\0';
        free(std::exchange(mText, joined));
        return OK;
    }

    const char* string() const { return mText != nullptr ? mText : ""; }
    size_t length() const { return mSize; }

  private:
    void swap(String8& other) noexcept {
        std::swap(mText, other.mText);
        std::swap(mSize, other.mSize);
    }

    char* mText = nullptr;  ///< From malloc; null while empty.
    size_t mSize = 0;       ///< Without the NUL.
};

}  // namespace android
