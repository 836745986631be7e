// Frame headers (RFC 9639, 9.1): first the sync-word test, then the header test.
//
// Neither test compares a header with the stream information.
#include <algorithm>
#include <array>

#include "libextractor/flac/demuxer/big_endian.h"
#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "libextractor/flac/demuxer/kelflacfd_sync.h"

namespace {

// The first four bytes as a big-endian word.
constexpr uint32_t SYNC_MASK =
    0xFFFE0001;  // the 15-bit sync code and the reserved bit; not the blocking bit
constexpr uint32_t SYNC_VALUE = 0xFFF80000;
constexpr uint32_t BLOCK_SIZE_MASK = 0x0000F000;  // 0 is reserved
constexpr uint32_t HZ_MASK = 0x00000F00;          // all ones is forbidden
constexpr uint32_t CHANNELS_MASK = 0x000000F0;
constexpr uint32_t CHANNELS_RESERVED = 0x000000B0;  // and all values above
// Codes 3 (reserved) and 7. Code 7 means 32 bits in RFC 9639. It is refused here: such frames
// are not found.
constexpr uint32_t BITS_REFUSED = 0x00000006;

// Block-size codes with a tail after the coded number: the block size minus 1.
constexpr uint8_t BLOCK_SIZE_8BIT_TAIL = 6;
constexpr uint8_t BLOCK_SIZE_16BIT_TAIL = 7;

// Sample-rate codes with a tail. This tail is the last field before the CRC-8.
constexpr uint8_t HZ_8BIT_TAIL = 12;  // in kHz
static_assert(HZ_8BIT_TAIL == KELFLACFD_HZ_CODES);
constexpr uint8_t HZ_16BIT_TAIL = 13;       // in Hz
constexpr uint8_t HZ_16BIT_TENS_TAIL = 14;  // in units of 10 Hz

// Channel assignments, in the upper half of hdr[3]: 0 to 7 are 1 to 8 independent channels, 8 to 10
// are stereo.
constexpr uint8_t STEREO_FIRST = 0x80;
constexpr uint8_t STEREO_LIMIT = 0xB0;

// The second byte of a sync code never begins another one: the search goes on two bytes later.
constexpr int SYNC_CODE_STEP = 2;

// A test of a header this near the last buffered byte may look at bytes that are not buffered yet.
// Its result may change when they are.
constexpr int UNSETTLED_BYTES = KELFLACFD_HDR_LOOK_BYTES - 1;

// First subframe byte (RFC 9639, 9.2.1): a zero bit, six bits of type, a wasted-bits flag.
constexpr uint8_t SUBFRAME_ZERO_BIT = 0x80;
constexpr uint8_t SUBFRAME_TYPE_FIXED = 8;  // types 2 to 7 are reserved
constexpr uint8_t SUBFRAME_TYPE_VERBATIM = 1;
constexpr uint8_t SUBFRAME_TYPE_RESERVED = 16;  // to 31; 13 to 15 are reserved too, but pass
constexpr uint8_t SUBFRAME_TYPE_RESERVED_MASK = 0x30;

constexpr int WORD_BYTES = 8;
using CRC8_TABLE = std::array<uint8_t, 256>;

/** CRC-8 with the polynomial x^8 + x^2 + x + 1, most significant bit first. Table k has the CRC-8
    of each byte when k zero bytes follow it. */
constexpr std::array<CRC8_TABLE, WORD_BYTES> make_crc8_tables() {
    constexpr uint32_t POLYNOMIAL = 0x07;
    std::array<CRC8_TABLE, WORD_BYTES> tables{};
    for (uint32_t byte = 0; byte < tables[0].size(); ++byte) {
        uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x80) != 0 ? (crc << 1) ^ POLYNOMIAL : crc << 1;
        tables[0][byte] = static_cast<uint8_t>(crc);
    }
    for (size_t k = 1; k < tables.size(); ++k) {
        for (size_t byte = 0; byte < tables[k].size(); ++byte)
            tables[k][byte] = tables[0][tables[k - 1][byte]];
    }
    return tables;
}

constexpr std::array<CRC8_TABLE, WORD_BYTES> CRC8_TABLES = make_crc8_tables();

/** The CRC-8 of eight bytes, most significant first. The processor makes the eight look-ups at the
    same time. */
inline uint8_t crc8_of_word(uint64_t word) {
    const auto part = [word](unsigned k) -> unsigned {
        return CRC8_TABLES[k][static_cast<uint8_t>(word >> 8 * k)];
    };
    return static_cast<uint8_t>(part(0) ^ part(1) ^ part(2) ^ part(3) ^ part(4) ^ part(5) ^
                                part(6) ^ part(7));
}

/** The first `count` bytes, 1 to 8, as a big-endian number. Its leading zeros don't change a CRC-8.
    `bytes` has 8. */
uint64_t first_bytes(const uint8_t* bytes, int count) {
    return be64(bytes) >> 8 * (WORD_BYTES - count);
}

/** Whether the last of `count` bytes, 1 to 16, is the CRC-8 of those before it. `bytes` has 16. */
inline bool ends_with_crc8(const uint8_t* bytes, int count) {
    if (count <= WORD_BYTES) return crc8_of_word(first_bytes(bytes, count)) == 0;
    const uint64_t crc = crc8_of_word(be64(bytes));
    const int rest = count - WORD_BYTES;
    return crc8_of_word(first_bytes(bytes + WORD_BYTES, rest) ^ (crc << 8 * (rest - 1))) == 0;
}

/**
 * Decodes the coded number (RFC 9639, 9.1.5) at `bytes`. If it is malformed, `number` receives the
 * bits before the wrong byte.
 *
 * A first byte below 0x80 is the number. Any other first byte is followed by one continuation byte,
 * and by one more for each set bit from bit 5 down to the first clear bit. Bit 6 is ignored: 0x85
 * means the same as 0xC5. Returns how many bytes the number has, 1 to 7, or 0 when it is malformed.
 */
int decode_coded_number(const uint8_t* bytes, uint64_t* number) {
    constexpr int MAX_CONTINUATIONS = 6;
    const uint8_t lead = bytes[0];
    *number = 0;
    if (lead < 0x80) {
        *number = lead;
        return 1;
    }
    int continuations = 1;
    for (uint32_t bit = 0x20; (lead & bit) != 0; bit >>= 1) ++continuations;
    if (continuations > MAX_CONTINUATIONS) return 0;

    *number = lead & (0x3FU >> continuations);
    for (int i = 1; i <= continuations; ++i) {
        if ((bytes[i] & 0xC0) != 0x80) return 0;
        *number = *number << 6 | (bytes[i] & 0x3FU);
    }
    return 1 + continuations;
}

constexpr int block_size_tail_bytes(uint32_t code) {
    if (code == BLOCK_SIZE_8BIT_TAIL) return 1;
    return code == BLOCK_SIZE_16BIT_TAIL ? 2 : 0;
}

constexpr int hz_tail_bytes(uint32_t code) {
    if (code == HZ_8BIT_TAIL) return 1;
    return code == HZ_16BIT_TAIL || code == HZ_16BIT_TENS_TAIL ? 2 : 0;
}

/** For each value of hdr[2]: how many bytes are between coded number and CRC-8. */
constexpr std::array<uint8_t, 256> make_tail_table() {
    std::array<uint8_t, 256> table{};
    for (uint32_t byte = 0; byte < table.size(); ++byte) {
        table[byte] =
            static_cast<uint8_t>(block_size_tail_bytes(byte >> 4) + hz_tail_bytes(byte & 0x0F));
    }
    return table;
}

constexpr std::array<uint8_t, 256> TAIL_BYTES = make_tail_table();

int32_t channel_count(uint8_t byte3) {
    if (byte3 < STEREO_FIRST) return (byte3 >> 4) + 1;
    return byte3 < STEREO_LIMIT ? 2 : 0;
}

bool is_subframe_header(uint8_t byte) {
    if ((byte & SUBFRAME_ZERO_BIT) != 0) return false;
    const int type = byte >> 1;
    if (type > SUBFRAME_TYPE_VERBATIM && type < SUBFRAME_TYPE_FIXED) return false;
    return (type & SUBFRAME_TYPE_RESERVED_MASK) != SUBFRAME_TYPE_RESERVED;
}

/** The offset of a header's CRC-8, or 0 when the coded number is malformed. Decodes that number. */
int crc8_offset(const uint8_t* hdr, uint64_t* frm_num) {
    const int number_bytes = decode_coded_number(hdr + KELFLACFD_SYNC_BYTES, frm_num);
    return number_bytes > 0 ? KELFLACFD_SYNC_BYTES + number_bytes + TAIL_BYTES[hdr[2]] : 0;
}

// Where much of the audio looks like headers, nearly all time is spent in the three functions
// marked always_inline. Without it some compilers don't inline them, and the search takes a third
// longer.

/** Tests the CRC-8 and the first subframe byte. The cheaper test is first. */
[[gnu::always_inline]] inline bool is_sound(const uint8_t* hdr, int crc_at) {
    return is_subframe_header(hdr[crc_at + 1]) && ends_with_crc8(hdr, crc_at + 1);
}

int32_t hz_code_of(const uint8_t* hdr) {
    const uint8_t code = hdr[2] & 0x0F;
    return code < HZ_8BIT_TAIL ? code : 0;
}

int32_t bits_code_of(const uint8_t* hdr) {
    return (hdr[3] >> 1) & 7;
}

/** Makes all tests on a header. `bytes` has KELFLACFD_HDR_LOOK_BYTES. */
[[gnu::always_inline]] inline bool is_header(const uint8_t* bytes, KELFLACFD_FRM_HDR* hdr) {
    if (!check_frm_sync(be32(bytes))) return false;
    const int crc_at = crc8_offset(bytes, &hdr->frm_num);
    if (crc_at == 0 || !is_sound(bytes, crc_at)) return false;
    hdr->hz_code = hz_code_of(bytes);
    hdr->ch = channel_count(bytes[3]);
    hdr->bits_code = bits_code_of(bytes);
    return true;
}

/** Makes all tests on the header at offset `at`. `scratch` has KELFLACFD_HDR_LOOK_BYTES. */
[[gnu::always_inline]] inline bool is_header_at(const KELFLACF_FAL* fal,
                                                const KELFLACF_FAL_RUNS& runs, int at,
                                                KELFLACFD_FRM_HDR* hdr, uint8_t* scratch) {
    const bool in_first = at < runs.first.count;
    const KELFLACF_FAL_RUN& run = in_first ? runs.first : runs.second;
    const int offset = in_first ? at : at - runs.first.count;
    const bool in_one_piece = run.count - offset >= KELFLACFD_HDR_LOOK_BYTES;
    return is_header(in_one_piece
                         ? run.bytes + offset
                         : kelflacf_fal_copy_view(fal, at, KELFLACFD_HDR_LOOK_BYTES, scratch),
                     hdr);
}

int64_t* last_of_kind(KELFLACFD_SEEN* seen, const KELFLACFD_FRM_HDR& hdr) {
    return &seen->last[hdr.hz_code][hdr.ch - 1][hdr.bits_code];
}

}  // namespace

bool check_frm_sync(uint32_t v) {
    return (v & SYNC_MASK) == SYNC_VALUE && (v & BLOCK_SIZE_MASK) != 0 &&
           (v & HZ_MASK) != HZ_MASK && (v & CHANNELS_MASK) < CHANNELS_RESERVED &&
           (v & BITS_REFUSED) != BITS_REFUSED;
}

int check_frm_hdr(KELFLACF_FAL* fal, int offset, uint64_t* frm_num, int32_t* hz_code, int32_t* ch,
                  int32_t* bits_code) {
    KELFLACF_FAL_FILL_BUF2(fal, 1);
    uint8_t scratch[KELFLACFD_HDR_LOOK_BYTES];
    const uint8_t* hdr = kelflacf_fal_view(fal, offset, KELFLACFD_HDR_LOOK_BYTES, scratch);
    const int crc_at = crc8_offset(hdr, frm_num);
    if (crc_at == 0) return KELFLACFD_E_MALFORMED;
    *hz_code = hz_code_of(hdr);
    *ch = channel_count(hdr[3]);
    *bits_code = bits_code_of(hdr);
    return is_sound(hdr, crc_at) ? KELFLACFD_OK : KELFLACFD_E_MALFORMED;
}

int find_frm_hdr(const KELFLACF_FAL* fal, KELFLACFD_FRM_HDR* hdr) {
    const KELFLACF_FAL_RUNS runs = kelflacf_fal_runs(fal);
    uint8_t scratch[KELFLACFD_HDR_LOOK_BYTES];
    const int limit = kelflacf_fal_buffered(fal) - (KELFLACFD_SYNC_BYTES - 1);
    for (int at = 0; at < limit; at += SYNC_CODE_STEP) {
        at = find_sync_code(runs, at, limit);
        if (at < limit && is_header_at(fal, runs, at, hdr, scratch)) return at;
    }
    return -1;
}

int find_successor(const KELFLACF_FAL* fal, KELFLACFD_SEEN* seen, const KELFLACFD_FRM_HDR& hdr) {
    const int buffered = kelflacf_fal_buffered(fal);
    const int limit = buffered - (KELFLACFD_SYNC_BYTES - 1);
    const int settled = buffered - UNSETTLED_BYTES;
    const int64_t here = fal->reach - buffered;
    const int64_t first = here + KELFLACFD_SYNC_BYTES;
    seen->noted = std::max(seen->noted, first);
    const int64_t* const wanted = last_of_kind(seen, hdr);
    const bool is_noted = *wanted >= first;
    const KELFLACF_FAL_RUNS runs = kelflacf_fal_runs(fal);
    uint8_t scratch[KELFLACFD_HDR_LOOK_BYTES];
    KELFLACFD_FRM_HDR next;
    int at = static_cast<int>((is_noted ? first : seen->noted) - here);
    for (; at < limit; at += SYNC_CODE_STEP) {
        at = find_sync_code(runs, at, limit);
        if (at >= limit || !is_header_at(fal, runs, at, &next, scratch)) continue;
        int64_t* const last = last_of_kind(seen, next);
        if (at < settled) *last = std::max(*last, here + at);
        if (last == wanted) return at;
    }
    seen->noted = std::max(seen->noted, here + settled);
    return 0;
}

int find_last_frm_hdr(const KELFLACF_FAL* fal, KELFLACFD_FRM_HDR* hdr) {
    const KELFLACF_FAL_RUNS runs = kelflacf_fal_runs(fal);
    uint8_t scratch[KELFLACFD_HDR_LOOK_BYTES];
    for (int at = kelflacf_fal_buffered(fal) - 1; at > 0;) {
        at = find_last_sync_code(runs, at);
        if (at >= 0 && is_header_at(fal, runs, at, hdr, scratch)) return at;
    }
    return -1;
}
