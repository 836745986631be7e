// The memory source: an I/O callback record for a file in memory.
//
//     KELCMN_MFAL_MEMORY source = {bytes, size};
//     _KELCMN_MFAL record = kelcmn_mfal_memory(&source);
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "libextractor/mfal/kelcmn_mfal.h"

/**
 * A file in memory and a position in it. It serves one demuxer at a time. For a second demuxer,
 * make a second source with the same bytes.
 */
struct KELCMN_MFAL_MEMORY {
    const void* bytes;  ///< Borrowed until the demuxer is deleted. May be null when `size` is 0.
    size_t size;        ///< Bytes at `bytes`. Size 0 counts as an unknown size.
    long long pos = 0;  ///< Position of the next read; may be outside the bytes.
};

/** Copies up to `size` bytes from the position, and moves it past them. Returns their count; 0 when
    the position is outside the bytes. `size` is 0 or more. */
inline int kelcmn_mfal_memory_read(void* fp, void* buf, int size) {
    auto* source = static_cast<KELCMN_MFAL_MEMORY*>(fp);
    const auto at = static_cast<unsigned long long>(source->pos);  // if negative, past any size
    if (at >= source->size) return 0;
    const auto wanted = static_cast<size_t>(size);
    const size_t count = std::min(wanted, source->size - static_cast<size_t>(at));
    memcpy(buf, static_cast<const char*>(source->bytes) + at, count);
    source->pos += static_cast<long long>(count);
    return static_cast<int>(count);
}

/**
 * Makes the record of a source. Allocates nothing: the handle is the source itself.
 *
 * @param source borrowed; must stay in place until the demuxer is deleted.
 * @return a record with the callbacks that the demuxer calls; the others are null.
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
    // Each kind of source gives KELCMN_MFAL_PARAM its own meaning. Only open() uses it.
    void* const param = source;
    record.open_param = static_cast<KELCMN_MFAL_PARAM*>(param);
    return record;
}
