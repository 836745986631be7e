// What streams that make a search work cost the demuxer, open and full read together, as they grow.
#include "bench/harness.h"
#include "bench/streams.h"

namespace kelflac_bench {
namespace {

void ReadHostile(benchmark::State& state, int kind, const HostileRing& ring, size_t mib) {
    MemorySource source = HostileSource(kind, ring, mib);
    for (auto _ : state) {
        KELFLACFD_CTX* ctx = Open(&source, state);
        if (ctx == nullptr) return;
        ReadAll(ctx, kSearched);
        kelflacfd_delete(ctx);
    }
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
    return true;
}();

}  // namespace
}  // namespace kelflac_bench
