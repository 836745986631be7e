// sp<T>: a strong reference to a RefBase object.
#pragma once

#include <cstddef>
#include <utility>

namespace android {

/** Holds one strong reference, or null. Use an sp from one thread at a time. Several sp on several
    threads may share an object. */
template <typename T>
class sp {
  public:
    sp() = default;
    sp(std::nullptr_t) {}
    sp(T* object) : mObject(object) {
        if (mObject != nullptr) mObject->incStrong(this);
    }
    sp(const sp& other) : sp(other.mObject) {}
    sp(sp&& other) noexcept : mObject(std::exchange(other.mObject, nullptr)) {}
    ~sp() {
        if (mObject != nullptr) mObject->decStrong(this);
    }

    /** Assigns anything that an sp can be made from. Drops the old reference last. */
    sp& operator=(sp other) noexcept {
        std::swap(mObject, other.mObject);
        return *this;
    }
    void clear() { *this = nullptr; }

    T* operator->() const { return mObject; }
    friend bool operator==(const sp& a, const T* b) { return a.mObject == b; }
    friend bool operator!=(const sp& a, const T* b) { return a.mObject != b; }

  private:
    T* mObject = nullptr;
};

}  // namespace android
