// Prints the digest of every part of the battery (or of the parts named on the
// command line), one "<part> <16 hex digits>" line each, from a fresh process.
// The determinism test compares these lines with golden_digests.txt, and the
// bad-input test with what its own process computes after garbage input.
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "battery.hpp"

int main(int argc, char **argv) {
    using namespace tova_test;
    for (int i = 0; i < kPartCount; ++i) {
        const Part p = static_cast<Part>(i);
        bool wanted = argc < 2;
        for (int a = 1; a < argc; ++a) wanted = wanted || std::strcmp(argv[a], part_name(p)) == 0;
        if (!wanted) continue;
        Digest d;
        run_part(p, d);
        std::printf("%s %016" PRIx64 "\n", part_name(p), d.h);
    }
    return 0;
}
