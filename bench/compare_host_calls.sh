#!/usr/bin/env bash
# Compares the host calls of two builds of the library, call by call: every service and host
# method call with its arguments and result, in order (pendlow_library_cost --trace). Inputs:
# the generator's profiles (1 MiB with seed 1, 0.2 MiB with seeds 2 and 3, code pages and hex
# cases), every RTF file of the real corpus, and the getter on 100,000 short runs and on runs
# that take its uncommon paths. Exit status 1 when any trace differs.
#
# usage: bench/compare_host_calls.sh BASELINE_LIBRARY [CANDIDATE_LIBRARY]
#            [--gen GEN_RTF_PY] [--corpus DIR] [--docs DIR] [--driver PROGRAM]
# The candidate defaults to the default preset's build.
set -euo pipefail

# shellcheck source=bench/cost_common.sh
source "$(dirname "$0")/cost_common.sh"
corpus="$repo/tests/corpus/real"
libs=()
while [ $# -gt 0 ]; do
  if shared_option "$@"; then shift 2; continue; fi
  case "$1" in
    --corpus) corpus="$2"; shift 2 ;;
    -h|--help) sed -n '2,10p' "$0"; exit 0 ;;
    *) libs+=("$1"); shift ;;
  esac
done
[ ${#libs[@]} -ge 1 ] || { sed -n '8,10p' "$0" >&2; exit 2; }
baseline="${libs[0]}"
candidate="${libs[1]:-$repo/build/default/libPendlow.so}"
require_driver
make_work pendlow-calls

inputs=()
for p in plain styled unicode codepage wordlike export hostile; do
  inputs+=("setter $(doc "$p-1" --profile "$p" --size-mb 1 --seed 1)")
  for seed in 2 3; do
    inputs+=("setter $(doc "$p-0.2-s$seed" --profile "$p" --size-mb 0.2 --seed "$seed")")
  done
done
for cp in 437 866 932 936 950 1250 1255 10000; do
  inputs+=("setter $(doc "codepage-$cp" --profile codepage --codepage "$cp" --size-mb 0.1 --seed 4)")
done
for hex in upper mixed; do
  inputs+=("setter $(doc "codepage-$hex" --profile codepage --hex "$hex" --size-mb 0.1 --seed 5)")
done
while IFS= read -r -d '' f; do
  inputs+=("setter $f")
done < <(find "$corpus" -type f -iname '*.rtf' -print0 | sort -z)
inputs+=("getter 100000" "getter-varied 5000" "getter-varied 1")

differ=0
for input in "${inputs[@]}"; do
  read -r mode arg <<<"$input"
  "$driver" --library "$baseline" --trace "$work/a" "$mode" "$arg" >"$work/a.out"
  "$driver" --library "$candidate" --trace "$work/b" "$mode" "$arg" >"$work/b.out"
  if cmp -s "$work/a" "$work/b" && cmp -s "$work/a.out" "$work/b.out"; then
    continue
  fi
  differ=1
  echo "DIFFERENT: $mode $arg"
  diff "$work/a" "$work/b" | head -20 | cut -c1-300 || true
  diff "$work/a.out" "$work/b.out" || true
done
echo "${#inputs[@]} inputs compared: $([ $differ = 0 ] && echo "all host calls identical" || echo "differences found")"
exit $differ
