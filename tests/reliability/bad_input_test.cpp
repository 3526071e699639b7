// Bad input never leaves the library in a bad state. Sequences of calls with
// garbage (NaN, infinities, huge and denormal values, random bits, indices and
// sizes out of range, unknown models, texts) over every setter and every
// kinematics entry, from fixed seeds; afterwards a model selection must give
// back, through every getter, exactly the configuration of a fresh selection,
// and valid requests the same bits as a fresh process (the tova_battery
// helper). Refused setters change nothing they should not.
#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>

#include "battery.hpp"
#include "config_snapshot.hpp"

namespace {

using namespace tova_test;

// Values a confused caller might pass.
struct Garbage {
    Rng rng;
    explicit Garbage(uint32_t seed) : rng(seed) {}
    float value() {
        constexpr float kInf = std::numeric_limits<float>::infinity();
        static const float kSpecial[] = {
            std::numeric_limits<float>::quiet_NaN(), kInf, -kInf, 3.0e38f, -3.0e38f, 1.0e-40f, -0.0f};
        const uint32_t k = rng.next() % 10;
        if (k < 7) return kSpecial[k];
        if (k > 7) return rng.uniform(-100.0f, 100.0f);
        const uint32_t bits = rng.next();  // any float, NaN payloads and denormals included
        float f;
        std::memcpy(&f, &bits, sizeof f);
        return f;
    }
    void fill(float *v, int n) {
        for (int i = 0; i < n; ++i) v[i] = value();
    }
    uint32_t raw() { return rng.next(); }
};

void (*const kArraySetters[])(const float *) = {
    libalgo_set_robot_install_angle,            libalgo_set_tool_cs_params,
    libalgo_set_work_cs_params,                 libalgo_set_payload_params,
    libalgo_set_jointlim_max,                   libalgo_set_jointlim_min,
    libalgo_set_joint_vel_maxlim,               libalgo_set_joint_acc_maxlim,
    libalgo_set_joint_direction,                libalgo_set_trajectory_planning_joint_cmd,
    libalgo_set_link_dynamics_params,           libalgo_set_dynamics_identification_params,
    libalgo_set_drag_regulation_factor,         libalgo_set_tcp_config,
    libalgo_set_user_collision_threshold};

// One call with garbage arguments, chosen among every setter and entry point
// (the setters of a plain float array share the last slots). Arrays are always
// large enough for what the library may read or write.
void garbage_call(Garbage &g) {
    float v[160], out[16];
    g.fill(v, 160);
    const uint32_t r = g.raw();
    switch (g.raw() % 32) {
    case 0: libalgo_set_robot_and_sensor_type(r % 3 ? r % 16 : r, g.raw() % 5); break;
    case 1: libalgo_set_dh_params(reinterpret_cast<const DhTable *>(v)); break;
    case 2: libalgo_set_dh_compensation_value(reinterpret_cast<const DhTable *>(v)); break;
    case 3: libalgo_set_dh_params_default(); break;
    case 4:
        libalgo_set_joint_config(static_cast<int16_t>(r % 3 ? static_cast<int>(r % 20) - 6 : static_cast<int>(r)),
                                 reinterpret_cast<const JointConfig *>(v));
        break;
    case 5: libalgo_update_feedback_data(reinterpret_cast<const RobotFeedback *>(v)); break;
    case 6: libalgo_set_link_dynamics_params_default(); break;
    case 7: libalgo_set_control_loop_period(v[0]); break;
    case 8: libalgo_set_safety_level(static_cast<uint16_t>(r)); break;
    case 9: libalgo_set_system_all_dof(static_cast<int32_t>(r)); break;
    case 10: libalgo_set_is_avoid_Singularity(r), libalgo_set_dynamics_model_type(static_cast<int32_t>(g.raw())); break;
    case 11: lib_internal_set_robot_default_config(r % 3 ? r % 12 : r, g.raw() % 4); break;
    case 12:
        ikine_set_7dof_solver_search_strategy(r % 3 ? r % 3 : r);
        ikine_set_solution_range_quell(g.value());
        break;
    case 13: kin_set_singularity_thresholds(v[0], v[1], v[2]); break;
    case 14: inverse_kinematics(v, reinterpret_cast<const Pose *>(v + 8), out, static_cast<uint8_t>(r)); break;
    case 15: ikine(r % 12, g.raw() % 4, g.raw() % 3, v, v + 8, v + 16, v + 32, out); break;
    case 16: {
        static int32_t (*const kPlugins[])(const Matrix *, const float *, float *) = {
            plugin_inverse_kinematics_vesk, plugin_inverse_kinematics_pirra_2, plugin_inverse_kinematics_pirra_3,
            plugin_inverse_kinematics_lumo};
        Matrix m = zero_matrix(4, 4);
        std::memcpy(&m.data[0][0], v + 8, 16 * sizeof(float));
        kPlugins[r % 4](&m, v, out);
        break;
    }
    case 17: {
        mat target = mat_zeros(4, 4);
        if (r & 1) target.rows = static_cast<int>(g.raw() % 30) - 5;
        for (int i = 0; i < 4; ++i) std::memcpy(target.data[i], v + 8 + 4 * i, 4 * sizeof(float));
        if (r & 2) inverse_kinematics_quell(target, v, out);
        else inverse_kinematics_taldo(target, v, out);
        break;
    }
    case 18: {
        IkNumericalRequest req;
        std::memcpy(&req, v, sizeof req);
        req.max_iterations = static_cast<int32_t>(r % 4) - 1;
        ikine_numerical_solution(&req, (r & 4) ? "T" : (r & 8) ? "Euler" : "?", out);
        break;
    }
    case 19: {
        Matrix m;
        Pose p;
        forward_kinematics(&p, v), forward_kinematics_e(&m, v), forward_kinematics_pos(out, v);
        kin_universal_kinematics_Tn(v, (r & 1) ? "modeling" : "x", (r & 2) ? "Twt" : "");
        kin_calc_jacobe_J0(v, "machine");
        kin_robot_singularity_analyse(v, "modeling", (r & 4) ? out : nullptr);
        break;
    }
    case 20:
        T_Base_Tool(reinterpret_cast<const Pose *>(v), static_cast<uint8_t>(r));
        if (r & 1) {
            Matrix m = zero_matrix(4, 4);
            std::memcpy(&m.data[0][0], v + 40, 16 * sizeof(float));
            pose_n_o_a(&m);
        }
        inverse_kinematics_vesk(v + 64, out), inverse_kinematics_lumo(v + 64, out);
        inverse_kinematics_pirra_2(v + 64, out), inverse_kinematics_pirra_3(v + 64, out);
        break;
    case 21: joint_overspeed_judgment(v, v + 8, v[16]); break;
    case 22: inverse_data_init(); break;
    default: kArraySetters[r % std::size(kArraySetters)](v); break;
    }
}

// After any garbage, reselecting a model gives back, through every getter,
// exactly the configuration of a fresh selection; and after longer runs of it,
// every part of the battery gives the same bits as a fresh process.
TEST(GarbageSequences, ReselectionRestoresTheFreshState) {
    ConfigSnapshot fresh[std::size(kModels)];
    for (size_t i = 0; i < std::size(kModels); ++i) {
        libalgo_set_robot_and_sensor_type(kModels[i], 0);
        take_snapshot(fresh[i]);
    }
    FILE *pipe = popen(TOVA_BATTERY_EXE, "r");
    const auto fresh_digests = read_digests(pipe);
    if (pipe) pclose(pipe);
    ASSERT_EQ(fresh_digests.size(), size_t{kPartCount}) << "could not run " << TOVA_BATTERY_EXE;
    for (uint32_t seed = 1; seed <= 100; ++seed) {
        Garbage g(seed * 2654435761u);
        const bool long_run = seed % 20 == 0;
        for (int k = 0; k < (long_run ? 300 : 100); ++k) garbage_call(g);
        for (size_t i = 0; i < std::size(kModels); ++i) {
            ASSERT_EQ(libalgo_set_robot_and_sensor_type(kModels[i], 0), 0);
            ConfigSnapshot s;
            take_snapshot(s);
            EXPECT_TRUE(same(s, fresh[i])) << "model " << kModels[i] << " after garbage seed " << seed;
        }
        if (!long_run) continue;
        for (Part p : kParts)
            EXPECT_EQ(part_digest(p), fresh_digests.at(part_name(p)))
                << "part " << part_name(p) << " after garbage seed " << seed;
    }
}

// ---- refused setters ----

class RefusedSetters : public ::testing::TestWithParam<uint32_t> {
  protected:
    void SetUp() override {
        ASSERT_EQ(libalgo_set_robot_and_sensor_type(GetParam(), 0), 0);
        float tool[6] = {0.01f, 0.02f, 0.03f, 0.1f, 0.2f, 0.3f};  // something that differs from defaults
        libalgo_set_tool_cs_params(tool);
        ASSERT_EQ(libalgo_set_safety_level(5), 0);
        ASSERT_EQ(libalgo_set_system_all_dof(9), 0);
        take_snapshot(before_);
    }
    void expect_unchanged() {
        ConfigSnapshot now;
        take_snapshot(now);
        EXPECT_TRUE(same(now, before_));
    }
    ConfigSnapshot before_;
};

TEST_P(RefusedSetters, SafetyLevelAboveEightOrSystemDofBelowDof) {
    const int32_t dof = libalgo_get_rbt_dof();
    for (uint16_t level : {uint16_t{9}, uint16_t{10}, uint16_t{255}, uint16_t{65535}}) {
        EXPECT_EQ(libalgo_set_safety_level(level), -1);
        expect_unchanged();
    }
    for (int32_t v : {dof - 1, 0, -1, INT_MIN}) {
        EXPECT_EQ(libalgo_set_system_all_dof(v), -1);
        expect_unchanged();
    }
    EXPECT_EQ(libalgo_set_safety_level(8), 0);
    EXPECT_EQ(libalgo_get_safety_level(), 8);
    EXPECT_EQ(libalgo_set_system_all_dof(dof), 0);
    EXPECT_EQ(libalgo_get_system_all_dof(), dof);
}

TEST_P(RefusedSetters, JointIndexOutsideTheRecord) {
    JointConfig jc;
    for (float &f : jc.caller_data_head) f = 7.0f;
    jc.jointlim_max = jc.jointlim_min = jc.vel_maxlim = jc.acc_maxlim = 7.0f;
    for (float &f : jc.caller_data_tail) f = 7.0f;
    for (int16_t i : {int16_t{8}, int16_t{9}, int16_t{-1}, int16_t{32767}, int16_t{-32768}}) {
        libalgo_set_joint_config(i, &jc);
        expect_unchanged();
        JointConfig got = jc;
        libalgo_get_joint_config(i, &got);
        const JointConfig zero{};
        EXPECT_EQ(std::memcmp(&got, &zero, sizeof got), 0) << "index " << i;
    }
}

// A refused selection leaves the record as the clearing step made it (dof 0,
// period, gravity, identity frames, the passed type and sensor); the DH
// snapshot of the last good selection stays and can still be restored.
TEST_P(RefusedSetters, UnknownModelOrSensor) {
    // Unknown types, and for each model the first sensor past its accepted set
    // (the generic seven-axis model takes any); every type with sensor 2^32-1 too.
    const uint32_t refused[][2] = {{2, 0},          {10, 0},           {0xFFFFFFFFu, 0},  {ROBOT_VESK, 3},
                                   {ROBOT_QUELL, 3}, {ROBOT_PIRRA_2, 3}, {ROBOT_PIRRA_3, 3}, {ROBOT_LUMO_A, 3},
                                   {ROBOT_LUMO_B, 1}, {ROBOT_TALDO, 1},  {ROBOT_TALDO, 2},   {ROBOT_LUMO_C, 3}};
    for (const auto &type_sensor : refused)
      for (const uint32_t sensor : {type_sensor[1], 0xFFFFFFFFu}) {
        const uint32_t ts[2] = {type_sensor[0], sensor};
        ASSERT_EQ(libalgo_set_robot_and_sensor_type(GetParam(), 0), 0);
        take_snapshot(before_);
        EXPECT_EQ(libalgo_set_robot_and_sensor_type(ts[0], ts[1]), -1);
        ConfigSnapshot expected;
        std::memset(&expected, 0, sizeof expected);
        expected.period = 0.002f;
        expected.gravity[2] = -9.81f;
        expected.tool_matrix = expected.work_matrix = expected.install_matrix = unit_matrix(4);
        expected.type = ts[0];
        expected.sensor = ts[1];
        expected.dh_default = before_.dh_default;
        expected.dh_is_default = 1;  // dof below 1
        ConfigSnapshot now;
        take_snapshot(now);
        EXPECT_TRUE(same(now, expected)) << "type " << ts[0] << " sensor " << ts[1];
        libalgo_set_dh_params_default();
        DhTable dh;
        libalgo_get_dh_value(&dh);
        EXPECT_EQ(std::memcmp(&dh, &before_.dh_default, sizeof dh), 0);
    }
}

INSTANTIATE_TEST_SUITE_P(EveryModel, RefusedSetters, ::testing::ValuesIn(kModels));

}  // namespace
