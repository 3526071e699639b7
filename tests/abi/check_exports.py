#!/usr/bin/env python3
"""Compare the shared library's exported functions with the TOVA_API
declarations of the public headers; any difference fails."""
import pathlib
import re
import subprocess
import sys

lib, root = sys.argv[1], pathlib.Path(sys.argv[2])
headers = [root / "tova_algorithm.h", root / "tova_version.h"]
for sub in ("config", "math", "kinematics", "ikine"):
    headers += sorted((root / sub).glob("*.h"))

declared = set()
decl = re.compile(r"^\s*TOVA_API\b[^;(]*?\b([A-Za-z_]\w*)\s*\(", re.M)
for h in headers:
    declared.update(decl.findall(h.read_text()))

out = subprocess.run(["nm", "-D", "--defined-only", lib], check=True,
                     capture_output=True, text=True).stdout
exported = set()
for line in out.splitlines():
    parts = line.split()
    if len(parts) == 3 and parts[1] in "TWBDRVi":
        exported.add(parts[2].split("@")[0])
# Symbols the toolchain adds to every shared object.
exported -= {"_init", "_fini", "_edata", "_end", "__bss_start"}

missing = sorted(declared - exported)
extra = sorted(exported - declared)
for name in missing:
    print("declared but not exported:", name)
for name in extra:
    print("exported but not declared:", name)
print(f"{len(declared)} declared, {len(exported)} exported")
sys.exit(1 if missing or extra else 0)
