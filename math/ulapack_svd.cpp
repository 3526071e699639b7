// One-sided Jacobi SVD: rotating pairs of columns of the tall form T until all
// are mutually orthogonal leaves T * R = L * diag(sigma) directly, without
// forming a Gram matrix or solving an eigenproblem, and its accuracy does not
// suffer from the squared condition number.
#include "math/ulapack_svd.h"

#include <cmath>

#include "math/mat_linalg.hpp"

namespace tova {
namespace {

constexpr int kMaxSweeps = 30;
// Far below float resolution, so the float results are converged; one sweep
// fewer than full double convergence.
constexpr double kOrthogonalityTol = 1e-9;

template <int N>
inline void rotate(double *x, double *y, int n, double c, double s) {
    if (N > 0) n = N;
    for (int i = 0; i < n; ++i) {
        const double xi = x[i], yi = y[i];
        x[i] = c * xi - s * yi;
        y[i] = s * xi + c * yi;
    }
}

// The Jacobi sweeps on the columns of t (length p) with the rotations
// accumulated in vcol (length q) when wanted. P, Q > 0 are the sizes fixed at
// compile time for the Jacobian shapes (6 x 6, 6 x 7), 0 means the run-time
// sizes. Returns whether a sweep found every pair orthogonal.
template <int P, int Q>
bool jacobi_sweeps(TallCols &t, double (*vcol)[kMatCap], double *norm2, bool want_vectors) {
    const int p = P > 0 ? P : t.p;
    const int q = Q > 0 ? Q : t.q;
    // Round-robin ordering: each round pairs every column with another one,
    // disjointly, so the rotations of a round are independent. Their
    // parameters (a dot product and a chain of square roots and divisions
    // each) are computed together before any column moves, which lets the
    // processor overlap those latency-bound chains. q odd adds a bye slot.
    const int slots = q + (q & 1);
    int seat[kMatCap + 1];
    for (int i = 0; i < slots; ++i) seat[i] = i;
    const double tol2 = kOrthogonalityTol * kOrthogonalityTol;

    bool converged = (q < 2);
    for (int sweep = 0; sweep < kMaxSweeps && !converged; ++sweep) {
        converged = true;
        for (int round = 0; round + 1 < slots; ++round) {
            int pa[kMatCap / 2], pb[kMatCap / 2];
            double cs[kMatCap / 2], sn[kMatCap / 2];
            int pairs = 0;
            for (int i = 0; i < slots / 2; ++i) {
                int a = seat[i], b = seat[slots - 1 - i];
                if (a >= q || b >= q) continue;  // the bye
                if (a > b) {
                    const int tmp = a;
                    a = b;
                    b = tmp;
                }
                const double alpha = norm2[a], beta = norm2[b];
                if (alpha == 0.0 || beta == 0.0) continue;  // a zero column stays zero
                const double gamma = dot<P>(t.col[a], t.col[b], p);
                if (gamma * gamma <= tol2 * alpha * beta) continue;
                // Rotation that makes columns a and b orthogonal, by the smaller
                // angle. With d = beta - alpha, g2 = 2 gamma, r = |(d, g2)| and
                // w = |d| + r, the textbook t = tan(theta) = sign(zeta) /
                // (|zeta| + sqrt(1 + zeta^2)), zeta = d / g2, is sign(d) g2 / w,
                // and c = 1 / sqrt(1 + t^2) = w / sqrt(2 r w), s = c t: two
                // square roots and one division in a row instead of three
                // divisions and two roots.
                const double d = beta - alpha, g2 = 2.0 * gamma;
                const double r = std::sqrt(d * d + g2 * g2);
                const double w = std::fabs(d) + r;
                const double inv = 1.0 / std::sqrt(2.0 * r * w);
                const double c = w * inv;
                const double sn_ab = std::copysign(1.0, d) * g2 * inv;
                const double tn_gamma = std::copysign(1.0, d) * g2 * gamma / w;  // t * gamma
                norm2[a] = alpha - tn_gamma;
                norm2[b] = beta + tn_gamma;
                pa[pairs] = a;
                pb[pairs] = b;
                cs[pairs] = c;
                sn[pairs] = sn_ab;
                ++pairs;
            }
            if (pairs > 0) converged = false;
            for (int k = 0; k < pairs; ++k) {
                const int a = pa[k], b = pb[k];
                rotate<P>(t.col[a], t.col[b], p, cs[k], sn[k]);
                if (want_vectors) rotate<Q>(vcol[a], vcol[b], q, cs[k], sn[k]);
                // Recompute a norm whose update cancelled (a column nearly vanished).
                const double big = norm2[a] > norm2[b] ? norm2[a] : norm2[b];
                if (norm2[a] < 1e-3 * big) norm2[a] = dot<P>(t.col[a], t.col[a], p);
                if (norm2[b] < 1e-3 * big) norm2[b] = dot<P>(t.col[b], t.col[b], p);
            }
            // Next round: seat 0 stays, the others move one place round.
            const int last = seat[slots - 1];
            for (int i = slots - 1; i > 1; --i) seat[i] = seat[i - 1];
            if (slots > 1) seat[1] = last;
        }
        for (int j = 0; j < q; ++j) norm2[j] = dot<P>(t.col[j], t.col[j], p);
    }
    return converged;
}

}  // namespace

bool jacobi_svd(TallCols &t, SvdWork &w, bool want_vectors) {
    const int p = t.p, q = t.q;
    double vcol[kMatCap][kMatCap];
    if (want_vectors) {
        for (int k = 0; k < q; ++k) {
            for (int i = 0; i < q; ++i) vcol[k][i] = (i == k) ? 1.0 : 0.0;
        }
    }
    double norm2[kMatCap];
    for (int j = 0; j < q; ++j) norm2[j] = dot<0>(t.col[j], t.col[j], p);
    bool converged;
    if (p == 6 && q == 6) converged = jacobi_sweeps<6, 6>(t, vcol, norm2, want_vectors);
    else if (p == 7 && q == 6) converged = jacobi_sweeps<7, 6>(t, vcol, norm2, want_vectors);
    else converged = jacobi_sweeps<0, 0>(t, vcol, norm2, want_vectors);

    // Order by descending length (stable), then normalise.
    int order[kMatCap];
    for (int j = 0; j < q; ++j) order[j] = j;
    for (int i = 1; i < q; ++i) {
        for (int j = i; j > 0 && norm2[order[j]] > norm2[order[j - 1]]; --j) {
            const int tmp = order[j];
            order[j] = order[j - 1];
            order[j - 1] = tmp;
        }
    }
    for (int k = 0; k < q; ++k) w.sigma[k] = std::sqrt(norm2[order[k]]);
    if (!want_vectors) return converged;

    bool have[kMatCap] = {};
    for (int k = 0; k < q; ++k) {
        const int j = order[k];
        for (int i = 0; i < q; ++i) w.right[k][i] = vcol[j][i];
        if (w.sigma[k] > 0.0) {
            const double inv = 1.0 / w.sigma[k];
            for (int i = 0; i < p; ++i) w.left[k][i] = t.col[j][i] * inv;
            have[k] = true;
        }
    }
    complete_orthonormal(w.left, p, p, have);
    return converged;
}

}  // namespace tova

extern "C" int mat_fast_svd(const mat *A, mat *U, mat *S, mat *V) {
    if (!tova::mat_block_finite(*A)) {
        tova::store_nan_svd(tova::mat_dim(A->rows), tova::mat_dim(A->cols), U, S, V);
        return 0;
    }
    tova::TallCols t;
    tova::load_tall(*A, t);
    tova::SvdWork w;
    const bool ok = tova::jacobi_svd(t, w, true);
    tova::store_svd(t, w, U, S, V);
    return ok ? 1 : 0;
}
