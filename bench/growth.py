#!/usr/bin/env python3
"""`bench/compare.sh --growth [profile...]`: is the cost of `pendlow import FILE --text`
linear in the document's size?

For each profile (default: styled and unicode, the two that make the most style runs) it runs
the tool on generated documents of 1, 10 and 100 MiB, median of COMPARE_ROUNDS runs each
(whole processes, output to /dev/null), and prints a Markdown table of the MB/s by wall and by
CPU time, the peak RSS, and for every size the CPU time per MB and the peak RSS per MB as
multiples of the 1 MiB figures: near 1.0 at 10 and 100 MiB means linear growth.
"""
import os
import statistics
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from compare import document, machine, run  # noqa: E402

SIZES = [1, 10, 100]


def main(args):
    profiles = args or ["styled", "unicode"]
    rounds = int(os.environ.get("COMPARE_ROUNDS", "3"))
    seed = int(os.environ.get("COMPARE_SEED", "1"))
    pendlow = os.path.abspath(os.environ["PENDLOW"])
    err = os.path.join(os.path.abspath(os.environ["COMPARE_DOCS"]), "stderr.txt")

    print(f"Machine: {machine()}")
    print(f"Documents: gen_rtf.py --seed {seed}; median of {rounds} runs of "
          "`pendlow import FILE --text`; MB = 10^6 bytes")
    print()
    print("| profile | size MB | MB/s (wall) | MB/s (CPU) | peak RSS MB "
          "| CPU s per MB vs 1 MiB | RSS per MB vs 1 MiB |")
    print("|---|---|---|---|---|---|---|")
    failed = False
    for p in profiles:
        base = None
        for size_mb in SIZES:
            path = document(p, size_mb, seed)
            size = os.path.getsize(path) / 1e6
            walls, cpus, peak = [], [], 0
            for _ in range(rounds):
                seconds, cpu_seconds, rss_kib, status = run([pendlow, "import", path, "--text"],
                                                            err)
                if status != 0:
                    print(f"pendlow failed on {path} (exit {status})", file=sys.stderr)
                    failed = True
                walls.append(seconds)
                cpus.append(cpu_seconds)
                peak = max(peak, rss_kib)
            wall, cpu = statistics.median(walls), max(statistics.median(cpus), 1e-6)
            rss_mb = peak * 1024 / 1e6
            per_mb = (cpu / size, rss_mb / size)
            if base is None:
                base = per_mb
            print(f"| {p} | {size:.1f} | {size / wall:.1f} | {size / cpu:.1f} | {rss_mb:.0f} "
                  f"| {per_mb[0] / base[0]:.2f} | {per_mb[1] / base[1]:.2f} |")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main(sys.argv[1:])
