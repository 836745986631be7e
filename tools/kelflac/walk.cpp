#include "walk.h"

#include <algorithm>

#include "text.h"

namespace kelflac {
namespace {

/** Reads the stream's last frames. A seek near the end may meet the end of the data instead of a
    frame, or land far off: it starts at the end and falls back twice as far each time. */
std::optional<int64_t> findEnd(Session& session) {
    constexpr int64_t kFirstStepUs = 1'000'000;
    for (int64_t back_us = 0;; back_us = 2 * back_us + kFirstStepUs) {
        const int64_t from_us = std::max<int64_t>(session.durationUs() - back_us, 0);
        const Run run = walkFrames(session, from_us, [](const Frame&) { return true; });
        if (run.end_us || from_us == 0) return run.end_us;
    }
}

}  // namespace

Run walkFrames(Session& session, std::optional<int64_t> from_us, const FrameHandler& handle) {
    std::optional<int64_t> newest_us;
    std::string failure;
    for (;;) {
        const std::optional<int64_t> seen_us = newest_us;
        bool advanced = false;
        Run run = session.read(from_us, [&](const Frame& frame) {
            if (!frame.single) return false;
            const int64_t time_us = frame.time_us.value_or(0);
            if (!advanced && time_us <= seen_us) return true;
            advanced = true;
            newest_us = time_us;
            // The middle of the frame: truncated, its start may lie in the one before.
            from_us = time_us + frame.duration_us.value_or(0) / 2;
            return handle(frame);
        });
        if (failure.empty()) failure = run.failure;
        if (run.pieces > 0 && newest_us > seen_us) continue;
        run.failure = failure;
        return run;
    }
}

std::optional<int64_t> missingAudio(Session& session, std::optional<int64_t> end_us) {
    constexpr int64_t kRoundingUs = 2;  // Time, duration and total are each truncated.
    off64_t size = 0;
    if (session.input().getSize(&size) != android::OK) return std::nullopt;
    if (!end_us) end_us = findEnd(session);
    if (!end_us) return std::nullopt;
    const int64_t missing_us = session.durationUs() - *end_us;
    return missing_us > kRoundingUs ? missing_us : 0;
}

std::string truncationText(std::optional<int64_t> missing_us) {
    if (missing_us.value_or(0) == 0) return "";
    return "the last " + durationText(*missing_us) +
           " of the stated duration have no frames: truncated, or of another block size than "
           "stated";
}

void seekEvenly(Session& session, const SeekHandler& handle) {
    constexpr int kSteps = 10;
    for (int step = 0; step <= kSteps && session.canSeek(); ++step) {
        const int64_t asked_us = session.durationUs() * step / kSteps;
        const Run run = session.read(asked_us, [&](const Frame& frame) {
            handle(asked_us, &frame);
            return false;
        });
        if (run.buffers == 0) handle(asked_us, nullptr);
    }
}

}  // namespace kelflac
