// Same inputs, same bits: every part of the battery gives the digest checked in
// as golden_digests.txt, in the Release and in the sanitizer build alike, and
// again when run a second time in the same process.
//
// When a change of results is intended (a solver improved, a formula fixed),
// regenerate the file from a Release build and commit it with the change:
//   build/release/tests/reliability/tova_battery > tests/reliability/golden_digests.txt
// then check that the sanitizer build agrees (ctest --preset asan -R Determinism).
#include <gtest/gtest.h>

#include "battery.hpp"

namespace {

using tova_test::Part;

class Determinism : public ::testing::TestWithParam<Part> {};

TEST_P(Determinism, MatchesGoldenDigestRunAfterRun) {
    FILE *in = std::fopen(TOVA_GOLDEN_DIGESTS, "r");
    const auto golden = tova_test::read_digests(in);
    if (in) std::fclose(in);
    const std::string name = tova_test::part_name(GetParam());
    const std::string first = tova_test::part_digest(GetParam());
    EXPECT_EQ(tova_test::part_digest(GetParam()), first) << "a second run in the same process differs";
    ASSERT_TRUE(golden.count(name)) << "no golden digest for " << name << " in " << TOVA_GOLDEN_DIGESTS;
    EXPECT_EQ(first, golden.at(name)) << "the outputs of part '" << name << "' changed; if intended, regenerate "
                                      << TOVA_GOLDEN_DIGESTS << " with tova_battery (see determinism_test.cpp)";
}

INSTANTIATE_TEST_SUITE_P(Battery, Determinism, ::testing::ValuesIn(tova_test::kParts),
                         ::testing::PrintToStringParamName());

}  // namespace
