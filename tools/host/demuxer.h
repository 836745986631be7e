// Plays the demuxer's caller: one open over a source.
#pragma once

#include "libextractor/flac/demuxer/kelflacfd.h"
#include "tools/host/memory_source.h"

namespace kelflac_host {

/** The result of one read. */
struct Frame {
    int status = 0;
    std::vector<uint8_t> bytes;  ///< Empty unless Read succeeded.
    int64_t time = -1, next_time = -1;
    uint32_t length = 0;
};

/** One open over a source, which outlives it. Closes at the end of its scope. */
struct DemuxerPlayer {
    explicit DemuxerPlayer(MemorySource* over, int64_t in_duration = 0) {
        _KELCMN_MFAL record = over->Record();
        ctx = kelflacfd_create(&record, &in_duration, &info, &err);
    }
    ~DemuxerPlayer() { kelflacfd_delete(ctx); }
    DemuxerPlayer(const DemuxerPlayer&) = delete;
    DemuxerPlayer& operator=(const DemuxerPlayer&) = delete;

    // For an open stream:
    /** Reads into a buffer of `room` bytes. A null buffer gives only length and times. */
    Frame ReadTo(uint8_t* to, int32_t room) const {
        Frame frame;
        frame.status =
            kelflacfd_get_frm(ctx, to, room, &frame.length, &frame.time, &frame.next_time);
        return frame;
    }
    /** With a room of 0, only looks at the next frame: `bytes` then has `length` zeros. */
    Frame Read(int32_t room = 102400) const {
        std::vector<uint8_t> bytes(static_cast<size_t>(room));
        Frame frame = ReadTo(room != 0 ? bytes.data() : nullptr, room);
        bytes.resize(frame.status == 0 ? frame.length : 0);
        frame.bytes = std::move(bytes);
        return frame;
    }
    int Seek(int64_t time, int64_t* landed = nullptr) const {
        int64_t unused = 0;
        return kelflacfd_seek(ctx, &time, landed != nullptr ? landed : &unused);
    }

    KELFLACFD_INFO info = {99};  ///< Codec 99: the demuxer has not written it.
    int err = 99;
    KELFLACFD_CTX* ctx = nullptr;  ///< Null: not opened.
};

}  // namespace kelflac_host
