// A reader or a demuxer over a source that records its calls.
#pragma once

#include <stdexcept>

#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "tools/host/demuxer.h"
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
};

/** One open over the test's bytes. */
struct Demuxer : OwnSource, DemuxerPlayer {
    explicit Demuxer(Bytes bytes, const Hook& hook = {}, int64_t in_duration = 0)
        : OwnSource{MemorySource(std::move(bytes), hook)}, DemuxerPlayer(&source, in_duration) {}
};

/** The same. The stream must open. */
struct Opened : Demuxer {
    explicit Opened(Bytes bytes) : Demuxer(std::move(bytes)) {
        if (ctx == nullptr)
            throw std::runtime_error("set-up: a sound stream does not open, status " +
                                     std::to_string(err));
    }
};

}  // namespace kelflac_test
