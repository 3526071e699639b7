// Small helpers shared by the seven-axis solvers and the numerical inverse
// kinematics.
#include "ikine/tova_ikine_utils.h"

#include <cmath>

#include "ikine/tova_ikine_utils.hpp"

extern "C" {

void marr_m(const float *A, const float *B, float *C, int rows_a, int cols_a, int cols_b) {
    if (rows_a < 1 || cols_b < 1) return;
    for (int i = 0; i < rows_a; ++i)
        for (int j = 0; j < cols_b; ++j) {
            float sum = 0.0f;
            for (int k = 0; k < cols_a; ++k) sum += A[i * cols_a + k] * B[k * cols_b + j];
            C[i * cols_b + j] = sum;
        }
}

int utils_is_zero_vec(const float *v, int n) {
    for (int i = 0; i < n; ++i)
        if (!(std::fabs(v[i]) < 1e-6f)) return 0;
    return 1;
}

mat utils_angle_axis_diff(const mat *A, const mat *B) {
    mat e{};  // whole record zeroed so equal errors compare equal bytewise
    e.rows = 6;
    e.cols = 1;
    float v[6];
    tova::angle_axis_diff(*A, *B, v);
    for (int i = 0; i < 6; ++i) e.data[i][0] = v[i];
    return e;
}

}  // extern "C"
