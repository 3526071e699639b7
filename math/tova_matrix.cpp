// Element, vector and arithmetic operations of the general float matrix `mat`,
// and its inverse.
#include "math/tova_matrix.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "math/fixed_matrix.hpp"
#include "math/mat_gauss_jordan.hpp"
#include "math/mat_linalg.hpp"

using tova::kMatCap;
using tova::mat_dim;

namespace {

mat zeroed(int rows, int cols) { return tova::mat_zeroed(rows, cols); }

// Conversions between mat and the fixed 4x4 / 7x7 records, one body for both:
// counts are clamped to the smaller capacity, everything else is zero.
template <class M>
mat fixed_to_mat(const M &m) {
    const int rows = tova::fm_bound<M>(m.rows), cols = tova::fm_bound<M>(m.cols);
    mat r = zeroed(rows, cols);
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) r.data[i][j] = m.data[i][j];
    }
    return r;
}

template <class M>
M mat_to_fixed(const mat &A) {
    const int rows = tova::fm_bound<M>(mat_dim(A.rows)), cols = tova::fm_bound<M>(mat_dim(A.cols));
    M r;
    std::memset(&r, 0, sizeof r);
    r.rows = static_cast<int16_t>(rows);
    r.cols = static_cast<int16_t>(cols);
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) r.data[i][j] = A.data[i][j];
    }
    return r;
}

bool index_ok(int one_based) { return one_based >= 1 && one_based <= kMatCap; }

int vec_len(const mat &v) {
    const int r = mat_dim(v.rows);
    const int c = mat_dim(v.cols);
    return r > c ? r : c;
}

// Element-wise v(i,0) -> f(v(i,0)) over the vector length, v's size kept.
template <typename F>
mat vec_map(const mat &v, F f) {
    mat r = zeroed(v.rows, v.cols);
    const int n = vec_len(v);
    for (int i = 0; i < n; ++i) r.data[i][0] = f(v.data[i][0]);
    return r;
}

// Top-down merge sort over a caller-provided scratch area; each level copies
// its two halves into the scratch and merges them back, the children sorting
// those copies in the scratch beyond them (at most 2n floats in all).
void merge_sort_rec(bool descending, float *a, int n, float *scratch) {
    if (n < 2) return;
    const int nl = n / 2;
    const int nr = n - nl;
    float *left = scratch;
    float *right = scratch + nl;
    std::memcpy(left, a, sizeof(float) * static_cast<unsigned>(nl));
    std::memcpy(right, a + nl, sizeof(float) * static_cast<unsigned>(nr));
    merge_sort_rec(descending, left, nl, scratch + n);
    merge_sort_rec(descending, right, nr, scratch + n);
    int i = 0, j = 0, k = 0;
    while (i < nl && j < nr) {
        // Ties take the left element in both orders: the sort is stable.
        const bool take_left = descending ? (left[i] >= right[j]) : (right[j] >= left[i]);
        a[k++] = take_left ? left[i++] : right[j++];
    }
    while (i < nl) a[k++] = left[i++];
    while (j < nr) a[k++] = right[j++];
}

constexpr int kSortCapacity = 2000;

}  // namespace

extern "C" {

mat mat_init(int rows, int cols) { return zeroed(rows, cols); }

mat mat_zeros(int rows, int cols) { return zeroed(rows, cols); }

mat mat_eye(int rows, int cols) {
    mat r = zeroed(rows, cols);
    const int n = r.rows < r.cols ? r.rows : r.cols;
    for (int i = 0; i < n; ++i) r.data[i][i] = 1.0f;
    return r;
}

void mat_set_value(mat *A, const float *values) {
    if (values == nullptr) return;
    const int m = mat_dim(A->rows);
    const int n = mat_dim(A->cols);
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) A->data[i][j] = values[i * n + j];
    }
}

void mat_print(const mat *A) {
    const int m = mat_dim(A->rows);
    const int n = mat_dim(A->cols);
    std::puts("Mat = ");
    for (int i = 0; i < m; ++i) {
        std::fputs("\t", stdout);
        for (int j = 0; j < n; ++j) std::printf("%lf,\t", static_cast<double>(A->data[i][j]));
        std::fputs("\n", stdout);
    }
}

int mat_is_hermitian(const mat *A) {
    const int m = mat_dim(A->rows);
    const int n = mat_dim(A->cols);
    if (m != n) return -1;
    for (int i = 0; i < n; ++i) {
        for (int j = i; j < n; ++j) {  // j == i catches a NaN on the diagonal
            if (!(A->data[i][j] == A->data[j][i])) return 0;
        }
    }
    return 1;
}

int mat_is_equal(const mat *A, const mat *B) { return std::memcmp(A, B, sizeof(mat)) == 0 ? 1 : 0; }

mat mat_mult(const mat *A, const mat *B) {
    const int m = mat_dim(A->rows);
    const int inner = mat_dim(A->cols);
    const int n = mat_dim(B->cols);
    mat r = zeroed(m, n);
    if (inner != mat_dim(B->rows)) {
        r.rows = 0;
        return r;
    }
    // i-k-j order: each r(i,j) still accumulates its products in ascending k
    // from 0.0f, exactly as the plain dot-product loop would.
    for (int i = 0; i < m; ++i) {
        float *ri = r.data[i];
        for (int k = 0; k < inner; ++k) {
            const float aik = A->data[i][k];
            const float *bk = B->data[k];
            for (int j = 0; j < n; ++j) ri[j] = ri[j] + aik * bk[j];
        }
    }
    return r;
}

mat mat_T(const mat *A) {
    const int m = mat_dim(A->rows);
    const int n = mat_dim(A->cols);
    mat r = zeroed(n, m);
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) r.data[j][i] = A->data[i][j];
    }
    return r;
}

mat mat_add(const mat *A, const mat *B) {
    const int m = mat_dim(A->rows);
    const int n = mat_dim(A->cols);
    mat r = zeroed(m, n);
    if (m != mat_dim(B->rows) || n != mat_dim(B->cols)) return r;
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) r.data[i][j] = A->data[i][j] + B->data[i][j];
    }
    return r;
}

mat mat_sub(const mat *A, const mat *B) {
    const int m = mat_dim(A->rows);
    const int n = mat_dim(A->cols);
    mat r = zeroed(m, n);
    if (m != mat_dim(B->rows) || n != mat_dim(B->cols)) return r;
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) r.data[i][j] = A->data[i][j] - B->data[i][j];
    }
    return r;
}

mat mat_kM(float k, const mat *A) {
    const int m = mat_dim(A->rows);
    const int n = mat_dim(A->cols);
    mat r = zeroed(m, n);
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) r.data[i][j] = k * A->data[i][j];
    }
    return r;
}

float mat_find_abs_max(const mat *A) {
    const int m = mat_dim(A->rows);
    const int n = mat_dim(A->cols);
    float best = 0.0f;
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) {
            const float v = std::fabs(A->data[i][j]);
            if (v > best) best = v;
        }
    }
    return best;
}

float mat_find_abs_min(const mat *A) {
    const int m = mat_dim(A->rows);
    const int n = mat_dim(A->cols);
    float best = 1e10f;
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) {
            const float v = std::fabs(A->data[i][j]);
            if (v < best) best = v;
        }
    }
    return best;
}

float mat_trace(const mat *A) {
    const int m = mat_dim(A->rows);
    const int n = mat_dim(A->cols);
    const int d = m < n ? m : n;
    float s = 0.0f;
    for (int i = 0; i < d; ++i) s = s + A->data[i][i];
    return s;
}

mat mat_diag(const mat *A) {
    const int m = mat_dim(A->rows);
    const int n = mat_dim(A->cols);
    if (m >= 2 && n >= 2) {
        const int d = m < n ? m : n;
        mat r = zeroed(d, 1);
        for (int i = 0; i < d; ++i) r.data[i][0] = A->data[i][i];
        return r;
    }
    if (m == 1 && n >= 2) {
        mat r = zeroed(n, n);
        for (int i = 0; i < n; ++i) r.data[i][i] = A->data[0][i];
        return r;
    }
    if (n == 1 && m >= 2) {
        mat r = zeroed(m, m);
        for (int i = 0; i < m; ++i) r.data[i][i] = A->data[i][0];
        return r;
    }
    return zeroed(0, 0);  // 1 x 1, no rows or no columns
}

mat mat_get_Mrow_i(const mat *A, int i) {
    const int n = mat_dim(A->cols);
    mat r = zeroed(1, n);
    if (!index_ok(i)) return r;
    for (int j = 0; j < n; ++j) r.data[0][j] = A->data[i - 1][j];
    return r;
}

mat mat_get_Mcol_j(const mat *A, int j) {
    const int m = mat_dim(A->rows);
    mat r = zeroed(m, 1);
    if (!index_ok(j)) return r;
    for (int i = 0; i < m; ++i) r.data[i][0] = A->data[i][j - 1];
    return r;
}

void mat_set_Mrow_i(const mat *row, int i, mat *A) {
    if (!index_ok(i)) return;
    const int n = mat_dim(row->cols);
    for (int j = 0; j < n; ++j) A->data[i - 1][j] = row->data[0][j];
}

void mat_set_Mcol_j(const mat *col, int j, mat *A) {
    if (!index_ok(j)) return;
    const int m = mat_dim(col->rows);
    for (int i = 0; i < m; ++i) A->data[i][j - 1] = col->data[i][0];
}

void swap_row(mat *A, int i1, int i2) {
    if (!index_ok(i1) || !index_ok(i2)) return;
    const int n = mat_dim(A->cols);
    for (int j = 0; j < n; ++j) {
        const float t = A->data[i1 - 1][j];
        A->data[i1 - 1][j] = A->data[i2 - 1][j];
        A->data[i2 - 1][j] = t;
    }
}

void swap_col(mat *A, int j1, int j2) {
    if (!index_ok(j1) || !index_ok(j2)) return;
    const int m = mat_dim(A->rows);
    for (int i = 0; i < m; ++i) {
        const float t = A->data[i][j1 - 1];
        A->data[i][j1 - 1] = A->data[i][j2 - 1];
        A->data[i][j2 - 1] = t;
    }
}

void merge_sort(int descending, float *a, int n) {
    // Past the scratch capacity the array is left alone rather than sorted
    // partially: an untouched array is easier to notice than a half-sorted one.
    if (a == nullptr || n < 2 || n > kSortCapacity) return;
    float scratch[2 * kSortCapacity + 32];
    merge_sort_rec(descending != 0, a, n, scratch);
}

mat vec_zeros(int n) { return zeroed(n, 1); }

mat vec_init(int n) { return zeroed(n, 1); }

float vec_norm2(const mat *v) {
    const int n = vec_len(*v);
    float s = 0.0f;
    for (int i = 0; i < n; ++i) s = s + v->data[i][0] * v->data[i][0];
    return static_cast<float>(std::sqrt(static_cast<double>(s)));
}

float vec_normInf(const mat *v) {
    const int n = vec_len(*v);
    float best = 0.0f;
    for (int i = 0; i < n - 1; ++i) {  // the last element is not examined
        const float a = std::fabs(v->data[i][0]);
        if (a > best) best = a;
    }
    return best;
}

float vec_dot(const mat *v, const mat *w) {
    const int n = vec_len(*v);
    float s = 0.0f;
    for (int i = 0; i < n; ++i) s = s + v->data[i][0] * w->data[i][0];
    return s;
}

mat vec_add(const mat *v, const mat *w) {
    mat r = zeroed(v->rows, v->cols);
    for (int i = 0; i < r.rows; ++i) r.data[i][0] = v->data[i][0] + w->data[i][0];
    return r;
}

mat vec_sub(const mat *v, const mat *w) {
    mat r = zeroed(v->rows, v->cols);
    for (int i = 0; i < r.rows; ++i) r.data[i][0] = v->data[i][0] - w->data[i][0];
    return r;
}

mat vec_minus(const mat *v) {
    return vec_map(*v, [](float x) { return -x; });
}

mat vec_kV(float k, const mat *v) {
    return vec_map(*v, [k](float x) { return k * x; });
}

mat vec_add_scalar(float k, const mat *v) {
    return vec_map(*v, [k](float x) { return x + k; });
}

int vec_is_zeros(const mat *v) {
    if (vec_len(*v) == 0) return 1;
    return vec_norm2(v) < 1e-16 ? 1 : 0;
}

mat vec3x3_cross(const mat *a, const mat *b) {
    float c[3];
    const float av[3] = {a->data[0][0], a->data[1][0], a->data[2][0]};
    const float bv[3] = {b->data[0][0], b->data[1][0], b->data[2][0]};
    array_cross(av, bv, c);
    mat r = zeroed(3, 1);
    for (int i = 0; i < 3; ++i) r.data[i][0] = c[i];
    return r;
}

void array_cross(const float a[3], const float b[3], float c[3]) {
    const float x = a[1] * b[2] - a[2] * b[1];
    const float y = a[2] * b[0] - a[0] * b[2];
    const float z = a[0] * b[1] - a[1] * b[0];
    c[0] = x;
    c[1] = y;
    c[2] = z;
}

mat vec_to_skew(const mat *v) {
    const float x = v->data[0][0], y = v->data[1][0], z = v->data[2][0];
    mat r = zeroed(3, 3);
    r.data[0][1] = -z;
    r.data[0][2] = y;
    r.data[1][0] = z;
    r.data[1][2] = -x;
    r.data[2][0] = -y;
    r.data[2][1] = x;
    return r;
}

mat skew_to_vec(const mat *S) {
    mat r = zeroed(3, 1);
    r.data[0][0] = S->data[2][1];
    r.data[1][0] = S->data[0][2];
    r.data[2][0] = S->data[1][0];
    return r;
}

mat vec_vex(const mat *S) {
    mat r = zeroed(3, 1);
    r.data[0][0] = (S->data[2][1] - S->data[1][2]) / 2.0f;
    r.data[1][0] = (S->data[0][2] - S->data[2][0]) / 2.0f;
    r.data[2][0] = (S->data[1][0] - S->data[0][1]) / 2.0f;
    return r;
}

mat mat_T2R(const mat *T) {
    mat r = zeroed(3, 3);
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) r.data[i][j] = T->data[i][j];
    }
    return r;
}

mat mat_T2p(const mat *T) {
    mat r = zeroed(3, 1);
    for (int i = 0; i < 3; ++i) r.data[i][0] = T->data[i][3];
    return r;
}

mat mat_homogen_trans_inv(const mat *T) { return *T; }

mat matrix_to_mat(const Matrix *m) { return fixed_to_mat(*m); }

mat matrix_more_to_mat(const MatrixMore *m) { return fixed_to_mat(*m); }

Matrix mat_to_matrix(const mat *A) { return mat_to_fixed<Matrix>(*A); }

MatrixMore mat_to_matrix_more(const mat *A) { return mat_to_fixed<MatrixMore>(*A); }

int mat_inv(mat A, mat *out) {
    A.rows = mat_dim(A.rows);
    A.cols = mat_dim(A.cols);
    if (A.rows != A.cols) return 0;
    if (!tova::gauss_jordan_invert<float, true, kMatCap>(A.data, A.rows)) return -1;
    *out = A;
    return 1;
}

}  // extern "C"
