# Shared part of the Linux cross toolchains: clang for PENDLOW_TARGET_TRIPLE, linked by lld
# against Debian's cross C and C++ runtimes in /usr/<triple>, and run under qemu-user through
# qemu-run.sh. Included by linux-arm64.cmake and linux-arm.cmake after they set the triple.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET ${PENDLOW_TARGET_TRIPLE})
set(CMAKE_CXX_COMPILER_TARGET ${PENDLOW_TARGET_TRIPLE})
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fuse-ld=lld")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-fuse-ld=lld")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-fuse-ld=lld")

# Libraries and headers of the target only; programs (python3, nm) of the build machine.
set(CMAKE_FIND_ROOT_PATH /usr/${PENDLOW_TARGET_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/qemu-run.sh ${PENDLOW_QEMU_ARCH})
