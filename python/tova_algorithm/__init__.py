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
            -2: "chosen solution outside a modeling joint limit", -4: "no solver for this model",
            -5: "invalid target", -6: "out of reach",
            -7: "no solution inside the modeling joint limits (search window)",
            -8: "no solution within the joint speed limits (search window)"}

SINGULARITIES = {0: "none", -1: "shoulder", -2: "elbow", -3: "wrist"}


def _out(values):
    """A list, or a numpy array when numpy is available."""
    return _np.array(values) if _np is not None else values


def _floats(seq, n=None):
    """Float array of at least eight slots (the library's joint stores) from a sequence."""
    vals = [float(v) for v in seq]
    if n is not None and len(vals) < n:
        raise ValueError(f"expected at least {n} values, got {len(vals)}")
    return (C.c_float * max(len(vals), 8))(*vals)


def _rows(m):
    return [[m.data[r][c] for c in range(m.cols)] for r in range(m.rows)]


def version():
    """The loaded library's version as (major, minor, patch)."""
    v = lib.libalgo_get_version()
    return (v // 10000, v // 100 % 100, v % 100)


def select_model(model, sensor=0):
    """Selects a model by name ('vesk', 'ROBOT_QUELL', 'pirra-2') or type number;
    resets the whole configuration (tool, work frame, installation, limits)."""
    if isinstance(model, str):
        key = model.lower().replace("-", "_")
        key = key[6:] if key.startswith("robot_") else key
        if key not in MODELS:
            raise ValueError(f"unknown model {model!r}; one of {', '.join(MODELS)}")
        t = MODELS[key]
    else:
        t = int(model)
    if lib.libalgo_set_robot_and_sensor_type(t, int(sensor)) != 0:
        raise ValueError(f"model {model!r} does not accept sensor type {sensor}")


def dof():
    """Number of joints of the selected model (6 or 7)."""
    return lib.libalgo_get_rbt_dof()


def joint_limits():
    """(lower, upper) machine joint limits of the selected model, rad."""
    hi, lo = (C.c_float * 8)(), (C.c_float * 8)()
    lib.libalgo_get_jointlim_max(hi)
    lib.libalgo_get_jointlim_min(lo)
    n = dof()
    return _out(list(lo[:n])), _out(list(hi[:n]))


def set_tool(params):
    """Tool frame relative to the flange: x, y, z, rx, ry, rz."""
    lib.libalgo_set_tool_cs_params(_floats(params, 6))


def set_work(params):
    """Work frame: x, y, z, rx, ry, rz (poses are reported and targeted in it)."""
    lib.libalgo_set_work_cs_params(_floats(params, 6))


def set_install(angles):
    """Base installation angles rx, ry, rz."""
    lib.libalgo_set_robot_install_angle(_floats(angles, 3))


def _pose_dict(p):
    return {"position": _out([p.x, p.y, p.z]),
            "quaternion": _out([p.quaternion.w, p.quaternion.x, p.quaternion.y, p.quaternion.z]),
            "euler": _out([p.euler.rx, p.euler.ry, p.euler.rz])}


def fk(q):
    """Tool pose in the work frame: dict with position, quaternion (w, x, y, z), euler."""
    p = Pose()
    lib.forward_kinematics(C.byref(p), _floats(q, dof()))
    return _pose_dict(p)


def fk_matrix(q, frame="flange"):
    """4 x 4 transform (rows): 'flange' = flange in the base frame, 'world' = flange
    with installation, 'tool' = tool with installation (no work frame), 'work' = tool
    in the work frame (the pose fk reports)."""
    qa = _floats(q, dof())
    fn = {"flange": lib.forward_kinematics_e, "world": lib.forward_kinematics_world_to_flange,
          "tool": lib.forward_kinematics_for_unity, "work": lib.forward_kinematics_for_unity}.get(frame)
    if fn is None:
        raise ValueError(f"frame must be flange, world, tool or work, not {frame!r}")
    m = Matrix()
    fn(C.byref(m), qa)
    if frame == "work":
        w = Matrix()
        lib.libalgo_get_work_cs_to_base_matrix(C.byref(w))
        m = lib.matrix_m(C.byref(w), C.byref(m))
    return _out(_rows(m))


def _matrix_record(rows):
    m = Matrix()
    m.rows = m.cols = 4
    for r in range(4):
        for c in range(4):
            m.data[r][c] = float(rows[r][c])
    return m


def _make_pose(target, orientation):
    """Pose record from a dict as fk returns, 6 (Euler) or 7 (quaternion) numbers,
    or a 4 x 4 matrix (orientation 'matrix')."""
    if orientation == "matrix":
        return lib.transformation_matrix_to_pose(_matrix_record(target))
    p = Pose()
    if isinstance(target, dict):
        p.x, p.y, p.z = [float(v) for v in target["position"]]
        if "euler" in target:
            p.euler = Euler(*[float(v) for v in target["euler"]])
        if "quaternion" in target:
            p.quaternion = Quaternion(*[float(v) for v in target["quaternion"]])
        return p
    vals = [float(v) for v in target]
    need = 6 if orientation == "euler" else 7
    if len(vals) != need:
        raise ValueError(f"a {orientation} target has {need} numbers, got {len(vals)}")
    p.x, p.y, p.z = vals[:3]
    if orientation == "euler":
        p.euler = Euler(*vals[3:6])
    else:
        p.quaternion = Quaternion(*vals[3:7])
    return p


def _check_orientation(orientation):
    if orientation not in ("euler", "quaternion", "matrix"):
        raise ValueError(f"orientation must be euler, quaternion or matrix, not {orientation!r}")


def ik(target, current=None, orientation="euler", wide=False):
    """Inverse kinematics of a tool pose in the work frame with the model's closed form
    (six axes) or seven-axis solver. target: a dict as fk returns, x y z rx ry rz
    (orientation 'euler'), x y z qw qx qy qz ('quaternion') or 4 x 4 rows ('matrix').
    current: joints to stay near (default zeros). wide: seven-axis models search the
    whole redundancy range for this call instead of a window around current.
    Returns (code, joints); code 0 is success, see IK_CODES. Never raises on failure."""
    _check_orientation(orientation)
    n = dof()
    pose = _make_pose(target, orientation)
    out = (C.c_float * 8)()
    cur = _floats(current if current is not None else [0.0] * n, n)
    saved = (lib.ikine_get_7dof_solver_search_strategy(), lib.ikine_get_solution_range_quell())
    if wide:
        lib.ikine_set_7dof_solver_search_strategy(0)
        lib.ikine_set_solution_range_quell(3.14)
    try:
        code = lib.inverse_kinematics(cur, C.byref(pose), out, 1 if orientation == "euler" else 0)
    finally:
        lib.ikine_set_7dof_solver_search_strategy(saved[0])
        lib.ikine_set_solution_range_quell(saved[1])
    return code, _out(list(out[:n]))


def ik_numerical(target, seed=None, tolerance=1e-5, iterations=100, orientation="euler",
                 tool_frame=False):
    """Damped-least-squares inverse kinematics for any model; returns (code, joints),
    code 0 converged within limits, -1 not. seed defaults to the middle of the joint
    ranges; target as for ik. tool_frame: use ikine_numerical_solution_tool_frame,
    whose consistent error frame converges far more often than the standard solver."""
    _check_orientation(orientation)
    n = dof()
    req = IkNumericalRequest()
    req.max_iterations = int(iterations)
    req.tolerance = float(tolerance)
    if seed is None:
        lo, hi = joint_limits()
        seed = [0.5 * (float(a) + float(b)) for a, b in zip(lo, hi)]
    for i, v in enumerate(list(seed)[:7]):
        req.seed[i] = float(v)
    if orientation == "matrix":
        req.target_matrix = _matrix_record(target)
        fmt = b"T"
    else:
        req.pose = _make_pose(target, orientation)
        fmt = b"Euler" if orientation == "euler" else b"quaternion"
    out = (C.c_float * 8)()
    solve = lib.ikine_numerical_solution_tool_frame if tool_frame else lib.ikine_numerical_solution
    code = solve(C.byref(req), fmt, out)
    return code, _out(list(out[:n]))


def jacobian(q, frame="flange"):
    """6 x n Jacobian (rows: linear x, y, z, angular x, y, z) in the flange ('flange'),
    tool ('tool') or work ('work') frame."""
    fn = {"flange": lib.kin_calc_jacobe_Jn, "tool": lib.kin_calc_jacobe_Jt,
          "work": lib.kin_calc_jacobe_J0}.get(frame)
    if fn is None:
        raise ValueError(f"frame must be flange, tool or work, not {frame!r}")
    return _out(_rows(fn(_floats(q, dof()), b"machine")))


def singularity(q):
    """(code, shoulder distance in m): code 0 none, -1 shoulder, -2 elbow, -3 wrist
    (names in SINGULARITIES); the distance is NaN when the shoulder axis is vertical."""
    d = C.c_float()
    code = lib.kin_robot_singularity_analyse(_floats(q, dof()), b"machine", C.byref(d))
    return code, d.value
