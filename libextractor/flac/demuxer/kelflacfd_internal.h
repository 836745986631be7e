// What the demuxer's own files share, with external linkage so that tests reach each step.
#pragma once

#include <cstdint>

#include "libextractor/flac/demuxer/kelflacfd.h"

/** Whether the handle is a stream. Each public operation that takes a handle checks this first. */
bool kelflacfd_is_open(const KELFLACFD_CTX* ctx);

// Frame headers (RFC 9639, 9.1).

/** How many bytes of a header check_frm_sync tests. The coded number follows them. */
constexpr int KELFLACFD_SYNC_BYTES = 4;

/** The most bytes that a test of a header looks at: 16 of the header and the first byte of the
    first subframe. */
constexpr int KELFLACFD_HDR_LOOK_BYTES = 17;

/** What a frame header says of its frame. */
struct KELFLACFD_FRM_HDR {
    uint64_t frm_num;   ///< The coded number, at most 36 bits; if malformed, its first bits.
    int32_t hz_code;    ///< Sample-rate code 0 to 11; codes 12 to 14 are stored as 0.
    int32_t ch;         ///< Channels, 1 to 8.
    int32_t bits_code;  ///< Sample-size code, 0 to 6 without 3.
};

/** Whether the big-endian word `v` can be the first four bytes of a frame header. */
bool check_frm_sync(uint32_t v);

/**
 * Tests the rest of a header `offset` bytes ahead, where check_frm_sync has passed.
 * Refills an empty ring by one step. Bytes that are still not buffered count as 0. Consumes
 * nothing.
 *
 * @param frm_num receives the coded number; if it is malformed, the bits decoded so far.
 * @param hz_code, ch, bits_code receive the fields of KELFLACFD_FRM_HDR; unchanged when the coded
 *     number is malformed.
 * @return KELFLACFD_OK when there is a header; KELFLACFD_E_MALFORMED.
 */
int check_frm_hdr(KELFLACF_FAL* fal, int offset, uint64_t* frm_num, int32_t* hz_code, int32_t* ch,
                  int32_t* bits_code);

/** check_frm_hdr that fills a whole record. */
inline int judge_frm_hdr(KELFLACF_FAL* fal, int offset, KELFLACFD_FRM_HDR* hdr) {
    return check_frm_hdr(fal, offset, &hdr->frm_num, &hdr->hz_code, &hdr->ch, &hdr->bits_code);
}

/**
 * Finds the first header whose first four bytes are buffered. Makes both tests; bytes that are not
 * buffered count as 0. Reads nothing and consumes nothing.
 *
 * @param hdr receives the header. A failed test may change its number, as in check_frm_hdr.
 * @return how many bytes ahead the header is, or -1 when there is none.
 */
int find_frm_hdr(const KELFLACF_FAL* fal, KELFLACFD_FRM_HDR* hdr);

/**
 * Finds the successor of the header at offset 0: the next buffered header, four or more bytes
 * ahead, with the same `hz_code`, `ch` and `bits_code`. Reads nothing and consumes nothing.
 *
 * @param seen is used and updated. Headers too near the last buffered byte are not noted.
 * @return how many bytes ahead the successor is, or 0 when there is none.
 */
int find_successor(const KELFLACF_FAL* fal, KELFLACFD_SEEN* seen, const KELFLACFD_FRM_HDR& hdr);

/** Finds the last buffered header. Three buffered bytes of it are enough: the others count as 0.
    Otherwise as find_frm_hdr. */
int find_last_frm_hdr(const KELFLACF_FAL* fal, KELFLACFD_FRM_HDR* hdr);

// Frame searches. `frm_len` in bytes, `frm_num` the coded number.

/** How many frames with a number above 0 are found by search after an open or a successful seek. */
constexpr uint8_t KELFLACFD_FULL_CHECK_COUNT = 244;

/** Moves forward to the next frame: a header that has a successor in the buffered bytes. A header
    without one is taken too if the buffered bytes reach the end of a file of known size. Returns
    KELFLACFD_OK, or KELFLACFD_END when the data ended; `frm_num` is then what the last header test
    left. */
int kelflacfd_find_frm(KELFLACFD_CTX* ctx, uint32_t* frm_len, uint64_t* frm_num);

/** Gives the stream's maximum frame size and the number 0 without a search. Returns
    KELFLACFD_OK. */
int kelflacfd_find_frm2(KELFLACFD_CTX* ctx, uint32_t* frm_len, uint64_t* frm_num);

/** Fills the ring and moves to the last frame header in it. Returns KELFLACFD_OK, or
    KELFLACFD_E_MALFORMED when there is none: the reader has then not moved. */
int kelflacfd_find_prev_frm(KELFLACFD_CTX* ctx, uint64_t* frm_num);

/** Moves to the last frame header of a file of `size` bytes. Looks only at its last `max_frm_size`
    bytes; `size` is not smaller. Returns KELFLACFD_OK, or KELFLACFD_E_MALFORMED when there is no
    header in them, or they can't be reached. */
int kelflacfd_find_last_frm(KELFLACFD_CTX* ctx, int64_t size, uint64_t* frm_num);

/** The time at which frame `frm_num` starts in a stream of fixed block size, in 100 ns. Its
    products wrap at 64 bits. `info->hz` is at least 1. */
int64_t kelflacfd_frm_time(const KELFLACFD_INFO* info, uint64_t frm_num);

/** The same for any stream: 0 where the block size varies or the sample rate is 0. */
inline int64_t frm_time_or_0(const KELFLACFD_INFO& info, uint64_t frm_num) {
    const bool is_timed = info.min_block == info.max_block && info.hz >= 1;
    return is_timed ? kelflacfd_frm_time(&info, frm_num) : 0;
}

// Opening.

/** Moves past the "fLaC" marker, and past one ID3v2 tag before it. Returns KELFLACFD_OK or
    KELFLACFD_E_MARKER. */
int kelflacfd_check_flac(KELFLACFD_CTX* ctx);

/** Walks the metadata blocks. Returns KELFLACFD_OK when a STREAMINFO is kept, else the last
    handler's result. If no handler ran, that is KELFLACFD_OK. */
int kelflacfd_parse_meta(KELFLACFD_CTX* ctx);

/** Handles a metadata block whose header has been read. `length` is the block's length, 24 bits.
    Returns KELFLACFD_OK, or a status that is named with the handler. */
using KELFLACFD_META_HANDLER = int (*)(KELFLACFD_CTX* ctx, uint32_t length);

/** KELFLACFD_E_MEMORY, KELFLACFD_E_MALFORMED or KELFLACFD_E_VARIABLE. */
int parse_meta_streaminfo(KELFLACFD_CTX* ctx, uint32_t length);
int parse_meta_padding(KELFLACFD_CTX* ctx, uint32_t length);         ///< Never fails.
int parse_meta_app(KELFLACFD_CTX* ctx, uint32_t length);             ///< Never fails.
int parse_meta_seektable(KELFLACFD_CTX* ctx, uint32_t length);       ///< Never fails.
int parse_meta_vorbis_comment(KELFLACFD_CTX* ctx, uint32_t length);  ///< KELFLACFD_E_MALFORMED
int parse_meta_cuesheet(KELFLACFD_CTX* ctx, uint32_t length);        ///< Never fails.
/** KELFLACFD_E_MEMORY or KELFLACFD_E_MALFORMED. */
int parse_meta_pic(KELFLACFD_CTX* ctx, uint32_t length);
int invalid_metadata(KELFLACFD_CTX* ctx, uint32_t length);  ///< Always KELFLACFD_E_MALFORMED.

// Tags.

/** Parses the body of a VORBIS_COMMENT block of `length` bytes into `tag`. Returns 0; bytes after
    the last comment are then not skipped. Returns -1 when the block is too short for its comments.
    The rest of the block is then skipped, and the earlier comments stay stored. */
int parse_vorbis_comment(KELFLACF_FAL* fal, uint32_t length, KELFLACFD_TAG* tag);

/** Reads decimal digits from at most `count` bytes into `result`, modulo 2^32. Returns how many of
    the `count` bytes it did not consume. */
int parse_num(KELFLACF_FAL* fal, int32_t count, int32_t* result);

/** Sets the five numbers of a tag record to -1, absent. */
void reset_tag_numbers(KELFLACFD_TAG* tag);

// Functions that return what the reader stores through a pointer, and functions that read and skip
// with byte counts of 32 bits, which an `int` can't hold.

/** The source's size, 0 when unknown. */
inline int64_t source_size(KELFLACF_FAL* fal) {
    long long size = 0;
    kelflacf_fal_getsize(fal, &size);
    return size;
}

/** The file offset of the next unread byte. */
inline int64_t logical_pos(KELFLACF_FAL* fal) {
    long long pos = 0;
    kelflacf_fal_getpos(fal, &pos);
    return pos;
}

/** Skips `count` bytes. Stops where the data ends. */
void skip_u32(KELFLACF_FAL* fal, uint32_t count);

/** Reads `count` bytes into new memory and adds `spare` zeros. `count` and `spare` are not both 0.
    Bytes that the source fails to deliver, and those after the first INT_MAX, are zeros. Returns
    memory for the caller to free, or null when there is none: nothing has then been read. */
uint8_t* read_to_heap(KELFLACF_FAL* fal, uint32_t count, uint32_t spare);
