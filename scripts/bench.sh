#!/usr/bin/env bash
# Builds and runs every benchmark in an optimised build (build-release/); each figure
# is printed beside its reference. The argument names the folder for the test files.
# The peers of the benchmarks (HDF5's C API, h5py) are installed for them alone; the
# resume benchmarks also run in fresh processes, after a pause of TERVIKROM_BENCH_PAUSE
# seconds (3) before each, for TERVIKROM_BENCH_ROUNDS rounds (7).
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/scripts/setup.sh" libhdf5-dev python3-h5py
export CMAKE_BUILD_TYPE=Release
export TERVIKROM_BUILD_DIR="${TERVIKROM_BUILD_DIR:-$root/build-release}"
"$root/scripts/configure.sh"
echo "load average: $(cut -d' ' -f1-3 /proc/loadavg)"
mkdir -p "${1:-${TMPDIR:-/tmp}}"
cmake --build "$TERVIKROM_BUILD_DIR" -j 2 --target stream_bench container_bench configuration_bench mesh_bench snapshot_bench export_bench \
  tervikrom_manifest
"$TERVIKROM_BUILD_DIR/bench/stream_bench" "${1:-${TMPDIR:-/tmp}}"
"$TERVIKROM_BUILD_DIR/bench/container_bench"
"$TERVIKROM_BUILD_DIR/bench/configuration_bench" "${1:-${TMPDIR:-/tmp}}"
"$TERVIKROM_BUILD_DIR/bench/mesh_bench" "${1:-${TMPDIR:-/tmp}}"
"$TERVIKROM_BUILD_DIR/bench/snapshot_bench" "${1:-${TMPDIR:-/tmp}}"
"$TERVIKROM_BUILD_DIR/bench/export_bench" "${1:-${TMPDIR:-/tmp}}"
PYTHONPATH="$root/python" TERVIKROM_LIBRARY="$TERVIKROM_BUILD_DIR/libtervikrom.so" \
  /usr/bin/python3 "$root/bench/snapshot_matrix_bench.py" "${1:-${TMPDIR:-/tmp}}"
PYTHONPATH="$root/python" TERVIKROM_LIBRARY="$TERVIKROM_BUILD_DIR/libtervikrom.so" \
  /usr/bin/python3 "$root/bench/rom_bench.py" "${1:-${TMPDIR:-/tmp}}"
PYTHONPATH="$root/python" TERVIKROM_LIBRARY="$TERVIKROM_BUILD_DIR/libtervikrom.so" \
  /usr/bin/python3 "$root/bench/import_bench.py" "${1:-${TMPDIR:-/tmp}}"
echo "load average at the end: $(cut -d' ' -f1-3 /proc/loadavg)"
