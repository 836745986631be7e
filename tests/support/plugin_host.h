// Plays the framework: drives the plug-in, linked in, by its tables.
#pragma once

#include <host/data_source.h>
#include <host/log.h>
#include <host/media.h>
#include <host/media_format.h>

#include <atomic>
#include <mutex>
#include <utility>

#include "tools/streams/stream_builder.h"

extern "C" android::ExtractorDef GETEXTRACTORDEF();

namespace kelflac_test {

using namespace kelflac_streams;

/** Lines "4 tag text" ("-": no tag) logged since the last call. The first call starts the log. */
inline std::string TakeLog() {
    static std::string lines;
    static std::mutex lock;
    const auto take = [](void*, int prio, const char* tag, const char* text) {
        const std::lock_guard<std::mutex> held(lock);
        lines += std::to_string(prio) + " " + (tag != nullptr ? tag : "-") + " " + text + "\n";
    };
    host::setLogSink(take, nullptr);
    host::setLogMinPriority(0);
    const std::lock_guard<std::mutex> held(lock);
    return std::exchange(lines, {});
}

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

/** Bytes in memory that count the calls for them. All may change between calls. */
struct CountingSource : host::DataSource {
    CountingSource(Bytes bytes, bool known) : data(std::move(bytes)), size_known(known) {}
    ssize_t readAt(off64_t offset, void* to, size_t size) override {
        calls++;
        last_offset = offset;
        return failing ? -1 : host::MemorySource(data.data(), data.size()).readAt(offset, to, size);
    }
    android::status_t getSize(off64_t* size) override {
        calls++;
        return size_known ? host::MemorySource(data.data(), data.size()).getSize(size) : -1;
    }
    Bytes data;
    bool size_known, failing = false;  ///< Failing: every read is an error.
    std::atomic<int64_t> calls{0}, last_offset{0};
};

struct Packet {
    media_status_t status;
    Bytes bytes;
    std::string meta;  ///< As from Entries.
};

/** An extractor on a source that the sniffer claims, and its track, for tests to use also directly.
    A new session empties the log. In the end the extractor is freed before its track. */
struct Session {
    explicit Session(Bytes bytes, bool size_known = true) : source(std::move(bytes), size_known) {
        float confidence = 0;
        const auto sniff = GETEXTRACTORDEF().u.v3.sniff;
        extractor = sniff(source.slots(), &confidence, nullptr, nullptr)(source.slots(), nullptr);
        source.calls = 0;
        TakeLog();
    }
    ~Session() {
        extractor->free(extractor->data);
        if (track != nullptr) track->free(track->data);
        free(extractor);
        free(track);
        AMediaFormat_delete(meta);
        if (!host::deleteBufferGroup(group)) abort();  // a buffer was never released
    }
    std::string TrackFormat() {
        return Entries(extractor->getTrackMetaData(extractor->data, meta, 0, 0), meta);
    }
    std::string FileMeta() { return Entries(extractor->getMetaData(extractor->data, meta), meta); }
    media_status_t Start() {  ///< Gets a track when there is none.
        if (track == nullptr) track = extractor->getTrack(extractor->data, 0);
        return track != nullptr ? track->start(track->data, group) : AMEDIA_ERROR_INVALID_OBJECT;
    }
    Packet Read(uint32_t options = 0, int64_t seek_us = 0) {  ///< Releases the buffer again.
        if (!group->has_buffers(group->handle)) abort();      // the read would wait for ever
        android::CMediaBuffer* b = nullptr;
        const media_status_t status = track->read(track->data, &b, options, seek_us);
        if (b == nullptr) return {status, {}, {}};
        const auto* data = static_cast<uint8_t*>(b->data(b->handle)) + b->range_offset(b->handle);
        Packet packet = {status, Bytes(data, data + b->range_length(b->handle)),
                         Entries(status, b->meta_data(b->handle))};
        b->release(b->handle);
        return packet;
    }

    CountingSource source;                    ///< Counts from the creation on.
    AMediaFormat* meta = AMediaFormat_new();  ///< Empty between calls; also for tests.
    android::CMediaBufferGroup* group = host::newBufferGroup();
    android::CMediaExtractor* extractor;
    android::CMediaTrack* track = nullptr;
};

}  // namespace kelflac_test
