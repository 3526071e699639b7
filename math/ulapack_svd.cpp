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

inline double dot(const double *x, const double *y, int n) {
    double s = 0.0;
    for (int i = 0; i < n; ++i) s += x[i] * y[i];
    return s;
}

inline void rotate(double *x, double *y, int n, double c, double s) {
    for (int i = 0; i < n; ++i) {
        const double xi = x[i], yi = y[i];
        x[i] = c * xi - s * yi;
        y[i] = s * xi + c * yi;
    }
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
    for (int j = 0; j < q; ++j) norm2[j] = dot(t.col[j], t.col[j], p);

    bool converged = (q < 2);
    for (int sweep = 0; sweep < kMaxSweeps && !converged; ++sweep) {
        converged = true;
        for (int a = 0; a + 1 < q; ++a) {
            for (int b = a + 1; b < q; ++b) {
                const double alpha = norm2[a], beta = norm2[b];
                if (alpha == 0.0 || beta == 0.0) continue;  // a zero column stays zero
                const double gamma = dot(t.col[a], t.col[b], p);
                if (std::fabs(gamma) <= kOrthogonalityTol * std::sqrt(alpha * beta)) continue;
                converged = false;
                // Rotation that makes columns a and b orthogonal (smaller angle).
                const double zeta = (beta - alpha) / (2.0 * gamma);
                const double tn = std::copysign(1.0, zeta) / (std::fabs(zeta) + std::sqrt(1.0 + zeta * zeta));
                const double c = 1.0 / std::sqrt(1.0 + tn * tn);
                const double s = c * tn;
                rotate(t.col[a], t.col[b], p, c, s);
                if (want_vectors) rotate(vcol[a], vcol[b], q, c, s);
                // Exact norm updates; recomputed where cancellation would cost digits.
                const double big = alpha > beta ? alpha : beta;
                norm2[a] = alpha - tn * gamma;
                norm2[b] = beta + tn * gamma;
                if (norm2[a] < 1e-3 * big) norm2[a] = dot(t.col[a], t.col[a], p);
                if (norm2[b] < 1e-3 * big) norm2[b] = dot(t.col[b], t.col[b], p);
            }
        }
        for (int j = 0; j < q; ++j) norm2[j] = dot(t.col[j], t.col[j], p);
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
        for (int i = 0; i < q; ++i) w.right[k][i] = vcol[j][i];
        if (w.sigma[k] > 0.0) {
            for (int i = 0; i < p; ++i) w.left[k][i] = t.col[j][i] / w.sigma[k];
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
