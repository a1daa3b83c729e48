#!/usr/bin/env bash
# scripts/check-exports.sh BINARY NAME...
# Checks that a Windows DLL (.mxe64), or a Linux module (.mxl_x86_64, read by
# nm), exports exactly the names given: a Max external exports its entries
# and nothing of the libraries linked into it.
set -euo pipefail

[ $# -ge 2 ] || { echo "usage: $0 BINARY NAME..." >&2; exit 2; }
binary="$1"; shift
objdump="${OBJDUMP:-x86_64-w64-mingw32-objdump}"
[ -f "$binary" ] || { echo "$0: no such file: $binary" >&2; exit 1; }

if [ "$(head -c 4 "$binary" | tail -c 3)" = "ELF" ]; then
  # Every symbol the module defines in its dynamic table, but the section
  # bounds the linker adds itself (a sanitizer build's runtime wants them).
  exports=$(nm -D --defined-only "$binary" | awk 'NF == 3 { print $3 }' \
            | grep -v -x -E '__bss_start|_edata|_end|_init|_fini' | sort)
else
  # The name pointer table: lines "[   0] name" after its heading.
  exports=$("$objdump" -p "$binary" | sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^[[:space:]]*\[[[:space:]]*[0-9]*\][[:space:]]*//p' \
            | tr -d '\r' | sort)
fi
wanted=$(printf '%s\n' "$@" | sort)
echo "$binary exports: $(tr '\n' ' ' <<<"$exports")"
if [ "$exports" != "$wanted" ]; then
  echo "$0: $binary should export exactly: $*" >&2
  exit 1
fi
