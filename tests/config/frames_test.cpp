// Installation angle, tool and work frames, checked against an independent
// double-precision composition Rz * Ry * Rx on random inputs (fixed seed).
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <random>

#include "config/libalgo_interface.h"

namespace {

using M3 = std::array<std::array<double, 3>, 3>;

M3 mul(const M3 &a, const M3 &b) {
    M3 c{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k) c[i][j] += a[i][k] * b[k][j];
    return c;
}

M3 rotation(double rx, double ry, double rz) {
    const M3 X = {{{1, 0, 0}, {0, std::cos(rx), -std::sin(rx)}, {0, std::sin(rx), std::cos(rx)}}};
    const M3 Y = {{{std::cos(ry), 0, std::sin(ry)}, {0, 1, 0}, {-std::sin(ry), 0, std::cos(ry)}}};
    const M3 Z = {{{std::cos(rz), -std::sin(rz), 0}, {std::sin(rz), std::cos(rz), 0}, {0, 0, 1}}};
    return mul(Z, mul(Y, X));
}

class FramesTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(libalgo_init(), 0); }
    std::array<float, 6> random_frame() {
        std::uniform_real_distribution<float> pos(-2.0f, 2.0f), ang(-3.2f, 3.2f);
        return {pos(rng), pos(rng), pos(rng), ang(rng), ang(rng), ang(rng)};
    }
    std::mt19937 rng{777};
};

TEST_F(FramesTest, PoseToMatrixMatchesIndependentComposition) {
    for (int n = 0; n < 2000; ++n) {
        const auto p = random_frame();
        Matrix m;
        lib_internal_pose_to_matrix(p.data(), &m);
        ASSERT_EQ(m.rows, 4);
        ASSERT_EQ(m.cols, 4);
        const M3 R = rotation(p[3], p[4], p[5]);
        for (int r = 0; r < 3; ++r) {
            for (int c = 0; c < 3; ++c) EXPECT_NEAR(m.data[r][c], R[r][c], 1e-6);
            EXPECT_EQ(m.data[r][3], p[r]);
            EXPECT_EQ(m.data[3][r], 0.0f);
        }
        EXPECT_EQ(m.data[3][3], 1.0f);

        libalgo_set_tool_cs_params(p.data());
        Matrix tool;
        libalgo_get_tool_cs_matrix(&tool);
        EXPECT_EQ(std::memcmp(&tool, &m, sizeof m), 0);
    }
}

TEST_F(FramesTest, GravityIsWorldGravityInTheTiltedBase) {
    const double g = 9.8100004196167;
    for (int n = 0; n < 2000; ++n) {
        const auto p = random_frame();
        const float angle[3] = {p[3], p[4], p[5]};
        libalgo_set_robot_install_angle(angle);
        float grav[3], back[3];
        libalgo_get_robot_gravity_acc(grav);
        libalgo_get_robot_install_angle(back);
        // Base-frame gravity = R^T (0, 0, -g): minus g times the third row of R.
        const M3 R = rotation(angle[0], angle[1], angle[2]);
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(grav[i], -g * R[2][i], 4e-6);
            EXPECT_EQ(back[i], angle[i]);
        }
        Matrix m, expected;
        libalgo_get_robot_install_angle_matrix(&m);
        const float rot_only[6] = {0, 0, 0, angle[0], angle[1], angle[2]};
        lib_internal_pose_to_matrix(rot_only, &expected);
        EXPECT_EQ(std::memcmp(&m, &expected, sizeof m), 0);

        // rz never changes gravity, not even in the last bit.
        const float turned[3] = {angle[0], angle[1], angle[2] + 1.0f};
        libalgo_set_robot_install_angle(turned);
        float grav2[3];
        libalgo_get_robot_gravity_acc(grav2);
        EXPECT_EQ(std::memcmp(grav, grav2, sizeof grav), 0);
    }
}

TEST_F(FramesTest, InstallAngleEdgeCases) {
    float grav[3];
    Matrix m;
    const float level[3] = {0, 0, 0};
    libalgo_set_robot_install_angle(level);
    libalgo_get_robot_gravity_acc(grav);
    EXPECT_EQ(grav[0], 0.0f);
    EXPECT_EQ(grav[1], 0.0f);
    EXPECT_EQ(grav[2], -9.8100004f);
    libalgo_get_robot_install_angle_matrix(&m);
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) EXPECT_EQ(m.data[r][c], r == c ? 1.0f : 0.0f);

    const float wall[3] = {1.5707964f, 0, 0};
    libalgo_set_robot_install_angle(wall);
    libalgo_get_robot_gravity_acc(grav);
    EXPECT_EQ(grav[0], 0.0f);
    EXPECT_EQ(grav[1], -9.81f);
    EXPECT_NEAR(grav[2], 0.0f, 1e-6f);

    const float yawed[3] = {0, 0, 1.0f};
    libalgo_set_robot_install_angle(yawed);
    libalgo_get_robot_gravity_acc(grav);
    EXPECT_EQ(grav[2], -9.81f);
}

TEST_F(FramesTest, WorkFrameMatrixInvertsTheWorkFrame) {
    for (int n = 0; n < 2000; ++n) {
        const auto p = random_frame();
        libalgo_set_work_cs_params(p.data());
        Matrix W, T;
        libalgo_get_work_cs_to_base_matrix(&W);
        lib_internal_pose_to_matrix(p.data(), &T);
        ASSERT_EQ(W.rows, 4);
        ASSERT_EQ(W.cols, 4);
        for (int r = 0; r < 4; ++r) {
            for (int c = 0; c < 4; ++c) {
                double sum = 0;
                for (int k = 0; k < 4; ++k) sum += double(W.data[r][k]) * T.data[k][c];
                EXPECT_NEAR(sum, r == c ? 1.0 : 0.0, 5e-6) << r << "," << c;
            }
        }
        float back[6];
        libalgo_get_work_cs_params(back);
        EXPECT_EQ(std::memcmp(back, p.data(), sizeof back), 0);
    }
    const float shifted[6] = {1, 0, 0, 0, 0, 0};
    libalgo_set_work_cs_params(shifted);
    Matrix W;
    libalgo_get_work_cs_to_base_matrix(&W);
    EXPECT_EQ(W.data[0][3], -1.0f);
    EXPECT_EQ(W.data[1][3], 0.0f);
    EXPECT_EQ(W.data[2][3], 0.0f);
}

}  // namespace
