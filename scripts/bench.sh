#!/usr/bin/env bash
# Builds and runs every benchmark; each figure is printed beside its reference.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
CMAKE_BUILD_TYPE=Release "$root/scripts/configure.sh"
cmake --build "$root/build" -j 2 --target stream_bench container_bench
"$root/build/bench/stream_bench" "${1:-${TMPDIR:-/tmp}}"
"$root/build/bench/container_bench"
