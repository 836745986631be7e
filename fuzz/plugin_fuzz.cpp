// The plug-in, driven through its tables, over a source that misbehaves.
#include "fuzz/fuzzing.h"
#include "tools/host/player.h"

extern "C" android::ExtractorDef GETEXTRACTORDEF();

using kelflac_host::Player;

static void Read(Source* source, const Player& player, uint32_t options) {
    const bool seeks = (options & android::SEEK) != 0;
    const int64_t time = seeks ? source->Take64() >> source->Take(63) : 0;
    const auto [status, b] = player.Next(options, time);
    source->Note(status);
    if (b == nullptr) return;
    const size_t length = b->range_length(b->handle);
    assert(length > 0 && b->range_offset(b->handle) == 0);
    assert(memmem(source->data.data(), source->data.size(), b->data(b->handle), length) != nullptr);
}

void Run(Source* source) {
    Player player(GETEXTRACTORDEF(), source->slots());
    if (player.extractor == nullptr) return;
    auto& extractor = player.extractor;
    auto& track = player.track;
    void* const data = extractor->data;
    const kelflac_host::Owned<AMediaFormat> format(AMediaFormat_new());
    bool started = false;
    for (int ops = 30, opens = 3; ops > 0 && source->script.remaining_bytes() > 0; --ops) {
        const auto op = static_cast<uint32_t>(source->Take()), kind = op % 16, index = op / 128;
        if (kind == 1) source->Note(extractor->getTrackMetaData(data, format.get(), index, 0));
        if (kind == 2) source->Note(player.FileMeta(format.get()));
        if (kind == 3) source->Note(player.Flags());
        if (kind == 4 && track == nullptr) track.reset(extractor->getTrack(data, index));
        if (kind < 5 && player.CountTracks() == 0 && --opens == 0) break;
        if (kind == 5 && track != nullptr) track->getFormat(track->data, format.get());
        for (int i = kind < 8 ? 50 : kind < 15 ? 49 : 0; started && i < 50; ++i)
            Read(source, player, op / 16);
        if (track == nullptr || kind < 6 || kind > 7) continue;
        if (kind == 6 && started) track->stop(track->data);
        started = kind == 6 && !started && player.Start() == AMEDIA_OK;
        if (kind == 7) track.reset();
    }
    source->answers += kelflac_host::Entries(AMEDIA_OK, format.get());
    extractor.reset();  // a track may outlive it, without reads
}
