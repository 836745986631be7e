// Opening a stream: marker, metadata walk (RFC 9639, 8), duration, first frame.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "libextractor/flac/demuxer/big_endian.h"
#include "libextractor/flac/demuxer/id3v2.h"
#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "libextractor/flac/demuxer/kelflacfd_log.h"
#include "libextractor/mfal/wrap_arith.h"

namespace {

constexpr int FIRST_RING_HINT = 4096;  // until STREAMINFO tells the largest frame
constexpr int RING_MARGIN = 13;        // beside the largest frame

constexpr uint32_t FLAC_MARKER = 0x664C6143;  // "fLaC"
constexpr int MARKER_BYTES = 4;

constexpr uint32_t ID3_MARKER = 0x494433;  // "ID3"

// Metadata block header (RFC 9639, 8.1).
constexpr int LAST_BLOCK_FLAG = 0x80;
constexpr int BLOCK_HEADER_BYTES = 4;
constexpr int HANDLER_MASK = 7;  // types beyond 7 share the handlers of those below

constexpr uint8_t FMT_HEADER[] = {'f', 'L', 'a', 'C', 0x80, 0x00, 0x00, 0x22};
constexpr int STREAMINFO_BYTES = 34;
static_assert(sizeof(FMT_HEADER) + STREAMINFO_BYTES == KELFLACFD_FMT_BYTES);
constexpr int32_t MIN_BLOCK_SAMPLES = 16;

constexpr uint32_t SEEK_POINT_BYTES = 18;

constexpr size_t LOG_LINE_BYTES = 256;  // eight numbers of at most 11 characters, text, NUL

/** Fills `info` from the 34 bytes of a STREAMINFO block (RFC 9639, 8.2). Returns 0, -3 or -6. */
int parse_streaminfo(const uint8_t* block, KELFLACFD_INFO* info) {
    info->min_block = be16(block);
    info->max_block = be16(block + 2);
    if (info->max_block == 0 || info->min_block < MIN_BLOCK_SAMPLES) return KELFLACFD_E_MALFORMED;
    info->min_frm = be24(block + 4);
    info->max_frm_size = be24(block + 7);
    if (info->min_block != info->max_block) return KELFLACFD_E_VARIABLE;

    info->seekable = 0;
    info->samples = int64_t{block[13] & 0x0F} << 32 | be32(block + 14);
    info->ch = (block[12] >> 1 & 0x07) + 1;
    info->hz = be24(block + 10) >> 4;
    info->bits = ((block[12] & 0x01) << 4 | block[13] >> 4) + 1;
    if (info->max_frm_size == 0) info->max_frm_size = info->ch * info->min_block * (info->bits / 8);
    return KELFLACFD_OK;
}

/** Reads the block into a fresh `streaminfo_blk`, takes it over into `info` and grows the ring. */
int take_streaminfo(KELFLACFD_CTX* ctx) {
    ctx->streaminfo_blk = static_cast<uint8_t*>(calloc(1, KELFLACFD_FMT_BYTES));
    if (ctx->streaminfo_blk == nullptr) return KELFLACFD_E_MEMORY;
    memcpy(ctx->streaminfo_blk, FMT_HEADER, sizeof(FMT_HEADER));
    uint8_t* block = ctx->streaminfo_blk + sizeof(FMT_HEADER);
    kelflacf_fal_read(&ctx->fal, block, STREAMINFO_BYTES);

    const int parsed = parse_streaminfo(block, &ctx->info);
    if (parsed < 0) return parsed;
    return kelflacf_fal_resize_buf(&ctx->fal, ctx->info.max_frm_size + RING_MARGIN);
}

void drop_streaminfo(KELFLACFD_CTX* ctx) {
    free(ctx->streaminfo_blk);
    ctx->streaminfo_blk = nullptr;
}

constexpr KELFLACFD_META_HANDLER META_HANDLERS[HANDLER_MASK + 1] = {
    parse_meta_streaminfo,      // 0 STREAMINFO
    parse_meta_padding,         // 1 PADDING
    parse_meta_app,             // 2 APPLICATION
    parse_meta_seektable,       // 3 SEEKTABLE
    parse_meta_vorbis_comment,  // 4 VORBIS_COMMENT
    parse_meta_cuesheet,        // 5 CUESHEET
    parse_meta_pic,             // 6 PICTURE
    invalid_metadata,           // 7 reserved; 127 is forbidden
};

int skip_block(KELFLACFD_CTX* ctx, uint32_t length) {
    skip_u32(&ctx->fal, length);
    return KELFLACFD_OK;
}

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

/** Works the duration out from the number of the last frame, for a STREAMINFO without a sample
    count. The reader's position is kept. Returns 0 or -3. */
int count_duration(KELFLACFD_CTX* ctx) {
    KELFLACF_FAL* fal = &ctx->fal;
    KELFLACFD_INFO& info = ctx->info;
    const long long start = logical_pos(fal);
    const int64_t size = source_size(fal);
    log_untimed_stream(info, size);

    uint64_t frames = 1;
    if (size >= info.max_frm_size) {
        const long long tail = size - info.max_frm_size;
        uint64_t last_num = 0;
        if (kelflacf_fal_setpos(fal, &tail) != 0) return KELFLACFD_E_MALFORMED;
        if (kelflacfd_find_prev_frm(ctx, &last_num) != 0) return KELFLACFD_E_MALFORMED;
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
    if (kelflacfd_find_frm(ctx, &frm_len, &frm_num) != 0) return KELFLACFD_E_MALFORMED;
    ctx->first_frm_pos = logical_pos(&ctx->fal);
    return KELFLACFD_OK;
}

/** A source that tells its size has an average byte rate and can be sought. */
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

int parse_meta_streaminfo(KELFLACFD_CTX* ctx, uint32_t /*length*/) {
    drop_streaminfo(ctx);
    const int result = take_streaminfo(ctx);
    if (result < 0) drop_streaminfo(ctx);
    return result;
}

int parse_meta_padding(KELFLACFD_CTX* ctx, uint32_t length) {
    return skip_block(ctx, length);
}
int parse_meta_app(KELFLACFD_CTX* ctx, uint32_t length) {
    return skip_block(ctx, length);
}
int parse_meta_cuesheet(KELFLACFD_CTX* ctx, uint32_t length) {
    return skip_block(ctx, length);
}

int parse_meta_seektable(KELFLACFD_CTX* ctx, uint32_t length) {
    KELFLACF_FAL* fal = &ctx->fal;
    // Seeking interpolates and has no use for the points (RFC 9639, 8.5); they are read through.
    const uint32_t points = length / SEEK_POINT_BYTES;
    for (uint32_t i = 0; i < points && !kelflacf_fal_at_end(fal); ++i) {
        for (int word = 0; word < 4; ++word) kelflacf_fal_read4(fal);  // sample number, byte offset
        kelflacf_fal_skip(fal, 2);                                     // samples in the frame
    }
    ctx->info.seekable = 1;
    return KELFLACFD_OK;
}

int invalid_metadata(KELFLACFD_CTX* /*ctx*/, uint32_t /*length*/) {
    return KELFLACFD_E_MALFORMED;
}

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

int kelflacfd_parse_meta(KELFLACFD_CTX* ctx) {
    KELFLACF_FAL* fal = &ctx->fal;
    const int64_t size = source_size(fal);
    int result = 0;
    for (bool last = false; !last && result >= 0;) {
        const int64_t pos = logical_pos(fal);
        const int flag_and_type = kelflacf_fal_read1(fal);
        int length = 0;
        for (int i = 0; i < 3; ++i) length = length << 8 | kelflacf_fal_read1(fal);
        if (length == 0) break;
        if (size >= 1 && wrap_add(pos, BLOCK_HEADER_BYTES + length) > size) break;

        last = (flag_and_type & LAST_BLOCK_FLAG) != 0;
        result = META_HANDLERS[flag_and_type & HANDLER_MASK](ctx, static_cast<uint32_t>(length));
    }
    return ctx->streaminfo_blk != nullptr ? KELFLACFD_OK : result;
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

    const int result = open_stream(ctx.get(), mfal, *in_duration);
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
