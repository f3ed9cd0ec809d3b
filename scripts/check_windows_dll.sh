#!/usr/bin/env bash
# Checks a built Windows plug-in DLL the way the host will meet it:
#   - the PE format of the platform (x86-64: pei-x86-64; x86: pei-i386),
#   - exactly one export, REALPluginMain, undecorated (a 32-bit __stdcall export would read
#     _REALPluginMain@4 and the host would not find it),
#   - imports from system DLLs only (KERNEL32.dll, msvcrt.dll): the C and C++ runtimes are
#     linked in, so nothing has to be installed beside the plug-in.
#
#     scripts/check_windows_dll.sh build/windows-x86-64/Pendlow.dll x86-64
#     scripts/check_windows_dll.sh build/windows-x86/Pendlow.dll x86
#
# Needs mingw-w64's objdump (binutils-mingw-w64-x86-64 / -i686, which g++-mingw-w64-*-posix
# pull in). Prints what it found; exit status 0 when all holds.
set -euo pipefail

if [ $# -ne 2 ] || { [ "$2" != x86-64 ] && [ "$2" != x86 ]; }; then
  echo "usage: $0 DLL x86-64|x86" >&2
  exit 2
fi
dll=$1
arch=$2
if [ ! -f "$dll" ]; then
  echo "$dll: no such file" >&2
  exit 2
fi
if [ "$arch" = x86-64 ]; then
  objdump=x86_64-w64-mingw32-objdump
  format=pei-x86-64
else
  objdump=i686-w64-mingw32-objdump
  format=pei-i386
fi
command -v "$objdump" >/dev/null || { echo "$objdump not found (binutils-mingw-w64)" >&2; exit 2; }

failures=0
fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
}

found_format=$("$objdump" -f "$dll" 2>/dev/null | sed -n 's/.*file format \(.*\)$/\1/p' || true)
echo "$dll: format $found_format"
[ "$found_format" = "$format" ] || fail "expected format $format"

headers=$("$objdump" -p "$dll" 2>/dev/null || true)
exports=$(printf '%s\n' "$headers" | sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/p' |
  sed -n 's/^[[:space:]]*\[ *[0-9]*\] \(.*\)$/\1/p')
echo "exports: $(echo ${exports:-none})"
[ "$exports" = "REALPluginMain" ] || fail "the only export must be REALPluginMain, undecorated"

imports=$(printf '%s\n' "$headers" | sed -n 's/^[[:space:]]*DLL Name: //p' | sort -u)
echo "imports: $(echo $imports)"
[ -n "$imports" ] || fail "no import table found"
for library in $imports; do
  case "$(echo "$library" | tr '[:upper:]' '[:lower:]')" in
    kernel32.dll | msvcrt.dll) ;;
    *) fail "imports $library (only KERNEL32.dll and msvcrt.dll may be needed)" ;;
  esac
done

if [ "$failures" -gt 0 ]; then
  echo "$dll: $failures check(s) failed"
  exit 1
fi
echo "$dll: ok (Windows $arch)"
