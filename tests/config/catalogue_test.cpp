// Every model x sensor combination loads the factory values: limits and
// velocities as f32 degree products (computed here at run time) or the radian
// literals the factory stores, the sensor-dependent lengths, and the invariants
// every selection must leave (snapshot = record, modeling = machine + offset).
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "config/libalgo_interface.h"
#include "reliability/config_snapshot.hpp"

namespace {

float D(float degrees) {
    volatile float factor = 0.017453292f;  // run-time f32 product
    return degrees * factor;
}

struct ModelCase {
    uint32_t type;
    int dof;
    std::vector<uint32_t> sensors;
    std::vector<float> upper, lower, velocity;  // rad, rad/s
    std::vector<float> direction;
    std::vector<float> first_d, last_d;  // by sensor type
    std::vector<std::pair<std::string, std::vector<float>>> dh;  // spot checks, joints 1..dof
};

std::vector<ModelCase> cases() {
    const float R = 1.5707964f, H = 3.1415927f;
    const std::vector<float> lumo_up = {D(180), D(180), D(145), D(140), D(180), D(180)};
    const std::vector<float> lumo_lo = {D(-180), D(-180), D(-160), D(-140), D(-180), D(-180)};
    const std::vector<float> lumo_dir = {1, -1, 1, -1, 1, 1};
    const std::vector<float> pirra_up = {D(178), D(178), D(145), D(178), D(178), D(360)};
    const std::vector<float> pirra_lo = {D(-178), D(-178), D(-178), D(-178), D(-178), D(-360)};
    const std::vector<float> v6 = {D(180), D(180), D(225), D(225), D(225), D(225)};
    const float T = 6.283185f, V = 5.235988f, P = 3.141593f;
    return {
        {ROBOT_VESK, 6, {0, 1, 2},
         {D(178), D(130), D(135), D(178), D(128), D(360)},
         {D(-178), D(-130), D(-135), D(-178), D(-128), D(-360)}, v6, {1, 1, 1, 1, 1, 1},
         {0.2405f, 0.2405f, 0.2405f}, {0.144f, 0.152f, 0.1725f},
         {{"a", {0, 0, 0.256f, 0, 0, 0}}, {"alpha", {0, D(90), 0, D(90), D(-90), D(90)}},
          {"offset", {0, D(90), D(90), 0, 0, 0}}, {"d", {0.2405f, 0, 0, 0.21f, 0, 0.144f}}}},
        {ROBOT_QUELL, 7, {0, 1, 2},
         {D(178), D(130), D(178), D(135), D(178), D(128), D(360)},
         {D(-178), D(-130), D(-178), D(-135), D(-178), D(-128), D(-360)},
         {D(180), D(180), D(225), D(225), D(225), D(225), D(225)}, {1, 1, 1, 1, 1, 1, 1},
         {0.2405f, 0.2405f, 0.2405f}, {0.144f, 0.152f, 0.1725f},
         {{"alpha", {D(-90), D(90), D(-90), D(90), D(-90), D(90), 0}},
          {"d", {0.2405f, 0, 0.256f, 0, 0.21f, 0, 0.144f}}}},
        {ROBOT_PIRRA_2, 6, {0, 1, 2}, pirra_up, pirra_lo, v6, {1, -1, 1, 1, 1, 1},
         {0.172f, 0.172f, 0.172f}, {0.115f, 0.123f, 0.1435f},
         {{"a", {0, -0.086f, 0.38f, 0.069f, 0, 0}}, {"alpha", {0, -R, 0, R, -R, -R}},
          {"offset", {0, -R, R, 0, H, H}}, {"d", {0.172f, 0, 0, 0.405f, 0, 0.115f}}}},
        {ROBOT_PIRRA_3, 6, {0, 1, 2}, pirra_up, pirra_lo, v6, {1, -1, 1, 1, 1, 1},
         {0.162f, 0.172f, 0.172f}, {0.115f, 0.123f, 0.1435f},
         {{"offset", {0, -R, R, 0, 0, 0}}, {"d", {0.162f, -0.0084f, 0, 0.405f, 0, 0.115f}}}},
        {ROBOT_LUMO_A, 6, {0, 1, 2}, lumo_up, lumo_lo, v6, lumo_dir, {0.1625f, 0.1625f, 0.1625f},
         {0.0795f, 0.0875f, 0.108f},
         {{"a", {0, -0.086f, 0.26f, 0.24f, 0, 0}}, {"alpha", {0, -R, 0, 0, R, -R}},
          {"offset", {0, -R, 0, R, 0, 0}}, {"d", {0.1625f, 0, 0, -0.05888f, 0.11f, 0.0795f}}}},
        {ROBOT_LUMO_B, 6, {0}, lumo_up, lumo_lo, {D(225), D(225), D(225), P, P, P}, lumo_dir,
         {0.136f}, {0.0707f},
         {{"a", {0, -0.07f, 0.148f, 0.136f, 0, 0}}, {"d", {0.136f, 0, 0, -0.0585f, 0.071f, 0.0707f}},
          {"alpha", {0, -R, 0, 0, R, -R}}}},
        {ROBOT_TALDO, 7, {0},
         {3.001966f, 1.832596f, 3.001966f, 0.959931f, 3.001966f, 2.094395f, 3.001966f},
         {-3.001966f, -1.832596f, -3.001966f, -2.96706f, -3.001966f, -1.570796f, -3.001966f},
         {P, P, P, P, D(225), D(225), D(225)}, {-1, 1, -1, 1, -1, 1, -1}, {0.218f}, {0.074f},
         {{"a", {0, 0, 0, 0.04f, -0.019f, 0, 0.067f}}, {"alpha", {0, -R, R, R, -R, R, R}},
          {"offset", {0, 0, 0, 0, 0, R, 0}}, {"d", {0.218f, 0, 0.28f, 0, 0.2525f, 0, 0.074f}}}},
        {ROBOT_LUMO_C, 6, {0, 1, 2}, lumo_up, lumo_lo, v6, lumo_dir, {0.1625f, 0.1625f, 0.1625f},
         {0.0795f, 0.0875f, 0.108f},
         {{"a", {0, -0.086f, 0.41f, 0.38f, 0, 0}}, {"d", {0.1625f, 0, 0, -0.0589f, 0.11f, 0.0795f}}}},
        {ROBOT_GENERIC_7, 7, {0, 1, 2, 3, 1000}, {T, T, T, T, T, T, T}, {-T, -T, -T, -T, -T, -T, -T},
         {D(300), D(300), D(300), D(300), V, V, V}, {1, 1, 1, 1, 1, 1, 1}, {0, 0, 0, 0, 0},
         {0, 0, 0, 0, 0}, {{"a", {0, 0, 0, 0, 0, 0, 0}}, {"alpha", {0, 0, 0, 0, 0, 0, 0}}}},
    };
}

// Every getter's view of the record after each selection, through one snapshot.
TEST(Catalogue, EveryModelAndSensorLoadsItsFactoryValues) {
    const float tcp[4] = {0.25f, 1.6f, 0.6f, 4.0f};
    for (const ModelCase &m : cases()) {
        for (size_t s = 0; s < m.sensors.size(); ++s) {
            SCOPED_TRACE(testing::Message() << "type " << m.type << " sensor " << m.sensors[s]);
            ASSERT_EQ(libalgo_set_robot_and_sensor_type(m.type, m.sensors[s]), 0);
            tova_test::ConfigSnapshot c;
            tova_test::take_snapshot(c);
            const DhTable &dh = c.dh;
            ASSERT_TRUE(c.dof == m.dof && c.sensor == m.sensors[s] && c.dh_is_default == 1);
            EXPECT_EQ(std::memcmp(&dh, &c.dh_default, sizeof dh), 0);
            EXPECT_TRUE(dh.d[0] == m.first_d[s] && dh.d[m.dof - 1] == m.last_d[s]);
            for (const auto &[name, values] : m.dh) {
                const float *v = name == "d" ? dh.d : name == "a" ? dh.a : name == "alpha" ? dh.alpha : dh.offset;
                for (int j = name == "d" ? 1 : 0; j < (name == "d" ? m.dof - 1 : m.dof); ++j)
                    EXPECT_EQ(v[j], values[j]) << name << " joint " << j + 1;
            }
            for (int j = 0; j < 8; ++j) {
                const bool used = j < m.dof;
                EXPECT_EQ(c.jointlim_max[j], used ? m.upper[j] : 0.0f) << "joint " << j + 1;
                EXPECT_EQ(c.jointlim_min[j], used ? m.lower[j] : 0.0f) << "joint " << j + 1;
                EXPECT_EQ(c.vel_max[j], used ? m.velocity[j] : 0.0f) << "joint " << j + 1;
                EXPECT_EQ(c.acc_max[j], used ? D(1000) : 0.0f) << "joint " << j + 1;
                EXPECT_EQ(j < 7 ? c.direction[j] : 0.0f, used ? m.direction[j] : 0.0f) << "joint " << j + 1;
                EXPECT_TRUE(used || (dh.d[j] == 0 && dh.a[j] == 0 && dh.alpha[j] == 0 && dh.offset[j] == 0));
                EXPECT_TRUE(c.modeling_max[j] == c.jointlim_max[j] + dh.offset[j] &&
                            c.modeling_min[j] == c.jointlim_min[j] + dh.offset[j]);
            }
            EXPECT_EQ(std::memcmp(c.tcp, tcp, sizeof tcp), 0);
            EXPECT_EQ(std::memcmp(dh.d_compensation, DhTable{}.d_compensation, 4 * sizeof dh.d_compensation), 0);
            for (float x : c.link_dynamics_default) EXPECT_EQ(x, 0.0f);  // factory dynamics stored as zeros
        }
    }
}

}  // namespace
