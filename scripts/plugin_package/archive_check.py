"""Checks a .xojo_plugin file: a ZIP holding one top folder named after the plug-in with
"Build Resources/<platform folder>/<library>" inside and, beside it, the help page
"IDE Resources/Help/index.html" alone in its folder, written in the reproducible form (sorted
entries, one fixed timestamp, no extra fields), and every library right for its folder."""

import zipfile

from . import library_check
from .platforms import BY_FOLDER, HELP_FOLDER, HELP_PAGE, PLUGIN_NAME, RESOURCES


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


def check(path, required, floors=None, require_help=False):
    """`require_help`: the help page must be there (it is checked whenever it is there)."""
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
        help_entries = [e for e in entries if e.filename.startswith(PLUGIN_NAME + "/IDE ")]
        _check_help(archive, help_entries, report, require_help)
        libraries = _check_tree([e for e in entries if e not in help_entries], report)
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


def _check_help(archive, entries, report, required):
    """The IDE's help: "IDE Resources/Help/index.html", nothing else under "IDE Resources"."""
    ide = PLUGIN_NAME + "/" + HELP_FOLDER.split("/")[0] + "/"
    folder = PLUGIN_NAME + "/" + HELP_FOLDER + "/"
    page = folder + HELP_PAGE
    found = None
    for entry in entries:
        name = entry.filename
        if name in (ide, folder):
            continue
        if name == page and not entry.is_dir():
            found = entry
        elif name.startswith(folder):
            report.problems.append(
                "%s: %s holds only %s (one page, no subfolders)" % (name, folder, HELP_PAGE)
            )
        else:
            report.problems.append("%s: %s holds only the help folder %s" % (name, ide, folder))
    if found is None:
        if required:
            report.problems.append("missing help page: %s" % page)
        return
    data = archive.read(found)
    try:
        text = data.decode("utf-8")
    except UnicodeDecodeError:
        report.problems.append("%s: not UTF-8 text" % page)
        return
    if not text.lstrip().lower().startswith("<!doctype html") or "</html>" not in text.lower():
        report.problems.append("%s: not an HTML page" % page)
        return
    report.lines.append("%s: %d bytes" % (page, len(data)))
