// Fixed 4x4 / 7x7 float matrices: thin C wrappers over the templates in
// fixed_matrix.hpp, plus the closed-form inverse of the banded 7x7 form.
#include "math/fixed_matrix.hpp"

extern "C" {

Matrix zero_matrix(int16_t rows, int16_t cols) { return tova::fm_zero<Matrix>(rows, cols); }
Matrix unit_matrix(int16_t n) { return tova::fm_identity<Matrix>(n); }
MatrixMore unit_matrix_dim7(int16_t n) { return tova::fm_identity<MatrixMore>(n); }

Matrix matrix_t(const Matrix *A) { return tova::fm_transpose(*A); }
MatrixMore matrix_t_dim7(const MatrixMore *A) { return tova::fm_transpose(*A); }

Matrix matrix_m(const Matrix *A, const Matrix *B) { return tova::fm_mul(*A, *B); }
MatrixMore matrix_m_dim7(const MatrixMore *A, const MatrixMore *B) { return tova::fm_mul(*A, *B); }

Matrix matrix_a(const Matrix *A, const Matrix *B, int sign) { return tova::fm_add(*A, *B, sign); }
MatrixMore matrix_a_dim7(const MatrixMore *A, const MatrixMore *B, int sign) {
    return tova::fm_add(*A, *B, sign);
}

Matrix matrix_m_num(float k, const Matrix *A) { return tova::fm_scale(k, *A); }
MatrixMore matrix_m_num_dim7(float k, const MatrixMore *A) { return tova::fm_scale(k, *A); }

Matrix matrix_T2R(const Matrix *T) {
    // Only the 3x3 block is defined; the rest is zeroed like every producer.
    Matrix r = tova::fm_zero<Matrix>(3, 3);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) r.data[i][j] = T->data[i][j];
    return r;
}

Matrix matrix_inv(Matrix *A) {
    tova::fm_invert(*A);
    return *A;
}

MatrixMore matrix_inv_dim7(MatrixMore *A) {
    tova::fm_invert(*A);
    return *A;
}

Matrix matrix_inv_full_rank(const Matrix *A) { return tova::inv_full_rank4(*A); }
Matrix matrix_inv_coordinate_system(const Matrix *T) { return tova::inv_transform(*T); }

// The band: row 0 = e0, rows 1..5 tridiagonal (row i spans columns i-1..i+1),
// row 6 taken as e6. With T the tridiagonal 5x5 core (rows/columns 1..5), the
// inverse is [1 0 0; -T^-1 u  T^-1  -T^-1 v; 0 0 1] where u = A(1,0) e1 and
// v = A(5,6) e5. T^-1 comes from the closed form for tridiagonal matrices:
// cofactor(i, j) = (-1)^(i+j) * theta_min(i,j) * phi_max(i,j)+1 * (product of
// the off-diagonals between i and j), theta / phi the leading / trailing
// principal minors, all divided by det T = theta_5.
MatrixMore simp_matrix_inv77(const MatrixMore *A) {
    const auto& m = A->data;
    float d[5], sup[4], sub[4];
    for (int i = 0; i < 5; ++i) d[i] = m[i + 1][i + 1];
    for (int i = 0; i < 4; ++i) {
        sup[i] = m[i + 1][i + 2];
        sub[i] = m[i + 2][i + 1];
    }
    float theta[6], phi[6];  // theta[k]: minor of the first k rows; phi[k]: of rows k..4
    theta[0] = 1.0f;
    theta[1] = d[0];
    for (int k = 1; k < 5; ++k) theta[k + 1] = d[k] * theta[k] - sup[k - 1] * sub[k - 1] * theta[k - 1];
    phi[5] = 1.0f;
    phi[4] = d[4];
    for (int k = 3; k >= 0; --k) phi[k] = d[k] * phi[k + 1] - sup[k] * sub[k] * phi[k + 2];
    const float k = 1.0f / theta[5];

    float cof[5][5];
    for (int i = 0; i < 5; ++i)
        for (int j = 0; j < 5; ++j) {
            float p;
            if (i <= j) {
                p = theta[i] * phi[j + 1];
                for (int l = i; l < j; ++l) p *= sup[l];
            } else {
                p = theta[j] * phi[i + 1];
                for (int l = j; l < i; ++l) p *= sub[l];
            }
            cof[i][j] = ((i + j) & 1) ? -p : p;
        }

    MatrixMore r = tova::fm_zero<MatrixMore>(7, 7);
    r.data[0][0] = 1.0f;
    r.data[6][6] = 1.0f;
    const float u = m[1][0], v = m[5][6];
    for (int i = 0; i < 5; ++i) {
        r.data[i + 1][0] = -(cof[i][0] * u) * k;
        for (int j = 0; j < 5; ++j) r.data[i + 1][j + 1] = cof[i][j] * k;
        r.data[i + 1][6] = -(cof[i][4] * v) * k;
    }
    return r;
}

}  // extern "C"
