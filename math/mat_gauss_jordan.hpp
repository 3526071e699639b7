#ifndef TOVA_MATH_MAT_GAUSS_JORDAN_HPP
#define TOVA_MATH_MAT_GAUSS_JORDAN_HPP
// In-place inversion by Jordan exchanges with full pivoting, shared by
// mat_inv (float arithmetic, stops on a non-finite factor) and
// algo_matrix_tool_inv (reciprocal, factors and updates in double, no test).
#include <cmath>

namespace tova {

template <int N>
inline void gj_swap_rows(float (*a)[N], int n, int r1, int r2) {
    for (int j = 0; j < n; ++j) {
        const float t = a[r1][j];
        a[r1][j] = a[r2][j];
        a[r2][j] = t;
    }
}

template <int N>
inline void gj_swap_cols(float (*a)[N], int n, int c1, int c2) {
    for (int i = 0; i < n; ++i) {
        const float t = a[i][c1];
        a[i][c1] = a[i][c2];
        a[i][c2] = t;
    }
}

// Inverts the leading n x n block (n <= N) of a in place. Step k moves the
// first largest |element| of the trailing block to (k, k), then exchanges:
// pivot -> 1/p, pivot row -> -a(k,j)/p, pivot column -> a(i,k)/p, the rest
// a(i,j) + a(i,k) * (-a(k,j)/p). Acc is the arithmetic type of those steps;
// results are stored as float. With CheckFinite, returns false as soon as a
// pivot-row factor is infinite or NaN (a is then partly processed).
template <typename Acc, bool CheckFinite, int N>
bool gauss_jordan_invert(float (*a)[N], int n) {
    int pivot_row[N];
    int pivot_col[N];
    Acc factor[N];
    for (int k = 0; k < n; ++k) {
        int pr = k;
        int pc = k;
        Acc largest = std::fabs(static_cast<Acc>(a[k][k]));
        for (int i = k; i < n; ++i) {
            for (int j = k; j < n; ++j) {
                const Acc v = std::fabs(static_cast<Acc>(a[i][j]));
                if (v > largest) {  // strictly: the first maximum wins
                    largest = v;
                    pr = i;
                    pc = j;
                }
            }
        }
        if (pr != k) gj_swap_rows<N>(a, n, k, pr);
        if (pc != k) gj_swap_cols<N>(a, n, k, pc);
        pivot_row[k] = pr;
        pivot_col[k] = pc;

        const Acc p = static_cast<Acc>(a[k][k]);
        for (int j = 0; j < n; ++j) factor[j] = -static_cast<Acc>(a[k][j]) / p;
        factor[k] = Acc(1) / p;
        if (CheckFinite) {
            for (int j = 0; j < n; ++j) {
                if (!std::isfinite(factor[j])) return false;
            }
        }
        for (int i = 0; i < n; ++i) {
            if (i == k) continue;
            const Acc aik = static_cast<Acc>(a[i][k]);
            float *row = a[i];
            // Column k is updated too and then overwritten: a branch-free row
            // update that the compiler can vectorise.
            for (int j = 0; j < n; ++j) row[j] = static_cast<float>(static_cast<Acc>(row[j]) + aik * factor[j]);
            row[k] = static_cast<float>(aik / p);
        }
        for (int j = 0; j < n; ++j) a[k][j] = static_cast<float>(factor[j]);
    }
    // The row and column interchanges permuted the unknowns and equations;
    // undoing them in reverse order turns the exchanged tableau into A^-1.
    for (int k = n - 1; k >= 0; --k) {
        if (pivot_row[k] != k) gj_swap_cols<N>(a, n, k, pivot_row[k]);
        if (pivot_col[k] != k) gj_swap_rows<N>(a, n, k, pivot_col[k]);
    }
    return true;
}

}  // namespace tova

#endif
