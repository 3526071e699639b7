// The configuration record: the checking setters and the quirks of the copying
// setters, observed only through the C interface. The reliability tests
// compare whole snapshots after refused selections and refused setters (safety
// level, system dof, joint indices outside the record) and after garbage in
// every setter followed by a new selection. The installation angle, tool and
// work frames are checked against an independent double-precision composition
// Rz * Ry * Rx on random inputs (fixed seed), and the store's pose-to-matrix
// against the geometry library's (written apart).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>

#include "config/libalgo_interface.h"
#include "config/tova_ikine_global.h"
#include "kinematics/universal_reference.hpp"

namespace {

using ref::same_bits;

std::array<float, 3> gravity_for(float rx, float ry, float rz) {
    const float angle[3] = {rx, ry, rz};
    std::array<float, 3> g;
    libalgo_set_robot_install_angle(angle);
    libalgo_get_robot_gravity_acc(g.data());
    return g;
}

class StoreTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(libalgo_init(), 0); }
    template <typename T>  // any record or float array, filled with random floats
    T random() {
        std::uniform_real_distribution<float> dist(-5.0f, 5.0f);
        std::array<float, sizeof(T) / sizeof(float)> v;
        for (float &x : v) x = dist(rng);
        T t;
        std::memcpy(&t, v.data(), sizeof t);
        return t;
    }
    std::array<float, 6> random_frame() {  // position, then roll, pitch, yaw
        std::uniform_real_distribution<float> pos(-2.0f, 2.0f), ang(-3.3f, 3.3f);
        return {pos(frame_rng), pos(frame_rng), pos(frame_rng), ang(frame_rng), ang(frame_rng), ang(frame_rng)};
    }
    std::mt19937 rng{20240611}, frame_rng{777};
};
using F8 = std::array<float, 8>;

// A refused selection is compared as a whole record by the reliability tests
// and per model by the catalogue; the internal load step refuses before
// writing anything.
TEST_F(StoreTest, InternalLoadStepRefusesBeforeWriting) {
    DhTable before, after;
    libalgo_get_dh_value(&before);
    EXPECT_EQ(lib_internal_set_robot_default_config(ROBOT_TALDO, 1), -1);
    libalgo_get_dh_value(&after);
    EXPECT_TRUE(same_bits(before, after));
    EXPECT_TRUE(libalgo_clear() == 0 && libalgo_get_rbt_dof() == 6);
}

TEST_F(StoreTest, DhSettersCopySevenJointsOnlyAndDefaultsRestoreAll) {
    DhTable def, out, sentinel;
    libalgo_get_dh_params_default(&def);
    const auto comp = random<DhTable>(), nominal = random<DhTable>();
    libalgo_set_dh_compensation_value(&comp);
    libalgo_set_dh_params(&nominal);
    libalgo_get_dh_value(&out);
    std::fill_n(&sentinel.d[0], 64, 42.0f);
    libalgo_get_dh_compensation_value(&sentinel);
    const float *o = &out.d[0], *n = &nominal.d[0], *c = &comp.d[0], *s = &sentinel.d[0];
    for (int k = 0; k < 64; ++k) {  // eight arrays of eight; entry 7 is spare
        const bool compensation = k >= 32, copied = k % 8 < 7;
        EXPECT_EQ(o[k], !copied ? 0.0f : compensation ? c[k] : n[k]) << k;
        EXPECT_EQ(s[k], compensation && copied ? c[k] : 42.0f) << k;
    }
    libalgo_set_dh_params_default();
    libalgo_get_dh_value(&out);
    EXPECT_TRUE(same_bits(out, def));
}

TEST_F(StoreTest, DefaultCheckIsStrictAndIgnoresCompensationAndSpareJoints) {
    DhTable dh;
    libalgo_get_dh_value(&dh);
    const auto check_with_offset1 = [&](float value) {
        dh.offset[0] = value;  // joint 1's default offset is 0
        libalgo_set_dh_params(&dh);
        return libalgo_check_dh_params_is_default();
    };
    EXPECT_EQ(check_with_offset1(1e-10f), 0);  // f32 1e-10 is not below the double 1e-10
    EXPECT_EQ(check_with_offset1(std::nextafter(1e-10f, 0.0f)), 1);
    dh.d[6] = 3.0f;  // joint 7 of a six-joint arm is not compared
    dh.a_compensation[2] = 0.5f;
    libalgo_set_dh_compensation_value(&dh);
    EXPECT_EQ(check_with_offset1(0.0f), 1);
    dh.alpha[5] = std::nanf("");
    EXPECT_EQ(check_with_offset1(0.0f), 0);
}

// Directions: signs, zero keeps, seven returned. Drag clamp: factor A only,
// strictly below the threshold, joints below dof. Model type: 2 or else 1.
TEST_F(StoreTest, DirectionsDragClampAndModelType) {
    const float first[7] = {-1, 1, 1, 1, 1, 1, 1}, in[7] = {0.0f, -3.0f, 2.0f, -0.0f, 1e-30f, -1e-30f, -5.0f};
    libalgo_set_joint_direction(first);
    libalgo_set_joint_direction(in);
    F8 out;
    out[7] = 99.0f;
    libalgo_get_joint_direction(out.data());
    EXPECT_EQ(out, (F8{-1, -1, 1, 1, 1, -1, 0, 99}));  // joint 7 is beyond dof 6

    const float f[14] = {0.0001f, -0.001f, 0.0f, -0.0009f, 2.0f, 0.001f, 0.0f, 0.0f, 0.0001f};
    libalgo_set_drag_regulation_factor(f);
    DynamicsParams p;
    libalgo_get_dynamics_params(&p);
    const float a[7] = {1.0f, -0.001f, 1.0f, 1.0f, 2.0f, 0.001f, 0.0f};  // joint 7 beyond dof
    for (int j = 0; j < 7; ++j)
        EXPECT_TRUE(p.drag_regulation_factor_a[j] == a[j] && p.drag_regulation_factor_b[j] == f[7 + j]) << j;

    for (int32_t type : {7, 2, -2, 1}) {
        EXPECT_EQ(libalgo_set_dynamics_model_type(type), 1);
        EXPECT_EQ(libalgo_get_dynamics_model_type(), type == 2 ? 2 : 1);
    }
}

TEST_F(StoreTest, VerbatimBlocksRoundTripUntilTheNextSelection) {
    const auto round_trip = [this](auto set, auto get, auto sample) {
        auto in = random<decltype(sample)>(), out = in;
        set(in.data());
        get(out.data());
        EXPECT_EQ(out, in);
        EXPECT_EQ(libalgo_init(), 0);  // a selection discards the block
        get(out.data());
        return out;
    };
    using A4 = std::array<float, 4>;
    const auto zero = [](const auto &v) { return std::all_of(v.begin(), v.end(), [](float x) { return x == 0; }); };
    EXPECT_TRUE(zero(round_trip(libalgo_set_payload_params, libalgo_get_payload_params, std::array<float, 11>{})));
    EXPECT_EQ(round_trip(libalgo_set_tcp_config, libalgo_get_tcp_config, A4{}), (A4{0.25f, 1.6f, 0.6f, 4.0f}));
    EXPECT_TRUE(zero(round_trip(libalgo_set_user_collision_threshold, libalgo_get_user_collision_threshold,
                                std::array<float, 21>{})));
    EXPECT_TRUE(zero(round_trip(libalgo_set_trajectory_planning_joint_cmd, libalgo_get_trajectory_planning_joint_cmd,
                                F8{})));
    libalgo_set_control_loop_period(std::nanf(""));
    libalgo_set_is_avoid_Singularity(0xDEADBEEFu);
    EXPECT_TRUE(std::isnan(libalgo_get_control_loop_period()) && libalgo_get_is_avoid_Singularity() == 0xDEADBEEFu);

    // Identification values land in groups 3, 2, 1 in that order.
    const auto ident = random<std::array<float, 49>>();
    libalgo_set_dynamics_identification_params(ident.data());
    DynamicsParams d;
    libalgo_get_dynamics_params(&d);
    EXPECT_EQ(std::memcmp(d.identification_group_3, &ident[0], 35 * sizeof(float)), 0);
    EXPECT_EQ(std::memcmp(d.identification_group_2, &ident[35], 7 * sizeof(float)), 0);
    EXPECT_EQ(std::memcmp(d.identification_group_1, &ident[42], 7 * sizeof(float)), 0);
    EXPECT_EQ(d.identification_group_3[35] + d.identification_group_2[7], 0.0f);
}

// Per-joint records round trip for all eight joints; the array setters write
// all eight joints whatever the dof and leave the caller's fields alone.
TEST_F(StoreTest, JointConfigRoundTrip) {
    const auto in = random<std::array<JointConfig, 8>>();
    const auto lim = random<F8>();
    for (int16_t j = 0; j < 8; ++j) libalgo_set_joint_config(j, &in[j]);
    F8 max, vel;
    libalgo_get_jointlim_max(max.data());
    libalgo_get_joint_vel_maxlim(vel.data());
    for (int16_t j = 0; j < 8; ++j) {
        JointConfig out;
        libalgo_get_joint_config(j, &out);
        EXPECT_TRUE(same_bits(out, in[j]) && max[j] == in[j].jointlim_max && vel[j] == in[j].vel_maxlim) << j;
    }
    libalgo_set_jointlim_min(lim.data());
    libalgo_set_joint_acc_maxlim(lim.data());
    JointConfig last;
    libalgo_get_joint_config(7, &last);
    EXPECT_TRUE(last.jointlim_min == lim[7] && last.acc_maxlim == lim[7]);
    EXPECT_EQ(last.caller_data_tail[2], in[7].caller_data_tail[2]);
}

TEST_F(StoreTest, FeedbackUpdateAddsOffsetsBelowDofOnly) {
    for (uint32_t type : {uint32_t{ROBOT_PIRRA_2}, uint32_t{ROBOT_TALDO}}) {
        ASSERT_EQ(libalgo_set_robot_and_sensor_type(type, 0), 0);
        const int dof = libalgo_get_rbt_dof();
        DhTable dh = random<DhTable>();
        libalgo_set_dh_params(&dh);
        libalgo_get_dh_value(&dh);
        const auto in = random<RobotFeedback>();
        libalgo_update_feedback_data(&in);
        RobotFeedback out;
        F8 cur;
        libalgo_get_robot_feedback_data(&out);
        libalgo_get_trajectory_planning_joint_cur(cur.data());
        for (int j = 0; j < 8; ++j) {
            const float offset = j < dof ? dh.offset[j] : 0.0f;  // raw at and above dof
            EXPECT_EQ(out.joint_vector_a[j], j < dof ? in.joint_vector_a[j] + offset : in.joint_vector_a[j]);
            EXPECT_EQ(out.joint_vector_b[j], j < dof ? in.joint_vector_b[j] + offset : in.joint_vector_b[j]);
            EXPECT_EQ(cur[j], j < dof ? in.joint_vector_b[j] : 0.0f);
        }
        EXPECT_EQ(std::memcmp(out.caller_data, in.caller_data, sizeof in.caller_data), 0);
    }
}

TEST_F(StoreTest, LinkDynamicsCopyDofTimesTenAndRestoreFromSnapshot) {
    ASSERT_EQ(libalgo_set_robot_and_sensor_type(ROBOT_QUELL, 1), 0);
    const auto in = random<std::array<float, 80>>();
    std::array<float, 80> out, def;
    out.fill(7.0f);
    def.fill(7.0f);
    libalgo_set_link_dynamics_params(in.data());
    libalgo_get_link_dynamics_params(out.data());
    for (int i = 0; i < 80; ++i) EXPECT_EQ(out[i], i < 70 ? in[i] : 7.0f) << i;
    DynamicsParams d;
    libalgo_get_dynamics_params(&d);
    EXPECT_EQ(d.link_dynamics[7][0], 0.0f);  // link 8 untouched
    libalgo_get_link_dynamics_params_default(def.data());
    libalgo_set_link_dynamics_params_default();
    libalgo_get_link_dynamics_params(out.data());
    for (int i = 0; i < 80; ++i) EXPECT_EQ(out[i], i < 70 ? def[i] : 7.0f) << i;
}

TEST(IkineGlobals, InitialValuesSurviveModelSelection) {
    EXPECT_TRUE(ikine_get_7dof_solver_search_strategy() == 1u && ikine_get_solution_range_quell() == 0.013f);
    ikine_set_7dof_solver_search_strategy(0);
    ikine_set_solution_range_quell(0.5f);
    ASSERT_EQ(libalgo_set_robot_and_sensor_type(ROBOT_QUELL, 0), 0);
    EXPECT_TRUE(ikine_get_7dof_solver_search_strategy() == 0u && ikine_get_solution_range_quell() == 0.5f);
    ikine_set_7dof_solver_search_strategy(1);
    ikine_set_solution_range_quell(0.013f);
}

// Elements are rounded to f32 once from double: each is the f32 nearest to the
// double composition, bar the rare case where the two double paths straddle a
// rounding boundary. The geometry library's f32 trigonometry agrees to 1e-6.
// The tool frame's matrix is the pose's, the work frame's its inverse; the
// installation angle gives base-frame gravity R^T (0, 0, -g), minus g times the
// third row of R, and the matrix of the rotation alone.
TEST_F(StoreTest, FramesMatchIndependentCompositions) {
    int not_nearest = 0, gravity_not_nearest = 0;
    for (int n = 0; n < 5000; ++n) {
        const auto p = random_frame();
        Matrix m, tool, W, install, rotation;
        lib_internal_pose_to_matrix(p.data(), &m);
        const Matrix lib = pose_euler_to_transformation_matrix(Pose{p[0], p[1], p[2], {}, {p[3], p[4], p[5]}});
        ASSERT_TRUE(m.rows == 4 && m.cols == 4);
        const ref::M4 R = ref::rpy(p[3], p[4], p[5]);
        for (int r = 0; r < 3; ++r) {
            for (int c = 0; c < 3; ++c) {
                EXPECT_NEAR(m.data[r][c], R[r][c], 1.2e-7);
                EXPECT_NEAR(m.data[r][c], lib.data[r][c], 1e-6f);
                not_nearest += m.data[r][c] != static_cast<float>(R[r][c]);
            }
            EXPECT_TRUE(m.data[r][3] == p[r] && m.data[3][r] == 0.0f && m.data[r][3] == lib.data[r][3]);
        }
        EXPECT_TRUE(m.data[3][3] == 1.0f && std::memcmp(lib.data[3], m.data[3], sizeof m.data[3]) == 0);
        libalgo_set_tool_cs_params(p.data());
        libalgo_get_tool_cs_matrix(&tool);
        EXPECT_EQ(std::memcmp(&tool, &m, sizeof m), 0);
        float back[6];
        libalgo_set_work_cs_params(p.data());
        libalgo_get_work_cs_params(back);
        libalgo_get_work_cs_to_base_matrix(&W);
        ASSERT_TRUE(W.rows == 4 && W.cols == 4);
        EXPECT_EQ(std::memcmp(back, p.data(), sizeof back), 0);
        for (int e = 0; e < 16; ++e) {
            double sum = 0;
            for (int k = 0; k < 4; ++k) sum += double(W.data[e / 4][k]) * m.data[k][e % 4];
            EXPECT_NEAR(sum, e % 5 == 0 ? 1.0 : 0.0, 5e-6) << e;
        }
        const auto g = gravity_for(p[3], p[4], p[5]);
        for (int i = 0; i < 3; ++i) {
            const double expected = -9.8100004196167 * R[2][i];  // the f32 9.81, widened
            EXPECT_NEAR(g[i], expected, 1e-6);
            gravity_not_nearest += g[i] != static_cast<float>(expected);
        }
        libalgo_get_robot_install_angle(back);
        EXPECT_EQ(std::memcmp(back, &p[3], 3 * sizeof(float)), 0);
        const float rotation_only[6] = {0, 0, 0, p[3], p[4], p[5]};
        libalgo_get_robot_install_angle_matrix(&install);
        lib_internal_pose_to_matrix(rotation_only, &rotation);
        EXPECT_EQ(std::memcmp(&install, &rotation, sizeof install), 0);
        EXPECT_EQ(gravity_for(p[3], p[4], p[5] + 1.0f), g);  // rz never matters, to the bit
    }
    EXPECT_LE(not_nearest, 5);
    EXPECT_LE(gravity_not_nearest, 2);
    using G = std::array<float, 3>;
    EXPECT_EQ(gravity_for(0, 0, 0), (G{0.0f, 0.0f, -9.81f}));
    const auto wall = gravity_for(1.5707964f, 0, 0);
    EXPECT_TRUE(wall[0] == 0.0f && wall[1] == -9.81f && std::fabs(wall[2]) < 1e-6f);
}

}  // namespace
