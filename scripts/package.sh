#!/usr/bin/env bash
# Builds the library for every platform Debian can build and writes the plug-in's distribution
# file, dist/Pendlow.xojo_plugin: a ZIP of Pendlow/Build Resources/<platform folder>/<library>
# and the IDE's help page Pendlow/IDE Resources/Help/index.html (made from docs/*.md, the same
# text as the README's sections for Xojo users), written reproducibly (sorted entries, one fixed timestamp, fixed permissions), then checked
# (scripts/check_package.py) and written a second time from files with other timestamps and
# permissions to prove the bytes depend only on the libraries.
#
#   scripts/package.sh [--no-build] [--prebuilt DIR] [-o FILE]
#
#   --no-build      package the libraries already in build/<preset>/ (built and tested by the
#                   platform test scripts) instead of configuring and building each preset
#   --prebuilt DIR  also package the libraries built on native machines:
#                   DIR/Mac Universal/libPendlow.dylib and/or DIR/Windows arm64/Pendlow.dll
#                   (the layout of the native-platforms workflow's artifacts)
#   -o FILE         where to write the package (default dist/Pendlow.xojo_plugin)
#
# SOURCE_DATE_EPOCH, when set, replaces the fixed timestamp 1980-01-01 00:00:00.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

# configure preset | platform folder | library file in build/<preset>/
targets=(
  "default|Linux x86-64|libPendlow.so"
  "linux-x86|Linux X86|libPendlow.so"
  "linux-arm64|Linux arm64|libPendlow.so"
  "linux-arm|Linux ARM|libPendlow.so"
  "windows-x86-64|Windows x86-64|Pendlow.dll"
  "windows-x86|Windows|Pendlow.dll"
)
# platform folder | library file, taken from --prebuilt DIR
prebuilt_targets=(
  "Mac Universal|libPendlow.dylib"
  "Windows arm64|Pendlow.dll"
)

usage() { sed -n '/^#   scripts/,/^# SOURCE_DATE_EPOCH/p' "$0" | sed 's/^# \{0,1\}//' >&2; exit 2; }
die() { echo "package.sh: $*" >&2; exit 1; }

build=1
prebuilt=""
output="dist/Pendlow.xojo_plugin"
while [ $# -gt 0 ]; do
  case "$1" in
    --no-build) build=0 ;;
    --prebuilt) [ $# -ge 2 ] || usage; prebuilt=$2; shift ;;
    -o|--output) [ $# -ge 2 ] || usage; output=$2; shift ;;
    -h|--help) usage ;;
    *) echo "package.sh: unknown argument: $1" >&2; usage ;;
  esac
  shift
done
python=$(command -v python3) || die "python3 is needed to write and check the package"

stage=$(mktemp -d "${TMPDIR:-/tmp}/pendlow-package.XXXXXX")
trap 'rm -rf "$stage"' EXIT
resources="$stage/Pendlow/Build Resources"
required=()

if [ -n "$prebuilt" ]; then
  [ -d "$prebuilt" ] || die "--prebuilt $prebuilt is not a folder"
  # Every folder in DIR must be one of the two; a misspelt one would silently be left out.
  while IFS= read -r -d '' entry; do
    name=$(basename "$entry")
    known=0
    for target in "${prebuilt_targets[@]}"; do
      [ "${target%%|*}" = "$name" ] && known=1
    done
    [ "$known" = 1 ] || die "$entry: not a prebuilt platform folder (Mac Universal, Windows arm64)"
  done < <(find "$prebuilt" -mindepth 1 -maxdepth 1 -print0)
  for target in "${prebuilt_targets[@]}"; do
    IFS='|' read -r folder library <<<"$target"
    [ -e "$prebuilt/$folder" ] || continue
    [ -f "$prebuilt/$folder/$library" ] || die "$prebuilt/$folder holds no $library"
    extra=$(find "$prebuilt/$folder" -mindepth 1 ! -name "$library" | head -1)
    [ -z "$extra" ] || die "$extra: $prebuilt/$folder must hold only $library"
  done
fi

for target in "${targets[@]}"; do
  IFS='|' read -r preset folder library <<<"$target"
  if [ "$build" = 1 ]; then
    printf '\n=== %s: configure and build preset %s\n' "$folder" "$preset"
    cmake --preset "$preset" >/dev/null
    cmake --build "build/$preset" --target Pendlow -j"$(nproc 2>/dev/null || echo 2)"
  fi
  file="build/$preset/$library"
  [ -f "$file" ] || die "$file is missing (build the '$preset' preset, or drop --no-build)"
  mkdir -p "$resources/$folder"
  cp "$file" "$resources/$folder/$library"
  required+=(--require "$folder")
done

if [ -n "$prebuilt" ]; then
  for target in "${prebuilt_targets[@]}"; do
    IFS='|' read -r folder library <<<"$target"
    [ -e "$prebuilt/$folder" ] || continue
    mkdir -p "$resources/$folder"
    cp "$prebuilt/$folder/$library" "$resources/$folder/$library"
    required+=(--require "$folder")
  done
fi

# The help page, from the same docs files as the README's copies, which must match them.
printf '\n=== help page\n'
"$python" scripts/docs_sections.py check
mkdir -p "$stage/Pendlow/IDE Resources/Help"
"$python" scripts/docs_sections.py html "$stage/Pendlow/IDE Resources/Help/index.html"

# Written and checked in the staging folder; only a package that passed reaches the output.
package="$stage/Pendlow.xojo_plugin"
printf '\n=== write the package\n'
"$python" scripts/make_package.py "$stage/Pendlow" "$package"

printf '\n=== check the package\n'
"$python" scripts/check_package.py "$package" "${required[@]}"

printf '\n=== reproducibility\n'
# The same libraries with other timestamps and permissions must give the same bytes.
find "$stage/Pendlow" -exec touch -d '2001-02-03 04:05:06' {} +
find "$stage/Pendlow" -type f -exec chmod 600 {} +
"$python" scripts/make_package.py "$stage/Pendlow" "$stage/again.xojo_plugin"
cmp "$package" "$stage/again.xojo_plugin" || die "a second write gave different bytes"
echo "a second write from files with other timestamps and permissions is byte-identical"

mkdir -p "$(dirname "$output")"
mv "$package" "$output"
printf '\n%s\n' "$(sha256sum "$output")"
