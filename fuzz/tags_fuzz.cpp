// The bodies of Vorbis comments and pictures, at any place and of any length in a file.
#include "fuzz/fuzzing.h"

static void NoteBytes(Source* source, const uint8_t* bytes, size_t size) {
    if (bytes != nullptr) source->answers.append(bytes, bytes + size) += ' ';
}

void Run(Source* source) {
    const bool is_picture = source->Take(1) != 0;
    const auto size = static_cast<uint32_t>(source->data.size());
    const auto at = static_cast<uint32_t>(source->Take(0xFFFF));
    const auto length = size - std::min(size, at + static_cast<uint32_t>(source->Take(0xFFFF)));
    auto* ctx = static_cast<KELFLACFD_CTX*>(calloc(1, sizeof(KELFLACFD_CTX)));
    ctx->magic = KELFLACFD_MAGIC;
    _KELCMN_MFAL record = source->Record();
    if (kelflacf_fal_create(&ctx->fal, &record, KELFLACF_FAL_CHUNK) < 0) return free(ctx);
    skip_u32(&ctx->fal, at);
    source->Note((is_picture ? parse_meta_pic : parse_meta_vorbis_comment)(ctx, length));
    source->Note(logical_pos(&ctx->fal));
    const KELFLACFD_TAG& tag = ctx->tag_rec;
    for (const KELFLACFD_TXT& text : {tag.title, tag.album_artist, tag.date})
        NoteBytes(source, text.data, size_t{text.len} + 1);
    for (int number : {tag.year, tag.track_num, tag.track_total}) source->Note(number);
    NoteBytes(source, tag.pic[0].data, std::min<size_t>(tag.pic[0].len, 1 << 20));
    kelflacfd_delete(ctx);
}
