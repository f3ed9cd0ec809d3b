#!/usr/bin/env python3
"""The user's sections of the documentation live once, in docs/*.md; the README holds a copy of
each between markers, and the IDE's help page is made from the same files.

    docs_sections.py check      the README's copies are exactly the docs files (exit 1 if not)
    docs_sections.py sync       rewrite the README's copies from the docs files
    docs_sections.py html OUT   write the help page (one self-contained HTML file) to OUT

    --root DIR before the command works on another copy of the repository (for tests).

Standard library only. The HTML depends on the docs files alone, so it is the same bytes every
time.
"""

import difflib
import html
import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
README = os.path.join(ROOT, "README.md")
# In the order of the help page.
SECTIONS = ["docs/xojo.md", "docs/limitations.md"]


def begin_marker(name):
    return "<!-- %s: edit it there, then run scripts/docs_sections.py sync -->" % name


def end_marker(name):
    return "<!-- end of %s -->" % name


def read(path):
    with open(os.path.join(ROOT, path), encoding="utf-8") as f:
        return f.read()


def readme_copy(readme, name):
    """The text between the section's markers, or None when the markers are missing."""
    begin, end = begin_marker(name) + "\n", end_marker(name)
    start = readme.find(begin)
    stop = readme.find(end, start + len(begin)) if start >= 0 else -1
    if start < 0 or stop < 0:
        return None
    return readme[start + len(begin) : stop]


def check():
    readme = read("README.md")
    problems = 0
    for name in SECTIONS:
        source = read(name)
        copy = readme_copy(readme, name)
        if copy is None:
            print("README.md: no section from %s (markers missing)" % name)
            problems += 1
        elif copy != source:
            print("README.md: the section from %s differs from it:" % name)
            diff = difflib.unified_diff(
                source.splitlines(True), copy.splitlines(True), name, "README.md"
            )
            sys.stdout.writelines(diff)
            problems += 1
    if not problems:
        print("README.md holds exactly: " + ", ".join(SECTIONS))
    return 1 if problems else 0


def sync():
    readme = read("README.md")
    for name in SECTIONS:
        copy = readme_copy(readme, name)
        if copy is None:
            sys.stderr.write(
                "README.md: add the markers for %s first:\n%s\n%s\n"
                % (name, begin_marker(name), end_marker(name))
            )
            return 1
        begin = readme.find(begin_marker(name) + "\n") + len(begin_marker(name)) + 1
        readme = readme[:begin] + read(name) + readme[begin + len(copy) :]
    with open(README, "w", encoding="utf-8") as f:
        f.write(readme)
    return 0


# --- Markdown, the small part the docs files use ---------------------------------------------

INLINE = re.compile(r"`([^`]+)`|\*\*(.+?)\*\*|\[([^\]]+)\]\(([^)]+)\)")


def inline(text):
    out, at = [], 0
    for m in INLINE.finditer(text):
        out.append(html.escape(text[at : m.start()], quote=False))
        if m.group(1) is not None:
            out.append("<code>%s</code>" % html.escape(m.group(1), quote=False))
        elif m.group(2) is not None:
            out.append("<strong>%s</strong>" % inline(m.group(2)))
        else:
            out.append('<a href="%s">%s</a>' % (html.escape(m.group(4)), inline(m.group(3))))
        at = m.end()
    out.append(html.escape(text[at:], quote=False))
    return "".join(out)


def table(lines):
    def cells(line):
        return [c.strip() for c in line.strip().strip("|").split("|")]

    head, rule, body = cells(lines[0]), cells(lines[1]), [cells(l) for l in lines[2:]]
    align = ["right" if r.endswith(":") else "left" for r in rule]
    out = ["<table>", "<tr>"]
    out += ['<th style="text-align:%s">%s</th>' % (a, inline(c)) for a, c in zip(align, head)]
    out.append("</tr>")
    for row in body:
        out.append("<tr>")
        out += ['<td style="text-align:%s">%s</td>' % (a, inline(c)) for a, c in zip(align, row)]
        out.append("</tr>")
    out.append("</table>")
    return "\n".join(out)


def blocks(lines):
    """Renders a list of lines (already without the list item's indentation)."""
    out, i = [], 0
    while i < len(lines):
        line = lines[i]
        if not line.strip():
            i += 1
        elif line.startswith("```"):
            j = i + 1
            while j < len(lines) and not lines[j].startswith("```"):
                j += 1
            code = "\n".join(lines[i + 1 : j])
            out.append("<pre><code>%s</code></pre>" % html.escape(code, quote=False))
            i = j + 1
        elif line.startswith("    "):
            j = i
            while j < len(lines) and (lines[j].startswith("    ") or not lines[j].strip()):
                j += 1
            code = "\n".join(l[4:] for l in lines[i:j]).rstrip("\n")
            out.append("<pre><code>%s</code></pre>" % html.escape(code, quote=False))
            i = j
        elif line.startswith("#"):
            level = len(line) - len(line.lstrip("#"))
            out.append("<h%d>%s</h%d>" % (level, inline(line[level:].strip()), level))
            i += 1
        elif line.startswith("|"):
            j = i
            while j < len(lines) and lines[j].startswith("|"):
                j += 1
            out.append(table(lines[i:j]))
            i = j
        elif line.startswith("- "):
            items = []
            while i < len(lines) and lines[i].startswith("- "):
                item = [lines[i][2:]]
                i += 1
                while i < len(lines):
                    if lines[i].startswith("  "):
                        item.append(lines[i][2:])
                    elif not lines[i].strip() and lines[i + 1 : i + 2] != [] and (
                        lines[i + 1].startswith("  ")
                    ):
                        item.append("")
                    else:
                        break
                    i += 1
                while i < len(lines) and not lines[i].strip():
                    i += 1
                items.append("<li>%s</li>" % blocks(item))
            out.append("<ul>\n%s\n</ul>" % "\n".join(items))
        else:
            j = i
            while j < len(lines) and lines[j].strip() and not re.match(r"(```|#|\||- )", lines[j]):
                j += 1
            out.append("<p>%s</p>" % inline(" ".join(l.strip() for l in lines[i:j])))
            i = j
    return "\n".join(out)


STYLE = """body { font: 14px/1.45 -apple-system, "Segoe UI", Helvetica, Arial, sans-serif;
       max-width: 50em; margin: 1.5em auto; padding: 0 1em; color: #222; }
code, pre { font: 13px Menlo, Consolas, "DejaVu Sans Mono", monospace; }
pre { background: #f4f4f4; padding: 0.6em 0.8em; overflow-x: auto; }
table { border-collapse: collapse; }
th, td { border: 1px solid #ccc; padding: 0.2em 0.6em; }
h1 { font-size: 1.6em; } h2 { font-size: 1.3em; margin-top: 1.6em; } h3 { font-size: 1.1em; }"""


def page():
    body = "\n".join(blocks(read(name).splitlines()) for name in SECTIONS)
    return (
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<title>Pendlow: StyledText.RTFDataZVK</title>\n<style>\n%s\n</style>\n</head>\n"
        "<body>\n<h1>Pendlow: <code>StyledText.RTFDataZVK</code></h1>\n%s\n</body>\n</html>\n"
        % (STYLE, body)
    )


def main(argv):
    global ROOT, README
    if len(argv) >= 3 and argv[1] == "--root":
        ROOT = os.path.abspath(argv[2])
        README = os.path.join(ROOT, "README.md")
        argv = argv[:1] + argv[3:]
    if len(argv) == 2 and argv[1] == "check":
        return check()
    if len(argv) == 2 and argv[1] == "sync":
        return sync()
    if len(argv) == 3 and argv[1] == "html":
        with open(argv[2], "w", encoding="utf-8", newline="\n") as f:
            f.write(page())
        return 0
    sys.stderr.write(__doc__)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv))
