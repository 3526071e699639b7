// Numerical inverse kinematics for any configured arm: damped least squares on
// the flange-frame Jacobian with a fixed schedule of perturbed restarts.
#include "kinematics/tova_universal_ikine.h"

#include <cmath>
#include <cstdint>
#include <cstring>

#include "config/libalgo_interface.h"
#include "ikine/tova_ikine_utils.hpp"
#include "kinematics/tova_universal_kin.h"
#include "kinematics/universal_jacobian.hpp"
#include "math/mat_gauss_jordan.hpp"

namespace tova {

namespace {

constexpr int kMaxJoints = kJacobianMaxJoints;
constexpr int kLastStart = 13;  // the seed twice, joints 1-5 lowered twice each, joint 6 once
constexpr float kRestartStep = 0.5f;
constexpr float kPi = 3.1415927f;
constexpr float kTwoPi = 6.2831855f;
constexpr double kLimitMargin = 0.0001;

// Target transform of the request: "T" the matrix, "Euler" position and Euler
// angles, any other text position and quaternion (through Euler angles).
Matrix target_transform(const IkNumericalRequest &req, const char *format) {
    if (std::strcmp(format, "T") == 0) return req.target_matrix;
    Pose pose = req.pose;
    if (std::strcmp(format, "Euler") != 0) pose.euler = quat_to_euler(pose.quaternion);
    return pose_euler_to_transformation_matrix(pose);
}

// Frame of the pose error's position part. The specified solver keeps it in
// work axes beside the flange-frame Jacobian; the tool-frame variant turns it
// into tool axes and pairs it with the tool-frame Jacobian.
enum class ErrorFrame { Work, Tool };

// One start of the damped least-squares iteration from q (changed in place).
// True when the pose error fell below the tolerance. The normal equations are
// formed on small arrays with the rounding of the `mat` operations (float
// products, float running sums from 0, k ascending) and inverted by the core of
// mat_inv, so the iterates are those of the `mat` formulation without copying
// 1.6 kB records around.
template <ErrorFrame Frame>
bool dls_start(float q[kMaxJoints], int n, const Matrix &Td, int32_t max_iterations,
               float tolerance) {
    for (int32_t k = 0; k < max_iterations; ++k) {
        const Matrix T = kin_universal_kinematics_Tn(q, "machine", "Twt");
        float e[6];
        angle_axis_diff(T, Td, e);
        if constexpr (Frame == ErrorFrame::Tool) {
            const float p[3] = {e[0], e[1], e[2]};
            for (int i = 0; i < 3; ++i)
                e[i] = T.data[0][i] * p[0] + T.data[1][i] * p[1] + T.data[2][i] * p[2];
        }
        const float E =
            0.5f * (e[0] * e[0] + e[1] * e[1] + e[2] * e[2] + e[3] * e[3] + e[4] * e[4] + e[5] * e[5]);
        if (tolerance > E) return true;
        const float lambda = 0.1f * E;
        const MatrixMore J = Frame == ErrorFrame::Work ? kin_calc_jacobe_Jn(q, "machine")
                                                       : kin_calc_jacobe_Jt(q, "machine");

        float H[kMaxJoints][kMaxJoints];  // J^T J + lambda I, inverted in place
        float g[kMaxJoints];
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < n; ++j) {
                float s = 0.0f;
                for (int r = 0; r < 6; ++r) s += J.data[r][i] * J.data[r][j];
                H[i][j] = s + lambda * (i == j ? 1.0f : 0.0f);
            }
            float s = 0.0f;
            for (int r = 0; r < 6; ++r) s += J.data[r][i] * e[r];
            g[i] = s;
        }
        // Only a clean inverse counts (mat_inv's 1); a vanishing pivot abandons the start.
        if (!gauss_jordan_invert<float, true, kMaxJoints>(H, n)) return false;
        float dq[kMaxJoints];
        for (int i = 0; i < n; ++i) {
            float s = 0.0f;
            for (int j = 0; j < n; ++j) s += H[i][j] * g[j];
            dq[i] = s;
        }
        for (int i = 0; i < n; ++i) q[i] = q[i] + dq[i];
    }
    return false;
}

// Folds whole turns out of an angle the way the controller expects it: the
// truncated turn count k is applied as x - 2k*pi for k < 0 and x + 2k*pi for
// k > 0, so both branches raise x (the positive one deliberately moves further
// out and leaves the decision to the limit step). Then one turn is added or
// removed when x lies within 1e-4 of a limit or beyond it.
float normalise_output(float x, float lower, float upper) {
    const float k = std::trunc(x / kTwoPi);  // a float keeps NaN and huge values defined
    if (k < 0.0f) x = x - (2.0f * k) * kPi;
    if (k > 0.0f) x = x + (2.0f * k) * kPi;
    if (static_cast<double>(lower) + kLimitMargin > static_cast<double>(x))
        x = x + kTwoPi;
    else if (static_cast<double>(x) > static_cast<double>(upper) - kLimitMargin)
        x = x - kTwoPi;
    return x;
}

template <ErrorFrame Frame>
int32_t solve(const IkNumericalRequest &request, const char *format, float *q_out) {
    const int32_t dof = libalgo_get_rbt_dof();
    const int n = dof < 0 ? 0 : (dof > kMaxJoints ? kMaxJoints : dof);
    float upper[8], lower[8];
    libalgo_get_jointlim_max(upper);
    libalgo_get_jointlim_min(lower);
    const Matrix Td = target_transform(request, format);

    float q[kMaxJoints];
    std::memcpy(q, request.seed, sizeof q);
    int32_t result = -1;
    for (int start = 1;; ++start) {
        if (dls_start<Frame>(q, n, Td, request.max_iterations, request.tolerance)) {
            result = 0;
            break;
        }
        if (start == kLastStart) break;
        // Restart from the seed; start c lowers joint c/2 (1-based), none for c = 1.
        std::memcpy(q, request.seed, sizeof q);
        const int joint = start / 2 - 1;
        if (joint >= 0) q[joint] = q[joint] - kRestartStep;
    }

    for (int i = 0; i < n; ++i) {
        const float x = normalise_output(q[i], lower[i], upper[i]);
        q_out[i] = x;
        if (x > upper[i] || lower[i] > x) result = -1;
    }
    return result;
}

}  // namespace

}  // namespace tova

extern "C" {

int32_t ikine_numerical_solution(const IkNumericalRequest *request, const char *format,
                                 float *q_out) {
    return tova::solve<tova::ErrorFrame::Work>(*request, format, q_out);
}

int32_t ikine_numerical_solution_tool_frame(const IkNumericalRequest *request, const char *format,
                                            float *q_out) {
    return tova::solve<tova::ErrorFrame::Tool>(*request, format, q_out);
}

}  // extern "C"
