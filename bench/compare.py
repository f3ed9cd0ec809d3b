#!/usr/bin/env python3
"""Measurement part of bench/compare.sh (which installs the converters and sets the paths).

Runs `pendlow import FILE --text`, `catdoc -d utf-8 FILE` and `unrtf --text FILE` on one
generated document per profile, interleaved round by round, output to /dev/null, and prints a
Markdown table of the median MB/s (document bytes / wall time of the whole process), the peak
resident memory (the process's own maximum RSS) and pendlow's speed relative to catdoc.
"""
import os
import platform
import statistics
import subprocess
import sys
import time

PROFILES = ["plain", "styled", "unicode", "codepage", "wordlike", "export", "hostile"]


def document(profile, size_mb, seed):
    folder = os.path.abspath(os.environ["COMPARE_DOCS"])
    os.makedirs(folder, exist_ok=True)
    path = os.path.join(folder, f"{profile}-{size_mb:g}mb-seed{seed}.rtf")
    if not os.path.exists(path):
        generator = os.environ["GEN_RTF"]
        partial = path + ".part"
        subprocess.run([sys.executable, generator, "--profile", profile, "--size-mb",
                        f"{size_mb:g}", "--seed", str(seed), "-o", partial], check=True)
        os.replace(partial, path)
    return path


def run(argv, stderr_path):
    """Wall time and CPU time (user + system) in seconds, peak RSS in KiB and exit status of
    one whole process.

    GNU time starts the process and reports its peak RSS: a child of this Python process would
    inherit Python's own peak in its count. The CPU time is what the wait for GNU time reports
    for it and the process it ran.
    """
    rss_path = stderr_path + ".rss"
    # unrtf writes the pictures it finds into the current folder: keep them out of the way.
    scratch = os.path.join(os.path.dirname(stderr_path), "scratch")
    os.makedirs(scratch, exist_ok=True)
    with open(os.devnull, "wb") as out, open(stderr_path, "wb") as err:
        start = time.perf_counter()
        child = subprocess.Popen(["/usr/bin/time", "-o", rss_path, "-f", "%M"] + argv,
                                 stdout=out, stderr=err, cwd=scratch)
        _, status, usage = os.wait4(child.pid, 0)
        seconds = time.perf_counter() - start
    child.returncode = os.waitstatus_to_exitcode(status)
    with open(rss_path) as f:
        peak = int(f.read().split()[-1])
    return seconds, usage.ru_utime + usage.ru_stime, peak, child.returncode


def machine():
    model = platform.processor() or "unknown CPU"
    try:
        with open("/proc/cpuinfo") as f:
            for line in f:
                if line.startswith("model name"):
                    model = line.split(":", 1)[1].strip()
                    break
    except OSError:
        pass
    load = ", ".join(f"{x:.2f}" for x in os.getloadavg())
    return f"{model}, {os.cpu_count()} cores, {platform.system()} {platform.release()}, load {load}"


def main():
    if sys.argv[1:2] == ["--growth"]:
        import growth  # the tool alone at 1, 10 and 100 MiB (bench/growth.py)
        return growth.main(sys.argv[2:])
    profiles = sys.argv[1:] or PROFILES
    for p in profiles:
        if p not in PROFILES:
            sys.exit(f"unknown profile '{p}' (known: {' '.join(PROFILES)})")
    size_mb = float(os.environ.get("COMPARE_SIZE_MB", "10"))
    rounds = int(os.environ.get("COMPARE_ROUNDS", "3"))
    seed = int(os.environ.get("COMPARE_SEED", "1"))
    pendlow = os.path.abspath(os.environ["PENDLOW"])
    docs = {p: document(p, size_mb, seed) for p in profiles}
    err = os.path.join(os.path.abspath(os.environ["COMPARE_DOCS"]), "stderr.txt")

    tools = {
        "catdoc": lambda f: ["catdoc", "-d", "utf-8", f],
        "unrtf": lambda f: ["unrtf", "--text", f],
        "pendlow": lambda f: [pendlow, "import", f, "--text"],
    }
    times = {(p, t): [] for p in profiles for t in tools}
    cpu = {(p, t): [] for p in profiles for t in tools}
    rss = {(p, t): 0 for p in profiles for t in tools}
    notes = {}
    for _ in range(rounds):
        for p in profiles:
            for t, argv in tools.items():
                seconds, cpu_seconds, peak, status = run(argv(docs[p]), err)
                times[(p, t)].append(seconds)
                cpu[(p, t)].append(cpu_seconds)
                rss[(p, t)] = max(rss[(p, t)], peak)
                with open(err, "rb") as f:
                    complaint = f.read()
                if status != 0:
                    notes[(p, t)] = f"exit {status}"
                elif t == "unrtf" and b"Max group depth reached" in complaint:
                    # unrtf gives up on deeper nesting and drops the rest of the document.
                    notes[(p, t)] = "stops early"

    print(f"Machine: {machine()}")
    print(f"Documents: gen_rtf.py --size-mb {size_mb:g} --seed {seed}; median of {rounds} "
          f"interleaved runs; whole processes, start-up included; MB = 10^6 bytes")
    print("MB/s by wall time; in brackets by CPU time (user + system), which a busy machine "
          "disturbs less")
    print()
    print("| profile | size MB | catdoc MB/s | unrtf MB/s | pendlow MB/s | pendlow / catdoc "
          "| pendlow peak RSS MB | RSS limit MB | catdoc peak RSS MB |")
    print("|---|---|---|---|---|---|---|---|---|")
    for p in profiles:
        size = os.path.getsize(docs[p])
        wall, busy = {}, {}
        cells = []
        for t in tools:
            wall[t] = size / 1e6 / statistics.median(times[(p, t)])
            busy[t] = size / 1e6 / max(statistics.median(cpu[(p, t)]), 1e-6)
            cell = f"{wall[t]:.1f} ({busy[t]:.1f})"
            if (p, t) in notes:
                cell += f" {notes[(p, t)]}"
            cells.append(cell)
        ratio = wall["pendlow"] / wall["catdoc"]
        cpu_ratio = busy["pendlow"] / busy["catdoc"]
        limit = 3 * size / 1e6 + 16
        print(f"| {p} | {size / 1e6:.1f} | {' | '.join(cells)} | {ratio:.2f} ({cpu_ratio:.2f}) "
              f"| {rss[(p, 'pendlow')] * 1024 / 1e6:.0f} | {limit:.0f} "
              f"| {rss[(p, 'catdoc')] * 1024 / 1e6:.0f} |")


if __name__ == "__main__":
    main()
