// VORBIS_COMMENT metadata blocks (RFC 9639, 8.6): reads thirteen fields into the tag record.
//
// Text fields keep their first value. Number fields keep their last. Lengths are little-endian,
// unlike the rest of FLAC.
#include <algorithm>
#include <iterator>
#include <string_view>

#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "libextractor/mfal/wrap_arith.h"

namespace {

constexpr uint32_t LENGTH_BYTES = 4;
constexpr uint32_t TERMINATOR_BYTES = 1;
constexpr uint32_t LIST_HEAD_BYTES = 8;  // vendor length and comment count

uint32_t read_le32(KELFLACF_FAL* fal) {
    uint32_t value = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        value |= static_cast<uint32_t>(kelflacf_fal_read1(fal)) << shift;
    }
    return value;
}

bool is_digit(int byte) {
    return byte >= '0' && byte <= '9';
}

int32_t append_digit(int32_t number, int byte) {
    return wrap_append_digit(number, static_cast<uint32_t>(byte - '0'));
}

char fold_case(uint8_t byte) {
    const bool is_lower = byte >= 'a' && byte <= 'z';
    return static_cast<char>(is_lower ? byte - ('a' - 'A') : byte);
}

/** Consumes a value of `length` bytes. Stores it if the field has none yet. */
void store_text(KELFLACF_FAL* fal, uint32_t length, KELFLACFD_TXT* text) {
    uint8_t* data = text->data == nullptr ? read_to_heap(fal, length, TERMINATOR_BYTES) : nullptr;
    if (data == nullptr) {
        skip_u32(fal, length);
        return;
    }
    *text = {KELFLACFD_ENC_UTF8, length, data};
}

/** The number in the leading digits of a stored text. Its NUL ends the loop. */
int32_t leading_number(const KELFLACFD_TXT& text) {
    int32_t number = 0;
    for (const uint8_t* byte = text.data; is_digit(*byte); ++byte) {
        number = append_digit(number, *byte);
    }
    return number;
}

/** Stores the first date. Each DATE comment sets `year` to the first date's year. The year is
    parsed only once: otherwise a long date and many DATE comments would take too long. */
void store_date(KELFLACF_FAL* fal, uint32_t length, KELFLACFD_TAG* tag) {
    const bool is_first = tag->date.data == nullptr;
    store_text(fal, length, &tag->date);
    if (tag->date.data == nullptr) return;
    if (is_first) tag->date_year = leading_number(tag->date);
    tag->year = tag->date_year;
}

void store_number(KELFLACF_FAL* fal, uint32_t length, int32_t* number) {
    const int left = parse_num(fal, static_cast<int32_t>(length), number);
    if (left > 0) kelflacf_fal_skip(fal, left);
}

/** Reads "3/12" or "3". If no "/" follows the digits, the total stays as it is. */
void store_track_number(KELFLACF_FAL* fal, uint32_t length, KELFLACFD_TAG* tag) {
    int left = parse_num(fal, static_cast<int32_t>(length), &tag->track_num);
    if (left > 0 && kelflacf_fal_peek1(fal, 0) == '/') {
        kelflacf_fal_read1(fal);
        left = parse_num(fal, left - 1, &tag->track_total);
    }
    if (left > 0) kelflacf_fal_skip(fal, left);
}

enum FIELD_KIND { FIELD_TEXT, FIELD_DATE, FIELD_NUMBER, FIELD_TRACK };

struct FIELD {
    std::string_view key;  // upper case, with its "="
    FIELD_KIND kind;
    KELFLACFD_TXT KELFLACFD_TAG::*text;
    int32_t KELFLACFD_TAG::*number;
};

/** They are tried in this order. */
constexpr FIELD FIELDS[] = {
    {"TITLE=", FIELD_TEXT, &KELFLACFD_TAG::title, nullptr},
    {"ARTIST=", FIELD_TEXT, &KELFLACFD_TAG::artist, nullptr},
    {"ALBUM=", FIELD_TEXT, &KELFLACFD_TAG::album, nullptr},
    {"ALBUMARTIST=", FIELD_TEXT, &KELFLACFD_TAG::album_artist, nullptr},
    {"ALBUM ARTIST=", FIELD_TEXT, &KELFLACFD_TAG::album_artist, nullptr},
    {"COMPILATION=", FIELD_NUMBER, nullptr, &KELFLACFD_TAG::compilation},
    {"COMPOSER=", FIELD_TEXT, &KELFLACFD_TAG::composer, nullptr},
    {"GENRE=", FIELD_TEXT, &KELFLACFD_TAG::genre, nullptr},
    {"AUTHOR=", FIELD_TEXT, &KELFLACFD_TAG::author, nullptr},
    {"DATE=", FIELD_DATE, nullptr, nullptr},
    {"TRACKNUMBER=", FIELD_TRACK, nullptr, nullptr},
    {"DISCNUMBER=", FIELD_NUMBER, nullptr, &KELFLACFD_TAG::disc_num},
    {"LYRICIST=", FIELD_TEXT, &KELFLACFD_TAG::lyricist, nullptr},
};

constexpr bool has_shorter_key(const FIELD& a, const FIELD& b) {
    return a.key.size() < b.key.size();
}
constexpr size_t SHORTEST_KEY =
    std::min_element(std::begin(FIELDS), std::end(FIELDS), has_shorter_key)->key.size();
constexpr int LONGEST_KEY =
    std::max_element(std::begin(FIELDS), std::end(FIELDS), has_shorter_key)->key.size();

/** Whether `bytes` begin with a key. The case of a to z doesn't matter. */
bool begins_with(const uint8_t* bytes, std::string_view key) {
    const auto is_same = [](char expected, uint8_t byte) { return fold_case(byte) == expected; };
    return std::equal(key.begin(), key.end(), bytes, is_same);
}

/** The field with the key at the start of the next `length` bytes, or null. If `length` allows a
    key, an empty ring is refilled first. A key that is not wholly buffered is not found. */
const FIELD* find_field(KELFLACF_FAL* fal, uint32_t length) {
    if (length < SHORTEST_KEY) return nullptr;
    KELFLACF_FAL_FILL_BUF2(fal, 1);
    uint8_t scratch[LONGEST_KEY];
    const uint8_t* bytes = kelflacf_fal_view(fal, 0, LONGEST_KEY, scratch);
    for (const FIELD& field : FIELDS) {
        if (field.key.size() <= length && begins_with(bytes, field.key)) return &field;
    }
    return nullptr;
}

/** Consumes one comment of `length` bytes. */
void parse_comment(KELFLACF_FAL* fal, uint32_t length, KELFLACFD_TAG* tag) {
    const FIELD* field = find_field(fal, length);
    if (field == nullptr) {
        skip_u32(fal, length);
        return;
    }
    const size_t key_bytes = field->key.size();
    const auto value_bytes = static_cast<uint32_t>(length - key_bytes);
    kelflacf_fal_skip(fal, static_cast<int>(key_bytes));
    switch (field->kind) {
        case FIELD_TEXT:
            store_text(fal, value_bytes, &(tag->*field->text));
            break;
        case FIELD_DATE:
            store_date(fal, value_bytes, tag);
            break;
        case FIELD_NUMBER:
            store_number(fal, value_bytes, &(tag->*field->number));
            break;
        case FIELD_TRACK:
            store_track_number(fal, value_bytes, tag);
            break;
    }
}

}  // namespace

void reset_tag_numbers(KELFLACFD_TAG* tag) {
    tag->year = tag->track_num = tag->track_total = tag->disc_num = tag->compilation = -1;
}

int parse_num(KELFLACF_FAL* fal, int32_t count, int32_t* result) {
    *result = 0;
    for (; count > 0; --count) {
        const int byte = kelflacf_fal_peek1(fal, 0);
        if (!is_digit(byte)) return count;
        *result = append_digit(*result, byte);
        kelflacf_fal_read1(fal);
    }
    return 0;
}

int parse_vorbis_comment(KELFLACF_FAL* fal, uint32_t length, KELFLACFD_TAG* tag) {
    const uint32_t vendor_bytes = read_le32(fal);
    skip_u32(fal, vendor_bytes);
    const uint32_t count = read_le32(fal);
    reset_tag_numbers(tag);
    if (count == 0) return 0;

    const uint64_t before_comments = uint64_t{LIST_HEAD_BYTES} + vendor_bytes;
    uint32_t left = before_comments < length ? static_cast<uint32_t>(length - before_comments) : 0;
    for (uint32_t i = 0; i < count; ++i) {
        // When the data has ended, the remaining comments count as empty if the block has room for
        // them.
        if (kelflacf_fal_at_end(fal)) return count - i <= left / LENGTH_BYTES ? 0 : -1;
        // The count may be wrong: no comment goes past the block.
        const bool has_length = left >= LENGTH_BYTES;
        const uint32_t comment_bytes = has_length ? read_le32(fal) : 0;
        if (has_length) left -= LENGTH_BYTES;
        if (!has_length || comment_bytes > left) {
            skip_u32(fal, left);
            return -1;
        }
        parse_comment(fal, comment_bytes, tag);
        left -= comment_bytes;
    }
    return 0;
}

int parse_meta_vorbis_comment(KELFLACFD_CTX* ctx, uint32_t length) {
    if (parse_vorbis_comment(&ctx->fal, length, &ctx->tag_rec) < 0) return KELFLACFD_E_MALFORMED;
    ctx->info.tag = &ctx->tag_rec;
    return KELFLACFD_OK;
}
