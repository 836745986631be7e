// Functions that skip and read with the 32-bit byte counts of metadata. The reader takes an `int`.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "libextractor/flac/demuxer/kelflacfd_internal.h"

void skip_u32(KELFLACF_FAL* fal, uint32_t count) {
    uint32_t step = 0;
    do {
        step = std::min(count, static_cast<uint32_t>(INT_MAX));
        count -= step;
    } while (kelflacf_fal_skip(fal, static_cast<int>(step)) == 0 && count > 0);
}

uint8_t* read_to_heap(KELFLACF_FAL* fal, uint32_t count, uint32_t spare) {
    constexpr uint32_t MAX_BLOCK_BYTES = 0xFFFFFF;  // RFC 9639, 8.1: lengths have 24 bits
    // For a plausible count, only the bytes that were not read are set to zero. A larger count is
    // probably wrong, and little of it will be read: zeros from calloc take no memory until they
    // are touched.
    const bool is_plausible = count <= MAX_BLOCK_BYTES;
    const size_t size = size_t{count} + spare;
    auto* bytes = static_cast<uint8_t*>(is_plausible ? malloc(size) : calloc(1, size));
    if (bytes == nullptr) return nullptr;
    const auto wanted = static_cast<int>(std::min(count, static_cast<uint32_t>(INT_MAX)));
    const auto got = static_cast<size_t>(kelflacf_fal_read(fal, bytes, wanted));
    if (is_plausible) memset(bytes + got, 0, size - got);
    return bytes;
}
