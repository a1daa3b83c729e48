#!/usr/bin/env bash
# make-package.sh LINUX_BUILD WINDOWS_EXTERNAL OUT
# Assembles the Max package OUT (dist/auvo5): package-info.json, the Windows
# external, the licence, its reference page made by the object itself ("/exportref",
# through the Linux build in maxsim), the help patcher and its demo file.
set -euo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
LINUX_BUILD="$1"; EXTERNAL="$2"; OUT="$3"

rm -rf "$OUT"
mkdir -p "$OUT/externals" "$OUT/docs/refpages" "$OUT/help" "$OUT/media"

version=$(sed -n 's/^project(auvo5_sfplay VERSION \([0-9.]*\).*/\1/p' "$ROOT/CMakeLists.txt")
sed "s/@PROJECT_VERSION@/$version/" "$ROOT/package/package-info.json.in" >"$OUT/package-info.json"
cp "$EXTERNAL" "$OUT/externals/"
# Symbols are for debugging builds; the installed external goes without.
strip_tool=x86_64-w64-mingw32-strip
if command -v "$strip_tool" >/dev/null; then "$strip_tool" "$OUT/externals/$(basename "$EXTERNAL")"; fi
cp "$ROOT/package/help/auvo5.sfplay~.maxhelp" "$OUT/help/"
cp "$ROOT/LICENSE" "$OUT/"
"$LINUX_BUILD/libnorvdsp/tests/auvo5-make-demo-file" "$OUT/media/auvo5-demo.wav" 4

# The reference page, written by the object: the save dialog is answered
# with the page's place in the package.
refpage="$OUT/docs/refpages/auvo5.sfplay~.maxref.xml"
printf 'dialog %s\nnew auvo5.sfplay~\nsend 1 /exportref\n' "$refpage" |
  "$LINUX_BUILD/max/maxsim" "$LINUX_BUILD/max/auvo5.sfplay~.mxl_x86_64" | grep -v '^out ' || true
[ -s "$refpage" ] || { echo "make-package: /exportref wrote no reference page" >&2; exit 1; }
mv "$OUT/docs/refpages/auvo5.sfplay~.tex" "$OUT/docs/"
if command -v xmllint >/dev/null; then xmllint --noout "$refpage"; fi

echo "== the package $OUT"
(cd "$OUT" && find . -type f -printf '%10s  %p\n' | sort -k2)
