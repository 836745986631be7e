// The demuxer against the cost that it can't avoid: two copies of each byte and one look at it.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>

#include "bench/memory_source.h"
#include "bench/streams.h"
#include "libextractor/flac/demuxer/kelflacfd.h"

namespace kelflac_bench {
namespace {

constexpr int32_t kBufferBytes = 1 << 25;
constexpr size_t kChunk = 4096;
constexpr uint8_t kSearchAgain = 244;
constexpr uint32_t kSmallFrame = 9000, kLargestFrame = 0xFFFFFF;

uint8_t* Buffer() {
    static Bytes buffer(kBufferBytes);
    return buffer.data();
}

KELFLACFD_CTX* Open(MemorySource* source) {
    _KELCMN_MFAL record = source->Record();
    const int64_t in_duration = 0;
    KELFLACFD_INFO info;
    return kelflacfd_create(&record, &in_duration, &info, nullptr);
}

/** Reads to the end. `searched`: every frame is located by search. Returns the bytes delivered. */
int64_t ReadAll(KELFLACFD_CTX* ctx, bool searched) {
    int64_t total = 0, time = 0, next = 0;
    uint32_t length = 0;
    for (;;) {
        if (searched) ctx->full_check_count = kSearchAgain;
        const int status = kelflacfd_get_frm(ctx, Buffer(), kBufferBytes, &length, &time, &next);
        if (status == KELFLACFD_END) return total;
        if (status == KELFLACFD_OK) total += length;
    }
}

void Limit(benchmark::State& state, const std::string& name, bool look) {
    const Bytes& stream = Encoded(name);
    Bytes ring(4 * kChunk);
    size_t found = 0;
    for (auto _ : state) {
        for (size_t pos = 0; pos + ring.size() <= stream.size(); pos += ring.size()) {
            for (size_t at = 0; at < ring.size(); at += kChunk) {
                memcpy(ring.data() + at, stream.data() + pos + at, kChunk);
            }
            const uint8_t* end = ring.data() + ring.size();
            for (const uint8_t* p = ring.data(); look && p != end; ++p) {
                p = static_cast<const uint8_t*>(memchr(p, 0xFF, static_cast<size_t>(end - p)));
                if (p == nullptr) break;
                ++found;
            }
            memcpy(Buffer(), ring.data(), ring.size());
            benchmark::ClobberMemory();
        }
    }
    benchmark::DoNotOptimize(found);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(stream.size()));
}

void Read(benchmark::State& state, const std::string& name, bool searched) {
    MemorySource source{&Encoded(name)};
    int64_t total = 0;
    for (auto _ : state) {
        KELFLACFD_CTX* ctx = Open(&source);
        total += ReadAll(ctx, searched);
        kelflacfd_delete(ctx);
    }
    state.SetBytesProcessed(total);
}

void OpenOnly(benchmark::State& state, const Bytes& stream) {
    MemorySource source{&stream};
    for (auto _ : state) kelflacfd_delete(Open(&source));
}

void Seek(benchmark::State& state, const std::string& name) {
    MemorySource source{&Encoded(name)};
    KELFLACFD_CTX* ctx = Open(&source);
    std::mt19937_64 random(1);
    source.calls = source.bytes_read = 0;
    for (auto _ : state) {
        const auto duration = static_cast<uint64_t>(ctx->info.duration);
        const auto target = static_cast<int64_t>(random() % duration);
        int64_t time = 0, next = 0;
        uint32_t length = 0;
        kelflacfd_seek(ctx, &target, &time);
        kelflacfd_get_frm(ctx, Buffer(), kBufferBytes, &length, &time, &next);
    }
    const auto per_seek = benchmark::Counter::kAvgIterations;
    state.counters["source_bytes"] = {static_cast<double>(source.bytes_read), per_seek};
    state.counters["source_calls"] = {static_cast<double>(source.calls), per_seek};
    kelflacfd_delete(ctx);
}

void HostileRead(benchmark::State& state, int kind, uint32_t max_frame) {
    const Bytes stream = Hostile(kind, static_cast<size_t>(state.range(0)) << 20, max_frame);
    MemorySource source{&stream};
    for (auto _ : state) {
        KELFLACFD_CTX* ctx = Open(&source);
        if (ctx == nullptr) return state.SkipWithError("not opened");
        ReadAll(ctx, true);
        kelflacfd_delete(ctx);
    }
    const double per_16mib = static_cast<double>(state.range(0)) / 16;
    state.counters["s_per_16MiB"] = {
        per_16mib, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert};
    state.SetComplexityN(state.range(0));
}

const bool registered = [] {
    using benchmark::RegisterBenchmark;
    for (const std::string name : {"16-44", "24-96", "24-192x6"}) {
        RegisterBenchmark(("limit/copies/" + name).c_str(), Limit, name, false);
        RegisterBenchmark(("limit/memchr/" + name).c_str(), Limit, name, true);
        RegisterBenchmark(("searched/" + name).c_str(), Read, name, true);
        RegisterBenchmark(("fixed/" + name).c_str(), Read, name, false);
        RegisterBenchmark(("seek/" + name).c_str(), Seek, name);
    }
    static const Bytes bare = Tagged(0, 0, true), tagged = Tagged(4 << 20, 100 << 10, true);
    static const Bytes untimed = Tagged(0, 0, false);
    RegisterBenchmark("open/bare", [](benchmark::State& s) { OpenOnly(s, bare); });
    RegisterBenchmark("open/tagged", [](benchmark::State& s) { OpenOnly(s, tagged); });
    RegisterBenchmark("open/untimed", [](benchmark::State& s) { OpenOnly(s, untimed); });
    for (int kind = 0; kind < kHostileKindCount; ++kind) {
        for (uint32_t max_frame : {kSmallFrame, kLargestFrame}) {
            const std::string ring = max_frame == kSmallFrame ? "/small ring" : "/large ring";
            RegisterBenchmark(("hostile/" + std::string(kHostileKinds[kind]) + ring).c_str(),
                              HostileRead, kind, max_frame)
                ->RangeMultiplier(2)
                ->Range(8, 64)
                ->Unit(benchmark::kMillisecond)
                ->Complexity();
        }
    }
    return true;
}();

}  // namespace
}  // namespace kelflac_bench
