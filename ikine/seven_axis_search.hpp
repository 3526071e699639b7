// Search over the redundancy parameter of a seven-axis arm, shared by both
// models. A model supplies its closed form per parameter value:
//
//   unsigned solve(double t, unsigned mask, double raw[kBranches][kJoints]) const;
//
// which writes the raw model angles of every branch in `mask` that exists at
// t and returns the mask of those that exist. The search samples the
// parameter over a set of spans, refines the best local minima with Brent's
// method, and keeps the best candidate seen. The objective is the weighted
// distance to the current joints, the largest speed ratio, or the limit
// margin (used to find feasible pieces narrower than the sampling step).
#ifndef TOVA_IKINE_SEVEN_AXIS_SEARCH_HPP
#define TOVA_IKINE_SEVEN_AXIS_SEARCH_HPP

#include "ikine/seven_axis_core.hpp"

namespace tova::seven_axis {

// A piece of the parameter range and the branches to look at in it.
struct Span {
    double a, b;
    unsigned mask;
};
constexpr int kMaxSpans = 96;

enum class Objective { kCost, kRatio, kMargin };

constexpr double kHuge = 1e30;

inline double objective_value(const Candidate& c, Objective obj) {
    switch (obj) {
        case Objective::kCost: return c.feasible ? c.cost : kHuge;
        case Objective::kRatio: return c.feasible ? c.ratio : kHuge;
        case Objective::kMargin: return -c.margin;
    }
    return kHuge;
}

// Brent's minimiser on [a, b] from an interior point x with known f(x):
// parabolic steps where they behave, golden sections where they do not, so
// narrow valleys (near singular configurations the joints move fast with the
// redundancy) are still found.
// When f is known at both ends (fa, fb below kHuge) they seed the first
// parabola, which saves the opening golden steps.
template <class F>
void brent_minimise(double a, double fa, double b, double fb, double x, double fx, F&& f, double tol,
                    int max_iter) {
    constexpr double kGold = 0.3819660112501051;
    double v = x, w = x, fv = fx, fw = fx, d = 0.0, e = 0.0;
    if (fa < kHuge && fb < kHuge) {
        w = fa < fb ? a : b;
        fw = fa < fb ? fa : fb;
        v = fa < fb ? b : a;
        fv = fa < fb ? fb : fa;
        d = e = 0.5 * (b - a);
    }
    for (int it = 0; it < max_iter; ++it) {
        const double xm = 0.5 * (a + b);
        const double tol2 = 2.0 * tol;
        if (std::fabs(x - xm) <= tol2 - 0.5 * (b - a)) break;
        bool golden = true;
        if (std::fabs(e) > tol) {
            double r = (x - w) * (fx - fv);
            double q = (x - v) * (fx - fw);
            double p = (x - v) * q - (x - w) * r;
            q = 2.0 * (q - r);
            if (q > 0.0) p = -p;
            q = std::fabs(q);
            const double etemp = e;
            e = d;
            if (!(std::fabs(p) >= std::fabs(0.5 * q * etemp) || p <= q * (a - x) || p >= q * (b - x))) {
                d = p / q;
                const double u = x + d;
                if (u - a < tol2 || b - u < tol2) d = std::copysign(tol, xm - x);
                golden = false;
            }
        }
        if (golden) {
            e = (x >= xm) ? a - x : b - x;
            d = kGold * e;
        }
        const double u = (std::fabs(d) >= tol) ? x + d : x + std::copysign(tol, d);
        const double fu = f(u);
        if (fu <= fx) {
            if (u >= x) a = x; else b = x;
            v = w; fv = fw;
            w = x; fw = fx;
            x = u; fx = fu;
        } else {
            if (u < x) a = u; else b = u;
            if (fu <= fw || w == x) {
                v = w; fv = fw;
                w = u; fw = fu;
            } else if (fu <= fv || v == x || v == w) {
                v = u; fv = fu;
            }
        }
    }
}

// Sampling step of the speed stage: 0.001 rad, coarser over long spans so
// that it stays within a few hundred samples.
inline double speed_step(const Span* spans, int n) {
    double len = 0.0;
    for (int i = 0; i < n; ++i) len += spans[i].b - spans[i].a;
    return std::fmax(0.001, len / 400.0);
}

// A sampled local minimum of one branch and the bracket around it.
struct Bracket {
    double a, b, t;      // ends and sampled minimum
    double fa, fb, value;  // objective there (kHuge beyond a span)
    int branch;
    bool fine = true;    // near a fold: refine to a hundredth of the tolerance
};
constexpr int kMaxBrackets = 4;

template <class P>
class Search {
public:
    Search(const P& problem, const JointSpace& js, const double* cur) : p_(problem), js_(js), cur_(cur) {}

    // All branches in mask at t; returns the mask of those that exist.
    unsigned eval_all(double t, unsigned mask, Candidate out[kBranches]) const {
        double raw[kBranches][kJoints];
        const unsigned got = p_.solve(t, mask, raw);
        for (int b = 0; b < kBranches; ++b) {
            if (!(got & (1u << b))) continue;
            score(raw[b], cur_, js_, &out[b]);
            out[b].t = t;
            out[b].branch = b;
        }
        return got;
    }

    bool eval_one(double t, int branch, Candidate* c) const {
        double raw[kBranches][kJoints];
        if (!(p_.solve(t, 1u << branch, raw) & (1u << branch))) return false;
        score(raw[branch], cur_, js_, c);
        c->t = t;
        c->branch = branch;
        return true;
    }

    // Offers c as the best so far under obj.
    static void offer(const Candidate& c, Objective obj, Candidate* best, double* best_value) {
        const double v = objective_value(c, obj);
        if (v < *best_value) {
            *best_value = v;
            *best = c;
        }
    }

    // Samples every span with points at most `step` apart (ends included),
    // and more densely where a branch's joints jump or branches appear or
    // vanish between two samples (near singular points and folds of the
    // parameterisation the joints move much faster than the parameter, and a
    // whole basin of the objective can fit between two regular samples).
    // Offers each candidate to *best and keeps the lowest sampled local minima
    // in brackets[]. Returns the number of brackets kept.
    int scan(const Span* spans, int n_spans, double step, Objective obj, Candidate* best, double* best_value,
             Bracket brackets[kMaxBrackets]) const {
        int n_br = 0;
        for (int s = 0; s < n_spans; ++s) {
            const Span& sp = spans[s];
            const double len = sp.b - sp.a;
            // At least the middle besides the ends: the ends of a closed-form
            // piece sit on its boundary, where the branch may just fail.
            int n = len > 0.0 ? samples(len, step) : 0;
            if (len > 0.0 && n < 2) n = 2;
            Stream st{obj, best, best_value, brackets, &n_br, sp.a, sp.b};
            Sample buf[2];
            sample(sp.a, sp.mask, obj, &buf[0]);
            st.push(*this, buf[0]);
            for (int k = 1; k <= n; ++k) {
                const Sample& prev = buf[(k - 1) & 1];
                Sample& next = buf[k & 1];
                sample(sp.a + len * k / n, sp.mask, obj, &next);
                subdivide(prev, next, sp.mask, obj, 0, &st);
                st.push(*this, next);
            }
            st.finish(*this);
        }
        return n_br;
    }

    // Refines each bracket on its branch. For the cost, brackets whose sampled
    // value is more than twice the best one's are skipped: at the scale of a
    // bracket they cannot come near it.
    void refine(const Bracket* brackets, int n_br, Objective obj, double tol, Candidate* best,
                double* best_value) const {
        for (int i = 0; i < n_br; ++i) {
            const Bracket& br = brackets[i];
            if (!(br.b > br.a)) continue;
            if (obj == Objective::kCost && i > 0 && br.value > 2.0 * brackets[0].value + 1e-9) break;
            auto f = [&](double t) {
                Candidate c;
                if (!eval_one(t, br.branch, &c)) return kHuge;
                offer(c, obj, best, best_value);
                return objective_value(c, obj);
            };
            double x0 = br.a, f0 = br.fa, x1 = br.t, f1 = br.value, x2 = br.b, f2 = br.fb;
            if (x1 <= x0 || x1 >= x2) {
                // Sampled minimum at a span end: step inside until something
                // is no worse than the end, else the end is the answer.
                const bool low = x1 <= x0;
                const double end = x1, f_end = f1;
                double far = low ? x2 : x0, f_far = low ? f2 : f0;
                bool found = false;
                for (int k = 0; k < 8 && !found; ++k) {
                    const double u = end + 0.3819660112501051 * (far - end);
                    const double fu = f(u);
                    if (fu <= f_end) {
                        found = true;
                        x1 = u;
                        f1 = fu;
                    } else {
                        far = u;
                        f_far = fu;
                    }
                }
                if (!found) continue;
                if (low) {
                    x0 = end; f0 = f_end; x2 = far; f2 = f_far;
                } else {
                    x2 = end; f2 = f_end; x0 = far; f0 = f_far;
                }
            }
            brent_minimise(x0, f0, x2, f2, x1, f1, f, br.fine ? 1e-2 * tol : tol, 40);
        }
    }

    // Nearest candidate inside the limits: sampled, then refined.
    void cost_stage(const Span* spans, int n_spans, double step, double tol, Candidate* best,
                    double* best_cost) const {
        Bracket br[kMaxBrackets];
        const int n = scan(spans, n_spans, step, Objective::kCost, best, best_cost, br);
        refine(br, n, Objective::kCost, tol, best, best_cost);
    }

    // Looks for feasible pieces narrower than the sampling step by climbing
    // the limit margin from its best sampled local maxima. A feasible
    // candidate found this way is offered to *best and refined by cost.
    void margin_rescue(const Span* spans, int n_spans, double step, double tol, Candidate* best,
                       double* best_cost) const {
        Candidate m;
        double mv = kHuge;
        Bracket br[kMaxBrackets];
        const int n = scan(spans, n_spans, step, Objective::kMargin, &m, &mv, br);
        for (int i = 0; i < n; ++i) {
            Candidate mi;
            double vi = kHuge;
            refine(&br[i], 1, Objective::kMargin, tol, &mi, &vi);
            if (!(vi < kHuge) || !mi.feasible) continue;
            offer(mi, Objective::kCost, best, best_cost);
            const Bracket around{br[i].a, br[i].b, mi.t, kHuge, kHuge, mi.cost, mi.branch};
            refine(&around, 1, Objective::kCost, tol, best, best_cost);
        }
    }

    // The common end of both solvers: the joint-limit code when no candidate
    // was found, in narrow mode the speed stage, else the chosen candidate
    // written into out (left as it was on failure but for the code).
    Solution finish(const Span* spans, int n_spans, bool narrow, bool check_speed, double tol,
                    Candidate best, double best_cost, Solution out) const {
        if (!(best_cost < kHuge)) {
            out.code = kJointLimit;
            return out;
        }
        if (narrow && check_speed &&
            !speed_stage(spans, n_spans, speed_step(spans, n_spans), tol, &best)) {
            out.code = kSpeedLimit;
            return out;
        }
        for (int i = 0; i < kJoints; ++i) out.th[i] = best.th[i];
        out.t = best.t;
        out.branch = best.branch;
        out.code = kOk;
        return out;
    }

    // Narrow mode, when *best steps too fast: first the nearest candidate
    // again on a dense grid (near singular points of the parameterisation the
    // joints move much faster than the parameter, and the nearest solution
    // sits in a valley narrower than the normal samples), then, if that one is
    // too fast as well, the candidate with the smallest largest speed ratio.
    // Returns false when even that one is above kRatioOk (*best unchanged).
    bool speed_stage(const Span* spans, int n_spans, double step, double tol, Candidate* best) const {
        if (best->ratio <= kRatioOk) return true;
        Candidate c = *best;
        double cv = c.cost;
        cost_stage(spans, n_spans, step, tol, &c, &cv);
        if (c.ratio <= kRatioOk) {
            *best = c;
            return true;
        }
        Candidate r = *best;
        double rv = r.ratio;
        Bracket br[kMaxBrackets];
        const int n = scan(spans, n_spans, step, Objective::kRatio, &r, &rv, br);
        refine(br, n, Objective::kRatio, tol, &r, &rv);
        if (!(rv <= kRatioOk)) refine_speed_gaps(spans, n_spans, step, tol, &r, &rv);
        if (!(rv <= kRatioOk)) return false;
        *best = r;
        return true;
    }

    // Where the joints move much faster than the parameter (near folds and
    // singular points of the parameterisation) the piece of the window within
    // the speed limits can be far narrower than the sampling step and invisible
    // at the samples. Between two samples of a branch, every joint must pass
    // within its step of the current value for such a piece to exist; those
    // intervals are searched for the smallest ratio, most promising first.
    void refine_speed_gaps(const Span* spans, int n_spans, double step, double tol, Candidate* best,
                           double* best_ratio) const {
        constexpr int kMaxGaps = 12;
        Bracket gaps[kMaxGaps];
        int n_gaps = 0;
        // Hidden-branch searches of one pass: a bound on the worst case (tens
        // of microseconds); ordinary passes spend a few dozen evaluations.
        int hidden_budget = kHiddenBudget;
        for (int s = 0; s < n_spans; ++s) {
            const Span& sp = spans[s];
            const double len = sp.b - sp.a;
            if (!(len > 0.0)) continue;
            const int n = samples(len, step);
            Candidate prev[kBranches];
            unsigned have = 0;
            double t_prev = sp.a;
            for (int k = 0; k <= n; ++k) {
                const double t = sp.a + len * k / n;
                Candidate c[kBranches];
                const unsigned got = eval_all(t, sp.mask, c);
                for (int b = 0; b < kBranches; ++b) {
                    const unsigned bit = 1u << b;
                    if ((got ^ have) & bit && k > 0) {
                        // The branch starts or ends between the samples: a fold,
                        // where its joints move fastest.
                        const double v = (got & bit) ? c[b].ratio : prev[b].ratio;
                        insert_gap({t_prev, t, (got & bit) ? t : t_prev, kHuge, kHuge, v, b}, gaps, &n_gaps,
                                   kMaxGaps);
                        continue;
                    }
                    if (!(got & have & bit)) continue;
                    bool reachable = true;
                    for (int i = 0; i < kJoints && reachable; ++i) {
                        if (!(js_.max_step[i] > 0.0)) continue;
                        const double lo = std::fmin(prev[b].th[i], c[b].th[i]) - js_.max_step[i];
                        const double hi = std::fmax(prev[b].th[i], c[b].th[i]) + js_.max_step[i];
                        reachable = cur_[i] >= lo && cur_[i] <= hi;
                    }
                    if (!reachable) continue;
                    const double v = std::fmin(prev[b].ratio, c[b].ratio);
                    insert_gap({t_prev, t, 0.5 * (t_prev + t), kHuge, kHuge, v, b}, gaps, &n_gaps, kMaxGaps);
                }
                // Branches that exist only between the samples.
                double hidden[4];
                const int n_hidden = k > 0 ? p_.hidden_points(t_prev, t, hidden, 4, &hidden_budget) : 0;
                for (int h = 0; h < n_hidden; ++h) {
                    Candidate ch[kBranches];
                    const unsigned gh = eval_all(hidden[h], sp.mask, ch);
                    for (int b = 0; b < kBranches; ++b) {
                        if (!(gh & (1u << b))) continue;
                        if (!(have & (1u << b)))
                            insert_gap({t_prev, hidden[h], hidden[h], kHuge, kHuge, ch[b].ratio, b}, gaps, &n_gaps,
                                       kMaxGaps);
                        if (!(got & (1u << b)))
                            insert_gap({hidden[h], t, hidden[h], kHuge, kHuge, ch[b].ratio, b}, gaps, &n_gaps,
                                       kMaxGaps);
                    }
                }
                for (int b = 0; b < kBranches; ++b)
                    if (got & (1u << b)) prev[b] = c[b];
                have = got;
                t_prev = t;
            }
        }
        for (int i = 0; i < n_gaps && !(*best_ratio <= kRatioOk); ++i) {
            Bracket g = gaps[i];
            Candidate c;
            if (g.t == g.a || g.t == g.b) {
                // Fold: close in on where the branch ends from the side where it
                // exists, then search between there and that side's sample.
                double in = g.t, out = g.t == g.a ? g.b : g.a;
                for (int k = 0; k < 30; ++k) {
                    const double m = 0.5 * (in + out);
                    (eval_one(m, g.branch, &c) ? in : out) = m;
                }
                g.a = std::fmin(in, g.t);
                g.b = std::fmax(in, g.t);
                g.t = in;
            } else {
                g.t = 0.5 * (g.a + g.b);
            }
            if (!eval_one(g.t, g.branch, &c)) continue;
            offer(c, Objective::kRatio, best, best_ratio);
            g.value = objective_value(c, Objective::kRatio);
            refine(&g, 1, Objective::kRatio, tol, best, best_ratio);
        }
    }

    // Accepted speed ratio: just below one, so that the float result cannot
    // round past the limit.
    static constexpr double kRatioOk = 1.0 - 1e-6;

private:
    // One sample: the candidates of every branch at t and their objective.
    struct Sample {
        double t;
        unsigned got;
        Candidate c[kBranches];
        double v[kBranches];
    };

    void sample(double t, unsigned mask, Objective obj, Sample* out) const {
        out->t = t;
        out->got = eval_all(t, mask, out->c);
        for (int b = 0; b < kBranches; ++b)
            out->v[b] = (out->got & (1u << b)) ? objective_value(out->c[b], obj) : kHuge;
    }

    // Intervals of `step` or less covering len > 0. Capped: joint-7 limits
    // or a search window of thousands of radians would otherwise ask for
    // billions of samples (any real arm needs a few hundred); past the cap the
    // samples are just farther apart.
    static int samples(double len, double step) {
        return static_cast<int>(std::fmin(std::ceil(len / step - 1e-9), kMaxSamples));
    }
    static constexpr double kMaxSamples = 16384.0;

    // Largest joint jump allowed between neighbouring samples of a branch, rad,
    // and how often an interval may be halved to get there.
    static constexpr double kMaxJump = 0.3;
    static constexpr int kMaxDepth = 5;
    // Wrist evaluations the hidden-branch searches of one speed-gap pass may spend.
    static constexpr int kHiddenBudget = 1024;

    // Consumes samples in order of t: offers them, and keeps each branch's
    // sampled local minima with their neighbours as brackets.
    class Stream {
    public:
        Stream(Objective obj, Candidate* best, double* best_value, Bracket* brackets, int* n_br, double a, double b)
            : obj_(obj), best_(best), best_value_(best_value), brackets_(brackets), n_br_(n_br), a_(a), b_(b) {
            for (int i = 0; i < kBranches; ++i) v1_[i] = v2_[i] = kHuge;
        }
        void push(const Search& s, const Sample& x) {
            for (int i = 0; i < kBranches; ++i) {
                if (!(x.got & (1u << i))) continue;
                offer(x.c[i], obj_, best_, best_value_);
            }
            step(s, x);
            for (int i = 0; i < kBranches; ++i)
                if (x.got & (1u << i))
                    for (int j = 0; j < kJoints; ++j) th1_[i][j] = x.c[i].th[j];
        }
        void finish(const Search& s) {
            Sample none;
            none.t = b_;
            none.got = 0;
            for (int i = 0; i < kBranches; ++i) none.v[i] = kHuge;
            step(s, none, true);
        }

    private:
        // The previous sample (t1, v1) is a local minimum when no worse than
        // both neighbours (t2, v2) and x. Its fold flag is asked for only then.
        void step(const Search& s, const Sample& x, bool end = false) {
            const double t = x.t;
            const double* v = x.v;
            if (count_ >= 1) {
                for (int i = 0; i < kBranches; ++i) {
                    if (!(v1_[i] < kHuge) || v1_[i] > v2_[i] || v1_[i] > v[i]) continue;
                    const Bracket br{count_ >= 2 ? t2_ : a_, end ? b_ : t, t1_, count_ >= 2 ? v2_[i] : kHuge,
                                     end ? kHuge : v[i], v1_[i], i, s.p_.near_fold(th1_[i])};
                    insert(br, brackets_, n_br_);
                }
            }
            for (int i = 0; i < kBranches; ++i) {
                v2_[i] = v1_[i];
                v1_[i] = v[i];
            }
            t2_ = t1_;
            t1_ = t;
            ++count_;
        }
        Objective obj_;
        Candidate* best_;
        double* best_value_;
        Bracket* brackets_;
        int* n_br_;
        double a_, b_;
        double v1_[kBranches], v2_[kBranches];
        double th1_[kBranches][kJoints];  // joints of the previous sample
        double t1_ = 0.0, t2_ = 0.0;
        int count_ = 0;
    };

    void subdivide(const Sample& a, const Sample& b, unsigned mask, Objective obj, int depth, Stream* st) const;

    static void insert_gap(const Bracket& g, Bracket* gaps, int* n, int cap) {
        int pos = *n;
        if (pos == cap) {
            if (g.value >= gaps[cap - 1].value) return;
            pos = cap - 1;
        } else {
            ++*n;
        }
        while (pos > 0 && gaps[pos - 1].value > g.value) {
            gaps[pos] = gaps[pos - 1];
            --pos;
        }
        gaps[pos] = g;
    }

    static void insert(const Bracket& br, Bracket brackets[kMaxBrackets], int* n) {
        int pos = *n;
        if (pos == kMaxBrackets) {
            if (br.value >= brackets[kMaxBrackets - 1].value) return;
            pos = kMaxBrackets - 1;
        } else {
            ++*n;
        }
        while (pos > 0 && brackets[pos - 1].value > br.value) {
            brackets[pos] = brackets[pos - 1];
            --pos;
        }
        brackets[pos] = br;
    }

    const P& p_;
    const JointSpace& js_;
    const double* cur_;
};

template <class P>
void Search<P>::subdivide(const Sample& a, const Sample& b, unsigned mask, Objective obj, int depth,
                          Stream* st) const {
    if (depth >= kMaxDepth) return;
    bool split = a.got != b.got;  // a branch appears or vanishes in between
    for (int i = 0; i < kBranches && !split; ++i) {
        if (!(a.got & b.got & (1u << i))) continue;
        for (int j = 0; j < kJoints && !split; ++j) {
            double d = std::fabs(a.c[i].th[j] - b.c[i].th[j]);
            if (d > kPi) d = std::fabs(d - kTwoPi);  // a turn taken by the range mapping
            split = d > kMaxJump;
        }
    }
    if (!split) return;
    Sample m;
    sample(0.5 * (a.t + b.t), mask, obj, &m);
    subdivide(a, m, mask, obj, depth + 1, st);
    st->push(*this, m);
    subdivide(m, b, mask, obj, depth + 1, st);
}

}  // namespace tova::seven_axis

#endif
