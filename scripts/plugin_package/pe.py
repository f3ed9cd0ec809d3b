"""Reads what the package check needs from a PE DLL: machine, whether it is a DLL, the Windows
versions its header asks for, the names it exports and the DLLs and functions it imports."""

import struct

from .truncation import parse_whole

MACHINE_I386 = 0x014C
MACHINE_AMD64 = 0x8664
MACHINE_ARM64 = 0xAA64
MACHINE_NAMES = {MACHINE_I386: "I386", MACHINE_AMD64: "AMD64", MACHINE_ARM64: "ARM64"}

IMAGE_FILE_DLL = 0x2000
EXPORT_DIRECTORY, IMPORT_DIRECTORY, DELAY_IMPORT_DIRECTORY = 0, 1, 13


class PeError(ValueError):
    pass


class PeInfo:
    def __init__(self):
        self.machine = 0
        self.is_dll = False
        self.pe32_plus = False
        self.os_version = (0, 0)
        self.subsystem_version = (0, 0)
        self.exports = []  # exported names
        self.export_count = 0  # exported functions, named or by ordinal only
        self.imports = {}  # DLL name as written -> [function names or "#ordinal"]
        self.delay_imports = []  # DLL names

    def describe(self):
        return "PE%s %s%s" % (
            "32+" if self.pe32_plus else "32",
            MACHINE_NAMES.get(self.machine, "machine 0x%04x" % self.machine),
            " DLL" if self.is_dll else "",
        )


def parse(data):
    return parse_whole(_parse, data, PeError, "PE")


def _parse(data):
    if data[:2] != b"MZ":
        raise PeError("not a PE file")
    (pe_offset,) = struct.unpack_from("<I", data, 0x3C)
    if data[pe_offset : pe_offset + 4] != b"PE\0\0":
        raise PeError("no PE signature")
    info = PeInfo()
    coff = pe_offset + 4
    info.machine, section_count, _, _, _, optional_size, characteristics = struct.unpack_from(
        "<HHIIIHH", data, coff
    )
    info.is_dll = bool(characteristics & IMAGE_FILE_DLL)
    optional = coff + 20
    (magic,) = struct.unpack_from("<H", data, optional)
    if magic == 0x10B:
        directory_count_at, directories_at = 92, 96
    elif magic == 0x20B:
        info.pe32_plus = True
        directory_count_at, directories_at = 108, 112
    else:
        raise PeError("unknown optional header magic 0x%x" % magic)
    info.os_version = struct.unpack_from("<HH", data, optional + 40)
    info.subsystem_version = struct.unpack_from("<HH", data, optional + 48)
    (directory_count,) = struct.unpack_from("<I", data, optional + directory_count_at)

    def directory(index):
        if index >= directory_count:
            return 0, 0
        return struct.unpack_from("<II", data, optional + directories_at + 8 * index)

    sections = []
    table = optional + optional_size
    for i in range(section_count):
        virtual_size, virtual_address, raw_size, raw_pointer = struct.unpack_from(
            "<IIII", data, table + 40 * i + 8
        )
        sections.append((virtual_address, max(virtual_size, raw_size), raw_pointer, raw_size))

    def offset_of(rva):
        for address, size, pointer, raw_size in sections:
            if address <= rva < address + size and rva - address < raw_size:
                return pointer + rva - address
        raise PeError("address 0x%x is in no section" % rva)

    def cstring(rva):
        start = offset_of(rva)
        end = data.find(b"\0", start)
        if end < 0:
            raise PeError("unterminated name")
        return data[start:end].decode("ascii", "replace")

    export_rva, export_size = directory(EXPORT_DIRECTORY)
    if export_rva and export_size:
        at = offset_of(export_rva)
        function_count, name_count, functions_rva, names_rva = struct.unpack_from(
            "<IIII", data, at + 20
        )
        functions_at = offset_of(functions_rva) if function_count else 0
        for i in range(function_count):  # unused ordinals have address 0
            (address,) = struct.unpack_from("<I", data, functions_at + 4 * i)
            info.export_count += 1 if address else 0
        names_at = offset_of(names_rva) if name_count else 0
        for i in range(name_count):
            (name_rva,) = struct.unpack_from("<I", data, names_at + 4 * i)
            info.exports.append(cstring(name_rva))

    thunk_format, ordinal_flag = ("<Q", 1 << 63) if info.pe32_plus else ("<I", 1 << 31)
    thunk_size = struct.calcsize(thunk_format)
    import_rva, import_size = directory(IMPORT_DIRECTORY)
    if import_rva and import_size:
        at = offset_of(import_rva)
        while True:
            lookup, _, _, name_rva, first_thunk = struct.unpack_from("<IIIII", data, at)
            if lookup == 0 and name_rva == 0 and first_thunk == 0:
                break
            functions = info.imports.setdefault(cstring(name_rva), [])
            thunk = offset_of(lookup or first_thunk)
            while True:
                (entry,) = struct.unpack_from(thunk_format, data, thunk)
                if entry == 0:
                    break
                if entry & ordinal_flag:
                    functions.append("#%d" % (entry & 0xFFFF))
                else:
                    functions.append(cstring((entry & 0x7FFFFFFF) + 2))  # after the hint
                thunk += thunk_size
            at += 20

    delay_rva, delay_size = directory(DELAY_IMPORT_DIRECTORY)
    if delay_rva and delay_size:
        at = offset_of(delay_rva)
        while True:
            (_, name_rva) = struct.unpack_from("<II", data, at)
            if name_rva == 0:
                break
            info.delay_imports.append(cstring(name_rva))
            at += 32
    return info
