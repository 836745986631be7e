// A file in memory behind the demuxer's I/O record, counting what is asked of it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "libextractor/mfal/kelcmn_mfal.h"
#include "tools/streams/stream_builder.h"

namespace kelflac_bench {

using kelflac_streams::Bytes;

/** Serves bytes that the caller keeps. One handle at a time: the source itself. */
struct MemorySource {
    const Bytes* bytes;
    int64_t pos = 0;
    uint64_t calls = 0, bytes_read = 0;

    int Read(void* to, int wanted) {
        ++calls;
        const auto size = static_cast<int64_t>(bytes->size());
        const auto count = pos < 0 ? 0 : std::clamp<int64_t>(size - pos, 0, wanted);
        memcpy(to, bytes->data() + std::min(std::max<int64_t>(pos, 0), size),
               static_cast<size_t>(count));
        pos += count;
        bytes_read += static_cast<uint64_t>(count);
        return static_cast<int>(count);
    }

    static MemorySource* Of(void* fp) { return static_cast<MemorySource*>(fp); }

    _KELCMN_MFAL Record() {
        _KELCMN_MFAL record{};
        record.open_param = reinterpret_cast<KELCMN_MFAL_PARAM*>(this);
        record.open = [](_KELCMN_MFAL* mfal, unsigned long) -> void* {
            auto* source = Of(mfal->open_param);
            source->pos = 0;
            return source;
        };
        record.close = [](void*) {};
        record.read = [](void* fp, void* to, int size) { return Of(fp)->Read(to, size); };
        record.getpos = [](void* fp, long long* p) {
            *p = Of(fp)->pos;
            return 0;
        };
        record.setpos = [](void* fp, long long* p) {
            ++Of(fp)->calls;
            Of(fp)->pos = *p;
            return 0;
        };
        record.getsize = [](void* fp, long long* p) {
            *p = static_cast<long long>(Of(fp)->bytes->size());
            return 0;
        };
        return record;
    }
};

}  // namespace kelflac_bench
