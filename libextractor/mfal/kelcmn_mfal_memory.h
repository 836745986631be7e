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

/** Copies up to `size` bytes, 0 or more, from the position on, and advances it. Returns their
    count; 0 where the position lies outside the bytes. */
inline int kelcmn_mfal_memory_read(void* fp, void* buf, int size) {
    auto* source = static_cast<KELCMN_MFAL_MEMORY*>(fp);
    const auto at = static_cast<unsigned long long>(source->pos);  // below 0: beyond any size
    if (at >= source->size) return 0;
    const auto wanted = static_cast<size_t>(size);
    const size_t count = std::min(wanted, source->size - static_cast<size_t>(at));
    memcpy(buf, static_cast<const char*>(source->bytes) + at, count);
    source->pos += static_cast<long long>(count);
    return static_cast<int>(count);
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
