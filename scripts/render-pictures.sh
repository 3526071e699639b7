#!/usr/bin/env bash
# Renders tova-kin's pictures for a look by eye: arms of several models (one
# mounted on a wall) and workspaces, as SVG and, when rsvg-convert (Debian's
# librsvg2-bin) is installed, as PNG, into build/pictures/. With --docs it also
# refreshes the README's pictures docs/arm.svg and docs/workspace.svg.
# The tool: $TOVA_KIN, else build/release/tools/tova-kin (built when missing).
set -euo pipefail
cd "$(dirname "$0")/.."
tool=${TOVA_KIN:-build/release/tools/tova-kin}
if [ ! -x "$tool" ]; then
  cmake --preset release >/dev/null
  cmake --build --preset release --target tova-kin
fi
out=build/pictures
mkdir -p "$out"

draw() { local name=$1; shift; "$tool" draw --degrees "$@" --out "$out/$name.svg" >/dev/null; }
workspace() { local name=$1; shift; "$tool" workspace "$@" --out "$out/$name.svg" >/dev/null; }

# the README's arm: a gripper 12 cm out, a work frame on a table in front
draw arm-vesk --model vesk --tool 0,0,0.12,0,0,0 --work 0.45,-0.25,0,0,0,20 -20 -35 -65 15 -70 30
draw arm-pirra_3 --model pirra_3 --tool 0,0,0.1,0,0,0 20 -30 60 0 45 0
draw arm-lumo_a --model lumo_a --tool 0,0.05,0.1,-30,0,0 -40 -60 80 -30 70 10
draw arm-quell --model quell 20 30 0 60 0 40 0
draw arm-taldo --model taldo --work 0.3,0.3,0.1,0,0,0 10 30 -20 -60 20 40 30
draw arm-vesk-wall --model vesk --install 90,0,0 --tool 0,0,0.1,0,0,0 0 30 60 0 45 0
workspace workspace-vesk --model vesk --samples 3000
workspace workspace-lumo_a --model lumo_a --samples 4000
workspace workspace-quell --model quell --samples 4000

if command -v rsvg-convert >/dev/null; then
  for f in "$out"/*.svg; do rsvg-convert "$f" -o "${f%.svg}.png"; done
else
  echo "rsvg-convert not found (apt-get install librsvg2-bin): SVG only" >&2
fi
if [ "${1:-}" = "--docs" ]; then
  mkdir -p docs
  cp "$out/arm-vesk.svg" docs/arm.svg
  cp "$out/workspace-vesk.svg" docs/workspace.svg
fi
ls "$out"
