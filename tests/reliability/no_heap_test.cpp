// The control path allocates nothing: every part of the battery but the last
// (DynMatrix, which allocates by design) runs several rounds while the
// allocator is counted.
//
// The C allocator functions are interposed in this executable (malloc, calloc,
// realloc and the aligned variants), so allocations made inside the shared
// library, and every operator new of the C++ runtime (which calls them), are
// counted too. Not usable under AddressSanitizer or valgrind, which own the
// allocator themselves.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <iterator>

#include "battery.hpp"

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
void start_counting() {
    g_count = 0;
    g_counting = true;
}
long stop_counting() {  // allocations since start_counting()
    g_counting = false;
    return g_count.load();
}
bool counter_usable() { return RUNNING_ON_VALGRIND == 0; }  // valgrind's allocator wins
}  // namespace

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

namespace {

using tova_test::Part;

// The counter itself: plain malloc, operator new (through the C++ runtime's
// malloc), and the library's own DynMatrix blocks (record and data).
TEST(NoHeap, CounterSeesAllocations) {
    if (!counter_usable()) GTEST_SKIP() << "the allocator is not ours (valgrind)";
    start_counting();
    void *volatile p = std::malloc(16);
    std::free(p);
    int *volatile q = new int(3);
    delete q;
    DynMatrix *m = eyeDynMatrix(3);
    freeDynMatrix(&m);
    EXPECT_EQ(stop_counting(), 4);
}

class NoHeapPart : public ::testing::TestWithParam<Part> {};

TEST_P(NoHeapPart, AllocatesNothing) {
    tova_test::Digest d;
    start_counting();
    tova_test::run_part(GetParam(), d, 3);
    const long allocations = stop_counting();
    // The calls ran (for memcheck), but under valgrind the count means nothing.
    if (!counter_usable()) GTEST_SKIP() << "the allocator is not ours (valgrind)";
    EXPECT_EQ(allocations, 0);
}

INSTANTIATE_TEST_SUITE_P(Battery, NoHeapPart,
                         ::testing::ValuesIn(std::begin(tova_test::kParts), std::end(tova_test::kParts) - 1),
                         ::testing::PrintToStringParamName());

}  // namespace
