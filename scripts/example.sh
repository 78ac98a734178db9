#!/usr/bin/env bash
# Builds the library and runs the example program.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${TERVIKROM_BUILD_DIR:-$root/build}"
"$root/scripts/configure.sh"
cmake --build "$build" -j 2 --target points_example
"$build/examples/points_example"
