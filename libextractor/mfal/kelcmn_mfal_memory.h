// The memory source: an I/O callback record over bytes that the caller holds.
//
//     KELCMN_MFAL_MEMORY source = {bytes, size};
//     _KELCMN_MFAL record = kelcmn_mfal_memory(&source);
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "libextractor/mfal/kelcmn_mfal.h"

/**
 * A file in memory, and the position of the one handle on it. It serves one demuxer at a time: for
 * a second one over the same bytes make a second source.
 */
struct KELCMN_MFAL_MEMORY {
    const void* bytes;  ///< Borrowed until the demuxer is deleted. May be null when `size` is 0.
    size_t size;        ///< Bytes at `bytes`. A file of size 0 counts as one of unknown size.
    long long pos = 0;  ///< Of the next read; may lie outside the bytes.
};

/** Copies up to `size` bytes from the position on, and advances it. Returns their count; 0 where
    the position lies outside the bytes. */
inline int kelcmn_mfal_memory_read(void* fp, void* buf, int size) {
    auto* source = static_cast<KELCMN_MFAL_MEMORY*>(fp);
    const auto end = static_cast<long long>(source->size);
    if (source->pos < 0 || source->pos >= end || size < 1) return 0;
    const auto count = static_cast<int>(std::min<long long>(end - source->pos, size));
    memcpy(buf, static_cast<const char*>(source->bytes) + source->pos, static_cast<size_t>(count));
    source->pos += count;
    return count;
}

/**
 * The record over a source. Allocates nothing: the handle is the source itself.
 *
 * @param source borrowed until the demuxer is deleted, and not moved meanwhile.
 * @return the callbacks that the demuxer calls; the others are null.
 */
inline _KELCMN_MFAL kelcmn_mfal_memory(KELCMN_MFAL_MEMORY* source) {
    _KELCMN_MFAL record = {};
    record.open = [](_KELCMN_MFAL* mfal, unsigned long /*mode*/) -> void* {
        void* fp = mfal->open_param;
        static_cast<KELCMN_MFAL_MEMORY*>(fp)->pos = 0;
        return fp;
    };
    record.close = [](void* /*fp*/) {};
    record.read = kelcmn_mfal_memory_read;
    record.getpos = [](void* fp, long long* p) {
        *p = static_cast<KELCMN_MFAL_MEMORY*>(fp)->pos;
        return 0;
    };
    record.setpos = [](void* fp, long long* p) {
        static_cast<KELCMN_MFAL_MEMORY*>(fp)->pos = *p;
        return 0;
    };
    record.getsize = [](void* fp, long long* fsize) {
        *fsize = static_cast<long long>(static_cast<KELCMN_MFAL_MEMORY*>(fp)->size);
        return 0;
    };
    // Of a type of its own for each kind of source; only open() looks at it.
    void* const param = source;
    record.open_param = static_cast<KELCMN_MFAL_PARAM*>(param);
    return record;
}
