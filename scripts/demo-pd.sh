#!/usr/bin/env bash
# demo-pd.sh PD_PACKAGE OUT CLI
# The main job's demonstration in Pure Data: scripts/demo.pd, in pd -batch,
# with the object as users install it (PD_PACKAGE, from make-pd-package.sh),
# plays OUT/demo.wav (made by demo.sh), found through Pd's search path, and
# records it; Pd's window is printed, then the recording is described and its
# first 1.2 s compared with the file.
set -euo pipefail
# Absolute: Pd takes a relative path as the patch folder's.
PACKAGE="$(cd "$1" && pwd)"; OUT="$(cd "$2" && pwd)"; CLI="$3"
PATCH="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/demo.pd"
if ! command -v pd >/dev/null; then
  echo "== (Pure Data is not installed: no demonstration in Pd)"
  exit 0
fi
[ -f "$OUT/demo.wav" ] || { echo "demo-pd: $OUT/demo.wav is missing (scripts/demo.sh makes it)" >&2; exit 1; }

echo
echo "== auvo5.sfplay~ in Pure Data: pd -batch -path ${PACKAGE#"$PWD"/} -path ${OUT#"$PWD"/} -open scripts/demo.pd"
echo "   (pd -batch runs faster than real time: with \"/freewheel 1\" the box waits for the disk)"
# The patch's timeline: its delays and the messages they send, in order.
sed -n -e 's/^#X obj [0-9]* [0-9]* delay \([0-9]*\);$/   \1 ms later:/p' \
       -e 's/^#X msg [0-9]* [0-9]* \(\/.*\);$/     \1/p' "$PATCH" | sed 's/ \\,/,/g'
echo "     the recording is written, Pd quits"
rm -f "$OUT/demo-pd.wav"
pd -batch -noaudio -nogui -noprefs -r 48000 -path "$PACKAGE" -path "$OUT" -open "$PATCH" \
  -send "demo-record symbol $OUT/demo-pd.wav" -send "pd dsp 1" -send "demo-go bang" \
  >"$OUT/demo-pd.txt" 2>&1 || { cat "$OUT/demo-pd.txt"; exit 1; }
echo "== Pd's window: the box's posts, and its message outlet printed by [print auvo5.sfplay~];"
echo "   progress and buffer fill counted:"
grep -v -E '^auvo5\.sfplay~: /(progress|buffering) ' "$OUT/demo-pd.txt"
echo "== ... and $(grep -c ': /progress ' "$OUT/demo-pd.txt") progress reports, \
$(grep -c ': /buffering ' "$OUT/demo-pd.txt") buffer-fill reports"
if grep -q -E '^error: |disk underrun' "$OUT/demo-pd.txt"; then
  echo "demo-pd: Pd reported an error, or the box did not wait for the disk" >&2
  exit 1
fi

echo "== the recording: 16 channels and the playback position, 32-bit float, written by [soundfiler]"
"$CLI" info "$OUT/demo-pd.wav" | sed -n '1,6p'
# Its first 1.2 s are the file's first 1.2 s: channel 1 against sox's own
# decode of demo.wav, sample for sample.
if command -v sox >/dev/null; then
  sox -V1 "$OUT/demo-pd.wav" -t f32 "$OUT/demo-pd.f32" remix 1 trim 0s 57600s
  sox -V1 "$OUT/demo.wav" -e floating-point -b 32 -t f32 "$OUT/source.f32" remix 1 trim 0s 57600s
  cmp "$OUT/demo-pd.f32" "$OUT/source.f32"
  echo "== channel 1 of the first 57600 recorded frames equals sox's decode of demo.wav"
fi
