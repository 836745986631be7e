#include "libextractor/flac/kelflac_file_meta.h"

#include <media/ExtMediaFormatDef.h>
#include <utils/String8.h>

#include <cstdio>
#include <cstring>

namespace android {
namespace {

struct Entry {
    const char* key;
    int32_t KELFLACFD_TAG::*number;  // null for a text
    KELFLACFD_TXT KELFLACFD_TAG::*text;
};

Entry numberEntry(const char* key, int32_t KELFLACFD_TAG::*member) {
    return {key, member, nullptr};
}
Entry textEntry(const char* key, KELFLACFD_TXT KELFLACFD_TAG::*member) {
    return {key, nullptr, member};
}

void publishNumber(const Entry& entry, const KELFLACFD_TAG& tag, AMediaFormat* meta) {
    const int32_t number = tag.*entry.number;
    if (number < 0) return;
    if (strcmp(entry.key, AMEDIAFORMAT_KEY_CDTRACKNUMBER) == 0 && tag.track_total >= 0) {
        char text[22];  // two numbers of up to ten digits
        snprintf(text, sizeof(text), "%d/%d", number, tag.track_total);
        AMediaFormat_setString(meta, entry.key, text);
        return;
    }
    constexpr size_t MAX_DIGITS = 9;  // a tenth digit is cut off
    char text[12];
    snprintf(text, sizeof(text), "%d", number);
    text[MAX_DIGITS] = '\0';
    AMediaFormat_setString(meta, entry.key, text);
}

/** Sets the text, and adds "key=encoding:" to the list of encodings. A text of another encoding
   than UTF-8 is set as "". An unknown encoding is not listed. */
void publishText(const Entry& entry, const KELFLACFD_TAG& tag, AMediaFormat* meta,
                 String8* encodings) {
    const KELFLACFD_TXT& text = tag.*entry.text;
    if (text.len == 0) return;
    String8 value;
    if (text.enc == KELFLACFD_ENC_UTF8) {
        value = String8(reinterpret_cast<const char*>(text.data), text.len);
        if (value.length() == 0) return;  // no memory
    }
    AMediaFormat_setString(meta, entry.key, value.string());

    if (text.enc < KELFLACFD_ENC_FIRST || text.enc > KELFLACFD_ENC_UTF8) return;
    char encoding[12];
    snprintf(encoding, sizeof(encoding), "%d", static_cast<int>(text.enc - KELFLACFD_ENC_FIRST));
    // Without memory nothing is added to the list.
    String8 listed(entry.key);
    if (listed.length() == 0 || listed.append("=") != OK || listed.append(encoding) != OK ||
        listed.append(":") != OK) {
        return;
    }
    encodings->append(listed);
}

void publishAlbumArt(const KELFLACFD_TAG& tag, AMediaFormat* meta) {
    if (tag.pic_num < 1) return;
    const KELFLACFD_PIC& first = tag.pic[0];
    if (first.len == 0 || first.data == nullptr) return;
    AMediaFormat_setBuffer(meta, AMEDIAFORMAT_KEY_ALBUMART, first.data, first.len);
}

}  // namespace

void publishFileMeta(const KELFLACFD_TAG& tag, AMediaFormat* meta) {
    const Entry entries[] = {
        numberEntry(AMEDIAFORMAT_KEY_CDTRACKNUMBER, &KELFLACFD_TAG::track_num),
        numberEntry(AMEDIAFORMAT_KEY_DISCNUMBER, &KELFLACFD_TAG::disc_num),
        textEntry(AMEDIAFORMAT_KEY_ALBUM, &KELFLACFD_TAG::album),
        textEntry(AMEDIAFORMAT_KEY_ARTIST, &KELFLACFD_TAG::artist),
        textEntry(AMEDIAFORMAT_KEY_ALBUMARTIST, &KELFLACFD_TAG::album_artist),
        textEntry(AMEDIAFORMAT_KEY_AUTHOR, &KELFLACFD_TAG::author),
        textEntry(AMEDIAFORMAT_KEY_COMPOSER, &KELFLACFD_TAG::composer),
        textEntry(AMEDIAFORMAT_KEY_DATE, &KELFLACFD_TAG::date),
        textEntry(AMEDIAFORMAT_KEY_GENRE, &KELFLACFD_TAG::genre),
        textEntry(AMEDIAFORMAT_KEY_TITLE, &KELFLACFD_TAG::title),
        numberEntry(AMEDIAFORMAT_KEY_YEAR, &KELFLACFD_TAG::year),
        textEntry(AMEDIAFORMAT_KEY_WRITER, &KELFLACFD_TAG::lyricist),
        numberEntry(AMEDIAFORMAT_KEY_COMPILATION, &KELFLACFD_TAG::compilation),
    };
    String8 encodings;
    for (const Entry& entry : entries) {
        if (entry.number != nullptr) {
            publishNumber(entry, tag, meta);
        } else {
            publishText(entry, tag, meta, &encodings);
        }
    }
    if (encodings.length() > 0) {
        AMediaFormat_setString(meta, AMEDIAFORMAT_KEY_CHAR_ENCODING_TYPES, encodings.string());
    }
    publishAlbumArt(tag, meta);
}

}  // namespace android
