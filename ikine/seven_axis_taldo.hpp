// Inverse kinematics of the taldo arm: spherical shoulder (axes 1-3), elbow
// axis 4 offset by a4 from axis 3 and a5 from axis 5, wrist axes 5 and 6
// meeting at P_w, axis 7 offset by a7 from it, modified DH. With joint 7
// fixed the wrist point is known and the rest is closed form: two elbow, two
// wrist and two shoulder branches, so the redundancy parameter is joint 7.
#ifndef TOVA_IKINE_SEVEN_AXIS_TALDO_HPP
#define TOVA_IKINE_SEVEN_AXIS_TALDO_HPP

#include "ikine/seven_axis_core.hpp"
#include "ikine/seven_axis_search.hpp"

namespace tova::seven_axis {

struct TaldoGeometry {
    double d1, d3, d5, d7;  // along the joint axes
    double a4, a5, a7;      // common normals before joints 4, 5, 7
};

// Flange pose of the taldo arm for model angles th (offsets included).
Rigid taldo_forward(const TaldoGeometry& g, const double th[kJoints]);

// Closed form of one target per joint-7 value; branch index = 4 * (elbow
// minus) + 2 * (wrist second) + (shoulder flipped).
class TaldoArm {
public:
    void setup(const TaldoGeometry& g, const Rigid& flange, const double cur[kJoints]);

    unsigned solve(double t, unsigned mask, double raw[kBranches][kJoints]) const;

    // Near a fold of joint 7 (wrist branches merging, elbow stretched or
    // folded, shoulder point near axis 5) the other joints move like the
    // square root of joint 7's distance to it: refine more finely there.
    bool near_fold(const double* th) const;  // model angles

    // Whether some joint-7 value forms the elbow (whatever the limits).
    bool reachable() const;

    // Points of (a, b) where a wrist branch exists that may exist at neither
    // end (near the shoulder point on axis 5 it exists only on slivers of
    // joint 7). At most cap. Spends at most *budget wrist-sine evaluations
    // and takes what it spent off *budget.
    int hidden_points(double a, double b, double* out, int cap, int* budget) const;

    // Pieces of [lo, hi] in joint 7 where each elbow branch exists (with
    // joint 4 inside its limits when js is given), in closed form: the
    // squared shoulder-wrist distance is a sinusoid of joint 7.
    int elbow_spans(const JointSpace* js, double lo, double hi, Span* out, int cap) const;

private:
    struct AtJoint7 {
        double ct, st, delta;  // cos, sin of joint 7; elbow half-angle
        V3 x6, p6;             // axis x6; shoulder point in frame 6
    };
    bool elbow_at(double t, AtJoint7* a) const;
    void arm_plane(double s4, double c4, double* u4, double* v4) const;  // of sin, cos th4
    // Sine of joint 5 each elbow branch needs at t (beyond one: no wrist);
    // returns 3, or 0 where the elbow does not exist.
    unsigned wrist_sines(double t, double s5[2]) const;
    void hidden_between(double a, unsigned ea, const double* sa, double b, unsigned eb, const double* sb,
                        int depth, int* evals, double* out, int cap, int* n) const;

    TaldoGeometry g_;
    M3 R_;
    V3 wrist0_;          // wrist point at a7 = 0: p - d7 z_F
    double cur_[kJoints];
    double C0_, rho_, phi_;  // |P_s P_w|^2 = C0 + rho cos(th4 - phi)
    double K_, Kc_, Ks_;     // |P_s P_w|^2 = K + Kc cos t + Ks sin t
};

Solution solve_taldo(const TaldoGeometry& g, const JointSpace& js, const SearchSettings& ss, const Rigid& flange,
                     const double cur[kJoints]);

}  // namespace tova::seven_axis

#endif
