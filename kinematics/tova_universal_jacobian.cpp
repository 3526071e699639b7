// Geometric Jacobians of the configured arm from its DH table, in the flange,
// tool and work frames.
#include <cstdint>

#include "kinematics/tova_universal_kin.h"
#include "kinematics/fast_trig.hpp"
#include "kinematics/universal_jacobian.hpp"
#include "kinematics/universal_kin_internal.hpp"
#include "math/fixed_matrix.hpp"

namespace tova {

namespace {

// Column j from U (the end frame seen from joint j+1's axis frame): the
// velocity of the end point for a unit turn about z, z x p, and the axis z,
// both expressed in end-frame axes.
inline void write_column(const Matrix &U, MatrixMore &J, int j) {
    const auto &u = U.data;
    J.data[0][j] = u[1][0] * u[0][3] - u[0][0] * u[1][3];
    J.data[1][j] = u[1][1] * u[0][3] - u[0][1] * u[1][3];
    J.data[2][j] = u[1][2] * u[0][3] - u[0][2] * u[1][3];
    J.data[3][j] = u[2][0];
    J.data[4][j] = u[2][1];
    J.data[5][j] = u[2][2];
}

}  // namespace

void jacobian_backward(const Matrix *links, int n, bool modified, Matrix U, MatrixMore &J) {
    if (modified) {
        for (int j = n - 1; j >= 0; --j) {
            write_column(U, J, j);
            // The product for joint 1 would only serve a column that does not exist.
            if (j > 0) U = transform_mul(links[j], U);
        }
    } else {
        for (int j = n - 1; j >= 0; --j) {
            U = transform_mul(links[j], U);
            write_column(U, J, j);
        }
    }
}

int32_t universal_links(const float *q, bool modeling, Matrix links[kJacobianMaxJoints],
                        bool *modified) {
    DhTable dh;
    libalgo_get_dh_value(&dh);
    const int32_t dof = libalgo_get_rbt_dof();
    *modified = universal_uses_modified_dh(libalgo_get_robot_type(), dof);
    const int n = dof > kJacobianMaxJoints ? kJacobianMaxJoints : dof;
    // All sines and cosines at once, with the f32 values of double sin/cos.
    float qm[8] = {}, s[8], c[8];
    universal_model_angles(q, dh, modeling, n, qm);
    sincos_rounded<8>(qm, s, c);
    for (int i = 0; i < n; ++i) {
        const SinCos th{s[i], c[i]};
        const SinCos al = dh_twist_sincos(dh.alpha[i]);
        links[i] = *modified ? mdh_link(th, al, dh.d[i], dh.a[i]) : sdh_link(th, al, dh.d[i], dh.a[i]);
    }
    return dof;
}

}  // namespace tova

namespace {

constexpr uint32_t kToolFrame = 1;

// End-frame Jacobian: the tool frame when frame_flag is 1, the flange otherwise.
MatrixMore kin_calc_jacobe_Jx(const float *q, const char *mode, uint32_t frame_flag) {
    Matrix U;
    if (frame_flag == kToolFrame)
        libalgo_get_tool_cs_matrix(&U);
    else
        U = tova::fm_identity<Matrix>(4);
    Matrix links[tova::kJacobianMaxJoints];
    bool modified = false;
    const int32_t dof = tova::universal_links(q, tova::universal_is_modeling_mode(mode), links,
                                              &modified);
    MatrixMore J = tova::fm_zero<MatrixMore>(6, static_cast<int16_t>(dof));
    if (dof < 1) return J;
    const int n = dof > tova::kJacobianMaxJoints ? tova::kJacobianMaxJoints : dof;
    J.cols = static_cast<int16_t>(n);
    tova::jacobian_backward(links, n, modified, U, J);
    return J;
}

}  // namespace

extern "C" {

MatrixMore kin_calc_jacobe_Jn(const float *q, const char *mode) {
    return kin_calc_jacobe_Jx(q, mode, 0);
}

MatrixMore kin_calc_jacobe_Jt(const float *q, const char *mode) {
    return kin_calc_jacobe_Jx(q, mode, kToolFrame);
}

MatrixMore kin_calc_jacobe_J0(const float *q, const char *mode) {
    const Matrix T = kin_universal_kinematics_Tn(q, mode, "Twt");
    const MatrixMore Jt = kin_calc_jacobe_Jx(q, mode, kToolFrame);
    // diag(R, R): the linear and the angular rows turn from tool into work axes.
    MatrixMore D = tova::fm_zero<MatrixMore>(6, 6);
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) {
            D.data[r][c] = T.data[r][c];
            D.data[r + 3][c + 3] = T.data[r][c];
        }
    return tova::fm_mul(D, Jt);
}

}  // extern "C"
