// Benchmarks of the demuxer, and of the plug-in as a framework drives it.
#include "bench/harness.h"
#include "tools/host/player.h"

extern "C" android::ExtractorDef GETEXTRACTORDEF();

namespace {

// Values of KELFLACFD_CTX::full_check_count before each read.
constexpr uint8_t kSearched = KELFLACFD_FULL_CHECK_COUNT, kFixedSize = 0;

/** Opens and reads to the end. Sets the countdown to `full_check_count` before each read. */
void Read(benchmark::State& state, const Stream& stream, uint8_t full_check_count) {
    Source& source = *stream.source();
    for (auto _ : state) {
        const DemuxerPlayer demuxer(&source);
        do {
            demuxer.ctx->full_check_count = full_check_count;
        } while (ReadFrame(demuxer) != KELFLACFD_END);
    }
    state.SetBytesProcessed(state.iterations() * source.Size());
}

void OpenOnly(benchmark::State& state, const Stream& stream) {
    Source& source = *stream.source();
    for (auto _ : state) const DemuxerPlayer demuxer(&source);
    state.SetItemsProcessed(state.iterations());
}

void Seek(benchmark::State& state, const Stream& stream) {
    Source& source = *stream.source();
    const DemuxerPlayer demuxer(&source);
    const std::vector<int64_t> times = SeekTimes(demuxer.info.duration);
    for (auto _ : state) SeekAndRead(demuxer, times);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(times.size()));
}

/** Reads a track to its end. Seeks to the next frame before the countdown ends, so that all frames
    are found by search. Returns the bytes handed out. */
int64_t PlayAll(const kelflac_host::Player& player) {
    int64_t total = 0, start_us = 0, duration_us = 0;
    for (int reads = 0;; ++reads) {
        const bool seeks = reads % KELFLACFD_FULL_CHECK_COUNT == 0;
        const uint32_t options = seeks ? uint32_t{android::CMediaTrackReadOptions::SEEK} : 0;
        const auto [status, given] = player.Next(options, start_us + duration_us);
        if (status != AMEDIA_OK) break;
        total += static_cast<int64_t>(given->range_length(given->handle));
        AMediaFormat* meta = given->meta_data(given->handle);
        AMediaFormat_getInt64(meta, AMEDIAFORMAT_KEY_TIME_US, &start_us);
        AMediaFormat_getInt64(meta, AMEDIAFORMAT_KEY_DURATION, &duration_us);
    }
    return total;
}

void Play(benchmark::State& state, const Stream& stream) {
    Source& source = *stream.source();
    kelflac_host::Player player(GETEXTRACTORDEF(), source.slots());
    player.Start();
    for (auto _ : state)
        if (PlayAll(player) < source.Size() / 100 * 99) abort();  // did not reach the end
    state.SetBytesProcessed(state.iterations() * source.Size());
}

const bool added = [] {
    Add("open", "open", OpenOnly);
    Add("music", "searched reads", Read, kSearched);
    Add("music", "fixed-size reads", Read, kFixedSize);
    Add("music", "seeks", Seek);
    Add("music", "plug-in's reads", Play);
    Add("dense", "searched reads", Read, kSearched);
    Add("hostile", "searched reads", Read, kSearched);
    Add("seek", "", Seek);
    return true;
}();

}  // namespace

BENCHMARK_MAIN();
