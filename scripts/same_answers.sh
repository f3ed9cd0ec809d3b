#!/usr/bin/env bash
# Same answers everywhere: `pendlow import --json` over every document of the real corpus gives
# byte-identical output (and the same exit status) in each given build as in the native
# build/default.
#
#     scripts/same_answers.sh PRESET...        e.g. linux-x86 linux-arm64 linux-arm
#
# A preset's tool is build/PRESET/pendlow (pendlow.exe for Windows), run through the emulator
# recorded in build/PRESET/CMakeCache.txt (CMAKE_CROSSCOMPILING_EMULATOR; none: natively).
# Presets without a build are reported and left out. Prints per preset how many documents
# agree and exits 1 on any difference. The corpus folder can be given in PENDLOW_CORPUS.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
corpus=${PENDLOW_CORPUS:-$root/tests/corpus/real}

[ $# -gt 0 ] || { echo "usage: scripts/same_answers.sh PRESET..." >&2; exit 2; }
[ -x build/default/pendlow ] || { echo "build/default/pendlow is missing: build the default preset first" >&2; exit 2; }
[ -d "$corpus" ] || { echo "no corpus at $corpus" >&2; exit 2; }

# Documents by name, the extension in any case. Relative names keep paths out of the comparison
# on every platform (the tool runs in the corpus folder).
mapfile -t documents < <(cd "$corpus" && find . -maxdepth 1 -type f -iname '*.rtf' -printf '%P\n' | LC_ALL=C sort)
[ ${#documents[@]} -gt 0 ] || { echo "no documents in $corpus" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# run_all DIR COMMAND...: the JSON of every document in DIR/<n>.json, the exit status in DIR/<n>.status.
run_all() {
  local dir=$1
  shift
  mkdir -p "$dir"
  local i
  for i in "${!documents[@]}"; do
    run_one "$dir" "$i" "$@"
  done
}

# run_one DIR I COMMAND...: document I's JSON, exit status and error output in DIR.
run_one() {
  local dir=$1 i=$2 status=0
  shift 2
  (cd "$corpus" && "$@" import --json "${documents[$i]}") >"$dir/$i.json" 2>"$dir/$i.err" ||
    status=$?
  echo "$status" >"$dir/$i.status"
}

same() {
  cmp -s "$work/default/$2.json" "$work/$1/$2.json" &&
    cmp -s "$work/default/$2.status" "$work/$1/$2.status"
}

run_all "$work/default" "$root/build/default/pendlow"

failed=0
for preset in "$@"; do
  build=build/$preset
  tool=$build/pendlow
  [ -x "$tool" ] || tool=$build/pendlow.exe
  if [ ! -f "$tool" ] || [ ! -f "$build/CMakeCache.txt" ]; then
    echo "$preset: no build (no $build/pendlow), left out"
    continue
  fi
  emulator=()
  line=$(grep -m1 '^CMAKE_CROSSCOMPILING_EMULATOR:' "$build/CMakeCache.txt" || true)
  if [ -n "$line" ]; then
    IFS=';' read -r -a emulator <<<"${line#*=}"
  fi
  start=$SECONDS
  run_all "$work/$preset" "${emulator[@]}" "$root/$tool"
  agree=0
  differ=()
  for i in "${!documents[@]}"; do
    if same "$preset" "$i"; then
      agree=$((agree + 1))
    elif grep -qE '^(wine|qemu)' "$work/$preset/$i.err" && {
      # The emulator itself failed (wine can lose its server connection or fault after the
      # program ended): that run says nothing about the program, so it runs once more.
      echo "  emulator failure on ${documents[$i]}, run again: $(grep -m1 -E '^(wine|qemu)' "$work/$preset/$i.err")"
      run_one "$work/$preset" "$i" "${emulator[@]}" "$root/$tool"
      same "$preset" "$i"
    }; then
      agree=$((agree + 1))
    else
      differ+=("${documents[$i]}")
    fi
  done
  echo "$preset: $agree of ${#documents[@]} documents agree with build/default ($((SECONDS - start)) s${emulator:+, through ${emulator[*]}})"
  if [ ${#differ[@]} -gt 0 ]; then
    failed=1
    for name in "${differ[@]:0:10}"; do echo "  differs: $name"; done
    [ ${#differ[@]} -le 10 ] || echo "  ... and $((${#differ[@]} - 10)) more"
  fi
done
exit $failed
