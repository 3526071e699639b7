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
#include <cstdio>
#include <map>
#include <ostream>
#include <string>

#include "tova_algorithm.h"

namespace tova_test {

inline constexpr uint32_t kModels[] = {ROBOT_VESK,   ROBOT_QUELL, ROBOT_PIRRA_2, ROBOT_PIRRA_3,  ROBOT_LUMO_A,
                                       ROBOT_LUMO_B, ROBOT_TALDO, ROBOT_LUMO_C,  ROBOT_GENERIC_7};

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
    config,     // selection of every model and sensor, setters, every getter
    pose,       // pose conversions and fixed 4x4 / 7x7 matrices
    forward,    // forward kinematics entry points and closed forms, every model
    inverse,    // inverse_kinematics, plug-in solvers and ikine on every model, narrow and wide search
    universal,  // link transforms, frame products, Jacobians, singularity, numerical inverse kinematics
    mat,        // mat operations, inverse and decompositions, 9x9 tools
    arrays,     // fixed-size arrays, Lie-group maps, low-pass filter
    dynmatrix,  // DynMatrix arithmetic and solver (allocates by design, so last)
};
inline constexpr int kPartCount = 8;
inline constexpr Part kParts[kPartCount] = {Part::config,    Part::pose, Part::forward, Part::inverse,
                                            Part::universal, Part::mat,  Part::arrays,  Part::dynmatrix};

const char *part_name(Part p);
// GoogleTest prints a part, and names its parameterised tests, by this.
inline void PrintTo(Part p, std::ostream *os) { *os << part_name(p); }

// Runs one part `rounds` times over (more rounds, more calls, same kinds),
// from the state reset_process_state() (process_state.hpp) makes.
void run_part(Part p, Digest &d, int rounds = 1);
std::string part_digest(Part p);  // 16 hex digits, as tova_battery prints them
// Reads "<part> <digest>" lines, as tova_battery prints them.
std::map<std::string, std::string> read_digests(FILE *in);

}  // namespace tova_test
