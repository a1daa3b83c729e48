#!/usr/bin/env bash
# bench/streaming.sh BUILD_DIR: whole-process streaming speed and peak memory
# of the command-line tool and of the Max external (in maxsim), each figure
# beside its reference from the same run. ./dev bench runs it after the
# Google Benchmark binary.
#
# Speed: wall clock of whole processes, subject and reference alternating,
# KEL_BENCH_RUNS runs of each (5), medians; every file is read into the page
# cache first, so the disk is out of the figures.
#  - auvo5-sfplay render FILE /dev/null --channels N beside sndfile-decode
#    (libsndfile, 4096-frame blocks, nothing written) for four files;
#  - auvo5-sfplay decode FILE /dev/null beside sndfile-decode;
#  - last, bench/pd.sh: render and the Pure Data object beside Pd's
#    [readsf~ 64] in pd -batch.
# Memory: peak resident memory (GNU time's %M) beside the ring the player
# should hold and the program's own baseline. A ring holds channels x frames
# floats plus a frame tag per frame (a bit when the file fits), where channels = min(box
# channels, file channels) and frames = min(buffer size, file length); there
# is no ring without a file.
set -euo pipefail
shopt -s inherit_errexit
export LC_ALL=C

BUILD="$(cd "${1:?usage: bench/streaming.sh BUILD_DIR}" && pwd)"
RUNS="${KEL_BENCH_RUNS:-5}"
CLI="$BUILD/cli/auvo5-sfplay"
DECODE="$BUILD/bench/sndfile-decode"
MAXSIM="$BUILD/max/maxsim"
EXTERNAL="$BUILD/max/auvo5.sfplay~.mxl_x86_64"
FIXTURES="$BUILD/bench/fixtures"
WORK="$(mktemp -d "${TMPDIR:-/tmp}/auvo5-streaming.XXXXXX")"
trap 'rm -rf "$WORK"' EXIT

RATE=48000
BUFFER_FRAMES=480000   # the player's default buffer size (render and the box)
BOXES=10
BOX_CHANNELS=250

for tool in "$CLI" "$DECODE" "$MAXSIM" "$EXTERNAL"; do
  [ -e "$tool" ] || { echo "streaming.sh: $tool is missing (build the release tree first)" >&2; exit 1; }
done
command -v sox >/dev/null || { echo "streaming.sh: sox is needed for the fixtures" >&2; exit 1; }
[ -x /usr/bin/time ] || { echo "streaming.sh: GNU time (/usr/bin/time) is needed for the memory figures" >&2; exit 1; }

# fixture NAME SECONDS CHANNELS SOX_ENCODING...: made once, by sox, in the
# build tree; a different waveform on neighbouring channels, never silence.
fixture() {
  local name="$1" seconds="$2" channels="$3"; shift 3
  local path="$FIXTURES/$name.wav"
  if [ ! -f "$path" ]; then
    mkdir -p "$FIXTURES"
    echo "making $name.wav ($channels channels, $seconds s)" >&2
    sox -D -n -r "$RATE" "$@" -c "$channels" "$FIXTURES/$name.incomplete.wav" \
      synth "$seconds" sine 440 square 330 sawtooth 220 noise gain -1
    mv "$FIXTURES/$name.incomplete.wav" "$path"
  fi
  printf '%s\n' "$path"
}

# Seconds elapsed while CMD runs; its stdout is dropped, a failure stops all.
wall() {
  local start end
  start=$EPOCHREALTIME
  "$@" >/dev/null || { echo "streaming.sh: failed: $*" >&2; exit 1; }
  end=$EPOCHREALTIME
  awk -v s="$start" -v e="$end" 'BEGIN { printf "%.6f\n", e - s }'
}

median() { sort -g | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

# "1.234 s  48.6x": seconds and real-time factor (seconds of audio per second).
speed() { awk -v t="$1" -v a="$2" 'BEGIN { printf "%7.3f s %7.1fx", t, a / t }'; }

# "ratio 0.85, goal >= 1.0: below": subject speed over reference speed.
verdict() {
  awk -v subject="$1" -v reference="$2" -v goal="$3" 'BEGIN {
    r = reference / subject
    printf "ratio %5.2f, goal >= %s: %s", r, goal, (r >= goal ? "met" : "below") }'
}

warm() { cat "$@" >/dev/null; }

# The subject and its reference, alternating, RUNS times each; their medians
# in SUBJECT and REFERENCE.
# compare "SUBJECT CMD" "REFERENCE CMD" (words split at blanks: no path holds one)
compare() {
  local i
  : >"$WORK/s"; : >"$WORK/r"
  for ((i = 0; i < RUNS; i++)); do
    # shellcheck disable=SC2086
    wall $1 >>"$WORK/s"
    # shellcheck disable=SC2086
    wall $2 >>"$WORK/r"
  done
  SUBJECT=$(median <"$WORK/s")
  REFERENCE=$(median <"$WORK/r")
}

for path in "$BUILD" "$FIXTURES"; do
  case "$path" in *[[:space:]]*) echo "streaming.sh: the build path may not hold spaces" >&2; exit 1 ;; esac
done

F64_24=$(fixture stream64-24 60 64 -b 24)
F64_16=$(fixture stream64-16 60 64 -b 16)
F64_F=$(fixture stream64-float 60 64 -e floating-point -b 32)
F512_24=$(fixture stream512-24 10 512 -b 24)
F600_16=$(fixture burst600-16 0.1 600 -b 16)
F250_24=$(fixture box250-24 1 250 -b 24)
MONO=$(fixture mono-16 0.1 1 -b 16)

echo
echo "== Streaming: whole processes, wall clock, median of $RUNS runs each, subject and reference"
echo "   alternating, files in the page cache; real-time factor = seconds of audio per second"
echo
echo "render FILE /dev/null --channels N  beside  sndfile-decode FILE (libsndfile, 4096-frame blocks, nothing written)"
printf '  %-22s %-21s %-21s %s\n' file render libsndfile "render/libsndfile"
for row in "64 ch 24-bit, 60 s|$F64_24|64|60" "64 ch 16-bit, 60 s|$F64_16|64|60" \
           "64 ch float, 60 s|$F64_F|64|60" "512 ch 24-bit, 10 s|$F512_24|512|10"; do
  IFS='|' read -r label file channels seconds <<<"$row"
  warm "$file"
  compare "$CLI render $file /dev/null --channels $channels" "$DECODE $file"
  printf '  %-22s %-21s %-21s %s\n' "$label" "$(speed "$SUBJECT" "$seconds")" "$(speed "$REFERENCE" "$seconds")" \
    "$(verdict "$SUBJECT" "$REFERENCE" 1.0)"
done

echo
echo "decode FILE /dev/null  beside  sndfile-decode FILE"
printf '  %-22s %-21s %-21s %s\n' file decode libsndfile "decode/libsndfile"
warm "$F64_24"
compare "$CLI decode $F64_24 /dev/null" "$DECODE $F64_24"
printf '  %-22s %-21s %-21s %s\n' "64 ch 24-bit, 60 s" "$(speed "$SUBJECT" 60)" "$(speed "$REFERENCE" 60)" \
  "$(verdict "$SUBJECT" "$REFERENCE" 1.5)"

# ---------------------------------------------------------------------------
# Memory

# Peak resident memory of CMD in bytes (GNU time's %M, in KiB), the median of
# RUNS runs: a process's peak moves by a hundred kilobytes or so from run to
# run, as much as a small ring. Its output is dropped; a failure stops all.
peak() {
  local i
  for ((i = 0; i < RUNS; i++)); do
    /usr/bin/time -f '%M' -o "$WORK/rss" "$@" >/dev/null 2>"$WORK/peak.err" ||
      { echo "streaming.sh: failed: $*" >&2; cat "$WORK/peak.err" >&2; exit 1; }
    awk '{ printf "%.0f\n", $1 * 1024 }' "$WORK/rss"
  done | median
}

# ring CHANNELS_OF_THE_PLAYER CHANNELS_OF_THE_FILE FRAMES_OF_THE_FILE
ring() {
  awk -v pc="$1" -v fc="$2" -v ff="$3" -v buffer="$BUFFER_FRAMES" 'BEGIN {
    c = pc < fc ? pc : fc; f = buffer < ff ? buffer : ff
    # A file that fits is held whole with a loaded bit per frame; a longer
    # one streams with an 8-byte frame tag per frame.
    printf "%.0f\n", c * f * 4 + (ff <= buffer ? f / 8 : f * 8) }'
}

# One line: peak, baseline, above the baseline, what the players must hold
# (their rings, and the boxes' signal vectors: one float per outlet and
# frame of the host's vector), the limit (what they must hold plus 10 %,
# plus the baseline) and whether the peak is within it.
memory_line() {
  awk -v label="$1" -v peak="$2" -v base="$3" -v rings="$4" -v vectors="${5:-0}" 'BEGIN {
    mb = 1000000; limit = (rings + vectors) * 1.10 + base
    printf "  %-40s %9.1f MB %9.1f MB %9.1f MB %9.1f MB %9.1f MB %9.1f MB  %s\n", label, peak / mb, base / mb,
           (peak - base) / mb, rings / mb, vectors / mb, limit / mb, (peak <= limit ? "within" : "EXCEEDS") }'
}

# The signal vectors of the boxes: (channels + position) x 512 frames x 4 bytes each.
vectors() {
  echo $(( $1 * ($2 + 1) * 512 * 4 ))
}

maxsim_script() {
  local name="$1" boxes="$2" file="$3" i
  {
    # maxsim loads an external when its class is first named: the baseline,
    # without boxes, loads it too, so that its code and libraries count in
    # the baseline and not as the boxes' memory.
    echo "classinfo auvo5.sfplay~"
    for ((i = 1; i <= boxes; i++)); do echo "new auvo5.sfplay~ @channels $BOX_CHANNELS"; done
    if [ -n "$file" ]; then
      for ((i = 1; i <= boxes; i++)); do echo "send $i /open $file"; done
    fi
    # Time for every buffering thread to fill its ring (the file is in the
    # page cache); then the boxes go as a patcher's would.
    echo "wait 3000"
    for ((i = 1; i <= boxes; i++)); do echo "free $i"; done
  } >"$WORK/$name.maxsim"
  printf '%s\n' "$WORK/$name.maxsim"
}

echo
echo "== Memory: peak resident memory (GNU time %M, median of the runs); rings expected = channels x frames x 4 + a tag per frame,"
echo "   channels = min(player's, file's), frames = min(buffer size $BUFFER_FRAMES, file length), none without a file;"
echo "   limit = (rings + signal vectors) + 10 % + baseline"
printf '  %-40s %12s %12s %12s %12s %12s %12s\n' "" peak baseline "above base" "rings" "vectors" limit
warm "$F600_16" "$MONO" "$F250_24"
base=$(peak "$CLI" render "$MONO" /dev/null)
measured=$(peak "$CLI" render "$F600_16" /dev/null --channels 8)
memory_line "render 600-ch 0.1 s 16-bit, --channels 8" "$measured" "$base" "$(ring 8 600 $((RATE / 10)))"
echo "    (baseline: render of a 0.1 s mono file)"

base=$(peak "$MAXSIM" "$EXTERNAL" "$(maxsim_script none 0 "")")
measured=$(peak "$MAXSIM" "$EXTERNAL" "$(maxsim_script empty "$BOXES" "")")
memory_line "maxsim, $BOXES boxes @channels $BOX_CHANNELS, no file" "$measured" "$base" 0 \
  "$(vectors "$BOXES" "$BOX_CHANNELS")"
measured=$(peak "$MAXSIM" "$EXTERNAL" "$(maxsim_script open "$BOXES" "$F250_24")")
per_box=$(ring "$BOX_CHANNELS" 250 "$RATE")
memory_line "maxsim, the same, a 1 s 250-ch file open" "$measured" "$base" "$((per_box * BOXES))" \
  "$(vectors "$BOXES" "$BOX_CHANNELS")"
echo "    (baseline: maxsim with the external loaded and the same script without the boxes)"

# ---------------------------------------------------------------------------
# Pure Data: the object in pd -batch, and render, beside Pd's readsf~
# shellcheck source=bench/pd.sh
. "$(dirname "${BASH_SOURCE[0]}")/pd.sh"
