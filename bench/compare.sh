#!/usr/bin/env bash
# Side-by-side speed of `pendlow import FILE --text` against catdoc and unrtf on the generator's
# documents: bench/compare.sh [profile...]
#
# bench/compare.sh --growth [profile...] runs the tool alone on 1, 10 and 100 MiB of each
# profile (default styled and unicode) and shows whether time and memory grow linearly.
#
# Installs catdoc and unrtf with apt-get when they are missing, generates the documents (cached
# in build/compare-docs/), then runs the three converters on each document, interleaved, and
# prints for each profile the median MB/s of each (whole processes, start-up included), the
# peak resident memory of pendlow and catdoc, and pendlow's speed as a multiple of catdoc's.
#
# Environment: PENDLOW (the tool, default build/default/pendlow), COMPARE_SIZE_MB (10),
# COMPARE_ROUNDS (3), COMPARE_SEED (1), COMPARE_DOCS (document folder), GEN_RTF (the document
# generator, default bench/gen_rtf.py).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/.." && pwd)

missing=()
command -v catdoc >/dev/null 2>&1 || missing+=(catdoc)
command -v unrtf >/dev/null 2>&1 || missing+=(unrtf)
[ -x /usr/bin/time ] || missing+=(time) # GNU time reports the peak RSS
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}" >&2
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo=sudo
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq || true # a failing secondary archive must not stop the install
  $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

export PENDLOW=${PENDLOW:-$root/build/default/pendlow}
if [ ! -x "$PENDLOW" ]; then
  echo "no tool at $PENDLOW: build it first (cmake --preset default && cmake --build --preset default --target pendlow)" >&2
  exit 2
fi
export GEN_RTF=${GEN_RTF:-$here/gen_rtf.py}
export COMPARE_DOCS=${COMPARE_DOCS:-$root/build/compare-docs}
exec python3 "$here/compare.py" "$@"
