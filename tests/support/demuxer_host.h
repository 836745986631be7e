// A demuxer over a recording source, and what the tests ask of it.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "tools/host/memory_source.h"
#include "tools/streams/stream_builder.h"

namespace kelflac_test {

using namespace kelflac_host;
using namespace kelflac_streams;

/** A reader over a source. */
struct Reader : KELFLACF_FAL {
    MemorySource source;
    int created;

    explicit Reader(Bytes bytes, Hook hook = {}, int hint = 4096)
        : source(std::move(bytes), std::move(hook)) {
        _KELCMN_MFAL record = source.Record();
        created = kelflacf_fal_create(this, &record, hint);
    }
    ~Reader() { kelflacf_fal_delete(this); }

    int SetPos(long long target) { return kelflacf_fal_setpos(this, &target); }
};

/** What one read gave. */
struct Frame {
    int status = 0;
    Bytes bytes;  ///< Empty unless a frame was delivered.
    int64_t time = -1, next_time = -1;
    uint32_t length = 0;
};

/** One open, closed at the end of its scope. */
struct Demuxer {
    MemorySource source;
    KELFLACFD_INFO info = {};
    int err = 99;
    KELFLACFD_CTX* ctx = nullptr;

    explicit Demuxer(Bytes bytes, Hook hook = {}, int64_t in_duration = 0)
        : source(std::move(bytes), std::move(hook)) {
        _KELCMN_MFAL record = source.Record();
        ctx = kelflacfd_create(&record, &in_duration, &info, &err);
    }
    ~Demuxer() { kelflacfd_delete(ctx); }
    Demuxer(const Demuxer&) = delete;

    /** Without room it looks, and gives as many zeros. */
    Frame Read(int32_t buf_size = 102400) {
        Frame frame;
        frame.bytes.resize(static_cast<size_t>(buf_size));
        frame.status = kelflacfd_get_frm(ctx, buf_size != 0 ? frame.bytes.data() : nullptr,
                                         buf_size, &frame.length, &frame.time, &frame.next_time);
        frame.bytes.resize(frame.status == 0 ? frame.length : 0);
        return frame;
    }
    int Seek(int64_t time, int64_t* landed = nullptr) {
        int64_t unused = 0;
        return kelflacfd_seek(ctx, &time, landed != nullptr ? landed : &unused);
    }
};

}  // namespace kelflac_test
