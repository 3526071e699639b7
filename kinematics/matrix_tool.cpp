// The 9 x 9 matrix toolbox. The inverse shares its Jordan-exchange core with
// mat_inv, instantiated with double reciprocal and multipliers.
#include "kinematics/matrix_tool.h"

#include <cmath>
#include <cstring>

#include "math/mat_gauss_jordan.hpp"

namespace {

constexpr int kCap = 9;

int clamp_count(int32_t n) { return n > kCap ? kCap : n; }

AlgoMatrix zero_record(int32_t rows, int32_t cols) {
    AlgoMatrix r;
    std::memset(&r, 0, sizeof r);
    r.rows = rows;
    r.cols = cols;
    return r;
}

}  // namespace

extern "C" {

AlgoMatrix algo_matrix_tool_t(AlgoMatrix A) {
    const int m = clamp_count(A.rows), n = clamp_count(A.cols);
    AlgoMatrix r = zero_record(n, m);
    if (m < 1 || n < 1) return r;
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) r.data[j][i] = A.data[i][j];
    }
    return r;
}

AlgoMatrix algo_matrix_tool_m(AlgoMatrix A, AlgoMatrix B) {
    const int m = clamp_count(A.rows), n = clamp_count(B.cols);
    const int inner = clamp_count(A.cols);
    AlgoMatrix r = zero_record(m, n);
    if (m < 1 || n < 1) return r;
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) {
            double sum = 0.0;
            for (int l = 0; l < inner; ++l) {
                const float prod = A.data[i][l] * B.data[l][j];
                sum += static_cast<double>(prod);
            }
            r.data[i][j] = static_cast<float>(sum);
        }
    }
    return r;
}

AlgoMatrix algo_matrix_tool_inv(AlgoMatrix A) {
    const int n = clamp_count(A.rows);
    if (n < 1) return A;
    A.rows = clamp_count(A.rows);
    A.cols = clamp_count(A.cols);
    tova::gauss_jordan_invert<double, false, kCap>(A.data, n);
    return A;
}

int32_t algo_rank(AlgoMatrix *A) {
    float (*a)[kCap] = A->data;
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            if (std::fabs(a[i][j]) < 0.0001) a[i][j] = 0.0f;
        }
    }
    int32_t rank = 0;
    int r = 0;
    for (int c = 0; c < 3 && r < 3; ++c) {
        int best = r;
        for (int i = r + 1; i < 3; ++i) {
            if (std::fabs(a[i][c]) > std::fabs(a[best][c])) best = i;  // earlier row on ties
        }
        if (best != r) {
            for (int j = 0; j < 3; ++j) {
                const float t = a[r][j];
                a[r][j] = a[best][j];
                a[best][j] = t;
            }
        }
        if (a[r][c] == 0.0f) continue;
        ++rank;
        for (int i = r + 1; i < 3; ++i) {
            const float f = -a[i][c] / a[r][c];
            for (int j = 0; j < 3; ++j) a[i][j] = a[i][j] + f * a[r][j];
        }
        ++r;
    }
    return rank;
}

}  // extern "C"
