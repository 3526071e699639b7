// Six-axis inverse kinematics: round trips through the forward kinematics,
// candidate sets against an independent numerical search, the specified edge
// cases, the plug-in twins, ikine and the overspeed test.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "ikine/ik_six_axis_core.hpp"
#include "tova_algorithm.h"

namespace {

using namespace tova::ik;
using M4 = std::array<std::array<double, 4>, 4>;

M4 mul(const M4 &a, const M4 &b) {
    M4 r{};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            for (int k = 0; k < 4; ++k) r[i][j] += a[i][k] * b[k][j];
    return r;
}

// Flange in the base frame for solver-space angles th: product of the
// modified-DH links Rx(alpha) Tx(a) Rz(th) Tz(d), in double.
M4 dh_chain(const DhTable &dh, const double *th) {
    M4 T{};
    for (int i = 0; i < 4; ++i) T[i][i] = 1.0;
    for (int i = 0; i < 6; ++i) {
        const double ca = std::cos(dh.alpha[i]), sa = std::sin(dh.alpha[i]);
        const double ct = std::cos(th[i]), st = std::sin(th[i]);
        const M4 L = {{{ct, -st, 0, dh.a[i]},
                       {ca * st, ca * ct, -sa, -sa * dh.d[i]},
                       {sa * st, sa * ct, ca, ca * dh.d[i]},
                       {0, 0, 0, 1}}};
        T = mul(T, L);
    }
    return T;
}

// Rotation angle between two rotation blocks, and position distance.
double rot_err(const M4 &a, const M4 &b) {
    double r[3][3] = {};  // a^T b
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k) r[i][j] += a[k][i] * b[k][j];
    const double v = std::hypot(r[2][1] - r[1][2], r[0][2] - r[2][0], r[1][0] - r[0][1]) / 2;
    return std::atan2(v, (r[0][0] + r[1][1] + r[2][2] - 1) / 2);
}
double pos_err(const M4 &a, const M4 &b) {
    return std::hypot(a[0][3] - b[0][3], a[1][3] - b[1][3], a[2][3] - b[2][3]);
}
M4 to_m4(const Pose &p) {
    const Matrix m = pose_quat_to_transformation_matrix(p);
    M4 r{};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) r[i][j] = m.data[i][j];
    return r;
}
double wrap_pi(double a) { return std::remainder(a, 2 * M_PI); }

struct Recorder {
    static constexpr bool active = true;
    std::vector<CandidateReport> seen;
    void candidate(const CandidateReport &r) { seen.push_back(r); }
};

struct Model {
    uint32_t type, sensor;
};
const Model kModels[] = {{ROBOT_VESK, 0},    {ROBOT_VESK, 1},    {ROBOT_VESK, 2},    {ROBOT_PIRRA_2, 0},
                         {ROBOT_PIRRA_2, 2}, {ROBOT_PIRRA_3, 0}, {ROBOT_PIRRA_3, 1}, {ROBOT_LUMO_A, 0},
                         {ROBOT_LUMO_A, 2},  {ROBOT_LUMO_B, 0},  {ROBOT_LUMO_C, 0},  {ROBOT_LUMO_C, 1}};

class SixAxisIk : public ::testing::Test {
  protected:
    std::mt19937 rng{20240611};
    DhTable dh{};
    uint32_t type = 0;

    void select(uint32_t t, uint32_t sensor = 0) {
        ASSERT_EQ(libalgo_set_robot_and_sensor_type(t, sensor), 0);
        libalgo_set_is_avoid_Singularity(0);
        libalgo_get_dh_value(&dh);
        type = t;
    }
    bool lateral() const { return type != ROBOT_VESK && type != ROBOT_PIRRA_2; }

    // Generating joints inside the limits (0.01 margin) and at least 0.1 rad
    // from the wrist and elbow singularities, with the wrist point at least
    // 5 cm from the shoulder axis (after the lateral offset).
    std::array<float, 8> sample() {
        float hi[8], lo[8];
        libalgo_get_jointlim_max(hi);
        libalgo_get_jointlim_min(lo);
        const double s01 = std::sin(0.1);
        for (;;) {
            std::array<float, 8> q{};
            double th[6];
            for (int j = 0; j < 6; ++j) {
                q[j] = std::uniform_real_distribution<float>(lo[j] + 0.01f, hi[j] - 0.01f)(rng);
                th[j] = q[j] + dh.offset[j];
            }
            double elbow = std::cos(th[2]);  // vesk: stretched at 90 degrees
            if (type == ROBOT_PIRRA_2 || type == ROBOT_PIRRA_3)
                elbow = std::cos(th[2] + std::atan2(dh.a[3], dh.d[3]));
            else if (lateral())
                elbow = std::sin(th[2]);
            const M4 F = dh_chain(dh, th);
            const double wx = F[0][3] - dh.d[5] * F[0][2], wy = F[1][3] - dh.d[5] * F[1][2];
            const double lat = type == ROBOT_PIRRA_3 ? dh.d[1] : (lateral() ? dh.d[3] : 0.0);
            const double radius = std::sqrt(std::fmax(0.0, wx * wx + wy * wy - lat * lat));
            if (std::fabs(std::sin(th[4])) >= s01 && std::fabs(elbow) >= s01 && radius >= 0.05) return q;
        }
    }

    // inverse_kinematics on the library's own pose of q; returns the worst
    // joint, position and rotation errors, counting failures.
    struct Errors {
        double joint = 0, pos = 0, rot = 0;
        int failures = 0;
    };
    void round_trip(int n, Errors &e) {
        for (int k = 0; k < n; ++k) {
            const auto q = sample();
            Pose target;
            forward_kinematics(&target, q.data());
            float cur[8] = {}, out[8] = {};
            for (int j = 0; j < 6; ++j) cur[j] = q[j] + std::uniform_real_distribution<float>(-0.02f, 0.02f)(rng);
            // Euler angles within a hair of gimbal lock lose the orientation
            // in the pose itself; those poses go by their quaternion.
            const bool euler = (k & 1) && std::fabs(std::fabs(target.euler.ry) - M_PI / 2) > 0.01;
            const int32_t rc = inverse_kinematics(cur, &target, out, euler ? 1 : 0);
            double dj = 0;
            for (int j = 0; j < 6; ++j) dj = std::fmax(dj, std::fabs(out[j] - q[j]));
            Pose back;
            forward_kinematics(&back, out);
            const double dp = pos_err(to_m4(back), to_m4(target)), dr = rot_err(to_m4(back), to_m4(target));
            e.joint = std::fmax(e.joint, dj), e.pos = std::fmax(e.pos, dp), e.rot = std::fmax(e.rot, dr);
            if (rc != 0 || dj > 1e-3 || dp > 1e-4 || dr > 1e-4) {
                if (e.failures++ < 3)
                    ADD_FAILURE() << "type " << type << " rc " << rc << " joint err " << dj << " q "
                                  << q[0] << ' ' << q[1] << ' ' << q[2] << ' ' << q[3] << ' ' << q[4]
                                  << ' ' << q[5];
            }
        }
    }

    // The entry's steps on a local state, with an observer.
    int32_t solve_observed(const float *cur, const Pose &target, float *out, Recorder &rec,
                           SixAxisState &s) {
        float q[8];
        const uint32_t t = prepare_entry(s, cur, target, 0, q);
        return solve_six_axis(s, t, false, q, out, rec);
    }
};

int samples(int fallback) {
    const char *env = std::getenv("TOVA_IK_SAMPLES");
    return env ? std::atoi(env) : fallback;
}

TEST_F(SixAxisIk, RoundTripEveryModelDefaultAndNonTrivialFrames) {
    const float tool[6] = {0.01f, -0.02f, 0.12f, 0.1f, -0.2f, 0.3f};
    const float work[6] = {0.3f, -0.1f, 0.05f, 0.2f, 0.1f, -0.4f};
    const float install[3] = {0.3f, -0.2f, 0.5f};
    for (const Model &m : kModels)
        for (int framed = 0; framed < 2; ++framed) {
            select(m.type, m.sensor);
            if (framed) {
                libalgo_set_tool_cs_params(tool);
                libalgo_set_work_cs_params(work);
                libalgo_set_robot_install_angle(install);
            }
            Errors e;
            round_trip(samples(2000) / 6, e);
            EXPECT_EQ(e.failures, 0) << "type " << m.type << " sensor " << m.sensor << " frames " << framed;
            if (std::getenv("TOVA_IK_SAMPLES"))
                std::printf("type %u sensor %u frames %d: worst joint %.3g rad, pos %.3g m, rot %.3g rad, failures %d\n",
                            m.type, m.sensor, framed, e.joint, e.pos, e.rot, e.failures);
        }
}

// Newton steps on the independent DH chain from x toward goal (finite-difference
// Jacobian, position and small-angle rotation error); true when converged.
bool newton(const DhTable &dh, const M4 &goal, double *x) {
    auto residual = [&](const double *th, double *r) {
        const M4 A = dh_chain(dh, th);
        for (int i = 0; i < 3; ++i) r[i] = goal[i][3] - A[i][3], r[i + 3] = 0;
        for (int c = 0; c < 3; ++c)
            for (int i = 0; i < 3; ++i)
                r[3 + i] += 0.5 * (A[(i + 1) % 3][c] * goal[(i + 2) % 3][c] - A[(i + 2) % 3][c] * goal[(i + 1) % 3][c]);
    };
    for (int it = 0; it < 40; ++it) {
        double A[6][7], e[6];  // [J | e], solved by elimination with partial pivoting
        residual(x, e);
        for (int j = 0; j < 6; ++j) {
            double xp[6], ep[6];
            std::memcpy(xp, x, sizeof xp);
            xp[j] += 1e-7;
            residual(xp, ep);
            for (int i = 0; i < 6; ++i) A[i][j] = (e[i] - ep[i]) / 1e-7, A[i][6] = e[i];
        }
        for (int c = 0; c < 6; ++c) {
            int p = c;
            for (int r = c + 1; r < 6; ++r) p = std::fabs(A[r][c]) > std::fabs(A[p][c]) ? r : p;
            std::swap(A[c], A[p]);
            for (int r = c + 1; r < 6; ++r)
                for (int k = 6; k >= c; --k) A[r][k] -= A[r][c] / A[c][c] * A[c][k];
        }
        double dx[6], step = 0;
        for (int r = 5; r >= 0; --r) {
            dx[r] = A[r][6];
            for (int k = r + 1; k < 6; ++k) dx[r] -= A[r][k] * dx[k];
            dx[r] /= A[r][r];
            step = std::fmax(step, std::fabs(dx[r]));
        }
        for (int j = 0; j < 6; ++j) x[j] += (step > 0.5 ? 0.5 / step : 1.0) * dx[j];
        if (step < 1e-13) break;
    }
    const M4 T = dh_chain(dh, x);
    return pos_err(T, goal) < 1e-9 && rot_err(T, goal) < 1e-8;
}

// Every solution that Newton steps on the independent DH chain find from 24
// random starts, if inside the modeling limits, is one of the solver's
// candidates (angles compared modulo one turn; a joint 6 that the relative
// wrap pushed past its filter bound is still the same candidate).
TEST_F(SixAxisIk, CandidateSetsAreCompleteAgainstNumericalSearch) {
    for (uint32_t t : {ROBOT_VESK, ROBOT_PIRRA_2, ROBOT_PIRRA_3, ROBOT_LUMO_C}) {
        select(t);
        float lo[8], hi[8];
        libalgo_get_modeling_jointlim_min(lo);
        libalgo_get_modeling_jointlim_max(hi);
        for (int target_no = 0; target_no < 3; ++target_no) {
            const auto q = sample();
            double th[6];
            for (int j = 0; j < 6; ++j) th[j] = q[j] + dh.offset[j];
            Pose target;
            forward_kinematics(&target, q.data());
            Recorder rec;
            SixAxisState s{};
            float out[8];
            solve_observed(q.data(), target, out, rec, s);
            int checked = 0;
            for (int seed = 0; seed < 24; ++seed) {
                double x[6];
                for (double &v : x) v = std::uniform_real_distribution<double>(-M_PI, M_PI)(rng);
                if (!newton(dh, dh_chain(dh, th), x)) continue;
                bool inside = true;  // some representative of each joint within its limits
                for (int j = 0; j < 5; ++j) {
                    const double v = wrap_pi(x[j]);
                    inside = inside && ((lo[j] <= v && v <= hi[j]) || (lo[j] <= v + 2 * M_PI && v + 2 * M_PI <= hi[j]) ||
                                        (lo[j] <= v - 2 * M_PI && v - 2 * M_PI <= hi[j]));
                }
                if (!inside) continue;
                bool matched = false;
                for (const auto &c : rec.seen) {
                    double d = 0;
                    for (int j = 0; j < 6; ++j) d = std::fmax(d, std::fabs(wrap_pi(c.joints[j] - x[j])));
                    matched = matched || (d < 1e-3 && (c.fate == Fate::scored || (c.fate == Fate::bound && c.joint == 6)));
                }
                ++checked;
                EXPECT_TRUE(matched) << "type " << t << " solution " << x[0] << ' ' << x[1] << ' ' << x[2]
                                     << ' ' << x[3] << ' ' << x[4] << ' ' << x[5];
            }
            EXPECT_GT(checked, 0);
        }
    }
}

// ---- edge cases -----------------------------------------------------------

class SixAxisEdge : public SixAxisIk {
  protected:
    // Pose of the model chain (configured offsets) at machine angles q.
    Pose chain_pose(const std::array<float, 8> &q) {
        double th[6];
        for (int j = 0; j < 6; ++j) th[j] = q[j] + dh.offset[j];
        const M4 F = dh_chain(dh, th);
        Matrix m = unit_matrix(4);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 4; ++j) m.data[i][j] = static_cast<float>(F[i][j]);
        return transformation_matrix_to_pose(m);
    }
    double pose_gap(const Pose &a, const float *q) {
        Pose b;
        forward_kinematics(&b, q);
        return std::fmax(pos_err(to_m4(a), to_m4(b)), rot_err(to_m4(a), to_m4(b)));
    }
    // vesk joints whose wrist centre lies on the shoulder axis (q2 by bisection).
    std::array<float, 8> on_shoulder_axis(float q1) {
        std::array<float, 8> q{q1, 0.0f, 0.6f, 0.4f, 0.9f, -0.3f};
        auto radial = [&](float q2) {
            q[1] = q2;
            Matrix F;
            forward_kinematics_e(&F, q.data());
            const double wx = F.data[0][3] - dh.d[5] * F.data[0][2], wy = F.data[1][3] - dh.d[5] * F.data[1][2];
            return wx * std::cos(q1) + wy * std::sin(q1);
        };
        float lo = -1.5f, hi = 1.5f;
        const bool up = radial(hi) > radial(lo);
        for (int it = 0; it < 60; ++it) {
            const float mid = 0.5f * (lo + hi);
            ((radial(mid) > 0) == up ? hi : lo) = mid;
        }
        q[1] = lo;
        return q;
    }
};

TEST_F(SixAxisEdge, ShoulderAxisTargetKeepsJoint1AndTiesKeepTheEarlierCandidate) {
    select(ROBOT_VESK);
    const auto q = on_shoulder_axis(1.0f);
    Pose target;
    forward_kinematics(&target, q.data());
    float cur[8] = {0.4f, q[1], q[2], q[3], q[4], q[5]}, out[8];
    Recorder rec;
    SixAxisState s{};
    EXPECT_EQ(solve_observed(cur, target, out, rec, s), 0);
    EXPECT_LT(std::hypot(s.px, s.py), 5e-5);
    EXPECT_EQ(out[0], 0.4f);
    EXPECT_LT(pose_gap(target, out), 1e-4);
    // both shoulder values equal: arms 1 and 2 tie and the earlier one stays
    ASSERT_EQ(rec.seen.size(), 8u);
    const int order[8] = {1, 5, 2, 6, 3, 7, 4, 8};
    for (int k = 0; k < 8; ++k) EXPECT_EQ(rec.seen[k].number, order[k]);
    EXPECT_EQ(rec.seen[0].cost, rec.seen[2].cost);
    EXPECT_TRUE(rec.seen[0].became_best);
    EXPECT_FALSE(rec.seen[2].became_best);
}

TEST_F(SixAxisEdge, ElbowTermClampedAboveOneButNotBelowMinusOne) {
    select(ROBOT_VESK);
    const std::array<float, 8> q{0.3f, 0.2f, 0.0f, 0.5f, 0.7f, 0.1f};  // stretched elbow
    Matrix F;
    forward_kinematics_e(&F, q.data());
    const double d1 = dh.d[0], d4 = dh.d[3], a2 = dh.a[2], d6 = dh.d[5];
    double w[3] = {F.data[0][3] - d6 * F.data[0][2], F.data[1][3] - d6 * F.data[1][2],
                   F.data[2][3] - d6 * F.data[2][2] - d1};
    const double rho = std::hypot(w[0], w[1], w[2]);
    for (double k3 : {1.0001, -1.00001, 1.0004}) {
        // wrist centre moved along the shoulder ray to the distance giving k3
        const double want = std::sqrt(2 * d4 * a2 * k3 + d4 * d4 + a2 * a2);
        Matrix T = F;
        for (int i = 0; i < 3; ++i) T.data[i][3] = static_cast<float>(F.data[i][3] + (want / rho - 1) * w[i]);
        const Pose target = transformation_matrix_to_pose(T);
        SixAxisState s{};
        Recorder rec;
        float out[8];
        const int32_t rc = solve_observed(q.data(), target, out, rec, s);
        if (k3 == 1.0001) {
            EXPECT_EQ(rc, 0);
            EXPECT_EQ(s.k3[0], 1.0f);
            EXPECT_EQ(s.theta[2][0], s.theta[2][2]);  // both elbow values equal
            EXPECT_LT(pose_gap(target, out), 2e-5);
        } else {
            EXPECT_EQ(rc, -1) << k3;  // no arm candidate from either shoulder
            EXPECT_EQ(s.fit, 1000.0f);
        }
    }
}

TEST_F(SixAxisEdge, Joint6BeyondOneTurnKeepsItsTurns) {
    select(ROBOT_VESK);
    for (float turn : {7.0f, -7.0f}) {
        std::array<float, 8> q{0.3f, 0.4f, 0.8f, -0.5f, 0.9f, turn > 0 ? turn - 6.2831853f : turn + 6.2831853f};
        Pose target;
        forward_kinematics(&target, q.data());
        float cur[8] = {q[0], q[1], q[2], q[3], q[4], turn}, out[8];
        SixAxisState s{};
        Recorder rec;
        EXPECT_EQ(solve_observed(cur, target, out, rec, s), -2);  // beyond the +-360 degree limit
        EXPECT_EQ(s.Iconsult6a_0, turn > 0 ? 1 : -1);
        EXPECT_NEAR(out[5], turn, 1e-4);
        const float wide[8] = {3, 3, 3, 3, 3, 8, 0, 0}, wide_min[8] = {-3, -3, -3, -3, -3, -8, 0, 0};
        libalgo_set_jointlim_max(wide);
        libalgo_set_jointlim_min(wide_min);
        EXPECT_EQ(inverse_kinematics(cur, &target, out, 0), 0);
        EXPECT_NEAR(out[5], turn, 1e-4);
        select(ROBOT_VESK);
    }
}

TEST_F(SixAxisEdge, FixedJoint6FilterPassesWhatANarrowerLimitRefuses) {
    select(ROBOT_VESK);
    float hi[8], lo[8];
    libalgo_get_jointlim_max(hi);
    libalgo_get_jointlim_min(lo);
    hi[5] = 3.0f, lo[5] = -3.0f;
    libalgo_set_jointlim_max(hi);
    libalgo_set_jointlim_min(lo);
    const std::array<float, 8> q{0.2f, 0.3f, 0.7f, 0.4f, 0.8f, 3.5f};
    Pose target;
    forward_kinematics(&target, q.data());
    float out[8], plug[8];
    SixAxisState s{};
    Recorder rec;
    EXPECT_EQ(solve_observed(q.data(), target, out, rec, s), -2);
    EXPECT_EQ(s.theta_u[5], 6.300638f);
    EXPECT_NEAR(out[5], 3.5f, 1e-4);
    // the plug-in filters with the configured limit (plus one degree) instead
    plugin_inverse_kinematics_vesk(&s.T_BT, q.data(), plug);
    EXPECT_GT(std::fabs(plug[5] - 3.5f), 1.0f);
}

TEST_F(SixAxisEdge, AvoidFlagResplitsJoints4And6NearStraightWrist) {
    select(ROBOT_VESK);
    const std::array<float, 8> q{0.2f, 0.3f, 0.7f, 0.4f, 0.05f, -0.6f};
    Pose target;
    forward_kinematics(&target, q.data());
    const float cur[8] = {0.2f, 0.3f, 0.7f, 0.7f, 0.05f, -0.4f};
    float out[8];
    SixAxisState s{};
    Recorder rec;
    ASSERT_EQ(solve_observed(cur, target, out, rec, s), 0);
    for (int j = 0; j < 6; ++j) EXPECT_NEAR(out[j], q[j], 1e-4);  // flag clear: the candidate itself
    libalgo_set_is_avoid_Singularity(1);
    ASSERT_EQ(solve_observed(cur, target, out, rec, s), 0);
    EXPECT_NEAR(out[3] - out[5], cur[3] - cur[5], 1e-5);  // difference kept
    EXPECT_NEAR(out[3] + out[5], s.theta46, 1e-5);        // sum from the target
    EXPECT_NEAR(s.theta46, q[3] + q[5], 0.01);
}

TEST_F(SixAxisEdge, Pirra2Joint6BoundsAreCentredOnTheOffset) {
    select(ROBOT_PIRRA_2);
    EXPECT_EQ(dh.offset[5], 3.1415927f);
    dh.offset[5] = 0.5f;
    libalgo_set_dh_params(&dh);
    // joint 6 at 6.6 in solver space: inside 0.5 + 6.3006387, beyond vesk's bound
    const std::array<float, 8> q{0.2f, 0.3f, 0.7f, 0.4f, -0.8f, 6.1f};
    const Pose target = chain_pose(q);
    float cur[8] = {q[0], q[1], q[2], q[3], q[4], 5.7f}, out[8];
    SixAxisState s{};
    Recorder rec;
    EXPECT_EQ(solve_observed(cur, target, out, rec, s), 0);
    EXPECT_EQ(s.theta_u[5], 0.5f + 6.3006387f);
    EXPECT_EQ(s.theta_l[5], 0.5f - 6.3006387f);
    EXPECT_NEAR(out[5], 6.1f, 1e-4);
}

TEST_F(SixAxisEdge, LumoLateralReachToleranceAndPartialOffsetRemoval) {
    select(ROBOT_LUMO_A);
    const std::array<float, 8> q{0.3f, -0.4f, 0.9f, 0.3f, 0.8f, 0.2f};
    Pose target;
    forward_kinematics(&target, q.data());
    const Matrix P = pose_quat_to_transformation_matrix(target);
    const double d4 = dh.d[3], d6 = dh.d[5];
    for (double R : {-5e-7, -2e-6}) {
        const double wx = P.data[0][3] - d6 * P.data[0][2], wy = P.data[1][3] - d6 * P.data[1][2];
        const double k = std::sqrt(d4 * d4 + R) / std::hypot(wx, wy);
        Pose t = target;
        t.x = static_cast<float>(k * wx + d6 * P.data[0][2]);
        t.y = static_cast<float>(k * wy + d6 * P.data[1][2]);
        float out[8] = {9, 9, 9, 9, 9, 9};
        const int32_t rc = inverse_kinematics(q.data(), &t, out, 0);
        if (R > -1e-6) {
            EXPECT_NE(out[0], 9.0f) << "solved with the root taken as 0, rc " << rc;
        } else {
            EXPECT_EQ(rc, -1);
            EXPECT_EQ(out[0], 9.0f);  // returned before any candidate
        }
    }
    // joint 2 beyond its limit: joint 1 final, joint 2 adjusted, the rest in solver space
    float hi[8];
    libalgo_get_jointlim_max(hi);
    hi[1] = q[1] - 0.2f;
    libalgo_set_jointlim_max(hi);
    float out[8];
    EXPECT_EQ(inverse_kinematics(q.data(), &target, out, 0), -2);
    EXPECT_NEAR(out[0], q[0], 1e-4);
    EXPECT_NEAR(out[1], q[1] - 6.2831855f, 1e-4);  // one turn down, past its limit
    for (int j = 2; j < 6; ++j) EXPECT_NEAR(out[j], q[j] + dh.offset[j], 1e-4) << j;
}

TEST_F(SixAxisEdge, LumoStraightWristKeepsJoint6AtZero) {
    select(ROBOT_LUMO_C);
    const std::array<float, 8> q{0.3f, -0.4f, 0.9f, 0.3f, 0.0f, 0.0f};
    Pose target;
    forward_kinematics(&target, q.data());
    const float cur[8] = {0.35f, -0.4f, 0.9f, 0.2f, 0.01f, 0.0f};
    float out[8];
    EXPECT_EQ(inverse_kinematics(cur, &target, out, 0), 0);
    EXPECT_EQ(out[5], 0.0f);
    EXPECT_LT(pose_gap(target, out), 1e-4);
}

TEST_F(SixAxisEdge, EntryDispatchClampAndCarryOver) {
    select(ROBOT_VESK);
    const std::array<float, 8> q{0.2f, 0.3f, 0.7f, 0.4f, 0.8f, 6.2f};
    Pose target;
    forward_kinematics(&target, q.data());
    float a[8], b[8];
    // last-joint wrap clamp: strict bounds, 6.30 solved as 6.283185
    for (float v : {6.30f, -6.30f, 6.32f, 6.283185f}) {
        float c[8] = {1, 2, 3, 4, 5, v, 7, 8};
        float w[8];
        prepare_joints(c, ROBOT_VESK, w);
        EXPECT_EQ(w[5], std::fabs(v) < 6.31f ? std::copysign(6.283185f, v) : v);
        prepare_joints(c, ROBOT_QUELL, w);
        EXPECT_EQ(w[5], v);
    }
    float cur[8] = {q[0], q[1], q[2], q[3], q[4], 6.30f};
    inverse_kinematics(cur, &target, a, 0);
    cur[5] = 6.283185f;
    inverse_kinematics(cur, &target, b, 0);
    EXPECT_EQ(std::memcmp(a, b, 6 * sizeof(float)), 0);
    // is_euler 2 reads the quaternion like 0
    Pose garbled = target;
    garbled.euler = Euler{1, 2, 3};
    EXPECT_EQ(inverse_kinematics(q.data(), &garbled, b, 2), 0);
    inverse_kinematics(q.data(), &target, a, 0);
    EXPECT_EQ(std::memcmp(a, b, 6 * sizeof(float)), 0);
    // out of reach: -1, and q_out repeats the previous solution
    Pose far = target;
    far.x = 5.0f;
    EXPECT_EQ(inverse_kinematics(q.data(), &far, b, 0), -1);
    EXPECT_EQ(std::memcmp(a, b, 6 * sizeof(float)), 0);
    // types without a solver
    for (uint32_t t : {2u, 9u}) {
        libalgo_set_robot_and_sensor_type(t, 0);
        float untouched[8] = {7, 7, 7, 7, 7, 7, 7, 7};
        EXPECT_EQ(inverse_kinematics(q.data(), &target, untouched, 0), -4);
        EXPECT_EQ(untouched[0], 7.0f);
        const float lim[8] = {3, 3, 3, 3, 3, 3, 3, 3};
        const Matrix P = pose_quat_to_transformation_matrix(target);
        EXPECT_EQ(ikine(t, 0, 0, lim, lim, &P.data[0][0], q.data(), untouched), -4);
        EXPECT_EQ(untouched[0], 7.0f);
    }
}

// ---- plug-in interface ----------------------------------------------------

TEST_F(SixAxisIk, PluginSolversEqualTheEntryForTheFlangeTarget) {
    for (uint32_t t : {ROBOT_VESK, ROBOT_PIRRA_2, ROBOT_PIRRA_3, ROBOT_LUMO_A, ROBOT_LUMO_B}) {
        select(t);
        for (int k = 0; k < 200; ++k) {
            const auto q = sample();
            Pose target;
            forward_kinematics(&target, q.data());
            float cur[8] = {};
            for (int j = 0; j < 6; ++j) cur[j] = q[j] + std::uniform_real_distribution<float>(-0.5f, 0.5f)(rng);
            float a[8], b[8];
            const int32_t rc = inverse_kinematics(cur, &target, a, 0);
            Matrix P = pose_quat_to_transformation_matrix(target), I = unit_matrix(4);
            const Matrix flange = matrix_m(&I, &P);  // the entry's T_BT with identity work frame
            int32_t rp = -9;
            if (t == ROBOT_VESK) rp = plugin_inverse_kinematics_vesk(&flange, cur, b);
            if (t == ROBOT_PIRRA_2) rp = plugin_inverse_kinematics_pirra_2(&flange, cur, b);
            if (t == ROBOT_PIRRA_3) rp = plugin_inverse_kinematics_pirra_3(&flange, cur, b);
            if (t == ROBOT_LUMO_A || t == ROBOT_LUMO_B) rp = plugin_inverse_kinematics_lumo(&flange, cur, b);
            ASSERT_EQ(rc, rp) << t;
            if (rc != -1) {
                ASSERT_EQ(std::memcmp(a, b, 6 * sizeof(float)), 0) << t;
            }
        }
    }
}

TEST_F(SixAxisIk, IkineResetsTheConfigurationAndSetsTheSevenAxisSearch) {
    select(ROBOT_PIRRA_2);
    const float tool[6] = {0, 0, 0.1f, 0, 0, 0};
    libalgo_set_tool_cs_params(tool);
    const float hi[8] = {3, 3, 2.5f, 3, 3, 6, 0, 0}, lo[8] = {-3, -3, -3, -3, -3, -6, 0, 0};
    const auto q = sample();
    Matrix F;
    forward_kinematics_e(&F, q.data());  // flange, tool not applied
    float out[8], plug[8];
    for (uint32_t mode : {1u, 0u, 2u}) {
        ASSERT_EQ(ikine(ROBOT_PIRRA_2, 2, mode, hi, lo, &F.data[0][0], q.data(), out), 0);
        EXPECT_EQ(ikine_get_solution_range_quell(), mode == 1 ? 3.14f : 0.013f);
        EXPECT_EQ(ikine_get_7dof_solver_search_strategy(), mode == 1 ? 0u : 1u);
    }
    float params[6], got_hi[8];
    libalgo_get_tool_cs_params(params);
    for (float v : params) EXPECT_EQ(v, 0.0f);  // the tool set before is gone
    libalgo_get_jointlim_max(got_hi);
    EXPECT_EQ(std::memcmp(got_hi, hi, sizeof hi), 0);
    EXPECT_EQ(libalgo_get_sensor_type(), 2u);
    EXPECT_EQ(plugin_inverse_kinematics_pirra_2(&F, q.data(), plug), 0);
    EXPECT_EQ(std::memcmp(out, plug, 6 * sizeof(float)), 0);
}

// ---- overspeed ------------------------------------------------------------

TEST(JointOverspeed, BoundaryIsNotOverspeedAndTheFirstOffenderIsReported) {
    libalgo_set_robot_and_sensor_type(ROBOT_VESK, 0);
    const float vel[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    libalgo_set_joint_vel_maxlim(vel);
    libalgo_set_control_loop_period(0.5f);
    const float from[8] = {};
    float to[8] = {0.125f, 0, 0, 0, 0, 0};
    EXPECT_EQ(joint_overspeed_judgment(from, to, 0.25f), 0);  // exactly limit x period x ratio
    to[0] = 0.1250001f;
    EXPECT_EQ(joint_overspeed_judgment(from, to, 0.25f), 1);
    const float both[8] = {0, 0.2f, 0, 0, 0.3f, 0};
    EXPECT_EQ(joint_overspeed_judgment(from, both, 0.25f), 2);
    EXPECT_EQ(joint_overspeed_judgment(both, both, -1.0f), 0);
    EXPECT_EQ(joint_overspeed_judgment(both, both, 0.0f), 0);
    const float nudge[8] = {0, 0, 0, 1e-6f, 0, 0};
    EXPECT_EQ(joint_overspeed_judgment(from, nudge, -3.0f), 4);  // negative ratio counts as 0
}

}  // namespace
