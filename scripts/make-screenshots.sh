#!/usr/bin/env bash
# scripts/make-screenshots.sh [BUILD]
# The package's reference screenshots, package/screenshots/help-window.png and
# status-window.png: the real external (BUILD, build/release by default,
# configured with the windows) in maxsim on an X server of its own, each
# window cropped to itself once OCR has read its text
# (auvo5.sfplay_tilde/tests/windows/WindowTest.py, scripts/screenshots.maxsim).
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="$(cd "${1:-$ROOT/build/release}" && pwd)"
OUT="$ROOT/package/screenshots"
external="$BUILD/max/auvo5.sfplay~.mxl_x86_64"
[ -x "$BUILD/max/maxsim" ] && [ -f "$external" ] || {
  echo "$0: build maxsim and auvo5_sfplay_external in $BUILD first" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0
python3 "$ROOT/auvo5.sfplay_tilde/tests/windows/WindowTest.py" --maxsim "$BUILD/max/maxsim" --external "$external" \
  --sox "$(command -v sox)" --script "$ROOT/scripts/screenshots.maxsim" --tmp "$work/run" --keep "$work/shots" \
  || status=$?
if [ "$status" -ne 0 ]; then
  echo "$0: no screenshots (the window test exited with status $status)" >&2
  exit 1
fi
mkdir -p "$OUT"
cp "$work/shots/help-window.png" "$work/shots/status-window.png" "$OUT/"
echo "$OUT/help-window.png"
echo "$OUT/status-window.png"
