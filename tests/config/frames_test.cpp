// Installation angle, tool and work frames, checked against an independent
// double-precision composition Rz * Ry * Rx on random inputs (fixed seed), and
// the store's pose-to-matrix against the geometry library's (written apart).
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <random>

#include "config/libalgo_interface.h"
#include "kinematics/universal_reference.hpp"

namespace {

std::array<float, 3> gravity_for(float rx, float ry, float rz) {
    const float angle[3] = {rx, ry, rz};
    std::array<float, 3> g;
    libalgo_set_robot_install_angle(angle);
    libalgo_get_robot_gravity_acc(g.data());
    return g;
}

class FramesTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(libalgo_init(), 0); }
    std::array<float, 6> random_frame() {
        std::uniform_real_distribution<float> pos(-2.0f, 2.0f), ang(-3.3f, 3.3f);
        return {pos(rng), pos(rng), pos(rng), ang(rng), ang(rng), ang(rng)};
    }
    std::mt19937 rng{777};
};

// Elements are rounded to f32 once from double: each is the f32 nearest to the
// double composition, bar the rare case where the two double paths straddle a
// rounding boundary. The geometry library's f32 trigonometry agrees to 1e-6.
// The tool frame's matrix is the pose's, the work frame's its inverse.
TEST_F(FramesTest, PoseToMatrixMatchesIndependentCompositionsAndFeedsToolAndWorkFrames) {
    int not_nearest = 0;
    for (int n = 0; n < 5000; ++n) {
        const auto p = random_frame();
        Matrix m, tool, W;
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
    }
    EXPECT_LE(not_nearest, 5);
}

TEST_F(FramesTest, GravityIsWorldGravityInTheTiltedBase) {
    int not_nearest = 0;
    for (int n = 0; n < 2000; ++n) {
        const auto p = random_frame();
        const auto g = gravity_for(p[3], p[4], p[5]);
        // Base-frame gravity = R^T (0, 0, -g): minus g times the third row of R.
        const ref::M4 R = ref::rpy(p[3], p[4], p[5]);
        for (int i = 0; i < 3; ++i) {
            const double expected = -9.8100004196167 * R[2][i];  // the f32 9.81, widened
            EXPECT_NEAR(g[i], expected, 1e-6);
            not_nearest += g[i] != static_cast<float>(expected);
        }
        float back[3];
        libalgo_get_robot_install_angle(back);
        EXPECT_EQ(std::memcmp(back, &p[3], sizeof back), 0);
        Matrix m, expected;
        const float rotation_only[6] = {0, 0, 0, p[3], p[4], p[5]};
        libalgo_get_robot_install_angle_matrix(&m);
        lib_internal_pose_to_matrix(rotation_only, &expected);
        EXPECT_EQ(std::memcmp(&m, &expected, sizeof m), 0);
        EXPECT_EQ(gravity_for(p[3], p[4], p[5] + 1.0f), g);  // rz never matters, to the bit
    }
    EXPECT_LE(not_nearest, 2);
    using G = std::array<float, 3>;
    EXPECT_EQ(gravity_for(0, 0, 0), (G{0.0f, 0.0f, -9.81f}));
    const auto wall = gravity_for(1.5707964f, 0, 0);
    EXPECT_TRUE(wall[0] == 0.0f && wall[1] == -9.81f && std::fabs(wall[2]) < 1e-6f);
}

}  // namespace
