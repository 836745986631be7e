// The plug-in as a framework drives it: through its callback tables alone.
#include <host/data_source.h>
#include <host/media.h>

#include <cstdlib>

#include "bench/harness.h"
#include "bench/streams.h"

extern "C" android::ExtractorDef GETEXTRACTORDEF();

namespace kelflac_bench {
namespace {

/** One started track. */
struct Playback {
    host::MemorySource source;
    android::CMediaExtractor* extractor;
    android::CMediaTrack* track;
    android::CMediaBufferGroup* group = host::newBufferGroup();

    explicit Playback(const Bytes& file) : source(file.data(), file.size()) {
        float confidence = 0;
        const auto create =
            GETEXTRACTORDEF().u.v3.sniff(source.slots(), &confidence, nullptr, nullptr);
        extractor = create(source.slots(), nullptr);
        track = extractor->getTrack(extractor->data, 0);
        track->start(track->data, group);
    }
    ~Playback() {
        track->stop(track->data);
        track->free(track->data);
        extractor->free(extractor->data);
        free(track);
        free(extractor);
        host::deleteBufferGroup(group);
    }
    Playback(const Playback&) = delete;
};

/** The time at which the buffer's frame ends, in microseconds. */
int64_t EndTime(const android::CMediaBuffer& buffer) {
    int64_t start = 0, duration = 0;
    AMediaFormat* meta = buffer.meta_data(buffer.handle);
    AMediaFormat_getInt64(meta, AMEDIAFORMAT_KEY_TIME_US, &start);
    AMediaFormat_getInt64(meta, AMEDIAFORMAT_KEY_DURATION, &duration);
    return start + duration;
}

/** Reads to the end, with a seek to where the last read ended as often as searched reads need it.
    Returns the bytes delivered. */
int64_t PlayAll(android::CMediaTrack* track) {
    int64_t total = 0, end_us = 0;
    for (int reads = 1;; ++reads) {
        const bool seeks = reads % kSearched == 0;
        const uint32_t options = seeks ? uint32_t{android::CMediaTrackReadOptions::SEEK} : 0;
        android::CMediaBuffer* buffer = nullptr;
        if (track->read(track->data, &buffer, options, end_us) != AMEDIA_OK) return total;
        total += static_cast<int64_t>(buffer->range_length(buffer->handle));
        end_us = EndTime(*buffer);
        buffer->release(buffer->handle);
    }
}

void Read(benchmark::State& state, const std::string& name) {
    const Bytes& file = Encoded(name);
    int64_t total = 0;
    for (auto _ : state) {
        Playback playback(file);
        total += PlayAll(playback.track);
    }
    const auto whole = state.iterations() * static_cast<int64_t>(file.size());
    if (total < whole / 100 * 99) return state.SkipWithError("not read to the end");
    state.SetBytesProcessed(total);
}

const bool added = [] {
    for (const std::string name : kStreams) Add("read/" + name + "/plugin", Read, name);
    return true;
}();

}  // namespace
}  // namespace kelflac_bench
