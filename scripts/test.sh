#!/usr/bin/env bash
# Builds the library and its tests, then runs every test.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${TERVIKROM_BUILD_DIR:-$root/build}"
"$root/scripts/configure.sh"
cmake --build "$build" -j 2
ctest --test-dir "$build" -j 2 --output-on-failure
