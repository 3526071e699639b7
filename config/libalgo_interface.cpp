// The process-wide robot configuration record and its C interface. Every
// function copies values in or out; nothing hands out a pointer into the
// record. Callers serialise all calls (one control thread).
#include "config/libalgo_interface.h"

#include <cmath>
#include <cstring>

#include "config/config_generation.hpp"
#include "config/model_catalogue.hpp"

namespace {

struct Store {
    RobotConfig robot;
    // Snapshots taken at the end of every successful model selection.
    DhTable dh_default;
    DynamicsParams dyn_param_default;
};
Store store;
uint64_t generation = 1;

// The only writable way into the store besides the feedback update. It moves
// the generation on, so no setter can change a value the kinematics keep a
// copy of without invalidating that copy. The names below are read-only
// views: a write through them does not compile.
Store &edit() {
    ++generation;
    return store;
}
// The per-cycle values (feedback, planning joints), written every control
// cycle, leave the generation alone: else no kept copy would ever be reused.
// Only those two setters write through this, and never a value that the
// kinematics keep a copy of.
RobotConfig &cycle_data() { return store.robot; }
const RobotConfig &robot = store.robot;
const DhTable &dh_default = store.dh_default;
const DynamicsParams &dyn_param_default = store.dyn_param_default;

constexpr int kJointSlots = 8;
// The f32 value 9.81 widened to double; the gravity formulas use it so.
constexpr double kGravity = 9.8100004196167;

bool is_joint_slot(int16_t index) { return index >= 0 && index < kJointSlots; }

Matrix identity4() {
    Matrix m;
    std::memset(&m, 0, sizeof m);
    m.rows = 4;
    m.cols = 4;
    for (int i = 0; i < 4; ++i) {
        m.data[i][i] = 1.0f;
    }
    return m;
}

// Frame parameters x, y, z, rx, ry, rz to a homogeneous transform with
// R = Rz(rz) Ry(ry) Rx(rx); sines and cosines in double, each element rounded
// to f32 once. The store owns this conversion so it needs no maths library.
Matrix pose_to_matrix(const float p[6]) {
    Matrix m;
    std::memset(&m, 0, sizeof m);
    m.rows = 4;
    m.cols = 4;
    m.data[3][3] = 1.0f;
    const double sa = std::sin(static_cast<double>(p[3])), ca = std::cos(static_cast<double>(p[3]));
    const double sb = std::sin(static_cast<double>(p[4])), cb = std::cos(static_cast<double>(p[4]));
    const double sc = std::sin(static_cast<double>(p[5])), cc = std::cos(static_cast<double>(p[5]));
    m.data[0][0] = static_cast<float>(cb * cc);
    m.data[0][1] = static_cast<float>(cc * sa * sb - ca * sc);
    m.data[0][2] = static_cast<float>(sa * sc + sb * cc * ca);
    m.data[0][3] = p[0];
    m.data[1][0] = static_cast<float>(cb * sc);
    m.data[1][1] = static_cast<float>(cc * ca + sa * sb * sc);
    m.data[1][2] = static_cast<float>(sb * ca * sc - cc * sa);
    m.data[1][3] = p[1];
    m.data[2][0] = static_cast<float>(-sb);
    m.data[2][1] = static_cast<float>(sa * cb);
    m.data[2][2] = static_cast<float>(cb * ca);
    m.data[2][3] = p[2];
    return m;
}

// Inverse of a rigid transform in closed form: rotation R^T, translation
// -R^T t, in f32 like the rest of the store.
Matrix rigid_inverse(const Matrix &T) {
    Matrix inv;
    std::memset(&inv, 0, sizeof inv);
    inv.rows = 4;
    inv.cols = 4;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) {
            inv.data[r][c] = T.data[c][r];
        }
        inv.data[r][3] =
            -(T.data[0][r] * T.data[0][3] + T.data[1][r] * T.data[1][3] + T.data[2][r] * T.data[2][3]);
    }
    inv.data[3][3] = 1.0f;
    return inv;
}

template <size_t N>
void copy_floats(float (&to)[N], const float *from) {
    std::memcpy(to, from, sizeof to);
}

template <size_t N>
void copy_floats(float *to, const float (&from)[N]) {
    std::memcpy(to, from, sizeof from);
}

// Number of link-dynamics values the dof-sized calls copy.
size_t link_dynamics_count() { return static_cast<size_t>(robot.dof) * 10; }

}  // namespace

uint64_t tova::config_generation() { return generation; }

extern "C" {

/* ---- model selection ---- */

int32_t libalgo_set_robot_and_sensor_type(uint32_t robot_type, uint32_t sensor_type) {
    RobotConfig &rc = edit().robot;
    std::memset(&rc, 0, sizeof rc);
    rc.control_loop_period = 0.002f;
    rc.gravity_acc[0] = 0.0f;
    rc.gravity_acc[1] = 0.0f;
    rc.gravity_acc[2] = -9.81f;
    // Stored before any check: a refused selection still reports what was asked.
    rc.robot_type = robot_type;
    rc.sensor_type = sensor_type;
    rc.tool_cs_matrix = identity4();
    rc.work_cs_to_base_matrix = identity4();
    rc.install_angle_matrix = identity4();
    return lib_internal_set_robot_default_config(robot_type, sensor_type);
}

int32_t libalgo_init(void) { return libalgo_set_robot_and_sensor_type(ROBOT_VESK, 0); }

int32_t libalgo_clear(void) { return libalgo_init(); }

uint32_t libalgo_get_robot_type(void) { return robot.robot_type; }

uint32_t libalgo_get_sensor_type(void) { return robot.sensor_type; }

int32_t libalgo_get_rbt_dof(void) { return robot.dof; }

int32_t lib_internal_set_robot_default_config(uint32_t robot_type, uint32_t sensor_type) {
    Store &st = edit();
    if (tova::load_model_defaults(st.robot, robot_type, sensor_type) != 0) {
        return -1;
    }
    st.dh_default = st.robot.dh;
    st.dyn_param_default = st.robot.dynamics;
    return 0;
}

/* ---- DH parameters ---- */

// Seven joints only: entry 7 is spare and keeps whatever it held.
void libalgo_set_dh_params(const DhTable *dh) {
    RobotConfig &rc = edit().robot;
    for (int j = 0; j < 7; ++j) {
        rc.dh.d[j] = dh->d[j];
        rc.dh.a[j] = dh->a[j];
        rc.dh.alpha[j] = dh->alpha[j];
        rc.dh.offset[j] = dh->offset[j];
    }
}

void libalgo_set_dh_compensation_value(const DhTable *dh) {
    RobotConfig &rc = edit().robot;
    for (int j = 0; j < 7; ++j) {
        rc.dh.d_compensation[j] = dh->d_compensation[j];
        rc.dh.a_compensation[j] = dh->a_compensation[j];
        rc.dh.alpha_compensation[j] = dh->alpha_compensation[j];
        rc.dh.offset_compensation[j] = dh->offset_compensation[j];
    }
}

void libalgo_get_dh_compensation_value(DhTable *out) {
    for (int j = 0; j < 7; ++j) {
        out->d_compensation[j] = robot.dh.d_compensation[j];
        out->a_compensation[j] = robot.dh.a_compensation[j];
        out->alpha_compensation[j] = robot.dh.alpha_compensation[j];
        out->offset_compensation[j] = robot.dh.offset_compensation[j];
    }
}

void libalgo_get_dh_value(DhTable *out) { *out = robot.dh; }

void libalgo_set_dh_params_default(void) {
    Store &st = edit();
    st.robot.dh = st.dh_default;
}

void libalgo_get_dh_params_default(DhTable *out) { *out = dh_default; }

int32_t libalgo_check_dh_params_is_default(void) {
    if (robot.dof < 1) {
        return 1;
    }
    // Difference in f32, compared with the threshold in double, strictly.
    const auto differs = [](float value, float reference) {
        const float diff = std::fabs(value - reference);
        return !(static_cast<double>(diff) < 1e-10);
    };
    for (int j = 0; j < robot.dof; ++j) {
        if (differs(robot.dh.d[j], dh_default.d[j]) || differs(robot.dh.a[j], dh_default.a[j]) ||
            differs(robot.dh.alpha[j], dh_default.alpha[j]) ||
            differs(robot.dh.offset[j], dh_default.offset[j])) {
            return 0;
        }
    }
    return 1;
}

/* ---- frames, payload, installation ---- */

void libalgo_set_robot_install_angle(const float angle[3]) {
    RobotConfig &rc = edit().robot;
    copy_floats(rc.install_angle, angle);
    const double rx = angle[0];
    const double ry = angle[1];
    rc.gravity_acc[0] = static_cast<float>(std::sin(ry) * kGravity);
    rc.gravity_acc[1] = static_cast<float>(std::cos(ry) * -kGravity * std::sin(rx));
    rc.gravity_acc[2] = static_cast<float>(std::cos(rx) * -kGravity * std::cos(ry));
    const float rotation_only[6] = {0.0f, 0.0f, 0.0f, angle[0], angle[1], angle[2]};
    rc.install_angle_matrix = pose_to_matrix(rotation_only);
}

void libalgo_get_robot_install_angle(float angle[3]) { copy_floats(angle, robot.install_angle); }

void libalgo_get_robot_install_angle_matrix(Matrix *out) { *out = robot.install_angle_matrix; }

void libalgo_get_robot_gravity_acc(float gravity[3]) { copy_floats(gravity, robot.gravity_acc); }

void libalgo_set_tool_cs_params(const float params[6]) {
    RobotConfig &rc = edit().robot;
    copy_floats(rc.tool_cs_params, params);
    rc.tool_cs_matrix = pose_to_matrix(params);
}

void libalgo_get_tool_cs_params(float params[6]) { copy_floats(params, robot.tool_cs_params); }

void libalgo_get_tool_cs_matrix(Matrix *out) { *out = robot.tool_cs_matrix; }

void libalgo_set_work_cs_params(const float params[6]) {
    RobotConfig &rc = edit().robot;
    copy_floats(rc.work_cs_params, params);
    rc.work_cs_to_base_matrix = rigid_inverse(pose_to_matrix(params));
}

void libalgo_get_work_cs_params(float params[6]) { copy_floats(params, robot.work_cs_params); }

void libalgo_get_work_cs_to_base_matrix(Matrix *out) { *out = robot.work_cs_to_base_matrix; }

void libalgo_set_payload_params(const float params[11]) { copy_floats(edit().robot.payload, params); }

void libalgo_get_payload_params(float params[11]) { copy_floats(params, robot.payload); }

/* ---- joint data ---- */

void libalgo_set_joint_config(int16_t index, const JointConfig *config) {
    if (is_joint_slot(index)) {
        edit().robot.joint_config[index] = *config;
    }
}

void libalgo_get_joint_config(int16_t index, JointConfig *out) {
    if (is_joint_slot(index)) {
        *out = robot.joint_config[index];
    } else {
        std::memset(out, 0, sizeof *out);
    }
}

void libalgo_set_jointlim_max(const float limits[8]) {
    RobotConfig &rc = edit().robot;
    for (int j = 0; j < kJointSlots; ++j) rc.joint_config[j].jointlim_max = limits[j];
}

void libalgo_set_jointlim_min(const float limits[8]) {
    RobotConfig &rc = edit().robot;
    for (int j = 0; j < kJointSlots; ++j) rc.joint_config[j].jointlim_min = limits[j];
}

void libalgo_set_joint_vel_maxlim(const float limits[8]) {
    RobotConfig &rc = edit().robot;
    for (int j = 0; j < kJointSlots; ++j) rc.joint_config[j].vel_maxlim = limits[j];
}

void libalgo_set_joint_acc_maxlim(const float limits[8]) {
    RobotConfig &rc = edit().robot;
    for (int j = 0; j < kJointSlots; ++j) rc.joint_config[j].acc_maxlim = limits[j];
}

void libalgo_get_jointlim_max(float limits[8]) {
    for (int j = 0; j < kJointSlots; ++j) limits[j] = robot.joint_config[j].jointlim_max;
}

void libalgo_get_jointlim_min(float limits[8]) {
    for (int j = 0; j < kJointSlots; ++j) limits[j] = robot.joint_config[j].jointlim_min;
}

void libalgo_get_joint_vel_maxlim(float limits[8]) {
    for (int j = 0; j < kJointSlots; ++j) limits[j] = robot.joint_config[j].vel_maxlim;
}

void libalgo_get_joint_acc_maxlim(float limits[8]) {
    for (int j = 0; j < kJointSlots; ++j) limits[j] = robot.joint_config[j].acc_maxlim;
}

// Modeling limits are the machine limits in the kinematic model's angle.
void libalgo_get_modeling_jointlim_max(float limits[8]) {
    for (int j = 0; j < kJointSlots; ++j) limits[j] = robot.joint_config[j].jointlim_max + robot.dh.offset[j];
}

void libalgo_get_modeling_jointlim_min(float limits[8]) {
    for (int j = 0; j < kJointSlots; ++j) limits[j] = robot.joint_config[j].jointlim_min + robot.dh.offset[j];
}

void libalgo_set_joint_direction(const float *direction) {
    RobotConfig &rc = edit().robot;
    for (int j = 0; j < rc.dof; ++j) {
        if (direction[j] > 0.0f) {
            rc.joint_direction[j] = 1.0f;
        } else if (direction[j] < 0.0f) {
            rc.joint_direction[j] = -1.0f;
        }  // exactly 0 (or NaN) keeps the stored direction
    }
}

void libalgo_get_joint_direction(float direction[7]) {
    std::memcpy(direction, robot.joint_direction, 7 * sizeof(float));
}

void libalgo_update_feedback_data(const RobotFeedback *feedback) {
    RobotConfig &rc = cycle_data();
    rc.feedback = *feedback;
    for (int j = 0; j < rc.dof; ++j) {
        rc.feedback.joint_vector_a[j] = feedback->joint_vector_a[j] + rc.dh.offset[j];
        rc.feedback.joint_vector_b[j] = feedback->joint_vector_b[j] + rc.dh.offset[j];
        rc.trajectory_planning_joint_cur[j] = feedback->joint_vector_b[j];
    }
}

void libalgo_get_robot_feedback_data(RobotFeedback *out) { *out = robot.feedback; }

void libalgo_set_trajectory_planning_joint_cmd(const float joints[8]) {
    copy_floats(cycle_data().trajectory_planning_joint_cmd, joints);
}

void libalgo_get_trajectory_planning_joint_cmd(float joints[8]) {
    copy_floats(joints, robot.trajectory_planning_joint_cmd);
}

void libalgo_get_trajectory_planning_joint_cur(float joints[8]) {
    copy_floats(joints, robot.trajectory_planning_joint_cur);
}

/* ---- dynamics and other settings ---- */

void libalgo_set_link_dynamics_params(const float *params) {
    std::memcpy(edit().robot.dynamics.link_dynamics, params, link_dynamics_count() * sizeof(float));
}

void libalgo_get_link_dynamics_params(float *params) {
    std::memcpy(params, robot.dynamics.link_dynamics, link_dynamics_count() * sizeof(float));
}

void libalgo_set_link_dynamics_params_default(void) {
    std::memcpy(edit().robot.dynamics.link_dynamics, dyn_param_default.link_dynamics,
                link_dynamics_count() * sizeof(float));
}

void libalgo_get_link_dynamics_params_default(float *params) {
    std::memcpy(params, dyn_param_default.link_dynamics, link_dynamics_count() * sizeof(float));
}

void libalgo_get_dynamics_params(DynamicsParams *out) { *out = robot.dynamics; }

void libalgo_set_dynamics_identification_params(const float params[49]) {
    DynamicsParams &dyn = edit().robot.dynamics;
    std::memcpy(dyn.identification_group_3, params, 35 * sizeof(float));
    std::memcpy(dyn.identification_group_2, params + 35, 7 * sizeof(float));
    std::memcpy(dyn.identification_group_1, params + 42, 7 * sizeof(float));
}

// Only factor A is clamped (a near-zero A would cancel the regulation);
// factor B is kept as given.
void libalgo_set_drag_regulation_factor(const float factors[14]) {
    RobotConfig &rc = edit().robot;
    std::memcpy(rc.dynamics.drag_regulation_factor_a, factors, 7 * sizeof(float));
    std::memcpy(rc.dynamics.drag_regulation_factor_b, factors + 7, 7 * sizeof(float));
    for (int j = 0; j < rc.dof; ++j) {
        if (std::fabs(rc.dynamics.drag_regulation_factor_a[j]) < 0.001f) {
            rc.dynamics.drag_regulation_factor_a[j] = 1.0f;
        }
    }
}

void libalgo_set_control_loop_period(float period) { edit().robot.control_loop_period = period; }

float libalgo_get_control_loop_period(void) { return robot.control_loop_period; }

void libalgo_set_tcp_config(const float config[4]) { copy_floats(edit().robot.tcp_config, config); }

void libalgo_get_tcp_config(float config[4]) { copy_floats(config, robot.tcp_config); }

int32_t libalgo_set_safety_level(uint16_t level) {
    if (level > 8) {
        return -1;
    }
    edit().robot.safety_level = level;
    return 0;
}

uint16_t libalgo_get_safety_level(void) { return robot.safety_level; }

void libalgo_set_user_collision_threshold(const float thresholds[21]) {
    copy_floats(edit().robot.user_collision_threshold, thresholds);
}

void libalgo_get_user_collision_threshold(float thresholds[21]) {
    copy_floats(thresholds, robot.user_collision_threshold);
}

int32_t libalgo_set_system_all_dof(int32_t all_dof) {
    if (all_dof < robot.dof) {
        return -1;
    }
    edit().robot.system_all_dof = all_dof;
    return 0;
}

int32_t libalgo_get_system_all_dof(void) { return robot.system_all_dof; }

void libalgo_set_is_avoid_Singularity(uint32_t flag) { edit().robot.is_avoid_singularity = flag; }

uint32_t libalgo_get_is_avoid_Singularity(void) { return robot.is_avoid_singularity; }

int32_t libalgo_set_dynamics_model_type(int32_t type) {
    edit().robot.dynamics_model_type = type == 2 ? 2 : 1;
    return 1;
}

int32_t libalgo_get_dynamics_model_type(void) { return robot.dynamics_model_type; }

/* ---- internal steps ---- */

void lib_internal_pose_to_matrix(const float params[6], Matrix *out) { *out = pose_to_matrix(params); }

}  // extern "C"
