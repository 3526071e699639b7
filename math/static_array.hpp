// Shape-generic cores of the fixed-size float array helpers. Every VEC / MAT
// operation of tova_static_matrix is one of these templates at a fixed shape.
#ifndef TOVA_MATH_STATIC_ARRAY_HPP
#define TOVA_MATH_STATIC_ARRAY_HPP

namespace tova {
namespace fixed {

// out (R x C) = A (R x K) * B (K x C), each element summed in single precision
// from k = 0 upwards. The result is staged locally so out may alias A or B.
template <int R, int K, int C>
inline void multiply(const float *A, const float *B, float *out) {
    float result[R * C];
    for (int i = 0; i < R; ++i) {
        for (int j = 0; j < C; ++j) {
            float sum = 0.0f;
            for (int k = 0; k < K; ++k) {
                sum += A[i * K + k] * B[k * C + j];
            }
            result[i * C + j] = sum;
        }
    }
    for (int n = 0; n < R * C; ++n) {
        out[n] = result[n];
    }
}

// out (C x R) = A (R x C) transposed; out may alias A.
template <int R, int C>
inline void transpose(const float *A, float *out) {
    float result[R * C];
    for (int i = 0; i < R; ++i) {
        for (int j = 0; j < C; ++j) {
            result[j * R + i] = A[i * C + j];
        }
    }
    for (int n = 0; n < R * C; ++n) {
        out[n] = result[n];
    }
}

// N x N identity.
template <int N>
inline void identity(float *M) {
    for (int n = 0; n < N * N; ++n) {
        M[n] = (n % (N + 1) == 0) ? 1.0f : 0.0f;
    }
}

// Hat matrix [w] of a 3-vector: [w] v = w x v.
inline void hat(const float *w, float *M) {
    const float wx = w[0], wy = w[1], wz = w[2];
    M[0] = 0.0f; M[1] = -wz;  M[2] = wy;
    M[3] = wz;   M[4] = 0.0f; M[5] = -wx;
    M[6] = -wy;  M[7] = wx;   M[8] = 0.0f;
}

// out = a x b; out may alias a or b.
inline void cross3(const float *a, const float *b, float *out) {
    const float x = a[1] * b[2] - a[2] * b[1];
    const float y = a[2] * b[0] - a[0] * b[2];
    const float z = a[0] * b[1] - a[1] * b[0];
    out[0] = x;
    out[1] = y;
    out[2] = z;
}

}  // namespace fixed
}  // namespace tova

#endif
