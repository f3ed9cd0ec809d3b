"""Reads what the package check needs from an ELF shared object: class, machine and flags, the
symbols it defines for others, the libraries it needs and the symbol versions it asks of them.
Little-endian objects only (every Linux platform the host runs on)."""

import struct

EM_386 = 3
EM_ARM = 40
EM_X86_64 = 62
EM_AARCH64 = 183

EF_ARM_EABIMASK = 0xFF000000
EF_ARM_EABI_VER5 = 0x05000000
EF_ARM_ABI_FLOAT_HARD = 0x00000400
EF_ARM_ABI_FLOAT_SOFT = 0x00000200

ET_DYN = 3
SHT_DYNAMIC = 6
SHT_DYNSYM = 11
SHT_GNU_VERNEED = 0x6FFFFFFE
DT_NEEDED = 1
SHN_UNDEF = 0
STB_GLOBAL, STB_WEAK, STB_GNU_UNIQUE = 1, 2, 10
STV_DEFAULT, STV_PROTECTED = 0, 3
STT_SECTION, STT_FILE = 3, 4

MACHINE_NAMES = {EM_386: "i386", EM_ARM: "ARM", EM_X86_64: "x86-64", EM_AARCH64: "aarch64"}


class ElfError(ValueError):
    pass


class ElfInfo:
    def __init__(self):
        self.bits = 0
        self.machine = 0
        self.flags = 0
        self.file_type = 0
        self.exports = []  # names of the symbols defined for other objects
        self.needed = []  # DT_NEEDED entries
        self.version_needs = {}  # library -> ["GLIBC_2.2.5", ...]

    def describe(self):
        name = MACHINE_NAMES.get(self.machine, "machine %d" % self.machine)
        text = "ELF %d-bit %s" % (self.bits, name)
        if self.machine == EM_ARM:
            text += " EABI%d %s-float" % (
                (self.flags & EF_ARM_EABIMASK) >> 24,
                "hard" if self.flags & EF_ARM_ABI_FLOAT_HARD else "soft",
            )
        return text


def _cstring(data, offset):
    if offset < 0 or offset >= len(data):
        raise ElfError("string offset %d outside the file" % offset)
    end = data.find(b"\0", offset)
    if end < 0:
        raise ElfError("unterminated string at %d" % offset)
    return data[offset:end].decode("utf-8", "replace")


def _slice(data, offset, size, what):
    if offset < 0 or size < 0 or offset + size > len(data):
        raise ElfError("%s lies outside the file" % what)
    return data[offset : offset + size]


def parse(data):
    if data[:4] != b"\x7fELF":
        raise ElfError("not an ELF file")
    if len(data) < 52:
        raise ElfError("truncated ELF header")
    ei_class, ei_data = data[4], data[5]
    if ei_data != 1:
        raise ElfError("not a little-endian ELF file")
    info = ElfInfo()
    if ei_class == 1:
        info.bits = 32
        (info.file_type, info.machine, _, _, _, shoff, info.flags, _, _, _, shentsize, shnum, _) = (
            struct.unpack_from("<HHIIIIIHHHHHH", data, 16)
        )
        section_format, symbol_format = "<IIIIIIIIII", "<IIIBBH"
    elif ei_class == 2:
        info.bits = 64
        if len(data) < 64:
            raise ElfError("truncated ELF header")
        (info.file_type, info.machine, _, _, _, shoff, info.flags, _, _, _, shentsize, shnum, _) = (
            struct.unpack_from("<HHIQQQIHHHHHH", data, 16)
        )
        section_format, symbol_format = "<IIQQQQIIQQ", "<IBBHQQ"
    else:
        raise ElfError("unknown ELF class %d" % ei_class)

    sections = []
    for i in range(shnum):
        raw = _slice(data, shoff + i * shentsize, struct.calcsize(section_format), "section header")
        _, sh_type, _, _, sh_offset, sh_size, sh_link, sh_info, _, sh_entsize = struct.unpack(
            section_format, raw
        )
        sections.append((sh_type, sh_offset, sh_size, sh_link, sh_info, sh_entsize))
    if not sections:
        raise ElfError("no section headers")

    def strings_of(link):
        if link >= len(sections):
            raise ElfError("bad string table index %d" % link)
        _, offset, size, _, _, _ = sections[link]
        return _slice(data, offset, size, "string table")

    symbol_size = struct.calcsize(symbol_format)
    for sh_type, offset, size, link, info_field, entsize in sections:
        if sh_type == SHT_DYNSYM:
            strtab = strings_of(link)
            table = _slice(data, offset, size, "dynamic symbol table")
            for pos in range(symbol_size, len(table) - symbol_size + 1, symbol_size):
                fields = struct.unpack_from(symbol_format, table, pos)
                if info.bits == 32:
                    name, _, _, st_info, st_other, shndx = fields
                else:
                    name, st_info, st_other, shndx, _, _ = fields
                binding, kind, visibility = st_info >> 4, st_info & 0xF, st_other & 0x3
                if shndx == SHN_UNDEF or kind in (STT_SECTION, STT_FILE):
                    continue
                if binding not in (STB_GLOBAL, STB_WEAK, STB_GNU_UNIQUE):
                    continue
                if visibility not in (STV_DEFAULT, STV_PROTECTED):
                    continue
                info.exports.append(_cstring(strtab, name))
        elif sh_type == SHT_DYNAMIC:
            strtab = strings_of(link)
            table = _slice(data, offset, size, "dynamic section")
            entry = "<iI" if info.bits == 32 else "<qQ"
            step = struct.calcsize(entry)
            for pos in range(0, len(table) - step + 1, step):
                tag, value = struct.unpack_from(entry, table, pos)
                if tag == 0:
                    break
                if tag == DT_NEEDED:
                    info.needed.append(_cstring(strtab, value))
        elif sh_type == SHT_GNU_VERNEED:
            strtab = strings_of(link)
            table = _slice(data, offset, size, "version needs")
            pos = 0
            for _ in range(info_field):  # sh_info holds the number of entries
                _, count, file_name, aux, next_entry = struct.unpack_from("<HHIII", table, pos)
                versions = info.version_needs.setdefault(_cstring(strtab, file_name), [])
                apos = pos + aux
                for _ in range(count):
                    _, _, _, vna_name, vna_next = struct.unpack_from("<IHHII", table, apos)
                    versions.append(_cstring(strtab, vna_name))
                    if vna_next == 0:
                        break
                    apos += vna_next
                if next_entry == 0:
                    break
                pos += next_entry
    return info


def highest_version(version_needs, prefix):
    """Highest "PREFIX_a.b.c" version asked of any library, as a tuple, or None."""
    best = None
    for versions in version_needs.values():
        for name in versions:
            if not name.startswith(prefix + "_"):
                continue
            try:
                number = tuple(int(part) for part in name[len(prefix) + 1 :].split("."))
            except ValueError:
                continue
            if best is None or number > best:
                best = number
    return best
