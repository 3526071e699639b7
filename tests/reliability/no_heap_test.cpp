// The control path allocates nothing: every part of the battery (configuration,
// poses, forward and inverse kinematics of every model through the entry, the
// plug-in solvers and ikine, seven-axis narrow and wide search, link
// transforms, Jacobians, singularity, numerical IK, mat and its decompositions,
// fixed arrays and filters) runs several rounds while the allocator is counted.
// Only the DynMatrix family allocates, by design.
#include <gtest/gtest.h>

#include <cstdlib>

#include "alloc_counter.hpp"
#include "battery.hpp"
#include "tova_algorithm.h"

namespace {

using tova_test::AllocCounter;
using tova_test::Part;

#define SKIP_WITHOUT_COUNTER()                                                            \
    if (!AllocCounter::usable()) GTEST_SKIP() << "the allocator is not ours (valgrind)"

TEST(NoHeap, CounterSeesAllocations) {
    SKIP_WITHOUT_COUNTER();
    AllocCounter::start();
    void *volatile p = std::malloc(16);
    std::free(p);
    int *volatile q = new int(3);
    delete q;
    EXPECT_EQ(AllocCounter::stop(), 2);
}

TEST(NoHeap, CounterSeesDynMatrix) {
    SKIP_WITHOUT_COUNTER();
    AllocCounter::start();
    DynMatrix *m = eyeDynMatrix(3);
    freeDynMatrix(&m);
    EXPECT_EQ(AllocCounter::stop(), 2);  // record and data blocks
}

class NoHeapPart : public ::testing::TestWithParam<Part> {};

TEST_P(NoHeapPart, AllocatesNothing) {
    tova_test::Digest d;
    AllocCounter::start();
    tova_test::run_part(GetParam(), d, 3);
    const long allocations = AllocCounter::stop();
    SKIP_WITHOUT_COUNTER();  // the calls ran (for memcheck), but the count means nothing
    EXPECT_EQ(allocations, 0);
}

INSTANTIATE_TEST_SUITE_P(Battery, NoHeapPart,
                         ::testing::Values(Part::config, Part::pose, Part::forward, Part::inverse, Part::plugin,
                                           Part::seven_axis, Part::universal, Part::numerical, Part::mat,
                                           Part::arrays),
                         [](const ::testing::TestParamInfo<Part> &info) { return tova_test::part_name(info.param); });

}  // namespace
