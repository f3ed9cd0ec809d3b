#!/usr/bin/env bash
# Configures, builds and tests the other Linux architectures, then checks that their tool gives
# the same answers over the real corpus as the native build:
#
#     scripts/test-linux-cross.sh [PRESET...]     default: linux-x86 linux-arm64 linux-arm
#
# linux-x86 runs its tests natively (one CTest test per test case); linux-arm64 and linux-arm
# run them under qemu-user (one CTest test per test program, each writing a GoogleTest XML
# report to build/PRESET/test-reports that gives the case counts). Prints per platform the test
# cases run, passed, skipped and failed, and the build and test times. Needs what .ci/run
# installs: g++-multilib, clang, lld, qemu-user, libstdc++-12-dev-{arm64,armhf}-cross,
# libc6:arm64, libc6:armhf, googletest.
set -uo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
jobs=${PENDLOW_JOBS:-$(nproc 2>/dev/null || echo 2)}
[ "$jobs" -le 2 ] || jobs=2
presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(linux-x86 linux-arm64 linux-arm)

step() { printf '\n=== %s\n' "$*"; }
now() { date +%s.%N; }
seconds() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.0f", b - a }'; }

# Counts of a test run: from the GoogleTest XML reports in DIR if there are any, else from
# CTest's JUnit file. Prints "run passed skipped failed".
counts() {
  python3 - "$1" "$2" <<'EOF'
import glob, sys, xml.etree.ElementTree as ET
reports, junit = sys.argv[1], sys.argv[2]
run = skipped = failed = 0
files = sorted(glob.glob(reports + "/*.xml"))
if files:
    for path in files:
        for case in ET.parse(path).getroot().iter("testcase"):
            run += 1
            if case.find("failure") is not None or case.find("error") is not None:
                failed += 1
            elif case.find("skipped") is not None or case.get("result") == "skipped":
                skipped += 1
else:
    for case in ET.parse(junit).getroot().iter("testcase"):
        run += 1
        status = case.get("status", "")
        if status == "fail" or case.find("failure") is not None:
            failed += 1
        elif status in ("notrun", "disabled") or case.find("skipped") is not None:
            skipped += 1
print(run, run - skipped - failed, skipped, failed)
EOF
}

failed=0
summary=()
for preset in "${presets[@]}"; do
  build=build/$preset
  step "$preset: configure and build"
  start=$(now)
  if ! configure_log=$(cmake --preset "$preset" 2>&1); then
    echo "$configure_log"
    summary+=("$preset: configure FAILED")
    failed=1
    continue
  fi
  if ! cmake --build --preset "$preset" -j"$jobs"; then
    summary+=("$preset: build FAILED")
    failed=1
    continue
  fi
  build_time=$(seconds "$start" "$(now)")

  step "$preset: tests"
  # Whole-program runs (under an emulator) write their GoogleTest reports there; single-case
  # runs (natively) are counted from CTest's JUnit file.
  reports=$root/$build/test-reports
  rm -rf "$reports" && mkdir -p "$reports"
  start=$(now)
  status=0
  ctest --preset "$preset" --output-junit "$root/$build/ctest-junit.xml" || status=$?
  test_time=$(seconds "$start" "$(now)")
  read -r run passed skipped bad < <(counts "$reports" "$root/$build/ctest-junit.xml" 2>/dev/null ||
    echo "0 0 0 0")
  [ "$status" -eq 0 ] && [ "$run" -gt 0 ] && [ "$bad" -eq 0 ] || failed=1
  summary+=("$(printf '%-12s %4s test cases run, %4s passed, %s skipped, %s failed (ctest exit %s); build %s s, tests %s s' \
    "$preset:" "$run" "$passed" "$skipped" "$bad" "$status" "$build_time" "$test_time")")
done

step "same answers over the real corpus"
if [ ! -x build/default/pendlow ]; then
  # Only the native tool and library are needed for the reference answers.
  cmake --preset default >/dev/null && cmake --build --preset default -j"$jobs" --target pendlow Pendlow >/dev/null ||
    failed=1
fi
start=$(now)
if scripts/same_answers.sh "${presets[@]}"; then
  same="all documents agree"
else
  same="DIFFERENCES (see above)"
  failed=1
fi
summary+=("same answers: $same ($(seconds "$start" "$(now)") s)")

step "summary"
printf '%s\n' "${summary[@]}"
exit $failed
