// Shared pieces of the seven-axis inverse kinematics: small double-precision
// geometry, the joint space (limits, weights, speed steps), candidate scoring
// and the circle / sinusoid helpers the redundancy searches are built from.
// Everything here is plain data and inline functions; nothing allocates.
#ifndef TOVA_IKINE_SEVEN_AXIS_CORE_HPP
#define TOVA_IKINE_SEVEN_AXIS_CORE_HPP

#include <cmath>
#include <cstdint>
#include <initializer_list>

namespace tova::seven_axis {

constexpr int kJoints = 7;
constexpr int kBranches = 8;
constexpr double kPi = 3.14159265358979323846;
constexpr double kTwoPi = 2.0 * kPi;

// Result codes, the same values as Ikine7Result in ikine/ikine_quell.h.
enum Code : int32_t {
    kOk = 0,
    kInvalidInput = -5,
    kOutOfReach = -6,
    kJointLimit = -7,
    kSpeedLimit = -8,
};

// ---- 3-vectors and 3x3 matrices -------------------------------------------

struct V3 {
    double x, y, z;
};
struct M3 {
    double m[3][3];  // row-major
};
struct Rigid {  // rotation R and translation p of a homogeneous transform
    M3 R;
    V3 p;
};

inline V3 operator+(V3 a, V3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline V3 operator-(V3 a, V3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline V3 operator*(double s, V3 a) { return {s * a.x, s * a.y, s * a.z}; }
inline double dot(V3 a, V3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline V3 cross(V3 a, V3 b) { return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x}; }
inline double norm(V3 a) { return std::sqrt(dot(a, a)); }

inline V3 col(const M3& A, int j) { return {A.m[0][j], A.m[1][j], A.m[2][j]}; }
inline V3 mul(const M3& A, V3 v) {
    return {A.m[0][0] * v.x + A.m[0][1] * v.y + A.m[0][2] * v.z,
            A.m[1][0] * v.x + A.m[1][1] * v.y + A.m[1][2] * v.z,
            A.m[2][0] * v.x + A.m[2][1] * v.y + A.m[2][2] * v.z};
}
inline V3 mul_t(const M3& A, V3 v) {  // A^T v
    return {A.m[0][0] * v.x + A.m[1][0] * v.y + A.m[2][0] * v.z,
            A.m[0][1] * v.x + A.m[1][1] * v.y + A.m[2][1] * v.z,
            A.m[0][2] * v.x + A.m[1][2] * v.y + A.m[2][2] * v.z};
}
inline M3 mul(const M3& A, const M3& B) {
    M3 C;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            C.m[i][j] = A.m[i][0] * B.m[0][j] + A.m[i][1] * B.m[1][j] + A.m[i][2] * B.m[2][j];
    return C;
}
inline M3 transpose(const M3& A) {
    M3 T;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) T.m[i][j] = A.m[j][i];
    return T;
}
inline M3 scaled(const M3& A, double s) {
    M3 B;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) B.m[i][j] = s * A.m[i][j];
    return B;
}
inline double frobenius_dot(const M3& A, const M3& B) {
    double s = 0.0;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) s += A.m[i][j] * B.m[i][j];
    return s;
}
// Sorts a short list of break-points in place (insertion sort: a few dozen
// values, no allocation, well defined whatever the values).
inline void sort_ascending(double *v, int n) {
    for (int i = 1; i < n; ++i) {
        const double x = v[i];
        int j = i;
        while (j > 0 && v[j - 1] > x) {
            v[j] = v[j - 1];
            --j;
        }
        v[j] = x;
    }
}

inline M3 identity3() { return {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}; }
inline M3 rot_x(double a) {
    const double c = std::cos(a), s = std::sin(a);
    return {{{1, 0, 0}, {0, c, -s}, {0, s, c}}};
}
inline M3 rot_y(double a) {
    const double c = std::cos(a), s = std::sin(a);
    return {{{c, 0, s}, {0, 1, 0}, {-s, 0, c}}};
}
inline M3 rot_z(double a) {
    const double c = std::cos(a), s = std::sin(a);
    return {{{c, -s, 0}, {s, c, 0}, {0, 0, 1}}};
}
inline M3 skew(V3 u) { return {{{0, -u.z, u.y}, {u.z, 0, -u.x}, {-u.y, u.x, 0}}}; }

inline Rigid compose(const Rigid& A, const Rigid& B) { return {mul(A.R, B.R), mul(A.R, B.p) + A.p}; }
inline Rigid inverse(const Rigid& A) {
    const M3 Rt = transpose(A.R);
    return {Rt, -1.0 * mul(Rt, A.p)};
}

// True when two transforms agree to tol in every rotation element and
// translation component.
inline bool near_pose(const Rigid& A, const Rigid& B, double tol) {
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            if (!(std::fabs(A.R.m[i][j] - B.R.m[i][j]) <= tol)) return false;
    const V3 d = A.p - B.p;
    return std::fabs(d.x) <= tol && std::fabs(d.y) <= tol && std::fabs(d.z) <= tol;
}

// ---- angles on the circle and sinusoids ------------------------------------

// a reduced into [base, base + 2 pi).
inline double wrap_from(double a, double base) {
    double r = std::fmod(a - base, kTwoPi);
    if (r < 0.0) r += kTwoPi;
    return base + r;
}

// Roots of alpha sin t + beta cos t + gamma = 0; returns how many (0..2).
inline int sinusoid_roots(double alpha, double beta, double gamma, double out[2]) {
    const double rho = std::hypot(alpha, beta);
    if (!(rho > 1e-14) || std::fabs(gamma) > rho) return 0;
    const double phase = std::atan2(beta, alpha);
    const double a = std::asin(-gamma / rho);
    out[0] = a - phase;
    out[1] = kPi - a - phase;
    return 2;
}

// ---- joint space -------------------------------------------------------------

// Limits in model space (machine angle plus offset), the cost weights of the
// six-axis solvers, and the largest step each joint may make in one control
// period (0 when speed is not checked for that joint).
struct JointSpace {
    double lo[kJoints];
    double hi[kJoints];
    double max_step[kJoints];
    bool check_speed;
};

constexpr double kWeight[kJoints] = {2.4, 2.4, 2.4, 1.0, 1.0, 1.0, 1.0};

// The representative th + 2 pi k inside [lo, hi] nearest to cur. Returns
// false when no turn of th lies inside; *out is then the nearest turn and
// *outside how far it lies beyond the range.
inline bool map_into_range(double th, double cur, double lo, double hi, double* out, double* outside) {
    double r = th;
    const double d = th - cur;
    if (d > kPi || d < -kPi) r -= kTwoPi * std::nearbyint(d / kTwoPi);
    if (r > hi) r -= kTwoPi * std::ceil((r - hi) / kTwoPi);
    if (r < lo) r += kTwoPi * std::ceil((lo - r) / kTwoPi);
    *out = r;
    if (r <= hi) {  // also r >= lo here
        *outside = 0.0;
        return true;
    }
    const double below = lo - (r - kTwoPi);  // the range lies between two turns
    *outside = r - hi < below ? r - hi : below;
    return false;
}

// One solution of the arm at a redundancy value, scored against the current joints.
struct Candidate {
    double th[kJoints];  // model angles, each in its range when feasible
    double t;            // redundancy parameter
    double cost;         // weighted squared distance to the current joints
    double ratio;        // largest |step| / max_step (0 without speed check)
    double margin;       // smallest distance inside the limits; negative: violation
    int branch;
    bool feasible;
};

// How to search the redundancy: narrow = within half_window of the current
// value (Cartesian motion at control rate), wide = the whole feasible range.
struct SearchSettings {
    bool narrow;
    double half_window;
};

struct Solution {
    int32_t code;
    double th[kJoints];  // model angles; valid when code == kOk
    double t;            // redundancy parameter of the solution
    int branch;
};

// Float targets carry about 1e-7 of rounding. When the current joints already
// reach the target to this tolerance (m, and per rotation element), they are
// the nearest solution and are returned unchanged: a controller commanding a
// standing pose holds still instead of jittering near singular configurations.
constexpr double kStandingTol = 1e-6;

// Largest sampling step of the narrow search, rad. The default window
// (+-0.013) is sampled at its ends and middle; wider windows more densely,
// as the cost along a branch may then have several minima.
constexpr double kNarrowStep = 0.02;

// Maps the raw closed-form angles into the joint ranges and scores them.
inline void score(const double raw[kJoints], const double cur[kJoints], const JointSpace& js, Candidate* c) {
    double cost = 0.0, ratio = 0.0, margin = 1e300;
    bool ok = true;
    for (int i = 0; i < kJoints; ++i) {
        double r, outside;
        if (map_into_range(raw[i], cur[i], js.lo[i], js.hi[i], &r, &outside)) {
            const double m = r - js.lo[i] < js.hi[i] - r ? r - js.lo[i] : js.hi[i] - r;
            if (m < margin) margin = m;
        } else {
            ok = false;
            if (-outside < margin) margin = -outside;
        }
        c->th[i] = r;
        const double d = r - cur[i];
        cost += kWeight[i] * d * d;
        if (js.check_speed && js.max_step[i] > 0.0) {
            const double q = std::fabs(d) / js.max_step[i];
            if (q > ratio) ratio = q;
        }
    }
    c->cost = cost;
    c->ratio = ratio;
    c->margin = margin;
    c->feasible = ok && std::isfinite(cost);
}

// The current joints as the solution when they reach the target and lie
// inside the limits (see kStandingTol).
inline bool standing_solution(const Rigid& reached, const Rigid& target, const double cur[kJoints],
                              const JointSpace& js, Solution* out) {
    if (!near_pose(reached, target, kStandingTol)) return false;
    for (int i = 0; i < kJoints; ++i)
        if (!(cur[i] >= js.lo[i] && cur[i] <= js.hi[i])) return false;
    out->code = kOk;
    for (int i = 0; i < kJoints; ++i) out->th[i] = cur[i];
    out->t = 0.0;
    out->branch = -1;
    return true;
}

}  // namespace tova::seven_axis

#endif
