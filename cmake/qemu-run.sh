#!/bin/sh
# Runs a Linux program of another architecture under qemu-user:
#
#     qemu-run.sh ARCH PROGRAM [ARGUMENT...]      ARCH: aarch64 or arm
#
# The cross builds use it as CMAKE_CROSSCOMPILING_EMULATOR, the tool tests put it in front of
# the tool, and scripts/same_answers.sh reads it from the build's cache.
#
# Libraries: the target's loader, C library and text converters (gconv modules) come from
# Debian's multiarch package libc6:<arch> (/lib/<triple>, /usr/lib/<triple>/gconv), the C++
# runtime from the cross package in /usr/<triple>/lib, searched after the multiarch directory so
# that loader and C library are one build. (qemu's -L /usr/<triple> would pair the cross
# package's loader with the multiarch C library that /etc/ld.so.cache names.)
# PENDLOW_QEMU_SYSROOT=DIR instead maps the target's absolute paths into DIR (qemu -L), e.g. a
# libc6:<arch> package unpacked with dpkg-deb -x where the architecture cannot be added.
#
# Re-execution: without binfmt_misc the kernel cannot start a foreign program, so a program
# that runs its own argv[0] again (GoogleTest's "threadsafe" death tests) must come back here.
# The program therefore sees this script as its argv[0], and the script, started that way,
# finds the real program in PENDLOW_QEMU_PROGRAM.
set -eu

case "${1-}" in
  aarch64) triple=aarch64-linux-gnu loader=/lib/ld-linux-aarch64.so.1 ;;
  arm) triple=arm-linux-gnueabihf loader=/lib/ld-linux-armhf.so.3 ;;
  *)
    # Started as a program's argv[0]: run that program again with the arguments given.
    if [ -z "${PENDLOW_QEMU_PROGRAM-}" ] || [ -z "${PENDLOW_QEMU_ARCH-}" ]; then
      echo "usage: qemu-run.sh aarch64|arm PROGRAM [ARGUMENT...]" >&2
      exit 2
    fi
    exec "$0" "$PENDLOW_QEMU_ARCH" "$PENDLOW_QEMU_PROGRAM" "$@"
    ;;
esac
arch=$1
program=${2:?"usage: qemu-run.sh $arch PROGRAM [ARGUMENT...]"}
shift 2

case "$program" in
  /*) ;;
  *) program=$(pwd)/$program ;;
esac
self=$(cd "$(dirname "$0")" && pwd)/$(basename "$0")

if [ -n "${PENDLOW_QEMU_SYSROOT-}" ]; then
  set -- -L "$PENDLOW_QEMU_SYSROOT" -0 "$self" "$program" "$@"
elif [ -e "$loader" ]; then
  set -- -0 "$self" "$program" "$@"
else
  echo "qemu-run.sh: $loader is missing: install libc6:$(
    [ "$arch" = arm ] && echo armhf || echo arm64) (dpkg --add-architecture) or set" \
    "PENDLOW_QEMU_SYSROOT" >&2
  exit 127
fi
export PENDLOW_QEMU_ARCH="$arch" PENDLOW_QEMU_PROGRAM="$program"
export QEMU_SET_ENV="LD_LIBRARY_PATH=/lib/$triple:/usr/$triple/lib"
exec "qemu-$arch" "$@"
