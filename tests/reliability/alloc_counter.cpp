#include "alloc_counter.hpp"

#include <atomic>
#include <cstdlib>

#if __has_include(<valgrind/valgrind.h>)
#include <valgrind/valgrind.h>
#else
#define RUNNING_ON_VALGRIND 0
#endif

extern "C" {
void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);
void *__libc_memalign(size_t, size_t);
void __libc_free(void *);
}

namespace {
std::atomic<bool> g_counting{false};
std::atomic<long> g_count{0};
// Counts one allocation (failed ones too) and passes its result through.
inline void *counted(void *p) {
    if (g_counting.load(std::memory_order_relaxed)) g_count.fetch_add(1, std::memory_order_relaxed);
    return p;
}
}  // namespace

namespace tova_test {
void AllocCounter::start() {
    g_count = 0;
    g_counting = true;
}
long AllocCounter::stop() {
    g_counting = false;
    return g_count.load();
}
bool AllocCounter::usable() { return RUNNING_ON_VALGRIND == 0; }
}  // namespace tova_test

extern "C" {
void *malloc(size_t n) { return counted(__libc_malloc(n)); }
void *calloc(size_t a, size_t b) { return counted(__libc_calloc(a, b)); }
void *realloc(void *p, size_t n) { return counted(__libc_realloc(p, n)); }
void *aligned_alloc(size_t al, size_t n) { return counted(__libc_memalign(al, n)); }
void *memalign(size_t al, size_t n) { return counted(__libc_memalign(al, n)); }
int posix_memalign(void **out, size_t al, size_t n) {
    void *p = counted(__libc_memalign(al, n));
    if (!p) return 12;  // ENOMEM
    *out = p;
    return 0;
}
void free(void *p) { __libc_free(p); }
}
