// libavformat over the same bytes, served from memory in the same way: the measure of a
// general-purpose demuxer, not a part of the product.
#include <benchmark/benchmark.h>

extern "C" {
#include <libavformat/avformat.h>
}

#include <random>

#include "bench/memory_source.h"
#include "bench/streams.h"

namespace kelflac_bench {
namespace {

constexpr int kChunk = 4096;

int ReadPacket(void* opaque, uint8_t* to, int wanted) {
    const int count = static_cast<MemorySource*>(opaque)->Read(to, wanted);
    return count > 0 ? count : AVERROR_EOF;
}

int64_t SeekTo(void* opaque, int64_t offset, int whence) {
    auto* source = static_cast<MemorySource*>(opaque);
    const auto size = static_cast<int64_t>(source->bytes->size());
    if (whence == AVSEEK_SIZE) return size;
    ++source->calls;
    return source->pos = offset + (whence == SEEK_CUR   ? source->pos
                                   : whence == SEEK_END ? size
                                                        : 0);
}

/** One open file; `format` is null when it could not be opened. */
struct Peer {
    AVIOContext* io;
    AVFormatContext* format = avformat_alloc_context();
    AVPacket* packet = av_packet_alloc();

    explicit Peer(MemorySource* source) {
        source->pos = 0;
        auto* buffer = static_cast<uint8_t*>(av_malloc(kChunk));
        io = avio_alloc_context(buffer, kChunk, 0, source, ReadPacket, nullptr, SeekTo);
        format->pb = io;
        if (avformat_open_input(&format, nullptr, nullptr, nullptr) == 0) {
            avformat_find_stream_info(format, nullptr);
        }
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
};

void Read(benchmark::State& state, const std::string& name) {
    MemorySource source{&Encoded(name)};
    int64_t total = 0;
    for (auto _ : state) {
        Peer peer(&source);
        for (int size = 0; (size = peer.Next()) >= 0;) total += size;
    }
    state.SetBytesProcessed(total);
}

void Open(benchmark::State& state, const Bytes& stream) {
    MemorySource source{&stream};
    for (auto _ : state) Peer peer(&source);
}

void Seek(benchmark::State& state, const std::string& name) {
    MemorySource source{&Encoded(name)};
    Peer peer(&source);
    std::mt19937_64 random(1);
    const auto duration = static_cast<uint64_t>(peer.format->duration);
    for (auto _ : state) {
        av_seek_frame(peer.format, -1, static_cast<int64_t>(random() % duration),
                      AVSEEK_FLAG_BACKWARD);
        peer.Next();
    }
}

const bool registered = [] {
    using benchmark::RegisterBenchmark;
    av_log_set_level(AV_LOG_QUIET);
    for (const std::string name : {"16-44", "24-96", "24-192x6"}) {
        RegisterBenchmark(("peer/searched/" + name).c_str(), Read, name);
        RegisterBenchmark(("peer/seek/" + name).c_str(), Seek, name);
    }
    static const Bytes bare = Tagged(0, 0, true), tagged = Tagged(4 << 20, 100 << 10, true);
    RegisterBenchmark("peer/open/bare", [](benchmark::State& s) { Open(s, bare); });
    RegisterBenchmark("peer/open/tagged", [](benchmark::State& s) { Open(s, tagged); });
    return true;
}();

}  // namespace
}  // namespace kelflac_bench
