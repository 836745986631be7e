// The heap as the library uses it: malloc and calloc of what is linked into the test program, and
// new (std::nothrow) of the whole process, with which the platform makes its formats and buffers.
#pragma once

#include <atomic>
#include <functional>

namespace kelflac_test {

extern std::atomic<size_t> heap_allocations;      ///< Since the program began, failed ones too.
extern std::atomic<size_t> heap_live, heap_peak;  ///< Bytes from malloc and calloc.
extern std::atomic<size_t> heap_watched_size;
extern std::atomic<void*> heap_watched;  ///< The newest block of that size from new (std::nothrow).
/** Asked at each allocation whether it fails; empty: none does. Not to be set while another thread
    is in the library. */
extern std::function<bool()> allocation_fails;

}  // namespace kelflac_test
