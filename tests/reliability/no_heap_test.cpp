// The control path allocates nothing: every part of the battery but the last
// (DynMatrix, which allocates by design) runs several rounds while the
// allocator is counted.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>

#include "alloc_counter.hpp"
#include "battery.hpp"

namespace {

using tova_test::AllocCounter;
using tova_test::Part;

// The counter itself: plain malloc, operator new (through the C++ runtime's
// malloc), and the library's own DynMatrix blocks (record and data).
TEST(NoHeap, CounterSeesAllocations) {
    if (!AllocCounter::usable()) GTEST_SKIP() << "the allocator is not ours (valgrind)";
    AllocCounter::start();
    void *volatile p = std::malloc(16);
    std::free(p);
    int *volatile q = new int(3);
    delete q;
    DynMatrix *m = eyeDynMatrix(3);
    freeDynMatrix(&m);
    EXPECT_EQ(AllocCounter::stop(), 4);
}

class NoHeapPart : public ::testing::TestWithParam<Part> {};

TEST_P(NoHeapPart, AllocatesNothing) {
    tova_test::Digest d;
    AllocCounter::start();
    tova_test::run_part(GetParam(), d, 3);
    const long allocations = AllocCounter::stop();
    // The calls ran (for memcheck), but under valgrind the count means nothing.
    if (!AllocCounter::usable()) GTEST_SKIP() << "the allocator is not ours (valgrind)";
    EXPECT_EQ(allocations, 0);
}

INSTANTIATE_TEST_SUITE_P(Battery, NoHeapPart,
                         ::testing::ValuesIn(std::begin(tova_test::kParts), std::end(tova_test::kParts) - 1),
                         ::testing::PrintToStringParamName());

}  // namespace
