"""The Python binding against the C library: record layouts as the C compiler
sees them, every exported function bound, the Pythonic calls against the same
requests made through tova-kin (a C++ caller), and kinematic properties.

Environment: TOVA_ALGORITHM_LIBRARY (the library to test), TOVA_RECORD_LAYOUT
(the record_layout program), TOVA_KIN (the tool; its cases are skipped without)."""
import ctypes as C
import json
import math
import os
import pathlib
import random
import re
import subprocess
import sys
import unittest

PYTHON_DIR = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(PYTHON_DIR))
import tova_algorithm as tova  # noqa: E402
from tova_algorithm import _types as T  # noqa: E402
from tova_algorithm._bindings import FUNCTIONS  # noqa: E402

TOOL = os.environ.get("TOVA_KIN")
SIX_AXIS = ["vesk", "pirra_2", "pirra_3", "lumo_a", "lumo_b", "lumo_c"]
FRAMES = {"tool": [0.01, -0.02, 0.12, 0.1, -0.2, 0.3], "work": [0.3, -0.1, 0.05, 0.0, 0.1, 0.5],
          "install": [0.0, 0.2, 0.1]}


def f32(x):
    return C.c_float(x).value


def random_joints(rng, shrink=0.8):
    lo, hi = tova.joint_limits()
    # keep the wrist (joint 5) away from zero, where the closed forms branch
    q = [rng.uniform(shrink * float(a), shrink * float(b)) for a, b in zip(lo, hi)]
    q[4] = math.copysign(max(abs(q[4]), 0.3), q[4])
    return [f32(v) for v in q]  # what the tool reads from their text


def kin(*args):
    """tova-kin's JSON answer to a request."""
    p = subprocess.run([TOOL, *map(str, args)], capture_output=True, text=True, timeout=60)
    if p.returncode not in (0, 1):
        raise AssertionError(f"tova-kin {args}: {p.stderr}")
    return json.loads(p.stdout)


def frame_args():
    return ["--tool", ",".join(map(str, FRAMES["tool"])), "--work", ",".join(map(str, FRAMES["work"])),
            "--install", ",".join(map(str, FRAMES["install"]))]


def with_frames():
    tova.set_tool(FRAMES["tool"])
    tova.set_work(FRAMES["work"])
    tova.set_install(FRAMES["install"])


class Layout(unittest.TestCase):
    @unittest.skipUnless(os.environ.get("TOVA_RECORD_LAYOUT"), "TOVA_RECORD_LAYOUT not set")
    def test_sizes_and_offsets_match_the_c_compiler(self):
        out = subprocess.run([os.environ["TOVA_RECORD_LAYOUT"]], check=True, capture_output=True,
                             text=True).stdout
        sizes = {}
        for line in out.splitlines():
            name, value = line.split()
            if "." in name:
                record, field = name.split(".")
                self.assertEqual(getattr(getattr(T, record), field).offset, int(value), name)
            else:
                sizes[name] = int(value)
                self.assertEqual(C.sizeof(getattr(T, name)), int(value), name)
        self.assertEqual(sizes, T.EXPECTED_SIZES)


class Exports(unittest.TestCase):
    def test_every_exported_function_is_bound(self):
        out = subprocess.run(["nm", "-D", "--defined-only", tova.lib.path], check=True,
                             capture_output=True, text=True).stdout
        exported = {p[2].split("@")[0] for p in (line.split() for line in out.splitlines())
                    if len(p) == 3 and p[1] == "T"}
        exported -= {"_init", "_fini"}
        self.assertEqual(exported, set(FUNCTIONS))
        self.assertEqual(tova.lib.missing_functions, [])
        for name, (_header, restype, argtypes) in FUNCTIONS.items():
            fn = getattr(tova.lib, name)
            self.assertEqual(fn.argtypes or [], argtypes, name)
            self.assertIs(fn.restype, restype, name)

    def test_generated_bindings_are_current(self):
        p = subprocess.run([sys.executable, str(PYTHON_DIR / "generate_bindings.py"), "--check"],
                           capture_output=True, text=True)
        self.assertEqual(p.returncode, 0, p.stdout + p.stderr)

    def test_version_matches_the_header(self):
        text = (PYTHON_DIR.parent / "tova_version.h").read_text()
        parts = [int(re.search(rf"VERSION_{k}\s+(\d+)", text).group(1)) for k in ("MAJOR", "MINOR", "PATCH")]
        self.assertEqual(tova.version(), tuple(parts))

    def test_loader_reports_a_missing_library(self):
        env = dict(os.environ, TOVA_ALGORITHM_LIBRARY="/nonexistent/libtova_algorithm.so")
        p = subprocess.run([sys.executable, "-c", "import tova_algorithm"], cwd=PYTHON_DIR, env=env,
                           capture_output=True, text=True)
        self.assertNotEqual(p.returncode, 0)
        self.assertIn("TOVA_ALGORITHM_LIBRARY", p.stderr)


class RecordsByValue(unittest.TestCase):
    """Large records passed and returned by value, through the raw bindings."""

    def test_mat_product(self):
        rng = random.Random(3)
        a, b = T.mat(), T.mat()
        a.rows, a.cols, b.rows, b.cols = 3, 5, 5, 2
        for r in range(5):
            for c in range(5):
                a.data[r][c], b.data[r][c] = rng.uniform(-1, 1), rng.uniform(-1, 1)
        p = tova.lib.mat_mult(C.byref(a), C.byref(b))
        self.assertEqual((p.rows, p.cols), (3, 2))
        for r in range(3):
            for c in range(2):
                ref = sum(a.data[r][k] * b.data[k][c] for k in range(5))
                self.assertAlmostEqual(p.data[r][c], ref, places=5)

    def test_pose_matrix_round_trip(self):
        pose = T.Pose(0.1, -0.2, 0.3, T.Quaternion(), T.Euler(0.3, -0.4, 1.2))
        back = tova.lib.transformation_matrix_to_pose(tova.lib.pose_euler_to_transformation_matrix(pose))
        self.assertAlmostEqual(back.z, 0.3, places=6)
        for got, want in zip((back.euler.rx, back.euler.ry, back.euler.rz), (0.3, -0.4, 1.2)):
            self.assertAlmostEqual(got, want, places=5)


@unittest.skipUnless(TOOL, "TOVA_KIN not set")
class AgainstTheTool(unittest.TestCase):
    """The same requests through ctypes and through tova-kin agree to the bit."""

    def assertFloats(self, got, want):
        self.assertEqual([f32(v) for v in want], [f32(v) for v in got])

    def test_fk_jacobian_singularity(self):
        rng = random.Random(11)
        for model in ["vesk", "pirra_3", "lumo_a", "quell", "taldo"]:
            tova.select_model(model)
            with_frames()
            q = random_joints(rng)
            args = ["--model", model, *frame_args()]
            want = kin("fk", "--json", *args, *q)
            got = tova.fk(q)
            for key in ("position", "quaternion", "euler"):
                self.assertFloats(got[key], want["pose"][key])
            for r, row in enumerate(tova.fk_matrix(q, "work")):
                self.assertFloats(row, want["matrix"][r])
            for frame in ("flange", "tool", "work"):
                want = kin("jacobian", "--json", "--frame", frame, *args, *q)["jacobian"]
                for r, row in enumerate(tova.jacobian(q, frame)):
                    self.assertFloats(row, want[r])
            code, dist = tova.singularity(q)
            want = kin("singularity", "--json", *args, *q)
            self.assertEqual(code, want["result"])
            self.assertEqual(f32(dist), f32(want["shoulder_distance"]))

    def test_ik_closed_form_and_numerical(self):
        rng = random.Random(12)
        for model in ["vesk", "lumo_c", "quell"]:
            tova.select_model(model)
            with_frames()
            q = random_joints(rng)
            pose = tova.fk(q)
            target = [*pose["position"], *pose["euler"]]
            current = [v + 0.01 for v in q]
            args = ["--model", model, *frame_args(), "--current", ",".join(map(str, current))]
            want = kin("ik", "--json", *args, "--", *target)
            code, joints = tova.ik(target, current)
            self.assertEqual(code, want["result"])
            self.assertFloats(joints, want["joints"])
            for variant in ([], ["--tool-frame"]):
                want = kin("ik", "--numerical", "--json", *variant, *args, "--", *target)
                code, joints = tova.ik_numerical(target, seed=current, tool_frame=bool(variant))
                self.assertEqual(code, want["result"])
                self.assertFloats(joints, want["joints"])


class Properties(unittest.TestCase):
    def test_closed_form_round_trip_every_six_axis_model(self):
        rng = random.Random(5)
        for model in SIX_AXIS:
            tova.select_model(model)
            with_frames()
            for _ in range(20):
                q = random_joints(rng)
                code, back = tova.ik(tova.fk(q), [v + 0.02 for v in q])
                self.assertEqual(code, 0, (model, q))
                for a, b in zip(back, q):
                    self.assertAlmostEqual(float(a), b, delta=2e-3, msg=(model, q))

    def test_seven_axis_narrow_and_wide(self):
        rng = random.Random(6)
        for model in ["quell", "taldo"]:
            tova.select_model(model)
            q = random_joints(rng, 0.5)
            pose = tova.fk(q)
            code, back = tova.ik(pose, q)  # standing target: holds the current joints
            self.assertEqual(code, 0)
            self.assertEqual([f32(v) for v in back], [f32(v) for v in q])
            code, far = tova.ik(pose, [0.0] * 7, wide=True)  # from far away
            self.assertEqual(code, 0, model)
            reached = tova.fk(far)
            for a, b in zip(reached["position"], pose["position"]):
                self.assertAlmostEqual(float(a), float(b), delta=1e-4)
            self.assertEqual(tova.lib.ikine_get_7dof_solver_search_strategy(), 1)  # restored

    def test_numerical_reaches_a_matrix_target(self):
        tova.select_model("lumo_a")
        q = [0.3, -0.5, 0.9, 0.2, 0.7, -0.4]
        target = tova.fk_matrix(q, "work")
        code, back = tova.ik_numerical(target, seed=[v + 0.1 for v in q], orientation="matrix",
                                       tool_frame=True)
        self.assertEqual(code, 0)
        for row_a, row_b in zip(tova.fk_matrix(back, "work"), target):
            for a, b in zip(row_a, row_b):
                self.assertAlmostEqual(float(a), float(b), delta=2e-3)

    def test_work_jacobian_is_the_derivative_of_fk(self):
        rng = random.Random(7)
        h = 1e-3
        for model in ["vesk", "pirra_2", "quell", "taldo"]:
            tova.select_model(model)
            with_frames()
            q = random_joints(rng)
            J = tova.jacobian(q, "work")
            for j in range(len(q)):
                plus, minus = list(q), list(q)
                plus[j] += h
                minus[j] -= h
                Tp, Tm, T0 = tova.fk_matrix(plus, "work"), tova.fk_matrix(minus, "work"), tova.fk_matrix(q, "work")
                # linear: d p / d q; angular: vee(dR R^T)
                dR = [[(Tp[r][c] - Tm[r][c]) / (2 * h) for c in range(3)] for r in range(3)]
                W = [[sum(dR[r][k] * T0[c][k] for k in range(3)) for c in range(3)] for r in range(3)]
                column = [(Tp[r][3] - Tm[r][3]) / (2 * h) for r in range(3)] + [W[2][1], W[0][2], W[1][0]]
                for r in range(6):
                    self.assertAlmostEqual(float(J[r][j]), column[r], delta=3e-3, msg=(model, r, j))


class Returns(unittest.TestCase):
    """Lists without numpy; numpy arrays when it is there (simulated here)."""

    class FakeArray(list):
        pass

    class FakeNumpy:
        @staticmethod
        def array(values):
            return Returns.FakeArray(values)

    def test_lists_without_numpy(self):
        saved, tova._np = tova._np, None
        try:
            tova.select_model("vesk")
            pose = tova.fk([0.1] * 6)
            self.assertIs(type(pose["position"]), list)
            self.assertIs(type(tova.jacobian([0.1] * 6)), list)
            self.assertIs(type(tova.ik(pose, [0.1] * 6)[1]), list)
        finally:
            tova._np = saved

    def test_numpy_arrays_when_available(self):
        saved, tova._np = tova._np, self.FakeNumpy()
        try:
            tova.select_model("vesk")
            pose = tova.fk([0.1] * 6)
            for value in (pose["position"], pose["euler"], tova.jacobian([0.1] * 6),
                          tova.fk_matrix([0.1] * 6), tova.ik(pose, [0.1] * 6)[1],
                          tova.ik_numerical(pose)[1], tova.joint_limits()[0]):
                self.assertIsInstance(value, self.FakeArray)
        finally:
            tova._np = saved

    def test_bad_requests_raise_clearly(self):
        with self.assertRaises(ValueError):
            tova.select_model("nope")
        tova.select_model("ROBOT_PIRRA_2")
        self.assertEqual(tova.lib.libalgo_get_robot_type(), T.ROBOT_PIRRA_2)
        with self.assertRaises(ValueError):
            tova.fk([0.1] * 5)
        with self.assertRaises(ValueError):
            tova.jacobian([0.1] * 6, frame="elbow")
        with self.assertRaises(ValueError):
            tova.ik([0.1] * 5, [0.0] * 6)


if __name__ == "__main__":
    unittest.main()
