#include "ikine/seven_axis_taldo.hpp"

#include <algorithm>

namespace tova::seven_axis {

namespace {

// Modified-DH twists of the taldo arm: 0, -90, 90, 90, -90, 90, 90 degrees.
constexpr double kAlpha[kJoints] = {0.0, -kPi / 2, kPi / 2, kPi / 2, -kPi / 2, kPi / 2, kPi / 2};

// Relative slack of the elbow (law of cosines) and wrist (sine of joint 5)
// tests: float targets land just past a stretched elbow or a wrist fold.
constexpr double kElbowTol = 1e-8;
constexpr double kWristTol = 1e-8;
constexpr double kSingular = 1e-10;
// Residual (m) accepted where a degenerate case leaves a joint free.
constexpr double kDegenerateTol = 1e-9;
// Wrist-sine evaluations of one hidden-branch search between two samples:
// room for a full-depth bisection to a crossing and some branching beside it.
// (The caller also caps the sum over one pass along joint 7.)
constexpr int kHiddenEvals = 96;

// Sampling steps of the wide search over joint 7, rad: the cost sampling,
// and the limit-margin climb that runs when no sample was feasible.
constexpr double kWideStep = 6.0 * kPi / 180.0;
constexpr double kRescueStep = 1.0 * kPi / 180.0;

}  // namespace

Rigid taldo_forward(const TaldoGeometry& g, const double th[kJoints]) {
    const double d[kJoints] = {g.d1, 0.0, g.d3, 0.0, g.d5, 0.0, g.d7};
    const double a[kJoints] = {0.0, 0.0, 0.0, g.a4, g.a5, 0.0, g.a7};
    V3 X{1, 0, 0}, Y{0, 1, 0}, Z{0, 0, 1}, p{0, 0, 0};
    for (int i = 0; i < kJoints; ++i) {
        // Rx(alpha) Tx(a) Rz(th) Tz(d); the twists are right angles or zero.
        if (kAlpha[i] > 0.0) {  // Rx(90): y' = z, z' = -y
            const V3 y = Y;
            Y = Z;
            Z = -1.0 * y;
        } else if (kAlpha[i] < 0.0) {  // Rx(-90): y' = -z, z' = y
            const V3 y = Y;
            Y = -1.0 * Z;
            Z = y;
        }
        p = p + a[i] * X;
        const double c = std::cos(th[i]), s = std::sin(th[i]);
        const V3 x = X;
        X = c * x + s * Y;
        Y = -s * x + c * Y;
        p = p + d[i] * Z;
    }
    return {{{{X.x, Y.x, Z.x}, {X.y, Y.y, Z.y}, {X.z, Y.z, Z.z}}}, p};
}

void TaldoArm::setup(const TaldoGeometry& g, const Rigid& flange, const double cur[kJoints]) {
    g_ = g;
    R_ = flange.R;
    for (int i = 0; i < kJoints; ++i) cur_[i] = cur[i];
    const V3 zf = col(R_, 2);
    wrist0_ = flange.p - g.d7 * zf;
    // Shoulder P_s, O4 and P_w lie in the plane normal to axis 4.
    C0_ = g.d3 * g.d3 + g.a4 * g.a4 + g.a5 * g.a5 + g.d5 * g.d5;
    const double A = 2.0 * (g.d3 * g.d5 + g.a4 * g.a5), B = 2.0 * (g.d3 * g.a5 - g.a4 * g.d5);
    rho_ = std::hypot(A, B);
    phi_ = std::atan2(B, A);
    // P_w = wrist0 - a7 x6 with x6 = R (cos t, -sin t, 0).
    const V3 h = V3{0.0, 0.0, g.d1} - wrist0_;
    const V3 ht = mul_t(R_, h);
    K_ = dot(h, h) + g.a7 * g.a7;
    Kc_ = 2.0 * g.a7 * ht.x;
    Ks_ = -2.0 * g.a7 * ht.y;
}

bool TaldoArm::elbow_at(double t, AtJoint7* a) const {
    a->ct = std::cos(t);
    a->st = std::sin(t);
    a->x6 = a->ct * col(R_, 0) - a->st * col(R_, 1);
    const V3 v = V3{0.0, 0.0, g_.d1} - (wrist0_ - g_.a7 * a->x6);  // P_s - P_w
    double ca = (dot(v, v) - C0_) / rho_;
    if (!(std::fabs(ca) <= 1.0 + kElbowTol)) return false;
    ca = std::fmax(-1.0, std::fmin(1.0, ca));
    a->delta = std::acos(ca);
    // Shoulder point seen from frame 6: R06^T v with R06 = R Rz(-t) Rx(-90).
    const V3 vt = mul_t(R_, v);
    a->p6 = {a->ct * vt.x - a->st * vt.y, -vt.z, a->st * vt.x + a->ct * vt.y};
    return true;
}

void TaldoArm::arm_plane(double s4, double c4, double* u4, double* v4) const {
    // P_s - P_w in frame 4 is (u4, v4, 0).
    *u4 = -(g_.d3 * s4 + g_.a4 * c4 + g_.a5);
    *v4 = -(g_.d3 * c4 - g_.a4 * s4 + g_.d5);
}

unsigned TaldoArm::wrist_sines(double t, double s5[2]) const {
    AtJoint7 a;
    if (!elbow_at(t, &a)) return 0;
    for (int ei = 0; ei < 2; ++ei) {
        const double th4 = ei == 0 ? phi_ + a.delta : phi_ - a.delta;
        double u4, v4;
        arm_plane(std::sin(th4), std::cos(th4), &u4, &v4);
        s5[ei] = std::fabs(u4) > kSingular ? a.p6.z / u4 : (std::fabs(a.p6.z) <= kDegenerateTol ? 0.0 : 1e300);
    }
    return 3;
}

bool TaldoArm::near_fold(const double* th) const {
    const double delta = std::fabs(std::remainder(th[3] - phi_, kTwoPi));
    double u4, v4;
    arm_plane(std::sin(th[3]), std::cos(th[3]), &u4, &v4);
    return std::fabs(std::cos(th[4])) < 0.1 || delta < 0.1 || delta > kPi - 0.1 || std::fabs(u4) < 0.02;
}

bool TaldoArm::reachable() const {
    // |P_s P_w|^2 sweeps K -+ hypot(Kc, Ks) over joint 7; the elbow needs C0 -+ rho.
    const double m = std::hypot(Kc_, Ks_), slack = rho_ * kElbowTol;
    return K_ - m <= C0_ + rho_ + slack && K_ + m >= C0_ - rho_ - slack;
}

int TaldoArm::hidden_points(double a, double b, double* out, int cap, int* budget) const {
    double sa[2], sb[2];
    const unsigned ea = wrist_sines(a, sa), eb = wrist_sines(b, sb);
    int n = 0;
    const int granted = std::min(kHiddenEvals, *budget);
    int evals = granted;
    hidden_between(a, ea, sa, b, eb, sb, 0, &evals, out, cap, &n);
    *budget -= granted - evals;
    return n;
}

// The wrist of an elbow branch exists where |s5| <= 1. When s5 moves fast
// between a and b (the shoulder point close to axis 5) it may pass through
// [-1, 1] between them unseen: bisect until it is caught or ruled out. Where
// s5 is large and steep over the whole interval (u4 near zero) every half
// stays suspect, so the evaluations are budgeted: without a budget that case
// costs up to 2^25 of them, half a second or more for one solve.
void TaldoArm::hidden_between(double a, unsigned ea, const double* sa, double b, unsigned eb, const double* sb,
                              int depth, int* evals, double* out, int cap, int* n) const {
    if (*n >= cap || depth > 24 || *evals <= 0) return;
    bool maybe = ea != eb;  // the elbow appears or vanishes in between
    for (int ei = 0; ei < 2 && ea && eb; ++ei) {
        if (std::fabs(sa[ei]) <= 1.0 || std::fabs(sb[ei]) <= 1.0) continue;  // seen at an end
        const bool crosses = (sa[ei] > 1.0) != (sb[ei] > 1.0) || (sa[ei] < -1.0) != (sb[ei] < -1.0);
        maybe = maybe || crosses || std::fabs(sa[ei] - sb[ei]) > 0.5;
    }
    if (!maybe) return;
    const double m = 0.5 * (a + b);
    double sm[2];
    --*evals;
    const unsigned em = wrist_sines(m, sm);
    if (em && (std::fabs(sm[0]) <= 1.0 || std::fabs(sm[1]) <= 1.0)) {
        out[(*n)++] = m;
        return;
    }
    hidden_between(a, ea, sa, m, em, sm, depth + 1, evals, out, cap, n);
    hidden_between(m, em, sm, b, eb, sb, depth + 1, evals, out, cap, n);
}

unsigned TaldoArm::solve(double t, unsigned mask, double raw[kBranches][kJoints]) const {
    AtJoint7 at;
    if (!elbow_at(t, &at)) return 0;
    const double ct = at.ct, st = at.st, delta = at.delta;
    const V3 x6 = at.x6, p6 = at.p6;
    const V3 c0 = col(R_, 0), c1 = col(R_, 1), zf = col(R_, 2);
    const V3 y6 = -1.0 * zf, z6 = st * c0 + ct * c1;
    const M3 R06{{{x6.x, y6.x, z6.x}, {x6.y, y6.y, z6.y}, {x6.z, y6.z, z6.z}}};
    const double hp = std::hypot(p6.x, p6.y);
    const double ang_p6 = std::atan2(p6.y, p6.x);

    unsigned got = 0;
    for (int ei = 0; ei < 2; ++ei) {
        const unsigned me = (mask >> (4 * ei)) & 0xFu;
        if (!me) continue;
        const double th4 = ei == 0 ? phi_ + delta : phi_ - delta;
        const double s4 = std::sin(th4), c4 = std::cos(th4);
        double u4, v4;
        arm_plane(s4, c4, &u4, &v4);
        double s5;
        if (std::fabs(u4) > kSingular) {
            s5 = p6.z / u4;
            if (!(std::fabs(s5) <= 1.0 + kWristTol)) continue;
            s5 = std::fmax(-1.0, std::fmin(1.0, s5));
        } else {
            // Shoulder point on axis 5: joint 5 is free if the point also
            // lies in the plane of the wrist, else there is no solution.
            if (!(std::fabs(p6.z) <= kDegenerateTol)) continue;
            s5 = std::sin(cur_[4]);
        }
        const double th5a = std::asin(s5), c5a = std::sqrt((1.0 - s5) * (1.0 + s5));
        // P4 = Rz(-th4) Rx(-90), shared by both wrist branches; row-major.
        const double P4[3][3] = {{c4, 0.0, s4}, {-s4, 0.0, c4}, {0.0, -1.0, 0.0}};
        for (int wi = 0; wi < 2; ++wi) {
            const unsigned mw = (me >> (2 * wi)) & 0x3u;
            if (!mw) continue;
            const double th5 = wi == 0 ? th5a : kPi - th5a;
            const double c5 = wi == 0 ? c5a : -c5a;
            double th6, c6, s6;
            if (hp > kSingular) {
                // th6 = angle of (c5 u4, v4) minus angle of p6 (both in the xy plane).
                const double X = c5 * u4, Y = v4, hx = std::hypot(X, Y);
                th6 = std::atan2(Y, X) - ang_p6;
                if (hx > 0.0) {
                    const double ca = X / hx, sa = Y / hx, cb = p6.x / hp, sb = p6.y / hp;
                    c6 = ca * cb + sa * sb;
                    s6 = sa * cb - ca * sb;
                } else {
                    c6 = std::cos(th6);
                    s6 = std::sin(th6);
                }
            } else {
                // Shoulder point on axis 6: joint 6 is free if the arm reaches
                // it there, else there is no solution.
                if (!(std::hypot(c5 * u4, v4) <= kDegenerateTol)) continue;
                th6 = cur_[5];
                c6 = std::cos(th6);
                s6 = std::sin(th6);
            }
            // M = Rz(-th6) Ry(-th5) P4, then R03 = R06 M = Rz(th1) Ry(th2) Rz(th3).
            double Y5[3][3];
            for (int j = 0; j < 3; ++j) {
                Y5[0][j] = c5 * P4[0][j] - s5 * P4[2][j];
                Y5[1][j] = P4[1][j];
                Y5[2][j] = s5 * P4[0][j] + c5 * P4[2][j];
            }
            M3 M;
            for (int j = 0; j < 3; ++j) {
                M.m[0][j] = c6 * Y5[0][j] + s6 * Y5[1][j];
                M.m[1][j] = -s6 * Y5[0][j] + c6 * Y5[1][j];
                M.m[2][j] = Y5[2][j];
            }
            const M3 R03 = mul(R06, M);
            const double r13 = R03.m[0][2], r23 = R03.m[1][2], r33 = R03.m[2][2];
            const double hs = std::hypot(r13, r23);
            const double th2 = std::atan2(hs, r33);
            double th1, th3;
            if (hs > kSingular) {
                th1 = std::atan2(r23, r13);
                th3 = std::atan2(R03.m[2][1], -R03.m[2][0]);
            } else {
                th1 = cur_[0];
                th3 = std::atan2(R03.m[1][0], R03.m[0][0]) - th1;
            }
            for (int gc = 0; gc < 2; ++gc) {
                if (!(mw & (1u << gc))) continue;
                double* q = raw[4 * ei + 2 * wi + gc];
                q[0] = gc ? th1 + kPi : th1;
                q[1] = gc ? -th2 : th2;
                q[2] = gc ? th3 + kPi : th3;
                q[3] = th4;
                q[4] = th5;
                q[5] = th6;
                q[6] = t;
            }
            got |= mw << (4 * ei + 2 * wi);
        }
    }
    return got;
}

int TaldoArm::elbow_spans(const JointSpace* js, double lo, double hi, Span* out, int cap) const {
    if (!(hi >= lo)) return 0;
    double lev[2][2];
    bool has[2];
    for (int ei = 0; ei < 2; ++ei) {
        double da = 0.0, db = kPi;
        if (js != nullptr) {
            const double l4 = js->lo[3], h4 = js->hi[3];
            if (l4 >= phi_ - kPi && h4 <= phi_ + kPi) {  // else any delta may map into the range
                if (ei == 0) {
                    da = std::fmax(da, l4 - phi_);
                    db = std::fmin(db, h4 - phi_);
                } else {
                    da = std::fmax(da, phi_ - h4);
                    db = std::fmin(db, phi_ - l4);
                }
            }
        }
        has[ei] = db >= da;
        lev[ei][0] = C0_ + rho_ * std::cos(db) - rho_ * kElbowTol;
        lev[ei][1] = C0_ + rho_ * std::cos(da) + rho_ * kElbowTol;
    }
    double bp[2 + 2 * 2 * 2 * 4];
    int n = 0;
    bp[n++] = lo;
    bp[n++] = hi;
    for (int ei = 0; ei < 2; ++ei) {
        if (!has[ei]) continue;
        for (double level : lev[ei]) {
            double r[2];
            const int k = sinusoid_roots(Ks_, Kc_, K_ - level, r);
            for (int i = 0; i < k; ++i) {
                // Every turn of the root inside [lo, hi], at most a few.
                double x = wrap_from(r[i], lo);
                for (int turn = 0; turn < 4 && x <= hi; ++turn, x += kTwoPi) bp[n++] = x;
            }
        }
    }
    sort_ascending(bp, n);
    int n_out = 0;
    for (int i = 0; i + 1 < n; ++i) {
        const double a = bp[i], b = bp[i + 1];
        if (b < a) continue;
        const double mid = 0.5 * (a + b);
        const double d2 = K_ + Kc_ * std::cos(mid) + Ks_ * std::sin(mid);
        unsigned m = 0;
        for (int ei = 0; ei < 2; ++ei)
            if (has[ei] && d2 >= lev[ei][0] && d2 <= lev[ei][1]) m |= 0xFu << (4 * ei);
        if (!m) continue;
        if (n_out > 0 && out[n_out - 1].b == a && out[n_out - 1].mask == m) {
            out[n_out - 1].b = b;
        } else if (n_out < cap) {
            out[n_out++] = {a, b, m};
        }
    }
    return n_out;
}

Solution solve_taldo(const TaldoGeometry& g, const JointSpace& js, const SearchSettings& ss, const Rigid& flange,
                     const double cur[kJoints]) {
    Solution out{};
    for (int i = 0; i < kJoints; ++i) out.th[i] = cur[i];
    TaldoArm arm;
    arm.setup(g, flange, cur);
    Span spans[kMaxSpans];
    if (!arm.reachable()) {
        out.code = kOutOfReach;
        return out;
    }
    if (standing_solution(taldo_forward(g, cur), flange, cur, js, &out)) return out;
    const Search<TaldoArm> search(arm, js, cur);
    Candidate best{};
    double best_cost = kHuge;
    // Near folds (near_fold) brackets refine to a hundredth of this: there the
    // other joints move like the square root of joint 7's distance to the
    // fold, and 1e-10 in joint 7 is 1e-5 in them.
    constexpr double kTolNarrow = 1e-8, kTolWide = 1e-8;
    double lo7 = js.lo[6], hi7 = js.hi[6];
    const double t0 = cur[6];
    // Every joint, joint 7 included, is scored at its turn nearest the current
    // value, so joint-7 values a turn apart give the same candidate. A range of
    // more than four turns (no real arm has one) is searched within two turns
    // of the current value only: absurd limits cost no more than real ones.
    if (hi7 - lo7 > 8.0 * kPi) {
        const double c = std::fmin(std::fmax(t0, lo7), hi7);
        lo7 = std::fmax(lo7, c - 4.0 * kPi);
        hi7 = std::fmin(hi7, c + 4.0 * kPi);
    }
    int n_spans = 0;
    double step, tol;
    if (ss.narrow && ss.half_window < hi7 - lo7) {
        const double w = ss.half_window;
        const double a = std::fmax(lo7, t0 - w), b = std::fmin(hi7, t0 + w);
        if (b >= a) spans[n_spans++] = {a, b, 0xFFu};
        if (t0 > a && t0 < b && t0 != 0.5 * (a + b)) {  // not one of the samples
            Candidate c0[kBranches];
            const unsigned got = search.eval_all(t0, 0xFFu, c0);
            for (int i = 0; i < kBranches; ++i)
                if (got & (1u << i)) Search<TaldoArm>::offer(c0[i], Objective::kCost, &best, &best_cost);
        }
        // The ends and the middle (and more points in a wide window).
        step = b > a ? 0.5 * (b - a) / std::ceil(0.5 * (b - a) / kNarrowStep) : 1.0;
        tol = kTolNarrow;
    } else {
        n_spans = arm.elbow_spans(&js, lo7, hi7, spans, kMaxSpans);
        step = kWideStep;
        tol = kTolWide;
    }
    search.cost_stage(spans, n_spans, step, tol, &best, &best_cost);
    if (!(best_cost < kHuge))
        search.margin_rescue(spans, n_spans, ss.narrow ? step / 4.0 : kRescueStep, tol, &best, &best_cost);
    return search.finish(spans, n_spans, ss.narrow, js.check_speed, kTolNarrow, best, best_cost, out);
}

}  // namespace tova::seven_axis
