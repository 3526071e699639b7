// White-box tests of the seven-axis closed forms and searches against an
// independent DH chain, for quell (three sensor lengths) and taldo.
#include <gtest/gtest.h>

#include <vector>

#include "ikine/seven_axis_entry.hpp"
#include "ikine/seven_axis_quell.hpp"
#include "ikine/seven_axis_taldo.hpp"
#include "seven_axis_reference.hpp"

namespace {

using namespace tova::seven_axis;
using seven_ref::T4;

struct ModelId {
    unsigned type, sensor;
};

class SevenAxisCore : public ::testing::TestWithParam<ModelId> {
protected:
    void SetUp() override {
        m_ = seven_ref::load_model(GetParam().type, GetParam().sensor);
        taldo_ = m_.type == 7;
        double zero[kJoints] = {};
        js_ = read_joint_space(zero);
        for (int i = 0; i < kJoints; ++i) off_[i] = m_.offset[i];
        qg_ = {m_.d[0], m_.d[2], m_.d[4], m_.d[6]};
        tg_ = {m_.d[0], m_.d[2], m_.d[4], m_.d[6], m_.a[3], m_.a[4], m_.a[6]};
    }
    static Rigid rigid(const T4& T) {
        Rigid r;
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) r.R.m[i][j] = T.m[i][j];
        }
        r.p = {T.m[0][3], T.m[1][3], T.m[2][3]};
        return r;
    }
    // Model angles of machine angles.
    void model(const double* q, double* th) const {
        for (int i = 0; i < kJoints; ++i) th[i] = q[i] + off_[i];
    }
    T4 fk_model(const double* th) const {
        double q[kJoints];
        for (int i = 0; i < kJoints; ++i) q[i] = th[i] - off_[i];
        return seven_ref::forward(m_, q);
    }
    Solution solve(const T4& target, const double* cur_th, bool narrow, bool speed = true) const {
        const SearchSettings ss{narrow, 0.013};
        JointSpace js = js_;
        js.check_speed = speed;
        return taldo_ ? solve_taldo(tg_, js, ss, rigid(target), cur_th)
                      : solve_quell(qg_, js, ss, rigid(target), cur_th);
    }
    // All closed-form branches at parameter t (cur resolves singular cases).
    unsigned branches(const T4& target, const double* cur_th, double t, double raw[kBranches][kJoints],
                      double* t_cur = nullptr) const {
        if (taldo_) {
            TaldoArm arm;
            arm.setup(tg_, rigid(target), cur_th);
            if (t_cur) *t_cur = cur_th[6];
            return arm.solve(t_cur ? *t_cur : t, 0xFFu, raw);
        }
        QuellArm arm;
        if (arm.setup(qg_, rigid(target), cur_th) != kOk) return 0;
        if (t_cur) *t_cur = arm.current_phi();
        return arm.solve(t_cur ? *t_cur : t, 0xFFu, raw);
    }
    static double cost(const double* a, const double* b) {
        double c = 0;
        for (int i = 0; i < kJoints; ++i) c += kWeight[i] * (a[i] - b[i]) * (a[i] - b[i]);
        return c;
    }
    bool inside(const double* th) const {
        for (int i = 0; i < kJoints; ++i)
            if (th[i] < js_.lo[i] || th[i] > js_.hi[i]) return false;
        return true;
    }

    seven_ref::Model m_;
    bool taldo_ = false;
    JointSpace js_;
    double off_[kJoints];
    QuellGeometry qg_;
    TaldoGeometry tg_;
};

// Every branch reproduces the target, and at the current parameter one of
// them is the generating configuration.
TEST_P(SevenAxisCore, ClosedFormContainsGeneratingJoints) {
    std::mt19937 rng(11);
    for (int n = 0; n < 400; ++n) {
        double q[kJoints], th[kJoints], raw[kBranches][kJoints], t0;
        seven_ref::random_joints(m_, rng, q);
        model(q, th);
        const T4 target = seven_ref::forward(m_, q);
        const unsigned got = branches(target, th, 0.0, raw, &t0);
        ASSERT_NE(got, 0u);
        double nearest = 1e9;
        for (int b = 0; b < kBranches; ++b) {
            if (!(got & (1u << b))) continue;
            const T4 T = fk_model(raw[b]);
            EXPECT_LT(seven_ref::pos_err(T, target), 1e-9) << "branch " << b;
            EXPECT_LT(seven_ref::rot_err(T, target), 1e-9) << "branch " << b;
            double dev = 0;
            for (int i = 0; i < kJoints; ++i) dev = std::fmax(dev, std::fabs(seven_ref::wrap(raw[b][i] - th[i])));
            nearest = std::fmin(nearest, dev);
        }
        EXPECT_LT(nearest, 1e-7) << "sample " << n;
    }
}

// Wide mode finds every target, and no farther from the current joints
// than the generating configuration (a solution it could have chosen).
TEST_P(SevenAxisCore, WideSearchFindsEveryTarget) {
    std::mt19937 rng(12);
    int farther = 0;
    for (int n = 0; n < 150; ++n) {
        double q[kJoints], th[kJoints], qc[kJoints], cur[kJoints];
        seven_ref::random_joints(m_, rng, q);
        seven_ref::random_joints(m_, rng, qc);
        model(q, th);
        model(qc, cur);
        const T4 target = seven_ref::forward(m_, q);
        const Solution s = solve(target, cur, false);
        ASSERT_EQ(s.code, kOk) << "sample " << n;
        const T4 T = fk_model(s.th);
        EXPECT_LT(seven_ref::pos_err(T, target), 1e-9);
        EXPECT_LT(seven_ref::rot_err(T, target), 1e-9);
        EXPECT_TRUE(inside(s.th));
        farther += cost(s.th, cur) > cost(th, cur) + 1e-9;
    }
    EXPECT_EQ(farther, 0);
}

// Narrow mode from joints a small step away from the generating ones: the
// result is no farther than the generating configuration, and from the
// generating joints themselves it is those joints.
TEST_P(SevenAxisCore, NarrowSearchStaysNearest) {
    std::mt19937 rng(13);
    std::uniform_real_distribution<double> step(-2e-3, 2e-3);
    for (int n = 0; n < 300; ++n) {
        double q[kJoints], th[kJoints], cur[kJoints];
        seven_ref::random_joints(m_, rng, q, 0.01);
        model(q, th);
        for (int i = 0; i < kJoints; ++i) cur[i] = th[i] + step(rng);
        const T4 target = seven_ref::forward(m_, q);
        Solution s = solve(target, cur, true);
        ASSERT_EQ(s.code, kOk) << "sample " << n;
        EXPECT_LE(cost(s.th, cur), cost(th, cur) + 1e-12) << "sample " << n;
        s = solve(target, th, true);
        ASSERT_EQ(s.code, kOk);
        for (int i = 0; i < kJoints; ++i) EXPECT_EQ(s.th[i], th[i]);
    }
}

// Singular and degenerate configurations, exactly and nearly: every answer is
// a valid solution or a defined code, never NaN.
TEST_P(SevenAxisCore, DegenerateTargetsGiveSolutionOrCode) {
    std::mt19937 rng(14);
    std::uniform_real_distribution<double> tiny(-1e-7, 1e-7);
    // Model-space settings that put the closed form on a singular point.
    const double phi = std::atan2(2 * (m_.d[2] * m_.a[4] - m_.a[3] * m_.d[4]),
                                  2 * (m_.d[2] * m_.d[4] + m_.a[3] * m_.a[4]));
    auto u4_zero = [&](double) {  // th4 where the shoulder point lies on axis 5
        // d3 sin th4 + a4 cos th4 = -a5
        const double r = std::hypot(m_.d[2], m_.a[3]);
        return std::asin(-m_.a[4] / r) - std::atan2(m_.a[3], m_.d[2]);
    };
    struct Pin {
        int joint;
        double value;
    };
    std::vector<std::vector<Pin>> cases;
    if (taldo_) {
        cases = {{{1, 0.0}}, {{3, phi}}, {{3, u4_zero(0)}}, {{4, kPi / 2}}, {{4, -kPi / 2}}, {{5, kPi / 2}},
                 {{1, 0.0}, {3, phi}}, {{1, 0.0}, {4, kPi / 2}}};
    } else {
        cases = {{{1, 0.0}}, {{3, 0.0}}, {{5, 0.0}}, {{1, 0.0}, {5, 0.0}}, {{1, 0.0}, {3, 0.0}, {5, 0.0}}};
    }
    int solved = 0, coded = 0;
    for (const auto& pins : cases) {
        for (int n = 0; n < 40; ++n) {
            double q[kJoints], th[kJoints], qc[kJoints], cur[kJoints];
            seven_ref::random_joints(m_, rng, q);
            seven_ref::random_joints(m_, rng, qc);
            model(q, th);
            for (const Pin& p : pins) th[p.joint] = p.value + (n % 2 ? tiny(rng) : 0.0);
            if (!inside(th)) continue;
            if (!taldo_ && n % 4 == 3) {
                // Wrist centre on the joint-1 axis: shoulder pointing straight up.
                th[1] = 0.0;
                th[3] = 0.0;
            }
            model(qc, cur);
            const T4 target = fk_model(th);
            for (int mode = 0; mode < 3; ++mode) {
                double start[kJoints];
                for (int i = 0; i < kJoints; ++i) start[i] = mode == 2 ? cur[i] : th[i] + (mode == 1 ? 1e-3 : 0.0);
                const Solution s = solve(target, start, mode != 2);
                for (int i = 0; i < kJoints; ++i) ASSERT_TRUE(std::isfinite(s.th[i]));
                if (s.code != kOk) {
                    EXPECT_TRUE(s.code == kJointLimit || s.code == kSpeedLimit || s.code == kOutOfReach);
                    ++coded;
                    continue;
                }
                ++solved;
                const T4 T = fk_model(s.th);
                // At folds of the parameterisation the double rounding of a
                // sine near one is amplified to ~1e-7.
                EXPECT_LT(seven_ref::pos_err(T, target), 1e-6);
                EXPECT_LT(seven_ref::rot_err(T, target), 1e-6);
                EXPECT_TRUE(inside(s.th));
            }
        }
    }
    // Wide searches of reachable targets always succeed.
    EXPECT_GT(solved, 3 * coded);
}

// Every feasible solution found by dense sampling lies in the closed-form
// pieces (quell: all limits; taldo: elbow existence and joint 4).
TEST_P(SevenAxisCore, AnalyticPiecesMatchSampling) {
    std::mt19937 rng(15);
    int disagree = 0, checked = 0;
    for (int n = 0; n < 40; ++n) {
        double q[kJoints], th[kJoints];
        seven_ref::random_joints(m_, rng, q);
        model(q, th);
        const Rigid target = rigid(seven_ref::forward(m_, q));
        Span spans[kMaxSpans];
        int n_spans;
        double base, len;
        QuellArm qa;
        TaldoArm ta;
        if (taldo_) {
            ta.setup(tg_, target, th);
            base = js_.lo[6];
            len = js_.hi[6] - js_.lo[6];
            n_spans = ta.elbow_spans(&js_, base, base + len, spans, kMaxSpans);
        } else {
            ASSERT_EQ(qa.setup(qg_, target, th), kOk);
            base = -1.0;
            len = 2 * kPi;
            n_spans = qa.feasible_spans(js_, base, spans, kMaxSpans, [](const Candidate&) {});
        }
        for (int k = 0; k < 4000; ++k) {
            const double t = base + len * (k + 0.5) / 4000;
            double raw[kBranches][kJoints];
            const unsigned got = taldo_ ? ta.solve(t, 0xFFu, raw) : qa.solve(t, 0xFFu, raw);
            for (int b = 0; b < kBranches; ++b) {
                bool ok = false;
                if (got & (1u << b)) {
                    Candidate c;
                    score(raw[b], th, js_, &c);
                    ok = c.feasible;
                }
                bool in = false, edge = false;
                for (int i = 0; i < n_spans; ++i) {
                    if (t >= spans[i].a && t <= spans[i].b && (spans[i].mask & (1u << b))) in = true;
                    edge = edge || std::fabs(t - spans[i].a) < 1e-6 || std::fabs(t - spans[i].b) < 1e-6;
                }
                // Spans may hold more than the feasible set (a quell span holds
                // the union of its pieces' branches, a taldo span only limits
                // the elbow), never less.
                if (edge) continue;
                ++checked;
                disagree += ok && !in;
            }
        }
    }
    EXPECT_EQ(disagree, 0) << "of " << checked;
}

INSTANTIATE_TEST_SUITE_P(Models, SevenAxisCore,
                         ::testing::Values(ModelId{1, 0}, ModelId{1, 1}, ModelId{1, 2}, ModelId{7, 0}),
                         [](const ::testing::TestParamInfo<ModelId>& i) {
                             return std::string(i.param.type == 7 ? "taldo" : "quell") +
                                    std::to_string(i.param.sensor);
                         });

}  // namespace
