#!/usr/bin/env python3
"""Measures this library's tool beside other libraries and writes the table to docs/peers.md.

    bench/peers/setup.sh                     installs the others; what is not there is left out, and said so
    /usr/bin/python3 bench/compare_peers.py              generated clouds of 100,000 points
    /usr/bin/python3 bench/compare_peers.py --points 1000000 --runs 5
    /usr/bin/python3 bench/compare_peers.py scan.ply room.xyz       these files in their place

Generated clouds are random points of shapes that are known, some with Gaussian noise along the normal; the same
seed gives the same points. Each tool takes its turn before anyone runs again; medians of the runs. Columns:

    seconds, MB        file to file, without loading a Python module; peak of memory of the process and its children
    border             edges of one triangle; closed shapes should have none
    non-manifold       edges of three and more triangles, or of two that run the same way
    crossing           pairs of triangles that cut each other
    to truth           rms distance of the mesh from the true surface, in spacings (of a file: of the points from the mesh)
    from truth         largest distance of the true surface from the mesh, in spacings: holes show (of a file: of a point)
    normal             mean angle between both, degrees; inside out as a whole is no fault here

All of these are counted by `zef check --deep` and `zef compare`. Wants numpy and scipy for the generated clouds.
"""
import argparse
import json
import os
import platform
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
sys.path[:0] = [os.path.join(HERE, "peers"), os.path.join(ROOT, "scripts")]
from run import PEERS

COLUMNS = ["seconds", "MB", "triangles", "border", "non-manifold", "crossing", "to truth", "from truth", "normal"]


def shapes():
    """Name, noise in spacings, mesh."""
    import numpy as np
    from accuracy import sphere, torus
    ball, ring = sphere(), torus()
    above = ball[0][ball[1]].mean(1)[:, 2] > 0
    corners = 50.0 * np.array([(x, y, z) for x in (-1, 1) for y in (-1, 1) for z in (-1, 1)])
    quads = [(0, 1, 3, 2), (4, 6, 7, 5), (0, 4, 5, 1), (2, 3, 7, 6), (0, 2, 6, 4), (1, 5, 7, 3)]
    cube = corners, np.array([t for a, b, c, d in quads for t in ((a, b, c), (a, c, d))])
    yield "sphere", 0, ball
    yield "torus", 0.3, ring
    yield "cube", 0, cube
    yield "cube", 0.3, cube
    yield "half a sphere, open", 0.3, (ball[0], ball[1][above])


def reports(tool, *words):
    run = subprocess.run([tool, *words, "--json", "-q"], capture_output=True, text=True)
    return json.loads(run.stdout.splitlines()[-1])


class Tool:
    def __init__(self, name, tool):
        self.name, self.tool = name, tool

    def run(self, source, out, spacing):
        """Seconds, and the peak of memory in MB."""
        if self.name in PEERS:
            words = [sys.executable, os.path.join(HERE, "peers", "run.py"), self.name, source, out, str(spacing)]
        else:
            words = [self.tool, "reconstruct", source, "-o", out, "--force", "-q"]
        begin = time.perf_counter()
        # A process between, so that the peak is that of its children alone.
        code = ("import resource, subprocess, sys\nrun = subprocess.run(sys.argv[1:], stdout=subprocess.PIPE, text=True)\n"
                "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss / 1024, (run.stdout.split() or ['-'])[-1])\n"
                "sys.exit(run.returncode)")
        run = subprocess.run([sys.executable, "-c", code, *words], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                             env={**os.environ, "ZEF_TOOL": self.tool})
        wall = time.perf_counter() - begin
        if run.returncode != 0 or not os.path.exists(out):
            return None
        peak, own = run.stdout.split()
        return float(own) if self.name in PEERS else wall, float(peak)


def find_tools(tool):
    tools = [Tool("zef", tool)]
    for name, (module, _) in PEERS.items():
        found = shutil.which(module) or subprocess.run([sys.executable, "-c", "import " + module], stderr=subprocess.DEVNULL).returncode == 0
        if found:
            tools.append(Tool(name, tool))
        else:
            print("not measured, since it is not there (bench/peers/setup.sh): " + name)
    return tools


def judge(tool, mesh, truth, spacing):
    """truth: a mesh, or points."""
    check = reports(tool, "check", "--deep", mesh)
    compare = reports(tool, "compare", mesh, truth)
    points = compare["back"].get("mean_angle") is None
    near = compare["back" if points else "there"]
    angle = near.get("mean_angle")
    return {"triangles": check["triangles"], "border": check["border_edges"], "non-manifold": check["non_manifold_edges"],
            "crossing": check.get("self_intersections"), "to truth": near["rms"] / spacing,
            "from truth": compare["back"]["max"] / spacing, "normal": None if angle is None else min(angle, 180.0 - angle)}


def text(value):
    return "-" if value is None else "%.2f" % value if isinstance(value, float) else "{:,}".format(value)


def measure(title, source, truth, spacing, tools, num_runs, folder):
    lines, times, peaks = ["", "### " + title, "", "| | " + " | ".join(COLUMNS) + " |", "|---|" + "---:|" * len(COLUMNS)], {}, {}
    out = lambda tool: os.path.join(folder, tool.name.replace(" ", "_") + ".ply")
    for tool in tools:
        if os.path.exists(out(tool)):
            os.remove(out(tool))
    for _ in range(num_runs):
        for tool in tools:
            figures = tool.run(source, out(tool), spacing)
            if figures:
                times.setdefault(tool.name, []).append(figures[0])
                peaks.setdefault(tool.name, []).append(figures[1])
    for tool in tools:
        if tool.name not in times:
            lines.append("| %s | gives no mesh |" % tool.name)
            continue
        row = {"seconds": statistics.median(times[tool.name]), "MB": int(max(peaks[tool.name])),
               **judge(tool.tool, out(tool), truth, spacing)}
        lines.append("| %s | " % tool.name + " | ".join(text(row[column]) for column in COLUMNS) + " |")
    print("\n".join(lines), flush=True)
    return lines


def measure_shapes(options, tools, folder):
    from accuracy import Surface, draw_cloud, write_ply
    lines = []
    for name, noise, mesh in shapes():
        surface = Surface(*mesh)
        cloud, spacing = draw_cloud(surface, options.points, noise)
        source, truth, raw = (os.path.join(folder, part + ".ply") for part in ("cloud", "truth", "raw"))
        write_ply(raw, cloud)
        write_ply(truth, *mesh)
        # Some peers read nothing but floats.
        subprocess.run([options.tool, "convert", raw, "-o", source, "--single", "--force", "-q"], check=True, stdout=subprocess.DEVNULL)
        title = "%s, %s points, noise %g" % (name[0].upper() + name[1:], "{:,}".format(options.points), noise)
        lines += measure(title, source, truth, spacing, tools, options.runs, folder)
    return lines


def measure_files(options, tools, folder):
    lines = []
    for path in options.files:
        source = os.path.join(folder, "cloud.ply")
        subprocess.run([options.tool, "convert", path, "-o", source, "--single", "--force", "-q"], check=True, stdout=subprocess.DEVNULL)
        told = reports(options.tool, "info", source)
        title = "%s, %s points" % (os.path.basename(path), "{:,}".format(told["points"]))
        lines += measure(title, source, source, told["spacing"], tools, options.runs, folder)
    return lines


def head(options):
    with open("/proc/cpuinfo") as rows:
        processor = next((row.split(":")[1].strip() for row in rows if row.startswith("model name")), platform.machine())
    runs = "one run of each" if options.runs == 1 else "medians of %d runs by turns" % options.runs
    return ["# Beside other libraries", "",
            "Written by `bench/compare_peers.py` on %d cores (%s): %s. Compare figures of one page only; "
            "what the columns mean stands at the head of that script, the peers' settings in `bench/peers/run.py`. The peers get "
            "normals estimated and oriented first, which is part of their time, and lengths by the true spacing; "
            "zef gets neither." % (os.cpu_count(), processor, runs)]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("files", nargs="*", metavar="FILE", help="of points, in place of the generated clouds")
    parser.add_argument("--tool", default=os.path.join(ROOT, "build", "release", "apps", "zef", "zef"))
    parser.add_argument("--points", type=int, default=100_000)
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--out", default=os.path.join(ROOT, "docs", "peers.md"))
    options = parser.parse_args()
    if not os.access(options.tool, os.X_OK):
        sys.exit("%s: build the tool first, or name one with --tool" % options.tool)
    tools = find_tools(options.tool)
    with tempfile.TemporaryDirectory() as folder:
        lines = (measure_files if options.files else measure_shapes)(options, tools, folder)
    with open(options.out, "w") as page:
        page.write("\n".join(head(options) + lines) + "\n")
    print("\n" + options.out + " is written")


if __name__ == "__main__":
    main()
