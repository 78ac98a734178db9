#!/usr/bin/env bash
# Builds the library and runs the example program.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/configure.sh"
cmake --build "$root/build" -j 2 --target points_example
"$root/build/examples/points_example"
