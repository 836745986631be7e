// What the demuxer's work can't cost less than: its copies, and one look at each byte.
#include <cstdlib>

#include "bench/harness.h"
#include "libextractor/flac/demuxer/kelflacfd_sync.h"

namespace {

/** Counts the blocks with a frame's sync code, 0xFF and 0xF8 or 0xF9, in a loop that the compiler
    turns into vector code. */
size_t LookForPairs(const uint8_t* bytes, size_t count) {
    constexpr size_t kBlock = 64;
    size_t found = 0;
    for (size_t at = 0; at + kBlock < count; at += kBlock) {
        uint8_t in_block = 0;
        for (size_t i = at; i < at + kBlock; ++i) {
            in_block |= static_cast<uint8_t>((bytes[i] == 0xFF) & ((bytes[i + 1] & 0xFE) == 0xF8));
        }
        found += in_block;
    }
    return found;
}

/** From the source to the ring of `size` bytes chunk by chunk, a look if wanted, and from the ring
    to `to` in pieces of `piece` bytes: each to the same place, or behind the last if `in_a_row`. */
void CopyThrough(MemorySource* source, uint8_t* ring, size_t size, size_t piece, bool look,
                 uint8_t* to, bool in_a_row) {
    _KELCMN_MFAL record = source->Record();
    benchmark::DoNotOptimize(record);  // its calls stay calls, as the demuxer's are
    source->pos = 0;
    size_t in = 0, out = 0;
    for (int count = kChunkBytes; count == kChunkBytes;) {
        while (in - out < piece && count == kChunkBytes) {
            count = record.read(source, ring + (in & (size - 1)), kChunkBytes);
            in += static_cast<size_t>(count);
        }
        const size_t end = out + std::min(piece, in - out);
        uint8_t* next = to;
        while (out < end) {  // once, or twice where the ring ends within the piece
            const size_t at = out & (size - 1), row = std::min(end - out, size - at);
            if (look) benchmark::DoNotOptimize(LookForPairs(ring + at, row));
            memcpy(next, ring + at, row);
            next += row;
            out += row;
        }
        benchmark::ClobberMemory();
        if (in_a_row) to = next;
    }
}

/** What the demuxer's work on a stream depends on, in bytes. */
struct Setup {
    size_t ring, largest_frame, mean_frame;

    explicit Setup(MemorySource* source) {
        KELFLACFD_CTX* ctx = Open(source);
        const int64_t frames = std::max<int64_t>(ctx->info.samples / ctx->info.max_block, 1);
        ring = static_cast<size_t>(ctx->fal.size);
        largest_frame = static_cast<size_t>(ctx->info.max_frm_size);
        mean_frame = static_cast<size_t>(source->size / frames);
        kelflacfd_delete(ctx);
    }
};

/** A call of the library's search for each sync code of the whole file. Returns their number. */
int CallForEach(const MemorySource& file) {
    const auto size = static_cast<int32_t>(file.size);
    const KELFLACF_FAL_RUNS runs = {{file.bytes, size}, {nullptr, 0}};
    int codes = 0;
    for (int at = -1; (at = find_sync_code(runs, at + 1, size - 1)) < size - 1;) ++codes;
    return codes;
}

/** Two copies, in pieces of the size that `piece` names, and what is wanted besides. */
void Copy(benchmark::State& state, const Stream& stream, size_t Setup::*piece, bool look,
          bool with_calls) {
    MemorySource source = stream.source();
    const Setup setup(&source);
    std::vector<uint8_t> ring(setup.ring);
    for (auto _ : state) {
        CopyThrough(&source, ring.data(), ring.size(), setup.*piece, look, buffer.data(), false);
        if (with_calls) benchmark::DoNotOptimize(CallForEach(source));
    }
    state.SetBytesProcessed(state.iterations() * source.size);
}

/** As many bytes as the open has the source give, through a ring into memory from malloc. */
void CopyForOpening(benchmark::State& state, const Stream& stream) {
    constexpr size_t kRingBytes = 32 << 10;
    MemorySource whole = stream.source();
    const Setup setup(&whole);
    MemorySource source(whole.bytes, whole.bytes_read);
    for (auto _ : state) {
        auto* ring = static_cast<uint8_t*>(malloc(kRingBytes));
        auto* to = static_cast<uint8_t*>(malloc(static_cast<size_t>(source.size)));
        CopyThrough(&source, ring, kRingBytes, kRingBytes, false, to, true);
        free(to);
        free(ring);
    }
    state.SetItemsProcessed(state.iterations());
}

/** A source that writes its reads down: the place and the bytes wanted. */
struct NotingSource : MemorySource {
    std::vector<std::pair<int64_t, int>> reads;
};

/** The reads that the demuxer's seeks make, and after each a look at what it gave. */
void CopyForSeeks(benchmark::State& state, const Stream& stream) {
    NotingSource source{stream.source(), {}};
    std::vector<uint8_t> ring(Setup(&source).ring);
    KELFLACFD_CTX* ctx = Open(&source);
    const std::vector<int64_t> times = SeekTimes(ctx->info.duration);
    ctx->fal.mfal.read = [](void* fp, void* to, int count) {
        auto* noting = static_cast<NotingSource*>(MemorySource::Of(fp));
        noting->reads.emplace_back(noting->pos, count);
        return noting->Read(to, count);
    };
    SeekAndRead(ctx, times);
    kelflacfd_delete(ctx);
    for (auto _ : state) {
        size_t in = 0;
        for (const auto& [pos, wanted] : source.reads) {
            uint8_t* to = ring.data() + (in & (ring.size() - 1));
            source.pos = pos;
            const auto count = static_cast<size_t>(source.Read(to, wanted));
            benchmark::DoNotOptimize(LookForPairs(to, count));
            in += kChunkBytes;
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(times.size()));
}

const bool added = [] {
    Add("open", "copy", CopyForOpening);
    Add("music", "two copies", Copy, &Setup::largest_frame, false, false);
    Add("music", "two copies and a look", Copy, &Setup::mean_frame, true, false);
    Add("music", "copies of seeks", CopyForSeeks);
    Add("dense", "copies and calls", Copy, &Setup::largest_frame, false, true);
    Add("hostile", "copies and calls", Copy, &Setup::largest_frame, false, true);
    return true;
}();

}  // namespace
