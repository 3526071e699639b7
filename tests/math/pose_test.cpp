// Pose conversions: random round trips, cross-checks between independent
// formulas, and the deliberate quirks (wrap, gimbal lock, branch ties).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "math/tova_mathfuncs.h"

namespace {

constexpr float kPi = 3.14159265f;
template <class T> bool same_bits(const T& a, const T& b) { return std::memcmp(&a, &b, sizeof a) == 0; }
double angle_gap(float a, float b) { return std::fabs(std::remainder(double(a) - b, 2 * 3.141592653589793)); }
float quat_gap(const Quaternion& a, const Quaternion& b, float sign = 1.0f) {
    return std::fabs(sign * a.w - b.w) + std::fabs(sign * a.x - b.x) + std::fabs(sign * a.y - b.y) +
           std::fabs(sign * a.z - b.z);
}
void expect_block_near(const Matrix& a, const Matrix& b, int n, float tol) {
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) EXPECT_NEAR(a.data[i][j], b.data[i][j], tol) << i << "," << j;
}

class PoseRandom : public ::testing::Test {
protected:
    std::mt19937 rng{20240611};
    std::uniform_real_distribution<float> angle{-kPi, kPi}, pitch{-1.55f, 1.55f}, pos{-2.0f, 2.0f};
    Euler euler() { return Euler{angle(rng), pitch(rng), angle(rng)}; }  // clear of the gimbal bound
};

TEST_F(PoseRandom, EulerThroughMatrixAndTheThreeRotationFormulas) {
    for (int n = 0; n < 5000; ++n) {
        const Euler e = euler(), back = matrix_to_euler(euler_to_matrix(e));
        for (float v : {back.rx, back.ry, back.rz}) EXPECT_TRUE(v >= -3.13f && v < 6.2831855f - 3.13f) << v;
        EXPECT_LT(angle_gap(back.rx, e.rx) + angle_gap(back.ry, e.ry) + angle_gap(back.rz, e.rz), 3e-4);
        const Matrix R = euler_to_matrix(e), rz = rotz(e.rz), ry = roty(e.ry), rx = rotx(e.rx);
        const Matrix zy = matrix_m(&rz, &ry);
        expect_block_near(quat_to_matrix(euler_to_quat(e)), R, 3, 2e-6f);
        expect_block_near(matrix_m(&zy, &rx), R, 3, 2e-6f);
    }
}

TEST_F(PoseRandom, QuaternionThroughMatrixComesBackUpToSign) {
    std::normal_distribution<float> g;
    for (int n = 0; n < 5000; ++n) {
        Quaternion q{g(rng), g(rng), g(rng), g(rng)};  // not unit: quat_to_matrix normalises
        const float norm = std::sqrt(q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z);
        const Quaternion b = matrix_to_quat(quat_to_matrix(q));
        const float s = (b.w * q.w + b.x * q.x + b.y * q.y + b.z * q.z) < 0 ? -norm : norm;
        EXPECT_LT(quat_gap(b, q, s), 6e-6f * norm);
        EXPECT_TRUE(same_bits(quat_to_euler(q), matrix_to_euler(quat_to_matrix(q))));
    }
}

TEST_F(PoseRandom, TransformToPoseFieldsMatchTheSingleConversions) {
    for (int n = 0; n < 2000; ++n) {
        const Matrix T = pose_euler_to_transformation_matrix(Pose{pos(rng), pos(rng), pos(rng), {}, euler()});
        const Pose p = transformation_matrix_to_pose(T);
        EXPECT_TRUE(p.x == T.data[0][3] && p.y == T.data[1][3] && p.z == T.data[2][3]);
        EXPECT_TRUE(same_bits(p.quaternion, matrix_to_quat(T)) && same_bits(p.euler, matrix_to_euler(T)));
        expect_block_near(pose_quat_to_transformation_matrix(p), T, 4, 2e-6f);
        expect_block_near(pose_euler_to_transformation_matrix(p), T, 4, 2e-6f);
    }
}

TEST(PoseEdge, EulerWrapAndGimbalLock) {
    Euler e = matrix_to_euler(euler_to_matrix({0.3f, -0.2f, 1.1f}));
    EXPECT_TRUE(std::fabs(e.rx - 0.3f) + std::fabs(e.ry + 0.2f) + std::fabs(e.rz - 1.1f) < 2e-6f);
    e = matrix_to_euler(euler_to_matrix({-3.135f, 0.1f, -3.12f}));
    EXPECT_NEAR(e.rx, -3.135f + 6.2831855f, 1e-5f);  // below -3.13: one turn up, past pi
    EXPECT_NEAR(e.rz, -3.12f, 1e-5f);
    e = matrix_to_euler(euler_to_matrix({0.4f, kPi / 2, 0.7f}));  // m(2,0) = -1
    EXPECT_TRUE(e.rz == 0.0f && std::fabs(e.rx + 0.3f) < 1e-5f && std::fabs(e.ry - kPi / 2) < 1e-3f);
    e = quat_to_euler(euler_to_quat({0.4f, -kPi / 2, 0.7f}));  // m(2,0) = +1
    EXPECT_TRUE(e.rz == 0.0f && std::fabs(e.rx - 1.1f) < 1e-3f && std::fabs(e.ry + kPi / 2) < 1e-3f);
}

TEST(PoseEdge, QuaternionBranchesAndDegenerateInput) {
    EXPECT_TRUE(same_bits(matrix_to_quat(unit_matrix(3)), Quaternion{1, 0, 0, 0}));
    const Quaternion qx = matrix_to_quat(rotx(kPi));  // trace -1, x-branch
    EXPECT_TRUE(qx.x == 1.0f && std::fabs(qx.w) < 1e-7f);
    Matrix tie = zero_matrix(3, 3);  // half turn about (1, -1, 0): m00 == m11, tie goes to the y-branch
    tie.data[0][1] = tie.data[1][0] = tie.data[2][2] = -1.0f;
    const Quaternion qt = matrix_to_quat(tie);
    EXPECT_TRUE(qt.y > 0.7f && qt.x < -0.7f);
    EXPECT_TRUE(same_bits(quat_to_matrix({0, 0, 0, 0}), unit_matrix(3)));
    const Matrix R = euler_to_matrix({0.1f, 0.2f, 0.3f});
    EXPECT_TRUE(R.rows == 3 && R.cols == 3 && R.data[3][3] == 0.0f);
    EXPECT_EQ(pose_euler_to_transformation_matrix(Pose{1, 2, 3, {}, {0.1f, 0.2f, 0.3f}}).data[3][3], 1.0f);
}

TEST(PoseEdge, ScalarHelpersCrossAndSlerp) {
    EXPECT_TRUE(tv_sign(2.0f) == 1 && tv_sign(-2.0f) == -1 && tv_sign(-0.0f) == 0 && tv_sign(NAN) == 0);
    EXPECT_TRUE(my_atan2f(0.0f, -1.0f) == kPi && my_atan2f(-0.0f, -1.0f) == kPi);
    EXPECT_TRUE(std::isnan(my_atan2f(0.0f, 0.0f)));
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> u(-5.0f, 5.0f);
    for (int n = 0; n < 2000; ++n) {
        const float y = u(rng), x = u(rng);
        EXPECT_NEAR(my_atan2f(y, x), std::atan2(y, x), 1e-3f);  // acos loses digits near the x axis
    }
    Matrix a = zero_matrix(9, -2), b = zero_matrix(0, 0), want = zero_matrix(3, 1);  // operand counts ignored
    for (int i = 0; i < 3; ++i) a.data[i][0] = 1.0f + i, b.data[i][0] = 4.0f + i;
    want.data[0][0] = want.data[2][0] = -3.0f;
    want.data[1][0] = 6.0f;
    EXPECT_TRUE(same_bits(cross(a, b), want));

    const Quaternion q0 = euler_to_quat({0.1f, 0.2f, 0.3f}), q1 = euler_to_quat({0.9f, -0.4f, 1.3f});
    const float theta = std::acos(q0.w * q1.w + q0.x * q1.x + q0.y * q1.y + q0.z * q1.z);
    const Quaternion m = quaternion_interpolation(theta, theta / 2, q0, q1);
    EXPECT_LT(quat_gap(quaternion_interpolation(theta, 0.0f, q0, q1), q0), 4e-6f);
    EXPECT_LT(quat_gap(quaternion_interpolation(theta, theta, q0, q1), q1), 4e-5f);
    EXPECT_NEAR(m.w * m.w + m.x * m.x + m.y * m.y + m.z * m.z, 1.0f, 1e-5f);
}

}  // namespace
