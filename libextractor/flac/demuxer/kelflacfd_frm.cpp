// Finds frames and hands them out.
//
// A frame doesn't say its length (RFC 9639, 9). It ends where the next header of the same kind
// begins, or at the end of the file. The next header is found by search.
#include <algorithm>

#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "libextractor/mfal/wrap_arith.h"

namespace {

/**
 * Moves to the next buffered header and returns true. If there is none, moves to the last three
 * buffered bytes, where a header may begin, and makes one refill step. Then returns whether a
 * header begins there. Fewer than four bytes are no header.
 */
bool move_to_header(KELFLACF_FAL* fal, KELFLACFD_FRM_HDR* hdr) {
    const int offset = find_frm_hdr(fal, hdr);
    if (offset >= 0) {
        kelflacf_fal_skip(fal, offset);
        return true;
    }
    const int buffered = kelflacf_fal_buffered(fal);
    if (buffered >= KELFLACFD_SYNC_BYTES)
        kelflacf_fal_skip(fal, buffered - (KELFLACFD_SYNC_BYTES - 1));
    return check_frm_sync(kelflacf_fal_peek4(fal, 0)) && judge_frm_hdr(fal, 0, hdr) == KELFLACFD_OK;
}

bool buffered_to_end(KELFLACF_FAL* fal, int buffered) {
    const int64_t pos = logical_pos(fal);
    return wrap_add(pos, buffered) == source_size(fal);
}

bool is_too_large(const KELFLACFD_CTX* ctx, int32_t frm_len, int32_t buf_size) {
    return frm_len > buf_size || frm_len > ctx->info.max_frm_size;
}

void set_frm_times(const KELFLACFD_INFO& info, uint64_t frm_num, int64_t* frm_time,
                   int64_t* next_frm_time) {
    if (info.min_block == info.max_block && info.hz < 1) return;
    *frm_time = frm_time_or_0(info, frm_num);
    *next_frm_time = frm_time_or_0(info, wrap_add_u(frm_num, 1));
}

}  // namespace

int64_t kelflacfd_frm_time(const KELFLACFD_INFO* info, uint64_t frm_num) {
    const uint64_t samples = wrap_mul_u(frm_num, as_unsigned(info->min_block));
    return as_signed(wrap_mul_u(samples, KELFLACFD_TICKS_PER_SECOND) / as_unsigned(info->hz));
}

int kelflacfd_find_frm(KELFLACFD_CTX* ctx, uint32_t* frm_len, uint64_t* frm_num) {
    KELFLACF_FAL* fal = &ctx->fal;
    KELFLACFD_FRM_HDR hdr = {*frm_num, 0, 0, 0};
    for (; !kelflacf_fal_at_end(fal); kelflacf_fal_skip(fal, 1)) {
        const bool is_header = move_to_header(fal, &hdr);
        *frm_num = hdr.frm_num;
        if (!is_header) continue;

        const int buffered = kelflacf_fal_bytes_peek(fal);
        const int length = find_successor(fal, &ctx->seen, hdr);
        *frm_len =
            static_cast<uint32_t>(length > 0 ? length : std::max(buffered, KELFLACFD_SYNC_BYTES));
        if (length > 0 || buffered_to_end(fal, buffered)) return KELFLACFD_OK;
    }
    return KELFLACFD_END;
}

int kelflacfd_find_frm2(KELFLACFD_CTX* ctx, uint32_t* frm_len, uint64_t* frm_num) {
    *frm_len = static_cast<uint32_t>(ctx->info.max_frm_size);
    *frm_num = 0;
    return KELFLACFD_OK;
}

int kelflacfd_find_prev_frm(KELFLACFD_CTX* ctx, uint64_t* frm_num) {
    KELFLACFD_FRM_HDR hdr = {*frm_num, 0, 0, 0};
    kelflacf_fal_bytes_peek(&ctx->fal);
    const int offset = find_last_frm_hdr(&ctx->fal, &hdr);
    *frm_num = hdr.frm_num;
    if (offset < 0) return KELFLACFD_E_MALFORMED;
    kelflacf_fal_skip(&ctx->fal, offset);
    return KELFLACFD_OK;
}

int kelflacfd_find_last_frm(KELFLACFD_CTX* ctx, int64_t size, uint64_t* frm_num) {
    const long long tail = size - ctx->info.max_frm_size;
    if (kelflacf_fal_setpos(&ctx->fal, &tail) != 0) return KELFLACFD_E_MALFORMED;
    return kelflacfd_find_prev_frm(ctx, frm_num);
}

int kelflacfd_get_frm(KELFLACFD_CTX* ctx, uint8_t* frm_buf, int32_t buf_size, uint32_t* frm_len,
                      int64_t* frm_time, int64_t* next_frm_time) {
    if (!kelflacfd_is_open(ctx)) return KELFLACFD_E_HANDLE;

    const bool by_search = ctx->full_check_count != 0;
    uint64_t frm_num = 0;
    if (by_search) {
        if (kelflacfd_find_frm(ctx, frm_len, &frm_num) != KELFLACFD_OK) return KELFLACFD_END;
        if (frm_num != 0) --ctx->full_check_count;
    } else {
        kelflacfd_find_frm2(ctx, frm_len, &frm_num);
    }

    if (frm_buf != nullptr) {
        const auto length = static_cast<int32_t>(*frm_len);
        if (is_too_large(ctx, length, buf_size)) {
            kelflacf_fal_skip(&ctx->fal, length);
            return KELFLACFD_E_FRAME_SIZE;
        }
        const int copied = kelflacf_fal_read(&ctx->fal, frm_buf, length);
        if (!by_search && copied == 0) return KELFLACFD_END;
        *frm_len = static_cast<uint32_t>(copied);
    }
    set_frm_times(ctx->info, frm_num, frm_time, next_frm_time);
    return KELFLACFD_OK;
}
