#!/usr/bin/env python3
"""Writes the starting corpus of every fuzz target into fuzz/corpus-work/seeds/<target>/.

Sources: the real RTF documents in tests/corpus/real and small documents made by
bench/gen_rtf.py in every profile (the hostile one in several variants). Each target
gets them in its own input layout (see the comment at the top of each *_fuzz.cpp). Files are
cut to the target's maximum input length, so the corpus stays small; it is made afresh at run
time and never committed.

    make_corpus.py [--corpus DIR] [--gen GEN_RTF_PY] [--out DIR]
"""
import argparse
import hashlib
import os
import random
import re
import shutil
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))

# Maximum input length per target; run.sh passes the same values to libFuzzer.
MAX_LEN = {"import": 16384, "export": 8192, "control_word": 16384, "tables": 16384,
           "host_string": 16384}

# The fuzz targets' encoding order (fuzz_host.cpp, EncodingAt) with a Python codec for each;
# None where Python has none (the bytes are then taken from a related codec).
ENCODINGS = [
    "utf-8", "cp1252", "mac_roman", "latin-1", "ascii", None,  # 5: unknown encoding
    "utf-16-le", "utf-16-be", "utf-16-le", "utf-32-le", "utf-32-be", "utf-32-le",
    "cp437", "cp850", "cp866", "cp874", "cp932", "gbk", "cp949", "big5",
    "cp1250", "cp1251", "cp1253", "cp1254", "cp1255", "cp1256", "cp1257", "cp1258",
    "johab", "cp932", "mac_arabic", "cp1255", "mac_greek", "mac_cyrillic", "mac_latin2",
    "mac_turkish",
]

SAMPLES = [
    "Hello, world.", "Caf\u00e9 cr\u00e8me br\u00fbl\u00e9e", "Gr\u00fc\u00dfe aus K\u00f6ln",
    "\u041f\u0440\u0438\u0432\u0435\u0442, \u043c\u0438\u0440", "\u0393\u03b5\u03b9\u03ac",
    "\u05e9\u05dc\u05d5\u05dd", "\u0645\u0631\u062d\u0628\u0627", "\u65e5\u672c\u8a9e\u306e\u6587",
    "\u4e2d\u6587\u6587\u672c", "\ud55c\uad6d\uc5b4", "\u0e20\u0e32\u0e29\u0e32\u0e44\u0e17\u0e22",
    "emoji \U0001F600 and \U0001F9D1\u200d\U0001F4BB", "a\tb\r\nc\rd\ne\r\n\r\nf",
    "\\{}\\par \\u233 ;", "\ufeffBOM first", "x\u0000y\u0001z", "\u20ac 100 \u2013 \u201cquoted\u201d",
]


def write(directory, data, limit):
    data = data[:limit]
    os.makedirs(directory, exist_ok=True)
    name = hashlib.sha1(data).hexdigest()
    with open(os.path.join(directory, name), "wb") as f:
        f.write(data)


def generated_documents(gen, scratch):
    """Small documents of every generator profile, as (name, bytes)."""
    jobs = []
    for profile in ("plain", "styled", "unicode", "wordlike", "export"):
        for seed in (1, 2, 3):
            jobs.append((f"{profile}-{seed}", ["--profile", profile, "--runs", "50",
                                               "--seed", str(seed)]))
    for codepage in ("1251", "932", "936", "1253", "10000", "437"):
        jobs.append((f"codepage-{codepage}", ["--profile", "codepage", "--runs", "50",
                                              "--codepage", codepage, "--hex", "mixed"]))
    for seed in range(1, 9):
        jobs.append((f"hostile-{seed}", ["--profile", "hostile", "--size-mb", "0.05",
                                         "--seed", str(seed)]))
    docs = []
    for name, args in jobs:
        out = os.path.join(scratch, name + ".rtf")
        subprocess.run([sys.executable, gen, *args, "-o", out], check=True)
        with open(out, "rb") as f:
            docs.append((name, f.read()))
    return docs


def real_documents(folder):
    docs = []
    for name in sorted(os.listdir(folder)):
        if name.lower().endswith(".rtf"):
            with open(os.path.join(folder, name), "rb") as f:
                docs.append((name, f.read()))
    if not docs:
        sys.exit(f"make_corpus.py: no RTF documents in {folder} (the corpus is part of the "
                 "repository: restore tests/corpus/real)")
    return docs


def pieces(doc, size):
    """The document's start, plus windows from further in for long documents."""
    yield doc[:size]
    for offset in range(size, min(len(doc), 4 * size), size):
        yield doc[offset:offset + size]


TEXT_RE = re.compile(rb"\\[a-z]+-?\d* ?|\\'[0-9a-fA-F]{2}|\\.|[{}\r\n]")
FONT_RE = re.compile(rb"\\f\d+[^;{}]*? ([^;\\{}]{1,40});")


def encode(text, index):
    codec = ENCODINGS[index] or "latin-1"
    return text.encode(codec, errors="replace")


def export_input(rng, text, fonts):
    """One input of fuzz_export: runs cut from the document's text, fonts from its table."""
    out = bytearray([rng.choice([0, 4, 4, 5, 12, 20])])  # mostly: assign the document back
    pos = 0
    while pos < len(text) and len(out) < MAX_LEN["export"] - 512:
        n = rng.randint(1, 120)
        chunk = text[pos:pos + n]
        pos += n
        if rng.random() < 0.15:
            chunk += rng.choice(["\r", "\n", "\r\n", "\t"])
        index = rng.choice([0, 0, 0, 1, 1, 2, 6, 7, 9, 21, 16])
        data = encode(chunk, index)[:65535]
        out += bytes([0, index]) + len(data).to_bytes(2, "little") + data
        if fonts and rng.random() < 0.8:
            font = encode(rng.choice(fonts), 0)[:255]
            out += bytes([0, len(font)]) + font
        else:
            out.append(0xFF)
        out.append(rng.choice([0, 10, 12, 12, 14, 18, 24, 0xF8]))
        out += rng.choice([0, 0xFF0000, 0x0000FF, 0x336699, 0xFF000000]).to_bytes(4, "little")
        out.append(rng.randrange(8))
        if rng.random() < 0.2:
            out += bytes([3, rng.randrange(8), rng.randrange(5)])
    return bytes(out)


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--corpus", default=os.path.join(HERE, "..", "tests", "corpus", "real"))
    parser.add_argument("--gen", default=os.path.join(HERE, "..", "bench", "gen_rtf.py"))
    parser.add_argument("--out", default=os.path.join(HERE, "corpus-work", "seeds"))
    args = parser.parse_args()

    if os.path.isdir(args.out):
        shutil.rmtree(args.out)
    scratch = os.path.join(args.out, "_generated")
    os.makedirs(scratch)
    docs = real_documents(args.corpus) + generated_documents(args.gen, scratch)
    shutil.rmtree(scratch)
    rng = random.Random(20240611)
    folder = {t: os.path.join(args.out, t) for t in MAX_LEN}

    for number, (name, doc) in enumerate(docs):
        # fuzz_import: a control byte, then the document (read back by the getter for half).
        control = 0x10 if number % 2 == 0 else 0x00
        for piece in pieces(doc, MAX_LEN["import"] - 1):
            prefix = control if piece.startswith(b"{\\rtf") else control | 1
            body = piece[5:] if prefix & 1 and piece.startswith(b"{\\rtf") else piece
            write(folder["import"], bytes([prefix]) + body, MAX_LEN["import"])
        # fuzz_control_word: the text as it is.
        write(folder["control_word"], doc, MAX_LEN["control_word"])
        # fuzz_tables: a start byte, then the text from the last letter of each table word.
        for match in re.finditer(rb"\\(?:fonttbl|colortbl)", doc):
            write(folder["tables"], b"\x00" + doc[match.end() - 1:], MAX_LEN["tables"])
        # fuzz_export: the document's text and fonts as style runs.
        if number % 3 == 0:
            text = TEXT_RE.sub(b"", doc[:200000]).decode("latin-1")
            fonts = [f.decode("latin-1").strip() for f in FONT_RE.findall(doc[:65536])][:16]
            write(folder["export"], export_input(rng, text, fonts), MAX_LEN["export"])

    # fuzz_host_string: sample texts in every encoding, built again in another one.
    for index in range(len(ENCODINGS)):
        for sample in SAMPLES:
            data = encode(sample, index)
            for build in (0, index, rng.randrange(len(ENCODINGS))):
                flags = rng.randrange(16)
                write(folder["host_string"], bytes([index, build, flags]) + data,
                      MAX_LEN["host_string"])
    for raw in (b"\xff\xfeH\x00i\x00", b"\xfe\xff\x00H\x00i", b"\xef\xbb\xbfHi",
                b"\xed\xa0\x80", b"\xf0\x9f\x98\x80", b"\xc3\xa9\xc3", b"\x00\x00\xfe\xff"):
        for index in (0, 4, 5, 6, 9):
            write(folder["host_string"], bytes([index, 6, 0]) + raw, MAX_LEN["host_string"])
    write(folder["host_string"], b"\xff\x78\x56\x34\x12\x00\x00Hello", MAX_LEN["host_string"])

    for target in MAX_LEN:
        count = len(os.listdir(folder[target]))
        print(f"{target}: {count} starting inputs in {folder[target]}")


if __name__ == "__main__":
    main()
