// RefBase: an object that counts the references to it.
#pragma once

#include <atomic>
#include <cstdint>

#include "utils/StrongPointer.h"

namespace android {

/** Base class of objects made with new and held through sp<>. Any thread may take or drop a
    reference. Dropping the last one deletes the object. `id` is not used. */
class RefBase {
  public:
    RefBase(const RefBase&) = delete;
    RefBase& operator=(const RefBase&) = delete;

    void incStrong(const void* /*id*/) const { mStrong.fetch_add(1, std::memory_order_relaxed); }
    void decStrong(const void* /*id*/) const {
        // Acquire and release: the thread that deletes sees what the others wrote.
        if (mStrong.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
    }
    int32_t getStrongCount() const { return mStrong.load(std::memory_order_relaxed); }

  protected:
    RefBase() = default;
    virtual ~RefBase() = default;

  private:
    mutable std::atomic<int32_t> mStrong{0};
};

}  // namespace android
