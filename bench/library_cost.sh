#!/usr/bin/env bash
# Instructions the library executes itself (its own code and the C and C++ runtime calls it
# makes), outside every host service: per input byte of the setter on the generator's 1 MiB
# documents, and per style run of the getter. Counted with callgrind on
# pendlow_library_cost, which runs the library inside a minimal host (bench/cost/).
#
# Collection starts switched off; it is toggled on when PendlowCost_MeasuredSetter or
# PendlowCost_MeasuredGetter is entered and toggled off again inside every host service and
# host method (all named HostService_*). Costs are zeroed in PendlowCost_StartCounting, called
# just before the measured call, so the load of the library does not count (callgrind applies
# only one of several options given for the same function, hence a function of its own). LD_BIND_NOW moves the dynamic linker's symbol binding to
# load time.
#
# --validate makes two more runs per input: one that collects everything inside the measured
# call, host services included, and subtracts the inclusive cost of every call into a host
# service (read from callgrind's call records), which must give the same library figure; and a
# full collection of the whole program (loading, reading and building the input, the host's
# work, the exit) for scale.
#
# usage: bench/library_cost.sh [--gen GEN_RTF_PY] [--driver PROGRAM] [--library LIB]
#                              [--docs DIR] [--profiles "plain styled ..."] [--runs N]
#                              [--size-mb N] [--validate] [--no-getter] [--no-setter]
set -euo pipefail

# shellcheck source=bench/cost_common.sh
source "$(dirname "$0")/cost_common.sh"
library=""
profiles="plain styled unicode codepage wordlike export hostile"
runs=100000
size_mb=1
validate=0
do_getter=1
do_setter=1

while [ $# -gt 0 ]; do
  if shared_option "$@"; then shift 2; continue; fi
  case "$1" in
    --library) library="$2"; shift 2 ;;
    --profiles) profiles="$2"; shift 2 ;;
    --runs) runs="$2"; shift 2 ;;
    --size-mb) size_mb="$2"; shift 2 ;;
    --validate) validate=1; shift ;;
    --no-getter) do_getter=0; shift ;;
    --no-setter) do_setter=0; shift ;;
    -h|--help) sed -n '2,22p' "$0"; exit 0 ;;
    *) echo "unknown option: $1" >&2; exit 2 ;;
  esac
done

command -v valgrind >/dev/null || { echo "valgrind is needed" >&2; exit 1; }
require_driver
make_work pendlow-cost

driver_args=()
if [ -n "$library" ]; then driver_args=(--library "$library"); fi

# Total Ir of a callgrind output file.
total_ir() {
  awk '/^(summary|totals):/ { print $2; exit }' "$1"
}

# Sum of the inclusive Ir of every call into a HostService_* function made from outside one.
host_ir() {
  python3 - "$1" <<'EOF'
import re, sys
names = {}
def name(kind, text):
    m = re.match(r'\((\d+)\)(?: (.*))?$', text)
    if not m:
        return text
    key = (kind, m.group(1))
    if m.group(2) is not None:
        names[key] = m.group(2)
    return names.get(key, '')
fn = cfn = ''
total = 0
pending = False
with open(sys.argv[1]) as f:
    for line in f:
        line = line.rstrip('\n')
        if pending:
            pending = False
            if cfn.startswith('HostService_') and not fn.startswith('HostService_'):
                total += int(line.split()[1])
            continue
        if line.startswith('fn='):
            fn = name('fn', line[3:])
        elif line.startswith('cfn='):
            cfn = name('fn', line[4:])
        elif line.startswith('calls='):
            pending = True
print(total)
EOF
}

# Runs the driver under callgrind into the output file $1 with the callgrind options up to
# "--", then the driver's arguments; shows the log when it fails.
callgrind() {
  local out="$1"; shift
  local options=()
  while [ "$1" != "--" ]; do options+=("$1"); shift; done
  shift
  LD_BIND_NOW=1 valgrind --tool=callgrind --callgrind-out-file="$out" "${options[@]}" \
    "$driver" "${driver_args[@]}" "$@" >"$out.stdout" 2>"$out.log" || {
    cat "$out.log" >&2
    return 1
  }
}

# What is measured: from the driver's start mark, its measured calls only.
counted=(--collect-atstart=no --zero-before=PendlowCost_StartCounting
         --toggle-collect='PendlowCost_Measured*')

# Runs the driver under callgrind; prints the library's Ir.
measure() {
  local out="$1"; shift
  callgrind "$out" "${counted[@]}" --toggle-collect='HostService_*' -- "$@"
  total_ir "$out"
}

# The same with the host services counted; prints "all host library whole".
measure_all() {
  local out="$1"; shift
  callgrind "$out" "${counted[@]}" -- "$@"
  local all host whole
  all=$(total_ir "$out")
  host=$(host_ir "$out")
  callgrind "$out.whole" -- "$@"
  whole=$(total_ir "$out.whole")
  echo "$all $host $((all - host)) $whole"
}

if [ "$validate" = 1 ]; then
  printf '%-18s %12s %14s %10s   %14s %14s %10s %14s\n' input size library_Ir per_unit \
    all_in_call host_services difference whole_program
else
  printf '%-18s %12s %14s %10s\n' input size library_Ir per_unit
fi

report() {
  local label="$1" size="$2" unit="$3" ir="$4"; shift 4
  local per
  per=$(awk -v a="$ir" -v b="$size" 'BEGIN { printf "%.2f", a / b }')
  if [ "$validate" = 1 ]; then
    local all="$1" host="$2" lib="$3" whole="$4"
    printf '%-18s %12s %14s %10s   %14s %14s %10s %14s\n' "$label" "$size $unit" "$ir" \
      "$per/$unit" "$all" "$host" "$((lib - ir))" "$whole"
  else
    printf '%-18s %12s %14s %10s\n' "$label" "$size $unit" "$ir" "$per/$unit"
  fi
}

if [ "$do_setter" = 1 ]; then
  for p in $profiles; do
    doc=$(doc "$p-$size_mb" --profile "$p" --size-mb "$size_mb" --seed 1)
    bytes=$(stat -c %s "$doc")
    ir=$(measure "$work/cg.setter.$p" setter "$doc")
    extra=()
    if [ "$validate" = 1 ]; then
      read -r -a extra <<<"$(measure_all "$work/cg.setter.$p.all" setter "$doc")"
    fi
    report "setter $p" "$bytes" B "$ir" "${extra[@]}"
  done
fi

if [ "$do_getter" = 1 ]; then
  ir=$(measure "$work/cg.getter" getter "$runs")
  extra=()
  if [ "$validate" = 1 ]; then
    read -r -a extra <<<"$(measure_all "$work/cg.getter.all" getter "$runs")"
  fi
  report "getter" "$runs" run "$ir" "${extra[@]}"
fi
