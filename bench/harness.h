// What the benchmarks share: the streams, opening, seeking, names.
//
// A benchmark's name is group/stream/variant, or group/stream/variant/size. All that read a stream
// take its bytes from memory in the same way, so that they can be set beside each other.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "bench/memory_source.h"
#include "libextractor/flac/demuxer/kelflacfd_internal.h"

/** A stream of one of the groups
    - "music": minutes long, encoded by libFLAC;
    - "open": a few frames after little or much metadata;
    - "hostile", "dense": made to keep a search busy, in several sizes; the last with false headers;
    - "seek": to seek in, hostile or honest, by the size of the reader's ring. */
struct Stream {
    std::string group, name;
    std::function<MemorySource()> source;  ///< Made when it is first asked for, and kept.
    std::string detail;  ///< "/" and the size in MiB, where there are several; for "seek" the kind.
};

/** All of them; few and small ones with the variable KELFLAC_BENCH_SMALL set. */
std::vector<Stream> Streams();

constexpr int kChunkBytes = 4096;

/** Where reads deliver to, written to before, so that no read pays for the pages. */
inline std::vector<uint8_t> buffer(1 << 25, 1);

/** Each stream here opens. */
inline KELFLACFD_CTX* Open(MemorySource* source) {
    _KELCMN_MFAL record = source->Record();
    const int64_t in_duration = 0;
    KELFLACFD_INFO info;
    return kelflacfd_create(&record, &in_duration, &info, nullptr);
}

/** One read into the buffer. */
inline int ReadFrame(KELFLACFD_CTX* ctx) {
    int64_t time = 0, next = 0;
    uint32_t length = 0;
    return kelflacfd_get_frm(ctx, buffer.data(), static_cast<int32_t>(buffer.size()), &length,
                             &time, &next);
}

/** The same times for whoever seeks, 0 up to `duration`. */
inline std::vector<int64_t> SeekTimes(int64_t duration) {
    std::mt19937_64 random(1);
    std::vector<int64_t> times(100);
    for (int64_t& time : times) time = std::uniform_int_distribution<int64_t>(0, duration)(random);
    return times;
}

/** Seeks to each of the times and reads one frame there. */
inline void SeekAndRead(KELFLACFD_CTX* ctx, const std::vector<int64_t>& times) {
    int64_t landed = 0;
    for (const int64_t time : times) {
        kelflacfd_seek(ctx, &time, &landed);
        ReadFrame(ctx);
    }
}

/** For each stream of a group, adds a benchmark that calls `run(state, stream, args...)`. */
template <typename Run, typename... Args>
void Add(const std::string& group, const std::string& variant, Run run, Args... args) {
    for (const Stream& stream : Streams()) {
        const bool here = stream.group == group;
        const std::string name = group + "/" + stream.name + "/" + variant + stream.detail;
        if (here) benchmark::RegisterBenchmark(name.c_str(), run, stream, args...);
    }
}
