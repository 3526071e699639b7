// Closed-form inverse kinematics of the six-axis arms, written once and used
// by the stateful entry (tova_ikine.cpp: one file-level SixAxisState), by the
// stateless plug-in solvers (libikine_plugin.cpp: a local SixAxisState each)
// and by `tova-kin ik --all` (an observer that sees every candidate).
//
// Two schemes:
//  * vesk scheme (vesk, pirra_2): f32 throughout, spherical wrist, four arm
//    candidates with two wrist choices each, per-joint bound filter, strict
//    "<" choice from a cost of 1000, wrist-singularity re-split under the
//    avoid flag, whole turns of joint 6 removed by truncation and restored.
//    Every working value lives in the SixAxisState, as the entry keeps it.
//  * lumo scheme (lumo A/B/C, pirra_3): double-precision locals, lateral
//    shoulder offset, eight candidates marked valid or invalid, no bound
//    filter before the choice; it reads the frames, DH and limits of the
//    state and writes nothing back.
//
// The observer is a template parameter; NoObserver compiles to nothing.
// Nothing here allocates.
#ifndef TOVA_IKINE_IK_SIX_AXIS_CORE_HPP
#define TOVA_IKINE_IK_SIX_AXIS_CORE_HPP

#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <type_traits>

#include "config/config_generation.hpp"
#include "config/libalgo_interface.h"
#include "math/lane_trig.hpp"
#include "ikine/ik_lanes.hpp"
#include "kinematics/frame_product.hpp"
#include "math/fixed_matrix.hpp"
#include "math/pose_core.hpp"
#include "math/tova_mathfuncs.h"

namespace tova::ik {

// ---- constants (f32 as written; the lumo scheme uses the same literals in double) ----
inline constexpr float kTurn = 6.2831855f;
inline constexpr float kHalfTurn = 3.1415927f;
inline constexpr float kQuarterTurn = 1.5707964f;
inline constexpr float kShoulderAxisTol = 5e-5f;
inline constexpr float kElbowTol = 1.0002f;
inline constexpr float kArmWeight = 1.2f;
inline constexpr float kNoCandidateCost = 1000.0f;
inline constexpr float kNoCandidateTol = 1e-6f;
inline constexpr float kWristLimit = 0.087f;
inline constexpr float kVeskJoint6Bound = 6.300638f;    // one turn plus one degree
inline constexpr float kPirraJoint6Bound = 6.3006387f;  // the same, centred on the offset
inline constexpr float kOneDegree = 0.017453292f;
// Last-joint wrap clamp: a last joint within two degrees past a full turn is
// pulled back to exactly 6.283185.
inline constexpr float kWrapTurn = 6.283185f;
inline constexpr float kWrapMax = 6.318092f;

inline constexpr double kTurnD = 6.2831855;
inline constexpr double kHalfTurnD = 3.1415927;
inline constexpr double kLumoTol = 1e-6;
inline constexpr double kLumoCosMax = 0.999999;
inline constexpr double kLumoInvalid = 1000.0;
inline constexpr double kLumoWeight = 2.4;

// The per-call working values of the six-axis inverse kinematics, which every
// call starts from: zero, with the fit at "no candidate" and the wrist
// threshold. One block, so that a reset is one run of stores.
struct SixAxisWorkingValues {
    // columns n, o, a and position p of the matrix being solved
    float nx = 0, ny = 0, nz = 0, ox = 0, oy = 0, oz = 0, ax = 0, ay = 0, az = 0, px = 0, py = 0, pz = 0;
    float fit = kNoCandidateCost;  // best cost so far; 1000 = none
    float thetaa[6] = {};     // current joints in solver space (joint 6 without whole turns)
    float theta[6][8] = {};   // candidates
    float k3[4] = {};         // elbow term of each arm candidate
    float theta46a = 0;       // current sum of joints 4 and 6
    float theta46 = 0;        // target sum of joints 4 and 6 (wrist singularity)
    int32_t Iconsult6a_0 = 0;  // whole turns removed from joint 6
    int32_t i = 0;             // loop index shared with joint_overspeed_judgment
    int32_t err_flag[8] = {};
    float limit5 = kWristLimit;  // wrist-singularity threshold on joint 5
    float q_in[8] = {};
    float theta_u[6] = {}, theta_l[6] = {};  // candidate filter bounds
};

// The working state of the six-axis inverse kinematics (the entry keeps one
// instance for the whole process; the plug-in solvers one per call). Names
// follow the joint numbering: theta[j][k] is joint j+1 of candidate k+1.
struct SixAxisState : SixAxisWorkingValues {
    Matrix T_BT;         // target flange pose in the base frame
    Matrix Twork2base, T_base, Ttool_frame;  // frame snapshots
    Matrix T_BS, T_WE, T_SW;                 // shoulder, wrist-to-flange, wrist frames
    DhTable robot_dh;
    float joint_max_limit[8], joint_min_limit[8];  // modeling limits
    float joint_limit_vel[8], joint_limit_acc[8];
    float inv_angle[8];  // best solution in solver space; survives resets
    // Inverses of the work, tool and shoulder frames, kept between calls.
    InverseMemo work_inverse, tool_inverse, shoulder_inverse;
    // Configuration generation of the last snapshot_config: while it is still
    // current, the snapshots above hold exactly what the getters return.
    // Whoever stores anything else in them resets it to kNoConfigGeneration.
    uint64_t snapshot_generation = kNoConfigGeneration;
};

// Clears every per-call working value (inv_angle, frames and snapshots stay).
inline void reset_working_values(SixAxisState &s) { static_cast<SixAxisWorkingValues &>(s) = SixAxisWorkingValues{}; }

// The part of that reset a solve can tell from the whole: the fit the choice
// starts from, the wrist threshold, and the two values only some calls write.
// Every other working value is written by the vesk scheme before it is read,
// and read by no other solver (err_flag and q_in by none at all), so clearing
// it first (some 400 bytes of stores, 3 % of a vesk solve) changes nothing.
inline void reset_read_values(SixAxisState &s) {
    const SixAxisWorkingValues fresh{};
    s.fit = fresh.fit;
    s.limit5 = fresh.limit5;
    s.theta46 = fresh.theta46;
    s.i = fresh.i;
}

// Columns of m into the n, o, a, p scalars.
inline void load_noa(SixAxisState &s, const Matrix &m) {
    s.nx = m.data[0][0]; s.ox = m.data[0][1]; s.ax = m.data[0][2]; s.px = m.data[0][3];
    s.ny = m.data[1][0]; s.oy = m.data[1][1]; s.ay = m.data[1][2]; s.py = m.data[1][3];
    s.nz = m.data[2][0]; s.oz = m.data[2][1]; s.az = m.data[2][2]; s.pz = m.data[2][3];
}

// The same from a transform held as rows.
inline void load_noa(SixAxisState &s, const Transform &t) {
    s.nx = t.row[0][0]; s.ox = t.row[0][1]; s.ax = t.row[0][2]; s.px = t.row[0][3];
    s.ny = t.row[1][0]; s.oy = t.row[1][1]; s.ay = t.row[1][2]; s.py = t.row[1][3];
    s.nz = t.row[2][0]; s.oz = t.row[2][1]; s.az = t.row[2][2]; s.pz = t.row[2][3];
}

// The configuration copies of a state are skipped while they were taken at
// `generation`, the caller's config_generation(). The caller passes it
// because tova-kin also compiles this header and links the shared library,
// which does not export config_generation(). kNoConfigGeneration (the
// default) always copies.
inline bool snapshot_is_current(const SixAxisState &s, uint64_t generation) {
    return generation != kNoConfigGeneration && s.snapshot_generation == generation;
}

// T_BT = inverse(work-to-base) x pose; the orientation from the Euler angles
// when is_euler is 1, else from the quaternion as given.
inline void load_target(SixAxisState &s, const Pose &pose, uint8_t is_euler,
                        uint64_t generation = kNoConfigGeneration) {
    // Only snapshot_config marks the state: marking here would make the
    // snapshot that follows in prepare_entry skip its copies.
    if (!snapshot_is_current(s, generation)) libalgo_get_work_cs_to_base_matrix(&s.Twork2base);
    Pose p = pose;
    if (is_euler == 1) p.quaternion = euler_to_quat(p.euler);
    const Matrix target = transform_from_pose_quat(p);
    store_transform(s.work_inverse.before(s.Twork2base, load_transform(target)), s.T_BT);
}

// Per-call snapshot of the configuration the solvers read, skipped while the
// configuration is unchanged since the last one.
inline void snapshot_config(SixAxisState &s, uint64_t generation = kNoConfigGeneration) {
    if (snapshot_is_current(s, generation)) return;
    s.snapshot_generation = generation;
    libalgo_get_robot_install_angle_matrix(&s.T_base);
    libalgo_get_dh_value(&s.robot_dh);
    libalgo_get_tool_cs_matrix(&s.Ttool_frame);
    libalgo_get_work_cs_to_base_matrix(&s.Twork2base);
    libalgo_get_modeling_jointlim_max(s.joint_max_limit);
    libalgo_get_modeling_jointlim_min(s.joint_min_limit);
    libalgo_get_joint_vel_maxlim(s.joint_limit_vel);
    libalgo_get_joint_acc_maxlim(s.joint_limit_acc);
}

// Eight-slot copy of the current joints (dof of them, clamped to 0..8, the
// rest 0) with the last-joint wrap clamp: joint 7 for quell, joint 6 otherwise.
inline void prepare_joints(const float *q_current, uint32_t robot_type, float q[8]) {
    for (int j = 0; j < 8; ++j) q[j] = 0.0f;
    int dof = libalgo_get_rbt_dof();
    dof = dof < 0 ? 0 : (dof > 8 ? 8 : dof);
    for (int j = 0; j < dof; ++j) q[j] = q_current[j];
    float &last = q[robot_type == ROBOT_QUELL ? 6 : 5];
    if (kWrapTurn < last && last < kWrapMax)
        last = kWrapTurn;
    else if (-kWrapMax < last && last < -kWrapTurn)
        last = -kWrapTurn;
}

// The entry's preparation, in its order: reset (of the values a solve reads
// first), target T_BT, joint copy with the wrap clamp, configuration
// snapshots (see snapshot_is_current for `generation`). Returns the robot
// type in force.
inline uint32_t prepare_entry(SixAxisState &s, const float *q_current, const Pose &pose,
                              uint8_t is_euler, float q[8], uint64_t generation = kNoConfigGeneration) {
    reset_read_values(s);
    load_target(s, pose, is_euler, generation);
    const uint32_t type = libalgo_get_robot_type();
    prepare_joints(q_current, type, q);
    snapshot_config(s, generation);
    return type;
}

// Whole turns in x, truncated toward zero; a value that no int32 holds (or
// NaN) counts as no turns.
inline int32_t whole_turns(float x) {
    const float t = x / kTurn;
    return (t > -2147483520.0f && t < 2147483520.0f) ? static_cast<int32_t>(t) : 0;
}
inline int64_t whole_turns(double x) {
    const double t = x / kTurnD;
    return (t > -9.0e18 && t < 9.0e18) ? static_cast<int64_t>(t) : 0;
}

// ---- candidate reports (for tova-kin ik --all) ----

enum class Fate {
    scored,   // inside every bound, cost computed
    bound,    // a joint outside its candidate bound (joint says which)
    invalid,  // the geometry gives no value (arm out of reach)
};

struct CandidateReport {
    int number;        // 1..8 in the scheme's numbering
    double joints[6];  // solver space; NaN where not computed
    double cost;       // NaN unless scored
    Fate fate;
    int joint;         // 1-based joint of a bound rejection
    bool became_best;  // strictly cheaper than every earlier candidate
};

struct NoObserver {
    static constexpr bool active = false;
    void candidate(const CandidateReport &) {}
};

// ---- vesk scheme (vesk, pirra_2) ----

enum class VeskArm { vesk, pirra_2 };

inline bool within(float v, float lo, float hi) { return (lo <= v) & (v <= hi); }
// One turn toward the reference: joint 6 stays within half a turn of it.
inline float near_ref(float v, float ref) {
    const float d = ref - v;
    if (d > kHalfTurn) return v + kTurn;
    if (d < -kHalfTurn) return v - kTurn;
    return v;
}

// The same on four lanes; toward() brings each lane one turn toward [lo, hi]:
// up if below, else down if above.
TOVA_LANES_INLINE I4 within(F4 v, float lo, float hi) { return (lo <= v) & (v <= hi); }
TOVA_LANES_INLINE F4 toward(F4 v, float lo, float hi) { return v < lo ? v + kTurn : (v > hi ? v - kTurn : v); }
TOVA_LANES_INLINE F4 near_ref(F4 v, float ref) {
    const F4 d = ref - v;
    return d > kHalfTurn ? v + kTurn : (d < -kHalfTurn ? v - kTurn : v);
}

// The solver's f32 trigonometry is math/lane_trig.hpp: faithfully rounded
// and built from correctly rounded operations only, so both copies of the
// scheme below give the same bits. Each namespace supplies what the scheme
// calls: atan2_1 (one arc tangent: shoulder heading, re-split), atan2_4,
// atan2_4x2 (four or twice four lanes), sincos_4 and sincos_4x2.
namespace portable {
using lane_trig::portable::atan2_lanes;
using lane_trig::portable::sincos_lanes;
TOVA_LANES_INLINE F4 atan2_4(F4 y, F4 x) { return atan2_lanes(y, x); }
TOVA_LANES_INLINE void atan2_4x2(F4 y0, F4 x0, F4 y1, F4 x1, F4 &r0, F4 &r1) {
    r0 = atan2_lanes(y0, x0);
    r1 = atan2_lanes(y1, x1);
}
TOVA_LANES_INLINE float atan2_1(float y, float x) { return atan2_lanes(splat(y), splat(x))[0]; }
TOVA_LANES_INLINE void sincos_4(F4 x, F4 &s, F4 &c) { sincos_lanes(x, s, c); }
TOVA_LANES_INLINE void sincos_4x2(F4 x0, F4 x1, F4 &s0, F4 &c0, F4 &s1, F4 &c1) {
    sincos_lanes(x0, s0, c0);
    sincos_lanes(x1, s1, c1);
}
#include "ikine/ik_vesk_scheme.inc"
}  // namespace portable

#if TOVA_BATCH_X86_KERNELS
// The same body compiled for AVX2 and FMA: eight arc tangents per instruction.
TOVA_AVX2_BEGIN
namespace avx2 {
using lane_trig::avx2::atan2_lanes;
using lane_trig::avx2::sincos_lanes;
TOVA_LANES_INLINE void atan2_4x2(F4 y0, F4 x0, F4 y1, F4 x1, F4 &r0, F4 &r1) {
    using lane_trig::F8;
    const F8 r = atan2_lanes(F8(_mm256_set_m128(y1, y0)), F8(_mm256_set_m128(x1, x0)));
    r0 = _mm256_castps256_ps128(r);
    r1 = _mm256_extractf128_ps(r, 1);
}
TOVA_LANES_INLINE F4 atan2_4(F4 y, F4 x) { return atan2_lanes(y, x); }
TOVA_LANES_INLINE float atan2_1(float y, float x) { return atan2_lanes(splat(y), splat(x))[0]; }
TOVA_LANES_INLINE void sincos_4(F4 x, F4 &s, F4 &c) { sincos_lanes(x, s, c); }
TOVA_LANES_INLINE void sincos_4x2(F4 x0, F4 x1, F4 &s0, F4 &c0, F4 &s1, F4 &c1) {
    using lane_trig::F8;
    F8 s, c;
    sincos_lanes(F8(_mm256_set_m128(x1, x0)), s, c);
    s0 = _mm256_castps256_ps128(s), s1 = _mm256_extractf128_ps(s, 1);
    c0 = _mm256_castps256_ps128(c), c1 = _mm256_extractf128_ps(c, 1);
}
#include "ikine/ik_vesk_scheme.inc"
}  // namespace avx2
TOVA_AVX2_END
#endif

// The vesk scheme on the instruction set in use (results identical on all).
template <class Observer = NoObserver>
int32_t solve_vesk_scheme(SixAxisState &s, VeskArm arm_kind, float j6_lower, float j6_upper,
                          uint32_t avoid, const float *q, float *q_out, Observer &&obs = Observer{}) {
#if TOVA_BATCH_X86_KERNELS
    if (lane_trig::wide_lanes()) return avx2::vesk_scheme(s, arm_kind, j6_lower, j6_upper, avoid, q, q_out, obs);
#endif
    return portable::vesk_scheme(s, arm_kind, j6_lower, j6_upper, avoid, q, q_out, obs);
}

// ---- lumo scheme (lumo A/B/C, pirra_3) ----

enum class LateralArm { lumo, pirra_3 };

inline double sign_of(double v) { return v > 0.0 ? 1.0 : (v < 0.0 ? -1.0 : 0.0); }

// Arc cosine of a cosine that must lie in [-1, 1]: within 1e-6 of +-1 it is
// taken as exactly +-1. Returns false beyond that band.
inline bool banded_acos(double c, double &angle) {
    if (std::fabs(std::fabs(c) - 1.0) < kLumoTol) {
        angle = std::acos(sign_of(c));
        return true;
    }
    if (std::fabs(c) <= kLumoCosMax) {
        angle = std::acos(c);
        return true;
    }
    return false;
}

// Solves the flange target inverse(T_base) x T_BT x inverse(Ttool_frame) of s
// with double-precision locals; s is only read.
template <class Observer = NoObserver>
int32_t solve_lumo_scheme(const SixAxisState &s, LateralArm arm_kind, const float *q,
                          float *q_out, Observer &&obs = Observer{}) {
    const DhTable &dh = s.robot_dh;
    const float *o = dh.offset;
    const double d1 = dh.d[0], d2 = dh.d[1], d4 = dh.d[3], d5 = dh.d[4], d6 = dh.d[5];
    const double a1 = dh.a[1], a2 = dh.a[2], a3 = dh.a[3];
    const bool lumo = arm_kind == LateralArm::lumo;

    // Step 1: flange target in the arm's base frame (left product first).
    const Matrix base_inverse = inv_transform(s.T_base);
    const Matrix tool_inverse = inv_transform(s.Ttool_frame);
    const Matrix m = mul_transforms(mul_transforms(base_inverse, s.T_BT), tool_inverse);
    const double nx = m.data[0][0], ny = m.data[1][0], nz = m.data[2][0];
    const double ox = m.data[0][1], oy = m.data[1][1], oz = m.data[2][1];
    const double ax = m.data[0][2], ay = m.data[1][2], az = m.data[2][2];
    const double px = m.data[0][3], py = m.data[1][3], pz = m.data[2][3];

    // Step 2: current joints in solver space; whole turns of joint 6 are
    // removed before its offset is added.
    double cur[6];
    for (int j = 0; j < 5; ++j) cur[j] = static_cast<double>(q[j]) + o[j];
    const int64_t turns = whole_turns(static_cast<double>(q[5]));
    cur[5] = (q[5] - static_cast<double>(turns) * kTurnD) + o[5];

    // Step 3: wrist point in the base plane, and the lateral offset.
    const double wx = px - d6 * ax, wy = py - d6 * ay;
    const double lateral = lumo ? d4 : d2;
    const double rr = wx * wx + wy * wy - lateral * lateral;
    double root_r = 0.0;
    if (rr < 0.0) {
        if (!lumo || -rr >= kLumoTol) return -1;
    } else {
        root_r = std::sqrt(rr);
    }

    // Step 4: two shoulder values.
    const double phi = std::atan2(-wx, wy), psi = std::atan2(root_r, lateral);
    const double th1[2] = {phi + psi, phi - psi};

    // pirra_3's forearm: length and angle seen from joint 3
    const double forearm = lumo ? 0.0 : std::sqrt(a3 * a3 + d4 * d4);
    const double gamma = lumo ? 0.0 : std::atan2(d4, a3);

    double cand[8][6];
    bool valid[8];
    for (int sh = 0; sh < 2; ++sh) {
        const double c1 = std::cos(th1[sh]), s1 = std::sin(th1[sh]);
        if (lumo) {
            // Step 5: wrist pitch. The arc-cosine argument is clamped to
            // [-1, 1]: rounding pushes it past 1 for a straight wrist, where it
            // would otherwise give NaN joints.
            double v = ay * c1 - ax * s1;
            v = v > 1.0 ? 1.0 : (v < -1.0 ? -1.0 : v);
            // Each arc cosine, sine and cosine once: the library calls are most
            // of a solve, and the compiler may not merge calls that can set errno.
            const double pitch = std::acos(v);
            const double t5[2] = {pitch, -pitch};
            double sin5[2], cos5[2];
            for (int w = 0; w < 2; ++w) {
                sin5[w] = std::sin(t5[w]);
                cos5[w] = std::cos(t5[w]);
            }
            // Step 6: joint 6.
            const double A = oy * c1 - ox * s1, B = ny * c1 - nx * s1;
            double t6[2];
            if (std::fabs(sin5[0]) < kLumoTol || std::fabs(sin5[1]) < kLumoTol) {
                if (std::fabs(cur[5]) < kLumoTol || std::fabs(B) < kLumoTol) {
                    t6[0] = t6[1] = cur[5];
                } else {
                    const double t = std::atan2(-A, B);
                    t6[0] = t6[1] = (sign_of(t) != sign_of(cur[5])) ? -t : t;
                }
            } else {
                for (int w = 0; w < 2; ++w) {
                    const double sg = sign_of(sin5[w]);
                    t6[w] = std::atan2(-sg * A, sg * B);
                }
            }
            for (int w = 0; w < 2; ++w) {
                // Step 7: sum of joints 2 to 4.
                const double c5 = cos5[w], s5 = sin5[w];
                const double c6 = std::cos(t6[w]), s6 = std::sin(t6[w]);
                const double X = c6 * oz + s6 * nz;
                const double Y = c5 * c6 * nz - s5 * az - c5 * s6 * oz;
                const double t234 = std::fabs(X) >= kLumoTol ? std::atan2(-Y, -X) : std::asin(-sign_of(Y));
                // Step 8: planar two-link arm.
                const double x = c1 * wx + s1 * wy - a1 - d5 * std::sin(t234);
                const double z = pz - d6 * az - d1 - d5 * std::cos(t234);
                const double c3 = (x * x + z * z - a2 * a2 - a3 * a3) / (2.0 * a2 * a3);
                double t3 = 0.0;
                const bool ok = banded_acos(c3, t3);
                for (int e = 0; e < 2; ++e) {
                    // Step 9: shoulder pitch and the remaining wrist joint.
                    const int idx = sh * 4 + w * 2 + e;
                    const double th3 = ok ? (e == 0 ? t3 : -t3) : kLumoInvalid;
                    const double K = a3 * std::cos(th3) + a2, S = a3 * std::sin(th3);
                    const double N = x * S + z * K, D = K * x - S * z;
                    const double th2 = std::fabs(D) >= kLumoTol ? std::atan2(-N, D) : std::asin(-sign_of(N));
                    valid[idx] = ok;
                    double *c = cand[idx];
                    c[0] = th1[sh]; c[1] = th2; c[2] = th3;
                    c[3] = t234 - th2 - th3; c[4] = t5[w]; c[5] = t6[w];
                }
            }
        } else {
            // pirra_3: the arm first. The wrist centre, seen from joint 2 in
            // the arm plane, is at (x, z); joint 3 sees the forearm as the
            // length hypot(a3, d4) at the angle gamma.
            const double x = c1 * wx + s1 * wy - a1;
            const double z = pz - d6 * az - d1;
            const double c = (x * x + z * z - a2 * a2 - a3 * a3 - d4 * d4) / (2.0 * a2 * forearm);
            double t = 0.0;
            const bool ok = banded_acos(c, t);
            for (int e = 0; e < 2; ++e) {
                const double th3 = ok ? gamma + (e == 0 ? t : -t) : kLumoInvalid;
                const double c3 = std::cos(th3), s3 = std::sin(th3);
                const double X = a2 + a3 * c3 + d4 * s3, Y = a3 * s3 - d4 * c3;
                const double th2 = std::atan2(-(X * z + Y * x), X * x - Y * z);
                const double c23 = std::cos(th2 + th3), s23 = std::sin(th2 + th3);
                // Wrist: the rotation left to joints 4 to 6, R03^T R.
                const double axy = c1 * ax + s1 * ay, oxy = c1 * ox + s1 * oy, nxy = c1 * nx + s1 * ny;
                const double m13 = c23 * axy - s23 * az, m23 = -s23 * axy - c23 * az;
                const double m33 = -s1 * ax + c1 * ay;
                const double m21 = -s23 * nxy - c23 * nz, m22 = -s23 * oxy - c23 * oz;
                const double m11 = c23 * nxy - s23 * nz, m31 = -s1 * nx + c1 * ny;
                // Beyond +-1 only by rounding: taken as +-1 like the band.
                const double t5 = std::fabs(m23) > kLumoCosMax ? std::acos(sign_of(m23)) : std::acos(m23);
                const bool singular = std::fabs(std::sin(t5)) < kLumoTol;
                for (int w = 0; w < 2; ++w) {
                    const int idx = sh * 4 + e * 2 + w;
                    const double sg = w == 0 ? 1.0 : -1.0;  // sign of sin(theta5)
                    double th4, th6;
                    if (!singular) {
                        th4 = std::atan2(sg * -m33, sg * -m13);
                        th6 = std::atan2(sg * -m22, sg * m21);
                    } else {
                        // Only theta4 -/+ theta6 is defined: keep joint 6 where it is.
                        const double sc = m23 > 0.0 ? 1.0 : -1.0;
                        th6 = cur[5];
                        th4 = std::atan2(sc * m31, sc * m11) + sc * th6;
                    }
                    valid[idx] = ok;
                    double *cv = cand[idx];
                    cv[0] = th1[sh]; cv[1] = th2; cv[2] = th3;
                    cv[3] = th4; cv[4] = sg * t5; cv[5] = th6;
                }
            }
        }
    }

    // Step 11: choice.
    bool any = false;
    for (bool v : valid) any = any || v;
    if (!any) {
        if constexpr (std::decay_t<Observer>::active)
            for (int k = 0; k < 8; ++k) {
                CandidateReport rep{};
                rep.number = k + 1;
                rep.cost = NAN;
                for (int j = 0; j < 6; ++j) rep.joints[j] = cand[k][j];
                rep.fate = Fate::invalid;
                obs.candidate(rep);
            }
        return -1;
    }
    double fit = kLumoInvalid;
    int best = 0;
    for (int k = 0; k < 8; ++k) {
        CandidateReport rep{};
        if constexpr (std::decay_t<Observer>::active) {
            rep.number = k + 1;
            rep.cost = NAN;
            rep.fate = Fate::invalid;
        }
        if (valid[k]) {
            double dq[6];
            for (int j = 0; j < 6; ++j) {
                double v = cand[k][j];
                if (v < s.joint_min_limit[j])
                    v += kTurnD;
                else if (v > s.joint_max_limit[j])
                    v -= kTurnD;
                if (v - cur[j] > kHalfTurnD)
                    v -= kTurnD;
                else if (v - cur[j] < -kHalfTurnD)
                    v += kTurnD;
                cand[k][j] = v;
                dq[j] = v - cur[j];
            }
            const double cost = kLumoWeight * (dq[0] * dq[0] + dq[1] * dq[1] + dq[2] * dq[2]) +
                                dq[3] * dq[3] + dq[4] * dq[4] + dq[5] * dq[5];
            const bool better = cost < fit;
            if (better) {
                fit = cost;
                best = k;
            }
            if constexpr (std::decay_t<Observer>::active) {
                rep.cost = cost;
                rep.fate = Fate::scored;
                rep.became_best = better;
            }
        }
        if constexpr (std::decay_t<Observer>::active) {
            for (int j = 0; j < 6; ++j) rep.joints[j] = cand[k][j];
            obs.candidate(rep);
        }
    }

    // Step 12: output, then the limits joint by joint (the first failure
    // leaves the later joints in solver space).
    for (int j = 0; j < 5; ++j) q_out[j] = static_cast<float>(cand[best][j]);
    q_out[5] = static_cast<float>(cand[best][5] + static_cast<double>(turns) * kTurnD);
    for (int j = 0; j < 6; ++j) {
        float v = q_out[j];
        if (v < s.joint_min_limit[j])
            v += kTurn;
        else if (v > s.joint_max_limit[j])
            v -= kTurn;
        v -= o[j];
        q_out[j] = v;
        if (v > s.joint_max_limit[j] - o[j] || v < s.joint_min_limit[j] - o[j]) return -2;
    }
    return 0;
}

// ---- per-model dispatch shared by the entry, the plug-in solvers and the CLI ----

// The plug-in solvers' state: the target is the flange in the base frame (no
// installation or work frame); the tool frame is the configured one or none.
inline void plugin_setup(SixAxisState &s, const Matrix &target, bool with_tool) {
    reset_working_values(s);
    s.snapshot_generation = kNoConfigGeneration;  // identity frames are not the configuration's
    s.T_BT = target;
    s.T_base = fm_identity<Matrix>(4);
    s.Twork2base = fm_identity<Matrix>(4);
    libalgo_get_dh_value(&s.robot_dh);
    libalgo_get_modeling_jointlim_max(s.joint_max_limit);
    libalgo_get_modeling_jointlim_min(s.joint_min_limit);
    if (with_tool)
        libalgo_get_tool_cs_matrix(&s.Ttool_frame);
    else
        s.Ttool_frame = fm_identity<Matrix>(4);
}

// Runs the solver of a six-axis robot type on a prepared state: the entry's
// rules, or the plug-in's (joint-6 bounds of vesk). -4 for other types.
template <class Observer = NoObserver>
int32_t solve_six_axis(SixAxisState &s, uint32_t robot_type, bool plugin, const float *q,
                       float *q_out, Observer &&obs = Observer{}) {
    switch (robot_type) {
    case ROBOT_VESK: {
        const float lo = plugin ? s.joint_min_limit[5] - kOneDegree : -kVeskJoint6Bound;
        const float hi = plugin ? s.joint_max_limit[5] + kOneDegree : kVeskJoint6Bound;
        return solve_vesk_scheme(s, VeskArm::vesk, lo, hi, libalgo_get_is_avoid_Singularity(), q,
                                 q_out, obs);
    }
    case ROBOT_PIRRA_2: {
        const float o6 = s.robot_dh.offset[5];
        return solve_vesk_scheme(s, VeskArm::pirra_2, o6 - kPirraJoint6Bound, o6 + kPirraJoint6Bound,
                                 libalgo_get_is_avoid_Singularity(), q, q_out, obs);
    }
    case ROBOT_PIRRA_3:
        return solve_lumo_scheme(s, LateralArm::pirra_3, q, q_out, obs);
    case ROBOT_LUMO_A:
    case ROBOT_LUMO_B:
    case ROBOT_LUMO_C:
        return solve_lumo_scheme(s, LateralArm::lumo, q, q_out, obs);
    default:
        return -4;
    }
}

}  // namespace tova::ik

#endif  // TOVA_IKINE_IK_SIX_AXIS_CORE_HPP
