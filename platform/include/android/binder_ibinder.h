// Who is calling: the one function of inter-process calls that a plug-in uses.
#pragma once

#include <sys/types.h>

extern "C" {
#pragma GCC visibility push(default)

/** The user id of the process whose call the current thread is serving. */
uid_t AIBinder_getCallingUid();

#pragma GCC visibility pop
}
