#!/usr/bin/env bash
# Fuzzes every kind of file the library resumes, and the round trip (resume into an object
# holding another file, save, resume again) of the kinds a client fills: builds the
# libFuzzer targets of tests/fuzz with clang in build-fuzz/ (or $TERVIKROM_FUZZ_DIR), seeds
# each from the files the workflow example writes, runs each for the given seconds (default
# 60) and prints per target its executions, coverage and findings. Exits non-zero when a
# target finds a crash, a leak, a timeout, a broken round trip or an allocation the file
# cannot justify (over 64 MB), after printing the reproducer's path. TERVIKROM_FUZZ_JOBS
# sets the build's parallel jobs (2); TERVIKROM_FUZZ_FLAGS adds libFuzzer flags to every
# run (later flags win); TERVIKROM_FUZZ_TARGETS (names such as "snapshot cli") runs only those.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
seconds="${1:-60}"
jobs="${TERVIKROM_FUZZ_JOBS:-2}"
fuzz="${TERVIKROM_FUZZ_DIR:-$root/build-fuzz}"
case "$seconds" in '' | *[!0-9]*) echo "usage: $0 [seconds per target]" >&2; exit 2 ;; esac

# clang with libFuzzer and the sanitizer runtimes, and the symbolizer for readable stacks.
"$root/scripts/setup.sh" clang libclang-rt-dev llvm

# kind: target name, then the example's file that seeds it (and that the round-trip
# targets hold while they resume their input)
kinds=(
  "project project.rompjt"
  "mesh_data mesh.rommsh"
  "snapshot run-1.romsnp"
  "setup_cfg setup.romcfg"
  "mesh_data_cfg mesh.romcfg"
  "snapshot_cfg snapshot.romcfg"
  "snapshot_cache runs.romcch"
  "round_trip_mesh_data mesh.rommsh"
  "round_trip_snapshot run-1.romsnp"
  "round_trip_setup_cfg setup.romcfg"
  "round_trip_mesh_data_cfg mesh.romcfg"
  "round_trip_snapshot_cfg snapshot.romcfg"
  "cli mesh.rommsh"
)
if [ -n "${TERVIKROM_FUZZ_TARGETS:-}" ]; then
  chosen=()
  for kind in "${kinds[@]}"; do
    case " $TERVIKROM_FUZZ_TARGETS " in *" ${kind%% *} "*) chosen+=("$kind") ;; esac
  done
  [ "${#chosen[@]}" -gt 0 ] || { echo "fuzz: no target named in TERVIKROM_FUZZ_TARGETS" >&2; exit 2; }
  kinds=("${chosen[@]}")
fi

CC=clang CXX=clang++ cmake -S "$root" -B "$fuzz" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DTERVIKROM_FUZZ=ON -DTERVIKROM_TESTS=OFF -DTERVIKROM_BENCH=OFF >/dev/null
targets=()
for kind in "${kinds[@]}"; do targets+=("fuzz_${kind%% *}"); done
cmake --build "$fuzz" -j "$jobs" --target "${targets[@]}"

# Seeds: one file of every kind, written by the workflow example of the normal build
# (build/, or $TERVIKROM_BUILD_DIR), built first with the jobs asked for here.
examples="$fuzz/example-files"
rm -rf "$examples"
mkdir -p "$examples"
TERVIKROM_BUILD_DIR="${TERVIKROM_BUILD_DIR:-$root/build}"
export TERVIKROM_BUILD_DIR
"$root/scripts/configure.sh"
cmake --build "$TERVIKROM_BUILD_DIR" -j "$jobs" --target workflow_example
"$root/scripts/example.sh" "$examples" >/dev/null

# Each target writes every input to a file in a folder of its own, made under this one:
# in memory when the system offers it (four times the executions of a disk), removed
# at the end, with whatever a crash left.
if [ -d /dev/shm ] && [ -w /dev/shm ]; then
  TMPDIR="$(mktemp -d /dev/shm/tervikrom-fuzz.XXXXXX)"
else
  mkdir -p "$fuzz/tmp"
  TMPDIR="$(mktemp -d "$fuzz/tmp/tervikrom-fuzz.XXXXXX")"
fi
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
export UBSAN_OPTIONS="print_stacktrace=1${UBSAN_OPTIONS:+:$UBSAN_OPTIONS}"
# Allocation stacks two frames deep while fuzzing: deeper ones are walked through the
# system's JSON library, built without frame pointers, and their garbage frames make
# the sanitizer's stack store grow with every execution, until the memory limit takes
# it for a finding. A reproducer replayed outside this script gets full stacks.
export ASAN_OPTIONS="malloc_context_size=2${ASAN_OPTIONS:+:$ASAN_OPTIONS}"

failed=0
summary=()
for kind in "${kinds[@]}"; do
  name="${kind%% *}"
  seed="${kind#* }"
  corpus="$fuzz/corpus/$name"
  artifacts="$fuzz/artifacts/$name"
  log="$fuzz/logs/$name.log"
  mkdir -p "$corpus" "$artifacts" "$(dirname "$log")"
  [ -f "$examples/$seed" ] || { echo "fuzz: the example wrote no $seed" >&2; exit 1; }
  cp "$examples/$seed" "$corpus/seed-$seed"
  echo "fuzz_$name: ${seconds} s on $corpus"
  status=0
  TERVIKROM_FUZZ_HOLD="$examples/$seed" "$fuzz/tests/fuzz/fuzz_$name" -max_total_time="$seconds" \
    -rss_limit_mb=2048 -malloc_limit_mb=64 -timeout=10 -print_final_stats=1 -artifact_prefix="$artifacts/" ${TERVIKROM_FUZZ_FLAGS:-} "$corpus" \
    >"$log" 2>&1 || status=$?
  stats="$(grep -E '^#[0-9]+' "$log" | tail -n 1 || true)"
  runs="$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)"
  if [ "$status" -eq 0 ]; then
    line="fuzz_$name: ${runs:-?} executions, no findings | $stats"
  else
    failed=1
    reproducer="$(grep -o 'Test unit written to .*' "$log" | grep -v '/slow-unit-' | tail -n 1 |
      sed 's/^Test unit written to //' || true)"
    error="$(grep -m 1 -E '^==[0-9]+== ?ERROR|^SUMMARY|runtime error|ALARM|^round trip:' "$log" || true)"
    line="fuzz_$name: FINDING (exit $status) after ${runs:-?} executions: ${error:-see $log} | $stats"
    line+=$'\n'"  reproducer: ${reproducer:-none written, see $log}"
    line+=$'\n'"  replay: TERVIKROM_FUZZ_HOLD=$examples/$seed $fuzz/tests/fuzz/fuzz_$name ${reproducer:-<file>}; log: $log"
  fi
  echo "$line"
  summary+=("$line")
done

echo
echo "Fuzzing, ${seconds} s per target:"
printf '%s\n' "${summary[@]}"
exit "$failed"
