// The plug-in as the framework drives it, by its tables, over a source that misbehaves.
#include <host/media.h>
#include <host/media_format.h>

#include "fuzz/fuzzing.h"

extern "C" android::ExtractorDef GETEXTRACTORDEF();

static void Read(Source* source, android::CMediaTrack* track, uint32_t options) {
    const bool seeks = (options & android::SEEK) != 0;
    const int64_t time = seeks ? source->Take64() >> source->Take(63) : 0;
    android::CMediaBuffer* b = nullptr;
    source->Note(track->read(track->data, &b, options, time));
    if (b == nullptr) return;
    const size_t length = b->range_length(b->handle);
    assert(length > 0 && b->range_offset(b->handle) == 0);
    assert(memmem(source->file.data(), source->file.size(), b->data(b->handle), length) != nullptr);
    b->release(b->handle);
}

void Run(Source* source) {
    float confidence = 0;
    android::CDataSource* const slots = source->slots();
    const auto create = GETEXTRACTORDEF().u.v3.sniff(slots, &confidence, nullptr, nullptr);
    if (create == nullptr) return;
    android::CMediaExtractor* const extractor = create(slots, nullptr);
    void* const data = extractor->data;
    android::CMediaTrack* track = nullptr;
    android::CMediaBufferGroup* const group = host::newBufferGroup();
    AMediaFormat* const format = AMediaFormat_new();
    bool started = false;
    for (int ops = 30, opens = 3; ops > 0 && source->script.remaining_bytes() > 0; --ops) {
        const auto op = static_cast<uint32_t>(source->Take()), kind = op % 16, index = op / 128;
        if (kind == 1) source->Note(extractor->getTrackMetaData(data, format, index, 0));
        if (kind == 2) source->Note(extractor->getMetaData(data, format));
        if (kind == 3) source->Note(extractor->flags(data));
        if (kind == 4 && track == nullptr) track = extractor->getTrack(data, index);
        if (kind < 5 && extractor->countTracks(data) == 0 && --opens == 0) break;
        if (kind == 5 && track != nullptr) track->getFormat(track->data, format);
        for (int i = kind < 8 ? 50 : kind < 15 ? 49 : 0; started && i < 50; ++i)
            Read(source, track, op / 16);
        if (track == nullptr || kind < 6 || kind > 7) continue;
        if (kind == 6 && started) track->stop(track->data);
        started = kind == 6 && !started && track->start(track->data, group) == AMEDIA_OK;
        if (kind == 7) track->free(track->data), free(std::exchange(track, nullptr));
    }
    host::FormatEntry e;
    for (size_t i = 0; host::formatEntry(format, i, &e); ++i)
        source->answers.append(static_cast<const char*>(e.data), e.size);
    extractor->free(data);  // a track may outlive it, but not be used
    if (track != nullptr) track->free(track->data);
    free(track);
    free(extractor);
    AMediaFormat_delete(format);
    host::deleteBufferGroup(group);
}
