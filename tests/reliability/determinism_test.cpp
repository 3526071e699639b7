// Same inputs, same bits: every part of the battery gives the digest checked in
// as golden_digests.txt, in the Release and in the sanitizer build alike, and
// again when run a second time in the same process.
//
// When a change of results is intended (a solver improved, a formula fixed),
// regenerate the file from a Release build and commit it with the change:
//   build/release/tests/reliability/tova_battery > tests/reliability/golden_digests.txt
// then check that the sanitizer build agrees (ctest --preset asan -R Determinism).
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "battery.hpp"

namespace {

using tova_test::Part;

std::string hex(uint64_t h) {
    char buf[17];
    std::snprintf(buf, sizeof buf, "%016" PRIx64, h);
    return buf;
}

std::string digest_of(Part p) {
    tova_test::Digest d;
    tova_test::run_part(p, d);
    return hex(d.h);
}

class Determinism : public ::testing::TestWithParam<Part> {
  protected:
    static std::map<std::string, std::string> golden() {
        std::map<std::string, std::string> g;
        std::ifstream in(TOVA_GOLDEN_DIGESTS);
        std::string name, value;
        while (in >> name >> value) g[name] = value;
        return g;
    }
};

TEST_P(Determinism, MatchesGoldenDigest) {
    const auto g = golden();
    const std::string name = tova_test::part_name(GetParam());
    ASSERT_TRUE(g.count(name)) << "no golden digest for " << name << " in " << TOVA_GOLDEN_DIGESTS;
    EXPECT_EQ(digest_of(GetParam()), g.at(name))
        << "the outputs of part '" << name << "' changed; if intended, regenerate " << TOVA_GOLDEN_DIGESTS
        << " with tova_battery (see determinism_test.cpp)";
}

TEST_P(Determinism, RepeatsBitForBit) {
    const std::string first = digest_of(GetParam());
    EXPECT_EQ(digest_of(GetParam()), first);
}

INSTANTIATE_TEST_SUITE_P(Battery, Determinism,
                         ::testing::Values(Part::config, Part::pose, Part::forward, Part::inverse, Part::plugin,
                                           Part::seven_axis, Part::universal, Part::numerical, Part::mat,
                                           Part::arrays, Part::dynmatrix),
                         [](const ::testing::TestParamInfo<Part> &info) { return tova_test::part_name(info.param); });

}  // namespace
