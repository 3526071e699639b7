// The control path allocates nothing: every kinematics, pose and matrix call
// is made many times, on every model, while the allocator is counted.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "alloc_counter.hpp"
#include "tova_algorithm.h"

namespace {

using tova_test::AllocCounter;

const uint32_t kModels[] = {ROBOT_VESK,   ROBOT_QUELL,  ROBOT_PIRRA_2, ROBOT_PIRRA_3, ROBOT_LUMO_A,
                            ROBOT_LUMO_B, ROBOT_TALDO, ROBOT_LUMO_C,  ROBOT_GENERIC_7};

TEST(NoHeap, CounterSeesAllocations) {
    AllocCounter::start();
    void *volatile p = std::malloc(16);
    std::free(p);
    int *volatile q = new int(3);
    delete q;
    EXPECT_EQ(AllocCounter::stop(), 2);
}

TEST(NoHeap, ConfigurationStore) {
    float buf[160] = {};
    DhTable dh;
    JointConfig jc;
    DynamicsParams dyn;
    RobotFeedback fb = {};
    Matrix m;
    AllocCounter::start();
    for (uint32_t type : kModels) {
        for (uint32_t sensor = 0; sensor < 3; ++sensor) libalgo_set_robot_and_sensor_type(type, sensor);
        libalgo_set_robot_and_sensor_type(type, 0);
        libalgo_get_dh_value(&dh);
        libalgo_set_dh_params(&dh);
        libalgo_check_dh_params_is_default();
        libalgo_set_robot_install_angle(buf);
        libalgo_set_tool_cs_params(buf);
        libalgo_set_work_cs_params(buf);
        libalgo_get_tool_cs_matrix(&m);
        libalgo_get_joint_config(3, &jc);
        libalgo_set_joint_config(3, &jc);
        libalgo_update_feedback_data(&fb);
        libalgo_get_dynamics_params(&dyn);
        libalgo_get_modeling_jointlim_max(buf);
    }
    EXPECT_EQ(AllocCounter::stop(), 0);
}

TEST(NoHeap, PosesAndFixedMatrices) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> u(-3.0f, 3.0f);
    AllocCounter::start();
    for (int i = 0; i < 1000; ++i) {
        Pose p{u(rng), u(rng), u(rng), {0.5f, 0.5f, 0.5f, 0.5f}, {u(rng), u(rng), u(rng)}};
        Matrix T = pose_euler_to_transformation_matrix(p);
        Pose back = transformation_matrix_to_pose(T);
        Matrix Q = pose_quat_to_transformation_matrix(back);
        Matrix inv = matrix_inv_coordinate_system(&Q);
        Matrix prod = matrix_m(&T, &inv);
        Matrix full = matrix_inv_full_rank(&prod);
        matrix_inv(&full);
        MatrixMore M = unit_matrix_dim7(7);
        matrix_inv_dim7(&M);
        quat_to_euler(euler_to_quat(p.euler));
    }
    EXPECT_EQ(AllocCounter::stop(), 0);
}

}  // namespace
