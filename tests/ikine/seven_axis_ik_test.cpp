// Seven-axis inverse kinematics of quell (three sensor lengths) and taldo:
// the closed forms and searches against the reference chain, degenerate
// targets, round trips through the entry with frames, ikine, result codes,
// and Cartesian path tracking in narrow mode.
#include <gtest/gtest.h>

#include <cstdlib>
#include <iomanip>

#include "ik_reference.hpp"
#include "ikine/ik_six_axis_core.hpp"
#include "ikine/seven_axis_entry.hpp"
#include "ikine/seven_axis_quell.hpp"
#include "ikine/seven_axis_taldo.hpp"

namespace {

using namespace tova::seven_axis;
using ikref::M4;

class SevenAxis : public ::testing::TestWithParam<ref::ModelCase> {
  protected:
    void SetUp() override {
        m_ = ikref::seven_axis_model(GetParam().type, GetParam().sensor);
        taldo_ = m_.type == ROBOT_TALDO;
        ikine_set_7dof_solver_search_strategy(1);
        ikine_set_solution_range_quell(0.013f);
        const double zero[kJoints] = {};
        js_ = read_joint_space(zero);
        const DhTable &dh = m_.dh;
        qa_geo_ = {dh.d[0], dh.d[2], dh.d[4], dh.d[6]};
        ta_geo_ = {dh.d[0], dh.d[2], dh.d[4], dh.d[6], dh.a[3], dh.a[4], dh.a[6]};
    }
    static Rigid rigid(const M4 &T) {
        Rigid r{{}, {T[0][3], T[1][3], T[2][3]}};
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) r.R.m[i][j] = T[i][j];
        return r;
    }
    M4 fk(const double *th) const { return ikref::chain(m_.dh, 7, taldo_, th); }  // model angles
    // Random model angles inside the limits and their flange pose.
    M4 random_target(std::mt19937 &rng, double *th, double margin = 0.0) const {
        ikref::random_joints(m_, rng, th, margin);
        for (int i = 0; i < kJoints; ++i) th[i] += m_.dh.offset[i];
        return fk(th);
    }
    Solution solve(const M4 &target, const double *cur, bool narrow) const {
        const SearchSettings ss{narrow, 0.013};
        return taldo_ ? solve_taldo(ta_geo_, js_, ss, rigid(target), cur)
                      : solve_quell(qa_geo_, js_, ss, rigid(target), cur);
    }
    // Prepares the closed form for target; false when out of reach (quell).
    bool setup(const Rigid &target, const double *cur) {
        if (taldo_) ta_.setup(ta_geo_, target, cur);
        return taldo_ || qa_.setup(qa_geo_, target, cur) == kOk;
    }
    unsigned branches(double t, double raw[kBranches][kJoints]) const {
        return taldo_ ? ta_.solve(t, 0xFFu, raw) : qa_.solve(t, 0xFFu, raw);
    }
    bool inside(const double *th) const {
        bool in = true;
        for (int i = 0; i < kJoints; ++i) in = in && th[i] >= js_.lo[i] && th[i] <= js_.hi[i];
        return in;
    }

    // Well-conditioned start for a path leaving in direction dir at 0.25 m/s
    // with fixed orientation: the least-norm joint rates pinv(J) (v, 0) of the
    // tool-point Jacobian stay below half the speed limits, and the joints
    // 0.3 rad inside their limits.
    void start_joints(std::mt19937 &rng, const double dir[3], float *q) const {
        for (bool ok = false; !ok;) {
            ikref::random_joints(m_, rng, q, 0.3);
            const MatrixMore J = kin_calc_jacobe_J0(q, "machine");
            mat Jm = matrix_more_to_mat(&J), v = mat_zeros(6, 1);
            for (int r = 0; r < 3; ++r) v.data[r][0] = static_cast<float>(0.25 * dir[r]);
            const mat P = mat_pinv(&Jm), rates = mat_mult(&P, &v);
            ok = true;
            for (int j = 0; j < 7; ++j) ok = ok && std::fabs(rates.data[j][0]) < 0.5 * m_.vmax[j];
        }
    }

    // Dense scan of the narrow window over every branch: is any solution
    // inside the limits and within the speed limits from q? The step is 1e-5
    // rad, not 1e-3: along the taldo self-motion the other joints can move a
    // hundred times faster than joint 7, so admissible pieces of the window
    // can be narrower than a milliradian.
    bool admissible_in_window(const Pose &pose, const float *q) {
        // The flange target as the entry and the solver build it (the
        // installation and work frames are identity on the paths).
        Matrix T;
        libalgo_get_tool_cs_matrix(&T);
        const Matrix P = pose_quat_to_transformation_matrix(pose), Ti = matrix_inv_coordinate_system(&T);
        const Matrix F = matrix_m(&P, &Ti);
        Rigid target, tool;
        read_target(matrix_to_mat(taldo_ ? &F : &P), &target);
        rigid_from_matrix(T, &tool);
        if (!taldo_) target = compose(target, inverse(tool));
        const float period = libalgo_get_control_loop_period();
        double cur[7], lo[7], hi[7], step[7];
        for (int i = 0; i < 7; ++i) {
            cur[i] = q[i] + m_.dh.offset[i];
            lo[i] = m_.lo[i] + m_.dh.offset[i];
            hi[i] = m_.hi[i] + m_.dh.offset[i];
            // the solver accepts steps up to 1 - 1e-6 of the limit, so that rounding to float stays inside it
            step[i] = static_cast<double>(m_.vmax[i] * period) * (1.0 - 1e-6);
        }
        if (!setup(target, cur)) return false;
        const double t0 = taldo_ ? cur[6] : qa_.current_phi();
        const double a = taldo_ ? std::fmax(lo[6], t0 - 0.013) : t0 - 0.013, b = taldo_ ? std::fmin(hi[6], t0 + 0.013) : t0 + 0.013;
        const int n = static_cast<int>(std::ceil((b - a) / 1e-5));
        for (int k = 0; k <= n; ++k) {
            double raw[kBranches][kJoints];
            const unsigned got = branches(n > 0 ? a + (b - a) * k / n : a, raw);
            for (int br = 0; br < kBranches; ++br) {
                bool ok = got & (1u << br);
                for (int i = 0; i < 7 && ok; ++i) {  // the turn nearest the current joint
                    const double d = std::remainder(raw[br][i] - cur[i], 2 * kPi);
                    ok = std::fabs(d) <= step[i] && cur[i] + d >= lo[i] && cur[i] + d <= hi[i];
                }
                if (ok) return true;
            }
        }
        return false;
    }

    ikref::Seven m_;
    bool taldo_ = false;
    JointSpace js_;
    QuellGeometry qa_geo_;
    TaldoGeometry ta_geo_;
    QuellArm qa_;
    TaldoArm ta_;
};

// Per random target: every closed-form branch reproduces it, and at the
// current parameter one of them is the generating configuration. Every
// feasible solution a dense scan finds lies in the analytic pieces (quell:
// all limits; taldo: elbow existence and joint 4), which may hold more but
// never less. Wide mode finds the target from anywhere, narrow mode from a
// control step away; both inside the limits and no farther (weighted) from
// the current joints than the generating configuration, which they could
// choose.
TEST_P(SevenAxis, ClosedFormPiecesAndSearchesAgainstTheReferenceChain) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> step(-2e-3, 2e-3);
    auto cost = [](const double *a, const double *b) {
        double c = 0;
        for (int i = 0; i < kJoints; ++i) c += kWeight[i] * (a[i] - b[i]) * (a[i] - b[i]);
        return c;
    };
    int missed = 0, feasible = 0;
    for (int n = 0; n < 400; ++n) {
        const bool narrow = n % 2;
        double th[kJoints], cur[kJoints], raw[kBranches][kJoints];
        const M4 target = random_target(rng, th, narrow ? 0.01 : 0.0);
        ASSERT_TRUE(setup(rigid(target), th));
        const unsigned got = branches(taldo_ ? th[6] : qa_.current_phi(), raw);
        ASSERT_NE(got, 0u);
        double nearest = 1e9;
        for (int b = 0; b < kBranches; ++b) {
            if (!(got & (1u << b))) continue;
            EXPECT_LT(ikref::gap(fk(raw[b]), target), 1e-9);
            double dev = 0;
            for (int i = 0; i < kJoints; ++i) dev = std::fmax(dev, std::fabs(std::remainder(raw[b][i] - th[i], 2 * kPi)));
            nearest = std::fmin(nearest, dev);
        }
        EXPECT_LT(nearest, 1e-7) << "sample " << n;
        Span spans[kMaxSpans];  // the pieces, on the first 40 targets
        const double base = taldo_ ? js_.lo[6] : -1.0, len = taldo_ ? js_.hi[6] - js_.lo[6] : 2 * kPi;
        const int n_spans = n >= 40 ? 0
                            : taldo_ ? ta_.elbow_spans(&js_, base, base + len, spans, kMaxSpans)
                                     : qa_.feasible_spans(js_, base, spans, kMaxSpans, [](const Candidate &) {});
        for (int k = 0; k < (n < 40 ? 4000 : 0); ++k) {
            const double t = base + len * (k + 0.5) / 4000;
            const unsigned on = branches(t, raw);
            for (int b = 0; b < kBranches; ++b) {
                Candidate c;
                if (!(on & (1u << b)) || (score(raw[b], th, js_, &c), !c.feasible)) continue;
                bool in = false, edge = false;
                for (int i = 0; i < n_spans; ++i) {
                    in = in || (t >= spans[i].a && t <= spans[i].b && (spans[i].mask & (1u << b)));
                    edge = edge || std::fabs(t - spans[i].a) < 1e-6 || std::fabs(t - spans[i].b) < 1e-6;
                }
                ++feasible;
                missed += !in && !edge;
            }
        }
        if (!narrow) random_target(rng, cur);
        for (int i = 0; i < kJoints && narrow; ++i) cur[i] = th[i] + step(rng);
        const Solution s = solve(target, cur, narrow);
        ASSERT_EQ(s.code, kOk) << "sample " << n;
        EXPECT_LT(ikref::gap(fk(s.th), target), 1e-9);
        EXPECT_TRUE(inside(s.th));
        EXPECT_LE(cost(s.th, cur), cost(th, cur) + (narrow ? 1e-12 : 1e-9)) << "sample " << n;
    }
    EXPECT_EQ(missed, 0) << "of " << feasible;
}

// Singular and degenerate configurations, exactly and within 1e-7: every
// answer is a valid solution or a defined code, never NaN.
TEST_P(SevenAxis, DegenerateTargetsGiveSolutionOrCode) {
    std::mt19937 rng(14);
    std::uniform_real_distribution<double> tiny(-1e-7, 1e-7);
    const double h = kPi / 2, d3 = m_.dh.d[2], a4 = m_.dh.a[3], a5 = m_.dh.a[4], d5 = m_.dh.d[4];
    const double stretched = std::atan2(d3 * a5 - a4 * d5, d3 * d5 + a4 * a5);
    const double on_axis5 = std::asin(-a5 / std::hypot(d3, a4)) - std::atan2(a4, d3);  // taldo u4 = 0
    // (joint, model angle) pins; -1 ends a case. Quell: shoulder, elbow, wrist
    // singular, and the wrist centre on the joint-1 axis (joints 2 and 4 zero).
    // Taldo: shoulder, stretched elbow, shoulder point on axis 5, wrist folds.
    const double quell_pins[][6] = {{1, 0, -1}, {3, 0, -1}, {5, 0, -1}, {1, 0, 5, 0, -1}, {1, 0, 3, 0, -1}, {1, 0, 3, 0, 5, 0}};
    const double taldo_pins[][6] = {{1, 0, -1}, {3, stretched, -1}, {3, on_axis5, -1}, {4, h, -1},
                                    {4, -h, -1}, {5, h, -1}, {1, 0, 3, stretched, -1}, {1, 0, 4, h, -1}};
    int solved = 0, coded = 0;
    for (int k = 0; k < (taldo_ ? 8 : 6); ++k) {
        const double *pins = taldo_ ? taldo_pins[k] : quell_pins[k];
        for (int n = 0; n < 40; ++n) {
            double th[kJoints], cur[kJoints];
            random_target(rng, th);
            random_target(rng, cur);
            for (int p = 0; p < 6 && pins[p] >= 0; p += 2)
                th[static_cast<int>(pins[p])] = pins[p + 1] + (n % 2 ? tiny(rng) : 0.0);
            if (!inside(th)) continue;
            const M4 target = fk(th);
            for (int mode = 0; mode < 3; ++mode) {  // narrow from the joints, 1e-3 away; wide
                double start[kJoints];
                for (int i = 0; i < kJoints; ++i) start[i] = mode == 2 ? cur[i] : th[i] + (mode == 1 ? 1e-3 : 0.0);
                const Solution s = solve(target, start, mode != 2);
                for (int i = 0; i < kJoints; ++i) ASSERT_TRUE(std::isfinite(s.th[i]));
                if (s.code != kOk) {
                    EXPECT_TRUE(s.code == kJointLimit || s.code == kSpeedLimit) << s.code;
                    EXPECT_NE(mode, 2);  // reachable targets are always found in wide mode
                    ++coded;
                    continue;
                }
                ++solved;
                // At folds of the parameterisation the rounding of a sine near
                // one is amplified to ~1e-7.
                EXPECT_LT(ikref::gap(fk(s.th), target), 1e-6);
                EXPECT_TRUE(inside(s.th));
            }
        }
    }
    EXPECT_GT(solved, 3 * coded);
}

// With installation, tool and work frames set, inverse_kinematics undoes
// forward_kinematics: narrow from the generating joints returns them, wide
// from random joints finds a pose match inside the limits. ikine does the
// same for the flange pose (identity frames; solve_mode 1 wide, 0 narrow).
// TOVA_SEVEN_AXIS_ROUNDTRIPS: count (default 200).
TEST_P(SevenAxis, RoundTripThroughFramesAndIkine) {
    const char *env = std::getenv("TOVA_SEVEN_AXIS_ROUNDTRIPS");
    std::mt19937 rng(21);
    int failed[2] = {};  // narrow: the generating joints q back; wide: pose gap within 1e-5, inside the limits
    auto check = [&](bool wide, int32_t rc, const float *out, const float *q, double gap = 0.0) {
        bool ok = rc == 0 && gap <= 1e-5;
        for (int i = 0; i < 7; ++i) ok = ok && (wide ? out[i] >= m_.lo[i] && out[i] <= m_.hi[i] : std::fabs(out[i] - q[i]) <= 1e-4);
        failed[wide] += !ok;
    };
    for (int n = 0, count = env ? std::atoi(env) : 200; n < count; ++n) {
        ikref::set_frames();  // again after ikine's reset
        float q[8] = {}, cur[8] = {}, out[8];
        ikref::random_joints(m_, rng, q);
        ikref::random_joints(m_, rng, cur);
        Pose pose, back;
        forward_kinematics(&pose, q);
        ikine_set_7dof_solver_search_strategy(1);
        check(false, inverse_kinematics(q, &pose, out, 0), out, q);
        ikine_set_7dof_solver_search_strategy(0);
        int32_t rc = inverse_kinematics(cur, &pose, out, 0);
        check(true, rc, out, q, ikref::gap(pose, *forward_kinematics(&back, out)));
        const M4 F = ikref::forward(m_, q);
        const Matrix flange = ikref::to_matrix(F);
        rc = ikine(m_.type, GetParam().sensor, 1, m_.hi, m_.lo, &flange.data[0][0], cur, out);
        check(true, rc, out, q, ikref::gap(F, ikref::forward(m_, out)));
        check(false, ikine(m_.type, GetParam().sensor, 0, m_.hi, m_.lo, &flange.data[0][0], q, out), out, q);
    }
    EXPECT_EQ(failed[0], 0) << "narrow";
    EXPECT_EQ(failed[1], 0) << "wide";
}

TEST_P(SevenAxis, FailuresHoldTheCurrentJoints) {
    std::mt19937 rng(23);
    float q[8] = {}, cur[8] = {}, out[8];
    ikref::random_joints(m_, rng, q, 0.3);
    ikref::random_joints(m_, rng, cur, 0.3);
    const M4 T = ikref::forward(m_, q);
    auto solve_flange = [&](const M4 &target, const float *c, float *o) {
        const Matrix M = ikref::to_matrix(target);
        const mat m = matrix_to_mat(&M);
        return taldo_ ? inverse_kinematics_taldo(m, c, o) : inverse_kinematics_quell(m, c, o);
    };
    auto expect_held = [&](const M4 &target, int32_t want) {
        EXPECT_EQ(solve_flange(target, cur, out), want);
        for (int i = 0; i < 7; ++i) EXPECT_EQ(out[i], cur[i]);
    };
    ikine_set_7dof_solver_search_strategy(0);
    M4 bad[3] = {T, T, T};  // NaN, not a rotation, out of reach
    bad[0][0][0] = NAN, bad[1][0][1] += 0.1, bad[2][0][3] += 2.0;
    for (int k = 0; k < 3; ++k) expect_held(bad[k], k < 2 ? IKINE7_INVALID_INPUT : IKINE7_OUT_OF_REACH);
    const float inf_cur[8] = {cur[0], cur[1], cur[2], INFINITY, cur[4], cur[5], cur[6]};
    EXPECT_EQ(solve_flange(T, inf_cur, out), IKINE7_INVALID_INPUT);
    EXPECT_EQ(solve_flange(T, nullptr, out), IKINE7_INVALID_INPUT);
    EXPECT_EQ(solve_flange(T, cur, nullptr), IKINE7_INVALID_INPUT);
    // Narrow: a target one joint-1 step of 0.05 rad away, eight times the
    // speed limit over one period; the window holds only such solutions.
    ikine_set_7dof_solver_search_strategy(1);
    const float qn[8] = {cur[0] + 0.05f, cur[1], cur[2], cur[3], cur[4], cur[5], cur[6]};
    expect_held(ikref::forward(m_, qn), IKINE7_SPEED_LIMIT);
    // Limits that exclude every solution: a small box around the current joints.
    for (int i = 0; i < 7; ++i) ikref::set_limit(i, cur[i] - 0.01f, cur[i] + 0.01f);
    ikine_set_7dof_solver_search_strategy(0);
    expect_held(T, IKINE7_JOINT_LIMIT);
}

// Cartesian paths through inverse_kinematics in narrow mode: lines and
// circles at 0.25 m/s sampled at 500 Hz, with the default tool and (paths 3
// and 4 of every 4) an offset tool. Every step succeeds (pose within 1e-5,
// joints within the limits and speed limits) or stops with a code that a
// dense scan of the window confirms. TOVA_SEVEN_AXIS_PATHS: paths per model.
TEST_P(SevenAxis, PathsTrackOrStopConfirmed) {
    std::mt19937 rng(31 + GetParam().type * 3 + GetParam().sensor);
    const char *env = std::getenv("TOVA_SEVEN_AXIS_PATHS");
    const float tool[6] = {0.02f, -0.01f, 0.15f, 0.2f, -0.1f, 0.3f}, no_tool[6] = {};
    int completed = 0, checked = 0, agrees = 0;
    for (int path = 0, paths = env ? std::atoi(env) : 4; path < paths; ++path) {
        const bool circle = path % 2;
        libalgo_set_tool_cs_params(path % 4 >= 2 ? tool : no_tool);
        // along u (line), or a circle in the plane of u and v leaving the start along v
        std::normal_distribution<double> g(0.0, 1.0);
        double u[3] = {g(rng), g(rng), g(rng)}, w[3] = {g(rng), g(rng), g(rng)};
        double v[3] = {u[1] * w[2] - u[2] * w[1], u[2] * w[0] - u[0] * w[2], u[0] * w[1] - u[1] * w[0]};
        const double nu = std::hypot(u[0], u[1], u[2]), nv = std::hypot(v[0], v[1], v[2]);
        for (int i = 0; i < 3; ++i) u[i] /= nu, v[i] /= nv;
        float q[8] = {}, out[8];
        start_joints(rng, circle ? v : u, q);
        Pose p0;
        forward_kinematics(&p0, q);
        const double speed = 0.25, dt = 0.002, radius = 0.05;
        const int n_steps = static_cast<int>((circle ? 2.0 * kPi * radius : 0.15) / (speed * dt));
        int k = 1;
        for (; k <= n_steps; ++k) {
            Pose pk = p0;  // circles start at p0 around p0 - radius u
            const double s = speed * dt * k, angle = s / radius;
            float *xyz[3] = {&pk.x, &pk.y, &pk.z};
            for (int i = 0; i < 3; ++i)
                *xyz[i] = static_cast<float>(
                    *xyz[i] + (circle ? radius * ((std::cos(angle) - 1.0) * u[i] + std::sin(angle) * v[i]) : s * u[i]));
            const int32_t code = inverse_kinematics(q, &pk, out, 0);
            if (code != 0) {
                float held[8];  // the current joints as the solver got them (last-joint wrap clamp)
                tova::ik::prepare_joints(q, m_.type, held);
                for (int i = 0; i < 7; ++i) EXPECT_EQ(out[i], held[i]);
                const bool coded = code == IKINE7_OUT_OF_REACH || code == IKINE7_JOINT_LIMIT || code == IKINE7_SPEED_LIMIT;
                if (!coded || admissible_in_window(pk, q)) {
                    ::testing::Message msg;  // all digits, to replay the step
                    msg << std::setprecision(9) << "unconfirmed stop, code " << code << " at step " << k << ", q";
                    for (int i = 0; i < 7; ++i) msg << ' ' << q[i];
                    const Quaternion &o = pk.quaternion;
                    msg << ", pose " << pk.x << ' ' << pk.y << ' ' << pk.z << ' ' << o.w << ' ' << o.x << ' ' << o.y << ' ' << o.z;
                    ADD_FAILURE() << msg;
                }
                break;
            }
            Pose back;
            EXPECT_LT(ikref::gap(*forward_kinematics(&back, out), pk), 1e-5) << "step " << k;
            EXPECT_EQ(joint_overspeed_judgment(q, out, 1.0f), 0) << "step " << k;
            for (int i = 0; i < 7; ++i) EXPECT_TRUE(out[i] >= m_.lo[i] && out[i] <= m_.hi[i]) << i;
            if (k % 64 == 0) {  // the checker agrees with the solver where it succeeds (sampled)
                ++checked;
                agrees += admissible_in_window(pk, q);
            }
            std::copy(out, out + 8, q);
        }
        completed += k > n_steps;
    }
    EXPECT_GE(agrees, checked * 99 / 100);
    std::printf("[ paths ] %d completed; checker agrees on %d of %d sampled successes\n", completed, agrees, checked);
}

// Taldo's search runs over joint 7 itself (quell's over one turn of its arm
// angle). Joint-7 limits a million radians wide: the search stays bounded and
// finds a solution at least as near as with the model's own limits, a subset.
using TaldoSearch = SevenAxis;
TEST_P(TaldoSearch, AbsurdJoint7LimitsSearchAtLeastAsWellAsTheModelLimits) {
    std::mt19937 rng(21);
    JointSpace wide = js_;
    wide.lo[6] = -1e6;
    wide.hi[6] = 1e6;
    auto cost = [](const Solution &s, const double *cur) {
        double c = 0.0;
        for (int i = 0; i < kJoints; ++i) c += kWeight[i] * (s.th[i] - cur[i]) * (s.th[i] - cur[i]);
        return c;
    };
    for (int n = 0; n < 30; ++n) {
        double th[kJoints], cur[kJoints];
        const M4 target = random_target(rng, th);
        random_target(rng, cur);
        const Solution own = solve(target, cur, false);
        const Solution absurd = solve_taldo(ta_geo_, wide, SearchSettings{false, 0.013}, rigid(target), cur);
        ASSERT_EQ(own.code, kOk);
        ASSERT_EQ(absurd.code, kOk);
        EXPECT_LT(ikref::gap(fk(absurd.th), target), 1e-6);
        EXPECT_LE(cost(absurd, cur), cost(own, cur) * (1.0 + 1e-6)) << n;  // refined to 1e-8 in joint 7
    }
}
INSTANTIATE_TEST_SUITE_P(Models, TaldoSearch, ::testing::Values(ref::ModelCase{ROBOT_TALDO, 0, true, "taldo0"}),
                         [](const ::testing::TestParamInfo<ref::ModelCase> &i) { return i.param.name; });

INSTANTIATE_TEST_SUITE_P(Models, SevenAxis,
                         ::testing::Values(ref::ModelCase{ROBOT_QUELL, 0, false, "quell0"}, ref::ModelCase{ROBOT_QUELL, 1, false, "quell1"},
                                           ref::ModelCase{ROBOT_QUELL, 2, false, "quell2"}, ref::ModelCase{ROBOT_TALDO, 0, true, "taldo0"}),
                         [](const ::testing::TestParamInfo<ref::ModelCase> &i) { return i.param.name; });

}  // namespace
