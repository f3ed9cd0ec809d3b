#!/usr/bin/env python3
"""Checks the plug-in's distribution file or single libraries.

    check_package.py PACKAGE.xojo_plugin [--require FOLDER]...
        The tree (Pendlow/Build Resources/<platform folder>/<library> and the IDE's help page,
        Pendlow/IDE Resources/Help/index.html, alone in its folder), the archive's
        reproducible form and every library. Without --require the six folders built on Linux
        must be present; each --require replaces that list (--require none: no folder needed).
    check_package.py --library FOLDER FILE
        One library, checked as the library of that platform folder.
    check_package.py --identify FILE
        Prints the platform folder a library's format and architecture belong to.

Options: --glibc-floor X.Y, --glibcxx-floor X.Y.Z and --cxxabi-floor X.Y.Z set the newest
symbol versions a Linux library may ask for (defaults: what the Debian 12 build gives).
Exit status: 0 when everything passes, 1 when something does not, 2 for a usage error.
"""

import argparse
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from plugin_package import archive_check, library_check  # noqa: E402
from plugin_package.platforms import BUILT_HERE, BY_FOLDER  # noqa: E402


def version(text):
    try:
        return tuple(int(part) for part in text.split("."))
    except ValueError:
        raise argparse.ArgumentTypeError("not a version: " + text)


def main(argv):
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("package", nargs="?")
    parser.add_argument("--require", action="append")
    parser.add_argument("--library", nargs=2, metavar=("FOLDER", "FILE"))
    parser.add_argument("--identify", metavar="FILE")
    floors = library_check.Floors()
    parser.add_argument("--glibc-floor", type=version, default=floors.glibc)
    parser.add_argument("--glibcxx-floor", type=version, default=floors.glibcxx)
    parser.add_argument("--cxxabi-floor", type=version, default=floors.cxxabi)
    args = parser.parse_args(argv[1:])
    floors = library_check.Floors(args.glibc_floor, args.glibcxx_floor, args.cxxabi_floor)
    modes = [args.package is not None, args.library is not None, args.identify is not None]
    if sum(modes) != 1:
        parser.error("give a package, --library FOLDER FILE or --identify FILE")

    if args.identify:
        with open(args.identify, "rb") as f:
            data = f.read()
        folder = library_check.identify(data)
        if folder is None:
            print("%s: no platform folder (%s)" % (args.identify, library_check.describe(data)))
            return 1
        print(folder)
        return 0

    if args.library:
        folder, path = args.library
        if folder not in BY_FOLDER:
            known = ", ".join(BY_FOLDER)
            parser.error("unknown platform folder '%s' (known: %s)" % (folder, known))
        with open(path, "rb") as f:
            result = library_check.check(BY_FOLDER[folder], f.read(), floors)
        print("%s (as %s):" % (path, folder))
        lines, problems = ["    " + fact for fact in result.facts], result.problems
    else:
        required = BUILT_HERE if args.require is None else [r for r in args.require if r != "none"]
        for folder in required:
            if folder not in BY_FOLDER:
                parser.error("unknown platform folder '%s'" % folder)
        report = archive_check.check(args.package, required, floors, require_help=True)
        print("%s:" % args.package)
        lines, problems = ["    " + line for line in report.lines], report.problems

    for line in lines:
        print(line)
    for problem in problems:
        print("FAIL: " + problem)
    print("FAILED: %d problem(s)" % len(problems) if problems else "OK")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
