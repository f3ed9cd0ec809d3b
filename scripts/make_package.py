#!/usr/bin/env python3
"""Writes a staged plug-in folder (Pendlow/Build Resources/...) as a reproducible .xojo_plugin.

    make_package.py STAGED/Pendlow OUTPUT.xojo_plugin
"""

import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from plugin_package import writer  # noqa: E402


def main(argv):
    if len(argv) != 3 or not os.path.isdir(argv[1]):
        sys.stderr.write(__doc__)
        return 2
    writer.write(argv[1], argv[2])
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
