# Linux ARM: 32-bit ARMv7 hard-float code (Debian's armhf baseline: VFPv3-D16, no NEON) from
# clang, tests under qemu-arm.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(PENDLOW_TARGET_TRIPLE arm-linux-gnueabihf)
set(PENDLOW_QEMU_ARCH arm)
set(CMAKE_C_FLAGS_INIT "-march=armv7-a -mfpu=vfpv3-d16 -mfloat-abi=hard")
set(CMAKE_CXX_FLAGS_INIT "-march=armv7-a -mfpu=vfpv3-d16 -mfloat-abi=hard")
include(${CMAKE_CURRENT_LIST_DIR}/clang-linux-cross.cmake)
