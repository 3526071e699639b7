#include "alloc_counter.hpp"

#include <atomic>
#include <cstdlib>
#include <new>

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
inline void note() {
    if (g_counting.load(std::memory_order_relaxed)) g_count.fetch_add(1, std::memory_order_relaxed);
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
void *malloc(size_t n) {
    note();
    return __libc_malloc(n);
}
void *calloc(size_t a, size_t b) {
    note();
    return __libc_calloc(a, b);
}
void *realloc(void *p, size_t n) {
    note();
    return __libc_realloc(p, n);
}
void *aligned_alloc(size_t al, size_t n) {
    note();
    return __libc_memalign(al, n);
}
void *memalign(size_t al, size_t n) {
    note();
    return __libc_memalign(al, n);
}
int posix_memalign(void **out, size_t al, size_t n) {
    note();
    void *p = __libc_memalign(al, n);
    if (!p) return 12;  // ENOMEM
    *out = p;
    return 0;
}
void free(void *p) { __libc_free(p); }
}

void *operator new(size_t n) {
    note();
    if (void *p = __libc_malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
void *operator new[](size_t n) { return operator new(n); }
void *operator new(size_t n, const std::nothrow_t &) noexcept {
    note();
    return __libc_malloc(n ? n : 1);
}
void *operator new[](size_t n, const std::nothrow_t &) noexcept {
    note();
    return __libc_malloc(n ? n : 1);
}
void *operator new(size_t n, std::align_val_t al) {
    note();
    if (void *p = __libc_memalign(static_cast<size_t>(al), n ? n : 1)) return p;
    throw std::bad_alloc();
}
void *operator new[](size_t n, std::align_val_t al) { return operator new(n, al); }
void operator delete(void *p) noexcept { __libc_free(p); }
void operator delete[](void *p) noexcept { __libc_free(p); }
void operator delete(void *p, size_t) noexcept { __libc_free(p); }
void operator delete[](void *p, size_t) noexcept { __libc_free(p); }
void operator delete(void *p, std::align_val_t) noexcept { __libc_free(p); }
void operator delete[](void *p, std::align_val_t) noexcept { __libc_free(p); }
void operator delete(void *p, size_t, std::align_val_t) noexcept { __libc_free(p); }
void operator delete[](void *p, size_t, std::align_val_t) noexcept { __libc_free(p); }
