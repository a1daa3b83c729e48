#!/usr/bin/env bash
# make-pd-package.sh BUILD OUT
# Assembles the Pure Data package OUT (dist/auvo5-pd): the folder users
# install, auvo5.sfplay~/ (the object, its help patch, the demo file the help
# opens, README.txt), and the same folder zipped as deken's archive,
# auvo5.sfplay~[vVERSION](Linux-CPU-32).dek. Pd finds an object NAME in a
# folder NAME of its search path by itself, so the library is named after
# its only object.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
BUILD="${1:?usage: make-pd-package.sh BUILD OUT}"; OUT="${2:?usage: make-pd-package.sh BUILD OUT}"
NAME='auvo5.sfplay~'
external="$BUILD/pd/$NAME.pd_linux"
make_demo="$BUILD/libnorvdsp/tests/auvo5-make-demo-file"
for input in "$external" "$make_demo"; do
  [ -e "$input" ] || { echo "make-pd-package: $input is missing (build the release tree first)" >&2; exit 1; }
done

version=$(sed -n 's/^project(auvo5_sfplay VERSION \([0-9.]*\).*/\1/p' "$ROOT/CMakeLists.txt")
# deken's names for the CPU; 32: Pd's numbers are single-precision floats.
case "$(uname -m)" in
  x86_64) cpu=amd64 ;;
  aarch64) cpu=arm64 ;;
  i?86) cpu=i386 ;;
  armv7l) cpu=armv7 ;;
  *) cpu="$(uname -m)" ;;
esac
folder="$OUT/$NAME"
dek="$OUT/$NAME[v$version](Linux-$cpu-32).dek"

rm -rf "$OUT"
mkdir -p "$folder"
cp "$external" "$folder/"
# Symbols are for debugging builds; the installed object goes without.
strip --strip-unneeded "$folder/$NAME.pd_linux"
cp "$ROOT/package/pd/$NAME-help.pd" "$ROOT/package/pd/README.txt" "$folder/"
[ -f "$ROOT/LICENSE" ] && cp "$ROOT/LICENSE" "$folder/"
"$make_demo" "$folder/auvo5-demo.wav" 4

# What a user's system must provide: the C and C++ runtimes, and libmpg123
# (Debian ships no static libmpg123; README.txt says to install it). Pd's own
# functions stay undefined until Pd loads the object. KEL_SANITIZED_BUILD=1:
# a sanitised build's package, for its tests, also needs the sanitizers'.
needed=$(readelf -d "$folder/$NAME.pd_linux" | sed -n 's/.*(NEEDED).*\[\(.*\)\]$/\1/p' | sort)
for library in $needed; do
  case "$library" in
    libc.so.6 | libm.so.6 | libstdc++.so.6 | libgcc_s.so.1 | libmpg123.so.0) ;;
    libasan.so.* | libubsan.so.*) [ "${KEL_SANITIZED_BUILD:-}" = 1 ] || {
      echo "make-pd-package: $NAME.pd_linux is a sanitised build, not for users" >&2; exit 1; } ;;
    *) echo "make-pd-package: $NAME.pd_linux needs $library, which users may not have" >&2; exit 1 ;;
  esac
done
exports=$(nm -D --defined-only "$folder/$NAME.pd_linux" | awk '$2 == "T" { print $3 }')
[ "$exports" = "setup_auvo50x2esfplay_tilde" ] ||
  { echo "make-pd-package: $NAME.pd_linux should export its setup function only, not: $exports" >&2; exit 1; }

# The archive: one top folder, named as the library, as deken installs it.
python3 - "$OUT" "$NAME" "$dek" <<'PY'
import os, sys, zipfile
out, name, dek = sys.argv[1:]
with zipfile.ZipFile(dek, "w", zipfile.ZIP_DEFLATED) as archive:
    for entry in sorted(os.listdir(os.path.join(out, name))):
        archive.write(os.path.join(out, name, entry), name + "/" + entry)
PY

echo "== the Pure Data package $OUT (needs $(tr '\n' ' ' <<<"$needed"))"
(cd "$OUT" && find . -type f -printf '%10s  %p\n' | sort -k2)
