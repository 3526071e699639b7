// Cartesian path tracking through inverse_kinematics in narrow mode: straight
// lines and circles at 0.25 m/s sampled at 500 Hz, default and offset tools.
// Every step either succeeds (pose within 1e-5, joints within limits and
// speed limits) or stops with a code that a dense scan of the search window
// confirms: no solution in the window is inside the limits and fast enough.
// TOVA_SEVEN_AXIS_PATHS sets the number of paths per case (default 4).
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "config/tova_ikine_global.h"
#include "ikine/ikine_quell.h"
#include "ikine/seven_axis_entry.hpp"
#include "ikine/seven_axis_quell.hpp"
#include "ikine/seven_axis_taldo.hpp"
#include "ikine/tova_ikine.h"
#include "kinematics/tova_kinematics.h"
#include "kinematics/tova_universal_kin.h"
#include "math/tova_mathfuncs.h"
#include "seven_axis_reference.hpp"

namespace {

using namespace tova::seven_axis;

struct PathCase {
    unsigned type, sensor;
    bool tool;
};

struct Tally {
    int paths = 0, completed = 0, steps = 0;
    int stops[4] = {0, 0, 0, 0};  // reach, limit, speed, other
    int unconfirmed = 0;
    int checked = 0, checker_agrees = 0;
};

class SevenAxisPath : public ::testing::TestWithParam<PathCase> {
protected:
    void SetUp() override {
        m_ = seven_ref::load_model(GetParam().type, GetParam().sensor);
        if (GetParam().tool) {
            const float tool[6] = {0.02f, -0.01f, 0.15f, 0.2f, -0.1f, 0.3f};
            libalgo_set_tool_cs_params(tool);
        }
        ikine_set_7dof_solver_search_strategy(1);
        ikine_set_solution_range_quell(0.013f);
        const char* env = std::getenv("TOVA_SEVEN_AXIS_PATHS");
        paths_ = env ? std::atoi(env) : 4;
    }

    // Well-conditioned start for a path leaving in direction dir at 0.25 m/s
    // with fixed orientation: the least-norm joint rates pinv(J) (v, 0) of the
    // tool-point Jacobian stay below half the speed limits, and the joints
    // 0.3 rad inside their limits.
    template <class Rng>
    void start_joints(Rng& rng, const double dir[3], float* q) {
        for (;;) {
            double d[7];
            seven_ref::random_joints(m_, rng, d, 0.3);
            for (int i = 0; i < 7; ++i) q[i] = static_cast<float>(d[i]);
            q[7] = 0.0f;
            const MatrixMore J = kin_calc_jacobe_J0(q, "machine");
            mat Jm = mat_zeros(6, 7), v = mat_zeros(6, 1);
            for (int r = 0; r < 6; ++r)
                for (int c = 0; c < 7; ++c) Jm.data[r][c] = J.data[r][c];
            for (int r = 0; r < 3; ++r) v.data[r][0] = static_cast<float>(0.25 * dir[r]);
            const mat P = mat_pinv(&Jm);
            const mat rates = mat_mult(&P, &v);
            bool ok = true;
            for (int j = 0; j < 7; ++j) ok = ok && std::fabs(rates.data[j][0]) < 0.5 * m_.vmax[j];
            if (ok) return;
        }
    }

    // The flange target the solver receives for this pose, as the entry and
    // the solver build it.
    Rigid solver_target(const Pose& pose) const {
        Matrix W, I, T;
        libalgo_get_work_cs_to_base_matrix(&W);
        libalgo_get_robot_install_angle_matrix(&I);
        libalgo_get_tool_cs_matrix(&T);
        const Matrix P = pose_quat_to_transformation_matrix(pose);
        const Matrix Wi = matrix_inv_coordinate_system(&W);
        const Matrix tbt = matrix_m(&Wi, &P);
        Rigid r;
        if (m_.type == 7) {
            const Matrix Ii = matrix_inv_coordinate_system(&I), Ti = matrix_inv_coordinate_system(&T);
            const Matrix a = matrix_m(&Ii, &tbt);
            const Matrix f = matrix_m(&a, &Ti);
            read_target(matrix_to_mat(&f), &r);
            return r;
        }
        Rigid rt, ri, rtool;
        read_target(matrix_to_mat(&tbt), &rt);
        rigid_from_matrix(I, &ri);
        rigid_from_matrix(T, &rtool);
        return compose(compose(inverse(ri), rt), inverse(rtool));
    }

    // Dense scan of the narrow window over every branch: is any solution
    // inside the limits and within the speed limits from q? The step is 1e-5
    // rad, not 1e-3: along the taldo self-motion the other joints can move a
    // hundred times faster than joint 7, so admissible pieces of the window
    // can be narrower than a milliradian.
    static constexpr double kCheckStep = 1e-5;
    bool admissible_in_window(const Pose& pose, const float* q) const {
        const Rigid target = solver_target(pose);
        double cur[7], lo[7], hi[7], step[7];
        float vel[8];
        libalgo_get_joint_vel_maxlim(vel);
        const float period = libalgo_get_control_loop_period();
        for (int i = 0; i < 7; ++i) {
            cur[i] = q[i] + m_.offset[i];
            lo[i] = m_.lo[i] + m_.offset[i];
            hi[i] = m_.hi[i] + m_.offset[i];
            step[i] = static_cast<double>(vel[i] * period);
        }
        const double w = 0.013;
        double a, b;
        QuellArm qa;
        TaldoArm ta;
        if (m_.type == 7) {
            ta.setup({m_.d[0], m_.d[2], m_.d[4], m_.d[6], m_.a[3], m_.a[4], m_.a[6]}, target, cur);
            a = std::fmax(lo[6], cur[6] - w);
            b = std::fmin(hi[6], cur[6] + w);
        } else {
            if (qa.setup({m_.d[0], m_.d[2], m_.d[4], m_.d[6]}, target, cur) != kOk) return false;
            a = qa.current_phi() - w;
            b = qa.current_phi() + w;
        }
        const int n = static_cast<int>(std::ceil((b - a) / kCheckStep));
        for (int k = 0; k <= n; ++k) {
            const double t = n > 0 ? a + (b - a) * k / n : a;
            double raw[kBranches][kJoints];
            const unsigned got = m_.type == 7 ? ta.solve(t, 0xFFu, raw) : qa.solve(t, 0xFFu, raw);
            for (int br = 0; br < kBranches; ++br) {
                if (!(got & (1u << br))) continue;
                bool ok = true;
                for (int i = 0; i < 7 && ok; ++i) {
                    bool joint_ok = false;
                    for (int turn = -2; turn <= 2 && !joint_ok; ++turn) {
                        const double v = raw[br][i] + 2.0 * seven_ref::kPi * turn;
                        joint_ok = v >= lo[i] && v <= hi[i] && std::fabs(v - cur[i]) <= step[i];
                    }
                    ok = joint_ok;
                }
                if (ok) return true;
            }
        }
        return false;
    }

    void run_path(std::mt19937& rng, bool circle, Tally* tally) {
        // The path: along u (line), or a circle in the plane of u and v
        // leaving the start in direction v.
        std::normal_distribution<double> g(0.0, 1.0);
        double u[3] = {g(rng), g(rng), g(rng)}, v[3] = {g(rng), g(rng), g(rng)};
        const double nu = std::sqrt(u[0] * u[0] + u[1] * u[1] + u[2] * u[2]);
        for (double& x : u) x /= nu;
        const double uv = u[0] * v[0] + u[1] * v[1] + u[2] * v[2];
        for (int i = 0; i < 3; ++i) v[i] -= uv * u[i];
        const double nv = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
        for (double& x : v) x /= nv;
        float q[8], out[8];
        start_joints(rng, circle ? v : u, q);
        Pose p0;
        forward_kinematics(&p0, q);
        const double speed = 0.25, dt = 0.002, radius = 0.05, length = 0.15;
        const int n_steps = static_cast<int>((circle ? 2.0 * seven_ref::kPi * radius : length) / (speed * dt));
        ++tally->paths;
        for (int k = 1; k <= n_steps; ++k) {
            Pose pk = p0;
            double off[3];
            if (circle) {
                // Starts at p0 on a circle around p0 - radius u.
                const double a = speed * dt * k / radius;
                for (int i = 0; i < 3; ++i) off[i] = radius * ((std::cos(a) - 1.0) * u[i] + std::sin(a) * v[i]);
            } else {
                for (int i = 0; i < 3; ++i) off[i] = speed * dt * k * u[i];
            }
            pk.x = static_cast<float>(p0.x + off[0]);
            pk.y = static_cast<float>(p0.y + off[1]);
            pk.z = static_cast<float>(p0.z + off[2]);
            const int32_t code = inverse_kinematics(q, &pk, out, 0);
            ++tally->steps;
            if (code != 0) {
                const int slot = code == IKINE7_OUT_OF_REACH ? 0 : code == IKINE7_JOINT_LIMIT ? 1
                                 : code == IKINE7_SPEED_LIMIT ? 2 : 3;
                ++tally->stops[slot];
                // Held: the current joints as the solver got them (the entry
                // pulls a quell joint 7 just past one turn back to 6.283185).
                float held[8];
                std::copy(q, q + 8, held);
                float& last = held[6];
                if (m_.type != 7 && last > 6.283185f && last < 6.318092f) last = 6.283185f;
                if (m_.type != 7 && last < -6.283185f && last > -6.318092f) last = -6.283185f;
                for (int i = 0; i < 7; ++i) EXPECT_EQ(out[i], m_.type == 7 ? q[i] : held[i]);
                if (slot == 3 || admissible_in_window(pk, q)) {
                    ++tally->unconfirmed;
                    char buf[400];
                    std::snprintf(buf, sizeof buf, "q %.9g %.9g %.9g %.9g %.9g %.9g %.9g pose %.9g %.9g %.9g %.9g %.9g %.9g %.9g",
                                  q[0], q[1], q[2], q[3], q[4], q[5], q[6], pk.x, pk.y, pk.z, pk.quaternion.w,
                                  pk.quaternion.x, pk.quaternion.y, pk.quaternion.z);
                    ADD_FAILURE() << "unconfirmed stop, code " << code << " at step " << k << ": " << buf;
                }
                return;
            }
            Pose back;
            forward_kinematics(&back, out);
            const double dp = std::sqrt((back.x - pk.x) * (back.x - pk.x) + (back.y - pk.y) * (back.y - pk.y) +
                                        (back.z - pk.z) * (back.z - pk.z));
            EXPECT_LT(dp, 1e-5) << "step " << k;
            EXPECT_EQ(joint_overspeed_judgment(q, out, 1.0f), 0) << "step " << k;
            for (int i = 0; i < 7; ++i) {
                EXPECT_GE(out[i], m_.lo[i]);
                EXPECT_LE(out[i], m_.hi[i]);
            }
            // The checker agrees with the solver where it succeeds (sampled).
            if (k % 64 == 0) {
                ++tally->checked;
                tally->checker_agrees += admissible_in_window(pk, q);
            }
            std::copy(out, out + 8, q);
        }
        ++tally->completed;
    }

    seven_ref::Model m_;
    int paths_ = 4;
};

TEST_P(SevenAxisPath, LinesAndCirclesTrackOrStopConfirmed) {
    std::mt19937 rng(31 + GetParam().type * 3 + GetParam().sensor + (GetParam().tool ? 7 : 0));
    Tally t;
    for (int n = 0; n < paths_; ++n) run_path(rng, n % 2 == 1, &t);
    EXPECT_EQ(t.unconfirmed, 0);
    EXPECT_GE(t.checker_agrees, t.checked * 99 / 100);
    std::printf("[ paths ] %d paths, %d completed, %d steps; stops: reach %d, limit %d, speed %d, other %d; "
                "unconfirmed %d; checker agrees on %d of %d sampled successes\n",
                t.paths, t.completed, t.steps, t.stops[0], t.stops[1], t.stops[2], t.stops[3], t.unconfirmed,
                t.checker_agrees, t.checked);
}

INSTANTIATE_TEST_SUITE_P(Models, SevenAxisPath,
                         ::testing::Values(PathCase{1, 0, false}, PathCase{1, 2, true}, PathCase{7, 0, false},
                                           PathCase{7, 0, true}),
                         [](const ::testing::TestParamInfo<PathCase>& i) {
                             return std::string(i.param.type == 7 ? "taldo" : "quell") +
                                    std::to_string(i.param.sensor) + (i.param.tool ? "_tool" : "");
                         });

}  // namespace
