#!/usr/bin/env bash
# scripts/build-mingw-jpeg.sh PREFIX
# Builds libjpeg (libjpeg-turbo, static) for Windows x64 with mingw-w64 from
# Debian's source package of the version installed on this machine, and
# installs it into PREFIX (include/ with jpegint.h, lib/libjpeg.a, lib/pkgconfig/libjpeg.pc).
# A second run with PREFIX holding the same version returns at once.
# Needs root (or sudo) the first time (see lib-debian-source.sh).
set -euo pipefail

[ $# -eq 1 ] || { echo "usage: $0 PREFIX" >&2; exit 2; }
# shellcheck source=scripts/lib-debian-source.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib-debian-source.sh"
debsrc_begin libjpeg-turbo "$1"

version=$(debsrc_version libjpeg62-turbo)
debsrc_is_current "$version" lib/libjpeg.a lib/pkgconfig/libjpeg.pc include/jpeglib.h include/jconfig.h include/jpegint.h \
  && exit 0

debsrc_fetch libjpeg-turbo "$version"
# Without the SIMD extensions: they are nasm sources, and JUCE only decodes
# the odd JPEG image a window might show, never in a hot path. Without the
# TurboJPEG library: JUCE uses the libjpeg API.
debsrc_cmake_build -DENABLE_SHARED=OFF -DENABLE_STATIC=ON -DWITH_SIMD=OFF -DWITH_TURBOJPEG=OFF -DWITH_JAVA=OFF
# JUCE includes jpeglib.h with JPEG_INTERNALS, which needs jpegint.h: Debian's
# libjpeg62-turbo-dev installs it too.
install -m 644 "$DEBSRC_SOURCE/jpegint.h" "$DEBSRC_STAGE$DEBSRC_PREFIX/include/"
debsrc_install "$version"
