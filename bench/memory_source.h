// A file in memory behind the demuxer's I/O record.
#pragma once

#include <algorithm>
#include <cstring>

#include "libextractor/mfal/kelcmn_mfal.h"

/** Serves bytes that the caller keeps. One handle at a time: the source itself. */
struct MemorySource {
    const uint8_t* bytes;
    int64_t size, pos = 0, bytes_read = 0;

    MemorySource(const uint8_t* file, int64_t length) : bytes(file), size(length) {}
    static MemorySource* Of(void* fp) { return static_cast<MemorySource*>(fp); }
    int Read(void* to, int wanted) {
        const auto count = pos < 0 ? 0 : std::clamp<int64_t>(size - pos, 0, wanted);
        memcpy(to, bytes + std::clamp<int64_t>(pos, 0, size), static_cast<size_t>(count));
        pos += count;
        bytes_read += count;
        return static_cast<int>(count);
    }
    _KELCMN_MFAL Record() {
        _KELCMN_MFAL record{};
        record.open_param = reinterpret_cast<KELCMN_MFAL_PARAM*>(this);
        record.open = [](_KELCMN_MFAL* mfal, unsigned long) -> void* {
            Of(mfal->open_param)->pos = 0;
            return mfal->open_param;
        };
        record.close = [](void*) {};
        record.read = [](void* fp, void* to, int count) { return Of(fp)->Read(to, count); };
        record.getpos = [](void* fp, long long* p) { return *p = Of(fp)->pos, 0; };
        record.setpos = [](void* fp, long long* p) { return Of(fp)->pos = *p, 0; };
        record.getsize = [](void* fp, long long* p) { return *p = Of(fp)->size, 0; };
        return record;
    }
};
