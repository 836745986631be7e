// Searches a buffer of zeros once, for a sync code or for 0xFF. It runs under an emulator that logs
// each instruction.
// Usage: kelflac_steps search|memchr BYTES, less than 2^20
#include <cstdlib>
#include <cstring>

#include "libextractor/flac/demuxer/kelflacfd_sync.h"

int main(int, char** argv) {
    constexpr int kBytes = 1 << 20;
    static uint8_t quiet[kBytes];  // zeros hold no sync code
    const int count = atoi(argv[2]);
    if (strcmp(argv[1], "memchr") == 0) {
        const volatile void* found = memchr(quiet, 0xFF, static_cast<size_t>(count));
        return found == nullptr ? 0 : 1;
    }
    return find_sync_code({{quiet, count + 1}, {nullptr, 0}}, 0, count) == count ? 0 : 1;
}
