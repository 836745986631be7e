// Seeking: finds the frame that holds a time, by interpolation over frame numbers.
//
// With a fixed block size, a time gives a frame number: the target. A probe runs the forward search
// from a byte position and reads the number of the frame found. The brackets are the nearest known
// places before and after the target: at first the first frame and the end of the file, later
// probes. The next probe is interpolated between the last one and the bracket on the other side of
// the target. All numbers may come from a crafted file: products, sums and differences wrap at 64
// bits.
#include <algorithm>

#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "libextractor/mfal/wrap_arith.h"

namespace {

constexpr int64_t CLOSE_ENOUGH = 2;  // the target and its neighbours are nearer than this
constexpr int HISTORY_SLOTS = 10;
constexpr int HISTORY_RECORDED = 9;  // the last slot is never written and stays 0
constexpr int ENDING_REPEAT = 10;
// A seek ends after its probes have loaded about this many bytes. Without a bound, crafted frame
// numbers could make it endless. Each probe counts as one ring at least. Most seeks take a few
// probes: at most 18 in public test files. Only crafted files, and files that are half digital
// silence, are known to come near the bound. docs/behaviour.md has the figures.
constexpr int64_t MAX_SEARCH_BYTES = int64_t{1} << 32;

/** Frame numbers and positions on both sides of the target. */
struct BRACKETS {
    uint64_t lo_num;
    int64_t lo_pos;
    uint64_t hi_num;
    int64_t hi_pos;
};

/** The first nine different frame numbers that probes met. Ten repeats end the search. */
struct HISTORY {
    uint64_t slots[HISTORY_SLOTS];
    int used;
    int64_t best;  // distance of the recorded number closest to the target
    int best_idx;  // its slot
    int repeats;   // probes that met a number in `slots`
};

/** How far `num` is from the target, 0 or more. For a time below 0 the target holds a negative
    number. The difference never overflows: a target is a 64-bit number divided by 160,000,000 or
    more, and `num` has 36 bits. */
int64_t distance(uint64_t target, uint64_t num) {
    const int64_t ahead = as_signed(wrap_sub_u(target, num));
    return ahead < 0 ? -ahead : ahead;
}

bool was_met(const HISTORY& history, uint64_t num) {
    for (int i = 0; i < history.used; ++i) {
        if (history.slots[i] == num) return true;
    }
    return false;
}

void record(HISTORY* history, uint64_t num, int64_t off_target) {
    if (history->used == 0 || off_target < history->best) {
        history->best = off_target;
        history->best_idx = history->used;
    }
    history->slots[history->used++] = num;
}

/**
 * Records the number that a probe met, if it is one of the first nine different ones. When ten
 * different numbers have been met, each later call sets `num` to the best recorded one. So does the
 * call in which repeats end the search. That call returns true.
 */
bool note_probe(HISTORY* history, uint64_t* num, int64_t off_target) {
    const uint64_t best_num = history->slots[history->best_idx];
    if (was_met(*history, *num)) {
        const bool circling = ++history->repeats == ENDING_REPEAT;
        if (circling || history->used == HISTORY_SLOTS) *num = best_num;
        return circling;
    }
    if (history->used < HISTORY_RECORDED) {
        record(history, *num, off_target);
    } else if (history->used == HISTORY_RECORDED) {
        history->used = HISTORY_SLOTS;
    } else {
        *num = best_num;
    }
    return false;
}

/** span * (target - num) / frames; 0 when `frames` is 0. */
int64_t interpolate(int64_t span, uint64_t target, uint64_t num, uint64_t frames) {
    const int64_t off_target = as_signed(wrap_sub_u(target, num));
    return wrap_div(wrap_mul(span, off_target), as_signed(frames));
}

/** Computes the step from `probe`, then moves the bracket on the side of `num` closer. */
int64_t step_from(BRACKETS* brackets, uint64_t target, uint64_t num, int64_t probe) {
    if (num < target) {
        const int64_t step = interpolate(wrap_sub(brackets->hi_pos, probe), target, num,
                                         wrap_sub_u(brackets->hi_num, num));
        if (brackets->lo_num < num) {
            brackets->lo_num = num;
            brackets->lo_pos = probe;
        }
        return step;
    }
    const int64_t step = interpolate(wrap_sub(probe, brackets->lo_pos), target, num,
                                     wrap_sub_u(num, brackets->lo_num));
    if (num < brackets->hi_num) {
        brackets->hi_num = num;
        brackets->hi_pos = probe;
    }
    return step;
}

void move_reader(KELFLACFD_CTX* ctx, int64_t pos) {
    const long long target = pos;
    kelflacf_fal_setpos(&ctx->fal, &target);  // if refused, the reader stays where it is
}

/** Probes until a frame is close enough, or until another rule ends the search. Returns the number
    of the last probe, which note_probe may have replaced. */
uint64_t search(KELFLACFD_CTX* ctx, uint64_t target, int64_t probe, BRACKETS brackets) {
    HISTORY history = {};
    uint64_t num = 0;
    int64_t bytes_left = MAX_SEARCH_BYTES;
    for (;;) {
        const int64_t reach = ctx->fal.reach;
        uint32_t frm_len = 0;
        if (kelflacfd_find_frm(ctx, &frm_len, &num) != KELFLACFD_OK) return num;
        bytes_left -= std::max<int64_t>(ctx->fal.size, ctx->fal.reach - reach);
        const int64_t off_target = distance(target, num);
        if (off_target < CLOSE_ENOUGH) return num;
        if (note_probe(&history, &num, off_target)) return num;
        const int64_t step = step_from(&brackets, target, num, probe);
        if (step == 0 || bytes_left <= 0) return num;
        probe = wrap_add(probe, step);
        move_reader(ctx, probe);
    }
}

}  // namespace

int kelflacfd_seek(KELFLACFD_CTX* ctx, const int64_t* seek_time, int64_t* out_time) {
    if (!kelflacfd_is_open(ctx)) return KELFLACFD_E_HANDLE;
    const KELFLACFD_INFO& info = ctx->info;

    const int64_t frame_bytes = wrap_div(int64_t{info.max_block} * info.byte_rate, info.hz);
    const int64_t target = wrap_div(wrap_div(wrap_mul(*seek_time, info.hz), info.max_block),
                                    KELFLACFD_TICKS_PER_SECOND);
    const int64_t probe = wrap_add(wrap_mul(target, frame_bytes), ctx->first_frm_pos);
    move_reader(ctx, probe);  // the reader stays here if no move to the end is made

    const int64_t size = source_size(&ctx->fal);
    if (size < info.max_frm_size) return KELFLACFD_E_MALFORMED;
    BRACKETS brackets = {0, ctx->first_frm_pos, 0, size};
    const int result = kelflacfd_find_last_frm(ctx, size, &brackets.hi_num);
    if (result != KELFLACFD_OK) return result;
    move_reader(ctx, probe);

    const uint64_t num = search(ctx, as_unsigned(target), probe, brackets);
    *out_time = frm_time_or_0(info, num);
    ctx->full_check_count = KELFLACFD_FULL_CHECK_COUNT;
    return KELFLACFD_OK;
}
