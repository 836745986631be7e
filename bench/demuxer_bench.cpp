// The demuxer: reading, opening, seeking.
#include <map>

#include "bench/harness.h"
#include "bench/streams.h"

namespace kelflac_bench {
namespace {

void Read(benchmark::State& state, const std::string& name, uint8_t full_check_count) {
    MemorySource source(Encoded(name));
    int64_t total = 0;
    for (auto _ : state) {
        KELFLACFD_CTX* ctx = Open(&source, state);
        if (ctx == nullptr) return;
        total += ReadAll(ctx, full_check_count);
        kelflacfd_delete(ctx);
    }
    state.SetBytesProcessed(total);
}

void OpenOnly(benchmark::State& state, const std::string& name, bool fresh_pages) {
    TakeFreshPages(fresh_pages);
    MemorySource source(ForOpening(name));
    for (auto _ : state) kelflacfd_delete(Open(&source, state));
    state.counters["source_bytes"] = {static_cast<double>(source.bytes_read),
                                      benchmark::Counter::kAvgIterations};
}

/** The probes of the last seek, by the size queries: the look at the file's end makes three, each
    probe one. */
int64_t Probes(const MemorySource& source, int64_t size_queries_before) {
    constexpr int64_t kQueriesOfTheEnd = 3;
    return source.size_queries - size_queries_before - kQueriesOfTheEnd;
}

void Seek(benchmark::State& state, const std::string& name) {
    MemorySource source(Encoded(name));
    KELFLACFD_CTX* ctx = Open(&source, state);
    if (ctx == nullptr) return;
    const std::vector<int64_t> times = SeekTimes(ctx->info.duration);
    std::map<int64_t, double> probes;
    source.calls = source.bytes_read = 0;
    for (auto _ : state) {
        probes.clear();
        for (const int64_t target : times) {
            int64_t time = 0, next = 0;
            uint32_t length = 0;
            const int64_t size_queries = source.size_queries;
            kelflacfd_seek(ctx, &target, &time);
            ++probes[Probes(source, size_queries)];
            kelflacfd_get_frm(ctx, Buffer(), kBufferBytes, &length, &time, &next);
        }
    }
    kelflacfd_delete(ctx);
    state.SetItemsProcessed(state.iterations() * kSeeks);
    const double seeks = static_cast<double>(state.iterations()) * kSeeks;
    state.counters["source_bytes"] = static_cast<double>(source.bytes_read) / seeks;
    state.counters["source_calls"] = static_cast<double>(source.calls) / seeks;
    for (const auto& [count, seen] : probes)
        state.counters["probes_" + std::to_string(count)] = seen;
}

#if defined(__clang__)
constexpr const char* kCompiler = "clang " __clang_version__;
#else
constexpr const char* kCompiler = "gcc " __VERSION__;
#endif

const bool added = [] {
    benchmark::AddCustomContext("compiler", kCompiler);
    for (const std::string name : kStreams) {
        Add("read/" + name + "/searched", Read, name, kSearched);
        Add("read/" + name + "/fixed", Read, name, kFixedSize);
        Add("seek/" + name + "/demuxer", Seek, name);
    }
    for (const std::string name : {"bare", "untimed", "tagged"}) {
        Add("open/" + name + "/demuxer", OpenOnly, name, false);
    }
    Add("open/tagged-fresh/demuxer", OpenOnly, std::string("tagged"), true);
    return true;
}();

}  // namespace
}  // namespace kelflac_bench

BENCHMARK_MAIN();
