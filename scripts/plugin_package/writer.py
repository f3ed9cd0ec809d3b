"""Writes a folder tree as a ZIP that depends only on the files' names and bytes: entries in
sorted order, one fixed timestamp, fixed permissions, Unix as the creating system, no extra
fields, no comment, the same compression level every time."""

import os
import time
import zipfile

DEFAULT_TIME = (1980, 1, 1, 0, 0, 0)  # the earliest time a ZIP entry can carry
DIRECTORY_MODE = 0o40755
FILE_MODE = 0o100755  # libraries are executable objects
DOCUMENT_MODE = 0o100644  # the IDE's help
MSDOS_DIRECTORY = 0x10


def fixed_time():
    """1980-01-01 00:00:00, or SOURCE_DATE_EPOCH (UTC, at ZIP's two-second resolution) if set."""
    epoch = os.environ.get("SOURCE_DATE_EPOCH")
    if not epoch:
        return DEFAULT_TIME
    stamp = time.gmtime(max(int(epoch), 315532800))  # not before 1980-01-01
    return (
        stamp.tm_year,
        stamp.tm_mon,
        stamp.tm_mday,
        stamp.tm_hour,
        stamp.tm_min,
        stamp.tm_sec & ~1,
    )


def _entries(top):
    """Archive names under the top folder's own name, folders ending in '/', sorted."""
    base = os.path.dirname(os.path.abspath(top))
    names = []
    for folder, subfolders, files in os.walk(top):
        relative = os.path.relpath(folder, base).replace(os.sep, "/")
        names.append((relative + "/", None))
        for name in files:
            names.append((relative + "/" + name, os.path.join(folder, name)))
    return sorted(names)


def write(top, output):
    """Writes the tree under `top` (its own name becomes the ZIP's top folder) to `output`."""
    stamp = fixed_time()
    partial = output + ".partial"
    with zipfile.ZipFile(partial, "w") as archive:
        for name, source in _entries(top):
            info = zipfile.ZipInfo(name, date_time=stamp)
            info.create_system = 3
            if source is None:
                info.external_attr = (DIRECTORY_MODE << 16) | MSDOS_DIRECTORY
                info.compress_type = zipfile.ZIP_STORED
                archive.writestr(info, b"")
            else:
                document = "/IDE Resources/" in name
                info.external_attr = (DOCUMENT_MODE if document else FILE_MODE) << 16
                info.compress_type = zipfile.ZIP_DEFLATED
                with open(source, "rb") as f:
                    archive.writestr(info, f.read(), compresslevel=9)
    os.replace(partial, output)
