#!/usr/bin/env bash
# Runs one fuzz target for a given time: fuzz/run.sh TARGET SECONDS [libFuzzer options...]
# TARGET is one of: import export control_word tables host_string.
#
# Builds the target with the `fuzz` configure preset (clang, ASan + UBSan, libFuzzer) unless
# PENDLOW_FUZZ_BUILD names an already configured build directory, makes the starting corpus
# if there is none yet, and fuzzes into fuzz/corpus-work/TARGET (or PENDLOW_FUZZ_CORPUS). A
# finding is written to fuzz/artifacts/ and makes the script exit non-zero.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/.." && pwd)

if [ $# -lt 2 ]; then
  echo "usage: $0 TARGET SECONDS [libFuzzer options...]" >&2
  exit 2
fi
target=$1
seconds=$2
shift 2

case "$target" in
  export) max_len=8192 ;;
  import | control_word | tables | host_string) max_len=16384 ;;
  *)
    echo "unknown target '$target' (import export control_word tables host_string)" >&2
    exit 2
    ;;
esac

build=${PENDLOW_FUZZ_BUILD:-}
if [ -z "$build" ]; then
  build="$root/build/fuzz"
  (cd "$root" && cmake --preset fuzz >/dev/null)
fi
if [ -z "${PENDLOW_FUZZ_NO_BUILD:-}" ]; then
  cmake --build "$build" --target "fuzz_$target" -j"$(nproc 2>/dev/null || echo 2)" >/dev/null
fi
binary="$build/fuzz/fuzz_$target"

work="$here/corpus-work"
seeds="$work/seeds/$target"
if [ ! -d "$seeds" ]; then
  python3 "$here/make_corpus.py" --out "$work/seeds" >/dev/null
fi
corpus=${PENDLOW_FUZZ_CORPUS:-$work/$target}
artifacts="$here/artifacts"
mkdir -p "$corpus" "$artifacts"

# The RTF readers get the dictionary of the control words the import knows.
options=()
case "$target" in
  import | control_word | tables) options+=(-dict="$here/rtf.dict") ;;
esac
# The simulated host keeps released handles in a bounded quarantine, so the number of live
# heap blocks moves from input to input and libFuzzer would run a full leak check after almost
# every one. With the host, leaks are found by the leak check at exit instead (any block still
# allocated then is reported with its allocation stack, and the exit status is non-zero).
case "$target" in
  import | export | host_string) options+=(-detect_leaks=0) ;;
esac

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:detect_stack_use_after_return=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
# A single input that takes longer than 10 s is reported as a hang.
exec "$binary" "$corpus" "$seeds" "${options[@]}" \
  -max_len="$max_len" -timeout=10 -rss_limit_mb=2560 -max_total_time="$seconds" \
  -print_final_stats=1 -artifact_prefix="$artifacts/$target-" "$@"
