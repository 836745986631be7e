// The plug-in, linked into the test program, and a framework that drives it, with source and log.
#pragma once

#include <gtest/gtest.h>

#include <mutex>
#include <stdexcept>
#include <utility>

#include "host/log.h"
#include "tools/host/memory_source.h"
#include "tools/host/player.h"
#include "tools/streams/stream_builder.h"

extern "C" android::ExtractorDef GETEXTRACTORDEF();

namespace kelflac_test {

using namespace kelflac_host;
using namespace kelflac_streams;

/** Lines "priority tag text" (no tag: "-") since the last call. The first call starts the log. */
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

/** The result of one read. */
struct Packet {
    media_status_t status;
    Bytes bytes;
    std::string meta;  ///< As from Entries.
};

/** A player of the plug-in with its source and a format. A new session empties the log. At the end
    the extractor is freed before its track. */
struct Session : OwnSource, Player {
    explicit Session(Bytes bytes, const Hook& hook = {})
        : OwnSource{MemorySource(std::move(bytes), hook)},
          Player(GETEXTRACTORDEF(), source.slots()) {
        source.counts.clear();
        TakeLog();
    }
    ~Session() { extractor.reset(); }
    Player& Claimed() {  ///< Throws if there is no extractor.
        if (extractor == nullptr) throw std::runtime_error("set-up: the stream has no extractor");
        return *this;
    }
    std::string TrackFormat() { return Entries(Claimed().TrackFormat(meta), meta); }
    std::string FileMeta() { return Entries(Claimed().FileMeta(meta), meta); }
    Packet Read(uint32_t options = 0, int64_t seek_us = 0) {  ///< Releases the buffer.
        if (!group->has_buffers(group->handle))
            throw std::runtime_error("no buffer is free: the read might never return");
        const auto [status, b] = Next(options, seek_us);
        if (b == nullptr) return {status, {}, {}};
        const auto* data = static_cast<uint8_t*>(b->data(b->handle)) + b->range_offset(b->handle);
        return {status, Bytes(data, data + b->range_length(b->handle)),
                Entries(status, b->meta_data(b->handle))};
    }

    Owned<AMediaFormat> owned_meta{AMediaFormat_new()};
    AMediaFormat* const meta = owned_meta.get();  ///< Empty between calls.
};

/** A session whose track is started. */
struct Started : Session {
    explicit Started(Bytes bytes, const Hook& hook = {}) : Session(std::move(bytes), hook) {
        if (Claimed().Start() != AMEDIA_OK) throw std::runtime_error("set-up: the start fails");
    }
};

}  // namespace kelflac_test
