// Ways through a stream: frame by frame, and by seeks.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "session.h"

namespace kelflac {

// The track must be started; its position is lost.

/** Reads from `from_us` on, or from where the track stands, as single frames. Where the plug-in
    stops searching, a seek to the newest frame starts it again. Frames come in order and once; one
    is missed where such a seek lands behind it. Returns the last run, with the first failure. */
Run walkFrames(Session& session, std::optional<int64_t> from_us, const FrameHandler& handle);

/** Takes a time asked for and the frame landed on, null when there was none. */
using SeekHandler = std::function<void(int64_t asked_us, const Frame* frame)>;

/** Seeks to 11 evenly spaced times from 0 to the stated duration; to none on a track that can't. */
void seekEvenly(Session& session, const SeekHandler& handle);

}  // namespace kelflac
