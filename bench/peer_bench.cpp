// libavformat over the same bytes, served from memory in the same way: the measure of a
// general-purpose demuxer, not a part of the product.
extern "C" {
#include <libavformat/avformat.h>
}

#include <chrono>

#include "bench/harness.h"
#include "bench/streams.h"

namespace kelflac_bench {
namespace {

using Clock = std::chrono::steady_clock;

/** A source that ends early when its time is up: a read can take minutes of quadratic work, and
    only what it asks of the source gives a chance to stop it. */
struct TimedSource : MemorySource {
    bool is_limited = false, was_stopped = false;
    Clock::time_point deadline{};

    explicit TimedSource(const MemorySource& source) : MemorySource(source) {}
    void Limit(Clock::duration time) {
        is_limited = true;
        was_stopped = false;
        deadline = Clock::now() + time;
    }
};

int ReadPacket(void* opaque, uint8_t* to, int wanted) {
    auto* source = static_cast<TimedSource*>(opaque);
    if (source->is_limited && Clock::now() > source->deadline) source->was_stopped = true;
    const int count = source->was_stopped ? 0 : source->Read(to, wanted);
    return count > 0 ? count : AVERROR_EOF;
}

int64_t SeekTo(void* opaque, int64_t offset, int whence) {
    auto* source = static_cast<TimedSource*>(opaque);
    if (whence == AVSEEK_SIZE) return source->size;
    const int64_t from = whence == SEEK_CUR ? source->pos : whence == SEEK_END ? source->size : 0;
    source->Move(from + offset);
    return source->pos;
}

/** One open file; `format` is null when it could not be opened. */
struct Peer {
    AVIOContext* io;
    AVFormatContext* format = avformat_alloc_context();
    AVPacket* packet = av_packet_alloc();

    /** With `look_further` the first packets are looked at too: where the length is not stated, it
        takes that to know it. */
    explicit Peer(TimedSource* source, bool look_further = true) {
        source->pos = 0;
        auto* buffer = static_cast<uint8_t*>(av_malloc(kChunkBytes));
        io = avio_alloc_context(buffer, kChunkBytes, 0, source, ReadPacket, nullptr, SeekTo);
        format->pb = io;
        const bool is_open = avformat_open_input(&format, nullptr, nullptr, nullptr) == 0;
        if (is_open && look_further) avformat_find_stream_info(format, nullptr);
    }
    ~Peer() {
        av_packet_free(&packet);
        avformat_close_input(&format);
        av_freep(&io->buffer);
        avio_context_free(&io);
    }
    Peer(const Peer&) = delete;

    /** The next packet's bytes, -1 at the end. */
    int Next() {
        if (format == nullptr || av_read_frame(format, packet) < 0) return -1;
        const int size = packet->size;
        av_packet_unref(packet);
        return size;
    }
    int64_t ReadAll() {
        int64_t total = 0;
        for (int size = 0; (size = Next()) >= 0;) total += size;
        return total;
    }
};

void Read(benchmark::State& state, const std::string& name) {
    TimedSource source{MemorySource(Encoded(name))};
    int64_t total = 0;
    for (auto _ : state) total += Peer(&source).ReadAll();
    state.SetBytesProcessed(total);
}

void Open(benchmark::State& state, const std::string& name, bool fresh_pages) {
    TakeFreshPages(fresh_pages);
    TimedSource source{MemorySource(ForOpening(name))};
    const bool look_further = name == "untimed";
    for (auto _ : state) Peer peer(&source, look_further);
}

void Seek(benchmark::State& state, const std::string& name) {
    TimedSource source{MemorySource(Encoded(name))};
    Peer peer(&source);
    if (peer.format == nullptr) return state.SkipWithError("not opened");
    const std::vector<int64_t> times = SeekTimes(peer.format->duration);
    source.calls = source.bytes_read = 0;
    for (auto _ : state) {
        for (const int64_t time : times) {
            av_seek_frame(peer.format, -1, time, AVSEEK_FLAG_BACKWARD);
            peer.Next();
        }
    }
    state.SetItemsProcessed(state.iterations() * kSeeks);
    const double seeks = static_cast<double>(state.iterations()) * kSeeks;
    state.counters["source_bytes"] = static_cast<double>(source.bytes_read) / seeks;
    state.counters["source_calls"] = static_cast<double>(source.calls) / seeks;
}

void ReadHostile(benchmark::State& state, int kind, size_t mib) {
    constexpr auto kMostTime = std::chrono::seconds(4);
    TimedSource source{HostileSource(kind, kSmallRing, mib)};
    for (auto _ : state) {
        source.bytes_read = 0;
        source.Limit(kMostTime);
        Peer(&source).ReadAll();
    }
    state.counters["source_bytes"] = static_cast<double>(source.bytes_read);
    state.counters["was_stopped"] = source.was_stopped ? 1 : 0;
}

const bool added = [] {
    av_log_set_level(AV_LOG_QUIET);
    benchmark::AddCustomContext("peer", "libavformat " AV_STRINGIFY(LIBAVFORMAT_VERSION));
    for (const std::string name : kStreams) {
        Add("read/" + name + "/peer", Read, name);
        Add("seek/" + name + "/peer", Seek, name);
    }
    for (const std::string name : {"bare", "untimed", "tagged"}) {
        Add("open/" + name + "/peer", Open, name, false);
    }
    Add("open/tagged-fresh/peer", Open, std::string("tagged"), true);
    for (int kind = 0; kind < kelflac_streams::kCostlyKindCount; ++kind) {
        for (const size_t mib : {size_t{16}, size_t{2}}) {
            const std::string name =
                std::string("hostile/") + kelflac_streams::kCostlyKinds[kind] + "/peer/";
            Add(name + std::to_string(mib), ReadHostile, kind, mib)
                ->Unit(benchmark::kMillisecond)
                ->Iterations(1);
        }
    }
    return true;
}();

}  // namespace
}  // namespace kelflac_bench
