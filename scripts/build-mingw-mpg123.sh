#!/usr/bin/env bash
# scripts/build-mingw-mpg123.sh PREFIX
# Builds libmpg123 for Windows x64 (mingw-w64, static, decoder library only)
# from Debian's source package of the version installed on this machine, and
# installs it into PREFIX (include/, lib/libmpg123.a, lib/pkgconfig/).
# A second run with PREFIX holding the same version returns at once.
# Needs root (or sudo) the first time: it may add deb-src entries derived
# from this machine's own apt sources and run apt-get update.
set -euo pipefail

[ $# -eq 1 ] || { echo "usage: $0 PREFIX" >&2; exit 2; }
mkdir -p "$1"
PREFIX="$(cd "$1" && pwd)"
HOST=x86_64-w64-mingw32
STAMP="$PREFIX/.mpg123-source-version"
OUR_SOURCES=/etc/apt/sources.list.d/auvo5-deb-src.sources

log() { printf '== %s\n' "$*" >&2; }

# The Windows library matches the version the Linux build links against.
version=$(dpkg-query -W -f='${source:Version}' libmpg123-0 2>/dev/null || true)
[ -n "$version" ] || version=$(apt-cache policy mpg123 | awk '/Candidate:/ { print $2 }')
[ -n "$version" ] && [ "$version" != "(none)" ] || { echo "$0: no mpg123 version known to apt" >&2; exit 1; }

if [ -f "$STAMP" ] && [ "$(cat "$STAMP")" = "$version" ] && [ -f "$PREFIX/lib/libmpg123.a" ] \
   && [ -f "$PREFIX/lib/pkgconfig/libmpg123.pc" ] && [ -f "$PREFIX/include/mpg123.h" ]; then
  exit 0
fi

sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive

# deb-src entries: the machine's own deb entries for its release, retyped.
have_deb_src() {
  grep -qsE '^[[:space:]]*deb-src[[:space:]]' /etc/apt/sources.list /etc/apt/sources.list.d/*.list \
    || grep -qsiE '^Types:.*\bdeb-src\b' /etc/apt/sources.list.d/*.sources
}

derive_deb_src() {
  local codename
  codename=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
  [ -n "$codename" ] || { echo "$0: no VERSION_CODENAME in /etc/os-release" >&2; return 1; }
  {
    # deb822 stanzas: keep the release's suites, turn the type into deb-src.
    for f in /etc/apt/sources.list.d/*.sources; do
      [ -f "$f" ] || continue
      awk -v release="$codename" '
        function flush() {
          if (n > 0 && isdeb && enabled && suites != "") {
            for (i = 1; i <= n; i++) print lines[i]
            print ""
          }
          n = 0; isdeb = 0; enabled = 1; suites = ""
        }
        BEGIN { n = 0; isdeb = 0; enabled = 1; suites = "" }
        /^[[:space:]]*$/ { flush(); next }
        /^#/ { next }
        tolower($1) == "types:" {
          for (i = 2; i <= NF; i++) if ($i == "deb") isdeb = 1
          lines[++n] = "Types: deb-src"; next
        }
        tolower($1) == "enabled:" { if (tolower($2) == "no") enabled = 0; next }
        tolower($1) == "suites:" {
          for (i = 2; i <= NF; i++)
            if ($i == release || index($i, release "-") == 1) suites = suites " " $i
          lines[++n] = "Suites:" suites; next
        }
        { lines[++n] = $0 }
        END { flush() }
      ' "$f"
    done
    # One-line entries become one-line stanzas of our file.
    for f in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
      [ -f "$f" ] || continue
      awk -v release="$codename" '
        $1 != "deb" { next }
        {
          options = ""; i = 2
          if ($2 ~ /^\[/) {
            while (i <= NF) { options = options " " $i; if ($i ~ /\]$/) { i++; break } i++ }
          }
          uri = $i; suite = $(i + 1); components = ""
          for (j = i + 2; j <= NF; j++) components = components " " $j
          if (suite != release && index(suite, release "-") != 1) next
          print "Types: deb-src"; print "URIs: " uri; print "Suites: " suite
          print "Components:" components
          if (match(options, /signed-by=[^] ]+/))
            print "Signed-By: " substr(options, RSTART + 10, RLENGTH - 10)
          print ""
        }
      ' "$f"
    done
  }
}

if ! have_deb_src; then
  entries=$(derive_deb_src)
  [ -n "$entries" ] || { echo "$0: found no deb entries to derive deb-src entries from" >&2; exit 1; }
  log "adding deb-src entries to $OUR_SOURCES"
  printf '%s\n' "$entries" | $sudo tee "$OUR_SOURCES" >/dev/null
  $sudo apt-get update -qq >/dev/null
fi

for tool in dpkg-source "$HOST-gcc-posix" make; do
  command -v "$tool" >/dev/null || { echo "$0: $tool is missing" >&2; exit 1; }
done

WORK="$PREFIX/src"
rm -rf "$WORK"
mkdir -p "$WORK"
log "fetching the mpg123 $version source package"
# apt checks each file it fetches against the signed index. Some mirrors lack
# the upstream tarball's detached signature (.asc): apt then fails although
# every file needed arrived, so the files are checked against the .dsc here
# and unpacked without that signature.
(cd "$WORK" && apt-get source --download-only "mpg123=$version" >"$WORK/source.log" 2>&1) || true
dsc=$(find "$WORK" -maxdepth 1 -name 'mpg123_*.dsc' | head -n 1)
[ -n "$dsc" ] || { tail -n 20 "$WORK/source.log" >&2; echo "$0: apt-get source fetched no .dsc" >&2; exit 1; }
awk '/^Checksums-Sha256:/ { listed = 1; next } /^[^ ]/ { listed = 0 } listed && NF == 3 { print $1 "  " $3 }' "$dsc" \
  | grep -v '\.asc$' | (cd "$WORK" && sha256sum --check --quiet) \
  || { tail -n 20 "$WORK/source.log" >&2; echo "$0: the source package is incomplete" >&2; exit 1; }
(cd "$WORK" && dpkg-source --no-check -x "$(basename "$dsc")" >>"$WORK/source.log" 2>&1) \
  || { tail -n 20 "$WORK/source.log" >&2; exit 1; }
src=$(find "$WORK" -mindepth 1 -maxdepth 1 -type d -name 'mpg123-*' | head -n 1)
[ -n "$src" ] || { echo "$0: apt-get source left no mpg123 folder in $WORK" >&2; exit 1; }

# Only the decoder library: its own make targets, no programs, no output or
# synthesis libraries. The x86-64 CPU choice (SSE/AVX with run-time dispatch)
# is GNU as syntax, so no nasm is needed.
log "building libmpg123 $version for $HOST"
rm -rf "$PREFIX/include" "$PREFIX/lib" "$STAMP"
only_libmpg123=(lib_LTLIBRARIES=src/libmpg123/libmpg123.la pkgconfig_DATA=libmpg123.pc
                nodist_include_HEADERS=src/libmpg123/mpg123.h)
(
  cd "$src"
  ./configure --host="$HOST" --prefix="$PREFIX" CC="$HOST-gcc-posix" \
    --enable-static --disable-shared --with-cpu=x86-64 --disable-modules \
    --with-audio=dummy --with-default-audio=dummy \
    >"$WORK/configure.log" 2>&1 || { tail -n 40 "$WORK/configure.log" >&2; exit 1; }
  make -j "${KEL_JOBS:-2}" src/libmpg123/libmpg123.la libmpg123.pc >"$WORK/make.log" 2>&1 \
    || { tail -n 40 "$WORK/make.log" >&2; exit 1; }
  make "${only_libmpg123[@]}" install-libLTLIBRARIES install-pkgconfigDATA install-includeHEADERS \
    install-nodist_includeHEADERS >"$WORK/install.log" 2>&1 || { tail -n 40 "$WORK/install.log" >&2; exit 1; }
)
pc="$PREFIX/lib/pkgconfig/libmpg123.pc"
[ -f "$PREFIX/lib/libmpg123.a" ] && [ -f "$pc" ] \
  || { echo "$0: make install left no libmpg123.a / libmpg123.pc in $PREFIX" >&2; exit 1; }
# The prefix holds only the static library, so every consumer needs its
# private libraries (shlwapi for the wide-character paths) as well.
private=$(sed -n 's/^Libs\.private:[[:space:]]*//p' "$pc")
sed -i -e "s|^Libs:\(.*\)\$|Libs:\1 $private|" -e '/^Libs\.private:/d' "$pc"
rm -f "$PREFIX"/lib/*.la
printf '%s\n' "$version" >"$STAMP"
log "libmpg123 $version installed in $PREFIX"
