// The demuxer context: handle check, stream information, codec-specific data, tear-down.
#include "libextractor/flac/demuxer/kelflacfd.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "libextractor/flac/demuxer/kelflacfd_internal.h"

// Some of the reader's statuses are passed on unchanged.
static_assert(int{KELFLACFD_OK} == KELFLACF_FAL_OK && int{KELFLACFD_END} == KELFLACF_FAL_END);
static_assert(int{KELFLACFD_E_MEMORY} == KELFLACF_FAL_E_MEMORY);
static_assert(int{KELFLACFD_E_SOURCE} == KELFLACF_FAL_E_SOURCE);

bool kelflacfd_is_open(const KELFLACFD_CTX* ctx) {
    return ctx != nullptr && ctx->magic == KELFLACFD_MAGIC;
}

int kelflacfd_get_info(KELFLACFD_CTX* ctx, KELFLACFD_INFO* info) {
    if (!kelflacfd_is_open(ctx)) return KELFLACFD_E_HANDLE;
    *info = ctx->info;
    return KELFLACFD_OK;
}

int kelflacfd_get_fmt(KELFLACFD_CTX* ctx, uint8_t* dst, int* len) {
    if (!kelflacfd_is_open(ctx)) return KELFLACFD_E_HANDLE;
    if (ctx->streaminfo_blk == nullptr) {
        // A stream may open without one if the size is unknown or the caller gave a duration.
        *len = 0;
        return KELFLACFD_E_MALFORMED;
    }
    *len = KELFLACFD_FMT_BYTES;
    if (dst != nullptr) memcpy(dst, ctx->streaminfo_blk, KELFLACFD_FMT_BYTES);
    return KELFLACFD_OK;
}

bool kelflacfd_reads_frames(const KELFLACFD_CTX* ctx) {
    return kelflacfd_is_open(ctx) && ctx->full_check_count != 0;
}

void kelflacfd_delete(KELFLACFD_CTX* ctx) {
    if (!kelflacfd_is_open(ctx)) return;
    kelflacf_fal_delete(&ctx->fal);
    free(ctx->streaminfo_blk);
    KELFLACFD_TAG& tag = ctx->tag_rec;
    for (const KELFLACFD_TXT* text :
         {&tag.title, &tag.artist, &tag.album, &tag.genre, &tag.album_artist, &tag.author,
          &tag.composer, &tag.lyricist, &tag.date}) {
        free(text->data);
    }
    for (int32_t i = 0; i < tag.pic_num; ++i) free(tag.pic[i].data);
    free(ctx);
}
