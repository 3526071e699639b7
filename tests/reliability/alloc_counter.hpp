// Counts heap allocations made by this process while a guard is active. The
// C allocator functions are interposed in the test executable (malloc, calloc,
// realloc and the aligned variants), so allocations made inside the shared
// library, and every operator new of the C++ runtime (which calls them), are
// seen too. Not usable under AddressSanitizer or valgrind, which own the
// allocator themselves.
#pragma once

#include <cstddef>

namespace tova_test {

struct AllocCounter {
    static void start();
    static long stop();  // allocations since start()
    static bool usable();  // false under valgrind, whose allocator wins
};

}  // namespace tova_test
