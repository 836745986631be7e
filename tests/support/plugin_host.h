// Plays the framework: drives the plug-in, linked in, by its tables.
#pragma once

#include <host/log.h>
#include <host/media_format.h>

#include <mutex>
#include <utility>

#include "tools/host/memory_source.h"
#include "tools/host/player.h"
#include "tools/streams/stream_builder.h"

extern "C" android::ExtractorDef GETEXTRACTORDEF();

namespace kelflac_test {

using namespace kelflac_host;
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

struct Packet {
    media_status_t status;
    Bytes bytes;
    std::string meta;  ///< As from Entries.
};

/** Owns the source that a Session's player needs first. */
struct SessionSource {
    MemorySource source;  ///< Counts from the creation of the extractor on.
};

/** A player of the plug-in with its source and a format, for tests to use also directly. A new
    session empties the log. In the end the extractor is freed before its track. */
struct Session : SessionSource, Player {
    explicit Session(Bytes bytes, const Hook& hook = {})
        : SessionSource{MemorySource(std::move(bytes), hook)},
          Player(GETEXTRACTORDEF(), source.slots()) {
        source.counts.clear();
        TakeLog();
    }
    ~Session() { extractor.reset(); }
    std::string TrackFormat() { return Entries(Player::TrackFormat(meta), meta); }
    std::string FileMeta() { return Entries(Player::FileMeta(meta), meta); }
    Packet Read(uint32_t options = 0, int64_t seek_us = 0) {  ///< Releases the buffer again.
        if (!group->has_buffers(group->handle)) abort();      // the read would wait for ever
        const auto [status, b] = Next(options, seek_us);
        if (b == nullptr) return {status, {}, {}};
        const auto* data = static_cast<uint8_t*>(b->data(b->handle)) + b->range_offset(b->handle);
        return {status, Bytes(data, data + b->range_length(b->handle)),
                Entries(status, b->meta_data(b->handle))};
    }

    Owned<AMediaFormat> owned_meta{AMediaFormat_new()};
    AMediaFormat* const meta = owned_meta.get();  ///< Empty between calls; also for tests.
};

}  // namespace kelflac_test
