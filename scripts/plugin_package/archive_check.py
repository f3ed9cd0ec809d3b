"""Checks a .xojo_plugin file: a ZIP holding one top folder named after the plug-in with
"Build Resources/<platform folder>/<library>" inside, written in the reproducible form (sorted
entries, one fixed timestamp, no extra fields), and every library right for its folder."""

import zipfile

from . import library_check
from .platforms import BY_FOLDER, PLUGIN_NAME, RESOURCES


class Report:
    def __init__(self):
        self.lines = []
        self.problems = []

    @property
    def ok(self):
        return not self.problems


def _near_miss(folder):
    """The known folder a misspelt one was meant to be: same letters and digits, any case."""

    def key(name):
        return "".join(c for c in name.lower() if c.isalnum())

    for known in BY_FOLDER:
        if key(known) == key(folder):
            return known
    return None


def check(path, required, floors=None):
    report = Report()
    try:
        archive = zipfile.ZipFile(path)
    except (OSError, zipfile.BadZipFile) as e:
        report.problems.append("%s: not a readable ZIP file (%s)" % (path, e))
        return report
    with archive:
        entries = archive.infolist()
        bad = archive.testzip()
        if bad is not None:
            report.problems.append("%s: damaged entry (CRC mismatch)" % bad)
        _check_form(entries, report)
        libraries = _check_tree(entries, report)
        for folder in required:
            if folder not in libraries:
                report.problems.append(
                    "missing platform folder: %s/%s/%s" % (PLUGIN_NAME, RESOURCES, folder)
                )
        for folder in sorted(libraries):
            entry = libraries[folder]
            result = library_check.check(BY_FOLDER[folder], archive.read(entry), floors)
            report.lines.append("%s:" % entry.filename)
            report.lines.extend("    " + fact for fact in result.facts)
            report.problems.extend("%s: %s" % (entry.filename, p) for p in result.problems)
    return report


def _check_form(entries, report):
    names = [e.filename for e in entries]
    if names != sorted(names):
        report.problems.append("entries are not in sorted order")
    if len(set(names)) != len(names):
        report.problems.append("some entries appear twice")
    stamps = {e.date_time for e in entries}
    if len(stamps) > 1:
        report.problems.append("entries carry different timestamps (not a reproducible archive)")
    for e in entries:
        if e.extra:
            report.problems.append("%s: has extra fields (not a reproducible archive)" % e.filename)


def _check_tree(entries, report):
    """Libraries by platform folder; every other entry must be one of the folders above them."""
    libraries = {}
    top = PLUGIN_NAME + "/"
    resources = top + RESOURCES + "/"
    for entry in entries:
        name = entry.filename
        if "\\" in name or name.startswith("/") or ".." in name.split("/"):
            report.problems.append("%s: unsafe entry name" % name)
            continue
        if name in (top, resources):
            continue
        if not name.startswith(resources):
            report.problems.append(
                "%s: outside %s (the package holds one top folder, %s)" % (name, resources, top)
            )
            continue
        parts = name[len(resources) :].split("/")
        folder = parts[0]
        if folder not in BY_FOLDER:
            hint = _near_miss(folder)
            known = "did you mean '%s'?" % hint if hint else "known: " + ", ".join(BY_FOLDER)
            report.problems.append("%s: unknown platform folder '%s' (%s)" % (name, folder, known))
            continue
        if len(parts) == 2 and parts[1] == "":
            continue  # the folder itself
        platform = BY_FOLDER[folder]
        if len(parts) != 2 or entry.is_dir():
            report.problems.append("%s: %s holds only its library, no subfolders" % (name, folder))
        elif parts[1] != platform.library:
            report.problems.append(
                "%s: %s's library must be named %s" % (name, folder, platform.library)
            )
        elif folder in libraries:
            report.problems.append("%s: a second library in %s" % (name, folder))
        else:
            libraries[folder] = entry
    return libraries
