// A format is a list of slots, one for each key ever set. A clear keeps the slots. So the meta data
// of a media buffer allocates only at the first read: later reads set the same keys to numbers.
#include "host/media_format.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "media/NdkMediaFormat.h"

using host::FormatType;

namespace {

/** One key's entry, from malloc. The key, NUL-terminated, follows it in the same block. */
struct Slot {
    Slot* next;
    bool present;  ///< False when cleared: then `data` is null, and only `next` and the key are
                   ///< valid.
    FormatType type;
    int64_t number;
    void* data;   ///< From malloc; null for numbers.
    size_t size;  ///< Bytes at `data`, a string's NUL included.

    char* key() { return reinterpret_cast<char*>(this + 1); }
};

}  // namespace

struct AMediaFormat {
    Slot* first = nullptr;
};

namespace {

void freeSlots(Slot* slot) {
    while (slot != nullptr) {
        Slot* next = slot->next;
        free(slot->data);
        free(slot);
        slot = next;
    }
}

/** The slot of a key. Adds one at the end of the list if there is none. Null without memory. */
Slot* slotFor(AMediaFormat* format, const char* key) {
    Slot** end = &format->first;
    for (; *end != nullptr; end = &(*end)->next) {
        if (strcmp((*end)->key(), key) == 0) return *end;
    }
    const size_t key_bytes = strlen(key) + 1;
    auto* slot = static_cast<Slot*>(malloc(sizeof(Slot) + key_bytes));
    if (slot == nullptr) return nullptr;
    *slot = Slot{};
    memcpy(slot->key(), key, key_bytes);
    *end = slot;
    return slot;
}

/** The value of a key, or null when it is absent or of another type. */
const Slot* find(const AMediaFormat* format, const char* key, FormatType type) {
    if (format == nullptr || key == nullptr) return nullptr;
    for (Slot* slot = format->first; slot != nullptr; slot = slot->next) {
        if (!slot->present || strcmp(slot->key(), key) != 0) continue;
        return slot->type == type ? slot : nullptr;
    }
    return nullptr;
}

/** Sets a key to `number` if `data` is null, else to a copy of the `size` bytes at `data`. */
bool set(AMediaFormat* format, const char* key, FormatType type, int64_t number, const void* data,
         size_t size) {
    if (format == nullptr || key == nullptr) return false;
    void* copy = nullptr;
    if (data != nullptr) {
        copy = malloc(size > 0 ? size : 1);
        if (copy == nullptr) return false;
        memcpy(copy, data, size);
    }
    Slot* slot = slotFor(format, key);
    if (slot == nullptr) {
        free(copy);
        return false;
    }
    free(slot->data);
    *slot = {slot->next, true, type, number, copy, size};
    return true;
}

}  // namespace

AMediaFormat* AMediaFormat_new() {
    return new (std::nothrow) AMediaFormat;
}

media_status_t AMediaFormat_delete(AMediaFormat* format) {
    if (format != nullptr) freeSlots(format->first);
    delete format;
    return AMEDIA_OK;
}

void AMediaFormat_clear(AMediaFormat* format) {
    if (format == nullptr) return;
    for (Slot* slot = format->first; slot != nullptr; slot = slot->next) {
        slot->present = false;
        free(std::exchange(slot->data, nullptr));
    }
}

media_status_t AMediaFormat_copy(AMediaFormat* to, AMediaFormat* from) {
    if (to == nullptr || from == nullptr) return AMEDIA_ERROR_INVALID_PARAMETER;
    AMediaFormat copy;
    for (Slot* slot = from->first; slot != nullptr; slot = slot->next) {
        if (!slot->present) continue;
        if (!set(&copy, slot->key(), slot->type, slot->number, slot->data, slot->size)) {
            freeSlots(copy.first);
            return AMEDIA_ERROR_UNKNOWN;
        }
    }
    freeSlots(std::exchange(to->first, copy.first));
    return AMEDIA_OK;
}

void AMediaFormat_setInt32(AMediaFormat* format, const char* key, int32_t value) {
    set(format, key, FormatType::kInt32, value, nullptr, 0);
}

void AMediaFormat_setInt64(AMediaFormat* format, const char* key, int64_t value) {
    set(format, key, FormatType::kInt64, value, nullptr, 0);
}

void AMediaFormat_setString(AMediaFormat* format, const char* key, const char* value) {
    if (value == nullptr) return;
    set(format, key, FormatType::kString, 0, value, strlen(value) + 1);
}

void AMediaFormat_setBuffer(AMediaFormat* format, const char* key, const void* data, size_t size) {
    if (data == nullptr && size > 0) abort();  // a device would read from null
    set(format, key, FormatType::kBuffer, 0, data != nullptr ? data : "", size);
}

bool AMediaFormat_getInt32(AMediaFormat* format, const char* key, int32_t* out) {
    const Slot* slot = find(format, key, FormatType::kInt32);
    if (slot == nullptr) return false;
    *out = static_cast<int32_t>(slot->number);
    return true;
}

bool AMediaFormat_getInt64(AMediaFormat* format, const char* key, int64_t* out) {
    const Slot* slot = find(format, key, FormatType::kInt64);
    if (slot == nullptr) return false;
    *out = slot->number;
    return true;
}

bool AMediaFormat_getBuffer(AMediaFormat* format, const char* key, void** data, size_t* size) {
    const Slot* slot = find(format, key, FormatType::kBuffer);
    if (slot == nullptr) return false;
    *data = slot->data;
    *size = slot->size;
    return true;
}

bool host::formatEntry(const AMediaFormat* format, size_t index, FormatEntry* entry) {
    Slot* slot = format->first;
    while (slot != nullptr && (!slot->present || index > 0)) {
        if (slot->present) --index;
        slot = slot->next;
    }
    if (slot == nullptr) return false;
    const size_t size = slot->type == FormatType::kString ? slot->size - 1 : slot->size;
    *entry = {slot->key(), slot->type, slot->number, slot->data, size};
    return true;
}

const char* AMEDIAFORMAT_KEY_ALBUM = "album";
const char* AMEDIAFORMAT_KEY_ALBUMART = "albumart";
const char* AMEDIAFORMAT_KEY_ALBUMARTIST = "albumartist";
const char* AMEDIAFORMAT_KEY_ARTIST = "artist";
const char* AMEDIAFORMAT_KEY_AUTHOR = "author";
const char* AMEDIAFORMAT_KEY_BITS_PER_SAMPLE = "bits-per-sample";
const char* AMEDIAFORMAT_KEY_CDTRACKNUMBER = "cdtracknum";
const char* AMEDIAFORMAT_KEY_CHANNEL_COUNT = "channel-count";
const char* AMEDIAFORMAT_KEY_COMPILATION = "compilation";
const char* AMEDIAFORMAT_KEY_COMPOSER = "composer";
const char* AMEDIAFORMAT_KEY_CSD_0 = "csd-0";
const char* AMEDIAFORMAT_KEY_DATE = "date";
const char* AMEDIAFORMAT_KEY_DISCNUMBER = "discnum";
const char* AMEDIAFORMAT_KEY_DURATION = "durationUs";
const char* AMEDIAFORMAT_KEY_GENRE = "genre";
const char* AMEDIAFORMAT_KEY_IS_SYNC_FRAME = "is-sync-frame";
const char* AMEDIAFORMAT_KEY_MAX_INPUT_SIZE = "max-input-size";
const char* AMEDIAFORMAT_KEY_MIME = "mime";
const char* AMEDIAFORMAT_KEY_PCM_ENCODING = "pcm-encoding";
const char* AMEDIAFORMAT_KEY_SAMPLE_RATE = "sample-rate";
const char* AMEDIAFORMAT_KEY_TIME_US = "timeUs";
const char* AMEDIAFORMAT_KEY_TITLE = "title";
const char* AMEDIAFORMAT_KEY_YEAR = "year";
