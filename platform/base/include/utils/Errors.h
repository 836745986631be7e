// Status codes of the platform's utility classes and data sources: 0 or a negative value.
#pragma once

#include <cerrno>
#include <cstdint>

namespace android {

typedef int32_t status_t;

enum {
    OK = 0,
    UNKNOWN_ERROR = INT32_MIN,
    NO_MEMORY = -ENOMEM,
};

}  // namespace android
