#include "tests/support/heap.h"

#include <malloc.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace kelflac_test {

std::atomic<size_t> heap_allocations, heap_live, heap_peak, heap_watched_size;
std::atomic<void*> heap_watched;
std::function<bool()> allocation_fails;

static bool Fails() {
    heap_allocations++;
    return allocation_fails && allocation_fails();
}

static void* Count(void* block) {
    heap_live += malloc_usable_size(block);
    heap_peak = std::max(heap_peak.load(), heap_live.load());
    return block;
}

/** Fills the first bytes of new memory, so that a test can tell unwritten ones from zeros. */
static void* Scribble(void* block, size_t size) {
    constexpr size_t kScribbled = 1 << 20;
    return block != nullptr ? memset(block, 0xA5, std::min(size, kScribbled)) : nullptr;
}

// In the code linked into the program, the linker turns calls of a function f into __wrap_f.
extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void __real_free(void* block);

void* __wrap_malloc(size_t size) {  // the malloc of some C libraries gives null for 0 bytes
    return Fails() || size == 0 ? nullptr : Scribble(Count(__real_malloc(size)), size);
}
void* __wrap_calloc(size_t count, size_t size) {
    return Fails() ? nullptr : Count(__real_calloc(count, size));
}
void __wrap_free(void* block) {
    heap_live -= malloc_usable_size(block);
    __real_free(block);
}
}

}  // namespace kelflac_test

#ifndef KELFLAC_SANITIZE_THREADS  // ThreadSanitizer's own one can't be replaced
/** Replaces the C++ library's. That library's delete frees the memory. */
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    using namespace kelflac_test;
    void* const block = Fails() ? nullptr : Scribble(::operator new(size), size);
    if (size == heap_watched_size) heap_watched = block;
    return block;
}
#endif
