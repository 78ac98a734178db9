#!/usr/bin/env bash
# Builds the library and its tests, then runs every test.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/configure.sh"
cmake --build "$root/build" -j 2
ctest --test-dir "$root/build" -j 2 --output-on-failure
