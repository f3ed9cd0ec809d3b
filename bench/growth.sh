#!/usr/bin/env bash
# Whether `pendlow import FILE --text` grows linearly with the document: 1, 10 and 100 MiB of
# each profile (default styled and unicode), time and peak RSS per MB against the 1 MiB run.
# usage: bench/growth.sh [profile...]
# Environment as bench/compare.sh: PENDLOW, COMPARE_ROUNDS (3), COMPARE_SEED (1), COMPARE_DOCS,
# GEN_RTF. The 100 MiB documents take a while to generate the first time (cached after).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/.." && pwd)
[ -x /usr/bin/time ] || { echo "GNU time (/usr/bin/time) is needed: apt-get install time" >&2; exit 2; }
export PENDLOW=${PENDLOW:-$root/build/default/pendlow}
if [ ! -x "$PENDLOW" ]; then
  echo "no tool at $PENDLOW: build it first (cmake --preset default && cmake --build --preset default --target pendlow)" >&2
  exit 2
fi
export GEN_RTF=${GEN_RTF:-$here/gen_rtf.py}
export COMPARE_DOCS=${COMPARE_DOCS:-$root/build/compare-docs}
exec python3 "$here/growth.py" "$@"
