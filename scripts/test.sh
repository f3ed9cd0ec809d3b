#!/usr/bin/env bash
# Builds everything and runs the whole test suite on every platform this machine can run:
#   1. Linux x86-64 (release build), then the same tests under AddressSanitizer + UBSan;
#   2. Linux X86 natively, Linux arm64 and Linux ARM under qemu-user;
#   3. Windows x86-64 under wine64, Windows x86 built and its DLL checked;
#   4. the same answers over the real corpus on every platform that ran (the Linux ones in
#      step 2);
#   5. the plug-in package from those tested builds, and its check;
#   6. a smoke run of the benchmarks and, where clang's libFuzzer is available, of every fuzz
#      target.
# Every step runs; the script fails at the end if any failed, after a summary of each.
set -uo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc 2>/dev/null || echo 2)

step() { printf '\n=== %s\n' "$*"; }
results=()
failed=0
# run NAME COMMAND...: runs one step, records its outcome and time.
run() {
  local name=$1 start status
  shift
  step "$name"
  start=$SECONDS
  "$@"
  status=$?
  if [ "$status" -eq 0 ]; then
    results+=("$(printf '%-44s passed  (%4d s)' "$name" $((SECONDS - start)))")
  else
    results+=("$(printf '%-44s FAILED  (%4d s, exit %d)' "$name" $((SECONDS - start)) "$status")")
    failed=1
  fi
}

native() {
  cmake --preset default >/dev/null && cmake --build --preset default -j"$jobs" &&
    ctest --preset default
}
sanitizers() {
  cmake --preset asan >/dev/null && cmake --build --preset asan -j"$jobs" &&
    ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --preset asan
}
bench_smoke() {
  # One short iteration of each benchmark, with the 1 MiB import documents only.
  PENDLOW_BENCH_IMPORT_MB=1 build/default/bench/pendlow_bench --benchmark_min_time=0.001 \
    >/dev/null && echo "benchmarks ran"
}

run "Linux x86-64: release build and tests" native
run "Linux x86-64: ASan + UBSan build and tests" sanitizers
# The cross scripts print their own per-platform summary (tests run, passed, times).
run "Linux X86, arm64, ARM: builds and tests" bash scripts/test-linux-cross.sh
run "Windows x86-64 and x86: builds and tests" bash scripts/test-windows.sh
# The Linux builds were compared with build/default by the cross script above.
run "same answers over the real corpus: Windows x86-64" scripts/same_answers.sh windows-x86-64
run "plug-in package from the tested builds" bash scripts/package.sh --no-build
[ -x build/default/bench/pendlow_bench ] && run "benchmark smoke run" bench_smoke
if [ -x fuzz/smoke.sh ] && command -v clang++ >/dev/null; then
  run "fuzz smoke" fuzz/smoke.sh
fi

step "summary"
printf '%s\n' "${results[@]}"
printf 'whole run: %d s\n' "$SECONDS"
exit $failed
