// The Jacobians, the singularity analysis and the numerical inverse kinematics
// run without touching the heap.
#include <gtest/gtest.h>

#include <cstring>

#include "../reliability/alloc_counter.hpp"
#include "tova_algorithm.h"

using tova_test::AllocCounter;

TEST(UniversalNoHeap, JacobiansSingularityAndNumericalIk) {
    for (uint32_t type : {ROBOT_VESK, ROBOT_QUELL, ROBOT_TALDO}) {
        libalgo_set_robot_and_sensor_type(type, 0);
        const float q[8] = {0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f, 0.7f, 0};
        IkNumericalRequest r{};
        r.max_iterations = 5;
        r.tolerance = 1e-12f;  // never met: every start and restart runs
        std::memcpy(r.seed, q, sizeof r.seed);
        r.pose = Pose{0.3f, 0.1f, 0.4f, {1, 0, 0, 0}, {0.1f, 0.2f, 0.3f}};
        float out[8], dist;
        const mat a = mat_eye(4, 4);

        AllocCounter::start();
        MatrixMore J = kin_calc_jacobe_Jn(q, "machine");
        J = kin_calc_jacobe_Jt(q, "machine");
        J = kin_calc_jacobe_J0(q, "modeling");
        kin_set_singularity_thresholds(0.2f, 0.2f, 0.1f);
        kin_robot_singularity_analyse(q, "machine", &dist);
        kin_singularity_thresholds_init();
        ikine_numerical_solution(&r, "Euler", out);
        ikine_numerical_solution(&r, "", out);
        const mat e = utils_angle_axis_diff(&a, &a);
        EXPECT_EQ(AllocCounter::stop(), 0) << "robot type " << type;
        (void)J;
        (void)e;
    }
}
