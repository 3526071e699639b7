"""ctypes mirrors of the library's C records (natural alignment, no packing)."""
import ctypes as C

f32 = C.c_float


class Matrix(C.Structure):
    """Fixed 4 x 4 float matrix; element (r, c) is data[r][c]."""
    _fields_ = [("rows", C.c_int16), ("cols", C.c_int16), ("data", (f32 * 4) * 4)]


class MatrixMore(C.Structure):
    """Fixed 7 x 7 float matrix; a Jacobian is 6 x n."""
    _fields_ = [("rows", C.c_int16), ("cols", C.c_int16), ("data", (f32 * 7) * 7)]


class Quaternion(C.Structure):
    _fields_ = [("w", f32), ("x", f32), ("y", f32), ("z", f32)]


class Euler(C.Structure):
    _fields_ = [("rx", f32), ("ry", f32), ("rz", f32)]


class Pose(C.Structure):
    _fields_ = [("x", f32), ("y", f32), ("z", f32),
                ("quaternion", Quaternion), ("euler", Euler)]


class mat(C.Structure):  # noqa: N801 - the C name
    """General float matrix of capacity 20 x 20."""
    _fields_ = [("rows", C.c_int32), ("cols", C.c_int32), ("data", (f32 * 20) * 20)]


class DynMatrix(C.Structure):
    _fields_ = [("rows", C.c_int32), ("cols", C.c_int32), ("data", C.POINTER(f32))]


class Lpf3State(C.Structure):
    _fields_ = [("coef_a", f32 * 4), ("coef_b", f32 * 4),
                ("hist_x", f32 * 4), ("hist_y", f32 * 4)]


class Lpf3StateDouble(C.Structure):
    _fields_ = [("coef_a", C.c_double * 4), ("coef_b", C.c_double * 4),
                ("hist_x", C.c_double * 4), ("hist_y", C.c_double * 4)]


class DhTable(C.Structure):
    _fields_ = [(name, f32 * 8) for name in (
        "d", "a", "alpha", "offset",
        "d_compensation", "a_compensation", "alpha_compensation", "offset_compensation")]


class JointConfig(C.Structure):
    _fields_ = [("caller_data_head", f32 * 10), ("jointlim_max", f32), ("jointlim_min", f32),
                ("vel_maxlim", f32), ("acc_maxlim", f32), ("caller_data_tail", f32 * 3)]


class RobotFeedback(C.Structure):
    _fields_ = [("joint_vector_a", f32 * 8), ("joint_vector_b", f32 * 8),
                ("caller_data", f32 * 55)]


class DynamicsParams(C.Structure):
    _fields_ = [("drag_regulation_factor_a", f32 * 8), ("drag_regulation_factor_b", f32 * 8),
                ("identification_group_1", f32 * 8), ("identification_group_2", f32 * 8),
                ("identification_group_3", f32 * 40), ("link_dynamics", (f32 * 10) * 8)]


class RobotConfig(C.Structure):
    """Layout reference only: the library never hands out its record."""
    _fields_ = [
        ("dh", DhTable), ("robot_type", C.c_uint32), ("sensor_type", C.c_uint32),
        ("payload", f32 * 11), ("tcp_config", f32 * 4), ("joint_config", JointConfig * 8),
        ("feedback", RobotFeedback), ("install_angle", f32 * 3), ("tool_cs_params", f32 * 6),
        ("work_cs_params", f32 * 6), ("tool_cs_matrix", Matrix),
        ("work_cs_to_base_matrix", Matrix), ("install_angle_matrix", Matrix),
        ("dynamics", DynamicsParams), ("joint_direction", f32 * 8),
        ("user_collision_threshold", f32 * 21), ("trajectory_planning_joint_cmd", f32 * 8),
        ("trajectory_planning_joint_cur", f32 * 8), ("dof", C.c_int16),
        ("control_loop_period", f32), ("gravity_acc", f32 * 3), ("safety_level", C.c_uint16),
        ("system_all_dof", C.c_int32), ("is_avoid_singularity", C.c_uint32),
        ("dynamics_model_type", C.c_int32)]


class IkNumericalRequest(C.Structure):
    _fields_ = [("max_iterations", C.c_int32), ("seed", f32 * 7), ("tolerance", f32),
                ("pose", Pose), ("target_matrix", Matrix)]


class AlgoMatrix(C.Structure):
    _fields_ = [("rows", C.c_int32), ("cols", C.c_int32), ("data", (f32 * 9) * 9)]


# Sizes of the C records on LP64 targets; the binding's tests compare them.
EXPECTED_SIZES = {
    "Matrix": 68, "MatrixMore": 200, "Quaternion": 16, "Euler": 12, "Pose": 40, "mat": 1608,
    "DynMatrix": 16, "Lpf3State": 64, "Lpf3StateDouble": 128, "DhTable": 256,
    "JointConfig": 68, "RobotFeedback": 284, "DynamicsParams": 608, "RobotConfig": 2240,
    "IkNumericalRequest": 144, "AlgoMatrix": 332,
}

# Robot types
ROBOT_VESK, ROBOT_QUELL, ROBOT_PIRRA_2, ROBOT_PIRRA_3 = 0, 1, 3, 4
ROBOT_LUMO_A, ROBOT_LUMO_B, ROBOT_TALDO, ROBOT_LUMO_C, ROBOT_GENERIC_7 = 5, 6, 7, 8, 9
