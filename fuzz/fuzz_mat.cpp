// The `mat` library and its decompositions with random sizes -2..25 and random
// contents (plain, small integers so that exact singularity comes up,
// symmetric, repeated rows), plus merge_sort past its scratch capacity, the
// 9 x 9 matrix tools and the array helpers of the seven-axis solvers.
// Sizes outside 0..20 must be clamped as tova_matrix.h documents: every
// result carries sizes inside 0..20 and is zero outside its block, and
// nothing outside a record (or an exactly sized array) is touched.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "fuzz_input.hpp"
#include "tova_algorithm.h"

using tova_fuzz::Input;

namespace {

void require(bool ok) {
    if (!ok) std::abort();
}

int clamp20(int v) { return v < 0 ? 0 : (v > 20 ? 20 : v); }

// A returned record: clamped sizes, zero outside the block.
const mat &check(const mat &m) {
    require(m.rows >= 0 && m.rows <= 20 && m.cols >= 0 && m.cols <= 20);
    for (int i = 0; i < 20; ++i)
        for (int j = 0; j < 20; ++j)
            if (i >= m.rows || j >= m.cols) require(m.data[i][j] == 0.0f && !std::signbit(m.data[i][j]));
    return m;
}

mat random_mat(Input &in, int rows, int cols) {
    mat m;
    std::memset(&m, 0, sizeof m);
    m.rows = rows;
    m.cols = cols;
    const int r = clamp20(rows), c = clamp20(cols);
    const uint8_t style = in.byte() % 5;
    for (int i = 0; i < r; ++i)
        for (int j = 0; j < c; ++j) {
            switch (style) {
            case 0: m.data[i][j] = in.real(4.0f); break;
            case 1: m.data[i][j] = static_cast<float>(static_cast<int>(in.byte() % 7) - 3); break;
            case 2: m.data[i][j] = (j < i && j < r && i < c) ? m.data[j][i] : in.real(4.0f); break;
            case 3: m.data[i][j] = (i > 0 && (i & 1)) ? m.data[i - 1][j] : in.real(4.0f); break;
            default: m.data[i][j] = (in.byte() & 3) ? in.real(4.0f) : 0.0f; break;
            }
        }
    if (style == 2)  // symmetric where square
        for (int i = 0; i < std::min(r, c); ++i)
            for (int j = 0; j < i; ++j) m.data[i][j] = m.data[j][i];
    if (in.byte() % 8 == 0)  // garbage outside the block must not matter
        for (int i = 0; i < 20; ++i)
            for (int j = 0; j < 20; ++j)
                if (i >= r || j >= c) m.data[i][j] = in.real(100.0f);
    return m;
}

int size(Input &in) { return in.range(-2, 25); }

void elementwise(Input &in, const mat &A, const mat &B, volatile float &sink) {
    const int r = clamp20(A.rows), c = clamp20(A.cols);
    check(mat_init(A.rows, A.cols));
    require(mat_zeros(A.rows, A.cols).rows == r);
    require(check(mat_eye(A.rows, A.cols)).cols == c);
    mat S = A;
    std::vector<float> values(static_cast<size_t>(r * c) + 1);  // +1: never empty
    in.reals(values.data(), r * c);
    mat_set_value(&S, values.data());
    require(S.rows == A.rows && S.cols == A.cols);
    sink = sink + static_cast<float>(mat_is_hermitian(&A) + mat_is_equal(&A, &S));
    check(mat_mult(&A, &B));
    check(mat_T(&A));
    check(mat_add(&A, &B));
    check(mat_sub(&A, &B));
    check(mat_kM(in.real(), &A));
    sink = sink + mat_find_abs_max(&A) + mat_find_abs_min(&A) + mat_trace(&A);
    check(mat_diag(&A));

    const int i = in.range(-2, 23), j = in.range(-2, 23);
    const mat row = check(mat_get_Mrow_i(&A, i));
    const mat col = check(mat_get_Mcol_j(&A, j));
    mat T = A;
    mat_set_Mrow_i(&B, i, &T);
    mat_set_Mcol_j(&B, j, &T);
    swap_row(&T, i, in.range(-2, 23));
    swap_col(&T, j, in.range(-2, 23));
    if (i < 1 || i > 20 || j < 1 || j > 20) {  // ignored numbers change nothing
        mat U = A;
        mat_set_Mrow_i(&B, i < 1 || i > 20 ? i : 0, &U);
        mat_set_Mcol_j(&B, j < 1 || j > 20 ? j : 0, &U);
        swap_row(&U, 0, 21);
        swap_col(&U, -1, 1);
        require(std::memcmp(&U, &A, sizeof U) == 0);
    }
    sink = sink + row.data[0][0] + col.data[0][0];

    // vectors: column 0, length max(rows, cols)
    check(vec_zeros(A.rows));
    check(vec_init(A.cols));
    sink = sink + vec_norm2(&A) + vec_normInf(&A) + vec_dot(&A, &B);
    // Element-wise vector operations walk column 0 (over rows, or over
    // max(rows, cols)), so anything but a column leaves values outside the
    // block; only the sizes are checked then.
    const auto vec_result = [&](const mat &v) {
        const int vr = clamp20(A.rows), vc = clamp20(A.cols);
        if ((vc == 1 && vr >= 1) || (vr == 0 && vc == 0)) check(v);
        else require(v.rows == clamp20(A.rows) && v.cols == clamp20(A.cols));
    };
    vec_result(vec_add(&A, &B));
    vec_result(vec_sub(&A, &B));
    vec_result(vec_minus(&A));
    vec_result(vec_kV(in.real(), &A));
    vec_result(vec_add_scalar(in.real(), &A));
    sink = sink + static_cast<float>(vec_is_zeros(&A));
    check(vec3x3_cross(&A, &B));
    check(vec_to_skew(&A));
    check(skew_to_vec(&A));
    check(vec_vex(&A));
    float a3[3], b3[3], c3[3];
    in.reals(a3, 3);
    in.reals(b3, 3);
    array_cross(a3, b3, c3);
    sink = sink + c3[1];

    check(mat_T2R(&A));
    check(mat_T2p(&A));
    const mat H = mat_homogen_trans_inv(&A);  // documented as a plain copy, sizes included
    require(std::memcmp(&H, &A, sizeof H) == 0);
    const Matrix m4 = mat_to_matrix(&A);
    require(m4.rows == std::min(r, 4) && m4.cols == std::min(c, 4));
    const MatrixMore m7 = mat_to_matrix_more(&A);
    require(m7.rows == std::min(r, 7) && m7.cols == std::min(c, 7));
    Matrix x4 = m4;
    x4.rows = static_cast<int16_t>(in.range(-3, 9));
    MatrixMore x7 = m7;
    x7.cols = static_cast<int16_t>(in.range(-3, 12));
    check(matrix_to_mat(&x4));
    check(matrix_more_to_mat(&x7));
}

void decompositions(const mat &A, volatile float &sink) {
    const int r = clamp20(A.rows), c = clamp20(A.cols);
    mat out;
    std::memset(&out, 0x5A, sizeof out);
    const mat before = out;
    const int inv = mat_inv(A, &out);
    require(inv == 1 || inv == 0 || inv == -1);
    if (inv == 1) {  // the whole record comes back: A's elements outside the block too
        require(out.rows == r && out.cols == c);
        for (int i = 0; i < 20; ++i)
            for (int j = 0; j < 20; ++j)
                if (i >= r || j >= c) require(std::memcmp(&out.data[i][j], &A.data[i][j], sizeof(float)) == 0);
    } else {
        require(std::memcmp(&out, &before, sizeof out) == 0);
    }

    mat L, U, P;
    const int lu = mat_lu(&A, &L, &U, &P);
    require(lu == 0 || lu == 1);
    if (lu == 1) check(L), check(U), check(P);
    if (r == c) sink = sink + mat_det(&A);  // (non-square: a message and +inf)
    const int rank = mat_rank(&A);
    require(rank >= -1 && rank <= std::min(r, c));

    mat Q, R;
    const int qr = mat_qr(&A, &Q, &R);
    require(qr == 0 || qr == 1);
    if (qr == 1) require(check(Q).rows == r && check(R).cols == c);

    const mat eig = check(mat_eig(&A));
    require(r == c ? eig.rows == r : eig.rows == 0);
    mat values, vectors;
    const int he = mat_hermitian_eig(&A, &values, (r & 1) ? &vectors : nullptr);
    require(he == 0 || he == 1);
    if (he == 1) check(values);

    mat S, V;
    const int svd = mat_svd(&A, &U, &S, &V);
    require(svd == 0 || svd == 1);
    if (svd == 1) {
        check(U), check(S), check(V);
        for (int k = 1; k < std::min(r, c); ++k) require(!(S.data[k][k] > S.data[k - 1][k - 1]));
    }
    const int fast = mat_fast_svd(&A, (c & 1) ? &U : nullptr, &S, (r & 1) ? nullptr : &V);
    require(fast == 0 || fast == 1);
    if (fast == 1) {
        check(S);
        for (int k = 1; k < std::min(r, c); ++k) require(!(S.data[k][k] > S.data[k - 1][k - 1]));
    }
    require(check(mat_pinv(&A)).rows == c);
    require(check(mat_pinv_svd(&A)).rows == c);
    sink = sink + mat_cond(&A);
}

// The 9 x 9 tools: counts above 9 are treated as 9, below 1 give empty results.
void matrix_tools(Input &in, volatile float &sink) {
    AlgoMatrix A, B;
    std::memset(&A, 0, sizeof A);
    std::memset(&B, 0, sizeof B);
    A.rows = in.range(-2, 12);
    A.cols = in.range(-2, 12);
    B.rows = A.cols;
    B.cols = in.range(-2, 12);
    in.reals(&A.data[0][0], 81);
    in.reals(&B.data[0][0], 81);
    const AlgoMatrix t = algo_matrix_tool_t(A);
    const AlgoMatrix m = algo_matrix_tool_m(A, B);
    require(t.rows <= 9 && t.cols <= 9 && m.rows <= 9 && m.cols <= 9);
    AlgoMatrix sq = A;
    sq.cols = sq.rows;
    const AlgoMatrix inv = algo_matrix_tool_inv(sq);
    require(inv.rows <= 9 && inv.cols <= 9);
    const int32_t rank = algo_rank(&A);
    require(rank >= 0 && rank <= 3);
    sink = sink + t.data[0][0] + m.data[0][0] + inv.data[0][0];
}

// merge_sort on an exactly sized array: sorted up to 2000 floats, untouched past.
void sorting(Input &in) {
    const int n = in.range(-1, 2100);
    const int descending = in.byte() & 1;
    std::vector<float> a(static_cast<size_t>(n > 0 ? n : 1));
    const uint8_t style = in.byte() % 3;
    for (int i = 0; i < n; ++i)
        a[static_cast<size_t>(i)] = style == 0 ? in.real() : static_cast<float>(in.byte() % 9);
    const std::vector<float> before = a;
    merge_sort(descending, a.data(), n);
    if (n > 2000) require(std::memcmp(a.data(), before.data(), a.size() * sizeof(float)) == 0);
    bool has_nan = false;
    for (int i = 0; i < n; ++i) has_nan = has_nan || std::isnan(a[static_cast<size_t>(i)]);
    if (n <= 2000 && !has_nan) {
        for (int i = 1; i < n; ++i)
            require(descending ? a[i - 1] >= a[i] : a[i - 1] <= a[i]);
    }
}

// Dense array helpers: exactly rows*cols floats touched.
void array_helpers(Input &in, const mat &A, const mat &B, volatile float &sink) {
    const int ra = in.range(-1, 7), ca = in.range(-1, 7), cb = in.range(-1, 7);
    const auto n = [](int a, int b) { return static_cast<size_t>(a > 0 && b > 0 ? a * b : 0) + 1; };
    std::vector<float> x(n(ra, ca)), y(n(ca, cb)), z(n(ra, cb), -5.0f);
    in.reals(x.data(), static_cast<int>(x.size()));
    in.reals(y.data(), static_cast<int>(y.size()));
    marr_m(x.data(), y.data(), z.data(), ra, ca, cb);
    require(z.back() == -5.0f);
    sink = sink + static_cast<float>(utils_is_zero_vec(x.data(), static_cast<int>(x.size()) - 1));
    check(utils_angle_axis_diff(&A, &B));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size_bytes) {
    Input in(data, size_bytes);
    volatile float sink = 0;
    const uint8_t what = in.byte();
    int rows = size(in), cols = size(in);
    if (what & 1) cols = rows;  // square shapes are where the decompositions live
    const mat A = random_mat(in, rows, cols);
    const int brows = (what & 2) ? cols : size(in);
    const mat B = random_mat(in, brows, (what & 4) ? rows : size(in));
    switch ((what >> 3) % 4) {
    case 0: elementwise(in, A, B, sink); break;
    case 1: decompositions(A, sink); break;
    case 2: matrix_tools(in, sink); sorting(in); break;
    default: array_helpers(in, A, B, sink); break;
    }
    (void)sink;
    return 0;
}
