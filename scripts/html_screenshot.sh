#!/usr/bin/env bash
# Renders `pendlow import --html` of an RTF document in headless Chromium, saves a screenshot,
# and checks that the text the browser shows is the document's text (`pendlow import --text`).
#
# usage: scripts/html_screenshot.sh [-t TOOL] [-o OUT.png] [-s WIDTH,HEIGHT] [-e EXPECTED.txt]
#                                   [-m WIDTHS.tsv] FILE.rtf
#   -t TOOL      the pendlow executable (default: $PENDLOW_TOOL or build/default/pendlow)
#   -o OUT.png   where to put the screenshot (default: FILE's name with .png, in the current
#                directory)
#   -s W,H       window size in pixels (default 1000,700)
#   -e FILE      compare the visible text with FILE instead of `pendlow import --text`
#   -m FILE      also measure, in the browser, each span's rendered width and the width of the
#                same text in the generic faces (same size, weight and style); one line per
#                span: width, serif, sans-serif, monospace (CSS pixels), font-family, text,
#                separated by tabs. Tells which face a run's font-family really got.
# Environment: CHROMIUM (default /usr/bin/chromium); PENDLOW_TOOL_EMULATOR, words put in front
# of the tool (a cross build's emulator, e.g. "cmake/qemu-run.sh aarch64").
# Exit status: 0 when the page rendered and its text matches; 1 when the text differs;
# 2 for a usage error or a failure of the tool or the browser.
set -euo pipefail

tool=${PENDLOW_TOOL:-build/default/pendlow}
read -r -a emulator <<<"${PENDLOW_TOOL_EMULATOR-}"
out=""
size="1000,700"
expected=""
measure=""
while getopts "t:o:s:e:m:h" opt; do
  case $opt in
    t) tool=$OPTARG ;;
    o) out=$OPTARG ;;
    s) size=$OPTARG ;;
    e) expected=$OPTARG ;;
    m) measure=$OPTARG ;;
    h) sed -n '2,19p' "$0"; exit 0 ;;
    *) exit 2 ;;
  esac
done
shift $((OPTIND - 1))
if [ $# -ne 1 ]; then
  echo "usage: $0 [-t TOOL] [-o OUT.png] [-s WIDTH,HEIGHT] [-e EXPECTED.txt] [-m WIDTHS.tsv] FILE.rtf" >&2
  exit 2
fi
input=$1
[ -n "$out" ] || out=$(basename "${input%.*}").png
chromium=${CHROMIUM:-/usr/bin/chromium}
if [ ! -x "$chromium" ]; then
  echo "html_screenshot: no Chromium at $chromium" >&2
  exit 2
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"${emulator[@]}" "$tool" import --html "$input" -o "$work/page.html" || exit 2
if [ -n "$expected" ]; then
  cp "$expected" "$work/expected.txt"
else
  "${emulator[@]}" "$tool" import --text "$input" -o "$work/expected.txt" || exit 2
fi

flags=(--headless --no-sandbox --disable-gpu --disable-quic --no-first-run
  --disable-background-networking --disable-component-update --disable-sync
  --hide-scrollbars)
timeout 120 "$chromium" "${flags[@]}" --user-data-dir="$(mktemp -d -p "$work")" \
  --screenshot="$work/shot.png" --window-size="$size" "file://$work/page.html" \
  >"$work/chromium.log" 2>&1 || { cat "$work/chromium.log" >&2; exit 2; }
if [ ! -s "$work/shot.png" ]; then
  cat "$work/chromium.log" >&2
  echo "html_screenshot: Chromium wrote no screenshot" >&2
  exit 2
fi
cp "$work/shot.png" "$out"

timeout 120 "$chromium" "${flags[@]}" --user-data-dir="$(mktemp -d -p "$work")" \
  --dump-dom "file://$work/page.html" >"$work/dom.html" 2>"$work/chromium.log" ||
  { cat "$work/chromium.log" >&2; exit 2; }

# The visible text: each paragraph of the styled text on a line of its own, as --text has it.
python3 - "$work/dom.html" "$work/visible.txt" <<'PY'
import sys
from html.parser import HTMLParser

class Paragraphs(HTMLParser):
    def __init__(self):
        super().__init__(convert_charrefs=True)
        self.depth = 0        # inside div.styled-text
        self.in_p = False
        self.lines = []

    def handle_starttag(self, tag, attrs):
        if tag == "div" and ("class", "styled-text") in attrs:
            self.depth = 1
        elif self.depth and tag == "div":
            self.depth += 1
        elif self.depth and tag == "p":
            self.in_p = True
            self.lines.append("")

    def handle_endtag(self, tag):
        if self.depth and tag == "div":
            self.depth -= 1
        elif tag == "p":
            self.in_p = False

    def handle_data(self, data):
        if self.in_p:
            self.lines[-1] += data

parser = Paragraphs()
with open(sys.argv[1], encoding="utf-8") as f:
    parser.feed(f.read())
with open(sys.argv[2], "w", encoding="utf-8") as f:
    f.write("".join(line + "\n" for line in parser.lines))
PY

if [ -n "$measure" ]; then
  # A copy of the page with a script that writes the widths into the page; --dump-dom returns
  # the page after its scripts ran.
  python3 - "$work/page.html" "$work/measure.html" <<'PY'
import sys

script = """<script>
(function () {
  function width(span, family) {
    const probe = document.createElement("span");
    const style = getComputedStyle(span);
    probe.style.fontFamily = family || style.fontFamily;
    probe.style.fontSize = style.fontSize;
    probe.style.fontWeight = style.fontWeight;
    probe.style.fontStyle = style.fontStyle;
    probe.style.whiteSpace = "pre";
    probe.textContent = span.textContent;
    document.body.appendChild(probe);
    const result = probe.getBoundingClientRect().width.toFixed(2);
    probe.remove();
    return result;
  }
  const lines = [];
  for (const span of document.querySelectorAll(".styled-text span")) {
    lines.push([width(span, ""), width(span, "serif"), width(span, "sans-serif"),
                width(span, "monospace"), getComputedStyle(span).fontFamily,
                span.textContent.replace(/[\\t\\n]/g, " ")].join("\\t"));
  }
  const out = document.createElement("pre");
  out.id = "pendlow-widths";
  out.textContent = lines.join("\\n");
  document.body.appendChild(out);
})();
</script>
"""
with open(sys.argv[1], encoding="utf-8") as f:
    page = f.read()
if "</body>" not in page:
    sys.exit("html_screenshot: the page has no </body>")
with open(sys.argv[2], "w", encoding="utf-8") as f:
    f.write(page.replace("</body>", script + "</body>", 1))
PY
  timeout 120 "$chromium" "${flags[@]}" --user-data-dir="$(mktemp -d -p "$work")" \
    --dump-dom "file://$work/measure.html" >"$work/measured.html" 2>"$work/chromium.log" ||
    { cat "$work/chromium.log" >&2; exit 2; }
  python3 - "$work/measured.html" "$measure" <<'PY'
import html
import re
import sys

with open(sys.argv[1], encoding="utf-8") as f:
    dom = f.read()
found = re.search(r'<pre id="pendlow-widths">(.*?)</pre>', dom, re.S)
if not found:
    sys.exit("html_screenshot: the measuring script left no widths (did it run?)")
with open(sys.argv[2], "w", encoding="utf-8") as f:
    text = html.unescape(found.group(1))
    f.write(text + ("\n" if text else ""))
PY
fi

if cmp -s "$work/expected.txt" "$work/visible.txt"; then
  echo "html_screenshot: $out: the page shows the document's text ($(wc -l <"$work/visible.txt") paragraphs)"
else
  echo "html_screenshot: the page's visible text differs from the document's text:" >&2
  diff "$work/expected.txt" "$work/visible.txt" >&2 || true
  exit 1
fi
