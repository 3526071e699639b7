"""Python binding of libtova_algorithm (ctypes, standard library only).

    import tova_algorithm as tova
    tova.select_model("vesk")
    pose = tova.fk([0, 0, 0, 0, 0, 0])
    code, q = tova.ik(pose, current=[0.1] * 6)

`tova.lib` is the raw library with every exported C function bound (argtypes
and restype set); the records are in `tova.types`. The functions below take
sequences and return lists, or numpy arrays when numpy is installed.
Angles in radians, lengths in metres. The library holds one configuration per
process and is not thread-safe.
"""
import ctypes as C

from . import _types as types
from ._lib import load
from ._types import (Euler, Matrix, MatrixMore, Pose, Quaternion, IkNumericalRequest,
                     ROBOT_VESK, ROBOT_QUELL, ROBOT_PIRRA_2, ROBOT_PIRRA_3, ROBOT_LUMO_A,
                     ROBOT_LUMO_B, ROBOT_TALDO, ROBOT_LUMO_C, ROBOT_GENERIC_7)

try:  # optional
    import numpy as _np
except ImportError:  # pragma: no cover - depends on the machine
    _np = None

lib = load()

MODELS = {"vesk": ROBOT_VESK, "quell": ROBOT_QUELL, "pirra_2": ROBOT_PIRRA_2,
          "pirra_3": ROBOT_PIRRA_3, "lumo_a": ROBOT_LUMO_A, "lumo_b": ROBOT_LUMO_B,
          "taldo": ROBOT_TALDO, "lumo_c": ROBOT_LUMO_C, "generic_7": ROBOT_GENERIC_7}

IK_CODES = {0: "ok", -1: "no candidate inside the joint bounds",
            -2: "chosen solution outside a modeling joint limit", -4: "no solver for this model"}


def _out(values):
    """A list, or a numpy array when numpy is available."""
    return _np.array(values) if _np is not None else values


def _floats(seq, n=None):
    vals = [float(v) for v in seq]
    if n is not None and len(vals) < n:
        raise ValueError(f"expected at least {n} values, got {len(vals)}")
    return (C.c_float * max(len(vals), 8))(*vals)


def version():
    """The loaded library's version as (major, minor, patch)."""
    v = lib.libalgo_get_version()
    return (v // 10000, v // 100 % 100, v % 100)


def select_model(model, sensor=0):
    """Selects a model by name or type number; resets the whole configuration."""
    t = MODELS[model] if isinstance(model, str) else int(model)
    if lib.libalgo_set_robot_and_sensor_type(t, int(sensor)) != 0:
        raise ValueError(f"model {model!r} does not accept sensor type {sensor}")


def dof():
    return lib.libalgo_get_rbt_dof()


def set_tool(params):
    """Tool frame relative to the flange: x, y, z, rx, ry, rz."""
    lib.libalgo_set_tool_cs_params(_floats(params, 6))


def set_work(params):
    """Work frame relative to the base: x, y, z, rx, ry, rz."""
    lib.libalgo_set_work_cs_params(_floats(params, 6))


def set_install(angles):
    """Base installation angles rx, ry, rz."""
    lib.libalgo_set_robot_install_angle(_floats(angles, 3))


def _pose_dict(p):
    return {"position": _out([p.x, p.y, p.z]),
            "quaternion": _out([p.quaternion.w, p.quaternion.x, p.quaternion.y, p.quaternion.z]),
            "euler": _out([p.euler.rx, p.euler.ry, p.euler.rz])}


def _matrix_rows(m):
    return _out([[m.data[r][c] for c in range(m.cols)] for r in range(m.rows)])


def fk(q):
    """Tool pose in the work frame: dict with position, quaternion (w, x, y, z), euler."""
    p = Pose()
    lib.forward_kinematics(C.byref(p), _floats(q, dof()))
    return _pose_dict(p)


def fk_matrix(q, frame="flange"):
    """4 x 4 transform: 'flange' = flange in the base frame, 'world' = with installation,
    'tool' = tool with installation (no work frame)."""
    m = Matrix()
    fn = {"flange": lib.forward_kinematics_e, "world": lib.forward_kinematics_world_to_flange,
          "tool": lib.forward_kinematics_for_unity}[frame]
    fn(C.byref(m), _floats(q, dof()))
    return _matrix_rows(m)


def _make_pose(target, orientation):
    """Pose record from a dict as fk returns, or from 6 (Euler) / 7 (quaternion) numbers."""
    p = Pose()
    if isinstance(target, dict):
        p.x, p.y, p.z = [float(v) for v in target["position"]]
        if "euler" in target:
            p.euler = Euler(*[float(v) for v in target["euler"]])
        if "quaternion" in target:
            p.quaternion = Quaternion(*[float(v) for v in target["quaternion"]])
        return p
    vals = [float(v) for v in target]
    p.x, p.y, p.z = vals[:3]
    if orientation == "euler":
        p.euler = Euler(*vals[3:6])
    else:
        p.quaternion = Quaternion(*vals[3:7])
    return p


def ik(target, current, orientation="euler"):
    """Closed-form (or seven-axis) inverse kinematics of a tool pose in the work frame.
    Returns (code, joints); code 0 is success, see IK_CODES. Never raises on failure."""
    n = dof()
    out = (C.c_float * 8)()
    code = lib.inverse_kinematics(_floats(current, n), C.byref(_make_pose(target, orientation)),
                                  out, 1 if orientation == "euler" else 0)
    return code, _out(list(out[:n]))


def ik_numerical(target, seed, tolerance=1e-5, iterations=100, orientation="euler"):
    """Damped-least-squares inverse kinematics; returns (code, joints), code 0 or -1."""
    req = IkNumericalRequest()
    req.max_iterations = int(iterations)
    req.tolerance = float(tolerance)
    for i, v in enumerate(list(seed)[:7]):
        req.seed[i] = float(v)
    fmt = b"Euler" if orientation == "euler" else b"quaternion"
    if orientation == "matrix":
        fmt = b"T"
        req.target_matrix.rows = req.target_matrix.cols = 4
        for r in range(4):
            for c in range(4):
                req.target_matrix.data[r][c] = float(target[r][c])
    else:
        req.pose = _make_pose(target, orientation)
    out = (C.c_float * 8)()
    code = lib.ikine_numerical_solution(C.byref(req), fmt, out)
    return code, _out(list(out[:dof()]))


def jacobian(q, frame="flange"):
    """6 x n Jacobian (rows: linear x, y, z, angular x, y, z) in the flange ('flange'),
    tool ('tool') or work ('work') frame."""
    fn = {"flange": lib.kin_calc_jacobe_Jn, "tool": lib.kin_calc_jacobe_Jt,
          "work": lib.kin_calc_jacobe_J0}[frame]
    m = fn(_floats(q, dof()), b"machine")
    return _out([[m.data[r][c] for c in range(m.cols)] for r in range(m.rows)])


def singularity(q):
    """(verdict, shoulder distance): verdict 0 none, -1 shoulder, -2 elbow, -3 wrist."""
    d = C.c_float()
    code = lib.kin_robot_singularity_analyse(_floats(q, dof()), b"machine", C.byref(d))
    return code, d.value
