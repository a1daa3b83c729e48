# shellcheck shell=bash
# scripts/lib-debian-source.sh, sourced by scripts/build-mingw-*.sh: what
# building a Windows x64 library from Debian's source package takes, written
# once. The version is the one this machine's apt offers; deb-src entries are
# derived from the machine's own apt sources; the source package is fetched,
# checked against its .dsc and unpacked; the library is installed into the
# shared cross prefix through a staging folder, so that each library replaces
# only its own files, and a stamp makes a second run return at once.
#
#   debsrc_begin NAME PREFIX           # first: names the stamp, the work folder
#   version=$(debsrc_version BINARY_PACKAGE)
#   debsrc_is_current "$version" FILE... && exit 0   # FILEs relative to PREFIX
#   debsrc_fetch SOURCE_PACKAGE "$version"           # sets DEBSRC_SOURCE
#   ... build, install with DESTDIR="$DEBSRC_STAGE" (or debsrc_cmake_build)
#   debsrc_install "$version"
# Needs root (or sudo) the first time: it may add deb-src entries and run
# apt-get update.

DEBSRC_HOST=x86_64-w64-mingw32
DEBSRC_SCRIPTS="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
DEBSRC_OUR_SOURCES=/etc/apt/sources.list.d/auvo5-deb-src.sources

debsrc_log() { printf '== %s\n' "$*" >&2; }
debsrc_die() { echo "$0: $*" >&2; exit 1; }

# debsrc_begin NAME PREFIX
debsrc_begin() {
  DEBSRC_NAME="$1"
  mkdir -p "$2"
  DEBSRC_PREFIX="$(cd "$2" && pwd)"
  DEBSRC_STAMP="$DEBSRC_PREFIX/.$DEBSRC_NAME-source-version"
  DEBSRC_MANIFEST="$DEBSRC_PREFIX/.$DEBSRC_NAME-files"
  DEBSRC_WORK="$DEBSRC_PREFIX/src/$DEBSRC_NAME"
  DEBSRC_STAGE="$DEBSRC_WORK/stage"
  DEBSRC_SUDO=""
  [ "$(id -u)" -ne 0 ] && DEBSRC_SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
}

# debsrc_version BINARY_PACKAGE: the source version of the installed binary
# package (the Windows library matches what the Linux build links against),
# else apt's candidate.
debsrc_version() {
  local version
  version=$(dpkg-query -W -f='${source:Version}' "$1" 2>/dev/null || true)
  [ -n "$version" ] || version=$(apt-cache policy "$1" | awk '/Candidate:/ { print $2 }')
  [ -n "$version" ] && [ "$version" != "(none)" ] || debsrc_die "no $1 version known to apt"
  echo "$version"
}

# debsrc_is_current VERSION FILE...: the stamp names VERSION and every FILE
# is installed.
debsrc_is_current() {
  local version="$1"; shift
  [ -f "$DEBSRC_STAMP" ] && [ "$(head -n 1 "$DEBSRC_STAMP")" = "$version" ] || return 1
  local file
  for file in "$@"; do
    [ -e "$DEBSRC_PREFIX/$file" ] || return 1
  done
}

# debsrc_require TOOL...
debsrc_require() {
  local tool
  for tool in "$@"; do
    command -v "$tool" >/dev/null || debsrc_die "$tool is missing"
  done
}

# debsrc_run LOG COMMAND...: runs COMMAND into $DEBSRC_WORK/LOG.log; on
# failure shows its end and stops.
debsrc_run() {
  local log="$DEBSRC_WORK/$1.log"; shift
  "$@" >"$log" 2>&1 || { tail -n 40 "$log" >&2; debsrc_die "$* failed (log: $log)"; }
}

# deb-src entries: the machine's own deb entries for its release, retyped.
debsrc_have_deb_src() {
  grep -qsE '^[[:space:]]*deb-src[[:space:]]' /etc/apt/sources.list /etc/apt/sources.list.d/*.list \
    || grep -qsiE '^Types:.*\bdeb-src\b' /etc/apt/sources.list.d/*.sources
}

debsrc_derive_deb_src() {
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

debsrc_ensure_deb_src() {
  debsrc_have_deb_src && return 0
  local entries
  entries=$(debsrc_derive_deb_src)
  [ -n "$entries" ] || debsrc_die "found no deb entries to derive deb-src entries from"
  debsrc_log "adding deb-src entries to $DEBSRC_OUR_SOURCES"
  printf '%s\n' "$entries" | $DEBSRC_SUDO tee "$DEBSRC_OUR_SOURCES" >/dev/null
  $DEBSRC_SUDO apt-get update -qq >/dev/null
}

# debsrc_download SOURCE VERSION: fetches the source package into the work
# folder and checks it; prints its .dsc. apt checks each file it fetches
# against the signed index. Some mirrors lack a file apt asks for (the
# upstream tarball's detached signature, .asc): apt then fails although
# every file needed arrived, so the files are checked against the .dsc here
# and unpacked without that signature.
debsrc_download() {
  local source="$1" version="$2" log="$DEBSRC_WORK/source.log" dsc
  (cd "$DEBSRC_WORK" && apt-get source --download-only "$source=$version" >>"$log" 2>&1) || true
  dsc="$DEBSRC_WORK/${source}_${version#*:}.dsc"
  [ -f "$dsc" ] || return 1
  awk '/^Checksums-Sha256:/ { listed = 1; next } /^[^ ]/ { listed = 0 } listed && NF == 3 { print $1 "  " $3 }' "$dsc" \
    | grep -v '\.asc$' | (cd "$DEBSRC_WORK" && sha256sum --check --quiet) >>"$log" 2>&1 || return 1
  echo "$dsc"
}

# debsrc_fetch SOURCE VERSION: unpacks the source package (Debian's patches
# applied) and sets DEBSRC_SOURCE to its folder. A mirror that lacks VERSION
# (a security update not yet mirrored) leaves the newest other version apt's
# source index lists, said in the log and in the stamp.
debsrc_fetch() {
  local source="$1" version="$2" dsc="" candidate
  debsrc_require dpkg-source "$DEBSRC_HOST-gcc-posix"
  debsrc_ensure_deb_src
  rm -rf "$DEBSRC_WORK"
  mkdir -p "$DEBSRC_WORK"
  debsrc_log "fetching the $source $version source package"
  dsc=$(debsrc_download "$source" "$version") && candidate="$version"
  if [ -z "$dsc" ]; then
    for candidate in $(apt-cache showsrc "$source" 2>/dev/null | awk '/^Version:/ { print $2 }' | sort -u -r -V); do
      dpkg --compare-versions "$candidate" lt "$version" || continue
      debsrc_log "$source $version cannot be fetched; trying $candidate"
      dsc=$(debsrc_download "$source" "$candidate") && break
    done
  fi
  [ -n "$dsc" ] || { tail -n 20 "$DEBSRC_WORK/source.log" >&2; debsrc_die "no $source source package could be fetched"; }
  DEBSRC_VERSION="$candidate"
  DEBSRC_SOURCE="$DEBSRC_WORK/source"
  debsrc_run source-unpack dpkg-source --no-check -x "$dsc" "$DEBSRC_SOURCE"
}

# debsrc_cmake_build CMAKE_ARG...: configures the unpacked source for
# Windows x64 with the project's toolchain file, builds it and installs it
# into the staging folder.
debsrc_cmake_build() {
  debsrc_require cmake
  local build="$DEBSRC_WORK/build" generator=()
  command -v ninja >/dev/null && generator=(-G Ninja)
  debsrc_log "building $DEBSRC_NAME $DEBSRC_VERSION for $DEBSRC_HOST"
  debsrc_run configure cmake -S "$DEBSRC_SOURCE" -B "$build" "${generator[@]}" -Wno-dev \
    -DCMAKE_TOOLCHAIN_FILE="$DEBSRC_SCRIPTS/../cmake/toolchains/mingw-w64-x86_64.cmake" \
    -DKEL_MINGW_PREFIX="$DEBSRC_PREFIX" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$DEBSRC_PREFIX" "$@"
  debsrc_run build cmake --build "$build" -j "${KEL_JOBS:-2}"
  rm -rf "$DEBSRC_STAGE"
  debsrc_run install env DESTDIR="$DEBSRC_STAGE" cmake --install "$build"
}

# debsrc_install VERSION: replaces what this library installed before with
# the staging folder's lib/ and include/ (no programs, manuals, libtool
# archives), then writes the stamp.
debsrc_install() {
  local version="$1" staged="$DEBSRC_STAGE$DEBSRC_PREFIX" file
  [ -d "$staged/lib" ] && [ -d "$staged/include" ] || debsrc_die "the install left no lib/ and include/ in $staged"
  find "$staged/lib" -name '*.la' -delete
  rm -f "$DEBSRC_STAMP"
  if [ -f "$DEBSRC_MANIFEST" ]; then
    while IFS= read -r file; do rm -f "$DEBSRC_PREFIX/$file"; done <"$DEBSRC_MANIFEST"
  fi
  (cd "$staged" && find lib include ! -type d | sort) >"$DEBSRC_MANIFEST"
  cp -a "$staged/lib" "$staged/include" "$DEBSRC_PREFIX/"
  rm -rf "$DEBSRC_STAGE"
  { echo "$version"; [ "$DEBSRC_VERSION" = "$version" ] || echo "built from $DEBSRC_VERSION"; } >"$DEBSRC_STAMP"
  debsrc_log "$DEBSRC_NAME $DEBSRC_VERSION installed in $DEBSRC_PREFIX"
}
