// What the benchmarks share: the streams, opening, seeking, names.
//
// A benchmark's name is group/stream/variant, some with /size, or seek/stream/kind. All benchmarks
// of a stream take its bytes from memory in the same way, so they can be compared.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "tools/host/demuxer.h"

using kelflac_host::DemuxerPlayer;

/** A file in memory. Its reads only copy, so a timed loop pays for nothing else. */
struct Source : kelflac_host::MemorySource {
    explicit Source(Bytes bytes) : MemorySource(std::move(bytes)) {
        keeps_calls = scribbles = false;
    }
    int64_t Size() const { return static_cast<int64_t>(data.size()); }
    /** Runs `work`. Returns the reads of the source. */
    template <typename Work>
    std::vector<kelflac_host::Call> ReadsOf(Work work) {
        std::vector<kelflac_host::Call> reads;
        hook = [&](const kelflac_host::Call& call) {
            if (call.op == "read") reads.push_back(call);
        };
        work();
        hook = {};
        return reads;
    }
};

/** A stream of one of the groups
    - "music": minutes long, encoded by libFLAC;
    - "open": a few frames after little or much metadata;
    - "hostile": keeps a search busy, in several sizes;
    - "dense": the same, with headers or parts of them everywhere;
    - "seek": hostile or normal, to seek in; named by the size of the reader's ring. */
struct Stream {
    std::string group, name;
    std::function<Source*()> source;  ///< Made at the first call, then kept.
    std::string detail;  ///< "/" and the size in MiB, where there are several; for "seek" the kind.
};

/** All streams. If the environment has KELFLAC_BENCH_SMALL, few and small ones. */
std::vector<Stream> Streams();

constexpr int kChunkBytes = 4096;

/** The destination of reads. Already written, so no read pays for new pages. */
inline std::vector<uint8_t> buffer(1 << 25, 1);

/** One read into the buffer. The stream must be open. */
inline int ReadFrame(const DemuxerPlayer& demuxer) {
    return demuxer.ReadTo(buffer.data(), static_cast<int32_t>(buffer.size())).status;
}

/** The same random times on each call, 0 to `duration`. */
inline std::vector<int64_t> SeekTimes(int64_t duration) {
    std::mt19937_64 random(1);
    std::vector<int64_t> times(100);
    for (int64_t& time : times) time = std::uniform_int_distribution<int64_t>(0, duration)(random);
    return times;
}

/** Seeks to each time and reads one frame there. */
inline void SeekAndRead(const DemuxerPlayer& demuxer, const std::vector<int64_t>& times) {
    for (const int64_t time : times) {
        demuxer.Seek(time);
        ReadFrame(demuxer);
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
