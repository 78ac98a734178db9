#!/usr/bin/env bash
# Installs the library into a fresh prefix and builds tests/package against it twice,
# through its CMake package and through pkg-config, then runs what was built. Uses the
# build tree build/ (or $TERVIKROM_BUILD_DIR); exits non-zero at the first failure.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${TERVIKROM_BUILD_DIR:-$root/build}"
"$root/scripts/configure.sh"
# Everything, since the installation takes generated files beside the library.
cmake --build "$build" -j "${CMAKE_BUILD_PARALLEL_LEVEL:-2}"

work="$(mktemp -d "${TMPDIR:-/tmp}/tervikrom-package.XXXXXX")"
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"
cmake --install "$build" --prefix "$prefix" >/dev/null

fail() { echo "package test: $*" >&2; exit 1; }
# Runs a consumer after checking that it loads the library of the fresh prefix.
run() {
  local loaded
  loaded="$(ldd "$1" | awk '$1 == "libtervikrom.so.18" { print $3 }')"
  [ -n "$loaded" ] && [ "$(realpath "$loaded")" = "$(realpath "$libdir/libtervikrom.so.18")" ] ||
    fail "$1 does not load the installed library (${loaded:-none})"
  "$@"
}
pc="$(find "$prefix" -name tervikrom.pc)"
[ -n "$pc" ] || fail "no tervikrom.pc installed"
libdir="$(dirname "$(dirname "$pc")")"
[ -L "$libdir/libtervikrom.so" ] && [ -L "$libdir/libtervikrom.so.18" ] || fail "soname links missing in $libdir"
[ -f "$libdir/cmake/TervikRom/TervikRomConfigVersion.cmake" ] || fail "no CMake package version file"
# The library's own dependencies must not reach its clients.
! grep -qi jsoncpp "$pc" "$libdir"/cmake/TervikRom/*.cmake || fail "jsoncpp leaks into the installed package"

# Through the CMake package. The imported target's location gives the programs their rpath.
cmake -S "$root/tests/package" -B "$work/cmake-build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake-build" -j 1
run "$work/cmake-build/consumer"
run "$work/cmake-build/consumer_cpp"

# Through pkg-config, with the library folder it reports as rpath.
PKG_CONFIG_PATH="$(dirname "$pc")"
export PKG_CONFIG_PATH
pkglibdir="$(pkg-config --variable=libdir tervikrom)"
# shellcheck disable=SC2046
cc -std=c99 -Wall -Wextra -pedantic -Werror -o "$work/consumer-pc" "$root/tests/package/consumer.c" \
  $(pkg-config --cflags --libs tervikrom) -Wl,-rpath,"$pkglibdir"
run "$work/consumer-pc"
echo "package test: installed into a fresh prefix, found by CMake and by pkg-config"

# The Python package, imported from the prefix by Debian's interpreter: it must load the
# installed library (found beside it, with no environment variable) and work with it.
location="$(find "$prefix" -path '*/tervikrom/_location.py')"
[ -n "$location" ] || fail "no Python package installed"
env -u TERVIKROM_LIBRARY PYTHONPATH="$(dirname "$(dirname "$location")")" PYTHONDONTWRITEBYTECODE=1 \
  /usr/bin/python3 - "$libdir" "$work" <<'PYTHON' || fail "the installed Python package does not work"
import os, sys
import numpy as np
import tervikrom
libdir, work = sys.argv[1:]
assert os.path.realpath(tervikrom.LIBRARY_PATH) == os.path.realpath(os.path.join(libdir, "libtervikrom.so.18")), \
    tervikrom.LIBRARY_PATH
# The manifest installed beside the package, the same as the installed headers read now.
from tervikrom import _lib, _manifest
assert _lib.MANIFEST_PATH == os.path.join(os.path.dirname(_lib.__file__), _manifest.NAME), _lib.MANIFEST_PATH
assert _manifest.read_headers(os.path.dirname(_lib.HEADER_PATH)) == _lib._read_manifest(_lib.LIBRARY_PATH, "")[0]
cfg = tervikrom.SnapshotCfg()
cfg.add_component_to_support(cfg.add_component(solver_id="T"), cfg.add_support(solver_id="s", entity_count=3))
with tervikrom.Snapshot(cfg) as snapshot:
    snapshot.component_data("T", "s").fill([7, 5, 6], [0.7, 0.5, 0.6])
    snapshot.save(os.path.join(work, "run.romsnp"))
ids, matrix = tervikrom.snapshot_matrix([os.path.join(work, "run.romsnp")], "T", "s")
assert ids.tolist() == [5, 6, 7] and matrix[:, 0].tolist() == [0.5, 0.6, 0.7]
# The runs of a snapshot cache, for the installed command's rom subcommand below.
cfg = tervikrom.SnapshotCfg()
cfg.add_component_to_support(cfg.add_component(solver_id="T"), cfg.add_support(solver_id="s", entity_count=50))
cache = tervikrom.SnapshotCache()
with tervikrom.Snapshot(cfg) as snapshot:
    for run in range(6):
        snapshot.component_data("T", "s").fill(range(50), [(run + 1) * (1 + i % 7) ** 0.5 for i in range(50)])
        snapshot.save(os.path.join(work, "run-%d.romsnp" % run))
        cache.push(tervikrom.UserPoint(x=run / 5), tervikrom.UserPoint(), "run-%d.romsnp" % run)
cache.save(os.path.join(work, "runs.romcch"))
PYTHON
echo "package test: the installed Python package loads the installed library"

# The installed command, run on that snapshot: it must load the installed library.
command="$prefix/bin/tervikrom"
[ -x "$command" ] || fail "no tervikrom command installed"
run "$command" --version >/dev/null
"$command" info --json "$work/run.romsnp" | grep -q '"kind" : "snapshot"' || fail "the installed command cannot read a snapshot"
echo "package test: the installed command loads the installed library and reads a snapshot"

# Its rom subcommand runs the installed package's tervikrom.rom with the installed library,
# with no environment to find them.
env -u TERVIKROM_LIBRARY -u PYTHONPATH PYTHONDONTWRITEBYTECODE=1 "$command" rom build "$work/runs.romcch" -o "$work/model" \
  >/dev/null || fail "the installed command cannot build a reduced-order model"
env -u TERVIKROM_LIBRARY -u PYTHONPATH PYTHONDONTWRITEBYTECODE=1 "$command" rom predict "$work/model" --point x=0.5 \
  -o "$work/predicted.romsnp" || fail "the installed command cannot predict with the model"
"$command" info --json "$work/predicted.romsnp" | grep -q '"filled" : true' || fail "the prediction is not a filled snapshot"
echo "package test: the installed command builds a reduced-order model and predicts with it"

# Its import subcommand runs the installed package's tervikrom.meshio the same way.
/usr/bin/python3 -c "import meshio, numpy; meshio.write('$work/tri.vtu', meshio.Mesh(numpy.eye(3), \
  [('triangle', numpy.array([[0, 1, 2]]))]))" || fail "cannot write a VTU with meshio"
env -u TERVIKROM_LIBRARY -u PYTHONPATH PYTHONDONTWRITEBYTECODE=1 "$command" import "$work/tri.vtu" -o "$work/tri.rommsh" \
  >/dev/null || fail "the installed command cannot import a mesh"
"$command" info --json "$work/tri.rommsh" | grep -q '"Tri3" : 1' || fail "the imported mesh does not hold its triangle"
echo "package test: the installed command imports a mesh through meshio"
