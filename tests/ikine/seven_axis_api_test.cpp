// The exported seven-axis solvers through the library's entries: round trips
// with installation, tool and work frames, the ikine plug-in path, and the
// result codes with the current joints held on failure.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "config/libalgo_interface.h"
#include "config/tova_ikine_global.h"
#include "ikine/ikine_quell.h"
#include "ikine/ikine_taldo.h"
#include "ikine/libikine_plugin.h"
#include "ikine/tova_ikine.h"
#include "kinematics/tova_kinematics.h"
#include "seven_axis_reference.hpp"

namespace {

struct ModelId {
    unsigned type, sensor;
};

// Position distance (m); *angle gets the rotation between the two
// orientations (rad), from the chord between the quaternions (acos of their
// dot product would lose the small angles to rounding).
double pose_distance(const Pose& a, const Pose& b, double* angle) {
    const double qa[4] = {a.quaternion.w, a.quaternion.x, a.quaternion.y, a.quaternion.z};
    const double qb[4] = {b.quaternion.w, b.quaternion.x, b.quaternion.y, b.quaternion.z};
    double dm = 0, dp = 0;
    for (int i = 0; i < 4; ++i) {
        dm += (qa[i] - qb[i]) * (qa[i] - qb[i]);
        dp += (qa[i] + qb[i]) * (qa[i] + qb[i]);
    }
    *angle = 4.0 * std::asin(std::fmin(1.0, 0.5 * std::sqrt(std::fmin(dm, dp))));
    return std::sqrt((a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y) + (a.z - b.z) * (a.z - b.z));
}

class SevenAxisApi : public ::testing::TestWithParam<ModelId> {
protected:
    void SetUp() override {
        m_ = seven_ref::load_model(GetParam().type, GetParam().sensor);
        ikine_set_7dof_solver_search_strategy(1);
        ikine_set_solution_range_quell(0.013f);
    }
    void TearDown() override {
        ikine_set_7dof_solver_search_strategy(1);
        ikine_set_solution_range_quell(0.013f);
    }
    template <class Rng>
    void random_q(Rng& rng, float* q, double margin = 0.0) {
        double d[7];
        seven_ref::random_joints(m_, rng, d, margin);
        for (int i = 0; i < 7; ++i) q[i] = static_cast<float>(d[i]);
        q[7] = 0.0f;
    }
    int32_t solve_flange(const seven_ref::T4& T, const float* cur, float* out) {
        mat target{};
        target.rows = target.cols = 4;
        for (int r = 0; r < 4; ++r)
            for (int c = 0; c < 4; ++c) target.data[r][c] = static_cast<float>(T.m[r][c]);
        return m_.type == 7 ? inverse_kinematics_taldo(target, cur, out) : inverse_kinematics_quell(target, cur, out);
    }
    seven_ref::Model m_;
};

// Failures, results off tolerance and the largest deviation of one kind of call.
struct Stat {
    int failed = 0, off = 0;
    double worst = 0.0;
    void add(bool ok, double dev, double tol) {
        failed += !ok;
        if (!ok) return;
        off += dev > tol;
        worst = std::fmax(worst, dev);
    }
};

// With installation, tool and work frames set, inverse_kinematics undoes
// forward_kinematics: narrow from the generating joints returns them (from
// joints 1e-5 rad away it finds them too, bar near-singular targets), wide
// from random joints finds a pose match. TOVA_SEVEN_AXIS_ROUNDTRIPS: count.
TEST_P(SevenAxisApi, RoundTripThroughFrames) {
    const float install[3] = {0.3f, -0.2f, 0.5f}, tool[6] = {0.01f, -0.02f, 0.12f, 0.1f, -0.2f, 0.3f},
                work[6] = {0.1f, 0.2f, -0.05f, 0.0f, 0.1f, -0.3f};
    libalgo_set_robot_install_angle(install);
    libalgo_set_tool_cs_params(tool);
    libalgo_set_work_cs_params(work);
    const char* env = std::getenv("TOVA_SEVEN_AXIS_ROUNDTRIPS");
    const int count = env ? std::atoi(env) : 200;
    std::mt19937 rng(21);
    std::uniform_real_distribution<float> nudge(-1e-5f, 1e-5f);
    Stat narrow, nudged, wide_pos, wide_rot;
    int outside = 0;
    auto deviation = [](const float* a, const float* b) {
        double d = 0;
        for (int i = 0; i < 7; ++i) d = std::fmax(d, std::fabs(a[i] - b[i]));
        return d;
    };
    for (int n = 0; n < count; ++n) {
        float q[8], cur[8], out[8];
        random_q(rng, q);
        Pose pose, back;
        forward_kinematics(&pose, q);
        ikine_set_7dof_solver_search_strategy(1);
        bool ok = inverse_kinematics(q, &pose, out, 0) == 0;
        narrow.add(ok, deviation(out, q), 1e-4);
        for (int i = 0; i < 7; ++i) cur[i] = q[i] + nudge(rng);
        ok = inverse_kinematics(cur, &pose, out, 0) == 0;
        nudged.add(ok, deviation(out, q), 1e-4);

        random_q(rng, cur);
        ikine_set_7dof_solver_search_strategy(0);
        ok = inverse_kinematics(cur, &pose, out, 0) == 0;
        forward_kinematics(&back, out);
        double angle;
        wide_pos.add(ok, pose_distance(pose, back, &angle), 1e-5);
        wide_rot.add(ok, angle, 1e-5);
        for (int i = 0; i < 7 && ok; ++i) outside += out[i] < m_.lo[i] || out[i] > m_.hi[i];
    }
    std::printf("[ round trips ] %d: wide failed %d, off %d (max %.2e m, %.2e rad); narrow failed %d, off 1e-4 %d "
                "(max %.2e); from 1e-5 away failed %d, off 1e-4 %d (max %.2e); outside limits %d\n",
                count, wide_pos.failed, wide_pos.off + wide_rot.off, wide_pos.worst, wide_rot.worst, narrow.failed,
                narrow.off, narrow.worst, nudged.failed, nudged.off, nudged.worst, outside);
    EXPECT_EQ(wide_pos.failed + wide_pos.off + wide_rot.off, 0);
    EXPECT_EQ(narrow.failed + narrow.off, 0);
    // From joints 1e-5 away the float rounding of the target alone moves the
    // nearest solution by up to ~1e-2 near a stretched elbow: a few in a thousand.
    EXPECT_LE(nudged.failed + nudged.off, count / 100);
    EXPECT_EQ(outside, 0);
}

// ikine resets the frames and passes the flange pose; solve_mode 1 is wide.
TEST_P(SevenAxisApi, PluginEntrySolvesFlangePose) {
    float hi[8], lo[8];
    libalgo_get_jointlim_max(hi);
    libalgo_get_jointlim_min(lo);
    std::mt19937 rng(22);
    for (int n = 0; n < 100; ++n) {
        float q[8], cur[8], out[8], target[16];
        double qd[7], outd[7];
        random_q(rng, q);
        random_q(rng, cur);
        for (int i = 0; i < 7; ++i) qd[i] = q[i];
        const seven_ref::T4 T = seven_ref::forward(m_, qd);
        for (int i = 0; i < 16; ++i) target[i] = static_cast<float>(T.m[i / 4][i % 4]);
        ASSERT_EQ(ikine(m_.type, GetParam().sensor, 1, hi, lo, target, cur, out), 0);
        for (int i = 0; i < 7; ++i) outd[i] = out[i];
        const seven_ref::T4 B = seven_ref::forward(m_, outd);
        EXPECT_LT(seven_ref::pos_err(B, T), 1e-5);
        EXPECT_LT(seven_ref::rot_err(B, T), 1e-5);
        ASSERT_EQ(ikine(m_.type, GetParam().sensor, 0, hi, lo, target, q, out), 0);
        for (int i = 0; i < 7; ++i) EXPECT_NEAR(out[i], q[i], 1e-4);
    }
}

TEST_P(SevenAxisApi, FailuresHoldTheCurrentJoints) {
    std::mt19937 rng(23);
    float q[8], cur[8], out[8];
    random_q(rng, q, 0.3);
    random_q(rng, cur, 0.3);
    double qd[7];
    for (int i = 0; i < 7; ++i) qd[i] = q[i];
    seven_ref::T4 T = seven_ref::forward(m_, qd);
    auto expect_held = [&](int32_t code, int32_t want) {
        EXPECT_EQ(code, want);
        for (int i = 0; i < 7; ++i) EXPECT_EQ(out[i], cur[i]);
    };

    ikine_set_7dof_solver_search_strategy(0);
    seven_ref::T4 bad = T;
    bad.m[0][0] = NAN;
    expect_held(solve_flange(bad, cur, out), IKINE7_INVALID_INPUT);
    bad = T;
    bad.m[0][1] += 0.1;  // not a rotation
    expect_held(solve_flange(bad, cur, out), IKINE7_INVALID_INPUT);
    float nan_cur[8];
    std::copy(cur, cur + 8, nan_cur);
    nan_cur[3] = INFINITY;
    EXPECT_EQ(solve_flange(T, nan_cur, out), IKINE7_INVALID_INPUT);
    EXPECT_EQ(solve_flange(T, nullptr, out), IKINE7_INVALID_INPUT);
    EXPECT_EQ(solve_flange(T, cur, nullptr), IKINE7_INVALID_INPUT);

    seven_ref::T4 far = T;
    far.m[0][3] += 2.0;
    expect_held(solve_flange(far, cur, out), IKINE7_OUT_OF_REACH);

    // Narrow: a target one joint-1 step of 0.05 rad away, eight times the
    // speed limit over one period; the window holds only such solutions.
    ikine_set_7dof_solver_search_strategy(1);
    double qn[7];
    for (int i = 0; i < 7; ++i) qn[i] = cur[i];
    qn[0] += 0.05;
    expect_held(solve_flange(seven_ref::forward(m_, qn), cur, out), IKINE7_SPEED_LIMIT);

    // Limits that exclude every solution: a small box around the current joints.
    float hi[8] = {}, lo[8] = {};
    for (int i = 0; i < 7; ++i) {
        hi[i] = cur[i] + 0.01f;
        lo[i] = cur[i] - 0.01f;
    }
    libalgo_set_jointlim_max(hi);
    libalgo_set_jointlim_min(lo);
    ikine_set_7dof_solver_search_strategy(0);
    expect_held(solve_flange(T, cur, out), IKINE7_JOINT_LIMIT);
}

INSTANTIATE_TEST_SUITE_P(Models, SevenAxisApi,
                         ::testing::Values(ModelId{1, 0}, ModelId{1, 1}, ModelId{1, 2}, ModelId{7, 0}),
                         [](const ::testing::TestParamInfo<ModelId>& i) {
                             return std::string(i.param.type == 7 ? "taldo" : "quell") +
                                    std::to_string(i.param.sensor);
                         });

}  // namespace
