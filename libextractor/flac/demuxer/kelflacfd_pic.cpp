// PICTURE metadata blocks (RFC 9639, 8.8): only the picture data is kept.
#include <climits>

#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "libextractor/mfal/wrap_arith.h"

namespace {

constexpr int PICTURE_TYPE_BYTES = 4;
constexpr int DIMENSIONS_BYTES = 16;  // width, height, colour depth, number of colours

/** Whether a field of `length` bytes can follow: an int can hold the length, and a source of known
    `size` has the bytes. The block length is not used, because taggers write wrong ones. */
bool can_follow(KELFLACF_FAL* fal, uint32_t length, int64_t size) {
    if (length > INT_MAX) return false;
    return size < 1 || int64_t{length} <= wrap_sub(size, logical_pos(fal));
}

/** Skips the MIME type or the description: a length and that many bytes. Returns false if so many
    can't follow. */
bool skip_sized_field(KELFLACF_FAL* fal, int64_t size) {
    const uint32_t length = kelflacf_fal_read4(fal);
    if (!can_follow(fal, length, size)) return false;
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

    const int64_t size = source_size(fal);
    kelflacf_fal_skip(fal, PICTURE_TYPE_BYTES);
    if (!skip_sized_field(fal, size)) return KELFLACFD_E_MALFORMED;  // MIME type
    if (!skip_sized_field(fal, size)) return KELFLACFD_E_MALFORMED;  // description
    kelflacf_fal_skip(fal, DIMENSIONS_BYTES);

    KELFLACFD_PIC& pic = tag.pic[tag.pic_num];
    pic.len = kelflacf_fal_read4(fal);
    if (!can_follow(fal, pic.len, size)) return KELFLACFD_E_MALFORMED;
    // If the size is unknown, only the block length bounds the allocation.
    if (size < 1 && pic.len > length) return KELFLACFD_E_MALFORMED;

    pic.data = read_to_heap(fal, pic.len, pic.len == 0 ? 1 : 0);
    if (pic.data == nullptr) return KELFLACFD_E_MEMORY;
    ctx->info.tag = &tag;
    ++tag.pic_num;
    return KELFLACFD_OK;
}
