// Plays the framework: one source in a plug-in's hands, through the callback tables alone.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "host/media.h"
#include "host/media_format.h"
#include "media/MediaExtractorPluginApi.h"

namespace kelflac_host {

/** Gives things of the platform back. */
struct Deleter {
    void operator()(AMediaFormat* format) const { AMediaFormat_delete(format); }
    void operator()(android::CMediaBuffer* buffer) const { buffer->release(buffer->handle); }
    void operator()(android::CMediaBufferGroup* group) const {
        if (!host::deleteBufferGroup(group)) abort();  // a buffer was never released
    }
    template <class Table>
    void operator()(Table* table) const {
        table->free(table->data);
        ::free(table);
    }
};
template <class Thing>
using Owned = std::unique_ptr<Thing, Deleter>;

/** What one read gave. The buffer is released with it, and must be before the next read. */
struct Read {
    media_status_t status;
    Owned<android::CMediaBuffer> buffer;  ///< Null unless the status is AMEDIA_OK.
};

/** One source's life in a plug-in, by hand: its parts may be taken out and replaced. The source
    outlives it. One thread at a time, where the plug-in doesn't allow for more. */
struct Player {
    /** Sniffs the source, and has an extractor made when it is claimed. */
    Player(const android::ExtractorDef& plugin, android::CDataSource* source) {
        float confidence = 0;
        const auto create = plugin.u.v3.sniff(source, &confidence, nullptr, nullptr);
        if (create != nullptr) extractor.reset(create(source, nullptr));
    }

    // For a claimed source:
    size_t CountTracks() const { return extractor->countTracks(extractor->data); }
    uint32_t Flags() const { return extractor->flags(extractor->data); }
    /** Fills `to`. Returns the extractor's status. */
    media_status_t TrackFormat(AMediaFormat* to) const {
        return extractor->getTrackMetaData(extractor->data, to, 0, 0);
    }
    /** Likewise, with the tags and the art. */
    media_status_t FileMeta(AMediaFormat* to) const {
        return extractor->getMetaData(extractor->data, to);
    }
    /** Makes the track, where there is none, and starts it. Returns the track's status;
        AMEDIA_ERROR_INVALID_OBJECT where none can be had. */
    media_status_t Start() {
        if (track == nullptr) track.reset(extractor->getTrack(extractor->data, 0));
        if (track == nullptr || group == nullptr) return AMEDIA_ERROR_INVALID_OBJECT;
        return track->start(track->data, group.get());
    }
    /** Reads on, or with SEEK among the options from `seek_us`. The track must be started. */
    Read Next(uint32_t options = 0, int64_t seek_us = 0) const {
        android::CMediaBuffer* buffer = nullptr;
        const media_status_t status = track->read(track->data, &buffer, options, seek_us);
        return {status, Owned<android::CMediaBuffer>(buffer)};
    }

    // Freed from the last to the first: each uses those above it.
    Owned<android::CMediaExtractor> extractor;  ///< Null: not claimed, or no memory.
    Owned<android::CMediaBufferGroup> group{host::newBufferGroup()};
    Owned<android::CMediaTrack> track;
};

/** Empties a format. Its entries, as "rate=1, time=1L, mime='audio/flac', csd-0=<bytes>, "; the
    status when that is not AMEDIA_OK. */
inline std::string Entries(media_status_t status, AMediaFormat* format) {
    if (status != AMEDIA_OK) return std::to_string(status);
    constexpr const char* kMarks[][2] = {{"=", ""}, {"=", "L"}, {"='", "'"}, {"=<", ">"}};
    std::string out;
    host::FormatEntry e;
    for (size_t i = 0; host::formatEntry(format, i, &e); i++) {
        const auto& [open, close] = kMarks[static_cast<int>(e.type)];
        const std::string data(static_cast<const char*>(e.data), e.size);
        out.append(e.key).append(open);
        out += (e.data != nullptr ? data : std::to_string(e.number)) + close + ", ";
    }
    AMediaFormat_clear(format);
    return out;
}

}  // namespace kelflac_host
