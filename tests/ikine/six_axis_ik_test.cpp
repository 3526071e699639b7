// Six-axis inverse kinematics: round trips through the forward kinematics,
// candidate sets against the numerical solver, the edge cases of the
// solvers, the plug-in twins, ikine and the overspeed test.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "ik_reference.hpp"
#include "config/config_generation.hpp"
#include "ikine/ik_six_axis_core.hpp"

namespace {

using namespace tova::ik;
using Q = std::array<float, 8>;

struct Recorder {
    static constexpr bool active = true;
    std::vector<CandidateReport> seen;
    void candidate(const CandidateReport &r) { seen.push_back(r); }
};

class SixAxisIk : public ::testing::Test {
  protected:
    std::mt19937 rng{20240611};
    DhTable dh{};
    uint32_t type = 0;
    SixAxisState s{};
    Recorder rec;
    float out[8] = {};

    void select(uint32_t t, uint32_t sensor = 0) {
        ASSERT_EQ(libalgo_set_robot_and_sensor_type(t, sensor), 0);
        libalgo_set_is_avoid_Singularity(0);
        libalgo_get_dh_value(&dh);
        type = t;
    }
    static Pose fk(const float *q) {
        Pose p;
        return *forward_kinematics(&p, q);
    }
    // The entry's steps on s, candidates recorded.
    int32_t solve(const float *cur, const Pose &target) {
        float q[8];
        rec.seen.clear();
        return solve_six_axis(s, prepare_entry(s, cur, target, 0, q), false, q, out, rec);
    }
    ikref::M4 chain(const Q &q) const { return ikref::chain(dh, 6, true, q.data(), true); }
    // Joints inside the limits (0.01 margin), 0.1 rad or more from the wrist
    // and elbow singularities, the wrist point 5 cm or more from the shoulder
    // axis (past the lateral offset).
    Q sample() {
        const bool lateral = type != ROBOT_VESK && type != ROBOT_PIRRA_2, pirra = type == ROBOT_PIRRA_2 || type == ROBOT_PIRRA_3;
        for (;;) {
            const std::vector<float> v = ref::random_q(rng, 0.01f);
            Q q{};
            std::copy(v.begin(), v.end(), q.begin());
            const double th3 = q[2] + dh.offset[2], s01 = std::sin(0.1);
            const double elbow = pirra ? std::cos(th3 + std::atan2(dh.a[3], dh.d[3])) : lateral ? std::sin(th3) : std::cos(th3);
            const ikref::M4 F = chain(q);
            const double wx = F[0][3] - dh.d[5] * F[0][2], wy = F[1][3] - dh.d[5] * F[1][2];
            const double lat = type == ROBOT_PIRRA_3 ? dh.d[1] : (lateral ? dh.d[3] : 0.0);
            if (std::fabs(std::sin(q[4] + dh.offset[4])) >= s01 && std::fabs(elbow) >= s01 &&
                wx * wx + wy * wy - lat * lat >= 0.0025)
                return q;
        }
    }
};

// Inverse of forward for every model and sensor type, without and with
// frames; without, the plug-in twin equals the entry bit for bit for the
// flange target, from a farther start too. TOVA_IK_SAMPLES: round trips per
// model, sensor type and frame set (default 300).
TEST_F(SixAxisIk, RoundTripEveryModelAndFramesAndPluginEqualsEntry) {
    const int n = std::getenv("TOVA_IK_SAMPLES") ? std::atoi(std::getenv("TOVA_IK_SAMPLES")) : 300;
    for (const ref::ModelCase &m : ref::all_models(true))
        for (int framed = 0; framed < 2 && m.type != ROBOT_QUELL && m.type != ROBOT_TALDO; ++framed) {
            select(m.type, m.sensor);
            if (framed) ikref::set_frames();
            auto plugin = framed                  ? nullptr
                          : m.type == ROBOT_VESK    ? plugin_inverse_kinematics_vesk
                          : m.type == ROBOT_PIRRA_2 ? plugin_inverse_kinematics_pirra_2
                          : m.type == ROBOT_PIRRA_3 ? plugin_inverse_kinematics_pirra_3
                                                    : plugin_inverse_kinematics_lumo;
            int failures = 0;
            double worst_joint = 0, worst_pose = 0;
            for (int k = 0; k < n; ++k) {
                const Q q = sample();
                Pose target = fk(q.data());
                float cur[8] = {};
                for (int j = 0; j < 6; ++j) cur[j] = q[j] + std::uniform_real_distribution<float>(-0.02f, 0.02f)(rng);
                // Euler angles within a hair of gimbal lock lose the orientation
                // in the pose itself; those poses go by their quaternion.
                const bool euler = (k & 1) && std::fabs(std::fabs(target.euler.ry) - M_PI / 2) > 0.01;
                const int32_t rc = inverse_kinematics(cur, &target, out, euler ? 1 : 0);
                double dj = 0;
                for (int j = 0; j < 6; ++j) dj = std::fmax(dj, std::fabs(out[j] - q[j]));
                const double dp = ikref::gap(target, fk(out));
                worst_joint = std::fmax(worst_joint, dj), worst_pose = std::fmax(worst_pose, dp);
                if (!(rc == 0 && dj <= 1e-3 && dp <= 1e-4) && failures++ < 3)
                    ADD_FAILURE() << m.name << " frames " << framed << " rc " << rc << " joint err " << dj << " pose err " << dp
                                  << " q " << ::testing::PrintToString(q);
                if (!plugin || euler) continue;
                for (int j = 0; j < 6; ++j) cur[j] = q[j] + std::uniform_real_distribution<float>(-0.5f, 0.5f)(rng);
                {  // both from the joints the entry sees after its wrap clamp of joint 6
                    const Q drawn = {cur[0], cur[1], cur[2], cur[3], cur[4], cur[5]};
                    prepare_joints(drawn.data(), m.type, cur);
                }
                const Matrix P = pose_quat_to_transformation_matrix(target), I = unit_matrix(4);
                const Matrix flange = matrix_m(&I, &P);  // the entry's T_BT with identity work frame
                float b[8];
                const int32_t entry = inverse_kinematics(cur, &target, out, 0);
                ASSERT_EQ(entry, plugin(&flange, cur, b)) << m.name;
                ASSERT_TRUE(entry == -1 || std::memcmp(out, b, 6 * sizeof(float)) == 0) << m.name;
            }
            EXPECT_EQ(failures, 0) << m.name << " frames " << framed;
            if (std::getenv("TOVA_IK_SAMPLES"))
                std::printf("%-10s frames %d: %d round trips, worst joint error %.2e rad, worst pose error %.2e\n", m.name.c_str(),
                            framed, n, worst_joint, worst_pose);
        }
}

// The entry clears only the working values a solve reads before writing:
// a state whose other working values hold garbage solves exactly like a
// freshly reset one, for every six-axis solver.
TEST_F(SixAxisIk, EntryResetLeavesNothingStaleToRead) {
    for (const uint32_t t : {ROBOT_VESK, ROBOT_PIRRA_2, ROBOT_PIRRA_3, ROBOT_LUMO_A}) {
        select(t);
        libalgo_set_is_avoid_Singularity(1);
        long differ = 0;
        for (int n = 0; n < 500; ++n) {
            const Q q = sample();
            Pose target = fk(q.data());
            if (n % 5 == 4) target.x += 2.0f;  // out of reach
            SixAxisState fresh{}, stale{};
            std::memset(static_cast<void *>(static_cast<SixAxisWorkingValues *>(&stale)), 0xff, sizeof(SixAxisWorkingValues));  // NaNs, -1s
            float qf[8], qs[8], out_f[8] = {}, out_s[8] = {};
            const int32_t rf = solve_six_axis(fresh, prepare_entry(fresh, q.data(), target, 0, qf), false, qf, out_f);
            const int32_t rs = solve_six_axis(stale, prepare_entry(stale, q.data(), target, 0, qs), false, qs, out_s);
            differ += rf != rs || std::memcmp(out_f, out_s, sizeof out_f) != 0;
        }
        EXPECT_EQ(differ, 0) << "type " << t;
    }
}

// The vesk scheme's two builds (any CPU, AVX2 + FMA) give the same bits:
// joints, result code and every candidate, on reachable targets from near and
// far starts, on targets out of reach, with and without the avoid flag.
TEST_F(SixAxisIk, VeskSchemeBuildsAgreeBitForBit) {
#if TOVA_BATCH_X86_KERNELS
    if (!tova::lane_trig::wide_lanes()) GTEST_SKIP() << "no AVX2 and FMA on this CPU";
    std::uniform_real_distribution<float> shift(-0.6f, 0.6f);
    for (const uint32_t t : {ROBOT_VESK, ROBOT_PIRRA_2}) {
        select(t);
        const VeskArm arm = t == ROBOT_VESK ? VeskArm::vesk : VeskArm::pirra_2;
        long differ = 0, solved = 0;
        for (int n = 0; n < 4000; ++n) {
            const Q q = sample();
            Pose target = fk(q.data());
            if (n % 4 == 3) target.x += 3 * shift(rng), target.z += 3 * shift(rng);  // often out of reach
            Q cur = q;
            for (int j = 0; j < 6; ++j) cur[j] += n % 2 ? shift(rng) : 1e-3f * shift(rng);
            const uint32_t avoid = n % 3 == 0;
            SixAxisState a{}, b{};
            float qa[8], qb[8], out_a[8] = {}, out_b[8] = {};
            prepare_entry(a, cur.data(), target, 0, qa);
            prepare_entry(b, cur.data(), target, 0, qb);
            NoObserver none;
            const int32_t ra = portable::vesk_scheme(a, arm, -kVeskJoint6Bound, kVeskJoint6Bound, avoid, qa, out_a, none);
            const int32_t rb = avx2::vesk_scheme(b, arm, -kVeskJoint6Bound, kVeskJoint6Bound, avoid, qb, out_b, none);
            solved += ra == 0;
            differ += ra != rb || std::memcmp(out_a, out_b, sizeof out_a) != 0 ||
                      std::memcmp(a.theta, b.theta, sizeof a.theta) != 0 || std::memcmp(&a.fit, &b.fit, sizeof a.fit) != 0;
        }
        EXPECT_EQ(differ, 0) << "type " << t;
        EXPECT_GT(solved, 2000) << "type " << t;
    }
#else
    GTEST_SKIP() << "one build only on this architecture";
#endif
}

// Every solution the numerical solver finds from random seeds (converged and
// inside the limits) is one of the candidates: angles modulo one turn, and a
// joint 6 that the relative wrap pushed past its filter bound still counts.
TEST_F(SixAxisIk, CandidateSetsAreCompleteAgainstTheNumericalSolver) {
    for (uint32_t t : {ROBOT_VESK, ROBOT_PIRRA_2, ROBOT_PIRRA_3, ROBOT_LUMO_C}) {
        select(t);
        for (int target_no = 0; target_no < 3; ++target_no) {
            const Q q = sample();
            IkNumericalRequest req{200, {}, 1e-12f, fk(q.data()), {}};  // 200 iterations, tolerance 1e-12
            solve(q.data(), req.pose);
            int checked = 0;
            for (int seed = 0; seed < 24; ++seed) {
                const Q x = sample();
                std::copy(x.begin(), x.begin() + 7, req.seed);
                float v[8];
                if (ikine_numerical_solution_tool_frame(&req, "quat", v) != 0) continue;
                bool matched = false;
                for (const auto &c : rec.seen) {
                    double d = 0;
                    for (int j = 0; j < 6; ++j) d = std::fmax(d, std::fabs(std::remainder(c.joints[j] - v[j] - dh.offset[j], 2 * M_PI)));
                    matched = matched || (d < 1e-3 && (c.fate == Fate::scored || (c.fate == Fate::bound && c.joint == 6)));
                }
                ++checked;
                EXPECT_TRUE(matched) << "type " << t << " solution " << ::testing::PrintToString(std::vector<float>(v, v + 6));
            }
            EXPECT_GT(checked, 0);
        }
    }
}

// ---- edge cases -----------------------------------------------------------

TEST_F(SixAxisIk, ShoulderAxisTargetKeepsJoint1AndTiesKeepTheEarlierCandidate) {
    select(ROBOT_VESK);
    const Q q{1.0f, 0.0f, 0.6f, 0.4f, 0.9f, -0.3f};
    Matrix F;
    forward_kinematics_e(&F, q.data());
    for (int i = 0; i < 2; ++i) F.data[i][3] = dh.d[5] * F.data[i][2];  // wrist centre moved onto the axis
    const Pose target = transformation_matrix_to_pose(F);
    const float cur[8] = {0.4f, q[1], q[2], q[3], q[4], q[5]};
    EXPECT_EQ(solve(cur, target), 0);
    EXPECT_LT(std::hypot(s.px, s.py), 5e-5);
    EXPECT_EQ(out[0], 0.4f);
    EXPECT_LT(ikref::gap(target, fk(out)), 1e-4);
    // both shoulder values equal: arms 1 and 2 tie and the earlier one stays
    ASSERT_EQ(rec.seen.size(), 8u);
    const int order[8] = {1, 5, 2, 6, 3, 7, 4, 8};
    for (int k = 0; k < 8; ++k) EXPECT_EQ(rec.seen[k].number, order[k]);
    EXPECT_EQ(rec.seen[0].cost, rec.seen[2].cost);
    EXPECT_TRUE(rec.seen[0].became_best);
    EXPECT_FALSE(rec.seen[2].became_best);
}

TEST_F(SixAxisIk, ElbowTermClampedAboveOneButNotBelowMinusOne) {
    select(ROBOT_VESK);
    const Q q{0.3f, 0.2f, 0.0f, 0.5f, 0.7f, 0.1f};  // stretched elbow
    Matrix F;
    forward_kinematics_e(&F, q.data());
    const double d4 = dh.d[3], a2 = dh.a[2], d6 = dh.d[5];
    const double w[3] = {F.data[0][3] - d6 * F.data[0][2], F.data[1][3] - d6 * F.data[1][2],
                         F.data[2][3] - d6 * F.data[2][2] - dh.d[0]};
    for (double k3 : {1.0001, -1.00001, 1.0004}) {
        // wrist centre moved along the shoulder ray to the distance giving k3
        const double scale = std::sqrt(2 * d4 * a2 * k3 + d4 * d4 + a2 * a2) / std::hypot(w[0], w[1], w[2]) - 1;
        Matrix T = F;
        for (int i = 0; i < 3; ++i) T.data[i][3] = static_cast<float>(F.data[i][3] + scale * w[i]);
        const Pose target = transformation_matrix_to_pose(T);
        const bool clamped = k3 == 1.0001;
        EXPECT_EQ(solve(q.data(), target), clamped ? 0 : -1) << k3;  // -1: no arm candidate from either shoulder
        if (clamped) {
            EXPECT_EQ(s.k3[0], 1.0f);
            EXPECT_EQ(s.theta[2][0], s.theta[2][2]);  // both elbow values equal
            EXPECT_LT(ikref::gap(target, fk(out)), 2e-5);
        } else {
            EXPECT_EQ(s.fit, 1000.0f);
            EXPECT_GT(std::fabs(s.k3[0]), 1.0f) << k3;  // not clamped
        }
    }
}

// Joint 6 is filtered at +-6.300638 (one turn and a degree) whatever its
// limit, on pirra_2 centred on the joint-6 offset; the entry then applies the
// limit, the plug-in filters with the limit plus one degree instead.
TEST_F(SixAxisIk, Joint6FilterBoundsAndTurns) {
    for (float turn : {7.0f, -7.0f}) {  // the current joint beyond one turn keeps its turns
        select(ROBOT_VESK);
        const Q q{0.3f, 0.4f, 0.8f, -0.5f, 0.9f, turn - std::copysign(6.2831853f, turn)};
        const Pose target = fk(q.data());
        const float cur[8] = {q[0], q[1], q[2], q[3], q[4], turn};
        EXPECT_EQ(solve(cur, target), -2);  // beyond the +-360 degree limit
        EXPECT_EQ(s.Iconsult6a_0, turn > 0 ? 1 : -1);
        EXPECT_NEAR(out[5], turn, 1e-4);
        ikref::set_limit(5, -8.0f, 8.0f);
        EXPECT_EQ(inverse_kinematics(cur, &target, out, 0), 0);
        EXPECT_NEAR(out[5], turn, 1e-4);
    }
    ikref::set_limit(5, -3.0f, 3.0f);  // narrower than the filter
    const Q q{0.2f, 0.3f, 0.7f, 0.4f, 0.8f, 3.5f};
    EXPECT_EQ(solve(q.data(), fk(q.data())), -2);
    EXPECT_EQ(s.theta_u[5], 6.300638f);
    EXPECT_NEAR(out[5], 3.5f, 1e-4);
    float plug[8];
    plugin_inverse_kinematics_vesk(&s.T_BT, q.data(), plug);
    EXPECT_GT(std::fabs(plug[5] - 3.5f), 1.0f);

    select(ROBOT_PIRRA_2);
    dh.offset[5] = 0.5f;  // 3.1415927 by default
    libalgo_set_dh_params(&dh);
    // joint 6 at 6.6 in solver space: inside 0.5 + 6.3006387, beyond vesk's
    // bound (the chain, as pirra_2's forward kinematics has its offsets built in)
    const Q p{0.2f, 0.3f, 0.7f, 0.4f, -0.8f, 6.1f};
    const float cur[8] = {p[0], p[1], p[2], p[3], p[4], 5.7f};
    EXPECT_EQ(solve(cur, transformation_matrix_to_pose(ikref::to_matrix(chain(p)))), 0);
    EXPECT_EQ(s.theta_u[5], 0.5f + 6.3006387f);
    EXPECT_EQ(s.theta_l[5], 0.5f - 6.3006387f);
    EXPECT_NEAR(out[5], 6.1f, 1e-4);
}

TEST_F(SixAxisIk, AvoidFlagResplitsJoints4And6NearStraightWrist) {
    select(ROBOT_VESK);
    const Q q{0.2f, 0.3f, 0.7f, 0.4f, 0.05f, -0.6f};
    const Pose target = fk(q.data());
    const float cur[8] = {0.2f, 0.3f, 0.7f, 0.7f, 0.05f, -0.4f};
    ASSERT_EQ(solve(cur, target), 0);
    for (int j = 0; j < 6; ++j) EXPECT_NEAR(out[j], q[j], 1e-4);  // flag clear: the candidate itself
    libalgo_set_is_avoid_Singularity(1);
    ASSERT_EQ(solve(cur, target), 0);
    EXPECT_NEAR(out[3] - out[5], cur[3] - cur[5], 1e-5);  // difference kept
    EXPECT_NEAR(out[3] + out[5], s.theta46, 1e-5);        // sum from the target
    EXPECT_NEAR(s.theta46, q[3] + q[5], 0.01);
}

TEST_F(SixAxisIk, LumoReachToleranceOffsetRemovalAndStraightWrist) {
    select(ROBOT_LUMO_C);
    const Q z{0.3f, -0.4f, 0.9f, 0.3f, 0.0f, 0.0f};
    const Pose straight = fk(z.data());
    const float near[8] = {0.35f, -0.4f, 0.9f, 0.2f, 0.01f, 0.0f};
    EXPECT_EQ(inverse_kinematics(near, &straight, out, 0), 0);
    EXPECT_EQ(out[5], 0.0f);  // straight wrist: joint 6 stays at zero
    EXPECT_LT(ikref::gap(straight, fk(out)), 1e-4);

    select(ROBOT_LUMO_A);
    const Q q{0.3f, -0.4f, 0.9f, 0.3f, 0.8f, 0.2f};
    const Pose target = fk(q.data());
    const Matrix P = pose_quat_to_transformation_matrix(target);
    const double d4 = dh.d[3], d6 = dh.d[5];
    const double wx = P.data[0][3] - d6 * P.data[0][2], wy = P.data[1][3] - d6 * P.data[1][2];
    for (double R : {-5e-7, -2e-6}) {  // wrist point a hair inside the lateral offset
        const double k = std::sqrt(d4 * d4 + R) / std::hypot(wx, wy);
        Pose t = target;
        t.x = static_cast<float>(k * wx + d6 * P.data[0][2]);
        t.y = static_cast<float>(k * wy + d6 * P.data[1][2]);
        std::fill(out, out + 8, 9.0f);
        const int32_t rc = inverse_kinematics(q.data(), &t, out, 0);
        if (R > -1e-6) {
            EXPECT_NE(out[0], 9.0f) << "solved with the root taken as 0, rc " << rc;
        } else {
            EXPECT_EQ(rc, -1);
            EXPECT_EQ(out[0], 9.0f);  // returned before any candidate
        }
    }
    // joint 2 beyond its limit: joint 1 final, joint 2 adjusted, the rest in solver space
    ikref::set_limit(1, -3.0f, q[1] - 0.2f);
    EXPECT_EQ(inverse_kinematics(q.data(), &target, out, 0), -2);
    EXPECT_NEAR(out[0], q[0], 1e-4);
    EXPECT_NEAR(out[1], q[1] - 6.2831855f, 1e-4);  // one turn down, past its limit
    for (int j = 2; j < 6; ++j) EXPECT_NEAR(out[j], q[j] + dh.offset[j], 1e-4) << j;

    // No candidate scores below 1000 (joint 1 current 30 rad away, a single
    // turn of wrap): the first candidate is taken, though the second, whose
    // other joints are the current ones, is cheaper.
    for (int j = 0; j < 6; ++j) ikref::set_limit(j, -1000.0f, 1000.0f);
    ASSERT_EQ(solve(q.data(), target), 0);
    float far[8] = {30.0f};
    for (int j = 1; j < 6; ++j) far[j] = static_cast<float>(rec.seen[1].joints[j]) - dh.offset[j];
    ASSERT_EQ(solve(far, target), 0);
    ASSERT_EQ(rec.seen.size(), 8u);
    for (const CandidateReport &c : rec.seen) EXPECT_FALSE(c.cost < 1000.0) << c.number;
    EXPECT_LT(rec.seen[1].cost, rec.seen[0].cost);
    for (int j = 0; j < 6; ++j) EXPECT_EQ(out[j], static_cast<float>(rec.seen[0].joints[j]) - dh.offset[j]) << j;
}

// The entry: the last-joint wrap clamp (strict bounds, six-axis types only),
// is_euler 2 read like 0, a miss repeating the previous solution, and -4 with
// q_out untouched for types without a solver.
TEST_F(SixAxisIk, EntryDispatchClampAndCarryOver) {
    select(ROBOT_VESK);
    const Q q{0.2f, 0.3f, 0.7f, 0.4f, 0.8f, 6.2f};
    const Pose target = fk(q.data());
    float a[8], w[8];
    for (float v : {6.30f, -6.30f, 6.32f, 6.283185f}) {  // 6.30 solved as 6.283185
        const float c[8] = {1, 2, 3, 4, 5, v, 7, 8};
        prepare_joints(c, ROBOT_VESK, w);
        EXPECT_EQ(w[5], std::fabs(v) < 6.31f ? std::copysign(6.283185f, v) : v);
        prepare_joints(c, ROBOT_QUELL, w);
        EXPECT_EQ(w[5], v);
    }
    float cur[8] = {q[0], q[1], q[2], q[3], q[4], 6.30f};
    inverse_kinematics(cur, &target, a, 0);
    cur[5] = 6.283185f;
    inverse_kinematics(cur, &target, out, 0);
    EXPECT_EQ(std::memcmp(a, out, 6 * sizeof(float)), 0);
    Pose garbled = target;
    garbled.euler = Euler{1, 2, 3};
    EXPECT_EQ(inverse_kinematics(q.data(), &garbled, out, 2), 0);
    inverse_kinematics(q.data(), &target, a, 0);
    EXPECT_EQ(std::memcmp(a, out, 6 * sizeof(float)), 0);
    Pose far = target;
    far.x = 5.0f;
    EXPECT_EQ(inverse_kinematics(q.data(), &far, out, 0), -1);
    EXPECT_EQ(std::memcmp(a, out, 6 * sizeof(float)), 0);
    const float lim[8] = {3, 3, 3, 3, 3, 3, 3, 3};
    const Matrix P = pose_quat_to_transformation_matrix(target);
    for (uint32_t t : {2u, 9u}) {
        libalgo_set_robot_and_sensor_type(t, 0);
        std::fill(w, w + 8, 7.0f);
        EXPECT_EQ(inverse_kinematics(q.data(), &target, w, 0), -4);
        EXPECT_EQ(ikine(t, 0, 0, lim, lim, &P.data[0][0], q.data(), w), -4);
        EXPECT_EQ(w[0], 7.0f);
    }
}

// The entry keeps its configuration snapshot between calls: after each kind
// of change it reads, the kept state answers bit for bit like a fresh one,
// whose answer has moved and still meets the target under the new
// configuration. The per-cycle updates (feedback, planning joints) leave the
// generation alone.
TEST_F(SixAxisIk, EntryFollowsEveryConfigurationChange) {
    const Q q{0.2f, 0.3f, 0.7f, 0.4f, 0.8f, -0.3f};
    const float tool[6] = {0.01f, -0.02f, 0.04f, 0.1f, -0.2f, 0.3f}, work[6] = {0.03f, -0.02f, 0.01f, 0.05f, 0.02f, -0.1f},
                install[3] = {0.04f, -0.03f, 0.2f};
    for (uint32_t t : {ROBOT_VESK, ROBOT_LUMO_C})
        for (int change = 0; change < 6; ++change) {
            SCOPED_TRACE(::testing::Message() << "type " << t << " change " << change);
            select(t);
            const Pose target = fk(q.data());
            float before[8], warm[8], cold[8], qs[8], b[8];
            ASSERT_EQ(inverse_kinematics(q.data(), &target, before, 0), 0);
            const uint64_t generation = tova::config_generation();
            RobotFeedback feedback{};
            feedback.joint_vector_a[0] = feedback.joint_vector_b[1] = 0.5f;
            libalgo_update_feedback_data(&feedback);
            libalgo_set_trajectory_planning_joint_cmd(feedback.joint_vector_a);
            EXPECT_EQ(tova::config_generation(), generation);
            const bool lower = t == ROBOT_VESK;  // which bound of joint 6 moves past the solution
            switch (change) {
            case 0: libalgo_set_tool_cs_params(tool); break;
            case 1: libalgo_set_work_cs_params(work); break;
            case 2: libalgo_set_robot_install_angle(install); break;
            case 3: dh.d[3] += 0.01f; libalgo_set_dh_params(&dh); break;
            case 4:
                (lower ? libalgo_get_jointlim_min : libalgo_get_jointlim_max)(b);
                b[5] = q[5] + (lower ? 0.5f : -0.5f);
                (lower ? libalgo_set_jointlim_min : libalgo_set_jointlim_max)(b);
                break;
            case 5: libalgo_set_robot_and_sensor_type(t, 2); break;  // another flange length
            }
            EXPECT_NE(tova::config_generation(), generation);
            const int32_t rc = inverse_kinematics(q.data(), &target, warm, 0);
            SixAxisState fresh{};
            const int32_t cold_rc = solve_six_axis(fresh, prepare_entry(fresh, q.data(), target, 0, qs), false, qs, cold);
            ASSERT_EQ(cold_rc, change == 4 ? -2 : 0);
            EXPECT_EQ(rc, cold_rc);
            EXPECT_EQ(std::memcmp(warm, cold, 6 * sizeof(float)), 0);
            EXPECT_TRUE(change == 4 || std::memcmp(before, cold, 6 * sizeof(float)) != 0);
            EXPECT_TRUE(change == 4 || ikref::gap(target, fk(cold)) < 1e-4);
        }
}

TEST_F(SixAxisIk, IkineResetsTheConfigurationAndSetsTheSevenAxisSearch) {
    select(ROBOT_PIRRA_2);
    ikref::set_frames();
    const float hi[8] = {3, 3, 2.5f, 3, 3, 6, 0, 0}, lo[8] = {-3, -3, -3, -3, -3, -6, 0, 0};
    const Q q = sample();
    Matrix F;
    forward_kinematics_e(&F, q.data());  // flange, tool not applied
    for (uint32_t mode : {1u, 0u, 2u}) {
        ASSERT_EQ(ikine(ROBOT_PIRRA_2, 2, mode, hi, lo, &F.data[0][0], q.data(), out), 0);
        EXPECT_EQ(ikine_get_solution_range_quell(), mode == 1 ? 3.14f : 0.013f);
        EXPECT_EQ(ikine_get_7dof_solver_search_strategy(), mode == 1 ? 0u : 1u);
    }
    float params[6], got_hi[8], plug[8];
    libalgo_get_tool_cs_params(params);
    for (float v : params) EXPECT_EQ(v, 0.0f);  // the tool set before is gone
    libalgo_get_jointlim_max(got_hi);
    EXPECT_EQ(std::memcmp(got_hi, hi, sizeof hi), 0);
    EXPECT_EQ(libalgo_get_sensor_type(), 2u);
    EXPECT_EQ(plugin_inverse_kinematics_pirra_2(&F, q.data(), plug), 0);
    EXPECT_EQ(std::memcmp(out, plug, 6 * sizeof(float)), 0);
}

TEST(JointOverspeed, BoundaryIsNotOverspeedAndTheFirstOffenderIsReported) {
    libalgo_set_robot_and_sensor_type(ROBOT_VESK, 0);
    const float vel[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    libalgo_set_joint_vel_maxlim(vel);
    libalgo_set_control_loop_period(0.5f);
    const float from[8] = {}, both[8] = {0, 0.2f, 0, 0, 0.3f, 0}, nudge[8] = {0, 0, 0, 1e-6f, 0, 0};
    float to[8] = {0.125f, 0, 0, 0, 0, 0};
    EXPECT_EQ(joint_overspeed_judgment(from, to, 0.25f), 0);  // exactly limit x period x ratio
    to[0] = 0.1250001f;
    EXPECT_EQ(joint_overspeed_judgment(from, to, 0.25f), 1);
    EXPECT_EQ(joint_overspeed_judgment(from, both, 0.25f), 2);
    EXPECT_EQ(joint_overspeed_judgment(both, both, -1.0f), 0);
    EXPECT_EQ(joint_overspeed_judgment(both, both, 0.0f), 0);
    EXPECT_EQ(joint_overspeed_judgment(from, nudge, -3.0f), 4);  // negative ratio counts as 0
}

}  // namespace
