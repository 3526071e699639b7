// Numerical inverse kinematics and the small helpers beside it: the pose error
// against the textbook log map, the listed edge cases, and round trips on
// reachable poses. (Its outputs are pinned to the bit, for every request
// format and with restarts, by the reliability battery's digests.)
#include <gtest/gtest.h>

#include <algorithm>

#include "universal_reference.hpp"

namespace {

constexpr float kTwoPi = 6.2831855f;

TEST(AngleAxisDiff, MatchesTheLogMapOfTheRelativeRotation) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> ang(-3.0f, 3.0f), len(-1.0f, 1.0f);
    for (int s = 0; s < 2000; ++s) {
        const Pose a{len(rng), len(rng), len(rng), {1, 0, 0, 0}, {ang(rng), ang(rng), ang(rng)}};
        const Pose b{len(rng), len(rng), len(rng), {1, 0, 0, 0}, {ang(rng), ang(rng), ang(rng)}};
        const Matrix A = pose_euler_to_transformation_matrix(a), B = pose_euler_to_transformation_matrix(b);
        const mat Am = matrix_to_mat(&A), Bm = matrix_to_mat(&B);
        const mat e = utils_angle_axis_diff(&Am, &Bm);
        ASSERT_TRUE(e.rows == 6 && e.cols == 1);
        double R[3][3] = {};
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                for (int k = 0; k < 3; ++k) R[i][j] += double(A.data[k][i]) * B.data[k][j];
        const double angle = std::acos(std::clamp((R[0][0] + R[1][1] + R[2][2] - 1.0) / 2.0, -1.0, 1.0));
        if (angle > 3.0) continue;  // the axis is ill-conditioned in f32 near a half turn
        const double k = angle < 1e-12 ? 0.5 : angle / (2.0 * std::sin(angle));
        const double v[3] = {k * (R[2][1] - R[1][2]), k * (R[0][2] - R[2][0]), k * (R[1][0] - R[0][1])};
        // f32 noise in R reaches the axis amplified by angle / sin(angle).
        const double tol = 1e-6 * (1.0 + angle / std::max(std::sin(angle), 1e-3));
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(e.data[i][0], B.data[i][3] - A.data[i][3]);  // work axes, not rotated
            EXPECT_NEAR(e.data[i + 3][0], v[i], tol) << s;
        }
    }
}

TEST(AngleAxisDiff, HalfTurnDropsTheAxisSigns) {
    Matrix B = unit_matrix(4);
    // Half turn about (1, -1, 0)/sqrt(2): R = 2 a a^T - I, exactly symmetric.
    B.data[0][0] = B.data[1][1] = 0.0f;
    B.data[0][1] = B.data[1][0] = B.data[2][2] = -1.0f;
    const mat Im = mat_eye(4, 4), Bm = matrix_to_mat(&B);
    const mat e = utils_angle_axis_diff(&Im, &Bm), z = utils_angle_axis_diff(&Im, &Im);
    EXPECT_TRUE(e.data[3][0] == 1.5707964f && e.data[4][0] == 1.5707964f && e.data[5][0] == 0.0f);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(z.data[i][0], 0.0f);
}

TEST(IkineUtils, MarrMultipliesInsideItsSizesAndZeroTestIsStrict) {
    const float A[6] = {1, 2, 3, 4, 5, 6}, B[6] = {7, 8, 9, 10, 11, 12};  // 2 x 3 and 3 x 2
    float C[6] = {-1, -1, -1, -1, -1, -1};                                  // 2 x 2 used, 2 guards
    marr_m(A, B, C, 2, 3, 2);
    EXPECT_TRUE(C[0] == 58 && C[1] == 64 && C[2] == 139 && C[3] == 154 && C[4] == -1 && C[5] == -1);
    marr_m(A, B, C, 0, 3, 2);  // nothing to write
    marr_m(A, B, C, 2, 3, -1);
    EXPECT_EQ(C[0], 58.0f);
    marr_m(A, B, C, 2, 0, 2);  // empty sum
    EXPECT_TRUE(C[0] == 0 && C[1] == 0 && C[2] == 0 && C[3] == 0 && C[4] == -1);
    const float small[3] = {9.9e-7f, -9.9e-7f, 0.0f}, edge[2] = {0.0f, 1e-6f}, nan[1] = {std::nanf("")};
    EXPECT_EQ(utils_is_zero_vec(small, 3), 1);
    EXPECT_EQ(utils_is_zero_vec(edge, 2), 0);
    EXPECT_EQ(utils_is_zero_vec(nan, 1), 0);
    EXPECT_EQ(utils_is_zero_vec(nan, 0), 1);
}

// The solver's position error is in work axes while its Jacobian is in flange
// axes, so it converges where the two nearly agree: around q once the work
// frame sits on the flange pose of q.
void align_work_frame_with_flange(const float *q) {
    const Matrix A = kin_universal_kinematics_Tn(q, "machine", "Tbn");
    const Euler e = matrix_to_euler(A);
    const float params[6] = {A.data[0][3], A.data[1][3], A.data[2][3], e.rx, e.ry, e.rz};
    libalgo_set_work_cs_params(params);
}

IkNumericalRequest request_for(const float *target_q, const float *seed, int iterations) {
    IkNumericalRequest r{};
    r.max_iterations = iterations;
    std::copy(seed, seed + 7, r.seed);
    r.tolerance = 1e-5f;
    r.target_matrix = kin_universal_kinematics_Tn(target_q, "machine", "Twt");
    r.pose = transformation_matrix_to_pose(r.target_matrix);
    return r;
}

// The listed cases, on the vesk: zero iterations run every restart and end on
// the last seed; a seed within tolerance comes back unmoved; a negative angle
// beyond a turn is folded up once (below lower limit + 1e-4 it gains one more
// turn, judged afterwards); a positive one is raised by the fold, then pulled
// back once by its limit (joint 6: one turn).
TEST(NumericalIk, ListedCases) {
    libalgo_set_robot_and_sensor_type(ROBOT_VESK, 0);
    float seed[7] = {0.2f, -0.3f, 0.4f, 0.5f, 0.6f, -0.7f, 0.0f}, out[7] = {};
    IkNumericalRequest r = request_for(seed, seed, 0);
    EXPECT_EQ(ikine_numerical_solution(&r, "T", out), -1);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(out[i], i == 5 ? seed[5] - 0.5f : seed[i]) << i;
    r.max_iterations = 100;
    EXPECT_EQ(ikine_numerical_solution(&r, "T", out), 0);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(out[i], seed[i]);
    seed[0] = -7.0f, seed[5] = 7.0f;
    r = request_for(seed, seed, 100);
    EXPECT_EQ(ikine_numerical_solution(&r, "T", out), -1);
    EXPECT_EQ(out[0], -7.0f + 2.0f * 3.1415927f);
    EXPECT_NEAR(out[0], -0.7168f, 1e-4f);
    EXPECT_EQ(out[5], (7.0f + 2.0f * 3.1415927f) - kTwoPi);
    seed[5] = 0.7f;
    r = request_for(seed, seed, 100);
    EXPECT_EQ(ikine_numerical_solution(&r, "T", out), 0);
    float hi[8], lo[8];
    libalgo_get_jointlim_max(hi);
    libalgo_get_jointlim_min(lo);
    lo[0] = -0.5f;
    libalgo_set_jointlim_min(lo);
    EXPECT_EQ(ikine_numerical_solution(&r, "T", out), -1);  // 5.566 is above 178 degrees
    EXPECT_EQ(out[0], (-7.0f + 2.0f * 3.1415927f) + kTwoPi);
    hi[0] = 6.0f;
    libalgo_set_jointlim_max(hi);
    EXPECT_EQ(ikine_numerical_solution(&r, "T", out), 0);
}

// Round trips on reachable poses with seeds within 0.3 rad: the solver with
// the work frame aligned on the target, the tool-frame solver with arbitrary
// frames. Whenever one reports success the joints reproduce the target inside
// the limits.
TEST(NumericalIkRoundTrip, SolutionsReproduceReachablePoses) {
    std::mt19937 rng(11);
    for (bool tool_frame : {false, true}) {
        for (const auto &m : ref::all_models()) {
            if (m.type == ROBOT_GENERIC_7) continue;
            ref::select(m, rng);
            if (tool_frame) ref::random_frames(rng, 0.1f);
            const int n = libalgo_get_rbt_dof();
            float hi[8], lo[8];
            libalgo_get_jointlim_max(hi);
            libalgo_get_jointlim_min(lo);
            int solved = 0;
            for (int s = 0; s < 40; ++s) {
                const auto q = ref::random_q(rng, 0.35f);
                if (!tool_frame) align_work_frame_with_flange(q.data());
                std::uniform_real_distribution<float> near(-0.3f, 0.3f);
                std::vector<float> seed(7, 0.0f);
                for (int i = 0; i < n; ++i) seed[i] = q[i] + near(rng);
                const IkNumericalRequest r = request_for(q.data(), seed.data(), 50);
                float out[7] = {};
                if ((tool_frame ? ikine_numerical_solution_tool_frame : ikine_numerical_solution)(&r, "T", out) != 0)
                    continue;
                ++solved;
                const Matrix T = kin_universal_kinematics_Tn(out, "machine", "Twt");
                const mat a = matrix_to_mat(&T), b = matrix_to_mat(&r.target_matrix);
                const mat e = utils_angle_axis_diff(&a, &b);
                float E = 0;
                for (int i = 0; i < 6; ++i) E += e.data[i][0] * e.data[i][0];
                EXPECT_LT(0.5f * E, 1e-5f) << m.name;
                for (int i = 0; i < n; ++i) EXPECT_TRUE(out[i] <= hi[i] && out[i] >= lo[i]) << m.name;
            }
            EXPECT_GE(solved, tool_frame ? 36 : 30) << m.name << (tool_frame ? " (tool frame)" : "");
        }
    }
}

}  // namespace
