#include "session.h"

namespace kelflac {
Run walkFrames(Session& session, std::optional<int64_t> from_us, const FrameHandler& handle) {
    std::optional<int64_t> newest_us;
    Run all;
    for (;;) {
        const std::optional<int64_t> seen_us = newest_us;
        bool advanced = false;
        Run run = session.read(from_us, [&](const Frame& frame) {
            if (!frame.single) return false;
            const int64_t time_us = frame.time_us.value_or(0);
            if (!advanced && time_us <= seen_us) return true;
            advanced = true;
            newest_us = time_us;
            // The middle, because the truncated start may lie in the frame before.
            from_us = time_us + frame.duration_us.value_or(0) / 2;
            return handle(frame);
        });
        if (all.failure.empty()) all.failure = run.failure;
        all.refused += run.refused;
        if (run.pieces > 0 && newest_us > seen_us) continue;
        run.failure = all.failure;
        run.refused = all.refused;
        return run;
    }
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
