// What the benchmarks share: names, the destination of reads, opening.
//
// Names are group/case/variant, such as read/16-44/searched. All variants of a group take their
// bytes from memory in the same reads of 4096 bytes, so that they can be set beside each other.
#pragma once

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <random>
#include <string>

#include "bench/memory_source.h"
#include "libextractor/flac/demuxer/kelflacfd_internal.h"

namespace kelflac_bench {

constexpr const char* kStreams[] = {"16-44", "24-96", "24-192x6"};
constexpr int kChunkBytes = 4096;
constexpr int32_t kBufferBytes = 1 << 25;
constexpr int kSeeks = 1000;

/** Where reads deliver to: kBufferBytes that have been written to before, so that no read pays for
    the pages. */
inline uint8_t* Buffer() {
    static Bytes buffer(kBufferBytes, 1);
    return buffer.data();
}

/** The context, or null with `state` in error. */
inline KELFLACFD_CTX* Open(MemorySource* source, benchmark::State& state) {
    _KELCMN_MFAL record = source->Record();
    const int64_t in_duration = 0;
    KELFLACFD_INFO info;
    KELFLACFD_CTX* ctx = kelflacfd_create(&record, &in_duration, &info, nullptr);
    if (ctx == nullptr) state.SkipWithError("not opened");
    return ctx;
}

// Values of KELFLACFD_CTX::full_check_count before each read: its largest, and none left.
constexpr uint8_t kSearched = KELFLACFD_FULL_CHECK_COUNT, kFixedSize = 0;

/** Reads to the end, each frame located as `full_check_count` says. Returns the bytes delivered. */
inline int64_t ReadAll(KELFLACFD_CTX* ctx, uint8_t full_check_count) {
    int64_t total = 0, time = 0, next = 0;
    uint32_t length = 0;
    for (;;) {
        ctx->full_check_count = full_check_count;
        const int status = kelflacfd_get_frm(ctx, Buffer(), kBufferBytes, &length, &time, &next);
        if (status == KELFLACFD_END) return total;
        if (status == KELFLACFD_OK) total += length;
    }
}

/** Whether large allocations get pages that the process has never had, as the first open of a
    process does, or memory that it has had before, as later ones do. Fresh ones come to a process
    that has given no large memory back before. */
inline void TakeFreshPages(bool fresh) {
    constexpr int kUsualThreshold = 128 << 10, kUsualMappings = 65536, kKeepAll = 1 << 30;
    mallopt(M_MMAP_THRESHOLD, kUsualThreshold);
    mallopt(M_MMAP_MAX, fresh ? kUsualMappings : 0);
    mallopt(M_TRIM_THRESHOLD, fresh ? kUsualThreshold : kKeepAll);
}

/** The same kSeeks times for whoever seeks, 0 up to `duration`. */
inline std::vector<int64_t> SeekTimes(int64_t duration) {
    std::mt19937_64 random(1);
    std::vector<int64_t> times(kSeeks);
    for (int64_t& time : times) {
        const double place = static_cast<double>(random() >> 11) / static_cast<double>(1ULL << 53);
        time = static_cast<int64_t>(place * static_cast<double>(duration));
    }
    return times;
}

/** Adds a benchmark that calls `run(state, args...)`. */
template <typename Function, typename... Args>
benchmark::internal::Benchmark* Add(const std::string& name, Function run, Args... args) {
    Buffer();
    TakeFreshPages(false);
    return benchmark::RegisterBenchmark(name.c_str(), run, args...);
}

}  // namespace kelflac_bench
