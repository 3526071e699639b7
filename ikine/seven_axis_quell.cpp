#include "ikine/seven_axis_quell.hpp"

#include "ikine/seven_axis_search.hpp"

namespace tova::seven_axis {

namespace {

// Standard-DH twists of the quell arm: -90, 90, -90, 90, -90, 90, 0 degrees.
constexpr double kAlpha[kJoints] = {-kPi / 2, kPi / 2, -kPi / 2, kPi / 2, -kPi / 2, kPi / 2, 0.0};

// Reach tolerance on |S W|, m: a target this far past the stretched or folded
// elbow is still solved (clamped), as float poses land there.
constexpr double kReachTol = 1e-6;

// Below this sine, joint 2 or 6 counts as exactly singular: its neighbours
// only fix a sum, and the first of them keeps its current value.
constexpr double kSingular = 1e-10;

// Sampling step of the wide search, rad. The cost along a branch has broad
// basins (joint angles move about one for one with phi away from
// singularities); the sampled minima are refined afterwards.
constexpr double kWideStep = 8.0 * kPi / 180.0;

// Elements of the linear combination A sin + B cos + C.
inline double lin(const M3& A, const M3& B, const M3& C, int r, int c, double s, double co) {
    return A.m[r][c] * s + B.m[r][c] * co + C.m[r][c];
}

}  // namespace

Rigid quell_forward(const QuellGeometry& g, const double th[kJoints]) {
    const double d[kJoints] = {g.d_bs, 0.0, g.d_se, 0.0, g.d_ew, 0.0, g.d_wf};
    Rigid T{identity3(), {0, 0, 0}};
    for (int i = 0; i < kJoints; ++i) {
        // Rz(th) Tz(d) Rx(alpha), alpha = -90, 90, ... , 0 degrees: the new
        // columns are (c X + s Y, -+Z... ) written out per twist.
        const double c = std::cos(th[i]), s = std::sin(th[i]);
        T.p = T.p + d[i] * col(T.R, 2);
        const V3 X = col(T.R, 0), Y = col(T.R, 1), Z = col(T.R, 2);
        const V3 nx = c * X + s * Y, ny = -s * X + c * Y;
        V3 cy = ny, cz = Z;
        if (kAlpha[i] > 0.0) {  // Rx(90): y' = z, z' = -y
            cy = Z;
            cz = -1.0 * ny;
        } else if (kAlpha[i] < 0.0) {  // Rx(-90): y' = -z, z' = y
            cy = -1.0 * Z;
            cz = ny;
        }
        T.R = {{{nx.x, cy.x, cz.x}, {nx.y, cy.y, cz.y}, {nx.z, cy.z, cz.z}}};
    }
    return T;
}

int32_t QuellArm::setup(const QuellGeometry& g, const Rigid& flange, const double cur[kJoints]) {
    for (int i = 0; i < kJoints; ++i) cur_[i] = cur[i];
    const V3 S{0.0, 0.0, g.d_bs};
    const V3 W = flange.p - g.d_wf * col(flange.R, 2);
    const V3 x = W - S;
    const double rho = norm(x);
    if (!(rho <= g.d_se + g.d_ew + kReachTol) || rho < std::fabs(g.d_se - g.d_ew) - kReachTol || !(rho > 1e-9))
        return kOutOfReach;
    double c4 = (rho * rho - g.d_se * g.d_se - g.d_ew * g.d_ew) / (2.0 * g.d_se * g.d_ew);
    c4 = std::fmax(-1.0, std::fmin(1.0, c4));
    const double th4 = std::acos(c4);
    const V3 u = (1.0 / rho) * x;

    // Reference plane: the vertical plane through S and W. On the joint-1 axis
    // it is undefined; the current joint 1 stands in.
    const double rxy = std::hypot(x.x, x.y);
    const double th1r = rxy > 1e-9 ? std::atan2(x.y, x.x) : cur[0];
    const double r = x.x * std::cos(th1r) + x.y * std::sin(th1r);
    const M3 U = skew(u);
    const M3 U2 = mul(U, U);
    M3 uut = U2;  // u u^T = I + [u]x^2
    for (int i = 0; i < 3; ++i) uut.m[i][i] += 1.0;
    const M3 half_turn = [&] {  // rotation by pi about u: 2 u u^T - I
        M3 H = scaled(uut, 2.0);
        for (int i = 0; i < 3; ++i) H.m[i][i] -= 1.0;
        return H;
    }();

    for (int k = 0; k < 2; ++k) {
        Elbow& e = e_[k];
        e.th4 = k == 0 ? th4 : -th4;
        const double th2r = std::atan2(r, x.z) - std::atan2(g.d_ew * std::sin(e.th4), g.d_se + g.d_ew * std::cos(e.th4));
        M3 ref = mul(mul(rot_z(th1r), rot_y(th2r)), rot_x(-kPi / 2));
        // The negative elbow at the same phi puts the elbow at the same point:
        // its reference plane is the mirror one, turned half a turn about S-W.
        if (k == 1) ref = mul(half_turn, ref);
        e.As = mul(U, ref);
        e.Bs = scaled(mul(U2, ref), -1.0);
        e.Cs = mul(uut, ref);
        // R47 = R34^T R03^T R with R34 = Rz(th4) Rx(90).
        const double c4 = std::cos(e.th4), s4 = std::sin(e.th4);
        const M3 R34t{{{c4, s4, 0.0}, {0.0, 0.0, 1.0}, {s4, -c4, 0.0}}};  // (Rz(th4) Rx(90))^T
        e.Aw = mul(mul(R34t, transpose(e.As)), flange.R);
        e.Bw = mul(mul(R34t, transpose(e.Bs)), flange.R);
        e.Cw = mul(mul(R34t, transpose(e.Cs)), flange.R);
    }

    // Current phi: the one whose shoulder orientation R03(phi) is nearest
    // (Frobenius) to the current R03, on the current elbow sign. Unlike the
    // elbow position it stays defined with a stretched elbow.
    const M3 Rc = mul(mul(mul(rot_z(cur[0]), rot_y(cur[1])), rot_z(cur[2])), rot_x(-kPi / 2));
    const Elbow& ec = e_[cur[3] < 0.0 ? 1 : 0];
    const double a = frobenius_dot(ec.As, Rc), b = frobenius_dot(ec.Bs, Rc);
    phi0_ = std::hypot(a, b) > 1e-12 ? std::atan2(a, b) : 0.0;
    return kOk;
}

unsigned QuellArm::solve(double phi, unsigned mask, double raw[kBranches][kJoints]) const {
    const double s = std::sin(phi), c = std::cos(phi);
    unsigned got = 0;
    for (int k = 0; k < 2; ++k) {
        const unsigned m = (mask >> (4 * k)) & 0xFu;
        if (!m) continue;
        const Elbow& e = e_[k];
        // Shoulder: R03 = Rz(th1) Ry(th2) Rz(th3) Rx(-90).
        const double a12 = lin(e.As, e.Bs, e.Cs, 0, 1, s, c), a22 = lin(e.As, e.Bs, e.Cs, 1, 1, s, c);
        const double a32 = lin(e.As, e.Bs, e.Cs, 2, 1, s, c), a31 = lin(e.As, e.Bs, e.Cs, 2, 0, s, c);
        const double a33 = lin(e.As, e.Bs, e.Cs, 2, 2, s, c);
        const double hs = std::hypot(a12, a22);
        double th1, th2, th3;
        th2 = std::atan2(hs, -a32);
        if (hs > kSingular) {
            th1 = std::atan2(-a22, -a12);
            th3 = std::atan2(a33, -a31);
        } else {
            const double a11 = lin(e.As, e.Bs, e.Cs, 0, 0, s, c), a21 = lin(e.As, e.Bs, e.Cs, 1, 0, s, c);
            th1 = cur_[0];
            th3 = std::atan2(a21, a11) - th1;
        }
        // Wrist: R47 = Rz(th5) Ry(th6) Rz(th7).
        const double b13 = lin(e.Aw, e.Bw, e.Cw, 0, 2, s, c), b23 = lin(e.Aw, e.Bw, e.Cw, 1, 2, s, c);
        const double b33 = lin(e.Aw, e.Bw, e.Cw, 2, 2, s, c), b31 = lin(e.Aw, e.Bw, e.Cw, 2, 0, s, c);
        const double b32 = lin(e.Aw, e.Bw, e.Cw, 2, 1, s, c);
        const double hw = std::hypot(b13, b23);
        double th5, th6, th7;
        th6 = std::atan2(hw, b33);
        if (hw > kSingular) {
            th5 = std::atan2(b23, b13);
            th7 = std::atan2(b32, -b31);
        } else {
            const double b11 = lin(e.Aw, e.Bw, e.Cw, 0, 0, s, c), b21 = lin(e.Aw, e.Bw, e.Cw, 1, 0, s, c);
            th5 = cur_[4];
            th7 = std::atan2(b21, b11) - th5;
        }
        // The flipped shoulder (th1 + pi, -th2, th3 + pi) and wrist
        // (th5 + pi, -th6, th7 + pi) come for free.
        for (int j = 0; j < 4; ++j) {
            if (!(m & (1u << j))) continue;
            const bool fs = j & 2, fw = j & 1;
            double* q = raw[4 * k + j];
            q[0] = fs ? th1 + kPi : th1;
            q[1] = fs ? -th2 : th2;
            q[2] = fs ? th3 + kPi : th3;
            q[3] = e.th4;
            q[4] = fw ? th5 + kPi : th5;
            q[5] = fw ? -th6 : th6;
            q[6] = fw ? th7 + kPi : th7;
        }
        got |= m << (4 * k);
    }
    return got;
}

Solution solve_quell(const QuellGeometry& g, const JointSpace& js, const SearchSettings& ss, const Rigid& flange,
                     const double cur[kJoints]) {
    Solution out{};
    for (int i = 0; i < kJoints; ++i) out.th[i] = cur[i];
    QuellArm arm;
    out.code = arm.setup(g, flange, cur);
    if (out.code != kOk) return out;
    if (standing_solution(quell_forward(g, cur), flange, cur, js, &out)) return out;

    const Search<QuellArm> search(arm, js, cur);
    const double phi0 = arm.current_phi();
    Candidate best{};
    double best_cost = kHuge;
    auto offer_cost = [&](const Candidate& c) { Search<QuellArm>::offer(c, Objective::kCost, &best, &best_cost); };
    // Every branch exists at every phi and its joints move smoothly with it:
    // 1e-8 in phi is 1e-8 in the joints. (Taldo's joint 7 needs finer.)
    constexpr double kTolNarrow = 1e-8, kTolWide = 1e-8;
    Span spans[kMaxSpans];
    int n_spans = 0;

    const bool narrow = ss.narrow;
    if (narrow && ss.half_window < kPi) {
        const double w = ss.half_window;
        spans[0] = {phi0 - w, phi0 + w, 0xFFu};
        n_spans = 1;
        // Both window ends and phi0 itself (and more points in a wide window).
        search.cost_stage(spans, 1, w > 0.0 ? w / std::ceil(w / kNarrowStep) : 1.0, kTolNarrow, &best, &best_cost);
        if (!(best_cost < kHuge) && w > 0.0) {
            // Nothing feasible at the samples: the closed-form pieces tell
            // exactly where the window meets the limits.
            Span pieces[kMaxSpans];
            const int n = arm.feasible_spans(js, phi0 - kPi, pieces, kMaxSpans, offer_cost);
            n_spans = 0;
            for (int i = 0; i < n; ++i) {
                const double a = std::fmax(pieces[i].a, phi0 - w), b = std::fmin(pieces[i].b, phi0 + w);
                if (b >= a) spans[n_spans++] = {a, b, pieces[i].mask};
            }
            search.cost_stage(spans, n_spans, w / 4.0, kTolNarrow, &best, &best_cost);
        }
    } else {
        // The feasible pieces of the whole circle, sampled every few degrees.
        n_spans = arm.feasible_spans(js, phi0 - kPi, spans, kMaxSpans, offer_cost);
        search.cost_stage(spans, n_spans, kWideStep, kTolWide, &best, &best_cost);
    }
    return search.finish(spans, n_spans, narrow, js.check_speed, kTolNarrow, best, best_cost, out);
}

}  // namespace tova::seven_axis
