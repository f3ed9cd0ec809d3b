#!/usr/bin/env python3
"""Checks that the folders of src/ (or of another source tree) depend on each other in one
direction only.

Reads every #include "..." line of the C++ files below src/, takes the folder of the including
file and the folder of the included one (a file directly in src/ belongs to the top, "."), and
fails when the folders include each other, directly (a pair) or around a longer loop.

Usage: check_folder_includes.py [SRC_DIR]   (default: src/ beside this script's folder)
       check_folder_includes.py --self-test   (the check finds loops in a made-up tree)
"""

import pathlib
import re
import sys
import tempfile

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"')
SOURCES = {".h", ".hpp", ".cpp", ".cc", ".inc"}


def folder_of(path: pathlib.PurePosixPath) -> str:
    return str(path.parent) if len(path.parts) > 1 else "."


def folder_edges(src: pathlib.Path):
    """(from folder, to folder) -> first "file: include" line that makes the edge."""
    edges = {}
    for file in sorted(src.rglob("*")):
        if file.suffix not in SOURCES or not file.is_file():
            continue
        relative = pathlib.PurePosixPath(file.relative_to(src).as_posix())
        here = folder_of(relative)
        for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            target = pathlib.PurePosixPath(match.group(1))
            if not (src / target).is_file():  # relative to the including file
                target = relative.parent / target
            if not (src / target).is_file():
                continue  # not one of the library's files
            there = folder_of(target)
            if there != here:
                edges.setdefault((here, there), f"{src.name}/{relative}:{number}: {line.strip()}")
    return edges


def cycles(edges):
    """Each loop of folders once, as a list that starts at its smallest folder."""
    graph = {}
    for a, b in edges:
        graph.setdefault(a, set()).add(b)
    found = set()

    def walk(start, node, path):
        for nxt in sorted(graph.get(node, ())):
            if nxt == start:
                found.add(tuple(path))
            elif nxt not in path and nxt > start:
                walk(start, nxt, path + [nxt])

    for start in sorted(graph):
        walk(start, start, [start])
    return sorted(found, key=lambda c: (len(c), c))


def self_test():
    """Runs the check on small trees with and without loops; 0 when it tells them apart."""
    trees = {
        "one direction": ({"a/x.h": "", "b/y.cpp": '#include "a/x.h"', "top.cpp": '#include "b/y.h"',
                           "b/y.h": '#include "x.h"'}, []),
        "pair": ({"a/x.cpp": '#include "b/y.h"', "b/y.h": "", "b/z.cpp": ' # include "a/x.h"',
                  "a/x.h": ""}, [("a", "b")]),
        "loop of three": ({"a/x.h": '#include "b/y.h"', "b/y.h": '#include "c/z.h"',
                           "c/z.h": '#include "a/x.h"'}, [("a", "b", "c")]),
        "top and a folder": ({"main.cpp": '#include "a/x.h"', "main.h": "", "a/x.h": "",
                              "a/x.cpp": '#include "main.h"'}, [(".", "a")]),
    }
    failures = 0
    with tempfile.TemporaryDirectory() as root:
        for name, (files, expected) in trees.items():
            src = pathlib.Path(root) / name.replace(" ", "_")
            for path, text in files.items():
                (src / path).parent.mkdir(parents=True, exist_ok=True)
                (src / path).write_text(text + "\n", encoding="utf-8")
            found = cycles(folder_edges(src))
            if found != expected:
                print(f"self-test {name}: found {found}, expected {expected}")
                failures += 1
    print("self-test: " + ("failed" if failures else f"{len(trees)} trees told apart"))
    return 1 if failures else 0


def main(argv):
    if argv[1:] == ["--self-test"]:
        return self_test()
    src = pathlib.Path(argv[1]) if len(argv) > 1 else pathlib.Path(__file__).parent.parent / "src"
    if not src.is_dir():
        print(f"check_folder_includes: no folder {src}", file=sys.stderr)
        return 2
    edges = folder_edges(src)
    loops = cycles(edges)
    for loop in loops:
        ring = list(loop) + [loop[0]]
        print("folders include each other: " + " -> ".join(ring))
        for a, b in zip(ring, ring[1:]):
            print(f"  {edges[(a, b)]}")
    if loops:
        return 1
    order = sorted({a for a, _ in edges} | {b for _, b in edges})
    print(f"no include cycle between the {len(order)} folders of {src}:")
    for a, b in sorted(edges):
        print(f"  {a} -> {b}")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
