#!/usr/bin/env bash
# Runs a Windows program of the build under wine64: the emulator CMake puts in front of test
# commands (CMAKE_CROSSCOMPILING_EMULATOR), usable by hand too:
#
#     cmake/wine-run.sh build/windows-x86-64/pendlow.exe import FILE --json
#
# The wine prefix is private: $PENDLOW_WINEPREFIX if set, else "wine" inside the build folder
# that holds the program (the nearest folder above it with a CMakeCache.txt), else
# ~/.cache/pendlow/wine; it is created on first use. wine's own messages are off (WINEDEBUG=-all).
#
# A GoogleTest program (a name ending in "_tests.exe") is judged only by GoogleTest's own result
# lines: it passes when it prints "[  PASSED  ] N tests." with N > 0 and no "[  FAILED  ]" line.
# wine's exit status is not trusted there: wine can exit 0 after failing to start a program.
# Any other program's exit status is passed through.
set -uo pipefail

if [ $# -lt 1 ]; then
  echo "usage: $0 PROGRAM.exe [ARGUMENTS...]" >&2
  exit 2
fi
program=$1
shift

wine=""
for candidate in /usr/lib/wine/wine64 "$(command -v wine64 2>/dev/null)"; do
  if [ -n "$candidate" ] && [ -x "$candidate" ]; then
    wine=$candidate
    break
  fi
done
if [ -z "$wine" ]; then
  echo "wine-run.sh: wine64 is not installed (Debian: apt-get install wine64 wine)" >&2
  exit 127
fi
wineserver=$(dirname "$wine")/wineserver
[ -x "$wineserver" ] || wineserver=$(command -v wineserver64 || command -v wineserver || true)

prefix=${PENDLOW_WINEPREFIX:-}
if [ -z "$prefix" ]; then
  dir=$(cd "$(dirname "$program")" && pwd)
  while [ "$dir" != "/" ] && [ ! -f "$dir/CMakeCache.txt" ]; do dir=$(dirname "$dir"); done
  if [ -f "$dir/CMakeCache.txt" ]; then
    prefix=$dir/wine
  else
    prefix=${HOME:-/tmp}/.cache/pendlow/wine
  fi
fi
export WINEPREFIX=$prefix
export WINEDEBUG=-all
export WINELOADER=$wine
# No Mono or Gecko installer prompts; the programs need neither.
export WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY WAYLAND_DISPLAY

# First use: create the prefix once (10-30 s), guarded against a parallel first use. wineboot
# now and then ends without having written the registry (seen once in a CI run), so it is given
# three tries before the program is reported as not started.
if [ ! -f "$prefix/system.reg" ]; then
  mkdir -p "$(dirname "$prefix")"
  (
    flock 9
    for attempt in 1 2 3; do
      [ -f "$prefix/system.reg" ] && break
      echo "wine-run.sh: creating the wine prefix $prefix (once; try $attempt of 3)" >&2
      "$wine" wineboot --init >/dev/null 2>&1
      [ -n "$wineserver" ] && "$wineserver" -w
    done
  ) 9>"$prefix.lock"
  if [ ! -f "$prefix/system.reg" ]; then
    echo "wine-run.sh: could not create the wine prefix $prefix" >&2
    exit 127
  fi
fi

judge_by_results=false
case "$(basename "$program")" in
  *_tests.exe) judge_by_results=true ;;
esac
for argument in "$@"; do
  case "$argument" in
    --gtest_list_tests* | --help | -h | -\?) judge_by_results=false ;;  # no test run
  esac
done

case "$judge_by_results" in
  true)
    log=$(mktemp)
    trap 'rm -f "$log"' EXIT
    "$wine" "$program" "$@" 2>&1 | tee "$log"
    status=${PIPESTATUS[0]}
    passed=$(sed -n 's/^\[  PASSED  \] \([0-9][0-9]*\) tests\{0,1\}\..*/\1/p' "$log" | tail -n 1)
    if grep -q '^\[  FAILED  \]' "$log"; then
      echo "wine-run.sh: $(basename "$program"): GoogleTest reported failures" >&2
      exit 1
    fi
    if [ -z "$passed" ] || [ "$passed" -eq 0 ]; then
      echo "wine-run.sh: $(basename "$program"): no test passed (GoogleTest's result line" \
        "is missing or counts none; wine's exit status was $status)" >&2
      exit 1
    fi
    exit 0
    ;;
  *)
    exec "$wine" "$program" "$@"
    ;;
esac
