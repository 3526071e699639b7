// Inverse kinematics on random models, frames, joints and poses: the entry
// (every model, both orientation fields), the six-axis solvers on its working
// state, the plug-in solvers, `ikine` with any model and solve mode, and the
// seven-axis solvers called directly under random search settings. Targets are
// mostly reachable poses (forward kinematics of random joints, sometimes
// nudged), otherwise raw values. Checked: no success code with a non-finite
// joint computed from finite current joints, offsets and limits, outputs inside
// exactly sized arrays, the documented result codes, and
// the "untouched" / "current joints back" rules on failure.
#include <cmath>

#include "fuzz_robot.hpp"

using namespace tova_fuzz;

namespace {

bool six_axis_code(int32_t r) { return r == 0 || r == -1 || r == -2; }
bool seven_axis_code(int32_t r) { return r == 0 || (r <= -5 && r >= -8); }
bool entry_code(int32_t r, uint32_t type) {
    if (type == ROBOT_QUELL || type == ROBOT_TALDO) return seven_axis_code(r);
    if (type == 2 || type > ROBOT_LUMO_C) return r == -4;
    return six_axis_code(r);
}

// A target near or at the tool pose of random joints, or raw garbage.
Pose target_pose(Input &in, int n) {
    Pose p;
    const uint8_t kind = in.byte() % 8;
    if (kind < 6) {
        const std::vector<float> goal = joints(in, n);
        forward_kinematics(&p, goal.data());
        if (kind >= 4) {  // nudged, orientation fields possibly inconsistent
            p.x += 0.05f * in.real(1.0f);
            p.euler.rz += 0.05f * in.real(1.0f);
            p.quaternion.x += 0.05f * in.real(1.0f);
        }
    } else {
        in.reals(&p.x, 10, 2.0f);
    }
    return p;
}

void entry(Input &in, uint32_t type, int n) {
    const std::vector<float> q = joints(in, n);
    const Pose p = target_pose(in, n);
    const uint8_t is_euler = static_cast<uint8_t>(in.byte() % 3);
    std::vector<float> out(static_cast<size_t>(n), -77.0f);
    const int32_t r = inverse_kinematics(q.data(), &p, out.data(), is_euler);
    require(entry_code(r, type));
    if (r == 0) require(finite_from_finite(out.data(), n, q.data()));
    if (r == -4)
        for (float v : out) require(v == -77.0f);

    // The six-axis solvers on the state the entry left, and its helpers.
    if (in.byte() & 1) {
        std::vector<float> q6 = joints(in, 6), o6(6);
        T_Base_Tool(&p, is_euler);
        if (in.byte() & 1) {
            Matrix m = pose_euler_to_transformation_matrix(p);
            pose_n_o_a(&m);
        }
        int32_t rs;
        switch (in.byte() % 4) {
        case 0: rs = inverse_kinematics_vesk(q6.data(), o6.data()); break;
        case 1: rs = inverse_kinematics_pirra_2(q6.data(), o6.data()); break;
        case 2: rs = inverse_kinematics_pirra_3(q6.data(), o6.data()); break;
        default: rs = inverse_kinematics_lumo(q6.data(), o6.data()); break;
        }
        require(six_axis_code(rs));
        if (rs == 0) require(finite_from_finite(o6.data(), 6, q6.data()));
        inverse_data_init();
    }
}

void plugin(Input &in, int n) {
    const std::vector<float> q = joints(in, 6);
    std::vector<float> out(6, -77.0f);
    Matrix m;
    if (in.byte() & 3) {
        const std::vector<float> goal = joints(in, n);
        forward_kinematics_e(&m, goal.data());
    } else {
        m.rows = m.cols = 4;
        in.reals(&m.data[0][0], 16, 2.0f);
    }
    int32_t r;
    switch (in.byte() % 4) {
    case 0: r = plugin_inverse_kinematics_vesk(&m, q.data(), out.data()); break;
    case 1: r = plugin_inverse_kinematics_pirra_2(&m, q.data(), out.data()); break;
    case 2: r = plugin_inverse_kinematics_pirra_3(&m, q.data(), out.data()); break;
    default: r = plugin_inverse_kinematics_lumo(&m, q.data(), out.data()); break;
    }
    require(six_axis_code(r));
    if (r == 0) require(finite_from_finite(out.data(), 6, q.data()));
}

// ikine reselects the model itself: any type, sensor and solve mode.
void plugin_ikine(Input &in) {
    const uint32_t type = static_cast<uint32_t>(in.range(0, 11));
    const uint32_t sensor = static_cast<uint32_t>(in.range(0, 3));
    const uint32_t solve_mode = static_cast<uint32_t>(in.range(0, 2));
    libalgo_set_robot_and_sensor_type(type, sensor);
    const int dof = libalgo_get_rbt_dof();
    const int n = model_joints(type);
    float lim[16];
    for (int i = 0; i < 8; ++i) {
        lim[i] = (in.byte() & 7) ? 6.3f : in.real(8.0f);
        lim[8 + i] = (in.byte() & 7) ? -6.3f : in.real(8.0f);
    }
    float target[16];
    if (in.byte() & 3) {
        const std::vector<float> goal = joints(in, n);
        Matrix m;
        forward_kinematics_e(&m, goal.data());
        std::memcpy(target, &m.data[0][0], sizeof target);
    } else {
        in.reals(target, 16, 2.0f);
    }
    const std::vector<float> q = joints(in, n);
    std::vector<float> out(static_cast<size_t>(n), -77.0f);
    const int32_t r = ikine(type, sensor, solve_mode, lim, lim + 8, target, q.data(), out.data());
    if (dof > 0) {
        require(entry_code(r, type));
        if (r == 0) require(finite_from_finite(out.data(), n, q.data()));
    }
    if (r == -4)
        for (float v : out) require(v == -77.0f);
}

// Seven-axis solvers called directly with a random mat (any size) under
// random search settings; every failure hands back the current joints.
void seven_axis(Input &in, uint32_t type) {
    if (in.byte() & 1) ikine_set_7dof_solver_search_strategy(in.u32() % 3);
    if (in.byte() & 1) ikine_set_solution_range_quell((in.byte() & 3) ? 0.5f * std::fabs(joint_value(in)) : in.real(4.0f));
    const std::vector<float> q = joints(in, 7);
    std::vector<float> out(7, -77.0f);
    mat target = mat_zeros(4, 4);
    Matrix m;
    if (in.byte() & 3) {
        const std::vector<float> goal = joints(in, 7);
        if (type == ROBOT_TALDO) forward_kinematics_e_taldo(&m, goal.data());
        else forward_kinematics_e_quell(&m, goal.data());
        target = matrix_to_mat(&m);
        if (in.byte() % 4 == 0) target.data[in.range(0, 3)][in.range(0, 3)] += in.real(0.01f);
    } else {
        target.rows = in.range(-1, 21);
        target.cols = in.range(-1, 21);
        in.reals(&target.data[0][0], 16, 2.0f);
    }
    const bool taldo = in.byte() & 1;
    const int32_t r = taldo ? inverse_kinematics_taldo(target, q.data(), out.data())
                            : inverse_kinematics_quell(target, q.data(), out.data());
    require(seven_axis_code(r));
    if (r == 0) require(finite_from_finite(out.data(), 7, q.data()));
    if (r != 0) require(std::memcmp(out.data(), q.data(), 7 * sizeof(float)) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    reset_process_state();
    const uint32_t type = configure_robot(in);
    const int n = model_joints(type);
    for (int step = 0; step < 4 && !in.empty(); ++step) {
        switch (in.byte() % 5) {
        case 0:
        case 1: entry(in, type, n); break;
        case 2: plugin(in, n); break;
        case 3: seven_axis(in, type); break;
        default: plugin_ikine(in); return 0;  // reselected the model: stop here
        }
    }
    return 0;
}
