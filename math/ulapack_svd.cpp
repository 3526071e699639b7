// One-sided (Hestenes) Jacobi SVD: rotating pairs of columns of the tall form
// T until all are mutually orthogonal leaves T * R = L * diag(sigma) directly,
// without a Gram matrix or an eigenproblem, so its accuracy does not suffer
// from the squared condition number. For the small sizes it serves, its cost is
// the latency of the rotation parameters; the ordering and the formulas below
// are chosen to shorten that chain.
#include "math/ulapack_svd.h"

#include <cmath>

#include "math/mat_linalg.hpp"

namespace tova {
namespace {

constexpr int kMaxSweeps = 30;
// Far below float resolution, so the float results are converged.
constexpr double kOrthogonalityTol = 1e-9;

inline void rotate(double *x, double *y, int n, double c, double s) {
    for (int i = 0; i < n; ++i) {
        const double xi = x[i], yi = y[i];
        x[i] = c * xi - s * yi;
        y[i] = s * xi + c * yi;
    }
}

// Rotation (c, s) with t = s / c = tan(theta) that makes two columns with
// squared norms alpha, beta and inner product gamma orthogonal, by the smaller
// angle: t = sign(d) rho / (1 + sqrt(1 + rho^2)), rho = 2 gamma / |d|,
// d = beta - alpha. Large angles: with r = |(d, 2 gamma)| and w = |d| + r,
// t = sign(d) 2 gamma / w and c = w / sqrt(2 r w) (two roots and a division
// in a row). Small angles (|t| < 1e-3, all rotations of the later sweeps):
// the series t = x - x^3 + 2 x^5, x = rho / 2, and c = 1 - t^2/2 + 3 t^4/8
// are exact to double precision (next terms below 1e-18), leaving a single
// division on the critical path. Both keep c^2 + s^2 = 1 to rounding.
inline void rotation(double alpha, double beta, double gamma, double &c, double &s, double &t) {
    const double d = beta - alpha, g2 = 2.0 * gamma;
    if (std::fabs(g2) < 2e-3 * std::fabs(d)) {
        const double x = 0.5 * g2 / d;  // carries sign(d)
        const double x2 = x * x;
        t = x * (1.0 - x2 * (1.0 - 2.0 * x2));
        const double t2 = t * t;
        c = 1.0 - t2 * (0.5 - 0.375 * t2);
        s = c * t;
        return;
    }
    const double r = std::sqrt(d * d + g2 * g2);
    const double w = std::fabs(d) + r;
    const double inv = 1.0 / std::sqrt(2.0 * r * w);
    const double sg2 = std::copysign(1.0, d) * g2;
    c = w * inv;
    s = sg2 * inv;
    t = sg2 / w;
}

}  // namespace

bool jacobi_svd(const TallCols &t, SvdWork &w, bool want_vectors) {
    const int p = t.p, q = t.q;
    // Each working column holds the column of T followed by the matching
    // column of the accumulated rotations, so one loop rotates both.
    double xc[kMatCap][2 * kMatCap];
    for (int k = 0; k < q; ++k) {
        for (int i = 0; i < p; ++i) xc[k][i] = t.col[k][i];
        for (int i = 0; i < q; ++i) xc[k][p + i] = (i == k) ? 1.0 : 0.0;
    }
    const int len = want_vectors ? p + q : p;
    double norm2[kMatCap];
    for (int j = 0; j < q; ++j) norm2[j] = dot(t.col[j], t.col[j], p);

    // Round-robin ordering: each round pairs every column with another one,
    // disjointly, so the rotations of a round are independent. Their
    // parameters are computed together before any column moves, which lets
    // the processor overlap those latency-bound chains. q odd adds a bye slot.
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
                const double gamma = dot(xc[a], xc[b], p);
                if (gamma * gamma <= tol2 * alpha * beta) continue;
                double tn;
                rotation(alpha, beta, gamma, cs[pairs], sn[pairs], tn);
                norm2[a] = alpha - tn * gamma;  // exact norm updates
                norm2[b] = beta + tn * gamma;
                pa[pairs] = a;
                pb[pairs] = b;
                ++pairs;
            }
            if (pairs > 0) converged = false;
            for (int k = 0; k < pairs; ++k) {
                const int a = pa[k], b = pb[k];
                rotate(xc[a], xc[b], len, cs[k], sn[k]);
                // Recompute a norm whose update cancelled (a column nearly vanished).
                const double big = norm2[a] > norm2[b] ? norm2[a] : norm2[b];
                if (norm2[a] < 1e-3 * big) norm2[a] = dot(xc[a], xc[a], p);
                if (norm2[b] < 1e-3 * big) norm2[b] = dot(xc[b], xc[b], p);
            }
            // Next round: seat 0 stays, the others move one place round.
            const int last = seat[slots - 1];
            for (int i = slots - 1; i > 1; --i) seat[i] = seat[i - 1];
            if (slots > 1) seat[1] = last;
        }
        for (int j = 0; j < q; ++j) norm2[j] = dot(xc[j], xc[j], p);
    }

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
        for (int i = 0; i < q; ++i) w.right[k][i] = xc[j][p + i];
        if (w.sigma[k] > 0.0) {
            const double inv = 1.0 / w.sigma[k];
            for (int i = 0; i < p; ++i) w.left[k][i] = xc[j][i] * inv;
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
