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
    const uint8_t* bytes;
    int64_t size;
    int64_t pos = 0;
    int64_t bytes_read = 0;
    int64_t calls = 0;  ///< Reads and moves.
    int64_t size_queries = 0;

    explicit MemorySource(const Bytes& file) : MemorySource(file, file.size()) {}
    /** Only the first `length` bytes of the file. */
    MemorySource(const Bytes& file, size_t length)
        : bytes(file.data()), size(static_cast<int64_t>(std::min(length, file.size()))) {}

    int Read(void* to, int wanted) {
        ++calls;
        const auto count = pos < 0 ? 0 : std::clamp<int64_t>(size - pos, 0, wanted);
        memcpy(to, bytes + std::clamp<int64_t>(pos, 0, size), static_cast<size_t>(count));
        pos += count;
        bytes_read += count;
        return static_cast<int>(count);
    }
    void Move(int64_t to) {
        ++calls;
        pos = to;
    }
    int64_t Size() {
        ++size_queries;
        return size;
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
        record.read = [](void* fp, void* to, int count) { return Of(fp)->Read(to, count); };
        record.getpos = [](void* fp, long long* p) {
            *p = Of(fp)->pos;
            return 0;
        };
        record.setpos = [](void* fp, long long* p) {
            Of(fp)->Move(*p);
            return 0;
        };
        record.getsize = [](void* fp, long long* p) {
            *p = Of(fp)->Size();
            return 0;
        };
        return record;
    }
};

}  // namespace kelflac_bench
