#!/usr/bin/env bash
# The Windows builds: "Windows x86-64" built with mingw-w64 and its whole test suite run under
# wine64; "Windows" (x86) built (library, tool and every test program, -Werror) and its DLL
# checked, but not run (see below). Prints the test counts and the time per platform.
#
# Needs (Debian 12): g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix (with their binutils)
# wine64 wine googletest cmake python3 (the test documents are generated at build time).
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${JOBS:-2}

step() { printf '\n=== %s\n' "$*"; }
missing=()
for tool in x86_64-w64-mingw32-g++-posix i686-w64-mingw32-g++-posix x86_64-w64-mingw32-objdump \
  i686-w64-mingw32-objdump cmake python3; do
  command -v "$tool" >/dev/null || missing+=("$tool")
done
[ -x /usr/lib/wine/wine64 ] || command -v wine64 >/dev/null || missing+=(wine64)
[ -d /usr/src/googletest ] || missing+=(/usr/src/googletest)
if [ ${#missing[@]} -gt 0 ]; then
  echo "missing: ${missing[*]}" >&2
  echo "apt-get install g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix wine64 wine" \
    "googletest cmake python3" >&2
  exit 2
fi

summary=()

# --- Windows x86-64 -------------------------------------------------------------------------
step "Windows x86-64: build"
start=$(date +%s)
cmake --preset windows-x86-64 >/dev/null
cmake --build --preset windows-x86-64 -j"$jobs"
scripts/check_windows_dll.sh build/windows-x86-64/Pendlow.dll x86-64
built=$(date +%s)

step "Windows x86-64: tests under wine64 (cmake/wine-run.sh)"
log=build/windows-x86-64/ctest.log
set +e
ctest --preset windows-x86-64 -V >"$log" 2>&1
status=$?
set -e
# One line per test program, then the totals GoogleTest itself reported.
grep -E '^[0-9]+/[0-9]+ Test +#' "$log" | sed 's/^/  /'
# Sums the counts of GoogleTest's lines "[  <WORD>  ] N test(s)<rest>".
count() { { grep -hoE "\\[  $1 +\\] [0-9]+ tests?$2" "$log" || true; } | awk '{s += $4} END {print s + 0}'; }
passed=$(count PASSED '\.')
skipped=$(count SKIPPED ', listed below')
failed=$(count FAILED ', listed below')
done_at=$(date +%s)
if [ "$status" -ne 0 ]; then
  grep -E '\[  FAILED  \]|wine-run.sh:' "$log" | sed 's/^/  /' || true
  echo "Windows x86-64: tests FAILED (full log: $log)"
fi
summary+=("Windows x86-64: $passed tests passed, $failed failed, $skipped skipped; build $((built - start)) s, tests $((done_at - built)) s")

# --- Windows x86 ----------------------------------------------------------------------------
step "Windows x86: build"
start=$(date +%s)
cmake --preset windows-x86 >/dev/null
cmake --build --preset windows-x86 -j"$jobs"
scripts/check_windows_dll.sh build/windows-x86/Pendlow.dll x86
programs=$(find build/windows-x86/tests -maxdepth 1 -name '*_tests.exe' | wc -l)
built=$(date +%s)
# wine runs 32-bit Windows programs only with its 32-bit half, wine32:i386, which Debian 12
# cannot install beside wine64 here (the i386 archive's package versions do not match).
if [ -x /usr/lib/wine/wine ]; then
  reason="not run: wine32 is present, but the windows-x86 preset has no emulator set up"
else
  reason="not run: wine has no 32-bit half here (wine32:i386 cannot be installed beside wine64 on Debian 12: the i386 archive's versions do not match)"
fi
echo "Windows x86: $programs test programs built; $reason"
summary+=("Windows x86: DLL checked, $programs test programs built, tests $reason; build $((built - start)) s")

step "summary"
printf '%s\n' "${summary[@]}"
exit "$status"
