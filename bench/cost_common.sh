# Shared by bench/library_cost.sh and bench/compare_host_calls.sh, which source it before reading
# their options: the default driver, generator and document folder, the check for the built
# driver, the scratch folder and the generated documents.

repo="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
gen="$repo/bench/gen_rtf.py"
driver="$repo/build/default/bench/cost/pendlow_library_cost"
docs=""

# Takes the shared options "--gen FILE", "--driver PROGRAM" and "--docs DIR" given as $1 $2;
# fails for any other option.
shared_option() {
  case "$1" in
    --gen) gen="$2" ;;
    --driver) driver="$2" ;;
    --docs) docs="$2" ;;
    *) return 1 ;;
  esac
}

# Stops with the build command when the driver has not been built.
require_driver() {
  [ -x "$driver" ] || {
    echo "missing $driver: cmake --build --preset default --target pendlow_library_cost" >&2
    exit 1
  }
}

# Sets $work to a scratch folder removed on exit (named after $1) and $docs, when not given, to
# that folder.
make_work() {
  work="$(mktemp -d "${TMPDIR:-/tmp}/$1-XXXXXX")"
  trap 'rm -rf "$work"' EXIT
  if [ -z "$docs" ]; then docs="$work"; fi
  mkdir -p "$docs"
}

# A generated document in $docs, made once: its name, then the generator's arguments. Prints
# its path.
doc() {
  local path="$docs/$1.rtf"; shift
  [ -s "$path" ] || python3 "$gen" "$@" -o "$path"
  echo "$path"
}
