#!/usr/bin/env python3
"""Writes simhost/src/code_page_tables_data.cpp: the simulated host's code-page tables, read out
of glibc's iconv on Linux, for hosts that have no iconv (Windows).

The Linux host converts the code pages through iconv; the Windows host converts through these
tables, and tests/simhost/code_page_tables_test.cpp (Linux) checks both give the same result for
every byte, every byte pair and every character. Run this again whenever the host gains a code
page or glibc's converters change, and commit the result:

    python3 scripts/generate_code_page_tables.py > simhost/src/code_page_tables_data.cpp

What is read, per converter (names as glibc's iconv spells them):
- single-byte code pages: what each byte decodes to on its own (nothing when it does not decode
  to exactly one character), as the host builds its byte tables;
- multi-byte code pages: what each byte and each pair of bytes decodes to, which bytes start a
  pair (iconv asks for more input), which pairs iconv rejects only after stepping over them, and
  what every character from U+0000 to U+10FFFF encodes to;
- lower case of every character of the Basic Multilingual Plane in the C.UTF-8 locale (towlower),
  which the host uses to compare strings.
"""

import ctypes
import sys

SINGLE_BYTE = [
    "MACINTOSH", "MAC-CYRILLIC", "MAC-CENTRALEUROPE", "MAC-IS",
    "ISO-8859-1", "ISO-8859-2", "ISO-8859-3", "ISO-8859-4", "ISO-8859-5", "ISO-8859-6",
    "ISO-8859-7", "ISO-8859-8", "ISO-8859-9", "ISO-8859-10", "ISO-8859-11", "ISO-8859-13",
    "ISO-8859-14", "ISO-8859-15", "ISO-8859-16",
    "CP437", "CP737", "CP775", "CP850", "CP851", "CP852", "CP855", "CP857", "CP860", "CP861",
    "CP862", "CP863", "CP864", "CP865", "CP866", "CP869", "CP874",
    "CP1250", "CP1251", "CP1252", "CP1253", "CP1254", "CP1255", "CP1256", "CP1257", "CP1258",
    "KOI8-R",
]
# The code pages of the RTF import (932, 936, 949, 950, 1361; Mac Japanese is CP932 with a few
# single bytes of its own, and the Mac Chinese and Korean scripts are approximated by them).
MULTI_BYTE = ["CP932", "CP936", "CP949", "CP950", "JOHAB"]

NONE = 0xFFFFFFFF  # decodes to nothing / no character
LEAD = 0xFFFFFFFE  # starts a pair

EILSEQ, EINVAL = 84, 22

libc = ctypes.CDLL("libc.so.6", use_errno=True)
libc.iconv_open.restype = ctypes.c_void_p
libc.iconv_open.argtypes = [ctypes.c_char_p, ctypes.c_char_p]
libc.iconv.restype = ctypes.c_size_t
libc.iconv.argtypes = [ctypes.c_void_p] + [ctypes.c_void_p] * 4
libc.gnu_get_libc_version.restype = ctypes.c_char_p
libc.newlocale.restype = ctypes.c_void_p
libc.newlocale.argtypes = [ctypes.c_int, ctypes.c_char_p, ctypes.c_void_p]
libc.towlower_l.restype = ctypes.c_uint32
libc.towlower_l.argtypes = [ctypes.c_uint32, ctypes.c_void_p]
FAILED = ctypes.c_size_t(-1).value
LC_CTYPE_MASK = 1 << 0  # glibc: 1 << __LC_CTYPE, __LC_CTYPE = 0


class Converter:
    """One iconv descriptor; convert() runs one fresh conversion of a whole input."""

    def __init__(self, to, frm):
        self.cd = libc.iconv_open(to.encode(), frm.encode())
        if self.cd is None or self.cd == FAILED:
            sys.exit(f"glibc's iconv has no converter from {frm} to {to}")
        self.out = ctypes.create_string_buffer(64)

    def convert(self, data):
        """(output bytes, input bytes consumed, errno or 0) with the shift state flushed."""
        libc.iconv(self.cd, None, None, None, None)
        inbuf = ctypes.create_string_buffer(data, len(data))
        inptr = ctypes.c_void_p(ctypes.addressof(inbuf))
        inleft = ctypes.c_size_t(len(data))
        outptr = ctypes.c_void_p(ctypes.addressof(self.out))
        outleft = ctypes.c_size_t(len(self.out))
        r = libc.iconv(self.cd, ctypes.byref(inptr), ctypes.byref(inleft), ctypes.byref(outptr),
                       ctypes.byref(outleft))
        error = ctypes.get_errno() if r == FAILED else 0
        if error == 0:
            r = libc.iconv(self.cd, None, None, ctypes.byref(outptr), ctypes.byref(outleft))
            error = ctypes.get_errno() if r == FAILED else 0
        produced = self.out.raw[:len(self.out) - outleft.value]
        return produced, len(data) - inleft.value, error


def code_points(utf32le):
    return [int.from_bytes(utf32le[i:i + 4], "little") for i in range(0, len(utf32le), 4)]


def decode(decoder, data):
    """iconv's reading of data: the code points, the bytes used and the error number."""
    produced, used, error = decoder.convert(data)
    return code_points(produced), used, error


def decode_each_byte(decoder):
    """decode() of each of the 256 bytes on its own, in byte order."""
    return [decode(decoder, bytes([b])) for b in range(256)]


def read_single_byte(name):
    """256 decodings as the host's DecodeOneByte reads them."""
    decoder = Converter("UTF-32LE", name)
    return [cps[0] if error == 0 and len(cps) == 1 else NONE
            for cps, _, error in decode_each_byte(decoder)]


def read_multi_byte(name):
    decoder = Converter("UTF-32LE", name)
    singles = []
    for b, (cps, used, error) in enumerate(decode_each_byte(decoder)):
        if error == 0 and used == 1 and len(cps) == 1:
            singles.append(cps[0])
        elif error == EINVAL and used == 0:
            singles.append(LEAD)
        elif error == EILSEQ and used == 0:
            singles.append(NONE)
        else:
            sys.exit(f"{name}: byte {b:02X} gives {cps!r}, {used}, {error}: not modelled")
    pairs = {}  # (lead, trail) -> code point
    stepped_over = []  # pairs iconv rejects after moving past them
    for lead in range(256):
        if singles[lead] != LEAD:
            continue
        for trail in range(256):
            cps, used, error = decode(decoder, bytes([lead, trail]))
            if error == 0 and used == 2 and len(cps) == 1:
                if cps[0] > 0xFFFF:
                    sys.exit(f"{name}: pair {lead:02X}{trail:02X} is outside the BMP")
                pairs[(lead, trail)] = cps[0]
            elif error == EILSEQ and used == 0 and not cps:
                pass
            elif error == EILSEQ and used == 2 and not cps:
                stepped_over.append((lead, trail))
            else:
                sys.exit(f"{name}: pair {lead:02X}{trail:02X} gives {cps!r}, {used}, "
                         f"{error}: not modelled")
    encoder = Converter(name, "UTF-32LE")
    encoded = {}  # code point -> bytes, for those with a byte form
    for c in range(0x110000):
        produced, used, error = encoder.convert(c.to_bytes(4, "little"))
        if error == 0 and used == 4 and len(produced) <= 2:  # tag characters give nothing
            encoded[c] = produced
        elif error == EILSEQ and used == 0 and not produced:
            pass
        else:
            sys.exit(f"{name}: U+{c:04X} gives {produced!r}, {used}, {error}: not modelled")
    return singles, pairs, stepped_over, encoded


def read_lower_case():
    locale = libc.newlocale(LC_CTYPE_MASK, b"C.UTF-8", None)
    if not locale:
        sys.exit("no C.UTF-8 locale")
    return [libc.towlower_l(c, locale) for c in range(0x10000)]


def identifier(name):
    return "k" + "".join(ch if ch.isalnum() else "_" for ch in name)


def hex_list(values, width):
    """The values as a braced list on one line: one table is one line of the output, so the
    tables do not repeat one another line for line."""
    return "{" + ", ".join(f"0x{v:0{width}X}" for v in values) + "}"


def emit_byte_halves(out, ident, table):
    """Upper half as 128 entries, lower half as (byte, character) differences from ASCII."""
    out.append(f"constexpr char32_t {ident}Upper[128] = {hex_list(table[128:], 4)};")
    lower = [(b, table[b]) for b in range(128) if table[b] != b]
    if lower:
        flat = [v for pair in lower for v in pair]
        out.append(f"constexpr char32_t {ident}Lower[] = {hex_list(flat, 4)};")
    return f"{ident}Lower" if lower else "nullptr", len(lower)


def emit_multi_byte(out, name, singles, pairs, stepped_over, encoded):
    ident = identifier(name)
    lower_name, lower_count = emit_byte_halves(out, ident, singles)
    # Runs of consecutive trail bytes that decode to consecutive characters, per lead byte:
    # trail << 24 | (length - 1) << 16 | first character.
    runs, starts = [], []
    for lead in range(256):
        starts.append(len(runs))
        current = None
        for trail in range(256):
            c = pairs.get((lead, trail))
            if c is None:
                current = None
                continue
            if current is not None and current[1] < 256 and current[2] + current[1] == c:
                current[1] += 1
                runs[-1] = current
                continue
            current = [trail, 1, c]
            runs.append(current)
    starts.append(len(runs))
    packed = [t << 24 | (n - 1) << 16 | c for t, n, c in runs]
    out.append(f"constexpr uint16_t {ident}RunStart[257] = {hex_list(starts, 4)};")
    out.append(f"constexpr uint32_t {ident}Runs[] = {hex_list(packed, 8)};")
    stepped_name = "nullptr"
    if stepped_over:
        stepped_name = f"{ident}SteppedOver"
        out.append(f"constexpr uint16_t {stepped_name}[] = {{"
                   f"{', '.join(f'0x{l:02X}{t:02X}' for l, t in stepped_over)}}};")
    # Encoding: the first byte form that decodes to a character (single bytes before pairs, in
    # byte order), except where the encoder chooses otherwise or has none; those exceptions are
    # listed as character, then length << 16 | bytes (0xFFFFFFFF: no byte form).
    inverse = {}
    for b in range(256):
        if singles[b] not in (NONE, LEAD):
            inverse.setdefault(singles[b], bytes([b]))
    for (lead, trail), c in sorted(pairs.items()):
        inverse.setdefault(c, bytes([lead, trail]))
    exceptions = []
    for c in sorted(set(inverse) | set(encoded)):
        want = encoded.get(c)
        if inverse.get(c) != want:
            exceptions += [c, NONE if want is None else len(want) << 16 | int.from_bytes(want, "big")]
    exceptions_name = "nullptr"
    if exceptions:
        exceptions_name = f"{ident}EncodeExceptions"
        out.append(f"constexpr uint32_t {exceptions_name}[] = {hex_list(exceptions, 5)};")
    return (f"    {{\"{name}\", {ident}Upper, {lower_name}, {lower_count}, {ident}RunStart, "
            f"{ident}Runs, {stepped_name}, {len(stepped_over)}, {exceptions_name}, "
            f"{len(exceptions) // 2}}},")


def emit_lower_case(out, lower):
    # Ranges first..last (every `step`-th character) whose lower case is the character + delta.
    ranges = []
    changed = [c for c in range(0x10000) if lower[c] != c]
    for c in changed:
        delta = lower[c] - c
        if ranges:
            first, last, step, d = ranges[-1]
            if d == delta and (c - last == step or (first == last and c - last in (1, 2))):
                ranges[-1] = (first, c, c - last, d)
                continue
        ranges.append((c, c, 1, delta))
    items = [f"{{0x{f:04X}, 0x{l:04X}, {s}, {d}}}" for f, l, s, d in ranges]
    out.append("const LowerCaseRange kLowerCase[] = {" + ", ".join(items) + "};")
    out.append(f"const size_t kLowerCaseCount = {len(ranges)};")


def main():
    version = libc.gnu_get_libc_version().decode()
    out = [
        f"// Generated by scripts/generate_code_page_tables.py from glibc {version}'s iconv and "
        "C.UTF-8",
        "// locale. Do not edit: run the script again (see there) and commit what it writes.",
        "// clang-format off",
        '#include "code_page_tables_data.h"',
        "",
        "namespace simhost {",
        "namespace tables {",
        "namespace {",
    ]
    entries = []
    for name in SINGLE_BYTE:
        table = read_single_byte(name)
        lower_name, lower_count = emit_byte_halves(out, identifier(name), table)
        entries.append(f"    {{\"{name}\", {identifier(name)}Upper, {lower_name}, {lower_count}}},")
    multi = [emit_multi_byte(out, name, *read_multi_byte(name)) for name in MULTI_BYTE]
    out.append("}  // namespace")
    out.append("")
    out.append("const SingleByteData kSingleByte[] = {\n" + "\n".join(entries) + "\n};")
    out.append(f"const size_t kSingleByteCount = {len(entries)};")
    out.append("const MultiByteData kMultiByte[] = {\n" + "\n".join(multi) + "\n};")
    out.append(f"const size_t kMultiByteCount = {len(multi)};")
    emit_lower_case(out, read_lower_case())
    out.append("")
    out.append("}  // namespace tables")
    out.append("}  // namespace simhost")
    sys.stdout.write("\n".join(out) + "\n")


if __name__ == "__main__":
    main()
