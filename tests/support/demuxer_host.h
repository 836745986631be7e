// A demuxer over a recording source, and what the tests ask of it.
#pragma once

#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "tools/host/demuxer.h"
#include "tools/streams/stream_builder.h"

namespace kelflac_test {

using namespace kelflac_host;
using namespace kelflac_streams;

/** One open over bytes of the test's. */
struct Demuxer : OwnSource, DemuxerPlayer {
    explicit Demuxer(Bytes bytes, const Hook& hook = {}, int64_t in_duration = 0)
        : OwnSource{MemorySource(std::move(bytes), hook)}, DemuxerPlayer(&source, in_duration) {}
};

}  // namespace kelflac_test
