// Decompositions of `mat`: LU, determinant, rank, QR, eigenvalues (general and
// symmetric), SVD from the Gram matrix, the two pseudo-inverses and the
// condition number. They compute in double on stack workspaces and round the
// results to float; every iteration is capped.
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <limits>
#include <utility>

#include "math/mat_linalg.hpp"
#include "math/tova_matrix.h"

namespace tova {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr int kMaxStepsPerEigenvalue = 30;

// Symmetric eigenvalues deflate at this relative off-diagonal size.
constexpr double kHermitianBound = 1e-16;
// The condition number needs far less: its eigenvalues are only compared.
constexpr double kCondBound = 1e-10;
// A left/right singular vector whose re-orthogonalisation cancels below this
// fraction of its length has lost its direction and is completed instead.
constexpr double kSvdCancelBound = 1e-5;

mat zeroed(int rows, int cols) { return mat_zeroed(rows, cols); }

mat filled(int rows, int cols, float v) {
    mat r = zeroed(rows, cols);
    for (int i = 0; i < r.rows; ++i) {
        for (int j = 0; j < r.cols; ++j) r.data[i][j] = v;
    }
    return r;
}

// Two passes of classical Gram-Schmidt of w against the flagged columns
// ("twice is enough": as accurate as modified Gram-Schmidt twice, and the
// projections of a pass are independent of each other).
void reorthogonalise(double *w, double (*cols)[kMatCap], int len, int count, const bool *have) {
    double c[kMatCap];
    for (int pass = 0; pass < 2; ++pass) {
        for (int k = 0; k < count; ++k) c[k] = have[k] ? dot(cols[k], w, len) : 0.0;
        for (int k = 0; k < count; ++k) {
            if (!have[k]) continue;
            for (int i = 0; i < len; ++i) w[i] -= c[k] * cols[k][i];
        }
    }
}

// Householder vector of x[0..len): on return v holds it, beta = 2 / (v.v) and
// the reflected x would be (alpha, 0, ..., 0). beta = 0 when x is zero.
void householder(const double *x, int len, double *v, double &beta, double &alpha) {
    double norm2 = 0.0;
    for (int i = 0; i < len; ++i) {
        v[i] = x[i];
        norm2 += x[i] * x[i];
    }
    beta = 0.0;
    alpha = 0.0;
    if (norm2 == 0.0) return;
    alpha = -std::copysign(std::sqrt(norm2), x[0]);
    v[0] -= alpha;
    double vnorm2 = 0.0;
    for (int i = 0; i < len; ++i) vnorm2 += v[i] * v[i];
    beta = 2.0 / vnorm2;
}

// Sorts values descending (NaN last) and carries the optional column arrays.
void sort_descending(int n, double *d, double (*vec)[kMatCap], int len) {
    for (int i = 1; i < n; ++i) {
        int j = i;
        while (j > 0 && (d[j] > d[j - 1] || (std::isnan(d[j - 1]) && !std::isnan(d[j])))) {
            const double t = d[j];
            d[j] = d[j - 1];
            d[j - 1] = t;
            if (vec != nullptr) {
                for (int k = 0; k < len; ++k) {
                    const double s = vec[j][k];
                    vec[j][k] = vec[j - 1][k];
                    vec[j - 1][k] = s;
                }
            }
            --j;
        }
    }
}

// Householder reduction of the symmetric block to tridiagonal form T = Q^T A Q;
// d, e get T's diagonal and subdiagonal (e[n-1] = 0), q (if given) Q's columns.
void tridiagonalise(int n, double (*a)[kMatCap], double *d, double *e, double (*q)[kMatCap]) {
    if (q != nullptr) {
        for (int k = 0; k < n; ++k) {
            for (int i = 0; i < n; ++i) q[k][i] = (i == k) ? 1.0 : 0.0;
        }
    }
    double x[kMatCap], v[kMatCap], p[kMatCap], s[kMatCap];
    for (int k = 0; k + 2 < n; ++k) {
        const int len = n - k - 1;
        for (int i = 0; i < len; ++i) x[i] = a[k + 1 + i][k];
        double beta, alpha;
        householder(x, len, v, beta, alpha);
        if (beta == 0.0) continue;
        // A22 <- H A22 H with H = I - beta v v^T, as a symmetric rank-2 update.
        for (int i = 0; i < len; ++i) {
            double t = 0.0;
            for (int j = 0; j < len; ++j) t += a[k + 1 + i][k + 1 + j] * v[j];
            p[i] = beta * t;
        }
        const double kk = 0.5 * beta * dot(v, p, len);
        for (int i = 0; i < len; ++i) p[i] -= kk * v[i];
        for (int i = 0; i < len; ++i) {
            for (int j = 0; j < len; ++j) {
                a[k + 1 + i][k + 1 + j] -= v[i] * p[j] + p[i] * v[j];
            }
        }
        a[k + 1][k] = alpha;
        a[k][k + 1] = alpha;
        for (int i = 1; i < len; ++i) {
            a[k + 1 + i][k] = 0.0;
            a[k][k + 1 + i] = 0.0;
        }
        if (q != nullptr) {  // Q <- Q H
            for (int r = 0; r < n; ++r) s[r] = 0.0;
            for (int i = 0; i < len; ++i) {
                for (int r = 0; r < n; ++r) s[r] += q[k + 1 + i][r] * v[i];
            }
            for (int i = 0; i < len; ++i) {
                const double f = beta * v[i];
                for (int r = 0; r < n; ++r) q[k + 1 + i][r] -= f * s[r];
            }
        }
    }
    for (int i = 0; i < n; ++i) d[i] = a[i][i];
    for (int i = 0; i + 1 < n; ++i) e[i] = a[i + 1][i];
    if (n > 0) e[n - 1] = 0.0;
}

// sqrt(a^2 + b^2) without std::hypot's (slow) overflow guard: the operands
// derive from float data, so their squares stay far inside double's range.
inline double pythag(double a, double b) { return std::sqrt(a * a + b * b); }

// Implicit QL with Wilkinson shifts on the tridiagonal (d, e); rotations are
// applied to the column arrays z when given.
bool tridiagonal_ql(int n, double *d, double *e, double (*z)[kMatCap], double bound) {
    for (int l = 0; l < n; ++l) {
        int steps = 0;
        int m;
        do {
            for (m = l; m < n - 1; ++m) {
                const double dd = std::fabs(d[m]) + std::fabs(d[m + 1]);
                const double em = std::fabs(e[m]);
                if (em <= bound * dd || em < DBL_MIN) break;
            }
            if (m != l) {
                if (steps++ == kMaxStepsPerEigenvalue) return false;
                double g = (d[l + 1] - d[l]) / (2.0 * e[l]);
                double r = pythag(g, 1.0);
                g = d[m] - d[l] + e[l] / (g + std::copysign(r, g));
                double s = 1.0, c = 1.0, p = 0.0;
                int i;
                for (i = m - 1; i >= l; --i) {
                    double f = s * e[i];
                    const double b = c * e[i];
                    r = pythag(f, g);
                    e[i + 1] = r;
                    if (r == 0.0) {  // underflow: split here and retry
                        d[i + 1] -= p;
                        e[m] = 0.0;
                        break;
                    }
                    s = f / r;
                    c = g / r;
                    g = d[i + 1] - p;
                    r = (d[i] - g) * s + 2.0 * c * b;
                    p = s * r;
                    d[i + 1] = g + p;
                    g = c * r - b;
                    if (z != nullptr) {
                        double *zi = z[i];
                        double *zi1 = z[i + 1];
                        for (int k = 0; k < n; ++k) {
                            f = zi1[k];
                            zi1[k] = s * zi[k] + c * f;
                            zi[k] = c * zi[k] - s * f;
                        }
                    }
                }
                if (r == 0.0 && i >= l) continue;
                d[l] -= p;
                e[l] = g;
                e[m] = 0.0;
            }
        } while (m != l);
    }
    return true;
}

// ---- general (non-symmetric) eigenvalues ----

// Scales rows and columns by powers of two (exact) to even out their norms.
void balance(int n, double (*a)[kMatCap]) {
    const double radix = 2.0, sqrdx = radix * radix;
    for (int pass = 0; pass < 64; ++pass) {
        bool done = true;
        for (int i = 0; i < n; ++i) {
            double r = 0.0, c = 0.0;
            for (int j = 0; j < n; ++j) {
                if (j == i) continue;
                c += std::fabs(a[j][i]);
                r += std::fabs(a[i][j]);
            }
            if (c == 0.0 || r == 0.0) continue;
            double g = r / radix, f = 1.0;
            const double s = c + r;
            for (int guard = 0; c < g && guard < 2100; ++guard) {
                f *= radix;
                c *= sqrdx;
            }
            g = r * radix;
            for (int guard = 0; c > g && guard < 2100; ++guard) {
                f /= radix;
                c /= sqrdx;
            }
            if ((c + r) / f < 0.95 * s) {
                done = false;
                g = 1.0 / f;
                for (int j = 0; j < n; ++j) a[i][j] *= g;
                for (int j = 0; j < n; ++j) a[j][i] *= f;
            }
        }
        if (done) break;
    }
}

// Reduction to upper Hessenberg form by Householder similarity transforms.
void hessenberg(int n, double (*a)[kMatCap]) {
    double x[kMatCap], v[kMatCap];
    for (int k = 0; k + 2 < n; ++k) {
        const int len = n - k - 1;
        for (int i = 0; i < len; ++i) x[i] = a[k + 1 + i][k];
        double beta, alpha;
        householder(x, len, v, beta, alpha);
        if (beta == 0.0) continue;
        for (int j = k; j < n; ++j) {  // H * A on rows k+1..n-1
            double s = 0.0;
            for (int i = 0; i < len; ++i) s += v[i] * a[k + 1 + i][j];
            s *= beta;
            for (int i = 0; i < len; ++i) a[k + 1 + i][j] -= s * v[i];
        }
        for (int r = 0; r < n; ++r) {  // (H A) * H on columns k+1..n-1
            double s = 0.0;
            for (int i = 0; i < len; ++i) s += a[r][k + 1 + i] * v[i];
            s *= beta;
            for (int i = 0; i < len; ++i) a[r][k + 1 + i] -= s * v[i];
        }
        a[k + 1][k] = alpha;
        for (int i = 1; i < len; ++i) a[k + 1 + i][k] = 0.0;
    }
}

// Francis double-shift QR on the Hessenberg matrix, with exceptional shifts
// after 10 and 20 steps. Real parts go to wr; an eigenvalue (pair) that needs
// more than 30 steps ends the iteration and everything still unsolved is NaN.
void hessenberg_qr(int n, double (*a)[kMatCap], double *wr) {
    const double eps = DBL_EPSILON;
    double anorm = 0.0;
    for (int i = 0; i < n; ++i) {
        for (int j = (i > 0 ? i - 1 : 0); j < n; ++j) anorm += std::fabs(a[i][j]);
    }
    int nn = n - 1;
    double t = 0.0;
    while (nn >= 0) {
        int its = 0;
        int l;
        do {
            for (l = nn; l >= 1; --l) {
                double s = std::fabs(a[l - 1][l - 1]) + std::fabs(a[l][l]);
                if (s == 0.0) s = anorm;
                if (std::fabs(a[l][l - 1]) <= eps * s) {
                    a[l][l - 1] = 0.0;
                    break;
                }
            }
            double x = a[nn][nn];
            if (l == nn) {  // one real root
                wr[nn] = x + t;
                --nn;
            } else {
                double y = a[nn - 1][nn - 1];
                double w = a[nn][nn - 1] * a[nn - 1][nn];
                if (l == nn - 1) {  // a 2 x 2 block: two roots
                    const double p = 0.5 * (y - x);
                    const double q = p * p + w;
                    const double z = std::sqrt(std::fabs(q));
                    x += t;
                    if (q >= 0.0) {
                        const double zz = p + std::copysign(z, p);
                        wr[nn - 1] = wr[nn] = x + zz;
                        if (zz != 0.0) wr[nn] = x - w / zz;
                    } else {
                        wr[nn - 1] = wr[nn] = x + p;
                    }
                    nn -= 2;
                } else {
                    if (its == kMaxStepsPerEigenvalue) {
                        for (int i = 0; i <= nn; ++i) wr[i] = kNaN;
                        return;
                    }
                    if (its == 10 || its == 20) {
                        t += x;
                        for (int i = 0; i <= nn; ++i) a[i][i] -= x;
                        const double s = std::fabs(a[nn][nn - 1]) + std::fabs(a[nn - 1][nn - 2]);
                        x = 0.75 * s;
                        y = x;
                        w = -0.4375 * s * s;
                    }
                    ++its;
                    int m;
                    double p = 0.0, q = 0.0, r = 0.0, z = 0.0;
                    for (m = nn - 2; m >= l; --m) {
                        z = a[m][m];
                        r = x - z;
                        double s = y - z;
                        p = (r * s - w) / a[m + 1][m] + a[m][m + 1];
                        q = a[m + 1][m + 1] - z - r - s;
                        r = a[m + 2][m + 1];
                        s = std::fabs(p) + std::fabs(q) + std::fabs(r);
                        p /= s;
                        q /= s;
                        r /= s;
                        if (m == l) break;
                        const double u = std::fabs(a[m][m - 1]) * (std::fabs(q) + std::fabs(r));
                        const double v =
                            std::fabs(p) * (std::fabs(a[m - 1][m - 1]) + std::fabs(z) + std::fabs(a[m + 1][m + 1]));
                        if (u <= eps * v) break;
                    }
                    for (int i = m + 2; i <= nn; ++i) {
                        a[i][i - 2] = 0.0;
                        if (i != m + 2) a[i][i - 3] = 0.0;
                    }
                    for (int k = m; k <= nn - 1; ++k) {
                        if (k != m) {
                            p = a[k][k - 1];
                            q = a[k + 1][k - 1];
                            r = (k != nn - 1) ? a[k + 2][k - 1] : 0.0;
                            x = std::fabs(p) + std::fabs(q) + std::fabs(r);
                            if (x != 0.0) {
                                p /= x;
                                q /= x;
                                r /= x;
                            }
                        }
                        const double s = std::copysign(std::sqrt(p * p + q * q + r * r), p);
                        if (s == 0.0) continue;
                        if (k == m) {
                            if (l != m) a[k][k - 1] = -a[k][k - 1];
                        } else {
                            a[k][k - 1] = -s * x;
                        }
                        p += s;
                        x = p / s;
                        y = q / s;
                        z = r / s;
                        q /= p;
                        r /= p;
                        for (int j = k; j <= nn; ++j) {
                            p = a[k][j] + q * a[k + 1][j];
                            if (k != nn - 1) {
                                p += r * a[k + 2][j];
                                a[k + 2][j] -= p * z;
                            }
                            a[k + 1][j] -= p * y;
                            a[k][j] -= p * x;
                        }
                        const int mmin = nn < k + 3 ? nn : k + 3;
                        for (int i = l; i <= mmin; ++i) {
                            p = x * a[i][k] + y * a[i][k + 1];
                            if (k != nn - 1) {
                                p += z * a[i][k + 2];
                                a[i][k + 2] -= p * r;
                            }
                            a[i][k + 1] -= p * q;
                            a[i][k] -= p;
                        }
                    }
                }
            }
        } while (l < nn - 1);
    }
}

void load_block(const mat &A, int m, int n, double (*a)[kMatCap]) {
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) a[i][j] = A.data[i][j];
    }
}

// Gram matrix T^T T (q x q) of the tall form.
void form_gram(const TallCols &t, double (*g)[kMatCap]) {
    for (int i = 0; i < t.q; ++i) {
        for (int j = 0; j <= i; ++j) g[i][j] = g[j][i] = dot(t.col[i], t.col[j], t.p);
    }
}

// Eigenvalues of the Gram matrix of the tall form, for mat_cond.
bool gram_eigenvalues(const TallCols &t, double *lambda, double bound) {
    double g[kMatCap][kMatCap];
    form_gram(t, g);
    return sym_eig(t.q, g, lambda, nullptr, bound);
}

}  // namespace

bool mat_block_finite(const mat &A) {
    const int m = mat_dim(A.rows), n = mat_dim(A.cols);
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) {
            if (!std::isfinite(A.data[i][j])) return false;
        }
    }
    return true;
}

void load_tall(const mat &A, TallCols &t) {
    const int m = mat_dim(A.rows), n = mat_dim(A.cols);
    t.transposed = m < n;
    t.p = t.transposed ? n : m;
    t.q = t.transposed ? m : n;
    for (int j = 0; j < t.q; ++j) {
        for (int i = 0; i < t.p; ++i) t.col[j][i] = t.transposed ? A.data[j][i] : A.data[i][j];
    }
}

bool sym_eig(int n, double (*a)[kMatCap], double *d, double (*vec)[kMatCap], double bound) {
    double e[kMatCap];
    tridiagonalise(n, a, d, e, vec);
    const bool ok = tridiagonal_ql(n, d, e, vec, bound);
    sort_descending(n, d, vec, n);
    return ok;
}

void complete_orthonormal(double (*cols)[kMatCap], int len, int count, bool *have) {
    for (int k = 0; k < count; ++k) {
        if (have[k]) continue;
        // For orthonormal columns u, the residual of axis e_r is 1 - sum_u u_r^2.
        int best = 0;
        double best_residual = -1.0;
        for (int r = 0; r < len; ++r) {
            double proj = 0.0;
            for (int c = 0; c < count; ++c) {
                if (have[c]) proj += cols[c][r] * cols[c][r];
            }
            if (1.0 - proj > best_residual) {
                best_residual = 1.0 - proj;
                best = r;
            }
        }
        double w[kMatCap];
        for (int i = 0; i < len; ++i) w[i] = (i == best) ? 1.0 : 0.0;
        reorthogonalise(w, cols, len, count, have);
        const double nw = std::sqrt(dot(w, w, len));
        for (int i = 0; i < len; ++i) cols[k][i] = w[i] / nw;
        have[k] = true;
    }
}

bool gram_svd(const TallCols &t, SvdWork &w) {
    const int p = t.p, q = t.q;
    double g[kMatCap][kMatCap];
    form_gram(t, g);
    double lambda[kMatCap];
    const bool ok = sym_eig(q, g, lambda, w.right, kHermitianBound);
    bool have[kMatCap] = {};
    for (int k = 0; k < q; ++k) {
        w.sigma[k] = std::sqrt(lambda[k] > 0.0 ? lambda[k] : 0.0);
        double u[kMatCap] = {};
        for (int j = 0; j < q; ++j) {
            const double vj = w.right[k][j];
            for (int i = 0; i < p; ++i) u[i] += t.col[j][i] * vj;
        }
        const double before = std::sqrt(dot(u, u, p));
        reorthogonalise(u, w.left, p, k, have);
        const double after = std::sqrt(dot(u, u, p));
        if (before > 0.0 && after > kSvdCancelBound * before) {
            const double inv = 1.0 / after;
            for (int i = 0; i < p; ++i) w.left[k][i] = u[i] * inv;
            have[k] = true;
        }
    }
    complete_orthonormal(w.left, p, p, have);
    return ok;
}

void store_svd(const TallCols &t, const SvdWork &w, mat *U, mat *S, mat *V) {
    // Tall form T = L S R^T; for a wide A = T^T the roles of L and R swap.
    const int m = t.transposed ? t.q : t.p;
    const int n = t.transposed ? t.p : t.q;
    const double(*ucols)[kMatCap] = t.transposed ? w.right : w.left;
    const double(*vcols)[kMatCap] = t.transposed ? w.left : w.right;
    if (U != nullptr) {
        *U = zeroed(m, m);
        for (int k = 0; k < m; ++k) {
            for (int i = 0; i < m; ++i) U->data[i][k] = static_cast<float>(ucols[k][i]);
        }
    }
    if (V != nullptr) {
        *V = zeroed(n, n);
        for (int k = 0; k < n; ++k) {
            for (int i = 0; i < n; ++i) V->data[i][k] = static_cast<float>(vcols[k][i]);
        }
    }
    if (S != nullptr) {
        *S = zeroed(m, n);
        for (int k = 0; k < t.q; ++k) S->data[k][k] = static_cast<float>(w.sigma[k]);
    }
}

void store_nan_svd(int m, int n, mat *U, mat *S, mat *V) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    if (U != nullptr) *U = filled(m, m, nan);
    if (S != nullptr) *S = filled(m, n, nan);
    if (V != nullptr) *V = filled(n, n, nan);
}

// P·A = L·U in place with partial pivoting (the largest magnitude in the column,
// first one on ties): multipliers below the diagonal, U on and above it, perm the
// row order. A zero column is left as it is. Returns the permutation's sign.
double lu_partial_pivot(double (&a)[kMatCap][kMatCap], int n, int (&perm)[kMatCap]) {
    double sign = 1.0;
    for (int i = 0; i < n; ++i) perm[i] = i;
    for (int k = 0; k < n; ++k) {
        int piv = k;
        double largest = std::fabs(a[k][k]);
        for (int i = k + 1; i < n; ++i) {
            if (std::fabs(a[i][k]) > largest) {
                largest = std::fabs(a[i][k]);
                piv = i;
            }
        }
        if (piv != k) {
            for (int j = 0; j < n; ++j) std::swap(a[k][j], a[piv][j]);
            std::swap(perm[k], perm[piv]);
            sign = -sign;
        }
        if (a[k][k] == 0.0) continue;  // nothing to eliminate below a zero column
        for (int i = k + 1; i < n; ++i) {
            const double l = a[i][k] / a[k][k];
            a[i][k] = l;
            for (int j = k + 1; j < n; ++j) a[i][j] -= l * a[k][j];
        }
    }
    return sign;
}

}  // namespace tova

using tova::kMatCap;
using tova::mat_dim;

extern "C" {

int mat_lu(const mat *A, mat *L, mat *U, mat *P) {
    const int n = mat_dim(A->rows);
    if (n != mat_dim(A->cols)) return 0;
    double a[kMatCap][kMatCap];
    tova::load_block(*A, n, n, a);
    int perm[kMatCap];
    tova::lu_partial_pivot(a, n, perm);
    *L = tova::zeroed(n, n);
    *U = tova::zeroed(n, n);
    *P = tova::zeroed(n, n);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            if (j < i) L->data[i][j] = static_cast<float>(a[i][j]);
            else U->data[i][j] = static_cast<float>(a[i][j]);
        }
        L->data[i][i] = 1.0f;
        P->data[i][perm[i]] = 1.0f;
    }
    return tova::mat_block_finite(*A) ? 1 : 0;
}

float mat_det(const mat *A) {
    const int n = mat_dim(A->rows);
    if (n != mat_dim(A->cols)) {
        std::fputs("A is not a square matrix.", stderr);
        return INFINITY;
    }
    double a[kMatCap][kMatCap];
    tova::load_block(*A, n, n, a);
    int perm[kMatCap];
    double det = tova::lu_partial_pivot(a, n, perm);
    for (int k = 0; k < n; ++k) {
        det *= a[k][k];
        if (a[k][k] == 0.0) break;  // singular: the determinant is 0 (signed)
    }
    return static_cast<float>(det);
}

int mat_rank(const mat *A) {
    if (!tova::mat_block_finite(*A)) return -1;
    tova::TallCols t;
    tova::load_tall(*A, t);
    if (t.q == 0) return 0;
    tova::SvdWork w;
    tova::jacobi_svd(t, w, false);
    // The threshold scales with the data: float input carries relative noise
    // of FLT_EPSILON, so singular values below that level are noise.
    const double tol = static_cast<double>(t.p) * FLT_EPSILON * w.sigma[0];
    int rank = 0;
    for (int k = 0; k < t.q; ++k) {
        if (w.sigma[k] > tol) ++rank;
    }
    return rank;
}

int mat_qr(const mat *A, mat *Q, mat *R) {
    const int m = mat_dim(A->rows), n = mat_dim(A->cols);
    double r[kMatCap][kMatCap];
    double qc[kMatCap][kMatCap];  // qc[k][i] = Q(i, k)
    tova::load_block(*A, m, n, r);
    for (int k = 0; k < m; ++k) {
        for (int i = 0; i < m; ++i) qc[k][i] = (i == k) ? 1.0 : 0.0;
    }
    const int steps = (m - 1 < n) ? m - 1 : n;
    double x[kMatCap], v[kMatCap];
    for (int k = 0; k < steps; ++k) {
        const int len = m - k;
        for (int i = 0; i < len; ++i) x[i] = r[k + i][k];
        double beta, alpha;
        tova::householder(x, len, v, beta, alpha);
        if (beta == 0.0) continue;
        for (int j = k + 1; j < n; ++j) {
            double s = 0.0;
            for (int i = 0; i < len; ++i) s += v[i] * r[k + i][j];
            s *= beta;
            for (int i = 0; i < len; ++i) r[k + i][j] -= s * v[i];
        }
        r[k][k] = alpha;
        for (int i = 1; i < len; ++i) r[k + i][k] = 0.0;
        // Q <- Q H on columns k..m-1
        double s[kMatCap] = {};
        for (int i = 0; i < len; ++i) {
            for (int row = 0; row < m; ++row) s[row] += qc[k + i][row] * v[i];
        }
        for (int i = 0; i < len; ++i) {
            const double f = beta * v[i];
            for (int row = 0; row < m; ++row) qc[k + i][row] -= f * s[row];
        }
    }
    // A non-negative diagonal makes R unique for full column rank.
    const int diag = m < n ? m : n;
    for (int k = 0; k < diag; ++k) {
        if (r[k][k] < 0.0) {
            for (int j = k; j < n; ++j) r[k][j] = -r[k][j];
            for (int i = 0; i < m; ++i) qc[k][i] = -qc[k][i];
        }
    }
    *Q = tova::zeroed(m, m);
    *R = tova::zeroed(m, n);
    for (int i = 0; i < m; ++i) {
        for (int k = 0; k < m; ++k) Q->data[i][k] = static_cast<float>(qc[k][i]);
        for (int j = i; j < n; ++j) R->data[i][j] = static_cast<float>(r[i][j]);
    }
    return tova::mat_block_finite(*A) ? 1 : 0;
}

mat mat_eig(const mat *A) {
    const int n = mat_dim(A->rows);
    if (n != mat_dim(A->cols)) return tova::zeroed(0, 0);
    if (!tova::mat_block_finite(*A)) return tova::filled(n, 1, NAN);
    double a[kMatCap][kMatCap];
    double wr[kMatCap];
    tova::load_block(*A, n, n, a);
    if (mat_is_hermitian(A) == 1) {
        // Symmetric: the tridiagonal QL solver is both faster and more accurate.
        if (!tova::sym_eig(n, a, wr, nullptr, tova::kHermitianBound)) {
            for (int i = 0; i < n; ++i) wr[i] = tova::kNaN;
        }
    } else {
        tova::balance(n, a);
        tova::hessenberg(n, a);
        tova::hessenberg_qr(n, a, wr);
        tova::sort_descending(n, wr, nullptr, 0);
    }
    mat r = tova::zeroed(n, 1);
    for (int i = 0; i < n; ++i) r.data[i][0] = static_cast<float>(wr[i]);
    return r;
}

int mat_hermitian_eig(const mat *A, mat *values, mat *vectors) {
    if (mat_is_hermitian(A) != 1) return 0;
    const int n = mat_dim(A->rows);
    if (!tova::mat_block_finite(*A)) {
        if (values != nullptr) *values = tova::filled(n, 1, NAN);
        if (vectors != nullptr) *vectors = tova::filled(n, n, NAN);
        return 0;
    }
    double a[kMatCap][kMatCap];
    double d[kMatCap];
    double vec[kMatCap][kMatCap];
    tova::load_block(*A, n, n, a);
    const bool ok = tova::sym_eig(n, a, d, vectors != nullptr ? vec : nullptr, tova::kHermitianBound);
    if (values != nullptr) {
        *values = tova::zeroed(n, 1);
        for (int i = 0; i < n; ++i) values->data[i][0] = static_cast<float>(d[i]);
    }
    if (vectors != nullptr) {
        *vectors = tova::zeroed(n, n);
        for (int k = 0; k < n; ++k) {
            for (int i = 0; i < n; ++i) vectors->data[i][k] = static_cast<float>(vec[k][i]);
        }
    }
    return ok ? 1 : 0;
}

int mat_svd(const mat *A, mat *U, mat *S, mat *V) {
    if (!tova::mat_block_finite(*A)) {
        tova::store_nan_svd(mat_dim(A->rows), mat_dim(A->cols), U, S, V);
        return 0;
    }
    tova::TallCols t;
    tova::load_tall(*A, t);
    tova::SvdWork w;
    const bool ok = tova::gram_svd(t, w);
    tova::store_svd(t, w, U, S, V);
    return ok ? 1 : 0;
}

mat mat_pinv(const mat *A) {
    const mat At = mat_T(A);
    const bool tall = mat_dim(A->rows) >= mat_dim(A->cols);
    const mat G = tall ? mat_mult(&At, A) : mat_mult(A, &At);
    // A vanishing pivot leaves the zero inverse in place, and so a zero result.
    mat Ginv = mat_zeros(G.rows, G.cols);
    mat_inv(G, &Ginv);
    return tall ? mat_mult(&Ginv, &At) : mat_mult(&At, &Ginv);
}

mat mat_pinv_svd(const mat *A) {
    const int m = mat_dim(A->rows), n = mat_dim(A->cols);
    if (!tova::mat_block_finite(*A)) return tova::filled(n, m, NAN);
    tova::TallCols t;
    tova::load_tall(*A, t);
    tova::SvdWork w;
    tova::gram_svd(t, w);
    // A^+ = sum over kept k of v_k u_k^T / sigma_k (n x m); in the tall form's
    // terms, T^+ = R S^+ L^T, and A^+ = (T^+)^T when A is wide.
    double x[kMatCap][kMatCap] = {};  // T^+ : q x p
    for (int k = 0; k < t.q; ++k) {
        if (static_cast<float>(w.sigma[k]) < 1e-5) continue;
        const double inv = 1.0 / w.sigma[k];
        for (int i = 0; i < t.q; ++i) {
            const double f = w.right[k][i] * inv;
            for (int j = 0; j < t.p; ++j) x[i][j] += f * w.left[k][j];
        }
    }
    mat r = tova::zeroed(n, m);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < m; ++j) {
            r.data[i][j] = static_cast<float>(t.transposed ? x[j][i] : x[i][j]);
        }
    }
    return r;
}

float mat_cond(const mat *A) {
    if (!tova::mat_block_finite(*A)) return NAN;
    tova::TallCols t;
    tova::load_tall(*A, t);
    if (t.q == 0) return INFINITY;
    double lambda[kMatCap];
    if (!tova::gram_eigenvalues(t, lambda, tova::kCondBound)) return NAN;
    const double lmax = lambda[0], lmin = lambda[t.q - 1];
    if (!(lmin > 0.0)) return INFINITY;
    return static_cast<float>(std::sqrt(lmax / lmin));
}

}  // extern "C"
