#!/usr/bin/env bash
# Builds the library and runs the workflow example: set-up, mesh, snapshot, cache and
# project written to a folder (the argument, or build/example-files), then read back.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${TERVIKROM_BUILD_DIR:-$root/build}"
out="${1:-$build/example-files}"
"$root/scripts/configure.sh"
cmake --build "$build" -j 2 --target workflow_example
mkdir -p "$out"
"$build/examples/workflow_example" "$out"
echo "Files written to $out:"
(cd "$out" && ls -l --time-style=+ | awk 'NR > 1 { printf "  %-22s %8d bytes\n", $NF, $5 }')
