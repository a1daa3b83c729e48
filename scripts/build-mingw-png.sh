#!/usr/bin/env bash
# scripts/build-mingw-png.sh PREFIX
# Builds libpng (static, without its programs and tests) for Windows x64 with
# mingw-w64 from Debian's source package of the version installed on this
# machine, and installs it into PREFIX (include/, lib/libpng16.a and
# libpng.a, lib/pkgconfig/libpng.pc). It builds against zlib from Debian's
# libz-mingw-w64-dev (the compiler's sysroot); consumers link it statically.
# A second run with PREFIX holding the same version returns at once.
# Needs root (or sudo) the first time (see lib-debian-source.sh).
set -euo pipefail

[ $# -eq 1 ] || { echo "usage: $0 PREFIX" >&2; exit 2; }
# shellcheck source=scripts/lib-debian-source.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib-debian-source.sh"
debsrc_begin libpng1.6 "$1"

version=$(debsrc_version libpng16-16)
debsrc_is_current "$version" lib/libpng16.a lib/libpng.a lib/pkgconfig/libpng.pc include/png.h && exit 0

[ -f "/usr/$DEBSRC_HOST/include/zlib.h" ] || debsrc_die "zlib for Windows is missing (Debian's libz-mingw-w64-dev)"
debsrc_fetch libpng1.6 "$version"
debsrc_cmake_build -DPNG_SHARED=OFF -DPNG_STATIC=ON -DPNG_EXECUTABLES=OFF -DPNG_TESTS=OFF -DZLIB_USE_STATIC_LIBS=ON
debsrc_install "$version"
