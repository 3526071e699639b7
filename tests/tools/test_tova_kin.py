"""tova-kin from the outside: help and errors of every command, JSON answers
against the library called directly, inverse of forward kinematics, streaming,
and the SVG pictures.

Environment: TOVA_KIN (the tool), TOVA_ALGORITHM_LIBRARY (the library, for the
cases that call it through ctypes; skipped without)."""
import ctypes as C
import json
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ET

TOOL = os.environ.get("TOVA_KIN")
LIB = os.environ.get("TOVA_ALGORITHM_LIBRARY")
COMMANDS = {"models", "config", "pose", "fk", "ik", "ik-numerical", "jacobian", "singularity",
            "draw", "workspace"}
SVG = "{http://www.w3.org/2000/svg}"
Q6 = [0.3, -0.5, 0.9, 0.2, 0.7, -0.4]


def run(*args, stdin=None):
    return subprocess.run([TOOL, *map(str, args)], input=stdin, capture_output=True, text=True,
                          timeout=120)


def answer(*args):
    p = run(*args)
    if p.returncode != 0:
        raise AssertionError(f"tova-kin {args}: {p.returncode} {p.stderr}")
    return json.loads(p.stdout)


def f32(x):
    return C.c_float(x).value


@unittest.skipUnless(TOOL, "TOVA_KIN not set")
class Usage(unittest.TestCase):
    def test_every_command_has_help(self):
        listing = run("--help")
        self.assertEqual(listing.returncode, 0)
        listed = {line.split()[0] for line in listing.stdout.splitlines() if line.startswith("  ")}
        self.assertEqual(listed, COMMANDS)
        for command in COMMANDS:
            for form in ([command, "--help"], ["help", command]):
                p = run(*form)
                self.assertEqual(p.returncode, 0, command)
                self.assertTrue(p.stdout.startswith(f"usage: tova-kin {command}"), command)
                self.assertEqual(p.stderr, "")

    def test_bad_arguments_give_one_line_and_status_2(self):
        cases = [("fk", "--model", "nope", *Q6), ("fk", 1, 2, "x", 4, 5, 6), ("fk", 1, 2, 3),
                 ("fk", "--bogus", *Q6), ("ik", 1, 2, 3), ("ik", "--all", "-"),
                 ("jacobian", "--frame", "elbow", *Q6), ("singularity", "--model", "quell", *Q6),
                 ("pose", "--euler", "--quat", 1, 0, 0, 0), ("config", "--sensor", "-1"),
                 ("models", "extra"), ("draw", *Q6), ("workspace", "--samples", 0, "--out", "x.svg"),
                 ("fk", "--tool", "1,2", *Q6), ("nosuch",)]
        for args in cases:
            p = run(*args)
            self.assertEqual(p.returncode, 2, args)
            self.assertEqual(p.stdout, "", args)
            self.assertEqual(len(p.stderr.splitlines()), 1, (args, p.stderr))
            self.assertTrue(p.stderr.startswith("tova-kin"), args)

    def test_unsolved_ik_is_status_1_with_its_code(self):
        p = run("ik", "--json", 3, 3, 3, 0, 0, 0)
        self.assertEqual(p.returncode, 1)
        self.assertEqual(json.loads(p.stdout)["result"], -1)


@unittest.skipUnless(TOOL and LIB, "TOVA_KIN or TOVA_ALGORITHM_LIBRARY not set")
class AgainstTheLibrary(unittest.TestCase):
    """fk --json against forward_kinematics called through ctypes, to the bit."""

    class Pose(C.Structure):
        _fields_ = [(n, C.c_float) for n in ("x", "y", "z", "qw", "qx", "qy", "qz", "rx", "ry", "rz")]

    def test_fk_json_is_the_library_result(self):
        lib = C.CDLL(LIB)
        floats = C.c_float * 8
        rng = random.Random(1)
        tool, work, install = [0.01, 0.02, 0.1, 0.1, 0.2, -0.3], [0.2, -0.1, 0.0, 0.0, 0.0, 0.4], [0.1, 0.0, 0.0]
        for model, n in ((0, 6), (3, 6), (5, 6), (1, 7), (7, 7)):
            q = [f32(rng.uniform(-1.0, 1.0)) for _ in range(n)]
            self.assertEqual(lib.libalgo_set_robot_and_sensor_type(model, 0), 0)
            lib.libalgo_set_tool_cs_params(floats(*tool))
            lib.libalgo_set_work_cs_params(floats(*work))
            lib.libalgo_set_robot_install_angle(floats(*install))
            p = self.Pose()
            lib.forward_kinematics(C.byref(p), floats(*q))
            got = answer("fk", "--json", "--model", model, "--tool", ",".join(map(str, tool)),
                         "--work", ",".join(map(str, work)), "--install", ",".join(map(str, install)),
                         *map(repr, q))["pose"]
            self.assertEqual([f32(v) for v in got["position"] + got["quaternion"] + got["euler"]],
                             [getattr(p, name) for name, _ in self.Pose._fields_], model)


@unittest.skipUnless(TOOL, "TOVA_KIN not set")
class RoundTrips(unittest.TestCase):
    def test_ik_of_fk_returns_the_joints(self):
        for model, q, frames in (("vesk", Q6, []), ("lumo_b", Q6, ["--tool", "0,0,0.1,0,0,0.5"]),
                                 ("pirra_2", Q6, ["--install", "0,1.57,0"]),
                                 ("quell", Q6 + [0.1], ["--work", "0.1,0,0,0,0,0.3"]), ("taldo", Q6 + [0.1], [])):
            pose = answer("fk", "--json", "--model", model, *frames, *q)["pose"]
            target = pose["position"] + pose["euler"]
            # seven axes: a narrow search needs the current joints within one control period
            step = 0.02 if len(q) == 6 else 0.002
            current = ",".join(str(v + step) for v in q)
            got = answer("ik", "--json", "--model", model, *frames, "--current", current, "--", *target)
            self.assertEqual(got["result"], 0, model)
            for a, b in zip(got["joints"], q):
                self.assertAlmostEqual(a, b, delta=2e-3, msg=model)

    def test_wide_search_reaches_from_afar(self):
        for model in ("quell", "taldo"):
            pose = answer("fk", "--json", "--model", model, *Q6, 0.1)["pose"]
            target = pose["position"] + pose["euler"]
            self.assertEqual(run("ik", "--model", model, "--", *target).returncode, 1)  # narrow
            got = answer("ik", "--json", "--model", model, "--wide", "--", *target)
            reached = answer("fk", "--json", "--model", model, *got["joints"])["pose"]
            for a, b in zip(reached["position"], pose["position"]):
                self.assertAlmostEqual(a, b, delta=1e-4)

    def test_degrees_in_and_out(self):
        q = [20, -30, 50, 10, 40, -25]
        pose = answer("fk", "--json", "--degrees", *q)["pose"]
        got = answer("ik", "--json", "--degrees", "--current", ",".join(map(str, q)), "--",
                     *(pose["position"] + pose["euler"]))
        for a, b in zip(got["joints"], q):
            self.assertAlmostEqual(a, b, delta=0.05)
        radians = answer("fk", "--json", *[v / 57.29577951308232 for v in q])["pose"]
        for a, b in zip(pose["euler"], radians["euler"]):
            self.assertAlmostEqual(a / 57.29577951308232, b, delta=1e-5)


@unittest.skipUnless(TOOL, "TOVA_KIN not set")
class Streaming(unittest.TestCase):
    TRAJECTORY = "".join(f"{0.3 + 0.01 * k} -0.5 0.9 0.2 {0.7 - 0.01 * k} -0.4\n" for k in range(5))

    def test_one_line_per_input_and_errors_in_place(self):
        stdin = "# header\n" + self.TRAJECTORY[:-1] + "\n\n1 2 3\n" + "0.1,0.2,0.3,0.4,0.5,0.6\n"
        p = run("fk", "-", stdin=stdin)
        lines = p.stdout.splitlines()
        self.assertEqual(len(lines), 7)
        self.assertEqual(lines[5].split(), ["nan"] * 10)
        self.assertTrue(all(len(line.split()) == 10 for line in lines))
        self.assertEqual(p.returncode, 2)
        self.assertIn("line 8", p.stderr)
        p = run("fk", "--json", "-", stdin=stdin)
        objects = [json.loads(line) for line in p.stdout.splitlines()]
        self.assertEqual(objects[5]["line"], 8)
        self.assertIn("position", objects[6])

    def test_fk_piped_into_ik_tracks_the_trajectory(self):
        poses = run("fk", "-", stdin=self.TRAJECTORY).stdout
        p = run("ik", "--current", "0.3,-0.5,0.9,0.2,0.7,-0.4", "-", stdin=poses)
        self.assertEqual(p.returncode, 0, p.stderr)
        for line, want in zip(p.stdout.splitlines(), self.TRAJECTORY.splitlines()):
            for a, b in zip(line.split(), want.split()):
                self.assertAlmostEqual(float(a), float(b), delta=1e-3)

    def test_every_streaming_command(self):
        n = len(self.TRAJECTORY.splitlines())
        poses = run("fk", "-", stdin=self.TRAJECTORY).stdout
        for args, stdin, width in ((["jacobian"], self.TRAJECTORY, 37), (["singularity"], self.TRAJECTORY, 3),
                                   (["pose", "--euler"], "0 0 0.5\n1 2 3 0 0 0.5\n" * 2 + "0 0 0\n", 10),
                                   (["ik", "--numerical", "--tool-frame"], poses, 6)):
            p = run(*args, "-", stdin=stdin)
            lines = p.stdout.splitlines()
            self.assertEqual(len(lines), n, args)
            self.assertTrue(all(len(line.split()) == width for line in lines), args)
            self.assertEqual(p.returncode, 0, (args, p.stderr))


@unittest.skipUnless(TOOL, "TOVA_KIN not set")
class Pictures(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()

    def tearDown(self):
        self.dir.cleanup()

    def svg(self, *args):
        path = pathlib.Path(self.dir.name) / "out.svg"
        answer(*args, "--json", "--out", path)
        return ET.parse(path).getroot()

    def texts(self, root):
        return ["".join(t.itertext()) for t in root.iter(SVG + "text")]

    def test_draw(self):
        for model, q in (("vesk", [10, -20, 30, 40, 50, 60]), ("quell", [10, -20, 30, 40, 50, 60, 70])):
            root = self.svg("draw", "--model", model, "--degrees", "--tool", "0,0,0.1,0,0,0",
                            "--work", "0.3,0.2,0,0,0,30", *q)
            panels = [r for r in root.iter(SVG + "rect") if r.get("class") == "panel"]
            self.assertEqual(len(panels), 3)
            self.assertIsNotNone(root.find(f".//{SVG}g[@id='scale-bar']"))
            caption = " ".join(self.texts(root.find(f".//{SVG}g[@id='caption']")))
            self.assertIn(f"model {model}", caption)
            self.assertIn(", ".join(f"{v:.2f}" for v in q), caption)
            triads = [g.get("data-frame") for g in root.iter(SVG + "g") if g.get("class") == "triad"]
            self.assertEqual(sorted(triads), sorted(["base", "flange", "tool", "work"] * 3))
            labels = [t for t in root.iter(SVG + "text") if t.get("class") == "label"]
            self.assertEqual(sorted("".join(t.itertext()) for t in labels),
                             sorted(["base", "flange", "tool", "work"] * 3))
            links = [g for g in root.iter(SVG + "g") if g.get("class") == "links"]
            self.assertEqual(len(links), 3)
            self.assertGreaterEqual(len(links[0].findall(SVG + "line")), len(q))

    def test_labels_do_not_overlap(self):
        # flange and tool sit close together: their labels must still be apart
        root = self.svg("draw", "--tool", "0,0,0.01,0,0,0", *Q6)
        for view in (g for g in root.iter(SVG + "g") if g.get("class") == "view"):
            spots = [(float(t.get("x")), float(t.get("y")), len("".join(t.itertext())))
                     for t in view.iter(SVG + "text") if t.get("class") == "label"]
            for i, (x1, y1, n1) in enumerate(spots):
                for x2, y2, n2 in spots[i + 1:]:
                    apart = abs(y1 - y2) >= 12 or x1 + 6 * n1 <= x2 or x2 + 6 * n2 <= x1
                    self.assertTrue(apart, spots)

    def test_workspace(self):
        path = pathlib.Path(self.dir.name) / "ws.svg"
        counts = answer("workspace", "--model", "pirra_3", "--samples", 600, "--seed", 4, "--json",
                        "--out", path)
        root = ET.parse(path).getroot()
        self.assertEqual(len([r for r in root.iter(SVG + "rect") if r.get("class") == "panel"]), 2)
        self.assertIsNotNone(root.find(f".//{SVG}g[@id='scale-bar']"))
        def dots(cls):  # one group per view, each sample drawn in both
            return sum(len(g.findall(SVG + "circle")) for g in root.iter(SVG + "g") if g.get("class") == cls) // 2
        singular = {k: dots(f"singular {k}") for k in ("shoulder", "elbow", "wrist")}
        self.assertEqual(singular, {k: counts[k] for k in singular})
        self.assertEqual(dots("samples") + sum(singular.values()), 600)
        self.assertIn("model pirra_3", " ".join(self.texts(root)))
        again = pathlib.Path(self.dir.name) / "again.svg"
        answer("workspace", "--model", "pirra_3", "--samples", 600, "--seed", 4, "--json", "--out", again)
        self.assertEqual(path.read_bytes(), again.read_bytes())  # seeded: the same picture


if __name__ == "__main__":
    sys.exit(unittest.main())
