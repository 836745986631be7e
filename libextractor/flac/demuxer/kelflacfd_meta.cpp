// Metadata blocks (RFC 9639, 8): the walk over them, STREAMINFO, and the blocks that are skipped.
#include <cstdlib>
#include <cstring>

#include "libextractor/flac/demuxer/big_endian.h"
#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "libextractor/mfal/wrap_arith.h"

namespace {

// Metadata block header (RFC 9639, 8.1).
constexpr int LAST_BLOCK_FLAG = 0x80;
constexpr int BLOCK_HEADER_BYTES = 4;
constexpr int HANDLER_MASK = 7;  // a type above 7 has the handler of its low three bits

constexpr uint8_t FMT_HEADER[] = {'f', 'L', 'a', 'C', 0x80, 0x00, 0x00, 0x22};
constexpr int STREAMINFO_BYTES = 34;
static_assert(sizeof(FMT_HEADER) + STREAMINFO_BYTES == KELFLACFD_FMT_BYTES);
constexpr int32_t MIN_BLOCK_SAMPLES = 16;
constexpr int RING_MARGIN = 13;  // bytes that the ring holds after the largest frame

constexpr uint32_t SEEK_POINT_BYTES = 18;

/** Fills `info` from the 34 bytes of a STREAMINFO block (RFC 9639, 8.2). Returns KELFLACFD_OK,
    KELFLACFD_E_MALFORMED or KELFLACFD_E_VARIABLE. */
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

/** Reads the block into a new `streaminfo_blk`, fills the stream information from it and grows the
    ring. */
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
    // The points (RFC 9639, 8.5) are read and not kept: seeking interpolates without them.
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

int kelflacfd_parse_meta(KELFLACFD_CTX* ctx) {
    KELFLACF_FAL* fal = &ctx->fal;
    const int64_t size = source_size(fal);
    int result = KELFLACFD_OK;
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
