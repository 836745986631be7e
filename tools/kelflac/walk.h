// Ways through a stream: frame by frame, to its end, and by seeks.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "session.h"

namespace kelflac {

// The track must be started; its position is lost.

/** Reads from `from_us` on, or from where the track stands, as single frames. Where the plug-in
    stops searching, a seek to the newest frame starts it again. Frames come in order and once; one
    is missed where such a seek lands behind it. Returns the last run, with the first failure. */
Run walkFrames(Session& session, std::optional<int64_t> from_us, const FrameHandler& handle);

/**
 * How much of the duration that the track format states lies behind the end of the last frame.
 *
 * More than 0 means a truncated file, or one whose blocks are not of the stated size. A cut within
 * the last frame goes unnoticed: a frame's first bytes tell its number, none its length. A stream
 * that does not state its length promises what it has.
 *
 * @param end_us where the last frame ends, if known (Run::end_us), else seeks look for it.
 * @return microseconds, or nothing when the last frame was not seen or the source does not tell its
 *     size: without it the plug-in never hands out the last frame.
 */
std::optional<int64_t> missingAudio(Session& session, std::optional<int64_t> end_us);

/** A warning about a result of missingAudio; empty when there is no reason for one. */
std::string truncationText(std::optional<int64_t> missing_us);

/** Takes a time asked for and the frame landed on, null when there was none. */
using SeekHandler = std::function<void(int64_t asked_us, const Frame* frame)>;

/** Seeks to 11 evenly spaced times from 0 to the stated duration; to none on a track that can't. */
void seekEvenly(Session& session, const SeekHandler& handle);

}  // namespace kelflac
