// Forward and universal kinematics on random models, frames, DH tables and
// joints: forward-kinematics entry points and closed forms, DH link transforms
// with any index, frame products with random selectors, Jacobians, singularity
// analysis and numerical inverse kinematics (few iterations). Joint arrays are
// exactly as long as the model's joint count, so any access past them is
// caught; result records must carry sizes inside their capacity, and a
// numerical solution reported as converged must lie within the joint limits.
#include <cmath>

#include "fuzz_robot.hpp"

using namespace tova_fuzz;

namespace {

const char *const kModes[] = {"modeling", "machine", "", "model"};
const char *const kFrames[] = {"T0n", "T02", "T05", "T06", "T0t", "Tbn", "Tbt", "Twn", "Twt", "T0", "t0n"};
const char *const kFormats[] = {"T", "Euler", "Quaternion", "euler"};

bool inside(const Matrix &m) { return m.rows >= 0 && m.rows <= 4 && m.cols >= 0 && m.cols <= 4; }

void forward(const float *q, uint32_t type, volatile float &sink) {
    Matrix m;
    Pose p;
    float v[3];
    require(forward_kinematics_e(&m, q) == &m && m.rows == 4 && m.cols == 4);
    require(forward_kinematics_world_to_flange(&m, q) == &m && inside(m));
    require(forward_kinematics_for_unity(&m, q) == &m && inside(m));
    require(forward_kinematics(&p, q) == &p);
    sink = sink + p.euler.rz + p.quaternion.w;
    require(forward_kinematics_rotate(&m, q) == &m && m.rows == 3 && m.cols == 3);
    require(forward_kinematics_rotate_flange(&m, q) == &m && m.rows == 3 && m.cols == 3);
    require(forward_kinematics_pos(v, q) == v);
    require(forward_kinematics_pos_calibration(v, q) == v);
    sink = sink + v[2];
    // The closed form of the model's own family (its joint count fits q).
    switch (type) {
    case ROBOT_QUELL:
        forward_kinematics_e_quell(&m, q), forward_kinematics_rotate_quell(&m, q), forward_kinematics_pos_quell(v, q);
        break;
    case ROBOT_TALDO:
        forward_kinematics_e_taldo(&m, q), forward_kinematics_rotate_taldo(&m, q), forward_kinematics_pos_taldo(v, q);
        break;
    case ROBOT_PIRRA_2:
        forward_kinematics_e_pirra_2(&m, q), forward_kinematics_rotate_pirra_2(&m, q),
            forward_kinematics_pos_pirra_2(v, q);
        break;
    case ROBOT_PIRRA_3:
        forward_kinematics_e_pirra_3(&m, q), forward_kinematics_rotate_pirra_3(&m, q),
            forward_kinematics_pos_pirra_3(v, q);
        break;
    case ROBOT_LUMO_A:
    case ROBOT_LUMO_B:
    case ROBOT_LUMO_C:
        forward_kinematics_e_lumo(&m, q), forward_kinematics_rotate_lumo(&m, q), forward_kinematics_pos_lumo(v, q);
        break;
    default:
        forward_kinematics_e_vesk(&m, q), forward_kinematics_rotate_vesk(&m, q), forward_kinematics_pos_vesk(v, q);
        break;
    }
    sink = sink + m.data[0][0] + v[0];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input in(data, size);
    reset_process_state();
    const uint32_t type = configure_robot(in);
    const int n = model_joints(type);
    const int dof = libalgo_get_rbt_dof();
    const std::vector<float> q = joints(in, n);
    volatile float sink = 0;
    char text[3][8];

    forward(q.data(), type, sink);

    // Link transforms with any index: outside 0..7 the identity, nothing read.
    DhTable dh;
    libalgo_get_dh_value(&dh);
    const int32_t link = in.range(-3, 10);
    const std::vector<float> q8 = joints(in, 8);
    const Matrix md = kin_get_MDH_Ti(link, &dh, q8.data());
    const Matrix sd = kin_get_SDH_Ti(link, &dh, q8.data());
    require(inside(md) && inside(sd));
    if (link < 0 || link > 7) {
        const Matrix id = unit_matrix(4);
        require(std::memcmp(&md, &id, sizeof id) == 0 && std::memcmp(&sd, &id, sizeof id) == 0);
    }

    const char *mode = pick_text(in, kModes, 4, text[0], 8);
    for (int k = in.range(1, 3); k > 0; --k) {
        const Matrix t = kin_universal_kinematics_Tn(q.data(), mode, pick_text(in, kFrames, 11, text[1], 8));
        require(inside(t));
        sink = sink + t.data[2][3];
    }

    const int cols = dof < 0 ? 0 : (dof > 7 ? 7 : dof);
    const MatrixMore jn = kin_calc_jacobe_Jn(q.data(), mode);
    const MatrixMore jt = kin_calc_jacobe_Jt(q.data(), mode);
    const MatrixMore j0 = kin_calc_jacobe_J0(q.data(), mode);
    require(jn.rows == 6 && jn.cols == cols && jt.rows == 6 && jt.cols == cols && j0.rows == 6 && j0.cols == cols);
    sink = sink + jn.data[5][0] + jt.data[0][0] + j0.data[2][1];

    if (in.byte() & 1) kin_set_singularity_thresholds(in.real(0.5f), in.real(0.5f), in.real(0.2f));
    float distance = 12345.0f;
    float *dist = (in.byte() & 3) ? &distance : nullptr;
    const int32_t s = kin_robot_singularity_analyse(q.data(), mode, dist);
    require(s == 0 || s == -1 || s == -2 || s == -3);
    require(dist == nullptr || distance != 12345.0f);

    // Numerical IK toward the pose of other joints (or a random target).
    IkNumericalRequest req;
    std::memset(&req, 0, sizeof req);
    req.max_iterations = in.range(-1, 6);
    for (float &v : req.seed) v = joint_value(in);
    req.tolerance = (in.byte() & 7) ? 1e-6f : in.real(1.0f);
    const std::vector<float> goal = joints(in, n);
    if (in.byte() & 3) {
        forward_kinematics(&req.pose, goal.data());
        req.target_matrix = pose_euler_to_transformation_matrix(req.pose);
    } else {
        in.reals(&req.pose.x, 10, 2.0f);
        in.reals(&req.target_matrix.data[0][0], 16, 2.0f);
        req.target_matrix.rows = req.target_matrix.cols = 4;
    }
    std::vector<float> q_out(static_cast<size_t>(cols > 0 ? cols : 1), -77.0f);
    const int32_t r = ikine_numerical_solution(&req, pick_text(in, kFormats, 4, text[2], 8), q_out.data());
    require(r == 0 || r == -1);
    if (r == 0) {  // within the limits as the solver compares (infinite or NaN limits admit anything)
        float upper[8], lower[8];
        libalgo_get_jointlim_max(upper);
        libalgo_get_jointlim_min(lower);
        for (int i = 0; i < cols; ++i) require(!(q_out[i] > upper[i]) && !(lower[i] > q_out[i]));
    }
    if (cols == 0) require(q_out[0] == -77.0f);

    // Overspeed between the two joint vectors.
    const int32_t o = joint_overspeed_judgment(q.data(), goal.data(), in.real(2.0f));
    require(o >= 0 && o <= cols);
    (void)sink;
    return 0;
}
