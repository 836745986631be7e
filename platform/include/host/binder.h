// Who seems to call the plug-in. Any thread may call.
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace host {
#pragma GCC visibility push(default)

/** Sets what AIBinder_getCallingUid returns, in every thread. 0 until set. */
void setCallingUid(uid_t uid);

/** How often AIBinder_getCallingUid has been called since the program began. */
uint64_t callingUidQueries();

#pragma GCC visibility pop
}  // namespace host
