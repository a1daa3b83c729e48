#!/usr/bin/env bash
# The main job's demonstration: writes a sample preset and shows it through
# the command-line tool.
set -euo pipefail
CLI="$1"; OUT="$2"
mkdir -p "$OUT"
"$CLI" --help
