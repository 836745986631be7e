// One number for much data, to compare between runs and machines.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace kelflac {

/** A 64-bit FNV-1a. */
class Digest {
  public:
    void add(std::string_view bytes) {
        constexpr uint64_t kPrime = 0x100000001B3;
        for (const char byte : bytes) mHash = (mHash ^ static_cast<uint8_t>(byte)) * kPrime;
        mHash = (mHash ^ bytes.size()) * kPrime;
    }
    void add(int64_t number) { add(std::to_string(number)); }

    /** 16 hexadecimal digits. */
    std::string text() const {
        char digits[17];
        snprintf(digits, sizeof(digits), "%016llx", static_cast<unsigned long long>(mHash));
        return digits;
    }

  private:
    uint64_t mHash = 0xCBF29CE484222325;
};

}  // namespace kelflac
