// What the demuxer's work can't cost less than: its copies, and one look at each byte.
#include <cstdlib>

#include "bench/harness.h"
#include "bench/streams.h"

namespace kelflac_bench {
namespace {

/** A look at bytes in a row. */
using Look = size_t (*)(const uint8_t* bytes, size_t count);

/** Every 0xFF, as memchr finds them. */
size_t LookByMemchr(const uint8_t* bytes, size_t count) {
    const uint8_t* end = bytes + count;
    size_t found = 0;
    while (bytes != end) {
        bytes = static_cast<const uint8_t*>(memchr(bytes, 0xFF, static_cast<size_t>(end - bytes)));
        if (bytes == nullptr) break;
        ++found;
        ++bytes;
    }
    return found;
}

/** Blocks with a frame's sync code, 0xFF and 0xF8 or 0xF9, many bytes at a time. */
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

size_t DontLook(const uint8_t*, size_t) {
    return 0;
}

/** What the reader's work on a stream depends on, in bytes. */
struct Setup {
    size_t ring, largest_frame, mean_frame;
};
Setup SetupFor(MemorySource* source, benchmark::State& state) {
    KELFLACFD_CTX* ctx = Open(source, state);
    if (ctx == nullptr) return {kChunkBytes, kChunkBytes, kChunkBytes};
    const KELFLACFD_INFO& info = ctx->info;
    const int64_t frames = std::max<int64_t>(info.samples / info.max_block, 1);
    const Setup setup = {static_cast<size_t>(ctx->fal.size), static_cast<size_t>(info.max_frm_size),
                         static_cast<size_t>(source->size / frames)};
    kelflacfd_delete(ctx);
    return setup;
}

/** Calls `use(bytes, count)` for the one or two rows in which `count` bytes stand in a ring. */
template <typename Use>
void ForRows(const Bytes& ring, size_t place, size_t count, Use use) {
    const size_t at = place & (ring.size() - 1);
    const size_t first = std::min(count, ring.size() - at);
    use(ring.data() + at, first);
    if (first < count) use(ring.data(), count - first);
}

/** From the source to the ring chunk by chunk, a look, and from the ring to the buffer in pieces of
    `piece` bytes, until the source ends. */
void CopyThrough(_KELCMN_MFAL* record, void* fp, Bytes* ring, size_t piece, Look look) {
    size_t in = 0, out = 0;
    for (;;) {
        while (in - out < piece) {
            uint8_t* to = ring->data() + (in & (ring->size() - 1));
            const int count = record->read(fp, to, kChunkBytes);
            if (count < kChunkBytes) return;
            in += static_cast<size_t>(count);
        }
        ForRows(*ring, out, piece, [&](const uint8_t* row, size_t count) {
            benchmark::DoNotOptimize(look(row, count));
        });
        uint8_t* to = Buffer();
        ForRows(*ring, out, piece, [&](const uint8_t* row, size_t count) {
            memcpy(to, row, count);
            to += count;
        });
        benchmark::ClobberMemory();
        out += piece;
    }
}

void Read(benchmark::State& state, MemorySource* source, const Setup& setup, size_t piece,
          Look look) {
    Bytes ring(setup.ring);
    _KELCMN_MFAL record = source->Record();
    for (auto _ : state) {
        benchmark::DoNotOptimize(record);
        source->pos = 0;
        CopyThrough(&record, source, &ring, piece, look);
    }
    state.SetBytesProcessed(state.iterations() * source->size);
}

void ReadFixedSize(benchmark::State& state, const std::string& name) {
    MemorySource source(Encoded(name));
    const Setup setup = SetupFor(&source, state);
    Read(state, &source, setup, setup.largest_frame, DontLook);
}

void ReadFrames(benchmark::State& state, const std::string& name, Look look) {
    MemorySource source(Encoded(name));
    const Setup setup = SetupFor(&source, state);
    Read(state, &source, setup, setup.mean_frame, look);
}

void ReadHostile(benchmark::State& state, size_t mib) {
    MemorySource source = HostileSource(kelflac_streams::kRandom, kSmallRing, mib);
    const Setup setup = SetupFor(&source, state);
    Read(state, &source, setup, setup.largest_frame, LookForPairs);
}

/** Copies as many bytes as the open has the source give, through a 32 KiB ring into memory from
    malloc. */
void CopyForOpening(benchmark::State& state, const std::string& name, bool fresh_pages) {
    constexpr size_t kRingBytes = 32 << 10;
    TakeFreshPages(fresh_pages);
    MemorySource source(ForOpening(name));
    SetupFor(&source, state);
    const auto wanted = static_cast<size_t>(source.bytes_read);
    _KELCMN_MFAL record = source.Record();
    for (auto _ : state) {
        benchmark::DoNotOptimize(record);
        source.pos = 0;
        auto* ring = static_cast<uint8_t*>(malloc(kRingBytes));
        auto* to = static_cast<uint8_t*>(malloc(wanted));
        for (size_t done = 0; done < wanted;) {
            const size_t piece = std::min(wanted - done, kRingBytes);
            for (size_t in = 0; in < piece; in += kChunkBytes) {
                record.read(&source, ring + in, kChunkBytes);
            }
            memcpy(to + done, ring, piece);
            done += piece;
        }
        benchmark::DoNotOptimize(to);
        benchmark::ClobberMemory();
        free(to);
        free(ring);
    }
}

struct SourceRead {
    int64_t pos;
    int count;
};
std::vector<SourceRead> seek_reads;

/** The reads that the demuxer's seeks make, into seek_reads. */
void RecordSeeks(MemorySource* source, benchmark::State& state) {
    seek_reads.clear();
    KELFLACFD_CTX* ctx = Open(source, state);
    if (ctx == nullptr) return;
    ctx->fal.mfal.read = [](void* fp, void* to, int count) {
        seek_reads.push_back({MemorySource::Of(fp)->pos, count});
        return MemorySource::Of(fp)->Read(to, count);
    };
    for (const int64_t target : SeekTimes(ctx->info.duration)) {
        int64_t time = 0, next = 0;
        uint32_t length = 0;
        kelflacfd_seek(ctx, &target, &time);
        kelflacfd_get_frm(ctx, Buffer(), kBufferBytes, &length, &time, &next);
    }
    kelflacfd_delete(ctx);
}

/** The same reads, each followed by a look at what it gave. */
void CopyForSeeks(benchmark::State& state, const std::string& name) {
    MemorySource source(Encoded(name));
    Bytes ring(SetupFor(&source, state).ring);
    RecordSeeks(&source, state);
    _KELCMN_MFAL record = source.Record();
    for (auto _ : state) {
        benchmark::DoNotOptimize(record);
        size_t in = 0;
        for (const SourceRead& read : seek_reads) {
            uint8_t* to = ring.data() + (in & (ring.size() - 1));
            source.pos = read.pos;
            const int count = record.read(&source, to, read.count);
            benchmark::DoNotOptimize(LookByMemchr(to, static_cast<size_t>(count)));
            in += kChunkBytes;
        }
    }
    state.SetItemsProcessed(state.iterations() * kSeeks);
}

const bool added = [] {
    for (const std::string name : kStreams) {
        Add("read/" + name + "/copies", ReadFixedSize, name);
        Add("read/" + name + "/memchr", ReadFrames, name, LookByMemchr);
        Add("read/" + name + "/pairs", ReadFrames, name, LookForPairs);
        Add("seek/" + name + "/copy", CopyForSeeks, name);
    }
    for (const std::string name : {"bare", "untimed", "tagged"}) {
        Add("open/" + name + "/copy", CopyForOpening, name, false);
    }
    for (const size_t mib : kHostileSizes) {
        Add("hostile/limit/" + std::to_string(mib), ReadHostile, mib)
            ->Unit(benchmark::kMillisecond);
    }
    Add("open/tagged-fresh/copy", CopyForOpening, std::string("tagged"), true);
    return true;
}();

}  // namespace
}  // namespace kelflac_bench
