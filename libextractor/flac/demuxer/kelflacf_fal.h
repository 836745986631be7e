// The buffered reader: bytes, big-endian words, look-ahead, block reads, skips and repositioning
// over an I/O callback record, through a ring buffer.
//
// Everything that the demuxer looks at comes through here. The source is read in chunks of at
// most 4096 bytes that end on 4096-byte boundaries of the file. A failed read of the source and
// the end of its data are one case: `eof` is set and values read as zero.
//
// All operations take a reader that kelflacf_fal_create has initialised, whatever it returned,
// and that kelflacf_fal_delete has not yet torn down. Counts and offsets are 0 or more. One
// thread at a time.
#pragma once

#include <cstdint>

#include "libextractor/mfal/kelcmn_mfal.h"

/** Bytes per read of the source, and the alignment of every reload. A power of two. */
constexpr int32_t KELFLACF_FAL_CHUNK = 4096;

/** Results of the reader, a part of the demuxer's own codes. */
enum {
    KELFLACF_FAL_OK = 0,
    KELFLACF_FAL_END = 1,        ///< The data ended.
    KELFLACF_FAL_E_MEMORY = -2,  ///< An allocation failed.
    KELFLACF_FAL_E_SOURCE = -4,  ///< The source could not be opened, or refused a position.
};

/**
 * One reader. Invariants:
 * - Unread bytes are buf[rd], ... up to wr, wrapping at `size`; rd == wr means none.
 * - The handle's position is the file offset just behind the last buffered byte.
 * - While the source gives full reads, a byte's ring offset equals its file offset modulo 4096.
 */
struct KELFLACF_FAL {
    _KELCMN_MFAL mfal;  ///< Copy of the caller's record; every call but open() goes through it.
    void* fp;           ///< The handle that open() returned; owned; null when closed.
    uint8_t* buf;       ///< The ring; owned.
    int32_t rd;         ///< Ring offset of the next unread byte, 0 to size - 1.
    int32_t wr;         ///< Ring offset at which the next refill stores, 0 to size - 1.
    int32_t size;       ///< Ring size in bytes: 8192 times a power of two.
    int32_t eof;        ///< 1 once a read came back short or empty. Refill steps stop at it.
    int64_t reach;      ///< Names the place just behind the last buffered byte: grows by each byte
                        ///< stored, and by more than a ring's size with each reload, so that a byte
                        ///< keeps its name, reach - distance, for as long as it is buffered.
};

/**
 * Opens the source and loads the first chunk.
 *
 * `size_hint` is the byte count that must fit in the ring beside one chunk. The caller keeps
 * `record`; it must outlive this call only. Whatever the result, the caller later calls
 * kelflacf_fal_delete once.
 *
 * @return 0; 1 when the source gave no byte at all (the reader is usable); -4 when open() gave no
 *     handle; -2 when there is no memory for the ring (the handle is then closed).
 */
int kelflacf_fal_create(KELFLACF_FAL* fal, _KELCMN_MFAL* record, int size_hint);

/**
 * Grows the ring so that `count` bytes fit beside one chunk, keeping the unread bytes.
 *
 * @return 0 (also when the ring is large enough already); -2 when there is no memory or the size
 *     would pass 2^30, with the old ring kept.
 */
int kelflacf_fal_resize_buf(KELFLACF_FAL* fal, int count);

/** Frees the ring and closes the handle. Harmless on a reader that holds neither. */
void kelflacf_fal_delete(KELFLACF_FAL* fal);

/** The number of unread bytes in the ring, 0 to size - 1. Reads nothing. */
inline int32_t kelflacf_fal_buffered(const KELFLACF_FAL* fal) {
    return fal->wr >= fal->rd ? fal->wr - fal->rd : fal->wr - fal->rd + fal->size;
}

/** Whether nothing is buffered and nothing will be until the reader is moved. */
inline bool kelflacf_fal_at_end(const KELFLACF_FAL* fal) {
    return fal->rd == fal->wr && fal->eof != 0;
}

/**
 * One refill step: at most one read of the source, when fewer than `wanted` bytes are buffered and
 * `eof` is clear. A read that gives nothing sets `eof`. Never touches unread bytes: a step that
 * would reach them does nothing.
 */
void KELFLACF_FAL_FILL_BUF2(KELFLACF_FAL* fal, int wanted);

/** Tops the ring up with whole chunks, regardless of `eof` and without setting it, up to the second
    read in a row that gives nothing. Returns the buffered count. */
int kelflacf_fal_bytes_peek(KELFLACF_FAL* fal);

/** The byte `offset` bytes ahead, or 0 when it is not buffered after one refill step for a single
    byte. Consumes nothing. */
int kelflacf_fal_peek1(KELFLACF_FAL* fal, int offset);

/** The next byte, consumed, or 0 at the end of the data. */
int kelflacf_fal_read1(KELFLACF_FAL* fal);

/** The big-endian word `offset` bytes ahead, or 0 when its four bytes are not all buffered after
    one refill step for four bytes. Consumes nothing. */
uint32_t kelflacf_fal_peek4(KELFLACF_FAL* fal, int offset);

/** The next big-endian word, consumed, or 0 with nothing consumed when fewer than four bytes are
    left. */
uint32_t kelflacf_fal_read4(KELFLACF_FAL* fal);

/** The bytes of kelflacf_fal_view where they don't lie in one piece. */
const uint8_t* kelflacf_fal_copy_view(const KELFLACF_FAL* fal, int offset, int count,
                                      uint8_t* scratch);

/**
 * The `count` bytes at `offset` in one piece: in the ring where they lie there so, else copied to
 * `scratch`, which has room for as many. Bytes beyond the buffered ones are zeros. Reads and
 * consumes nothing; valid until the next call.
 */
inline const uint8_t* kelflacf_fal_view(const KELFLACF_FAL* fal, int offset, int count,
                                        uint8_t* scratch) {
    const int32_t at = (fal->rd + offset) & (fal->size - 1);
    const bool in_one_piece =
        offset + count <= kelflacf_fal_buffered(fal) && at + count <= fal->size;
    return in_one_piece ? fal->buf + at : kelflacf_fal_copy_view(fal, offset, count, scratch);
}

/** Bytes in a row, in the ring. */
struct KELFLACF_FAL_RUN {
    const uint8_t* bytes;
    int32_t count;
};

/** All unread bytes where they lie: up to the ring's end, and from its start on. */
struct KELFLACF_FAL_RUNS {
    KELFLACF_FAL_RUN first;   ///< Empty only when there are none.
    KELFLACF_FAL_RUN second;  ///< Empty unless they wrap.
};

/** The unread bytes. Reads and consumes nothing; valid until the next call. */
inline KELFLACF_FAL_RUNS kelflacf_fal_runs(const KELFLACF_FAL* fal) {
    const int32_t buffered = kelflacf_fal_buffered(fal);
    const int32_t to_ring_end = fal->size - fal->rd;
    const int32_t first = buffered < to_ring_end ? buffered : to_ring_end;
    return {{fal->buf + fal->rd, first}, {fal->buf, buffered - first}};
}

/** Copies up to `count` bytes to `dst` and consumes them. Returns the number copied; fewer than
    `count` means that the data ended. */
int kelflacf_fal_read(KELFLACF_FAL* fal, void* dst, int count);

/**
 * Consumes `count` bytes. A skip of the whole buffered count or more reloads the ring from the
 * source at the new position, or with `eof` set empties it.
 *
 * @return 0; 1 when the skip ran into the end of the data. A negative count does nothing.
 */
int kelflacf_fal_skip(KELFLACF_FAL* fal, int count);

/** Stores the file offset of the next unread byte. Returns 0. */
int kelflacf_fal_getpos(KELFLACF_FAL* fal, long long* pos);

/**
 * Moves to the file offset at `target`. Moves inside the ring when the target is among the unread
 * bytes; otherwise reloads from the 4096-aligned offset at or below it. A target at or beyond a
 * known source size leaves the ring empty at that size. Any other target clears `eof` first.
 *
 * @return 0; 1 when there is nothing to read at the target; -4 when the source refused the
 *     position (the ring is unchanged, `eof` is clear).
 */
int kelflacf_fal_setpos(KELFLACF_FAL* fal, const long long* target);

/** Stores the source's size (0 when unknown) and returns the record's own status. */
int kelflacf_fal_getsize(KELFLACF_FAL* fal, long long* size);
