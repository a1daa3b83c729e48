#!/usr/bin/env bash
# scripts/check-imports.sh BINARY [ALLOWED_DLL...]
# Checks that a Windows binary (.exe, .dll, .mxe64) imports only Windows'
# own DLLs plus the ones named (case-insensitive shell patterns, e.g.
# MaxAPI.dll MaxAudio.dll): a binary that needs the compiler's runtime DLLs
# (libstdc++-6, libgcc_s_seh-1, libwinpthread-1) beside it does not load
# on a machine without them. Prints the import list; exits 1 on anything else.
set -euo pipefail

[ $# -ge 1 ] || { echo "usage: $0 BINARY [ALLOWED_DLL...]" >&2; exit 2; }
binary="$1"; shift
objdump="${OBJDUMP:-x86_64-w64-mingw32-objdump}"
[ -f "$binary" ] || { echo "$0: no such file: $binary" >&2; exit 1; }

# Windows' own DLLs, from the kernel and the C runtimes to the shell helpers.
system_dlls=(
  kernel32.dll kernelbase.dll ntdll.dll user32.dll gdi32.dll advapi32.dll shell32.dll shlwapi.dll
  ole32.dll oleaut32.dll comdlg32.dll comctl32.dll winspool.drv version.dll winmm.dll ws2_32.dll
  bcrypt.dll crypt32.dll secur32.dll uuid.dll imm32.dll setupapi.dll dbghelp.dll psapi.dll
  msvcrt.dll ucrtbase.dll 'api-ms-win-crt-*.dll' 'api-ms-win-core-*.dll'
  # what JUCE's windows import besides the above (DXGI for the displays'
  # refresh, WinINet for juce_core's URL streams)
  dxgi.dll wininet.dll
)
allowed=("${system_dlls[@]}" "$@")

imports=$("$objdump" -p "$binary" | sed -n 's/^[[:space:]]*DLL Name:[[:space:]]*//p' | tr -d '\r')
[ -n "$imports" ] || { echo "$0: $binary has no import table ($objdump -p found none)" >&2; exit 1; }

unexpected=()
while IFS= read -r dll; do
  lower=$(tr '[:upper:]' '[:lower:]' <<<"$dll")
  ok=0
  for pattern in "${allowed[@]}"; do
    # shellcheck disable=SC2053 # the pattern is a glob on purpose
    [[ "$lower" == $(tr '[:upper:]' '[:lower:]' <<<"$pattern") ]] && { ok=1; break; }
  done
  [ "$ok" -eq 1 ] || unexpected+=("$dll")
done <<<"$imports"

echo "$binary imports: $(tr '\n' ' ' <<<"$imports")"
if [ ${#unexpected[@]} -gt 0 ]; then
  echo "$0: $binary imports DLLs that are neither Windows' own nor allowed: ${unexpected[*]}" >&2
  exit 1
fi
