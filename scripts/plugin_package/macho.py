"""Reads what the package check needs from a Mach-O dylib, universal or thin: each slice's CPU,
file type, exported symbols, minimum macOS version and the dylibs it links."""

import struct

from .truncation import parse_whole

CPU_TYPE_X86_64 = 0x01000007
CPU_TYPE_ARM64 = 0x0100000C
CPU_NAMES = {CPU_TYPE_X86_64: "x86_64", CPU_TYPE_ARM64: "arm64"}

FAT_MAGIC, FAT_MAGIC_64 = 0xCAFEBABE, 0xCAFEBABF
MH_MAGIC_64 = 0xFEEDFACF
MH_DYLIB = 6

LC_SYMTAB = 0x2
LC_DYSYMTAB = 0xB
LC_LOAD_DYLIB = 0xC
LC_VERSION_MIN_MACOSX = 0x24
LC_BUILD_VERSION = 0x32
LC_LOAD_WEAK_DYLIB = 0x80000018
LC_REEXPORT_DYLIB = 0x8000001F
PLATFORM_MACOS = 1


class MachOError(ValueError):
    pass


class Slice:
    def __init__(self):
        self.cpu = 0
        self.file_type = 0
        self.exports = []
        self.min_macos = None  # (major, minor, patch)
        self.dylibs = []

    @property
    def arch(self):
        return CPU_NAMES.get(self.cpu, "cpu 0x%x" % self.cpu)


class MachOInfo:
    def __init__(self):
        self.universal = False
        self.slices = []

    def describe(self):
        kind = "Mach-O universal" if self.universal else "Mach-O thin"
        return "%s (%s)" % (kind, ", ".join(s.arch for s in self.slices))


def parse(data):
    return parse_whole(_parse, data, MachOError, "Mach-O")


def _parse(data):
    info = MachOInfo()
    (magic,) = struct.unpack_from(">I", data, 0)
    if magic in (FAT_MAGIC, FAT_MAGIC_64):
        info.universal = True
        (count,) = struct.unpack_from(">I", data, 4)
        if count > 16:
            raise MachOError("implausible number of slices: %d" % count)
        for i in range(count):
            if magic == FAT_MAGIC:
                _, _, offset, size, _ = struct.unpack_from(">iiIII", data, 8 + 20 * i)
            else:
                _, _, offset, size, _, _ = struct.unpack_from(">iiQQII", data, 8 + 32 * i)
            if offset + size > len(data):
                raise MachOError("slice %d lies outside the file" % i)
            info.slices.append(_parse_slice(data[offset : offset + size]))
    else:
        info.slices.append(_parse_slice(data))
    return info


def _version(packed):
    return (packed >> 16, (packed >> 8) & 0xFF, packed & 0xFF)


def _parse_slice(data):
    (magic,) = struct.unpack_from("<I", data, 0)
    if magic != MH_MAGIC_64:
        raise MachOError("not a 64-bit little-endian Mach-O image (magic 0x%08x)" % magic)
    piece = Slice()
    piece.cpu, _, piece.file_type, command_count, _, _ = struct.unpack_from("<iiIIII", data, 4)
    symtab = dysymtab = None
    at = 32
    for _ in range(command_count):
        command, size = struct.unpack_from("<II", data, at)
        if size < 8:
            raise MachOError("bad load command size")
        if command == LC_SYMTAB:
            symtab = struct.unpack_from("<IIII", data, at + 8)
        elif command == LC_DYSYMTAB:
            dysymtab = struct.unpack_from("<IIIIII", data, at + 8)
        elif command in (LC_LOAD_DYLIB, LC_LOAD_WEAK_DYLIB, LC_REEXPORT_DYLIB):
            (name_offset,) = struct.unpack_from("<I", data, at + 8)
            raw = data[at + name_offset : at + size]
            piece.dylibs.append(raw.split(b"\0", 1)[0].decode("utf-8", "replace"))
        elif command == LC_BUILD_VERSION:
            platform, minos = struct.unpack_from("<II", data, at + 8)
            if platform == PLATFORM_MACOS:
                piece.min_macos = _version(minos)
        elif command == LC_VERSION_MIN_MACOSX:
            (version,) = struct.unpack_from("<I", data, at + 8)
            piece.min_macos = _version(version)
        at += size
    if symtab is None or dysymtab is None:
        raise MachOError("no symbol tables")
    symbol_offset, _, string_offset, string_size = symtab
    _, _, first_defined, defined_count, _, _ = dysymtab
    strings = data[string_offset : string_offset + string_size]
    for index in range(first_defined, first_defined + defined_count):
        (name_index,) = struct.unpack_from("<I", data, symbol_offset + 16 * index)
        end = strings.find(b"\0", name_index)
        piece.exports.append(strings[name_index:end].decode("utf-8", "replace"))
    return piece
