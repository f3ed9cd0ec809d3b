#!/usr/bin/env bash
# Builds everything and runs the whole test suite: the release build, then the same tests under
# AddressSanitizer + UndefinedBehaviorSanitizer, then a smoke run of the benchmarks and, where
# clang's libFuzzer is available, a short run of every fuzz target.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc 2>/dev/null || echo 2)

step() { printf '\n=== %s\n' "$*"; }

step "release build and tests"
cmake --preset default >/dev/null
cmake --build --preset default -j"$jobs"
ctest --preset default

step "sanitizer build (ASan + UBSan) and tests"
cmake --preset asan >/dev/null
cmake --build --preset asan -j"$jobs"
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --preset asan

if echo 'int main(){}' | g++ -m32 -x c++ - -o /dev/null 2>/dev/null; then
  step "Linux X86 (32-bit i386) build and tests"
  cmake --preset linux-x86 >/dev/null
  cmake --build --preset linux-x86 -j"$jobs"
  ctest --preset linux-x86
  exports=$(nm -D --defined-only build/linux-x86/libPendlow.so | awk '{print $3}')
  [ "$exports" = "REALPluginMain" ] || { echo "unexpected exports: $exports"; exit 1; }
  echo "32-bit library exports only REALPluginMain"
fi

if [ -x build/default/bench/pendlow_bench ]; then
  step "benchmark smoke run"
  # One short iteration of each benchmark, with the 1 MiB import documents only.
  PENDLOW_BENCH_IMPORT_MB=1 build/default/bench/pendlow_bench --benchmark_min_time=0.001 >/dev/null
  echo "benchmarks ran"
fi

if [ -x fuzz/smoke.sh ] && command -v clang++ >/dev/null; then
  step "fuzz smoke"
  fuzz/smoke.sh
fi
