#!/usr/bin/env bash
# Installs the dependencies and configures the build tree (build/, or $TERVIKROM_BUILD_DIR).
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/setup.sh"
cmake -S "$root" -B "${TERVIKROM_BUILD_DIR:-$root/build}" -G Ninja \
  -DCMAKE_BUILD_TYPE="${CMAKE_BUILD_TYPE:-RelWithDebInfo}" \
  -DTERVIKROM_WERROR="${TERVIKROM_WERROR:-OFF}" \
  -DTERVIKROM_SANITIZE="${TERVIKROM_SANITIZE:-OFF}" >/dev/null
