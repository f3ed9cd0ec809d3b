# Linux X86: 32-bit i386 code from the machine's own compiler (g++-multilib). The programs run
# natively on an x86-64 host, so nothing here marks the build as a cross build. Libraries are
# looked up in the i386 folders, never in x86-64's.
set(CMAKE_C_FLAGS_INIT "-m32")
set(CMAKE_CXX_FLAGS_INIT "-m32")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-m32")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-m32")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-m32")
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
