// A fixed battery of calls over every subsystem, each output's bits folded
// into a digest. The same battery serves three tests: run under the
// allocation counter (no heap in the control path), compared with the golden
// digests checked in beside it (same bits in Release and sanitizer builds,
// run after run), and replayed after garbage input against a fresh process.
//
// Inputs come from a fixed-seed xorshift generator (not <random>'s
// distributions, whose results differ between standard libraries), and each
// part starts from the same process-wide state, so a part's digest depends
// only on the library's outputs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>

namespace tova_test {

// FNV-1a over the bytes of every output.
struct Digest {
    uint64_t h = 1469598103934665603ull;
    void add(const void *p, size_t n) {
        const unsigned char *b = static_cast<const unsigned char *>(p);
        for (size_t i = 0; i < n; ++i) h = (h ^ b[i]) * 1099511628211ull;
    }
    template <typename T>
    void put(const T &v) {
        add(&v, sizeof v);
    }
};

struct Rng {  // xorshift32: the same sequence on every platform and library
    uint32_t s;
    explicit Rng(uint32_t seed) : s(seed) {}
    uint32_t next() {
        s ^= s << 13;
        s ^= s >> 17;
        s ^= s << 5;
        return s;
    }
    float uniform(float lo, float hi) {
        return lo + (hi - lo) * static_cast<float>(next() >> 8) * (1.0f / 16777216.0f);
    }
    void fill(float *v, int n, float lo, float hi) {
        for (int i = 0; i < n; ++i) v[i] = uniform(lo, hi);
    }
};

enum class Part {
    config,      // selection of every model and sensor, setters, every getter
    pose,        // pose conversions and fixed 4x4 / 7x7 matrices
    forward,     // forward kinematics entry points and closed forms, every model
    inverse,     // inverse_kinematics on every model, both orientation fields
    plugin,      // plug-in solvers and ikine, both solve modes
    seven_axis,  // quell and taldo solvers, narrow and wide search
    universal,   // link transforms, frame products, Jacobians, singularity
    numerical,   // numerical inverse kinematics, every model and format
    mat,         // mat operations, inverse and decompositions, 9x9 tools
    arrays,      // fixed-size arrays, Lie-group maps, low-pass filter
    dynmatrix,   // DynMatrix arithmetic and solver (allocates by design)
};
inline constexpr int kPartCount = 11;

const char *part_name(Part p);
inline void PrintTo(Part p, std::ostream *os) { *os << part_name(p); }  // GoogleTest's name for a part
// Runs one part `rounds` times over (more rounds, more calls, same kinds),
// from the state reset_process_state() (process_state.hpp) makes.
void run_part(Part p, Digest &d, int rounds = 1);

}  // namespace tova_test
