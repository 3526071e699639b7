// Numerical inverse kinematics and the small helpers beside it: the listed
// edge cases, a round trip on reachable poses, and the pose error against an
// independent rotation-vector computation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "tova_algorithm.h"
#include "universal_reference.hpp"

namespace {

constexpr float kTwoPi = 6.2831855f;

mat to_mat(const Matrix &m) { return matrix_to_mat(&m); }

// ---- pose error ----

// Rotation angle and vector of R (angle < pi) by the textbook log map, in double.
double rotation_angle(const double R[3][3]) {
    const double c = (R[0][0] + R[1][1] + R[2][2] - 1.0) / 2.0;
    return std::acos(std::max(-1.0, std::min(1.0, c)));
}
std::array<double, 3> rotation_vector(const double R[3][3]) {
    const double angle = rotation_angle(R);
    const double k = angle < 1e-12 ? 0.5 : angle / (2.0 * std::sin(angle));
    return {k * (R[2][1] - R[1][2]), k * (R[0][2] - R[2][0]), k * (R[1][0] - R[0][1])};
}

TEST(AngleAxisDiff, MatchesTheLogMapOfTheRelativeRotation) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> ang(-3.0f, 3.0f), len(-1.0f, 1.0f);
    for (int s = 0; s < 2000; ++s) {
        const Pose a{len(rng), len(rng), len(rng), {1, 0, 0, 0}, {ang(rng), ang(rng), ang(rng)}};
        const Pose b{len(rng), len(rng), len(rng), {1, 0, 0, 0}, {ang(rng), ang(rng), ang(rng)}};
        const Matrix A = pose_euler_to_transformation_matrix(a), B = pose_euler_to_transformation_matrix(b);
        const mat Am = to_mat(A), Bm = to_mat(B);
        const mat e = utils_angle_axis_diff(&Am, &Bm);
        ASSERT_EQ(e.rows, 6);
        ASSERT_EQ(e.cols, 1);
        double R[3][3] = {};
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                for (int k = 0; k < 3; ++k) R[i][j] += double(A.data[k][i]) * B.data[k][j];
        const auto v = rotation_vector(R);
        const double angle = rotation_angle(R);
        // f32 noise in R reaches the axis amplified by angle / sin(angle).
        const double tol = 1e-6 * (1.0 + angle / std::max(std::sin(angle), 1e-3));
        if (angle > 3.0) continue;  // the axis is ill-conditioned in f32 near a half turn
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(e.data[i][0], B.data[i][3] - A.data[i][3]);  // work axes, not rotated
            EXPECT_NEAR(e.data[i + 3][0], v[i], tol) << s;
        }
    }
}

TEST(AngleAxisDiff, HalfTurnDropsTheAxisSigns) {
    const Matrix I = unit_matrix(4);
    Matrix B = unit_matrix(4);
    // Half turn about (1, -1, 0)/sqrt(2): R = 2 a a^T - I, exactly symmetric.
    B.data[0][0] = 0.0f, B.data[0][1] = -1.0f;
    B.data[1][0] = -1.0f, B.data[1][1] = 0.0f;
    B.data[2][2] = -1.0f;
    const mat Am = to_mat(I), Bm = to_mat(B);
    const mat e = utils_angle_axis_diff(&Am, &Bm);
    EXPECT_EQ(e.data[3][0], 1.5707964f);
    EXPECT_EQ(e.data[4][0], 1.5707964f);
    EXPECT_EQ(e.data[5][0], 0.0f);
    const mat z = utils_angle_axis_diff(&Am, &Am);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(z.data[i][0], 0.0f);
}

// ---- array helpers ----

TEST(IkineUtils, MarrMultipliesAndStaysInsideItsSizes) {
    const float A[6] = {1, 2, 3, 4, 5, 6};        // 2 x 3
    const float B[6] = {7, 8, 9, 10, 11, 12};     // 3 x 2
    float C[6] = {-1, -1, -1, -1, -1, -1};         // 2 x 2 used, 2 guards
    marr_m(A, B, C, 2, 3, 2);
    const float expected[4] = {58, 64, 139, 154};
    for (int i = 0; i < 4; ++i) EXPECT_EQ(C[i], expected[i]);
    EXPECT_EQ(C[4], -1.0f);
    EXPECT_EQ(C[5], -1.0f);
    marr_m(A, B, C, 0, 3, 2);  // nothing to write
    marr_m(A, B, C, 2, 3, -1);
    EXPECT_EQ(C[0], 58.0f);
    marr_m(A, B, C, 2, 0, 2);  // empty sum
    for (int i = 0; i < 4; ++i) EXPECT_EQ(C[i], 0.0f);
    EXPECT_EQ(C[4], -1.0f);
}

TEST(IkineUtils, ZeroVectorTestIsStrictBelowOneMicro) {
    const float small[3] = {9.9e-7f, -9.9e-7f, 0.0f};
    const float edge[2] = {0.0f, 1e-6f};
    const float nan[1] = {std::nanf("")};
    EXPECT_EQ(utils_is_zero_vec(small, 3), 1);
    EXPECT_EQ(utils_is_zero_vec(edge, 2), 0);
    EXPECT_EQ(utils_is_zero_vec(nan, 1), 0);
    EXPECT_EQ(utils_is_zero_vec(nan, 0), 1);
}

// ---- numerical inverse kinematics ----

// The solver's position error is in work axes while its Jacobian is in flange
// axes, so it converges where the two nearly agree. Placing the work frame on
// the flange pose of q makes that hold around q.
void align_work_frame_with_flange(const float *q) {
    const Matrix A = kin_universal_kinematics_Tn(q, "machine", "Tbn");
    const Euler e = matrix_to_euler(A);
    const float params[6] = {A.data[0][3], A.data[1][3], A.data[2][3], e.rx, e.ry, e.rz};
    libalgo_set_work_cs_params(params);
}

class NumericalIk : public ::testing::Test {
  protected:
    void SetUp() override { libalgo_set_robot_and_sensor_type(ROBOT_VESK, 0); }

    IkNumericalRequest request_for(const float *target_q, const float *seed, int iterations = 100) {
        IkNumericalRequest r{};
        r.max_iterations = iterations;
        std::memcpy(r.seed, seed, sizeof r.seed);
        r.tolerance = 1e-5f;
        r.target_matrix = kin_universal_kinematics_Tn(target_q, "machine", "Twt");
        r.pose = transformation_matrix_to_pose(r.target_matrix);
        return r;
    }

    float seed[7] = {0.2f, -0.3f, 0.4f, 0.5f, 0.6f, -0.7f, 0.0f};
};

TEST_F(NumericalIk, ZeroIterationsRunsEveryRestartAndEndsOnTheLastSeed) {
    const IkNumericalRequest r = request_for(seed, seed, 0);
    float out[7] = {};
    EXPECT_EQ(ikine_numerical_solution(&r, "T", out), -1);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(out[i], i == 5 ? seed[5] - 0.5f : seed[i]) << i;
}

TEST_F(NumericalIk, SeedWithinToleranceReturnsItUnmoved) {
    const IkNumericalRequest r = request_for(seed, seed);
    float out[7] = {};
    EXPECT_EQ(ikine_numerical_solution(&r, "T", out), 0);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(out[i], seed[i]);
}

TEST_F(NumericalIk, FormatSelectsTheTargetFields) {
    const float target[7] = {0.5f, -0.1f, 0.7f, 0.2f, 0.9f, 0.3f, 0};
    align_work_frame_with_flange(target);
    IkNumericalRequest r = request_for(target, seed);
    float out[7];
    const Pose good = r.pose;
    const Matrix good_T = r.target_matrix;
    auto reaches = [&](const char *format) {
        if (ikine_numerical_solution(&r, format, out) != 0) return false;
        const Matrix T = kin_universal_kinematics_Tn(out, "machine", "Twt");
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 4; ++j)
                if (std::fabs(T.data[i][j] - good_T.data[i][j]) > 1e-3f) return false;
        return true;
    };
    r.pose = Pose{9, 9, 9, {0.3f, 0.1f, 0.2f, 0.9f}, {2, 2, 2}};
    EXPECT_TRUE(reaches("T"));  // the pose fields are ignored
    r.pose = good;
    r.target_matrix = zero_matrix(4, 4);
    r.pose.euler = Euler{2, 2, 2};
    EXPECT_TRUE(reaches("quaternion"));  // any text but "T" and "Euler"
    EXPECT_TRUE(reaches(""));
    EXPECT_FALSE(reaches("Euler"));
    r.pose = good;
    r.pose.quaternion = Quaternion{0.3f, 0.1f, 0.2f, 0.9f};
    EXPECT_TRUE(reaches("Euler"));
    r.target_matrix = good_T;
}

TEST_F(NumericalIk, NegativeAngleBeyondATurnIsFoldedUpOnce) {
    seed[0] = -7.0f;  // converged where it starts
    const IkNumericalRequest r = request_for(seed, seed);
    float out[7];
    EXPECT_EQ(ikine_numerical_solution(&r, "T", out), 0);
    EXPECT_EQ(out[0], -7.0f + 2.0f * 3.1415927f);
    EXPECT_NEAR(out[0], -0.7168f, 1e-4f);

    // Below lower limit + 1e-4 it gains one more turn, and is judged afterwards.
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

TEST_F(NumericalIk, PositiveAngleBeyondATurnIsRaisedThenPulledBackOnce) {
    seed[5] = 7.0f;  // joint 6 limit is one turn
    const IkNumericalRequest r = request_for(seed, seed);
    float out[7];
    EXPECT_EQ(ikine_numerical_solution(&r, "T", out), -1);
    EXPECT_EQ(out[5], (7.0f + 2.0f * 3.1415927f) - kTwoPi);
}

// The solver written out literally with `mat` operations, one record per
// step, as the algorithm reads. The library's solver forms the same sums on
// small arrays; both must give the same bits.
int32_t literal_solver(const IkNumericalRequest &req, const char *format, float *q_out) {
    const int n = libalgo_get_rbt_dof();
    float hi[8], lo[8];
    libalgo_get_jointlim_max(hi);
    libalgo_get_jointlim_min(lo);
    Matrix Tdm;
    if (std::strcmp(format, "T") == 0) {
        Tdm = req.target_matrix;
    } else {
        Pose p = req.pose;
        if (std::strcmp(format, "Euler") != 0) p.euler = quat_to_euler(p.quaternion);
        Tdm = pose_euler_to_transformation_matrix(p);
    }
    const mat Td = matrix_to_mat(&Tdm);
    float q[7];
    std::memcpy(q, req.seed, sizeof q);
    int32_t result = -1;
    for (int c = 1;; ++c) {
        bool converged = false;
        for (int k = 0; k < req.max_iterations; ++k) {
            const Matrix Tm = kin_universal_kinematics_Tn(q, "machine", "Twt");
            const mat T = matrix_to_mat(&Tm);
            const mat e = utils_angle_axis_diff(&T, &Td);
            float sum = 0.0f;
            for (int i = 0; i < 6; ++i) sum += e.data[i][0] * e.data[i][0];
            const float E = 0.5f * sum;
            if (req.tolerance > E) {
                converged = true;
                break;
            }
            const MatrixMore Jm = kin_calc_jacobe_Jn(q, "machine");
            const mat J = matrix_more_to_mat(&Jm);
            const mat Jt = mat_T(&J);
            const mat JtJ = mat_mult(&Jt, &J);
            const mat I = mat_eye(n, n);
            const mat lI = mat_kM(0.1f * E, &I);
            const mat H = mat_add(&JtJ, &lI);
            const mat g = mat_mult(&Jt, &e);
            mat Hinv = mat_init(n, n);
            if (mat_inv(H, &Hinv) != 1) break;
            const mat dq = mat_mult(&Hinv, &g);
            for (int i = 0; i < n; ++i) q[i] = q[i] + dq.data[i][0];
        }
        if (converged) {
            result = 0;
            break;
        }
        if (c == 13) break;
        std::memcpy(q, req.seed, sizeof q);
        if (c / 2 != 0) q[c / 2 - 1] = q[c / 2 - 1] - 0.5f;
    }
    for (int i = 0; i < n; ++i) {
        float x = q[i];
        const int k = static_cast<int>(x / 6.2831855f);
        if (k < 0) x = x - static_cast<float>(2 * k) * 3.1415927f;
        if (k > 0) x = x + static_cast<float>(2 * k) * 3.1415927f;
        if (static_cast<double>(lo[i]) + 0.0001 > static_cast<double>(x))
            x = x + 6.2831855f;
        else if (static_cast<double>(x) > static_cast<double>(hi[i]) - 0.0001)
            x = x - 6.2831855f;
        q_out[i] = x;
        if (x > hi[i] || lo[i] > x) result = -1;
    }
    return result;
}

TEST(NumericalIkLiteral, SameBitsAsTheMatFormulation) {
    std::mt19937 rng(17);
    for (const auto &m : ref::all_models()) {
        if (m.type == ROBOT_GENERIC_7) continue;
        ref::select(m, rng);
        const int n = libalgo_get_rbt_dof();
        for (int s = 0; s < 12; ++s) {
            const auto q = ref::random_q(rng);
            if (s % 2 == 0) align_work_frame_with_flange(q.data());
            IkNumericalRequest r{};
            r.max_iterations = 1 + s % 6;  // short starts: the restart schedule runs too
            r.tolerance = 1e-5f;
            std::uniform_real_distribution<float> near(-1.5f, 1.5f);
            for (int i = 0; i < n; ++i) r.seed[i] = q[i] + near(rng);
            r.target_matrix = kin_universal_kinematics_Tn(q.data(), "machine", "Twt");
            r.pose = transformation_matrix_to_pose(r.target_matrix);
            const char *format = s % 3 == 0 ? "T" : s % 3 == 1 ? "Euler" : "quaternion";
            float a[7] = {}, b[7] = {};
            const int32_t ra = ikine_numerical_solution(&r, format, a);
            const int32_t rb = literal_solver(r, format, b);
            EXPECT_EQ(ra, rb) << m.name << " sample " << s;
            EXPECT_EQ(std::memcmp(a, b, sizeof a), 0) << m.name << " sample " << s;
        }
        const float zero[6] = {};
        libalgo_set_work_cs_params(zero);
    }
}

// Round trip on reachable poses: whenever the solver reports success the
// joints reproduce the target and lie inside the limits; with the work frame
// on the target flange pose and a seed within 0.3 rad it nearly always does.
TEST(NumericalIkRoundTrip, SolutionsReproduceReachablePoses) {
    std::mt19937 rng(11);
    for (const auto &m : ref::all_models()) {
        if (m.type == ROBOT_GENERIC_7) continue;
        ref::select(m, rng);
        const int n = libalgo_get_rbt_dof();
        float hi[8], lo[8];
        libalgo_get_jointlim_max(hi);
        libalgo_get_jointlim_min(lo);
        int solved = 0;
        const int samples = 40;
        for (int s = 0; s < samples; ++s) {
            const auto q = ref::random_q(rng, 0.35f);
            align_work_frame_with_flange(q.data());
            IkNumericalRequest r{};
            r.max_iterations = 50;
            r.tolerance = 1e-5f;
            std::uniform_real_distribution<float> near(-0.3f, 0.3f);
            for (int i = 0; i < n; ++i) r.seed[i] = q[i] + near(rng);
            r.target_matrix = kin_universal_kinematics_Tn(q.data(), "machine", "Twt");
            float out[7] = {};
            if (ikine_numerical_solution(&r, "T", out) != 0) continue;
            ++solved;
            const Matrix T = kin_universal_kinematics_Tn(out, "machine", "Twt");
            const mat a = to_mat(T), b = to_mat(r.target_matrix);
            const mat e = utils_angle_axis_diff(&a, &b);
            float E = 0;
            for (int i = 0; i < 6; ++i) E += e.data[i][0] * e.data[i][0];
            EXPECT_LT(0.5f * E, 1e-5f) << m.name;
            for (int i = 0; i < n; ++i) {
                EXPECT_LE(out[i], hi[i]);
                EXPECT_GE(out[i], lo[i]);
            }
        }
        EXPECT_GE(solved, samples * 3 / 4) << m.name;
    }
}

}  // namespace
