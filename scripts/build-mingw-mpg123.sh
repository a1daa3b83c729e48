#!/usr/bin/env bash
# scripts/build-mingw-mpg123.sh PREFIX
# Builds libmpg123 for Windows x64 (mingw-w64, static, decoder library only)
# from Debian's source package of the version installed on this machine, and
# installs it into PREFIX (include/, lib/libmpg123.a, lib/pkgconfig/).
# A second run with PREFIX holding the same version returns at once.
# Needs root (or sudo) the first time (see lib-debian-source.sh).
set -euo pipefail

[ $# -eq 1 ] || { echo "usage: $0 PREFIX" >&2; exit 2; }
# shellcheck source=scripts/lib-debian-source.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib-debian-source.sh"
debsrc_begin mpg123 "$1"

version=$(debsrc_version libmpg123-0)
debsrc_is_current "$version" lib/libmpg123.a lib/pkgconfig/libmpg123.pc include/mpg123.h && exit 0

debsrc_require make
debsrc_fetch mpg123 "$version"

# Only the decoder library: its own make targets, no programs, no output or
# synthesis libraries. The x86-64 CPU choice (SSE/AVX with run-time dispatch)
# is GNU as syntax, so no nasm is needed.
debsrc_log "building libmpg123 $DEBSRC_VERSION for $DEBSRC_HOST"
only_libmpg123=(lib_LTLIBRARIES=src/libmpg123/libmpg123.la pkgconfig_DATA=libmpg123.pc
                nodist_include_HEADERS=src/libmpg123/mpg123.h)
(
  cd "$DEBSRC_SOURCE"
  debsrc_run configure ./configure --host="$DEBSRC_HOST" --prefix="$DEBSRC_PREFIX" CC="$DEBSRC_HOST-gcc-posix" \
    --enable-static --disable-shared --with-cpu=x86-64 --disable-modules \
    --with-audio=dummy --with-default-audio=dummy
  debsrc_run make make -j "${KEL_JOBS:-2}" src/libmpg123/libmpg123.la libmpg123.pc
  debsrc_run install make "${only_libmpg123[@]}" DESTDIR="$DEBSRC_STAGE" install-libLTLIBRARIES \
    install-pkgconfigDATA install-includeHEADERS install-nodist_includeHEADERS
)
pc="$DEBSRC_STAGE$DEBSRC_PREFIX/lib/pkgconfig/libmpg123.pc"
[ -f "$DEBSRC_STAGE$DEBSRC_PREFIX/lib/libmpg123.a" ] && [ -f "$pc" ] \
  || debsrc_die "make install left no libmpg123.a / libmpg123.pc"
# The prefix holds only the static library, so every consumer needs its
# private libraries (shlwapi for the wide-character paths) as well.
private=$(sed -n 's/^Libs\.private:[[:space:]]*//p' "$pc")
sed -i -e "s|^Libs:\(.*\)\$|Libs:\1 $private|" -e '/^Libs\.private:/d' "$pc"
debsrc_install "$version"
