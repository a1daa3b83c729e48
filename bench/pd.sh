# bench/pd.sh: the Pure Data figures. Sourced by streaming.sh, last: it uses
# that script's fixtures (F64_24, F512_24), helpers (wall, median, speed,
# verdict, warm), RUNS, BUILD and WORK.
#
# Each measurement is one pd -batch -noaudio -nogui run (Pd runs the audio
# as fast as it can), subject and reference alternating, RUNS of each,
# medians; files in the page cache.
#  - render --channels 64 beside [readsf~ 64]: whole processes; Pd's own
#    [realtime] from "start" to readsf~'s end bang shown beside;
#  - [auvo5.sfplay~ 64] with "/freewheel 1" beside [readsf~ 64]: Pd's
#    [realtime] from the start message to the player's end bang, goal >= 1.3;
#  - [auvo5.sfplay~ 512] on the 512-channel file, which readsf~ (64 channels
#    at most) cannot play: its real-time factor.
# Every signal outlet feeds a [snapshot~], so that both players deliver
# every channel. The object's "/underrun" reports are counted: a run with
# any did not wait for the disk, and its figure is flagged.

PD_EXTERNALS="$BUILD/pd"

# pd_patch OUT CHANNELS OBJECT END_OUTLET OPEN_MESSAGE START_MESSAGE
# loadbang: (right to left) the open message, the timer's start, the start
# message, then audio on. The end bang (a bang out of END_OUTLET; for our
# object, out of its message outlet, through [route bang]) reads the timer,
# prints it and quits.
pd_patch() {
  local out="$1" channels="$2" object="$3" end="$4" open="$5" start="$6" i
  {
    echo "#N canvas 0 0 600 400 12;"
    echo "#X obj 10 10 loadbang;"                  # 0
    echo "#X obj 10 40 t b b b b;"                 # 1
    echo "#X msg 300 70 $open;"                    # 2
    echo "#X obj 10 200 realtime;"                 # 3
    echo "#X msg 120 100 $start;"                  # 4
    echo "#X msg 10 100 \; pd dsp 1;"              # 5
    echo "#X obj 120 140 $object;"                 # 6
    echo "#X obj 10 230 t b f;"                    # 7
    echo "#X obj 100 260 print pd-bench-ms;"       # 8
    echo "#X msg 10 290 \; pd quit;"               # 9
    echo "#X obj 300 170 route bang /underrun;"    # 10
    echo "#X obj 400 200 print pd-bench-underrun;" # 11
    for ((i = 0; i < channels; i++)); do echo "#X obj $((120 + i * 10)) 330 snapshot~;"; done
    echo "#X connect 0 0 1 0;"
    echo "#X connect 1 3 2 0;"
    echo "#X connect 2 0 6 0;"
    echo "#X connect 1 2 3 0;"
    echo "#X connect 1 1 4 0;"
    echo "#X connect 4 0 6 0;"
    echo "#X connect 1 0 5 0;"
    echo "#X connect 3 0 7 0;"
    echo "#X connect 7 1 8 0;"
    echo "#X connect 7 0 9 0;"
    if [[ "$object" == readsf~* ]]; then
      echo "#X connect 6 $end 3 1;"
    else
      echo "#X connect 6 $end 10 0;"
      echo "#X connect 10 0 3 1;"
      echo "#X connect 10 1 11 0;"
    fi
    for ((i = 0; i < channels; i++)); do echo "#X connect 6 $i $((12 + i)) 0;"; done
  } >"$out"
}

# pd_run PATCH NAME: one run; appends its whole-process seconds to
# $WORK/NAME.whole, its [realtime] seconds to $WORK/NAME.inside and its
# underruns to $WORK/NAME.underruns; what Pd printed stays in $WORK/NAME.err.
pd_run() {
  local start end ms
  start=$EPOCHREALTIME
  pd -batch -noaudio -nogui -noprefs -stderr -r "$RATE" -path "$PD_EXTERNALS" -open "$1" 2>"$WORK/$2.err" >/dev/null || true
  end=$EPOCHREALTIME
  ms=$(sed -n 's/^pd-bench-ms: *//p' "$WORK/$2.err")
  [ -n "$ms" ] || { echo "pd.sh: Pd did not report its time:" >&2; cat "$WORK/$2.err" >&2; exit 1; }
  awk -v s="$start" -v e="$end" 'BEGIN { printf "%.6f\n", e - s }' >>"$WORK/$2.whole"
  awk -v ms="$ms" 'BEGIN { printf "%.6f\n", ms / 1000 }' >>"$WORK/$2.inside"
  { grep -c '^pd-bench-underrun' "$WORK/$2.err" || true; } >>"$WORK/$2.underruns"
}

pd_reset() {
  local name
  for name in "$@"; do : >"$WORK/$name.whole"; : >"$WORK/$name.inside"; : >"$WORK/$name.underruns"; done
}

# What NAME's runs say besides the figure: the underruns, if any (the object
# played silence where the disk was late), and whatever else Pd printed in
# the last run (an error, a warning).
pd_notes() {
  local total other
  total=$(awk '{ t += $1 } END { print t + 0 }' "$WORK/$1.underruns")
  [ "$total" -eq 0 ] || printf '    %d underruns over the runs: not a streaming figure\n' "$total"
  other=$(grep -v -E '^pd-bench-(ms|underrun)' "$WORK/$1.err" | head -n 3 || true)
  [ -z "$other" ] || printf '    Pd also printed: %s\n' "$(tr '\n' ' ' <<<"$other")"
}

echo
echo "== Pure Data: pd -batch -noaudio -nogui, median of $RUNS runs each, subject and reference alternating"
if ! command -v pd >/dev/null; then
  echo "  skipped: Pure Data (pd, Debian's puredata-core) is not installed"
  return 0
fi
[ -e "$PD_EXTERNALS/auvo5.sfplay~.pd_linux" ] ||
  { echo "pd.sh: $PD_EXTERNALS/auvo5.sfplay~.pd_linux is missing (build the release tree first)" >&2; exit 1; }

readsf64="$WORK/readsf64.pd"
sfplay64="$WORK/sfplay64.pd"
sfplay512="$WORK/sfplay512.pd"
pd_patch "$readsf64" 64 "readsf~ 64" 64 "open $F64_24" "start"
pd_patch "$sfplay64" 64 "auvo5.sfplay~ 64" 65 "/freewheel 1 \, /open $F64_24" "/start"
pd_patch "$sfplay512" 512 "auvo5.sfplay~ 512" 513 "/freewheel 1 \, /open $F512_24" "/start"

echo
echo "render --channels 64  beside  [readsf~ 64]: whole process for both; Pd's own [realtime] from \"start\""
echo "to readsf~'s end bang in the last column"
warm "$F64_24"
: >"$WORK/s"
pd_reset readsf
for ((i = 0; i < RUNS; i++)); do
  wall "$CLI" render "$F64_24" /dev/null --channels 64 >>"$WORK/s"
  pd_run "$readsf64" readsf
done
subject=$(median <"$WORK/s")
reference=$(median <"$WORK/readsf.whole")
inside=$(median <"$WORK/readsf.inside")
printf '  %-22s %-21s %-21s %s\n' file render "Pd (whole)" "render/Pd"
printf '  %-22s %-21s %-21s %s   Pd [realtime]: %s\n' "64 ch 24-bit, 60 s" "$(speed "$subject" 60)" \
  "$(speed "$reference" 60)" "$(verdict "$subject" "$reference" 1.3)" "$(speed "$inside" 60)"

echo
echo "[auvo5.sfplay~ 64] (\"/freewheel 1\")  beside  [readsf~ 64]: Pd's [realtime] from the start message to the end bang"
pd_reset sfplay64 readsf
for ((i = 0; i < RUNS; i++)); do
  pd_run "$sfplay64" sfplay64
  pd_run "$readsf64" readsf
done
subject=$(median <"$WORK/sfplay64.inside")
reference=$(median <"$WORK/readsf.inside")
printf '  %-22s %-21s %-21s %s\n' file "auvo5.sfplay~" "readsf~" "ours/readsf~"
printf '  %-22s %-21s %-21s %s\n' "64 ch 24-bit, 60 s" "$(speed "$subject" 60)" "$(speed "$reference" 60)" \
  "$(verdict "$subject" "$reference" 1.3)"
pd_notes sfplay64

echo
echo "[auvo5.sfplay~ 512] (\"/freewheel 1\") alone: readsf~ plays 64 channels at most"
warm "$F512_24"
pd_reset sfplay512
for ((i = 0; i < RUNS; i++)); do pd_run "$sfplay512" sfplay512; done
printf '  %-22s %-21s\n' file "auvo5.sfplay~"
printf '  %-22s %-21s\n' "512 ch 24-bit, 10 s" "$(speed "$(median <"$WORK/sfplay512.inside")" 10)"
pd_notes sfplay512
