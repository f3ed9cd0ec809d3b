#!/usr/bin/env bash
# Short run of every fuzz target from its starting corpus, for CI: builds the `fuzz` configure
# preset, makes the starting corpus afresh, then fuzzes each target for
# PENDLOW_FUZZ_SMOKE_SECONDS (default 40) into an empty working corpus. Exits non-zero when any
# target reports a finding (crash, sanitizer report, leak, hang, memory limit).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/.." && pwd)
seconds=${PENDLOW_FUZZ_SMOKE_SECONDS:-40}
targets=(import export control_word tables host_string)

build=${PENDLOW_FUZZ_BUILD:-}
if [ -z "$build" ]; then
  build="$root/build/fuzz"
  (cd "$root" && cmake --preset fuzz >/dev/null)
fi
echo "building the fuzz targets in $build"
cmake --build "$build" --target pendlow_fuzz_targets -j"$(nproc 2>/dev/null || echo 2)" >/dev/null

work="$here/corpus-work"
python3 "$here/make_corpus.py" --out "$work/seeds"
mkdir -p "$work/logs"

failed=()
for target in "${targets[@]}"; do
  corpus="$work/smoke/$target"
  rm -rf "$corpus"
  mkdir -p "$corpus"
  log="$work/logs/smoke-$target.log"
  if PENDLOW_FUZZ_BUILD="$build" PENDLOW_FUZZ_NO_BUILD=1 PENDLOW_FUZZ_CORPUS="$corpus" \
    "$here/run.sh" "$target" "$seconds" >"$log" 2>&1; then
    # libFuzzer separates the count from DONE with a tab; a missing line only blanks the summary.
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    coverage=$({ grep -E '^#[0-9]+[[:space:]]+DONE' "$log" || true; } |
      { grep -oE 'cov: [0-9]+ ft: [0-9]+' || true; } | tail -n 1)
    echo "fuzz_$target: ok, ${runs:-?} executions, ${coverage:-no coverage line}"
  else
    echo "fuzz_$target: FINDING (log: $log)"
    tail -n 60 "$log"
    failed+=("$target")
  fi
done

if [ ${#failed[@]} -gt 0 ]; then
  echo "fuzz smoke failed for: ${failed[*]} (inputs in $here/artifacts/)"
  exit 1
fi
echo "fuzz smoke: every target ran clean"
