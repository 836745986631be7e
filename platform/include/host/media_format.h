// A look at all entries of a media format.
#pragma once

#include <cstddef>
#include <cstdint>

struct AMediaFormat;

namespace host {
#pragma GCC visibility push(default)

enum class FormatType { kInt32, kInt64, kString, kBuffer };

/** One entry. Pointers belong to the format, as those of its gets do. */
struct FormatEntry {
    const char* key;
    FormatType type;
    int64_t number;    ///< The value of a kInt32 or kInt64, else 0.
    const void* data;  ///< The bytes of a kString (a NUL follows them) or kBuffer, else null.
    size_t size;       ///< Bytes at `data`.
};

/** Stores entry `index` (from 0, in the order in which the keys were first set) and returns true;
    false behind the last entry. */
bool formatEntry(const AMediaFormat* format, size_t index, FormatEntry* entry);

#pragma GCC visibility pop
}  // namespace host
