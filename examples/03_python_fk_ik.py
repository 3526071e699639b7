#!/usr/bin/env python3
"""From Python: select an arm, set a tool, go joints -> pose -> joints, and look
at the Jacobian. Run from a source checkout after building, or with
TOVA_ALGORITHM_LIBRARY pointing at the library."""
import math
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "python"))
import tova_algorithm as tova  # noqa: E402

tova.select_model("lumo_a")
tova.set_tool([0.0, 0.0, 0.05, 0.0, 0.0, 0.0])
q = [0.3, -0.5, 0.9, 0.2, 0.7, -0.4]
pose = tova.fk(q)
print("tool position (m):", [round(float(v), 5) for v in pose["position"]])
print("tool euler (rad): ", [round(float(v), 5) for v in pose["euler"]])

current = [v + 0.02 for v in q]
code, back = tova.ik(pose, current)
print("ik code", code, tova.IK_CODES.get(code, "seven-axis code"))
print("joints back:", [round(float(v), 5) for v in back])
worst = max(abs(float(a) - b) for a, b in zip(back, q))
print(f"largest joint difference {worst:.2e} rad")

J = tova.jacobian(q, frame="tool")
print("tool-frame Jacobian, first row:", [round(float(v), 4) for v in J[0]])
sys.exit(0 if code == 0 and worst < 1e-3 and all(math.isfinite(float(v)) for v in back) else 1)
