#!/usr/bin/env python3
"""Measures what a reconstruction costs, stage by stage, and writes it to docs/performance.md and .json.

    bench/run_all.py                              closed clouds of 1,000 to 1 M points
    bench/run_all.py --scan room.ply --scan ...   and scans
    bench/run_all.py --most 10000000 --runs 5     up to so many points, medians of so many runs
    bench/run_all.py --before old/zef             beside another tool, run by turns

The closed clouds are random points on a bumpy sphere, the same ones each time. Every number of threads and
every tool takes its turn before anyone runs again, so that what else the machine does falls on all. Files
are read and written; --refit off, so that stages count that have no page of their own. Memory is the peak of
the process. The file .json holds all figures with the time of a fixed loop of Python beside them; what an
earlier file of that name tells is shown as a ratio, by units of that loop. Wants nothing beyond Python.
"""
import argparse
import array
import json
import math
import os
import random
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)


SIDE_BY_SIDE = ["## What runs side by side", "",
                "Loops over cells, corners, points and triangles are cut into chunks. The pieces of a scan are jobs, the largest "
                "first: their sides are named, their fields grow and their fillings are tightened side by side. A thread with "
                "nothing left to do takes chunks of the loops inside the jobs of others. A field that is larger than the caches "
                "is swept patch by patch, four sweeps at a time, and its corners are made brick by brick. Cells are thinned in cubes "
                "of 64 a side; what sees the faces of a cube takes its turn afterwards. Serial are naming the sides within a "
                "piece, thinning of what fills gaps, and most repairs of topology.", ""]


def calibrate():
    """Seconds of a fixed loop, the best of three."""
    best = math.inf
    for _ in range(3):
        start = time.perf_counter()
        rows = random.Random(1)
        sorted(rows.random() * k for k in range(300_000))
        best = min(best, time.perf_counter() - start)
    return best


def write_cloud(path, num):
    rows = random.Random(1)
    values = array.array("f")
    while len(values) < 3 * num:
        z, turn = rows.uniform(-1, 1), rows.uniform(0, 2 * math.pi)
        radius = 1 + 0.1 * math.sin(3 * turn) * math.sin(3 * z)
        flat = math.sqrt(1 - z * z)
        values.extend((radius * flat * math.cos(turn), radius * flat * math.sin(turn), radius * z))
    if sys.byteorder == "big":
        values.byteswap()
    with open(path, "wb") as out:
        out.write(f"ply\nformat binary_little_endian 1.0\nelement vertex {num}\nproperty float x\nproperty float y\n"
                  "property float z\nend_header\n".encode())
        values.tofile(out)


def run_once(tool, path, options, threads, out):
    command = [tool, "reconstruct", path, "-o", out, "--force", "-q", "--json", "--threads", str(threads), *options]
    start = time.perf_counter()
    process = subprocess.Popen(command, stdout=subprocess.PIPE)
    text = process.stdout.read()
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        raise SystemExit(f"{' '.join(command)} ended with {os.waitstatus_to_exitcode(status)}")
    report = json.loads(text.splitlines()[-1])
    return {"wall": time.perf_counter() - start, "cpu": usage.ru_utime + usage.ru_stime, "points": report["points"],
            "bytes": report["peak_bytes"], "triangles": report["triangles"], "stages": report["stages"]}


def median_of(runs):
    found = {key: statistics.median(run[key] for run in runs) for key in ("wall", "cpu", "bytes")}
    found.update(points=runs[0]["points"], triangles=runs[0]["triangles"])
    names = dict.fromkeys(name for run in runs for name in run["stages"])
    found["stages"] = {name: statistics.median(run["stages"].get(name, 0.0) for run in runs) for name in names}
    return found


def measure(tools, cases, threads, num_runs, folder):
    """By case, tool and number of threads: the medians."""
    found = {}
    for name, path, options in cases:
        runs = {}
        for _ in range(num_runs):
            for label, tool in tools.items():
                for num in threads:
                    one = run_once(tool, path, options, num, os.path.join(folder, "mesh.ply"))
                    runs.setdefault(label, {}).setdefault(str(num), []).append(one)
        found[name] = {label: {num: median_of(v) for num, v in byThreads.items()} for label, byThreads in runs.items()}
        print(name, {label: {num: round(m["wall"], 3) for num, m in v.items()} for label, v in found[name].items()}, flush=True)
    return found


def table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|---|" + "---:|" * (len(head) - 1)]
    return lines + ["| " + " | ".join(row) + " |" for row in rows] + [""]


def whole_runs(found, earlier, scale):
    rows = []
    for name, tools in found.items():
        for label, by_threads in tools.items():
            first = next(iter(by_threads.values()))
            for num, m in by_threads.items():
                was = earlier.get(name, {}).get(label, {}).get(num)
                rows.append([name, label, num, f"{m['wall']:.3f}", f"{m['cpu']:.3f}", f"{m['cpu'] / m['wall']:.2f}",
                             f"{first['wall'] / m['wall']:.2f}", f"{m['bytes'] / m['points']:.0f}",
                             f"{m['wall'] / was['wall'] * scale:.2f}" if was else ""])
    return table(["input", "tool", "threads", "wall, s", "CPU, s", "cores busy", "speed-up", "bytes a point", "to the last"], rows)


def stages_of(tools):
    by_threads = tools[next(iter(tools))]
    numbers = list(by_threads)
    longest = sorted(by_threads[numbers[0]]["stages"].items(), key=lambda item: -item[1])[:12]
    rows = []
    for stage, seconds in longest:
        last = by_threads[numbers[-1]]["stages"].get(stage, 0.0)
        rows.append([f"`{stage}`", f"{seconds:.3f}", f"{last:.3f}", f"{seconds / last:.2f}" if last > 0 else ""])
    return table(["stage", f"{numbers[0]} thread, s", f"{numbers[-1]} threads, s", "speed-up"], rows)


def growth_plot(found, path):
    """Wall time against points, both by powers of ten, as SVG."""
    lines = {}
    for name, tools in found.items():
        if name.startswith("closed") and name.endswith("1.3"):
            for num, m in tools[next(iter(tools))].items():
                lines.setdefault(num, []).append((math.log10(m["points"]), math.log10(m["wall"])))
    left, right = min(p[0] for v in lines.values() for p in v), max(p[0] for v in lines.values() for p in v)
    low, high = min(p[1] for v in lines.values() for p in v), max(p[1] for v in lines.values() for p in v)
    x = lambda v: 50 + 400 * (v - left) / max(right - left, 1e-9)
    y = lambda v: 260 - 230 * (v - low) / max(high - low, 1e-9)
    out = ['<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 520 300" font-family="sans-serif" font-size="12">']
    for power in range(math.ceil(left), math.floor(right) + 1):
        out.append(f'<text x="{x(power):.0f}" y="285" text-anchor="middle">{10 ** power:,}</text>')
    for power in range(math.ceil(low), math.floor(high) + 1):
        out.append(f'<text x="45" y="{y(power):.0f}" text-anchor="end">{10.0 ** power:g} s</text>')
    for (num, points), colour in zip(lines.items(), ("#999", "#06c", "#c60", "#090")):
        path_of = " ".join(f"{x(px):.1f},{y(py):.1f}" for px, py in points)
        out.append(f'<polyline points="{path_of}" fill="none" stroke="{colour}" stroke-width="2"/>')
        out.append(f'<text x="{x(points[-1][0]) + 4:.0f}" y="{y(points[-1][1]) + (12 if num == "1" else 0):.0f}" fill="{colour}">{num}</text>')
    with open(path, "w", encoding="utf-8") as file:
        file.write("\n".join(out + ["</svg>", ""]))


def growth_rows(found):
    rows, before = [], None
    for name, tools in found.items():
        if not (name.startswith("closed") and name.endswith("1.3")):
            continue
        m = list(tools[next(iter(tools))].values())[-1]
        step = ""
        if before:
            step = f"{math.log(m['wall'] / before['wall']) / math.log(m['points'] / before['points']):.2f}"
        rows.append([f"{m['points']:,}", f"{m['wall']:.3f}", f"{1e6 * m['wall'] / m['points']:.2f}",
                     f"{m['bytes'] / m['points']:.0f}", step])
        before = m
    return table(["points", "wall, s", "µs a point", "bytes a point", "power of n since the line before"], rows)


def remark(found):
    """What is to be known of figures from a machine that others use too."""
    first = [next(iter(tools[next(iter(tools))].values())) for tools in found.values()]
    if statistics.median(m["cpu"] / m["wall"] for m in first) > 0.95:
        return []
    return ["Others used the machine meanwhile, which “cores busy” below 1 on one thread tells: processor time holds, "
            "wall time and speed-up do not.", ""]


def write_page(found, earlier, scale, args, path):
    out = ["# Performance", "",
           f"What `zef reconstruct --refit off` costs from file to file: medians of {args.runs} run{'s' * (args.runs > 1)} by turns, on "
           f"{os.cpu_count()} cores. `bench/run_all.py` writes this page on your machine; compare figures of one page "
           "only. “cores busy” is processor time by wall time. “to the last” is the time by that of the page before, "
           "both by units of a fixed loop.", ""] + remark(found)
    out += ["## Whole runs", ""] + whole_runs(found, earlier, scale)
    out += SIDE_BY_SIDE + ["## Growth", "", "Closed clouds, factor 1.3, on all threads:", ""] + growth_rows(found)
    out += ["![Wall time against points, by threads](figures/growth.svg)", "", "## Stages", ""]
    for name, tools in found.items():
        if not name.startswith("closed") or name.startswith(f"closed, {args.most:,}"):
            out += [f"{name}:", ""] + stages_of(tools)
    with open(path, "w", encoding="utf-8") as file:
        file.write("\n".join(out).rstrip() + "\n")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--tool", default=os.path.join(ROOT, "build/release/apps/zef/zef"))
    parser.add_argument("--before", help="another tool to run beside it")
    parser.add_argument("--scan", action="append", default=[])
    parser.add_argument("--most", type=int, default=1_000_000)
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--docs", default=os.path.join(ROOT, "docs"))
    args = parser.parse_args()
    tools = {"now": args.tool, **({"before": args.before} if args.before else {})}
    threads = sorted({1, os.cpu_count() or 1})
    with tempfile.TemporaryDirectory() as folder:
        cases = []
        for num in [n for n in (1_000, 10_000, 100_000, 1_000_000, 3_000_000, 10_000_000) if n <= args.most]:
            cloud = os.path.join(folder, f"{num}.ply")
            write_cloud(cloud, num)
            cases.append((f"closed, {num:,}, 1.3", cloud, ["--refit", "off"]))
        cases.append((f"closed, {num:,}, 1.0", cloud, ["--refit", "off", "--factor", "1"]))
        cases += [(os.path.basename(scan), scan, ["--refit", "off"]) for scan in args.scan]
        loop = calibrate()
        found = measure(tools, cases, threads, args.runs, folder)
    figures = os.path.join(args.docs, "performance.json")
    last = json.load(open(figures, encoding="utf-8")) if os.path.exists(figures) else {"loop": loop, "found": {}}
    write_page(found, last["found"], last["loop"] / loop, args, os.path.join(args.docs, "performance.md"))
    growth_plot(found, os.path.join(args.docs, "figures", "growth.svg"))
    with open(figures, "w", encoding="utf-8") as file:
        json.dump({"loop": loop, "found": found}, file, indent=1)
        file.write("\n")


if __name__ == "__main__":
    main()
