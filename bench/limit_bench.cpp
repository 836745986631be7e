// What the demuxer is compared with: the copies that it must make, and one look at each byte.
#include <cstdlib>

#include "bench/harness.h"
#include "libextractor/flac/demuxer/kelflacfd_sync.h"

namespace {

/** Counts the blocks of 64 bytes with a frame's sync code: 0xFF, then 0xF8 or 0xF9. The compiler
    turns the loop into vector code. The last bytes are left out. */
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

/** Copies chunks from the source to the ring, whose `size` is a power of two. Copies pieces of
    `piece` bytes from the ring to `to`: all to the same place, or with `in_a_row` one after
    another. With `look` it looks at each piece first. */
void CopyThrough(Source* source, uint8_t* ring, size_t size, size_t piece, bool look, uint8_t* to,
                 bool in_a_row) {
    _KELCMN_MFAL record = source->Record();
    benchmark::DoNotOptimize(record);  // keeps its calls from being inlined
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

/** Sizes in bytes that the demuxer's work on a stream depends on. */
struct Setup {
    size_t ring, largest_frame, mean_frame;

    explicit Setup(Source* source) {
        const DemuxerPlayer demuxer(source);
        const KELFLACFD_INFO& info = demuxer.info;
        const int64_t frames = std::max<int64_t>(info.samples / info.max_block, 1);
        ring = static_cast<size_t>(demuxer.ctx->fal.size);
        largest_frame = static_cast<size_t>(info.max_frm_size);
        mean_frame = static_cast<size_t>(source->Size() / frames);
    }
};

/** Calls the library's search for each sync code of the file. Returns their number. */
int CallForEach(const Source& file) {
    const auto size = static_cast<int32_t>(file.Size());
    const KELFLACF_FAL_RUNS runs = {{file.data.data(), size}, {nullptr, 0}};
    int codes = 0;
    for (int at = -1; (at = find_sync_code(runs, at + 1, size - 1)) < size - 1;) ++codes;
    return codes;
}

/** Two copies, in pieces of the size that `piece` names; if wanted also a look, or calls of the
    search. */
void Copy(benchmark::State& state, const Stream& stream, size_t Setup::*piece, bool look,
          bool with_calls) {
    Source& source = *stream.source();
    const Setup setup(&source);
    std::vector<uint8_t> ring(setup.ring);
    for (auto _ : state) {
        CopyThrough(&source, ring.data(), ring.size(), setup.*piece, look, buffer.data(), false);
        if (with_calls) benchmark::DoNotOptimize(CallForEach(source));
    }
    state.SetBytesProcessed(state.iterations() * source.Size());
}

/** Copies as many bytes as an open reads, through a ring into memory from malloc. */
void CopyForOpening(benchmark::State& state, const Stream& stream) {
    constexpr size_t kRingBytes = 32 << 10;
    Source& whole = *stream.source();
    size_t bytes = 0;
    for (const auto& read : whole.ReadsOf([&] { const DemuxerPlayer opened(&whole); }))
        bytes += static_cast<size_t>(read.result);
    Source source({whole.data.data(), whole.data.data() + bytes});
    for (auto _ : state) {
        auto* ring = static_cast<uint8_t*>(malloc(kRingBytes));
        auto* to = static_cast<uint8_t*>(malloc(bytes));
        CopyThrough(&source, ring, kRingBytes, kRingBytes, false, to, true);
        free(to);
        free(ring);
    }
    state.SetItemsProcessed(state.iterations());
}

/** Repeats the reads of the demuxer's seeks and of a frame after each, and looks at their bytes. */
void CopyForSeeks(benchmark::State& state, const Stream& stream) {
    Source& source = *stream.source();
    std::vector<uint8_t> ring(Setup(&source).ring);
    const DemuxerPlayer demuxer(&source);
    const std::vector<int64_t> times = SeekTimes(demuxer.info.duration);
    const auto reads = source.ReadsOf([&] { SeekAndRead(demuxer, times); });
    for (auto _ : state) {
        size_t in = 0;
        for (const auto& read : reads) {
            uint8_t* to = ring.data() + (in & (ring.size() - 1));
            const ssize_t count = source.readAt(read.pos, to, static_cast<size_t>(read.arg));
            benchmark::DoNotOptimize(LookForPairs(to, static_cast<size_t>(count)));
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
