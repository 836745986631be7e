// The entries of a media format, one by one.
#pragma once

#include <cstddef>
#include <cstdint>

struct AMediaFormat;

namespace host {
#pragma GCC visibility push(default)

enum class FormatType { kInt32, kInt64, kString, kBuffer };

/** One entry. The format owns the key and the data. */
struct FormatEntry {
    const char* key;
    FormatType type;
    int64_t number;    ///< The value of a kInt32 or kInt64, else 0.
    const void* data;  ///< The bytes of a kString (a NUL follows them) or kBuffer, else null.
    size_t size;       ///< Bytes at `data`.
};

/** Stores entry `index` and returns true, or false after the last entry. Entries count from 0, in
    the order in which their keys were first set. */
bool formatEntry(const AMediaFormat* format, size_t index, FormatEntry* entry);

#pragma GCC visibility pop
}  // namespace host
