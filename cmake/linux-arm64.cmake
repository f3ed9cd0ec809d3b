# Linux arm64: AArch64 code from clang, tests under qemu-aarch64.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(PENDLOW_TARGET_TRIPLE aarch64-linux-gnu)
set(PENDLOW_QEMU_ARCH aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/clang-linux-cross.cmake)
