#!/usr/bin/env bash
# scripts/fetch-juce.sh DEST
# Unpacks the JUCE module sources of Debian's juce-modules-source-data (the
# version apt offers) into DEST/modules, without installing the package or
# the toolchain it would pull in. A second run with DEST holding the same
# version returns at once. Prints the modules folder.
set -euo pipefail

[ $# -eq 1 ] || { echo "usage: $0 DEST" >&2; exit 2; }
mkdir -p "$1"
DEST="$(cd "$1" && pwd)"
PACKAGE=juce-modules-source-data
STAMP="$DEST/.juce-version"

version=$(apt-cache policy "$PACKAGE" | awk '/Candidate:/ { print $2 }')
if [ -z "$version" ] || [ "$version" = "(none)" ]; then
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq >/dev/null
  version=$(apt-cache policy "$PACKAGE" | awk '/Candidate:/ { print $2 }')
fi
[ -n "$version" ] && [ "$version" != "(none)" ] || { echo "$0: apt knows no $PACKAGE" >&2; exit 1; }

if [ -f "$STAMP" ] && [ "$(cat "$STAMP")" = "$version" ] && [ -f "$DEST/modules/juce_core/juce_core.h" ]; then
  echo "$DEST/modules"
  exit 0
fi

work="$DEST/download"
rm -rf "$work" "$DEST/modules" "$STAMP"
mkdir -p "$work"
# apt-get download checks the .deb against the signed index; the folder is
# made writable for apt's unprivileged download user.
chmod 777 "$work"
(cd "$work" && apt-get download "$PACKAGE=$version" >"$work/download.log" 2>&1) \
  || { cat "$work/download.log" >&2; exit 1; }
deb=$(find "$work" -maxdepth 1 -name "${PACKAGE}_*.deb" | head -n 1)
[ -n "$deb" ] || { echo "$0: apt-get download left no .deb" >&2; exit 1; }
dpkg-deb -x "$deb" "$work/root"
mv "$work/root/usr/share/juce/modules" "$DEST/modules"
rm -rf "$work"
printf '%s\n' "$version" >"$STAMP"
echo "$DEST/modules"
