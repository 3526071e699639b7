// Rotation and rigid-motion maps on bare float arrays: hat map, transform
// assembly and inverse, adjoint, SO(3) exponential and logarithm, and their
// deliberately decoupled 6-vector forms.
#include <cmath>
#include <cstdio>

#include "math/static_array.hpp"
#include "math/pose_core.hpp"
#include "math/tova_static_matrix.h"

namespace fx = tova::fixed;

namespace {

template <int N>
void copy(const float *from, float *to) {
    for (int i = 0; i < N; ++i) {
        to[i] = from[i];
    }
}

// Rotation block and translation column of a row-major 4x4 transform.
void split(const float *T, float *R, float *p) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            R[i * 3 + j] = T[i * 4 + j];
        }
        p[i] = T[i * 4 + 3];
    }
}

// [R p; 0 0 0 1]
void assemble(const float *R, const float *p, float *T) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            T[i * 4 + j] = R[i * 3 + j];
        }
        T[i * 4 + 3] = p[i];
    }
    T[12] = 0.0f;
    T[13] = 0.0f;
    T[14] = 0.0f;
    T[15] = 1.0f;
}

// Writes the 3x3 block B at (row, col) of a 6x6.
void put_block(const float *B, int row, int col, float *M) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            M[(row + i) * 6 + (col + j)] = B[i * 3 + j];
        }
    }
}

}  // namespace

extern "C" {

int roVecToso3(const VEC3 w, MAT3X3 so3) {
    float K[9];
    fx::hat(w, K);
    copy<9>(K, so3);
    return 0;
}

int roRpToTrans(const MAT3X3 R, const VEC3 p, MAT4X4 T) {
    float result[16];
    assemble(R, p, result);
    copy<16>(result, T);
    return 0;
}

int roTransToRp(const MAT4X4 T, MAT3X3 R, VEC3 p) {
    float rotation[9], translation[3];
    split(T, rotation, translation);
    copy<9>(rotation, R);
    copy<3>(translation, p);
    return 0;
}

int roTransInv(const MAT4X4 T, MAT4X4 T_inv) {
    float R[9], p[3], Rt[9], Rt_p[3];
    split(T, R, p);
    fx::transpose<3, 3>(R, Rt);
    fx::multiply<3, 3, 1>(Rt, p, Rt_p);
    for (float &v : Rt_p) {
        v = -v;
    }
    assemble(Rt, Rt_p, T_inv);
    return 0;
}

int roAdjointT(const MAT4X4 T, MAT6X6 Ad) {
    float R[9], p[3], P[9], PR[9];
    split(T, R, p);
    fx::hat(p, P);
    fx::multiply<3, 3, 3>(P, R, PR);
    for (int i = 0; i < 36; ++i) {
        Ad[i] = 0.0f;
    }
    put_block(R, 0, 0, Ad);
    put_block(PR, 0, 3, Ad);
    put_block(R, 3, 3, Ad);
    return 0;
}

int roMatrixExp3(const VEC3 w, MAT3X3 R) {
    float result[9];
    fx::identity<3>(result);
    const float theta = std::sqrt(w[0] * w[0] + w[1] * w[1] + w[2] * w[2]);
    if (theta >= 1e-6f) {
        const float axis[3] = {w[0] / theta, w[1] / theta, w[2] / theta};
        float K[9], K2[9];
        fx::hat(axis, K);
        fx::multiply<3, 3, 3>(K, K, K2);
        const float s = std::sin(theta);
        const float one_minus_c = 1.0f - std::cos(theta);
        for (int i = 0; i < 9; ++i) {
            result[i] = result[i] + s * K[i] + one_minus_c * K2[i];
        }
    }
    copy<9>(result, R);
    return 0;
}

int roMatrixLog3(const MAT3X3 R, VEC3 w) {
    const float r00 = R[0], r01 = R[1], r02 = R[2];
    const float r10 = R[3], r11 = R[4], r12 = R[5];
    const float r20 = R[6], r21 = R[7], r22 = R[8];
    w[0] = 0.0f;
    w[1] = 0.0f;
    w[2] = 0.0f;
    const float c = (r00 + r11 + r22 - 1.0f) * 0.5f;
    if (c >= 1.0f) {
        return 0;
    }
    if (c > -1.0f) {
        const float theta = std::acos(c);
        const float f = theta / (2.0f * std::sin(theta));
        w[0] = (r21 - r12) * f;
        w[1] = (r02 - r20) * f;
        w[2] = (r10 - r01) * f;
        return 0;
    }
    // Half turn: the axis comes from the first column (2, then 1, then 0)
    // whose diagonal element keeps clear of -1.
    const float pi = 3.1415927f;
    if (std::fabs(1.0f + r22) > 0.0001f) {
        const float s = pi / std::sqrt(2.0f * (1.0f + r22));
        w[0] = r02 * s;
        w[1] = r12 * s;
        w[2] = (1.0f + r22) * s;
    } else if (std::fabs(1.0f + r11) > 0.0001f) {
        const float s = pi / std::sqrt(2.0f * (1.0f + r11));
        w[0] = r01 * s;
        w[1] = (1.0f + r11) * s;
        w[2] = r21 * s;
    } else if (std::fabs(1.0f + r00) > 0.0001f) {
        const float s = pi / std::sqrt(2.0f * (1.0f + r00));
        w[0] = (1.0f + r00) * s;
        w[1] = r10 * s;
        w[2] = r20 * s;
    } else {
        std::printf("roMatrixLog3 failure!\n");
        return -1;
    }
    return 0;
}

int roMatrixExp6(const VEC6 V, MAT4X4 T) {
    // Translation and rotation are mapped independently on purpose: the
    // translation is not run through the rigid-motion coupling term.
    float R[9], p[3] = {V[0], V[1], V[2]};
    const float w[3] = {V[3], V[4], V[5]};
    roMatrixExp3(w, R);
    assemble(R, p, T);
    return 0;
}

int roMatrixLog6(const MAT4X4 T, VEC6 V) {
    float R[9], p[3], w[3];
    split(T, R, p);
    roMatrixLog3(R, w);  // a failed logarithm leaves w = 0 and still reports 0
    copy<3>(p, V);
    copy<3>(w, V + 3);
    return 0;
}

// The quaternion maps are the pose library's, applied to a rotation block
// held in a Matrix record.
int roMatrix2Quat(const MAT3X3 R, float q[4]) {
    Matrix m{};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            m.data[i][j] = R[i * 3 + j];
        }
    }
    const Quaternion result = tova::quat_from_rotation(m);
    q[0] = result.w;
    q[1] = result.x;
    q[2] = result.y;
    q[3] = result.z;
    return 0;
}

int roQuat2Matrix(const float q[4], MAT3X3 R) {
    Matrix m{};
    tova::put_quat_rotation(m, Quaternion{q[0], q[1], q[2], q[3]});
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            R[i * 3 + j] = m.data[i][j];
        }
    }
    return 0;
}

}  // extern "C"
