// Inverse kinematics of the quell arm: spherical shoulder S (axes 1-3), elbow
// (axis 4), spherical wrist W (axes 5-7), standard DH. The redundancy is the
// elbow angle phi: the rotation of the shoulder about the line S-W, measured
// from the reference plane (the vertical plane through S and W). At one phi
// the two elbow signs place the elbow at the same point, and each has two
// shoulder and two wrist branches: 8 closed-form solutions per phi.
#ifndef TOVA_IKINE_SEVEN_AXIS_QUELL_HPP
#define TOVA_IKINE_SEVEN_AXIS_QUELL_HPP

#include "ikine/seven_axis_core.hpp"
#include "ikine/seven_axis_search.hpp"

namespace tova::seven_axis {

struct QuellGeometry {
    double d_bs;  // base to shoulder (d1)
    double d_se;  // shoulder to elbow (d3)
    double d_ew;  // elbow to wrist (d5)
    double d_wf;  // wrist to flange (d7)
};

// Flange pose of the quell arm for model angles th (double precision).
Rigid quell_forward(const QuellGeometry& g, const double th[kJoints]);

// Closed form of one target; branch index = 4 * (elbow negative) +
// 2 * (shoulder flipped) + (wrist flipped).
class QuellArm {
public:
    // Prepares the target (flange pose in the base frame). Returns kOk or
    // kOutOfReach; cur (model angles) resolves the degenerate cases.
    int32_t setup(const QuellGeometry& g, const Rigid& flange, const double cur[kJoints]);

    unsigned solve(double phi, unsigned mask, double raw[kBranches][kJoints]) const;

    // The joints move smoothly with phi everywhere (no folds).
    bool near_fold(const double*) const { return false; }

    // Every branch exists at every phi: nothing hides between samples.
    int hidden_points(double, double, double*, int, int*) const { return 0; }

    // The elbow angle whose shoulder orientation is nearest the current one.
    double current_phi() const { return phi0_; }

    // Pieces of [base, base + 2 pi) where each branch lies inside the joint
    // limits, from the limit crossings in closed form. Candidates at the
    // test points are passed to offer(). Returns the span count.
    template <class Offer>
    int feasible_spans(const JointSpace& js, double base, Span* out, int cap, Offer&& offer) const;

private:
    struct Elbow {
        double th4;
        M3 As, Bs, Cs;  // R03(phi) = As sin phi + Bs cos phi + Cs
        M3 Aw, Bw, Cw;  // R47(phi) likewise
    };
    Elbow e_[2];
    double cur_[kJoints];
    double phi0_;
};

// Solves the quell arm for the flange pose (base frame) from the current
// model angles under the joint space and the search settings.
Solution solve_quell(const QuellGeometry& g, const JointSpace& js, const SearchSettings& ss, const Rigid& flange,
                     const double cur[kJoints]);

// Shoulder and wrist angle pairs of the tangent type, th = atan2(N, D), as
// (row, col, sign) of N and D in the shoulder (0) or wrist (1) matrix.
template <class Offer>
int QuellArm::feasible_spans(const JointSpace& js, double base, Span* out, int cap, Offer&& offer) const {
    struct Tangent {
        int joint, mat, nr, nc;
        double ns;
        int dr, dc;
        double ds;
    };
    static constexpr Tangent kTan[4] = {
        {0, 0, 1, 1, -1.0, 0, 1, -1.0},  // th1 = atan2(-a22, -a12)
        {2, 0, 2, 2, 1.0, 2, 0, -1.0},   // th3 = atan2(a33, -a31)
        {4, 1, 1, 2, 1.0, 0, 2, 1.0},    // th5 = atan2(b23, b13)
        {6, 1, 2, 1, 1.0, 2, 0, -1.0},   // th7 = atan2(b32, -b31)
    };
    int n_out = 0;
    for (int k = 0; k < 2; ++k) {
        const Elbow& e = e_[k];
        double bp[2 + 2 * 2 * 6];
        int n = 0;
        bp[n++] = base;
        bp[n++] = base + kTwoPi;
        auto add = [&](double alpha, double beta, double gamma) {
            double r[2];
            const int nr = sinusoid_roots(alpha, beta, gamma, r);
            for (int i = 0; i < nr; ++i) bp[n++] = wrap_from(r[i], base);
        };
        const M3* sh[3] = {&e.As, &e.Bs, &e.Cs};
        const M3* wr[3] = {&e.Aw, &e.Bw, &e.Cw};
        for (const Tangent& tg : kTan) {
            if (js.hi[tg.joint] - js.lo[tg.joint] >= kTwoPi) continue;
            const M3* const* m = tg.mat == 0 ? sh : wr;
            for (double lim : {js.lo[tg.joint], js.hi[tg.joint]}) {
                const double cl = std::cos(lim), sl = std::sin(lim);
                double c[3];
                for (int i = 0; i < 3; ++i)
                    c[i] = tg.ns * m[i]->m[tg.nr][tg.nc] * cl - tg.ds * m[i]->m[tg.dr][tg.dc] * sl;
                add(c[0], c[1], c[2]);
            }
        }
        // Cosine type: cos th2 = -a32, cos th6 = b33.
        for (int j : {1, 5}) {
            if (js.hi[j] - js.lo[j] >= kTwoPi) continue;
            const M3* const* m = j == 1 ? sh : wr;
            const double sgn = j == 1 ? -1.0 : 1.0;
            const int r = 2, c = j == 1 ? 1 : 2;
            for (double lim : {js.lo[j], js.hi[j]})
                add(sgn * m[0]->m[r][c], sgn * m[1]->m[r][c], sgn * m[2]->m[r][c] - std::cos(lim));
        }
        sort_ascending(bp, n);  // at most 26 points
        const unsigned half = 0xFu << (4 * k);
        bool open = false;  // the last span of this elbow sign ends at a
        for (int i = 0; i + 1 < n; ++i) {
            const double a = bp[i], b = bp[i + 1];
            if (!(b - a > 1e-12)) continue;
            const double mid = 0.5 * (a + b);
            double raw[kBranches][kJoints];
            const unsigned got = solve(mid, half, raw);
            unsigned ok = 0;
            for (int br = 4 * k; br < 4 * k + 4; ++br) {
                if (!(got & (1u << br))) continue;
                Candidate c;
                score(raw[br], cur_, js, &c);
                c.t = mid;
                c.branch = br;
                if (c.feasible) ok |= 1u << br;
                offer(c);
            }
            if (!ok) {
                open = false;
                continue;
            }
            // Contiguous feasible pieces form one span with the union of their
            // branches; each piece's midpoint was offered above, so narrow
            // pieces of one branch are not lost to the sampling of the span.
            if (open && n_out > 0) {
                out[n_out - 1].b = b;
                out[n_out - 1].mask |= ok;
            } else if (n_out < cap) {
                out[n_out++] = {a, b, ok};
                open = true;
            }
        }
    }
    return n_out;
}

}  // namespace tova::seven_axis

#endif
