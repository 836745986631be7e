// Looks once through quiet bytes, for an emulator to count the instructions of.
// Usage: kelflac_steps search|memchr BYTES
#include <cstdlib>
#include <cstring>

#include "libextractor/flac/demuxer/kelflacf_fal.h"

int main(int, char** argv) {
    constexpr int kRingBytes = 1 << 20;
    static uint8_t ring[kRingBytes];  // zeros, among which no sync code stands
    const int count = atoi(argv[2]);
    if (strcmp(argv[1], "memchr") == 0) {
        const volatile void* found = memchr(ring, 0xFF, static_cast<size_t>(count));
        return found == nullptr ? 0 : 1;
    }
    KELFLACF_FAL fal{};
    fal.buf = ring;
    fal.size = kRingBytes;
    fal.wr = count + 1;
    return kelflacf_fal_find_sync_code(&fal, 0, count) == count ? 0 : 1;
}
