// The configuration record: selection, refusals, the checking setters and the
// quirks of the copying setters, observed only through the C interface.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <random>

#include "config/libalgo_interface.h"
#include "config/tova_ikine_global.h"

namespace {

template <size_t N>
std::array<float, N> random_floats(std::mt19937 &rng) {
    std::uniform_real_distribution<float> dist(-5.0f, 5.0f);
    std::array<float, N> v{};
    for (float &x : v) x = dist(rng);
    return v;
}

DhTable random_dh(std::mt19937 &rng) {
    DhTable t;
    auto v = random_floats<64>(rng);
    std::memcpy(&t, v.data(), sizeof t);
    return t;
}

bool same_bytes(const void *a, const void *b, size_t n) { return std::memcmp(a, b, n) == 0; }

class StoreTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(libalgo_init(), 0); }
    std::mt19937 rng{20240611};
};

void expect_identity(const Matrix &m) {
    EXPECT_EQ(m.rows, 4);
    EXPECT_EQ(m.cols, 4);
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) EXPECT_EQ(m.data[r][c], r == c ? 1.0f : 0.0f);
}

// What the clearing step of a selection leaves, seen through the getters.
void expect_cleared(uint32_t type, uint32_t sensor) {
    EXPECT_EQ(libalgo_get_rbt_dof(), 0);
    EXPECT_EQ(libalgo_get_robot_type(), type);
    EXPECT_EQ(libalgo_get_sensor_type(), sensor);
    EXPECT_EQ(libalgo_get_control_loop_period(), 0.002f);
    float g[3], tcp[4], payload[11], lim[8];
    libalgo_get_robot_gravity_acc(g);
    EXPECT_EQ(g[0], 0.0f);
    EXPECT_EQ(g[1], 0.0f);
    EXPECT_EQ(g[2], -9.81f);
    Matrix m;
    libalgo_get_tool_cs_matrix(&m);
    expect_identity(m);
    libalgo_get_work_cs_to_base_matrix(&m);
    expect_identity(m);
    libalgo_get_robot_install_angle_matrix(&m);
    expect_identity(m);
    DhTable dh, zero_dh{};
    libalgo_get_dh_value(&dh);
    EXPECT_TRUE(same_bytes(&dh, &zero_dh, sizeof dh));
    libalgo_get_tcp_config(tcp);
    libalgo_get_payload_params(payload);
    libalgo_get_jointlim_max(lim);
    for (float x : tcp) EXPECT_EQ(x, 0.0f);
    for (float x : payload) EXPECT_EQ(x, 0.0f);
    for (float x : lim) EXPECT_EQ(x, 0.0f);
    EXPECT_EQ(libalgo_get_safety_level(), 0);
    EXPECT_EQ(libalgo_check_dh_params_is_default(), 1);  // dof 0
}

TEST_F(StoreTest, InitSelectsVeskWithItsDefaults) {
    EXPECT_EQ(libalgo_get_rbt_dof(), 6);
    EXPECT_EQ(libalgo_get_robot_type(), 0u);
    EXPECT_EQ(libalgo_get_sensor_type(), 0u);
    EXPECT_EQ(libalgo_get_control_loop_period(), 0.002f);
    float g[3];
    libalgo_get_robot_gravity_acc(g);
    EXPECT_EQ(g[2], -9.81f);
    EXPECT_EQ(libalgo_check_dh_params_is_default(), 1);
    EXPECT_EQ(libalgo_clear(), 0);
    EXPECT_EQ(libalgo_get_rbt_dof(), 6);
}

TEST_F(StoreTest, RefusedSelectionLeavesClearedRecordAndKeepsSnapshots) {
    const uint32_t refused[][2] = {{2, 0}, {10, 0}, {11, 1}, {0xFFFFFFFFu, 0}, {0, 3},
                                   {1, 3},  {3, 7},  {6, 1},  {7, 1},           {8, 0xFFFFFFFFu}};
    for (const auto &r : refused) {
        ASSERT_EQ(libalgo_set_robot_and_sensor_type(ROBOT_QUELL, 2), 0);
        DhTable before, after;
        libalgo_get_dh_params_default(&before);
        const float tool[6] = {1, 2, 3, 0.1f, 0.2f, 0.3f};
        libalgo_set_tool_cs_params(tool);
        libalgo_set_payload_params(std::array<float, 11>{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}.data());
        ASSERT_EQ(libalgo_set_safety_level(5), 0);

        EXPECT_EQ(libalgo_set_robot_and_sensor_type(r[0], r[1]), -1) << r[0] << "/" << r[1];
        expect_cleared(r[0], r[1]);
        libalgo_get_dh_params_default(&after);
        EXPECT_TRUE(same_bytes(&before, &after, sizeof before));
    }
}

TEST_F(StoreTest, InternalLoadRefusesWithoutWriting) {
    DhTable before, after;
    libalgo_get_dh_value(&before);
    EXPECT_EQ(lib_internal_set_robot_default_config(2, 0), -1);
    EXPECT_EQ(lib_internal_set_robot_default_config(ROBOT_TALDO, 1), -1);
    libalgo_get_dh_value(&after);
    EXPECT_TRUE(same_bytes(&before, &after, sizeof before));
    EXPECT_EQ(libalgo_get_rbt_dof(), 6);
}

TEST_F(StoreTest, SelectionDiscardsEverySetting) {
    const float frame[6] = {0.5f, -0.2f, 0.1f, 0.3f, 0.2f, 0.1f};
    libalgo_set_tool_cs_params(frame);
    libalgo_set_work_cs_params(frame);
    libalgo_set_robot_install_angle(frame + 3);
    libalgo_set_control_loop_period(0.004f);
    libalgo_set_tcp_config(frame);
    ASSERT_EQ(libalgo_set_robot_and_sensor_type(ROBOT_LUMO_C, 1), 0);
    float g[3], params[6];
    libalgo_get_robot_gravity_acc(g);
    EXPECT_EQ(g[0], 0.0f);
    EXPECT_EQ(g[2], -9.81f);
    libalgo_get_work_cs_params(params);
    for (float x : params) EXPECT_EQ(x, 0.0f);
    EXPECT_EQ(libalgo_get_control_loop_period(), 0.002f);
    Matrix m;
    libalgo_get_tool_cs_matrix(&m);
    expect_identity(m);
}

TEST_F(StoreTest, DhSettersCopySevenJointsOnly) {
    DhTable def;
    libalgo_get_dh_params_default(&def);
    const DhTable in = random_dh(rng);
    libalgo_set_dh_compensation_value(&in);
    DhTable out;
    libalgo_get_dh_value(&out);
    EXPECT_TRUE(same_bytes(&out, &def, 32 * sizeof(float)));  // nominal arrays untouched
    for (int j = 0; j < 8; ++j) {
        const bool copied = j < 7;
        EXPECT_EQ(out.d_compensation[j], copied ? in.d_compensation[j] : 0.0f);
        EXPECT_EQ(out.offset_compensation[j], copied ? in.offset_compensation[j] : 0.0f);
    }
    const DhTable nominal = random_dh(rng);
    libalgo_set_dh_params(&nominal);
    libalgo_get_dh_value(&out);
    for (int j = 0; j < 7; ++j) {
        EXPECT_EQ(out.a[j], nominal.a[j]);
        EXPECT_EQ(out.alpha[j], nominal.alpha[j]);
        EXPECT_EQ(out.a_compensation[j], in.a_compensation[j]);  // compensation kept
    }
    EXPECT_EQ(out.d[7], 0.0f);
    EXPECT_EQ(out.offset[7], 0.0f);

    // The compensation getter writes entries 0..6 of the compensation arrays only.
    DhTable sentinel;
    std::fill_n(&sentinel.d[0], 64, 42.0f);
    libalgo_get_dh_compensation_value(&sentinel);
    EXPECT_EQ(sentinel.d[0], 42.0f);
    EXPECT_EQ(sentinel.alpha_compensation[6], in.alpha_compensation[6]);
    EXPECT_EQ(sentinel.alpha_compensation[7], 42.0f);

    libalgo_set_dh_params_default();
    libalgo_get_dh_value(&out);
    EXPECT_TRUE(same_bytes(&out, &def, sizeof out));  // compensation restored too
}

TEST_F(StoreTest, DefaultCheckIsStrictAndIgnoresCompensationAndSpareJoints) {
    DhTable dh;
    libalgo_get_dh_value(&dh);
    dh.offset[0] += 1e-9f;  // joint 1 offset is 0, so the change survives in f32
    libalgo_set_dh_params(&dh);
    EXPECT_EQ(libalgo_check_dh_params_is_default(), 0);

    dh.offset[0] = 1e-10f;  // f32 1e-10 lies above the double 1e-10: not below it
    libalgo_set_dh_params(&dh);
    EXPECT_EQ(libalgo_check_dh_params_is_default(), 0);
    dh.offset[0] = std::nextafter(1e-10f, 0.0f);
    libalgo_set_dh_params(&dh);
    EXPECT_EQ(libalgo_check_dh_params_is_default(), 1);

    dh.offset[0] = 0.0f;
    dh.d[6] = 3.0f;  // joint 7 of a six-joint arm is not compared
    dh.a_compensation[2] = 0.5f;
    libalgo_set_dh_params(&dh);
    libalgo_set_dh_compensation_value(&dh);
    EXPECT_EQ(libalgo_check_dh_params_is_default(), 1);
    dh.alpha[5] = std::nanf("");
    libalgo_set_dh_params(&dh);
    EXPECT_EQ(libalgo_check_dh_params_is_default(), 0);
}

TEST_F(StoreTest, JointDirectionSignsZeroKeepsAndSevenAreReturned) {
    const float first[7] = {-1, 1, 1, 1, 1, 1, 1};
    libalgo_set_joint_direction(first);
    const float in[7] = {0.0f, -3.0f, 2.0f, -0.0f, 1e-30f, -1e-30f, -5.0f};
    libalgo_set_joint_direction(in);
    float out[8];
    out[7] = 99.0f;
    libalgo_get_joint_direction(out);
    const float expected[8] = {-1, -1, 1, 1, 1, -1, 0, 99};  // joint 7 is beyond dof 6
    for (int j = 0; j < 8; ++j) EXPECT_EQ(out[j], expected[j]) << j;
}

TEST_F(StoreTest, DragClampTouchesFactorAOnlyStrictlyBelowThreshold) {
    const float f[14] = {0.0001f, -0.001f, 0.0f, -0.0009f, 2.0f, 0.001f, 0.0f,
                         0.0f,    0.0001f, 0.0f, 0.0f,     0.0f, 0.0f,   0.0f};
    libalgo_set_drag_regulation_factor(f);
    DynamicsParams p;
    libalgo_get_dynamics_params(&p);
    const float a[7] = {1.0f, -0.001f, 1.0f, 1.0f, 2.0f, 0.001f, 0.0f};  // joint 7 beyond dof
    for (int j = 0; j < 7; ++j) {
        EXPECT_EQ(p.drag_regulation_factor_a[j], a[j]) << j;
        EXPECT_EQ(p.drag_regulation_factor_b[j], f[7 + j]) << j;
    }
}

TEST_F(StoreTest, CheckingSetters) {
    EXPECT_EQ(libalgo_set_safety_level(8), 0);
    EXPECT_EQ(libalgo_set_safety_level(9), -1);
    EXPECT_EQ(libalgo_get_safety_level(), 8);
    EXPECT_EQ(libalgo_set_system_all_dof(5), -1);
    EXPECT_EQ(libalgo_set_system_all_dof(6), 0);
    EXPECT_EQ(libalgo_set_system_all_dof(9), 0);
    EXPECT_EQ(libalgo_set_system_all_dof(-1), -1);
    EXPECT_EQ(libalgo_get_system_all_dof(), 9);
    EXPECT_EQ(libalgo_set_dynamics_model_type(7), 1);
    EXPECT_EQ(libalgo_get_dynamics_model_type(), 1);
    EXPECT_EQ(libalgo_set_dynamics_model_type(2), 1);
    EXPECT_EQ(libalgo_get_dynamics_model_type(), 2);
    EXPECT_EQ(libalgo_set_dynamics_model_type(-2), 1);
    EXPECT_EQ(libalgo_get_dynamics_model_type(), 1);
}

TEST_F(StoreTest, VerbatimBlocksRoundTrip) {
    const auto payload = random_floats<11>(rng);
    const auto tcp = random_floats<4>(rng);
    const auto collision = random_floats<21>(rng);
    const auto cmd = random_floats<8>(rng);
    libalgo_set_payload_params(payload.data());
    libalgo_set_tcp_config(tcp.data());
    libalgo_set_user_collision_threshold(collision.data());
    libalgo_set_trajectory_planning_joint_cmd(cmd.data());
    libalgo_set_control_loop_period(std::nanf(""));
    libalgo_set_is_avoid_Singularity(0xDEADBEEFu);
    std::array<float, 11> p2;
    std::array<float, 4> t2;
    std::array<float, 21> c2;
    std::array<float, 8> j2;
    libalgo_get_payload_params(p2.data());
    libalgo_get_tcp_config(t2.data());
    libalgo_get_user_collision_threshold(c2.data());
    libalgo_get_trajectory_planning_joint_cmd(j2.data());
    EXPECT_EQ(p2, payload);
    EXPECT_EQ(t2, tcp);
    EXPECT_EQ(c2, collision);
    EXPECT_EQ(j2, cmd);
    EXPECT_TRUE(std::isnan(libalgo_get_control_loop_period()));
    EXPECT_EQ(libalgo_get_is_avoid_Singularity(), 0xDEADBEEFu);

    // Identification values land in groups 3, 2, 1 in that order.
    const auto ident = random_floats<49>(rng);
    libalgo_set_dynamics_identification_params(ident.data());
    DynamicsParams d;
    libalgo_get_dynamics_params(&d);
    EXPECT_TRUE(same_bytes(d.identification_group_3, &ident[0], 35 * sizeof(float)));
    EXPECT_TRUE(same_bytes(d.identification_group_2, &ident[35], 7 * sizeof(float)));
    EXPECT_TRUE(same_bytes(d.identification_group_1, &ident[42], 7 * sizeof(float)));
    EXPECT_EQ(d.identification_group_3[35], 0.0f);
}

TEST_F(StoreTest, JointConfigRoundTripAndOutOfRangeIndices) {
    std::array<JointConfig, 8> in;
    for (int16_t j = 0; j < 8; ++j) {
        const auto v = random_floats<17>(rng);
        std::memcpy(&in[j], v.data(), sizeof(JointConfig));
        libalgo_set_joint_config(j, &in[j]);
    }
    const JointConfig junk{};
    for (int16_t bad : {int16_t{8}, int16_t{-1}, int16_t{1000}, int16_t{-32768}}) {
        libalgo_set_joint_config(bad, &junk);
        JointConfig out;
        std::memset(&out, 0x7f, sizeof out);
        libalgo_get_joint_config(bad, &out);
        EXPECT_TRUE(same_bytes(&out, &junk, sizeof out));
    }
    float max[8], vel[8];
    libalgo_get_jointlim_max(max);
    libalgo_get_joint_vel_maxlim(vel);
    for (int16_t j = 0; j < 8; ++j) {
        JointConfig out;
        libalgo_get_joint_config(j, &out);
        EXPECT_TRUE(same_bytes(&out, &in[j], sizeof out)) << j;
        EXPECT_EQ(max[j], in[j].jointlim_max);
        EXPECT_EQ(vel[j], in[j].vel_maxlim);
    }
    // The array setters write all eight joints whatever the dof.
    const auto lim = random_floats<8>(rng);
    libalgo_set_jointlim_min(lim.data());
    libalgo_set_joint_acc_maxlim(lim.data());
    JointConfig last;
    libalgo_get_joint_config(7, &last);
    EXPECT_EQ(last.jointlim_min, lim[7]);
    EXPECT_EQ(last.acc_maxlim, lim[7]);
    EXPECT_EQ(last.caller_data_tail[2], in[7].caller_data_tail[2]);
}

TEST_F(StoreTest, FeedbackUpdateAddsOffsetsBelowDofOnly) {
    for (uint32_t type : {uint32_t{ROBOT_PIRRA_2}, uint32_t{ROBOT_TALDO}}) {
        ASSERT_EQ(libalgo_set_robot_and_sensor_type(type, 0), 0);
        const int dof = libalgo_get_rbt_dof();
        DhTable dh = random_dh(rng);
        libalgo_set_dh_params(&dh);
        libalgo_get_dh_value(&dh);
        RobotFeedback in;
        const auto v = random_floats<71>(rng);
        std::memcpy(&in, v.data(), sizeof in);
        libalgo_update_feedback_data(&in);
        RobotFeedback out;
        float cur[8];
        libalgo_get_robot_feedback_data(&out);
        libalgo_get_trajectory_planning_joint_cur(cur);
        for (int j = 0; j < 8; ++j) {
            const bool moved = j < dof;
            EXPECT_EQ(out.joint_vector_a[j], moved ? in.joint_vector_a[j] + dh.offset[j] : in.joint_vector_a[j]);
            EXPECT_EQ(out.joint_vector_b[j], moved ? in.joint_vector_b[j] + dh.offset[j] : in.joint_vector_b[j]);
            EXPECT_EQ(cur[j], moved ? in.joint_vector_b[j] : 0.0f);
        }
        EXPECT_TRUE(same_bytes(out.caller_data, in.caller_data, sizeof in.caller_data));
    }
}

TEST_F(StoreTest, LinkDynamicsCopyDofTimesTenAndRestoreFromSnapshot) {
    ASSERT_EQ(libalgo_set_robot_and_sensor_type(ROBOT_QUELL, 1), 0);
    std::array<float, 80> in = random_floats<80>(rng), out, def;
    libalgo_set_link_dynamics_params(in.data());
    out.fill(7.0f);
    libalgo_get_link_dynamics_params(out.data());
    for (int i = 0; i < 80; ++i) EXPECT_EQ(out[i], i < 70 ? in[i] : 7.0f) << i;
    DynamicsParams d;
    libalgo_get_dynamics_params(&d);
    EXPECT_EQ(d.link_dynamics[7][0], 0.0f);  // link 8 untouched
    def.fill(7.0f);
    libalgo_get_link_dynamics_params_default(def.data());
    libalgo_set_link_dynamics_params_default();
    libalgo_get_link_dynamics_params(out.data());
    for (int i = 0; i < 70; ++i) EXPECT_EQ(out[i], def[i]) << i;
    EXPECT_EQ(def[70], 7.0f);
}

TEST(IkineGlobals, InitialValuesSurviveModelSelection) {
    EXPECT_EQ(ikine_get_7dof_solver_search_strategy(), 1u);
    EXPECT_EQ(ikine_get_solution_range_quell(), 0.013f);
    ikine_set_7dof_solver_search_strategy(0);
    ikine_set_solution_range_quell(0.5f);
    ASSERT_EQ(libalgo_set_robot_and_sensor_type(ROBOT_QUELL, 0), 0);
    EXPECT_EQ(ikine_get_7dof_solver_search_strategy(), 0u);
    EXPECT_EQ(ikine_get_solution_range_quell(), 0.5f);
    ikine_set_7dof_solver_search_strategy(1);
    ikine_set_solution_range_quell(0.013f);
}

}  // namespace
