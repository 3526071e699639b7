// Prints the digest of every part of the battery, one "<part> <16 hex digits>"
// line each, from a fresh process. The determinism test compares these lines
// with golden_digests.txt, and the bad-input test with what its own process
// computes after garbage input.
#include <cstdio>

#include "battery.hpp"

int main() {
    for (tova_test::Part p : tova_test::kParts)
        std::printf("%s %s\n", tova_test::part_name(p), tova_test::part_digest(p).c_str());
    return 0;
}
