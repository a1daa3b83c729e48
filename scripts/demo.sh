#!/usr/bin/env bash
# The main job's demonstration: writes a sample preset as text, converts it
# to binary OSC and to a Max coll file with the command-line tool, and shows
# that all three hold the same messages.
set -euo pipefail
CLI="$1"; OUT="$2"
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
