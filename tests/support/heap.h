// The heap: malloc, calloc and free of the code linked into the test program, and the process's
// new (std::nothrow), which the library and the platform use. ThreadSanitizer keeps its own new.
#pragma once

#include <atomic>
#include <functional>

namespace kelflac_test {

extern std::atomic<size_t> heap_allocations;      ///< Since the program began, failed ones too.
extern std::atomic<size_t> heap_live, heap_peak;  ///< Bytes from malloc and calloc.
extern std::atomic<size_t> heap_watched_size;
extern std::atomic<void*> heap_watched;  ///< The newest block of that size from new (std::nothrow).
/** Called at each allocation: true makes it fail. Empty: none fails. Set it only while no other
    thread uses the library. */
extern std::function<bool()> allocation_fails;

}  // namespace kelflac_test
