// Counts heap allocations made by this process while a guard is active. The
// allocator functions are interposed in the test executable (malloc, calloc,
// realloc, aligned variants and every operator new), so allocations made
// inside the shared library are seen too. Not usable under AddressSanitizer,
// which owns the allocator itself.
#pragma once

#include <cstddef>

namespace tova_test {

struct AllocCounter {
    static void start();
    static long stop();  // allocations since start()
};

}  // namespace tova_test
