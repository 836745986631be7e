// Media formats: small dictionaries from a key string to an int32, an int64, a string or a buffer.
//
// Conventions:
// 1. Setting a key replaces its value, of whatever type. A get of another type fails.
// 2. Keys, strings and buffers are copied in. A get of a buffer points into the format. It is valid
//    until that key is set again, or the format is cleared, deleted or the target of a copy.
// 3. With a null format, key or text, sets do nothing and gets fail. When an allocation fails, the
//    key keeps its old value.
// 4. Nothing is locked. Several threads may read one format, or one thread may change it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "media/NdkMediaError.h"

struct AMediaFormat;

extern "C" {
#pragma GCC visibility push(default)

/** Returns a new empty format, owned by the caller, or null without memory. */
AMediaFormat* AMediaFormat_new();

/** Frees a format and its entries. Null is allowed. Always AMEDIA_OK. */
media_status_t AMediaFormat_delete(AMediaFormat* format);

/** Removes every entry. */
void AMediaFormat_clear(AMediaFormat* format);

/**
 * Replaces all entries of `to` by copies of those of `from`.
 *
 * @return AMEDIA_OK; AMEDIA_ERROR_INVALID_PARAMETER when either is null; AMEDIA_ERROR_UNKNOWN
 *     without memory. `to` is unchanged on failure.
 */
media_status_t AMediaFormat_copy(AMediaFormat* to, AMediaFormat* from);

void AMediaFormat_setInt32(AMediaFormat* format, const char* key, int32_t value);
void AMediaFormat_setInt64(AMediaFormat* format, const char* key, int64_t value);
/** Sets a key to a NUL-terminated string. */
void AMediaFormat_setString(AMediaFormat* format, const char* key, const char* value);
/** Sets a key to `size` bytes; `data` may be null when `size` is 0. */
void AMediaFormat_setBuffer(AMediaFormat* format, const char* key, const void* data, size_t size);

// Gets return false, with the output untouched, when the key is absent or of another type.
bool AMediaFormat_getInt32(AMediaFormat* format, const char* key, int32_t* out);
bool AMediaFormat_getInt64(AMediaFormat* format, const char* key, int64_t* out);
bool AMediaFormat_getBuffer(AMediaFormat* format, const char* key, void** data, size_t* size);

extern const char* AMEDIAFORMAT_KEY_ALBUM;
extern const char* AMEDIAFORMAT_KEY_ALBUMART;
extern const char* AMEDIAFORMAT_KEY_ALBUMARTIST;
extern const char* AMEDIAFORMAT_KEY_ARTIST;
extern const char* AMEDIAFORMAT_KEY_AUTHOR;
extern const char* AMEDIAFORMAT_KEY_BITS_PER_SAMPLE;
extern const char* AMEDIAFORMAT_KEY_CDTRACKNUMBER;
extern const char* AMEDIAFORMAT_KEY_CHANNEL_COUNT;
extern const char* AMEDIAFORMAT_KEY_COMPILATION;
extern const char* AMEDIAFORMAT_KEY_COMPOSER;
extern const char* AMEDIAFORMAT_KEY_CSD_0;
extern const char* AMEDIAFORMAT_KEY_DATE;
extern const char* AMEDIAFORMAT_KEY_DISCNUMBER;
extern const char* AMEDIAFORMAT_KEY_DURATION;
extern const char* AMEDIAFORMAT_KEY_GENRE;
extern const char* AMEDIAFORMAT_KEY_IS_SYNC_FRAME;
extern const char* AMEDIAFORMAT_KEY_MAX_INPUT_SIZE;
extern const char* AMEDIAFORMAT_KEY_MIME;
extern const char* AMEDIAFORMAT_KEY_PCM_ENCODING;
extern const char* AMEDIAFORMAT_KEY_SAMPLE_RATE;
extern const char* AMEDIAFORMAT_KEY_TIME_US;
extern const char* AMEDIAFORMAT_KEY_TITLE;
extern const char* AMEDIAFORMAT_KEY_YEAR;

#pragma GCC visibility pop
}
