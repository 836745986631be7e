// Opening a stream: marker, metadata, duration, first frame, byte rate.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "libextractor/flac/demuxer/id3v2.h"
#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "libextractor/flac/demuxer/kelflacfd_log.h"
#include "libextractor/mfal/wrap_arith.h"

namespace {

constexpr int FIRST_RING_HINT = 4096;  // until STREAMINFO gives the largest frame

constexpr uint32_t FLAC_MARKER = 0x664C6143;  // "fLaC"
constexpr int MARKER_BYTES = 4;

constexpr uint32_t ID3_MARKER = 0x494433;  // "ID3"

constexpr size_t LOG_LINE_BYTES = 256;  // enough for either line

void log_untimed_stream(const KELFLACFD_INFO& info, int64_t size) {
    char line[LOG_LINE_BYTES];
    snprintf(line, sizeof(line),
             "Info >>> info samples %d hz %d ch %d bits %d duration %d min_block %d "
             "max_block %d min_frm %d",
             static_cast<int>(info.samples), info.hz, info.ch, info.bits,
             static_cast<int>(info.duration), info.min_block, info.max_block, info.min_frm);
    kelflacfd_log(line);
    snprintf(line, sizeof(line), "Info >>>>>> fsize = %ld ctx->info.max_frm_size %d",
             static_cast<long>(size), info.max_frm_size);
    kelflacfd_log(line);
}

/** Sets the duration from the number of the last frame, where STREAMINFO has no sample count or
    rate. A size below `max_frm_size` gives the duration of one frame. Returns KELFLACFD_OK, with
    the reader where it began, or KELFLACFD_E_MALFORMED. */
int count_duration(KELFLACFD_CTX* ctx) {
    KELFLACF_FAL* fal = &ctx->fal;
    KELFLACFD_INFO& info = ctx->info;
    const long long start = logical_pos(fal);
    const int64_t size = source_size(fal);
    log_untimed_stream(info, size);

    uint64_t frames = 1;
    if (size >= info.max_frm_size) {
        uint64_t last_num = 0;
        const int result = kelflacfd_find_last_frm(ctx, size, &last_num);
        if (result != KELFLACFD_OK) return result;
        frames = last_num + 1;
    }
    info.duration = frm_time_or_0(info, frames);
    kelflacf_fal_setpos(fal, &start);
    return KELFLACFD_OK;
}

int set_duration(KELFLACFD_CTX* ctx, int64_t in_duration) {
    KELFLACFD_INFO& info = ctx->info;
    if (in_duration != 0) {
        info.duration = in_duration;
        return KELFLACFD_OK;
    }
    if (info.samples == 0 || info.hz < 1) return count_duration(ctx);
    info.duration = info.samples * KELFLACFD_TICKS_PER_SECOND / info.hz;  // below 2^60
    return KELFLACFD_OK;
}

int find_first_frame(KELFLACFD_CTX* ctx) {
    uint32_t frm_len = 0;
    uint64_t frm_num = 0;
    if (kelflacfd_find_frm(ctx, &frm_len, &frm_num) != KELFLACFD_OK) return KELFLACFD_E_MALFORMED;
    ctx->first_frm_pos = logical_pos(&ctx->fal);
    return KELFLACFD_OK;
}

/** A known size gives a byte rate and makes the stream seekable. With a known size and no duration
    above 0, the open fails. */
int set_byte_rate(KELFLACFD_CTX* ctx) {
    KELFLACFD_INFO& info = ctx->info;
    const int64_t size = source_size(&ctx->fal);
    if (size < 1) return KELFLACFD_OK;
    if (info.duration < 1) return KELFLACFD_E_MALFORMED;
    const int64_t audio_bytes = wrap_sub(size, ctx->first_frm_pos);
    info.byte_rate = static_cast<int32_t>(
        wrap_div(wrap_mul(audio_bytes, KELFLACFD_TICKS_PER_SECOND), info.duration));
    info.seekable = 1;
    return KELFLACFD_OK;
}

int open_stream(KELFLACFD_CTX* ctx, _KELCMN_MFAL* mfal, int64_t in_duration) {
    int result = kelflacf_fal_create(&ctx->fal, mfal, FIRST_RING_HINT);
    if (result < 0) return result;
    result = kelflacfd_check_flac(ctx);
    if (result < 0) return result;
    result = kelflacfd_parse_meta(ctx);
    if (result < 0) return result;
    result = set_duration(ctx, in_duration);
    if (result < 0) return result;
    result = find_first_frame(ctx);
    if (result < 0) return result;
    return set_byte_rate(ctx);
}

struct CTX_DELETER {
    void operator()(KELFLACFD_CTX* ctx) const { kelflacfd_delete(ctx); }
};

void store_err(int* err, int code) {
    if (err != nullptr) *err = code;
}

}  // namespace

int kelflacfd_check_flac(KELFLACFD_CTX* ctx) {
    KELFLACF_FAL* fal = &ctx->fal;
    uint32_t marker = kelflacf_fal_peek4(fal, 0);
    if (marker >> 8 == ID3_MARKER) {
        const uint32_t groups = kelflacf_fal_peek4(fal, ID3V2_SIZE_OFFSET);
        kelflacf_fal_skip(fal, id3v2_tag_bytes(groups));
        marker = kelflacf_fal_peek4(fal, 0);
    }
    if (marker != FLAC_MARKER) return KELFLACFD_E_MARKER;
    kelflacf_fal_skip(fal, MARKER_BYTES);
    return KELFLACFD_OK;
}

KELFLACFD_CTX* kelflacfd_create(_KELCMN_MFAL* mfal, const int64_t* in_duration,
                                KELFLACFD_INFO* info, int* err) {
    std::unique_ptr<KELFLACFD_CTX, CTX_DELETER> ctx(
        static_cast<KELFLACFD_CTX*>(calloc(1, sizeof(KELFLACFD_CTX))));
    if (ctx == nullptr) {
        store_err(err, KELFLACFD_E_MEMORY);
        return nullptr;
    }
    *info = {};
    ctx->magic = KELFLACFD_MAGIC;
    ctx->self = ctx.get();
    reset_tag_numbers(&ctx->tag_rec);

    const int result = open_stream(ctx.get(), mfal, in_duration != nullptr ? *in_duration : 0);
    if (result < 0) {
        store_err(err, result);
        return nullptr;
    }
    ctx->info.codec = KELFLACFD_CODEC_FLAC;
    ctx->full_check_count = KELFLACFD_FULL_CHECK_COUNT;
    *info = ctx->info;
    store_err(err, KELFLACFD_OK);
    return ctx.release()->self;
}
