#!/usr/bin/env python3
"""Runs the tool over clouds and meshes that no scanner makes, within stated bounds.

    scripts/hostile.py build/release/apps/zef/zef [--only WORD] [--limit 60] [--memory 2048] [--keep DIR]

Each case must end within so many seconds of processor time and megabytes, with status 0, or with status 1 and one line on
standard error that tells why. A mesh that reconstruct, melt or mend writes must be manifold and oriented. The table tells
seconds, megabytes and how each case ended; status 1 if one is at fault. --only: cases with that word in their name. --keep:
writes the inputs there and leaves them. Wants numpy.
"""
import argparse
import os
import resource
import subprocess
import sys
import tempfile
import time

import numpy as np


def sphere(number):
    turn = np.pi * (3.0 - np.sqrt(5.0)) * np.arange(number)
    z = 1.0 - 2.0 * (np.arange(number) + 0.5) / number
    radius = np.sqrt(1.0 - z * z)
    return np.stack([radius * np.cos(turn), radius * np.sin(turn), z], -1)


def sheet(side, step=1.0):
    x, y = np.meshgrid(np.arange(side), np.arange(side))
    return np.stack([x.ravel() * step, y.ravel() * step, np.zeros(side * side)], -1)


def drawn(seed=1):
    return np.random.default_rng(seed)


def soup(number, size=1.0):
    corners = drawn().random((number, 1, 3)) + (0.0 if size >= 1.0 else size * drawn(2).random((number, 3, 3)))
    corners = drawn().random((number, 3, 3)) if size >= 1.0 else corners
    return corners.reshape(-1, 3), np.arange(3 * number).reshape(-1, 3)


def rim(number, height=0.0, apex=(0.0, 0.0, 0.1)):
    turn = 2.0 * np.pi * np.arange(number) / number
    return np.vstack([[apex], np.stack([np.cos(turn), np.sin(turn), np.full(number, height)], -1)])


def spokes(number):
    i = np.arange(number)
    return np.stack([0 * i, 1 + i, 1 + (i + 1) % number], -1)


def cone(number):
    return rim(number), spokes(number)


def bipyramid(number):
    upper = spokes(number)
    return np.vstack([rim(number), [[0.0, 0.0, -0.1]]]), np.vstack([upper, np.where(upper == 0, number + 1, upper)[:, ::-1]])


def ball_with_pole(number):
    """A sphere in rings of number vertices, so that the poles have that many triangles."""
    rings = 5
    vertices = [[0.0, 0.0, 1.0]]
    faces = [spokes(number)]
    turn = 2.0 * np.pi * np.arange(number) / number
    for k in range(1, rings + 1):
        down = np.pi * k / (rings + 1)
        vertices.extend(np.stack([np.sin(down) * np.cos(turn), np.sin(down) * np.sin(turn), np.full(number, np.cos(down))], -1))
    i = np.arange(number)
    for k in range(rings - 1):
        a, b = 1 + k * number + i, 1 + k * number + (i + 1) % number
        faces += [np.stack([a, a + number, b], -1), np.stack([b, a + number, b + number], -1)]
    last, low = 1 + (rings - 1) * number, 1 + rings * number
    faces.append(np.stack([0 * i + low, last + (i + 1) % number, last + i], -1))
    return np.vstack([vertices, [[0.0, 0.0, -1.0]]]), np.vstack(faces)


def edge_fan(number):
    """Triangles that all share one edge."""
    i = np.arange(number)
    return np.vstack([[[0, 0, 0], [0, 0, 1]], rim(number, 0.5)[1:]]), np.stack([0 * i, 0 * i + 1, 2 + i], -1)


def moebius(number):
    turn, vertices = 2.0 * np.pi * np.arange(number) / number, []
    for side in (-0.3, 0.3):
        radius = 1.0 + side * np.cos(turn / 2)
        vertices.append(np.stack([radius * np.cos(turn), radius * np.sin(turn), side * np.sin(turn / 2)], -1))
    i = np.arange(number - 1)
    faces = np.vstack([np.stack([i, i + 1, number + i], -1), np.stack([i + 1, number + i + 1, number + i], -1)])
    return np.vstack(vertices), np.vstack([faces, [[number - 1, number, 2 * number - 1], [number, 0, 2 * number - 1]]])


def grid_mesh(side):
    a = (np.arange(side - 1)[:, None] * side + np.arange(side - 1)).ravel()
    return sheet(side), np.vstack([np.stack([a, a + 1, a + side], -1), np.stack([a + 1, a + side + 1, a + side], -1)])


def folded(side):
    vertices, faces = grid_mesh(side)
    vertices[:, 0] = np.abs(vertices[:, 0] - side // 2)
    return vertices, faces


def doubled(side):
    vertices, faces = grid_mesh(side)
    return vertices, np.vstack([faces, faces, faces[:, ::-1], faces[:, [1, 2, 0]]])


def holed(cloud, share):
    cloud = cloud.copy()
    cloud[drawn().random(len(cloud)) < share] = np.nan
    return cloud


def tiny_pieces(number):
    return (drawn().random((number, 1, 3)) * 1000.0 + 0.01 * drawn(2).random((number, 20, 3))).reshape(-1, 3)


def tetrahedra(number):
    corners = drawn().random((number, 1, 3)) * 100.0 + np.array([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]]) * 0.1
    faces = np.array([[0, 2, 1], [0, 1, 3], [0, 3, 2], [1, 2, 3]])
    return corners.reshape(-1, 3), (4 * np.arange(number)[:, None, None] + faces).reshape(-1, 3)


def sheets(cells):
    low = sheet(200) + 0.2 * drawn().random((40_000, 3))
    return np.vstack([low, low[:, [1, 0, 2]] + (0.0, 0.0, 1.3 * cells)])


def with_far(factor):
    return np.vstack([sphere(20_000), [[2.0 * factor, 0.0, 0.0]]])


CLOUDS = {
    "no point": lambda: np.zeros((0, 3)),
    "one point": lambda: np.ones((1, 3)),
    "two points": lambda: sphere(2),
    "three points": lambda: sphere(3),
    "four points": lambda: sphere(4),
    "100,000 equal points": lambda: np.ones((100_000, 3)),
    "2 million points in 1,000 places": lambda: np.repeat(sphere(1_000), 2_000, 0),
    "2 million points in 20,000 places": lambda: np.repeat(sphere(20_000), 100, 0),
    "collinear": lambda: np.arange(100_000)[:, None] * np.array([[0.3, 0.2, 0.1]]),
    "collinear along x": lambda: np.arange(100_000)[:, None] * np.array([[1.0, 0.0, 0.0]]),
    "coplanar, drawn": lambda: drawn().random((100_000, 3)) * (1.0, 1.0, 0.0),
    "lattice, coplanar": lambda: sheet(300),
    "lattice, full": lambda: np.stack(np.meshgrid(*3 * [np.arange(45.0)]), -1).reshape(-1, 3),
    "coordinates of 1e-12": lambda: 1e-12 * sphere(20_000),
    "coordinates of 1e9": lambda: 1e9 * sphere(20_000),
    "coordinates of 1e15": lambda: 1e15 * sphere(20_000),
    "coordinates of 1e300": lambda: 1e300 * sphere(20_000),
    "coordinates of 1e-300": lambda: 1e-300 * sphere(20_000),
    "1e9 off": lambda: 1e9 + sphere(20_000),
    "1e15 off": lambda: 1e15 + sphere(20_000),
    "10 % NaN": lambda: holed(sphere(100_000), 0.1),
    "all NaN": lambda: holed(sphere(1_000), 2.0),
    "10 % infinite": lambda: np.nan_to_num(holed(sphere(20_000), 0.1), nan=np.inf),
    "one point 1e3 extents away": lambda: with_far(1e3),
    "one point 1e6 extents away": lambda: with_far(1e6),
    "one point 1e12 extents away": lambda: with_far(1e12),
    "noise that fills a cube": lambda: drawn().random((300_000, 3)),
    "100,000 tiny pieces": lambda: tiny_pieces(100_000),
    "100,000 lonely points": lambda: 1000.0 * drawn().random((100_000, 3)),
    "sheets 1 cell apart": lambda: sheets(1),
    "sheets 2 cells apart": lambda: sheets(2),
    "sheets 3 cells apart": lambda: sheets(3),
    "sheets 5 cells apart": lambda: sheets(5),
}

SPACINGS = ("1e-300", "1e-9", "1e-4", "0.5", "3", "1e9", "1e300")

MESHES = {
    "vertex of 100,000, a cone": lambda: cone(100_000),
    "vertices of 100,000, two cones": lambda: bipyramid(100_000),
    "poles of 20,000": lambda: ball_with_pole(20_000),
    "edge of 3,000": lambda: edge_fan(3_000),
    "edge of 100,000": lambda: edge_fan(100_000),
    "Moebius band": lambda: moebius(10_001),
    "folded": lambda: folded(100),
    "each triangle four times": lambda: doubled(100),
    "300 random triangles": lambda: soup(300),
    "3,000 random triangles": lambda: soup(3_000),
    "100,000 small random triangles": lambda: soup(100_000, 0.01),
    "100,000 tetrahedra": lambda: tetrahedra(100_000),
    "needles": lambda: (soup(20_000)[0] * (1.0, 1e-6, 1e-6), soup(20_000)[1]),
    "without area": lambda: (sphere(1_000), np.repeat(np.arange(1_000), 3).reshape(-1, 3)),
    "all corners in one place": lambda: (np.ones((3_000, 3)), np.arange(3_000).reshape(-1, 3)),
    "coordinates of 1e15": lambda: (1e15 * cone(1_000)[0], cone(1_000)[1]),
    "coordinates of 1e300": lambda: (1e300 * cone(1_000)[0], cone(1_000)[1]),
    "coordinates of 1e-12": lambda: (1e-12 * cone(1_000)[0], cone(1_000)[1]),
    "10 % NaN": lambda: (holed(soup(3_000, 0.1)[0], 0.1), soup(3_000, 0.1)[1]),
    "one triangle": lambda: soup(1),
}

OPERATIONS = {
    "melt": "melt {} -o {}",
    "melt, too fine": "melt {} -o {} --spacing 1e-7",
    "resample": "resample {} -o {}",
    "mend": "mend {} -o {}",
    "flip": "flip {} -o {}",
    "anneal": "anneal {} -o {}",
    "reduce": "reduce {} -o {}",
    "reduce to an error": "reduce {} --error 0.001 -o {}",
    "reduce to 10 %": "reduce {} --target 10% -o {}",
    "smooth": "smooth {} -o {}",
    "holes": "holes {}",
    "check": "check {} --deep",
    "compare": "compare {0} {0}",
    "view": "view {0} --png {1}",
}


def write_ply(path, vertices, faces=()):
    head = f"ply\nformat binary_little_endian 1.0\nelement vertex {len(vertices)}\n"
    head += "".join(f"property double {axis}\n" for axis in "xyz")
    if len(faces):
        head += f"element face {len(faces)}\nproperty list uchar int vertex_indices\n"
    with open(path, "wb") as out:
        out.write((head + "end_header\n").encode() + np.asarray(vertices, "<f8").tobytes())
        if len(faces):
            rows = np.zeros(len(faces), [("number", "u1"), ("corners", "<i4", 3)])
            rows["number"], rows["corners"] = 3, faces
            out.write(rows.tobytes())


class Run:
    """One run of the tool: how it ended, what it cost."""

    def __init__(self, tool, words, seconds, megabytes):
        def limit():
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            resource.setrlimit(resource.RLIMIT_CPU, (seconds + 1, seconds + 2))

        start = time.monotonic()
        with tempfile.TemporaryFile() as errors:
            child = subprocess.Popen([tool] + words, stdout=subprocess.DEVNULL, stderr=errors, preexec_fn=limit)
            _, status, usage = os.wait4(child.pid, 0)
            child.returncode = os.waitstatus_to_exitcode(status)
            errors.seek(0)
            text = errors.read().decode(errors="replace").splitlines()
        self.status, self.wall = child.returncode, time.monotonic() - start
        self.lines = [line for line in text if not line.startswith(("zef: warning:", "zef: hint:"))]
        self.seconds, self.megabytes = usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024
        self.over = self.seconds > seconds or self.megabytes > megabytes

    def ended(self, may_say_no):
        if self.over:
            return "OVER ITS BOUND", True
        if self.status == 0 or (may_say_no and self.status == 1 and not self.lines):
            return "done", False
        if self.status == 1 and len(self.lines) == 1:
            return self.lines[0], False
        return f"STATUS {self.status} {self.lines}", True


def judge(tool, run, words, output, may_say_no, options):
    text, bad = run.ended(may_say_no)
    if text == "done" and words[0] in ("reconstruct", "melt", "mend") and os.path.exists(output):
        check = Run(tool, ["check", "-q", "--promise", "manifold,oriented", output], options.limit, options.memory)
        if check.status != 0:
            return "NOT MANIFOLD", True
    if not bad and run.status == 1 and os.path.exists(output):
        return text + " OUTPUT LEFT", True
    return text, bad


def cases(folder):
    for name, build in CLOUDS.items():
        yield name, build, "reconstruct {} -o {}"
    for spacing in SPACINGS:
        yield "sphere, spacing " + spacing, lambda: sphere(20_000), "reconstruct {} -o {} --spacing " + spacing
    for name, build in MESHES.items():
        for operation, words in OPERATIONS.items():
            yield f"{name}: {operation}", build, words


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("tool")
    parser.add_argument("--only", default="")
    parser.add_argument("--limit", type=int, default=60, help="seconds")
    parser.add_argument("--memory", type=int, default=2048, help="megabytes")
    parser.add_argument("--threads", default="2")
    parser.add_argument("--keep")
    options = parser.parse_args()
    tool, number, faults, last = os.path.abspath(options.tool), 0, 0, None
    print("| case | s | MB | ends |\n|---|---:|---:|---|")
    with tempfile.TemporaryDirectory() as folder:
        folder = options.keep or folder
        for name, build, words in cases(folder):
            if options.only not in name:
                continue
            if build is not last:
                made = build()
                source = os.path.join(folder, (name.split(":")[0].replace(" ", "_") if options.keep else "in") + ".ply")
                write_ply(source, *(made if isinstance(made, tuple) else (made,)))
                last = build
            output = os.path.join(folder, "out.png" if words.startswith("view") else "out.ply")
            if os.path.exists(output):
                os.remove(output)
            words = words.format(source, output).split() + ["-q", "--threads", options.threads]
            run = Run(tool, words, options.limit, options.memory)
            text, bad = judge(tool, run, words, output, words[0] in ("check", "holes"), options)
            number, faults = number + 1, faults + bad
            print(f"| {name} | {run.seconds:.1f} | {run.megabytes:.0f} | {text.replace(folder + '/', '')} |", flush=True)
    print(f"\n{number} cases, {faults} at fault; bounds {options.limit} s of processor time and {options.memory} MB")
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
