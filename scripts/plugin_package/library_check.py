"""Checks one library against the platform folder it sits in: file format and architecture, the
one exported entry point, the libraries it needs and the oldest system it can run on."""

import struct

from . import elf, macho, pe
from .platforms import (
    CXXABI_FLOOR,
    EXPORTS,
    GLIBC_FLOOR,
    GLIBCXX_FLOOR,
    KERNEL32_SINCE,
    LINUX_NEEDED,
    MACHO_EXPORTS,
    MACOS_ARCHS,
    MACOS_FLOOR,
    MACOS_SYSTEM_PREFIXES,
    PLATFORMS,
    WINDOWS_FLOOR,
    WINDOWS_IMPORTS,
    WINDOWS_NAMES,
    version_text,
)


class Result:
    def __init__(self):
        self.facts = []  # what was found, printed on success too
        self.problems = []  # why the library does not belong where it is

    @property
    def ok(self):
        return not self.problems


class Floors:
    """The newest versions a Linux library may ask for; tests lower them to see the check fail."""

    def __init__(self, glibc=GLIBC_FLOOR, glibcxx=GLIBCXX_FLOOR, cxxabi=CXXABI_FLOOR):
        self.glibc, self.glibcxx, self.cxxabi = glibc, glibcxx, cxxabi


def _exports_problem(found, wanted):
    if set(found) == wanted and len(found) == len(wanted):
        return None
    extra = sorted(set(found) - wanted)
    missing = sorted(wanted - set(found))
    parts = []
    if extra:
        parts.append("exports more than the entry point: " + ", ".join(extra[:20]))
        if len(extra) > 20:
            parts[-1] += " (and %d more)" % (len(extra) - 20)
    if missing:
        parts.append("does not export " + ", ".join(missing))
    if not parts:
        parts.append("exports the entry point more than once")
    return "; ".join(parts)


def _check_elf(platform, data, result, floors):
    info = elf.parse(data)
    result.facts.append(info.describe())
    if info.file_type != elf.ET_DYN:
        result.problems.append("not a shared object (ELF type %d)" % info.file_type)
    if info.bits != platform.bits or info.machine != platform.machine:
        wanted = "ELF %d-bit %s" % (platform.bits, elf.MACHINE_NAMES[platform.machine])
        result.problems.append("is %s, the folder needs %s" % (info.describe(), wanted))
    if info.machine == elf.EM_ARM and platform.machine == elf.EM_ARM:
        if info.flags & elf.EF_ARM_EABIMASK != elf.EF_ARM_EABI_VER5:
            result.problems.append("not an EABI version 5 object")
        if not info.flags & elf.EF_ARM_ABI_FLOAT_HARD:
            result.problems.append("not built for the hard-float ABI")
    problem = _exports_problem(info.exports, EXPORTS)
    if problem:
        result.problems.append(problem)
    result.facts.append("exports " + ", ".join(sorted(info.exports)))
    result.facts.append("needs " + ", ".join(info.needed))
    unexpected = sorted(set(info.needed) - LINUX_NEEDED)
    if unexpected:
        result.problems.append(
            "needs libraries beyond the C and C++ runtimes: " + ", ".join(unexpected)
        )
    for prefix, floor in (
        ("GLIBC", floors.glibc),
        ("GLIBCXX", floors.glibcxx),
        ("CXXABI", floors.cxxabi),
    ):
        highest = elf.highest_version(info.version_needs, prefix)
        if highest is None:
            continue
        result.facts.append(
            "highest %s_%s (allowed up to %s)"
            % (prefix, version_text(highest), version_text(floor))
        )
        if highest > floor:
            result.problems.append(
                "needs %s_%s, newer than the allowed %s_%s"
                % (prefix, version_text(highest), prefix, version_text(floor))
            )


def _windows_version_needed(info):
    """The newest Windows the header or a known KERNEL32 import asks for, with the reason."""
    needed, reason = tuple(info.subsystem_version), "the header's subsystem version"
    for dll, functions in info.imports.items():
        if dll.lower() != "kernel32.dll":
            continue
        for name in functions:
            since = KERNEL32_SINCE.get(name)
            if since and since > needed:
                needed, reason = since, name
    return needed, reason


def _check_pe(platform, data, result):
    info = pe.parse(data)
    result.facts.append(info.describe())
    if not info.is_dll:
        result.problems.append("not a DLL")
    if info.machine != platform.machine:
        result.problems.append(
            "is %s, the folder needs %s" % (info.describe(), pe.MACHINE_NAMES[platform.machine])
        )
    if info.pe32_plus != (platform.bits == 64):
        result.problems.append("wrong optional header for a %d-bit DLL" % platform.bits)
    problem = _exports_problem(info.exports, EXPORTS)
    if problem:
        result.problems.append(problem)
    elif info.export_count != 1:
        result.problems.append("exports %d functions, some by ordinal only" % info.export_count)
    result.facts.append("exports " + ", ".join(sorted(info.exports)))
    result.facts.append("imports " + (", ".join(sorted(info.imports)) or "nothing"))
    unexpected = sorted(d for d in info.imports if d.lower() not in WINDOWS_IMPORTS)
    if unexpected:
        result.problems.append("imports DLLs beyond KERNEL32 and msvcrt: " + ", ".join(unexpected))
    if info.delay_imports:
        result.problems.append("delay-loads " + ", ".join(info.delay_imports))
    needed, reason = _windows_version_needed(info)
    name = WINDOWS_NAMES.get(needed, "Windows " + version_text(needed))
    result.facts.append(
        "header: OS %s, subsystem %s; needs at least %s (%s)"
        % (version_text(info.os_version), version_text(info.subsystem_version), name, reason)
    )
    floor = WINDOWS_FLOOR[platform.machine]
    if needed > floor:
        result.problems.append(
            "needs %s (%s), newer than the allowed %s"
            % (name, reason, WINDOWS_NAMES.get(floor, version_text(floor)))
        )


def _check_macho(platform, data, result):
    info = macho.parse(data)
    result.facts.append(info.describe())
    if not info.universal:
        result.problems.append("not a universal binary")
    archs = [s.arch for s in info.slices]
    if sorted(archs) != sorted(MACOS_ARCHS):
        result.problems.append(
            "holds %s, the folder needs x86_64 and arm64" % (", ".join(archs) or "no slices")
        )
    for piece in info.slices:
        label = piece.arch + ": "
        if piece.file_type != macho.MH_DYLIB:
            result.problems.append(label + "not a dylib (file type %d)" % piece.file_type)
        result.facts.append(label + "exports " + ", ".join(sorted(piece.exports)))
        result.facts.append(label + "links " + (", ".join(piece.dylibs) or "nothing"))
        problem = _exports_problem(piece.exports, MACHO_EXPORTS)
        if problem:
            result.problems.append(label + problem)
        floor = MACOS_FLOOR.get(piece.arch)
        if piece.min_macos is None:
            result.problems.append(label + "states no minimum macOS version")
        else:
            result.facts.append(label + "minimum macOS " + version_text(piece.min_macos))
            if floor and piece.min_macos[:2] > floor:
                result.problems.append(
                    label
                    + "needs macOS %s, newer than the allowed %s"
                    % (version_text(piece.min_macos), version_text(floor))
                )
        foreign = [d for d in piece.dylibs if not d.startswith(MACOS_SYSTEM_PREFIXES)]
        if foreign:
            result.problems.append(label + "links dylibs outside the system: " + ", ".join(foreign))


def check(platform, data, floors=None):
    """Checks a library's bytes against a platform; never raises for malformed input."""
    result = Result()
    try:
        if platform.format == "elf":
            _check_elf(platform, data, result, floors or Floors())
        elif platform.format == "pe":
            _check_pe(platform, data, result)
        else:
            _check_macho(platform, data, result)
    except (ValueError, struct.error, IndexError) as e:
        result.problems.append("cannot be read as the folder's format: %s" % e)
    return result


def identify(data):
    """The platform folder matching a library's format and architecture, or None."""
    try:
        if data.startswith(b"\x7fELF"):
            info = elf.parse(data)
            key = ("elf", info.machine, info.bits)
        elif data.startswith(b"MZ"):
            info = pe.parse(data)
            key = ("pe", info.machine, 64 if info.pe32_plus else 32)
        else:
            info = macho.parse(data)
            archs = sorted(s.arch for s in info.slices)
            key = ("macho", None, 64) if archs == sorted(MACOS_ARCHS) else None
    except (ValueError, struct.error, IndexError):
        return None
    for platform in PLATFORMS:
        if (platform.format, platform.machine, platform.bits) == key:
            return platform.folder
    return None


def describe(data):
    """Format and architecture in words, whatever the file is."""
    readers = (
        (b"\x7fELF", elf),
        (b"MZ", pe),
        (b"\xca\xfe\xba\xbe", macho),
        (b"\xcf\xfa\xed\xfe", macho),
    )
    for magic, reader in readers:
        if data.startswith(magic):
            try:
                return reader.parse(data).describe()
            except (ValueError, struct.error, IndexError) as e:
                return "unreadable (%s)" % e
    return "not a library"
