// What streams that make a search work cost the demuxer: open and full read together, as they grow,
// and seeks beside those in honest streams.
#include "bench/harness.h"
#include "bench/streams.h"

namespace kelflac_bench {
namespace {

constexpr int kHostileSeeks = 100;
constexpr size_t kHostileSeekMib = 16;

void ReadHostile(benchmark::State& state, int kind, const HostileRing& ring, size_t mib) {
    MemorySource source = HostileSource(kind, ring, mib);
    for (auto _ : state) {
        KELFLACFD_CTX* ctx = Open(&source, state);
        if (ctx == nullptr) return;
        ReadAll(ctx, kSearched);
        kelflacfd_delete(ctx);
    }
}

void SeekIn(benchmark::State& state, MemorySource source) {
    KELFLACFD_CTX* ctx = Open(&source, state);
    if (ctx == nullptr) return;
    std::vector<int64_t> times = SeekTimes(ctx->info.duration);
    times.resize(kHostileSeeks);
    source.bytes_read = 0;
    for (auto _ : state) {
        for (const int64_t target : times) {
            int64_t time = 0, next = 0;
            uint32_t length = 0;
            kelflacfd_seek(ctx, &target, &time);
            kelflacfd_get_frm(ctx, Buffer(), kBufferBytes, &length, &time, &next);
        }
    }
    kelflacfd_delete(ctx);
    state.counters["source_bytes"] = {static_cast<double>(source.bytes_read),
                                      benchmark::Counter::kAvgIterations};
}

void SeekHostile(benchmark::State& state, int kind, const HostileRing& ring) {
    SeekIn(state, HostileSource(kind, ring, kHostileSeekMib));
}

void SeekHonest(benchmark::State& state, int kind, const HostileRing& ring) {
    const Bytes stream = HonestStream(kind, ring);
    SeekIn(state, MemorySource(stream));
}

void AddSeeks(const HostileRing& ring) {
    const auto add = [&](const char* kind, auto* run, int index) {
        Add(std::string("hostile-seek/") + kind + "/" + ring.name, run, index, ring)
            ->Unit(benchmark::kMillisecond);
    };
    for (int i = 0; i < kHonestKindCount; ++i) add(kHonestKinds[i], SeekHonest, i);
    for (int i = 0; i < kelflac_streams::kCostlyKindCount; ++i)
        add(kelflac_streams::kCostlyKinds[i], SeekHostile, i);
}

const bool added = [] {
    for (int kind = 0; kind < kelflac_streams::kCostlyKindCount; ++kind) {
        for (const HostileRing& ring : {kSmallRing, kLargeRing}) {
            const std::string name =
                std::string("hostile/") + kelflac_streams::kCostlyKinds[kind] + "/" + ring.name;
            for (const size_t mib : kHostileSizes) {
                Add(name + "/" + std::to_string(mib), ReadHostile, kind, ring, mib)
                    ->Unit(benchmark::kMillisecond);
            }
        }
    }
    AddSeeks(kSmallRing);
    AddSeeks(kLargeRing);
    return true;
}();

}  // namespace
}  // namespace kelflac_bench
