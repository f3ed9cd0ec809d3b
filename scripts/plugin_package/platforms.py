"""The platform folders a package may hold, what each folder's library must be, and the oldest
systems the libraries are allowed to need."""

from collections import namedtuple

from . import elf, macho, pe

PLUGIN_NAME = "Pendlow"
RESOURCES = "Build Resources"
# The IDE shows the plug-in's help from one page in this folder (it reads no subfolders there).
HELP_FOLDER = "IDE Resources/Help"
HELP_PAGE = "index.html"

Platform = namedtuple("Platform", "folder library format machine bits")

PLATFORMS = [
    Platform("Linux x86-64", "libPendlow.so", "elf", elf.EM_X86_64, 64),
    Platform("Linux X86", "libPendlow.so", "elf", elf.EM_386, 32),
    Platform("Linux arm64", "libPendlow.so", "elf", elf.EM_AARCH64, 64),
    Platform("Linux ARM", "libPendlow.so", "elf", elf.EM_ARM, 32),  # EABI5 hard-float
    Platform("Windows x86-64", "Pendlow.dll", "pe", pe.MACHINE_AMD64, 64),
    Platform("Windows", "Pendlow.dll", "pe", pe.MACHINE_I386, 32),
    Platform("Windows arm64", "Pendlow.dll", "pe", pe.MACHINE_ARM64, 64),
    Platform("Mac Universal", "libPendlow.dylib", "macho", None, 64),
]
BY_FOLDER = {p.folder: p for p in PLATFORMS}

# Built on Debian by scripts/package.sh; the other two come prebuilt from native machines.
BUILT_HERE = ["Linux x86-64", "Linux X86", "Linux arm64", "Linux ARM", "Windows x86-64", "Windows"]

EXPORTS = {"REALPluginMain"}
MACHO_EXPORTS = {"_REALPluginMain"}

# Linux: the newest symbol versions a library may ask of the C and C++ runtimes. What a Debian 12
# build asks today (__libc_single_threaded needs glibc 2.32; GCC 11's libstdc++ gives 3.4.29):
# Debian 12, Ubuntu 22.04, RHEL 9, Fedora 34 and later.
GLIBC_FLOOR = (2, 32)
GLIBCXX_FLOOR = (3, 4, 29)
CXXABI_FLOOR = (1, 3, 13)
LINUX_NEEDED = {"libc.so.6", "libm.so.6", "libstdc++.so.6", "libgcc_s.so.1"}

# Windows: DLLs that every supported Windows has, compared without case as the loader does.
WINDOWS_IMPORTS = {"kernel32.dll", "msvcrt.dll"}
# Newest Windows a library may need, as (major, minor): Windows 7 on x86 and x64 (the header's
# subsystem version and the KERNEL32 functions below decide), Windows 10 on ARM64, the first
# Windows there is for it.
WINDOWS_FLOOR = {pe.MACHINE_I386: (6, 1), pe.MACHINE_AMD64: (6, 1), pe.MACHINE_ARM64: (10, 0)}
WINDOWS_NAMES = {
    (4, 0): "Windows NT 4.0",
    (5, 0): "Windows 2000",
    (5, 1): "Windows XP",
    (5, 2): "Windows XP x64 / Server 2003",
    (6, 0): "Windows Vista",
    (6, 1): "Windows 7",
    (6, 2): "Windows 8",
    (6, 3): "Windows 8.1",
    (10, 0): "Windows 10",
}
# KERNEL32 functions a compiler's runtime is known to pull in that are newer than Windows XP,
# with the first Windows that has them (from the functions' documented requirements).
KERNEL32_SINCE = {
    "GetTickCount64": (6, 0),
    "InitializeConditionVariable": (6, 0),
    "SleepConditionVariableCS": (6, 0),
    "SleepConditionVariableSRW": (6, 0),
    "WakeConditionVariable": (6, 0),
    "WakeAllConditionVariable": (6, 0),
    "InitializeSRWLock": (6, 0),
    "AcquireSRWLockExclusive": (6, 0),
    "AcquireSRWLockShared": (6, 0),
    "ReleaseSRWLockExclusive": (6, 0),
    "ReleaseSRWLockShared": (6, 0),
    "InitOnceExecuteOnce": (6, 0),
    "InitOnceBeginInitialize": (6, 0),
    "InitOnceComplete": (6, 0),
    "FlsAlloc": (6, 0),
    "FlsGetValue": (6, 0),
    "FlsSetValue": (6, 0),
    "FlsFree": (6, 0),
    "GetFinalPathNameByHandleW": (6, 0),
    "CreateSymbolicLinkW": (6, 0),
    "LCMapStringEx": (6, 0),
    "CompareStringEx": (6, 0),
    "GetLocaleInfoEx": (6, 0),
    "TryAcquireSRWLockExclusive": (6, 1),
    "TryAcquireSRWLockShared": (6, 1),
    "GetSystemTimePreciseAsFileTime": (6, 2),
    "CreateFile2": (6, 2),
    "GetCurrentThreadStackLimits": (6, 2),
    "SetThreadDescription": (10, 0),
}

# macOS: the deployment target of each slice (the macos-universal preset's 10.13; an arm64
# slice cannot be older than 11.0) and where linked dylibs may live (the system only).
MACOS_FLOOR = {"x86_64": (10, 13), "arm64": (11, 0)}
MACOS_ARCHS = {"x86_64", "arm64"}
MACOS_SYSTEM_PREFIXES = ("/usr/lib/", "/System/Library/Frameworks/")


def version_text(version):
    """"2.32", "3.4.29", "11.0" (a trailing zero third part is left out)."""
    if len(version) == 3 and version[2] == 0:
        version = version[:2]
    return ".".join(str(part) for part in version)
