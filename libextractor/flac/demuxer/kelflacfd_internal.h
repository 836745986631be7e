// What the demuxer's own files share, with external linkage so that tests reach each step.
#pragma once

#include <cstdint>

#include "libextractor/flac/demuxer/kelflacfd.h"

/** Whether the handle is a live context; the first check of every public operation. */
bool kelflacfd_is_open(const KELFLACFD_CTX* ctx);

// Frame headers (RFC 9639, 9.1).

/** A header's bytes in front of the coded number, which check_frm_sync looks at. */
constexpr int KELFLACFD_SYNC_BYTES = 4;

/** The most bytes that a test of a header looks at: 16 of the header and the first of the first
    subframe. */
constexpr int KELFLACFD_HDR_LOOK_BYTES = 17;

/** What a frame header says of its frame. */
struct KELFLACFD_FRM_HDR {
    uint64_t frm_num;   ///< The coded number, at most 36 bits; what was decoded of a malformed one.
    int32_t hz_code;    ///< Sample-rate code 0 to 11; codes 12 to 14 (own tail) read as 0.
    int32_t ch;         ///< Channels, 1 to 8.
    int32_t bits_code;  ///< Sample-size code, 0 to 6 without 3.
};

/** Whether the big-endian word `v` can be the first four bytes of a frame header. */
bool check_frm_sync(uint32_t v);

/**
 * Judges the rest of a header whose first four bytes passed check_frm_sync, at `offset` bytes from
 * the read point, on the bytes that the reader holds; a byte beyond them counts as 0. Consumes
 * nothing.
 *
 * @param frm_num receives the coded number; on rejection what was decoded of it.
 * @param hz_code, ch, bits_code receive the fields of KELFLACFD_FRM_HDR; untouched when the coded
 *     number is malformed.
 * @return 0 when a header stands there; -3.
 */
int check_frm_hdr(KELFLACF_FAL* fal, int offset, uint64_t* frm_num, int32_t* hz_code, int32_t* ch,
                  int32_t* bits_code);

/**
 * The lowest offset from `from` at which a header stands, among the positions from which on
 * four of the first `buffered` bytes stand; `buffered` when there is none. Both tests, in their
 * order, on the bytes that the reader holds. Reads and consumes nothing.
 *
 * @param hdr receives the header; on rejections the number alone as check_frm_hdr leaves it.
 */
int find_frm_hdr(const KELFLACF_FAL* fal, int from, int buffered, KELFLACFD_FRM_HDR* hdr);

/**
 * The distance from the header at the read point to its successor among the buffered bytes, or 0:
 * the next header of the same rate, channels and sample size. Block size and number may differ.
 * Reads and consumes nothing.
 *
 * @param seen receives the headers that it passes whose judgement can't change any more.
 */
int find_successor(const KELFLACF_FAL* fal, KELFLACFD_SEEN* seen, const KELFLACFD_FRM_HDR& hdr);

/** The highest offset at which a header stands, where bytes beyond the buffered ones count as zeros
    from the first test on; -1 when there is none. Otherwise as find_frm_hdr. */
int find_last_frm_hdr(const KELFLACF_FAL* fal, int buffered, KELFLACFD_FRM_HDR* hdr);

// Frame searches. `frm_len` in bytes, `frm_num` the coded number.

/** Frames with a number above 0 that are located by search after an open and after each seek. */
constexpr uint8_t KELFLACFD_FULL_CHECK_COUNT = 244;

/** Moves forward to the next frame header that has a successor with the same rate, channels and
    sample size in the buffered bytes, or that runs to the end of the file.
    Returns 0; 1 when the data ended (`frm_num` then holds what the last header test left). */
int kelflacfd_find_frm(KELFLACFD_CTX* ctx, uint32_t* frm_len, uint64_t* frm_num);

/** The fixed-size answer: the stream's maximum frame size and the number 0. Returns 0. */
int kelflacfd_find_frm2(KELFLACFD_CTX* ctx, uint32_t* frm_len, uint64_t* frm_num);

/** Moves to the last frame header in the buffered bytes. Returns 0; -3 when there is none, with
    the reader unmoved. */
int kelflacfd_find_prev_frm(KELFLACFD_CTX* ctx, uint64_t* frm_num);

/** The time at which frame `frm_num` starts in a stream of fixed block size, in 100 ns.
    `info->hz` is at least 1. */
int64_t kelflacfd_frm_time(const KELFLACFD_INFO* info, uint64_t frm_num);

/** Likewise of any stream: 0 where the block size varies or no rate is stated. */
inline int64_t frm_time_or_0(const KELFLACFD_INFO& info, uint64_t frm_num) {
    const bool is_timed = info.min_block == info.max_block && info.hz >= 1;
    return is_timed ? kelflacfd_frm_time(&info, frm_num) : 0;
}

// Opening.

/** Stands behind the "fLaC" marker, skipping one ID3v2 tag. Returns 0 or -5. */
int kelflacfd_check_flac(KELFLACFD_CTX* ctx);

/** Walks the metadata blocks. Returns 0 when a STREAMINFO is held, else the last handler's
    result. */
int kelflacfd_parse_meta(KELFLACFD_CTX* ctx);

/** Handler of a metadata block whose header has been read. `length` is the block's, 24 bits.
    Returns 0 or the negative code named at each. */
using KELFLACFD_META_HANDLER = int (*)(KELFLACFD_CTX* ctx, uint32_t length);

int parse_meta_streaminfo(KELFLACFD_CTX* ctx, uint32_t length);      ///< -2, -3, -6
int parse_meta_padding(KELFLACFD_CTX* ctx, uint32_t length);         ///< never fails
int parse_meta_app(KELFLACFD_CTX* ctx, uint32_t length);             ///< never fails
int parse_meta_seektable(KELFLACFD_CTX* ctx, uint32_t length);       ///< never fails
int parse_meta_vorbis_comment(KELFLACFD_CTX* ctx, uint32_t length);  ///< -3
int parse_meta_cuesheet(KELFLACFD_CTX* ctx, uint32_t length);        ///< never fails
int parse_meta_pic(KELFLACFD_CTX* ctx, uint32_t length);             ///< -2, -3
int invalid_metadata(KELFLACFD_CTX* ctx, uint32_t length);           ///< always -3

// Tags.

/** Parses the body of a VORBIS_COMMENT block of `length` bytes into `tag`. Returns 0; -1 when a
    comment runs past the block, with what was stored before kept and the reader at its end. */
int parse_vorbis_comment(KELFLACF_FAL* fal, uint32_t length, KELFLACFD_TAG* tag);

/** Reads decimal digits from at most `count` bytes into `result`, modulo 2^32. Returns how many of
    the bytes it left unread. */
int parse_num(KELFLACF_FAL* fal, int32_t count, int32_t* result);

/** Sets the five numbers of a tag record to -1, absent. */
void reset_tag_numbers(KELFLACFD_TAG* tag);

// The reader, asked for values. Byte counts of 32 bits come from the file, wider than its `int`.

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

/** Skips `count` bytes, stopping where the data ends. */
void skip_u32(KELFLACF_FAL* fal, uint32_t count);

/** Reads `count` bytes to the heap, with `spare` zeros behind them; one of the two is not 0. Bytes
    that the source fails to deliver are zeros; where more than a block can hold is asked for, they
    cost no memory until they are looked at. Returns what the caller frees, or null when there is no
    memory, with nothing read. */
uint8_t* read_to_heap(KELFLACF_FAL* fal, uint32_t count, uint32_t spare);
