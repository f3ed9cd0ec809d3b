#!/usr/bin/env bash
# Prints the README's table of how many documents of each writer the member imports text from,
# made from the output of `pendlow survey --json`:
#
#   pendlow survey --json DIR... | scripts/limitations_table.sh
#   scripts/limitations_table.sh survey.json
#   ... | scripts/limitations_table.sh --check docs/limitations.md
#
# --check FILE compares the table with the one in FILE (from its "| writer |" line to the end of
# that table) and exits 1 with the differences when they are not the same.
#
# The column "keep >= 10 %" compares each document's characters in the StyledText with the
# characters `catdoc -w -d utf-8` extracts from it (line breaks not counted on either side), as an
# estimate of the document's visible text, as "N of M": M counts the documents in which catdoc
# finds any text. The column is left out when catdoc is not installed.
set -euo pipefail
check=""
if [ "${1-}" = "--check" ]; then
  [ $# -ge 2 ] || { echo "limitations_table.sh: --check needs a file" >&2; exit 2; }
  check=$2
  shift 2
fi
input=${1:--}
command -v python3 >/dev/null || { echo "limitations_table.sh: python3 is needed" >&2; exit 2; }
catdoc=$(command -v catdoc || true)
# The program is given with -c: standard input stays the survey document.
program=$(cat <<'PY'
import json, subprocess, sys

source, catdoc = sys.argv[1], sys.argv[2]
survey = json.load(sys.stdin if source == "-" else open(source, encoding="utf-8"))
writers = list(survey["totals"]["writers"])
rows = {w: {"documents": 0, "some": 0, "tenth": 0, "measured": 0} for w in writers}


def visible(path):
    """Characters catdoc finds in the document, line breaks not counted; None if it fails."""
    done = subprocess.run([catdoc, "-w", "-d", "utf-8", path], capture_output=True)
    if done.returncode != 0:
        return None
    text = done.stdout.decode("utf-8", "replace")
    return sum(1 for c in text if c not in "\r\n")


for entry in survey["files"]:
    if entry.get("error"):
        continue
    row = rows[entry["writer"]]
    row["documents"] += 1
    row["some"] += entry["characters"] > 0
    if catdoc:
        expected = visible(entry["file"])
        if expected:  # documents where catdoc finds no text are not counted
            row["measured"] += 1
            row["tenth"] += entry["characters"] * 10 >= expected

header = "| writer | documents | import some text | import nothing |"
rule = "|---|---:|---:|---:|"
if catdoc:
    header += " keep ≥ 10 % of catdoc's text |"
    rule += "---:|"
print(header)
print(rule)
total = {"documents": 0, "some": 0, "tenth": 0, "measured": 0}
for w in writers + ["all"]:
    row = total if w == "all" else rows[w]
    if w != "all":
        for key in total:
            total[key] += row[key]
    line = "| %s | %d | %d | %d |" % (
        "**all**" if w == "all" else w,
        row["documents"],
        row["some"],
        row["documents"] - row["some"],
    )
    if catdoc:
        line += " %d of %d |" % (row["tenth"], row["measured"])
    print(line)
PY
)
table() { python3 -c "$program" "$input" "$catdoc"; }
if [ -z "$check" ]; then
  table
  exit 0
fi
documented=$(awk '/^\| writer \|/ { on = 1 } on && !/^\|/ { exit } on' "$check")
if diff <(printf '%s\n' "$documented") <(table) >&2; then
  echo "the table in $check is the survey's"
else
  echo "limitations_table.sh: the table in $check differs from the survey's (above: < documented, > measured)" >&2
  exit 1
fi
