#include "libextractor/flac/demuxer/kelflacf_fal.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "libextractor/mfal/wrap_arith.h"

namespace {

constexpr int64_t MIN_RING_BYTES = 8192;
constexpr int64_t MAX_RING_BYTES = int64_t{1} << 30;  // the largest power of two in an int32
constexpr unsigned long OPEN_MODE = 18;               // read access; the bridge ignores it
constexpr int32_t CHUNK_MASK = KELFLACF_FAL_CHUNK - 1;
// After one failed read the source may recover. After two in a row it has probably ended: asking
// again for each chunk of a large ring would take too long.
constexpr int MAX_EMPTY_READS = 2;
constexpr int32_t MAX_ROW_BYTES = 64 * 1024;  // more would leave the cache before they are copied

/** The size of the smallest ring for `count` bytes and one chunk, or 0 when that is too large. */
int32_t ring_size_for(int count) {
    const int64_t needed = int64_t{count} + KELFLACF_FAL_CHUNK;
    int64_t size = MIN_RING_BYTES;
    while (size < needed) size *= 2;
    return size <= MAX_RING_BYTES ? static_cast<int32_t>(size) : 0;
}

int32_t ring_index(const KELFLACF_FAL* fal, int32_t offset) {
    return (fal->rd + offset) & (fal->size - 1);
}

int32_t free_space(const KELFLACF_FAL* fal) {
    return fal->wr < fal->rd ? fal->rd - fal->wr : fal->rd - fal->wr + fal->size;
}

void advance_read(KELFLACF_FAL* fal, int32_t count) {
    fal->rd = ring_index(fal, count);
}

void empty_ring(KELFLACF_FAL* fal) {
    fal->rd = fal->wr = 0;
}

/** Reads the source into the ring at offset `at`, never past the ring's end. All reads come through
    here. If the source returns a count out of range, the nearest possible count is used. */
int32_t read_source(KELFLACF_FAL* fal, int32_t at, int32_t wanted) {
    const int32_t room = std::min(wanted, fal->size - at);
    return std::clamp(fal->mfal.read(fal->fp, fal->buf + at, room), 0, room);
}

/** Reads up to `wanted` bytes after the buffered ones. Returns the count. */
int32_t append_from_source(KELFLACF_FAL* fal, int32_t wanted) {
    const int32_t count = read_source(fal, fal->wr, wanted);
    fal->wr = (fal->wr + count) & (fal->size - 1);
    fal->reach += count;
    return count;
}

int64_t handle_pos(KELFLACF_FAL* fal) {
    long long pos = 0;
    fal->mfal.getpos(fal->fp, &pos);
    return pos;
}

/** Empties the ring, loads a chunk from the handle's position, and skips the chunk's first
    `skipped` bytes. A short chunk sets `eof`. Returns KELFLACF_FAL_OK, or KELFLACF_FAL_END when the
    chunk is empty or shorter than `skipped`. */
int load_chunk(KELFLACF_FAL* fal, int32_t skipped) {
    const int32_t count = read_source(fal, 0, KELFLACF_FAL_CHUNK);
    fal->reach += int64_t{fal->size} + count;
    fal->wr = count;
    fal->rd = std::min(skipped, count);
    if (count == KELFLACF_FAL_CHUNK) return KELFLACF_FAL_OK;
    fal->eof = 1;
    return count == 0 || count < skipped ? KELFLACF_FAL_END : KELFLACF_FAL_OK;
}

/** Makes refill steps until one of these is true: `wanted` bytes (at most MAX_ROW_BYTES) are in one
    piece; the unread bytes wrap; the data ends. A few large copies cost less than many small ones.
    The reads are the same as with small copies: a copy in kelflacf_fal_read lowers what is wanted
    and the buffered count by the same number. */
void fill_row(KELFLACF_FAL* fal, int32_t wanted) {
    const int32_t row = std::min(wanted, MAX_ROW_BYTES);
    do {
        KELFLACF_FAL_FILL_BUF2(fal, wanted);
    } while (fal->wr > fal->rd && fal->wr - fal->rd < row && fal->eof == 0);
}

uint32_t word_at(const KELFLACF_FAL* fal, int32_t offset) {
    uint32_t word = 0;
    for (int32_t i = 0; i < 4; ++i) word = word << 8 | fal->buf[ring_index(fal, offset + i)];
    return word;
}

}  // namespace

int kelflacf_fal_create(KELFLACF_FAL* fal, _KELCMN_MFAL* record, int size_hint) {
    *fal = {};
    fal->fp = record->open(record, OPEN_MODE);
    if (fal->fp == nullptr) return KELFLACF_FAL_E_SOURCE;
    fal->mfal = *record;
    fal->size = ring_size_for(size_hint);
    fal->buf =
        fal->size > 0 ? static_cast<uint8_t*>(malloc(static_cast<size_t>(fal->size))) : nullptr;
    if (fal->buf == nullptr) {
        fal->mfal.close(fal->fp);
        fal->fp = nullptr;
        return KELFLACF_FAL_E_MEMORY;
    }
    return load_chunk(fal, 0);
}

int kelflacf_fal_resize_buf(KELFLACF_FAL* fal, int count) {
    const int32_t new_size = ring_size_for(count);
    if (new_size == 0) return KELFLACF_FAL_E_MEMORY;
    if (new_size <= fal->size) return 0;
    auto* grown = static_cast<uint8_t*>(malloc(static_cast<size_t>(new_size)));
    if (grown == nullptr) return KELFLACF_FAL_E_MEMORY;

    // Only the unread bytes are copied: a large ring may hold few.
    if (fal->rd <= fal->wr) {
        memcpy(grown + fal->rd, fal->buf + fal->rd, static_cast<size_t>(fal->wr - fal->rd));
    } else {
        const int32_t moved = fal->rd - fal->wr;
        const auto to_end = static_cast<size_t>(fal->size - fal->rd);
        memcpy(grown + moved, fal->buf + fal->rd, to_end);
        memcpy(grown + moved + to_end, fal->buf, static_cast<size_t>(fal->wr));
        fal->rd = moved;
        fal->wr = fal->size;
    }
    free(fal->buf);
    fal->buf = grown;
    fal->size = new_size;
    return 0;
}

void kelflacf_fal_delete(KELFLACF_FAL* fal) {
    free(fal->buf);
    fal->buf = nullptr;
    if (fal->fp == nullptr) return;
    fal->mfal.close(fal->fp);
    fal->fp = nullptr;
}

void KELFLACF_FAL_FILL_BUF2(KELFLACF_FAL* fal, int wanted) {
    if (kelflacf_fal_buffered(fal) >= wanted || fal->eof != 0) return;
    int32_t room = KELFLACF_FAL_CHUNK;
    if (fal->wr >= fal->rd) {
        room = ((fal->size - 1 - fal->wr) & CHUNK_MASK) + 1;  // to the next chunk boundary
    } else if (fal->rd - fal->wr < KELFLACF_FAL_CHUNK) {
        return;  // a whole chunk would overwrite unread bytes
    }
    if (append_from_source(fal, room) < 1) fal->eof = 1;
}

int kelflacf_fal_bytes_peek(KELFLACF_FAL* fal) {
    // One byte stays free: rd == wr means an empty ring.
    const int32_t chunks = (free_space(fal) - 1) / KELFLACF_FAL_CHUNK;
    int empty_reads = 0;
    for (int32_t i = 0; i < chunks && empty_reads < MAX_EMPTY_READS; ++i) {
        empty_reads = append_from_source(fal, KELFLACF_FAL_CHUNK) < 1 ? empty_reads + 1 : 0;
    }
    return kelflacf_fal_buffered(fal);
}

int kelflacf_fal_peek1(KELFLACF_FAL* fal, int offset) {
    KELFLACF_FAL_FILL_BUF2(fal, 1);
    if (kelflacf_fal_buffered(fal) <= offset) return 0;
    return fal->buf[ring_index(fal, offset)];
}

int kelflacf_fal_read1(KELFLACF_FAL* fal) {
    KELFLACF_FAL_FILL_BUF2(fal, 1);
    if (kelflacf_fal_buffered(fal) == 0) return 0;
    const int byte = fal->buf[fal->rd];
    advance_read(fal, 1);
    return byte;
}

uint32_t kelflacf_fal_peek4(KELFLACF_FAL* fal, int offset) {
    KELFLACF_FAL_FILL_BUF2(fal, 4);
    if (kelflacf_fal_buffered(fal) - 4 < offset) return 0;
    return word_at(fal, offset);
}

uint32_t kelflacf_fal_read4(KELFLACF_FAL* fal) {
    KELFLACF_FAL_FILL_BUF2(fal, 4);
    if (kelflacf_fal_buffered(fal) < 4) return 0;
    const uint32_t word = word_at(fal, 0);
    advance_read(fal, 4);
    return word;
}

const uint8_t* kelflacf_fal_copy_view(const KELFLACF_FAL* fal, int offset, int count,
                                      uint8_t* scratch) {
    const int32_t there = kelflacf_fal_buffered(fal) - offset;
    for (int32_t i = 0; i < count; ++i) {
        scratch[i] = i < there ? fal->buf[ring_index(fal, offset + i)] : uint8_t{0};
    }
    return scratch;
}

int kelflacf_fal_read(KELFLACF_FAL* fal, void* dst, int count) {
    auto* out = static_cast<uint8_t*>(dst);
    int32_t left = std::max(count, 0);
    while (left > 0) {
        fill_row(fal, left);
        if (kelflacf_fal_at_end(fal)) break;
        // If rd == wr here, the refill has filled the ring to the last byte.
        const int32_t run = fal->wr > fal->rd ? fal->wr - fal->rd : fal->size - fal->rd;
        const int32_t taken = std::min(run, left);
        memcpy(out, fal->buf + fal->rd, static_cast<size_t>(taken));
        advance_read(fal, taken);
        out += taken;
        left -= taken;
    }
    return std::max(count, 0) - left;
}

int kelflacf_fal_skip(KELFLACF_FAL* fal, int count) {
    if (count < 0) return 0;
    const int32_t buffered = kelflacf_fal_buffered(fal);
    if (buffered > count) {
        advance_read(fal, count);
        return 0;
    }
    if (fal->eof != 0) {
        empty_ring(fal);
        return KELFLACF_FAL_END;
    }
    const int64_t target = wrap_add(handle_pos(fal), int64_t{count} - buffered);
    long long aligned = target & ~int64_t{CHUNK_MASK};
    fal->mfal.setpos(fal->fp, &aligned);
    return load_chunk(fal, static_cast<int32_t>(target & CHUNK_MASK));
}

int kelflacf_fal_getpos(KELFLACF_FAL* fal, long long* pos) {
    *pos = wrap_sub(handle_pos(fal), kelflacf_fal_buffered(fal));
    return 0;
}

int kelflacf_fal_setpos(KELFLACF_FAL* fal, const long long* target) {
    const int32_t buffered = kelflacf_fal_buffered(fal);
    const int64_t ahead = wrap_sub(*target, wrap_sub(handle_pos(fal), buffered));
    long long size = 0;
    fal->mfal.getsize(fal->fp, &size);
    if (size >= 1 && *target >= size) {
        fal->mfal.setpos(fal->fp, &size);
        empty_ring(fal);
        return 0;
    }

    fal->eof = 0;
    if (ahead >= 0 && ahead < buffered) {
        advance_read(fal, static_cast<int32_t>(ahead));
        return 0;
    }
    long long aligned = *target & ~int64_t{CHUNK_MASK};
    if (fal->mfal.setpos(fal->fp, &aligned) != 0) return KELFLACF_FAL_E_SOURCE;
    return load_chunk(fal, static_cast<int32_t>(*target & CHUNK_MASK));
}

int kelflacf_fal_getsize(KELFLACF_FAL* fal, long long* size) {
    *size = 0;
    return fal->mfal.getsize(fal->fp, size);
}
