// Benchmarks of libavformat, a general-purpose demuxer, over the same bytes in memory. The plug-in
// doesn't use it.
extern "C" {
#include <libavformat/avformat.h>
}

#include "bench/harness.h"

namespace {

int ReadPacket(void* opaque, uint8_t* to, int wanted) {
    auto* source = static_cast<Source*>(opaque);
    const ssize_t count = source->readAt(source->pos, to, static_cast<size_t>(wanted));
    return count > 0 ? static_cast<int>(count) : AVERROR_EOF;
}

int64_t SeekTo(void* opaque, int64_t offset, int whence) {
    auto* source = static_cast<Source*>(opaque);
    if (whence == AVSEEK_SIZE) return source->Size();
    const int64_t from = whence == SEEK_CUR ? source->pos : whence == SEEK_END ? source->Size() : 0;
    return source->pos = from + offset;
}

/** One open file. */
struct Peer {
    AVIOContext* io;
    AVFormatContext* format = avformat_alloc_context();
    AVPacket* packet = av_packet_alloc();
    explicit Peer(Source* source) {
        source->pos = 0;
        auto* bytes = static_cast<uint8_t*>(av_malloc(kChunkBytes));
        io = avio_alloc_context(bytes, kChunkBytes, 0, source, ReadPacket, nullptr, SeekTo);
        format->pb = io;
        if (avformat_open_input(&format, nullptr, nullptr, nullptr) != 0) abort();
    }
    ~Peer() {
        av_packet_free(&packet);
        avformat_close_input(&format);
        av_freep(&io->buffer);
        avio_context_free(&io);
    }
    Peer(const Peer&) = delete;

    bool Next() {
        const bool there = av_read_frame(format, packet) >= 0;
        av_packet_unref(packet);
        return there;
    }
};

void Read(benchmark::State& state, const Stream& stream) {
    Source& source = *stream.source();
    for (auto _ : state)
        for (Peer peer(&source); peer.Next();) continue;
    state.SetBytesProcessed(state.iterations() * source.Size());
}

void OpenOnly(benchmark::State& state, const Stream& stream) {
    Source& source = *stream.source();
    for (auto _ : state) Peer peer(&source);
    state.SetItemsProcessed(state.iterations());
}

void Seek(benchmark::State& state, const Stream& stream) {
    Source& source = *stream.source();
    Peer peer(&source);
    avformat_find_stream_info(peer.format, nullptr);  // finds the duration
    const std::vector<int64_t> times = SeekTimes(peer.format->duration);
    for (auto _ : state) {
        for (const int64_t time : times) {
            av_seek_frame(peer.format, -1, time, AVSEEK_FLAG_BACKWARD);
            peer.Next();
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(times.size()));
}

const bool added = [] {
    av_log_set_level(AV_LOG_QUIET);
    Add("open", "libavformat", OpenOnly);
    Add("music", "libavformat's reads", Read);
    Add("music", "libavformat's seeks", Seek);
    return true;
}();

}  // namespace
