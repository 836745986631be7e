// Vorbis comments and pictures, against a reading of the same bytes that knows of no buffer.
#include "fuzz/fuzzing.h"

/** Little-endian; zeros behind the end. */
static uint32_t Number(const std::string& file, size_t at) {
    uint32_t n = 0;
    for (size_t i = at + 4; i > at; --i)
        n = n << 8 | (i <= file.size() ? static_cast<uint8_t>(file[i - 1]) : 0U);
    return n;
}

/** Moves `at` behind a block of `length` bytes, or to where its comments break off; tells whether
    they don't. The first title goes to `title`, "=" in front and a NUL behind it. */
static bool PassComments(const std::string& file, size_t* at, size_t length, std::string* title) {
    const size_t end = *at + length, vendor = Number(file, *at);
    const uint32_t count = Number(file, *at + 4 + vendor);
    *at = std::min(*at + 8 + vendor, file.size());
    for (uint32_t i = 0; i < count; ++i) {
        const size_t left = std::max(*at, end) - *at, size = Number(file, *at);
        if (left < 4 || size > left - 4) {
            *at += left;
            return false;
        }
        const std::string comment = file.substr(*at + 4, size);
        if (title->empty() && strncasecmp(comment.c_str(), "title=", 6) == 0)
            *title = comment.substr(5) + '\0';
        *at += 4 + size;
    }
    return true;
}

/** Likewise, by the lengths in the block and not the block's own. */
static bool PassPicture(const std::string& file, size_t* at, size_t length, bool size_known) {
    for (const size_t front : {4U, 0U, 16U}) {  // of MIME type, description, data
        *at = std::min(*at + front, file.size());
        const bool is_cut = file.size() - *at < 4;
        const size_t size = is_cut ? 0 : __builtin_bswap32(Number(file, *at));
        *at += is_cut ? 0 : 4;
        const size_t left = file.size() - *at, most = front == 16 ? length : INT32_MAX;
        if (size > (size_known ? left : most) || size > INT32_MAX) return false;
        *at += std::min(size, left);
    }
    return true;
}

void Run(Source* source) {
    const std::string file(source->data.begin(), source->data.end());
    const bool is_picture = source->Take(1) != 0;
    size_t at = std::min(source->Take(0xFFFF), file.size());
    const size_t length = file.size() - at - std::min(source->Take(0xFFFF), file.size() - at);
    auto* ctx = static_cast<KELFLACFD_CTX*>(calloc(1, sizeof(KELFLACFD_CTX)));
    ctx->magic = KELFLACFD_MAGIC;
    _KELCMN_MFAL record = source->Record();
    if (kelflacf_fal_create(&ctx->fal, &record, KELFLACF_FAL_CHUNK) < 0) return free(ctx);
    kelflacf_fal_skip(&ctx->fal, static_cast<int>(at));
    const auto parse = is_picture ? parse_meta_pic : parse_meta_vorbis_comment;
    source->Note(parse(ctx, static_cast<uint32_t>(length)));
    source->Note(logical_pos(&ctx->fal));
    const bool is_sound = source->faults.empty() && source->size_kind < Source::SIZE_WRONG;
    if (is_sound && file.size() < KELFLACF_FAL_CHUNK) {  // all is in sight
        const bool size_known = source->size_kind == Source::SIZE_KNOWN && !file.empty();
        std::string title;
        const bool passed = is_picture ? PassPicture(file, &at, length, size_known)
                                       : PassComments(file, &at, length, &title);
        assert(source->answers == (passed ? "0 " : "-3 ") + std::to_string(at) + " ");
        const KELFLACFD_TXT& t = ctx->tag_rec.title;
        assert(title == (t.data != nullptr ? "=" + std::string(t.data, t.data + t.len + 1) : ""));
    }
    kelflacfd_delete(ctx);
}
