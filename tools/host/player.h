// Plays the framework: drives a plug-in over one source, only through the callback tables.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/media.h"
#include "host/media_format.h"
#include "media/MediaExtractorPluginApi.h"

namespace kelflac_host {

/** Frees a player's objects. */
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

/** The result of one read. It releases its buffer. Destroy it before the next read. */
struct Read {
    media_status_t status;
    Owned<android::CMediaBuffer> buffer;  ///< Null unless the status is AMEDIA_OK.

    // For a buffer:
    /** The bytes in use. */
    std::string_view Bytes() const {
        const auto* data = static_cast<const char*>(buffer->data(buffer->handle));
        return {data + buffer->range_offset(buffer->handle), buffer->range_length(buffer->handle)};
    }
    /** A number of its meta data. */
    std::optional<int64_t> Int64(const char* key) const {
        int64_t value = 0;
        if (!AMediaFormat_getInt64(buffer->meta_data(buffer->handle), key, &value)) return {};
        return value;
    }
};

/** One source's life in a plug-in, step by step. The members may be taken out and replaced. The
    source must outlive the player. Use one thread at a time, unless the plug-in allows more. */
struct Player {
    /** Sniffs the source, and makes an extractor if it is claimed. */
    Player(const android::ExtractorDef& plugin, android::CDataSource* source) {
        void* meta = nullptr;
        android::FreeMetaFunc free_meta = nullptr;
        const auto create = plugin.u.v3.sniff(source, &confidence, &meta, &free_meta);
        claimed = create != nullptr;
        if (claimed) extractor.reset(create(source, meta));
        if (meta != nullptr && free_meta != nullptr) free_meta(meta);
    }

    // With an extractor:
    size_t CountTracks() const { return extractor->countTracks(extractor->data); }
    uint32_t Flags() const { return extractor->flags(extractor->data); }
    /** Fills `to` with the track format. Returns the extractor's status. */
    media_status_t TrackFormat(AMediaFormat* to) const {
        return extractor->getTrackMetaData(extractor->data, to, 0, 0);
    }
    /** Fills `to` with the tags and the art. Returns the extractor's status. */
    media_status_t FileMeta(AMediaFormat* to) const {
        return extractor->getMetaData(extractor->data, to);
    }
    /** Makes the track if there is none, and starts it. Returns the track's status, or
        AMEDIA_ERROR_INVALID_OBJECT without a track or a group. */
    media_status_t Start() {
        if (track == nullptr) track.reset(extractor->getTrack(extractor->data, 0));
        if (track == nullptr || group == nullptr) return AMEDIA_ERROR_INVALID_OBJECT;
        return track->start(track->data, group.get());
    }
    /** Reads the next buffer; with SEEK set, the one at `seek_us`. The track must be started. */
    Read Next(uint32_t options = 0, int64_t seek_us = 0) const {
        android::CMediaBuffer* buffer = nullptr;
        const media_status_t status = track->read(track->data, &buffer, options, seek_us);
        return {status, Owned<android::CMediaBuffer>(buffer)};
    }

    float confidence = 0;  ///< The sniffer's, where it has claimed the source.
    bool claimed = false;
    // Freed from the last to the first: the track uses the others.
    Owned<android::CMediaExtractor> extractor;  ///< Null: not claimed, or no memory.
    Owned<android::CMediaBufferGroup> group{host::newBufferGroup()};
    Owned<android::CMediaTrack> track;
};

/** Returns the entries of a format and clears it. For example
    "rate=1, time=1L, mime='audio/flac', csd-0=<bytes>, ". Returns the status instead if that is not
    AMEDIA_OK. */
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
