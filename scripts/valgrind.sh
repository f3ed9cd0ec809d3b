#!/usr/bin/env bash
# Runs the test suite of the default build under valgrind's memcheck (ctest -T memcheck): every
# test in its own process, as CTest runs them, so that what one process registers for its whole
# life (the host's registration records) is not taken for a leak of the next test. Invalid reads
# and writes, uses of uninitialised values, invalid frees and definite or indirect leaks make the
# test fail (--error-exitcode); the script exits non-zero when any test fails. valgrind.supp
# holds the one false report of the system's dynamic loader.
#
#   scripts/valgrind.sh [CTEST_REGEX]      e.g. scripts/valgrind.sh 'Hostile|Limits'
#
# Environment: PENDLOW_VALGRIND_BUILD (build directory, default build/default, configured with
# the `default` preset when it is the default), PENDLOW_VALGRIND_NO_BUILD=1 (use the build as
# it is), PENDLOW_VALGRIND_JOBS (parallel tests, default the number of processors).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

valgrind=$(command -v valgrind || true)
if [ -z "$valgrind" ]; then
  echo "valgrind is not installed" >&2
  exit 2
fi

build=${PENDLOW_VALGRIND_BUILD:-$root/build/default}
jobs=${PENDLOW_VALGRIND_JOBS:-$(nproc 2>/dev/null || echo 2)}
if [ -z "${PENDLOW_VALGRIND_NO_BUILD:-}" ]; then
  if [ -z "${PENDLOW_VALGRIND_BUILD:-}" ]; then
    cmake --preset default >/dev/null
  fi
  cmake --build "$build" -j"$jobs" >/dev/null
fi

# The tests' own child processes (the command-line tool, death tests) run natively.
options="--error-exitcode=99 --leak-check=full --show-leak-kinds=definite,indirect"
options+=" --errors-for-leak-kinds=definite,indirect --num-callers=40"
options+=" --suppressions=$root/scripts/valgrind.supp"
log="$build/valgrind.log"
status=0
ctest --test-dir "$build" -T memcheck -j"$jobs" --output-on-failure \
  --overwrite MemoryCheckCommand="$valgrind" \
  --overwrite MemoryCheckCommandOptions="$options" \
  ${1:+-R "$1"} >"$log" 2>&1 || status=$?

grep -E 'tests passed|tests failed|Total Test time' "$log" || true
# ctest lists every test with memcheck findings after "Memory checking results:".
defects=$(sed -n '/^Memory checking results:/,$p' "$log" | grep -vE '^Memory checking results:$' |
  grep -E '[A-Za-z]' || true)
if [ -n "$defects" ]; then
  echo "memcheck findings:"
  echo "$defects"
  status=1
fi
if [ "$status" -ne 0 ]; then
  sed -n '/The following tests FAILED/,$p' "$log" | head -n 40
  echo "valgrind: failures (log: $log; per test: $build/Testing/Temporary/MemoryChecker.*.log)"
  exit 1
fi
echo "valgrind: every test ran clean (log: $log)"
