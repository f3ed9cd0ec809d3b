# Shared part of the mingw-w64 toolchains; PENDLOW_MINGW_TRIPLET names the target.
set(CMAKE_C_COMPILER ${PENDLOW_MINGW_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${PENDLOW_MINGW_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${PENDLOW_MINGW_TRIPLET}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${PENDLOW_MINGW_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Paths compiled into the tests and the simulated host, as the programs see them under wine:
# drive Z: is the Unix root (a bare "/work/..." would name the current drive, C: in a
# temporary folder).
set(PENDLOW_RUN_PATH_PREFIX "Z:")

# The C and C++ runtimes go inside each binary, so the plug-in DLL imports only system DLLs
# (KERNEL32.dll, msvcrt.dll) and the test programs run without mingw's DLLs on the path.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ -static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ -static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static-libgcc -static-libstdc++ -static")
