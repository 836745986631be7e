#include "host/binder.h"

#include <atomic>

#include "android/binder_ibinder.h"

namespace {

std::atomic<uid_t> gCallingUid{0};
std::atomic<uint64_t> gQueries{0};

}  // namespace

uid_t AIBinder_getCallingUid() {
    gQueries.fetch_add(1, std::memory_order_relaxed);
    return gCallingUid.load(std::memory_order_relaxed);
}

void host::setCallingUid(uid_t uid) {
    gCallingUid.store(uid, std::memory_order_relaxed);
}

uint64_t host::callingUidQueries() {
    return gQueries.load(std::memory_order_relaxed);
}
