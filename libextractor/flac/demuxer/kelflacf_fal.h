// The buffered reader. It reads bytes and big-endian words of 4 bytes, looks ahead, skips and
// moves. It reads its source through an I/O callback record and keeps the bytes in a ring buffer.
//
// The demuxer reads its source only through here. Reads of the source are of at most 4096 bytes. As
// long as all were full, each ends at a multiple of 4096. An empty read, or a short one in a
// reload, ends the data: `eof` is set (not by kelflacf_fal_bytes_peek), and missing values are
// zero.
//
// Call kelflacf_fal_create first and kelflacf_fal_delete last. If kelflacf_fal_create fails, call
// nothing between them. Pointers must not be null. Offsets are 0 or more. Never use one reader from
// two threads at the same time.
#pragma once

#include <cstdint>

#include "libextractor/mfal/kelcmn_mfal.h"

/** The most bytes per read of the source, and the alignment of every reload. A power of two. */
constexpr int32_t KELFLACF_FAL_CHUNK = 4096;

/** The reader's statuses. The demuxer's have the same values. */
enum {
    KELFLACF_FAL_OK = 0,
    KELFLACF_FAL_END = 1,        ///< The data ended.
    KELFLACF_FAL_E_MEMORY = -2,  ///< An allocation failed.
    KELFLACF_FAL_E_SOURCE = -4,  ///< The source could not be opened, or refused a position.
};

/**
 * One reader. Invariants:
 * - The unread bytes go from buf[rd] to the byte before buf[wr], and wrap at `size`. If rd == wr
 *   there are none. Inside kelflacf_fal_read the ring may then be full instead.
 * - The handle's position is the file offset just after the last buffered byte.
 * - While the source gives full reads, a byte's ring and file offsets are equal modulo 4096.
 */
struct KELFLACF_FAL {
    _KELCMN_MFAL mfal;  ///< Copy of the caller's record; every call but open() goes through it.
    void* fp;           ///< The handle that open() returned; owned; null when closed.
    uint8_t* buf;       ///< The ring; owned.
    int32_t rd;         ///< Ring offset of the next unread byte, 0 to size - 1.
    int32_t wr;         ///< Ring offset at which the next refill stores, 0 to size - 1.
    int32_t size;       ///< Ring size in bytes: 8192 times a power of two.
    int32_t eof;        ///< 1 after a short reload or an empty refill step. Stops refill steps.
    /** The place just after the last buffered byte. A byte's place is a running number. The byte
        keeps it while it is buffered, and no other byte gets it. Each stored byte adds 1 to
        `reach`; a reload first adds the ring's size. */
    int64_t reach;
};

/**
 * Opens the source and loads the first chunk.
 *
 * @param record the source; copied.
 * @param size_hint the ring gets room for so many bytes and one chunk more.
 * @return KELFLACF_FAL_OK; KELFLACF_FAL_END when the source gave no byte (the reader is usable);
 *     KELFLACF_FAL_E_SOURCE when open() gave no handle; KELFLACF_FAL_E_MEMORY when there is no
 *     memory for the ring, or its size would pass 2^30 (the handle is then closed).
 */
int kelflacf_fal_create(KELFLACF_FAL* fal, _KELCMN_MFAL* record, int size_hint);

/**
 * Grows the ring to hold `count` bytes and one chunk more. Keeps the unread bytes.
 *
 * @return KELFLACF_FAL_OK, also when the ring is large enough already; KELFLACF_FAL_E_MEMORY when
 *     there is no memory or the size would pass 2^30: the old ring is then kept.
 */
int kelflacf_fal_resize_buf(KELFLACF_FAL* fal, int count);

/** Frees the ring and closes the handle, where they exist. */
void kelflacf_fal_delete(KELFLACF_FAL* fal);

/** The number of unread bytes in the ring, 0 to size - 1. Reads nothing. */
inline int32_t kelflacf_fal_buffered(const KELFLACF_FAL* fal) {
    return fal->wr >= fal->rd ? fal->wr - fal->rd : fal->wr - fal->rd + fal->size;
}

/** Whether nothing is buffered and no refill step will change that. */
inline bool kelflacf_fal_at_end(const KELFLACF_FAL* fal) {
    return fal->rd == fal->wr && fal->eof != 0;
}

/**
 * One refill step: reads the source at most once, and only when fewer than `wanted` bytes are
 * buffered and `eof` is clear. A read that gives nothing sets `eof`. A step that would overwrite
 * unread bytes does nothing.
 */
void KELFLACF_FAL_FILL_BUF2(KELFLACF_FAL* fal, int wanted);

/** Reads as many chunks as the free space can hold. Ignores `eof` and doesn't set it. Stops at the
    second read in a row that gives nothing. Returns the buffered count. */
int kelflacf_fal_bytes_peek(KELFLACF_FAL* fal);

/** The byte `offset` bytes ahead. Makes one refill step if the ring is empty; a byte that is then
    not buffered is 0. Consumes nothing. */
int kelflacf_fal_peek1(KELFLACF_FAL* fal, int offset);

/** Consumes and returns the next byte; 0 at the end of the data. */
int kelflacf_fal_read1(KELFLACF_FAL* fal);

/** The big-endian word `offset` bytes ahead. Makes one refill step if fewer than four are buffered;
    a word that is then not wholly buffered is 0. Consumes nothing. */
uint32_t kelflacf_fal_peek4(KELFLACF_FAL* fal, int offset);

/** Consumes and returns the next big-endian word. If a refill step leaves fewer than four bytes, it
    returns 0 and consumes nothing. */
uint32_t kelflacf_fal_read4(KELFLACF_FAL* fal);

/** The same as kelflacf_fal_view, but always copies the bytes to `scratch`. */
const uint8_t* kelflacf_fal_copy_view(const KELFLACF_FAL* fal, int offset, int count,
                                      uint8_t* scratch);

/**
 * A pointer to the `count` bytes at `offset`. It points into the ring if they are in one piece
 * there. If not, they are copied to `scratch`, which has room for `count` bytes. Bytes that are not
 * buffered are zeros. Reads nothing and consumes nothing; valid until the next call.
 */
inline const uint8_t* kelflacf_fal_view(const KELFLACF_FAL* fal, int offset, int count,
                                        uint8_t* scratch) {
    const int32_t at = (fal->rd + offset) & (fal->size - 1);
    const bool in_one_piece =
        offset + count <= kelflacf_fal_buffered(fal) && at + count <= fal->size;
    return in_one_piece ? fal->buf + at : kelflacf_fal_copy_view(fal, offset, count, scratch);
}

/** Bytes in one piece, in the ring. */
struct KELFLACF_FAL_RUN {
    const uint8_t* bytes;
    int32_t count;
};

/** All unread bytes, in one or two pieces. */
struct KELFLACF_FAL_RUNS {
    KELFLACF_FAL_RUN first;   ///< Empty only when nothing is buffered.
    KELFLACF_FAL_RUN second;  ///< What continues at the ring's start; empty if they don't wrap.
};

/** The unread bytes in place. Reads nothing and consumes nothing; valid until the next call. */
inline KELFLACF_FAL_RUNS kelflacf_fal_runs(const KELFLACF_FAL* fal) {
    const int32_t buffered = kelflacf_fal_buffered(fal);
    const int32_t to_ring_end = fal->size - fal->rd;
    const int32_t first = buffered < to_ring_end ? buffered : to_ring_end;
    return {{fal->buf + fal->rd, first}, {fal->buf, buffered - first}};
}

/** Copies up to `count` bytes to `dst` and consumes them. Returns how many; fewer than `count`
    means that the data ended. */
int kelflacf_fal_read(KELFLACF_FAL* fal, void* dst, int count);

/**
 * Consumes `count` bytes. When no byte stays buffered, reloads the ring from the source at the new
 * position, or empties it if `eof` is set. A negative count does nothing.
 *
 * @return KELFLACF_FAL_OK; KELFLACF_FAL_END when the ring was emptied, or the reload gave nothing
 *     or too little.
 */
int kelflacf_fal_skip(KELFLACF_FAL* fal, int count);

/** Stores the file offset of the next unread byte. Returns KELFLACF_FAL_OK. */
int kelflacf_fal_getpos(KELFLACF_FAL* fal, long long* pos);

/**
 * Moves to the file offset at `target`. A target at or past a known source size moves to that size
 * and empties the ring. Any other target clears `eof` first. If it is among the unread bytes, the
 * source is not read. If not, the ring is reloaded from the 4096-byte boundary at or below it.
 *
 * @return KELFLACF_FAL_OK; KELFLACF_FAL_END when the reload is empty or ends before the target;
 *     KELFLACF_FAL_E_SOURCE when the source refused the position (the ring is unchanged).
 */
int kelflacf_fal_setpos(KELFLACF_FAL* fal, const long long* target);

/** Stores the source's size, 0 when unknown. Returns what getsize() of the record returned. */
int kelflacf_fal_getsize(KELFLACF_FAL* fal, long long* size);
