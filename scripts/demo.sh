#!/usr/bin/env bash
# The main job's demonstration: writes a sample preset as text, converts it
# to binary OSC and to a Max coll file with the command-line tool, and shows
# that all three hold the same messages; then makes a multichannel file with
# cue markers and plays it through the player with the render verb, printing
# the player's reports.
set -euo pipefail
CLI="$1"; OUT="$2"; MAKE_DEMO_FILE="${3:-}"; MAXSIM="${4:-}"; EXTERNAL="${5:-}"
mkdir -p "$OUT"
"$CLI" --help
echo

cat >"$OUT/preset.txt" <<'TEXT'
# A sample preset: one OSC message per line.
/open "my file, take 2.wav"
/loop 1
/seek 1500.5
/source/[1-4]/gain -6.5
/source/{5,6}/mute true
/play/speed 0x1
/comment 'a pair of single quotes is one string';
TEXT

"$CLI" osc --convert "$OUT/preset.txt" "$OUT/preset.osc"
"$CLI" osc --convert "$OUT/preset.osc" "$OUT/preset.coll"

for format in txt osc coll; do
  echo "== auvo5-sfplay osc preset.$format"
  "$CLI" osc "$OUT/preset.$format"
done
echo "== preset.coll as written"
cat "$OUT/preset.coll"
echo "== first bytes of preset.osc"
od -A d -t x1z -N 64 "$OUT/preset.osc"

# The three readings agree.
diff <("$CLI" osc "$OUT/preset.txt") <("$CLI" osc "$OUT/preset.osc")
diff <("$CLI" osc "$OUT/preset.txt") <("$CLI" osc "$OUT/preset.coll")
echo "== the three formats hold the same messages"

# --- The player -------------------------------------------------------------
if [ -z "$MAKE_DEMO_FILE" ] || [ ! -x "$MAKE_DEMO_FILE" ]; then
  echo "== (no demo file maker: libsndfile was not found at build time; skipping the player)"
  exit 0
fi
echo
echo "== a demo file written by libsndfile: 24 channels, 48 kHz, 24-bit, 3 s, a broadcast-wave chunk"
echo "   and four cue markers (IDs 1 to 4 at 500, 1000, 1750 and 2500 ms)"
"$MAKE_DEMO_FILE" "$OUT/demo.wav"
"$CLI" info "$OUT/demo.wav"

# Play from the start, report the time played at 1.2 s, jump to marker 4,
# which plays to the end of the file ("bang"); at 2 s loop over 1 s to
# 1.5 s (passing marker 2 each time) until stopped at 3.2 s.
render=(render "$OUT/demo.wav" "$OUT/demo-render.wav" --channels 16 --position
        --at 0 /start --at 1200 /report --at 1300 "/seek/marker/byid 4"
        --at 2000 "/loop 1" --at 2000 "/seek 1000 1500" --at 3200 /stop --at 3300 /report)
echo
printf '== auvo5-sfplay'
for argument in "${render[@]}"; do
  case "$argument" in
    *" "*) printf ' "%s"' "$argument" ;;
    *) printf ' %s' "${argument#"$OUT"/}" ;;
  esac
done
echo
"$CLI" "${render[@]}" >"$OUT/demo-render.txt"
echo "== its reports (rendered ms, then the report), progress and buffer fill left out:"
grep -v -E '^[0-9.]+ /(progress|buffering) ' "$OUT/demo-render.txt"
echo "== ... and $(grep -c ' /progress ' "$OUT/demo-render.txt") progress reports (every 0.5 %), \
$(grep -c ' /buffering ' "$OUT/demo-render.txt") buffer-fill reports (every 2 %); the first few of each:"
grep -m 4 ' /progress ' "$OUT/demo-render.txt"
grep -m 4 ' /buffering ' "$OUT/demo-render.txt"

echo "== the rendered file: 16 channels and the playback position, 32-bit float"
"$CLI" info "$OUT/demo-render.wav" | sed -n '1,9p'

# Its first 1.2 s are the file's first 1.2 s: compare channel 1 with sox's
# own decode of the demo file, sample for sample.
if command -v sox >/dev/null; then
  sox -V1 "$OUT/demo-render.wav" -t f32 "$OUT/rendered.f32" remix 1 trim 0s 57600s
  sox -V1 "$OUT/demo.wav" -e floating-point -b 32 -t f32 "$OUT/source.f32" remix 1 trim 0s 57600s
  cmp "$OUT/rendered.f32" "$OUT/source.f32"
  echo "== channel 1 of the first 57600 rendered frames equals sox's decode of demo.wav"
fi

# --- The real external in the Max kernel simulator ----------------------------
if [ -n "$MAXSIM" ] && [ -x "$MAXSIM" ] && [ -f "$EXTERNAL" ]; then
  echo
  echo "== $(basename "$EXTERNAL") in maxsim: scripts/demo.maxsim"
  grep -v '^#' "$(dirname "$0")/demo.maxsim"
  DEMO_DIR="$OUT" "$MAXSIM" "$EXTERNAL" "$(dirname "$0")/demo.maxsim" >"$OUT/demo-maxsim.txt"
  echo "== what the box posted and what its dump outlet (outlet 17) sent; progress and buffer fill counted:"
  grep -v -E '^out 1 17 /(progress|buffering) ' "$OUT/demo-maxsim.txt"
  echo "== ... and $(grep -c ' /progress ' "$OUT/demo-maxsim.txt") progress reports, \
$(grep -c ' /buffering ' "$OUT/demo-maxsim.txt") buffer-fill reports"
  "$CLI" info "$OUT/demo-maxsim.wav" | sed -n '1,6p'
fi
