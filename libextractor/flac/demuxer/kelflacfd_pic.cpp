// PICTURE metadata blocks (RFC 9639, 8.8): the image bytes alone are kept.
#include <algorithm>
#include <climits>
#include <cstdlib>

#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "libextractor/mfal/wrap_arith.h"

namespace {

constexpr int PICTURE_TYPE_BYTES = 4;
constexpr int DIMENSIONS_BYTES = 16;  // width, height, colour depth, number of colours

/** Whether a field of `length` bytes can follow: an int holds its length, and a source that tells
    its size holds its bytes. The block length is not the measure: taggers write wrong ones. */
bool can_follow(KELFLACF_FAL* fal, uint32_t length) {
    if (length > INT_MAX) return false;
    const int64_t size = source_size(fal);
    return size < 1 || int64_t{length} <= wrap_sub(size, logical_pos(fal));
}

/** Skips a length and as many bytes: the MIME type or the description. */
bool skip_sized_field(KELFLACF_FAL* fal) {
    const uint32_t length = kelflacf_fal_read4(fal);
    if (!can_follow(fal, length)) return false;
    skip_u32(fal, length);
    return true;
}

}  // namespace

int parse_meta_pic(KELFLACFD_CTX* ctx, uint32_t length) {
    KELFLACF_FAL* fal = &ctx->fal;
    KELFLACFD_TAG& tag = ctx->tag_rec;
    if (tag.pic_num == KELFLACFD_MAX_PICTURES) {
        skip_u32(fal, length);
        return KELFLACFD_OK;
    }

    kelflacf_fal_skip(fal, PICTURE_TYPE_BYTES);
    if (!skip_sized_field(fal)) return KELFLACFD_E_MALFORMED;  // MIME type
    if (!skip_sized_field(fal)) return KELFLACFD_E_MALFORMED;  // description
    kelflacf_fal_skip(fal, DIMENSIONS_BYTES);

    KELFLACFD_PIC& pic = tag.pic[tag.pic_num];
    pic.len = kelflacf_fal_read4(fal);
    if (!can_follow(fal, pic.len)) return KELFLACFD_E_MALFORMED;
    // Nothing but the block length bounds the allocation where the source can't tell its size.
    if (pic.len > length && source_size(fal) < 1) return KELFLACFD_E_MALFORMED;

    pic.data = static_cast<uint8_t*>(malloc(std::max(pic.len, 1U)));
    if (pic.data == nullptr) return KELFLACFD_E_MEMORY;
    read_or_zero(fal, pic.data, pic.len);
    ctx->info.tag = &tag;
    ++tag.pic_num;
    return KELFLACFD_OK;
}
