# 32-bit Windows ("Windows" plug-in folder) with Debian's mingw-w64 (posix threads). No
# emulator: Debian 12's wine runs only 64-bit programs here (wine32:i386 is not installable
# beside it), so the programs are built and the library's exports are checked, not run.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR X86)
set(PENDLOW_MINGW_TRIPLET i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
