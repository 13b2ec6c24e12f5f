#!/usr/bin/env python3
"""Draws the pictures of docs/guide.md and README.md from the simulated scan.

    scripts/pictures.py [BUILD]        build/release by default: the tool and the examples must be built there

Spoils the scan in the ways that users meet, and meshes it without and with the option that helps. Wants numpy.
"""
import os
import subprocess
import sys
import tempfile

import numpy as np

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
BUILD = os.path.join(ROOT, sys.argv[1] if len(sys.argv) > 1 else "build/release")
TOOL = os.path.join(BUILD, "apps/zef/zef")
OUT = os.path.join(ROOT, "docs/pictures")
random = np.random.default_rng(1)


def run(*command):
    subprocess.run([str(part) for part in command], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def draw(name, *inputs, size="400x300", options=()):
    run(TOOL, "view", *inputs, "--png", os.path.join(OUT, name + ".png"), "--size", size, "--force", "--quiet", *options)


def case(folder, name, points, before, after, *drawing):
    """Two pictures, of the meshes that two sets of options give."""
    cloud, mesh = os.path.join(folder, name + ".xyz"), os.path.join(folder, name + ".ply")
    np.savetxt(cloud, points, fmt="%.7f")
    for suffix, options in (("before", before), ("after", after)):
        run(TOOL, "reconstruct", cloud, "-o", mesh, "--force", "--quiet", *options)
        draw("%s_%s" % (name, suffix), mesh, options=drawing)


def main():
    with tempfile.TemporaryDirectory() as folder:
        scan = os.path.join(folder, "scan.ply")
        run(os.path.join(BUILD, "examples/make_scan"), scan, 120000)
        data = open(scan, "rb").read()
        points = np.frombuffer(data[data.index(b"end_header\n") + 11:], "<f4").reshape(-1, 3).astype(float)
        spacing = 0.012

        mesh = os.path.join(folder, "scan.mesh.ply")
        run(TOOL, "reconstruct", scan, "-o", mesh, "--force", "--quiet")
        draw("scan", scan, size="480x360")
        draw("mesh", mesh, size="480x360")

        ball = np.linalg.norm(points - (0.75, -0.35, 1.35), axis=1) < 0.42
        case(folder, "hole", points[~ball], ["--grow", "3"], ["--grow", "60"])
        thin = random.random(len(points)) < np.where(points[:, 0] > 0.2, 0.1, 1.0)
        case(folder, "sparse", points[thin], ["--levels", "0"], ["--factor", "3"])
        balls = random.normal(size=(15, 300, 3))
        balls *= 4 * spacing / np.linalg.norm(balls, axis=2)[:, :, None]
        balls += random.uniform((-1, -1, 0.4), (1, 1, 2.1), (15, 3))[:, None]
        case(folder, "specks", np.concatenate([points, balls.reshape(-1, 3)]), [], ["--min-piece", "2000"])
        case(folder, "coarse", points, ["--factor", "4", "--grow", "5"], ["--factor", "1"])
        plate = points[(points[:, 2] < 0.21) & (points[:, 1] < 0.4)]
        case(folder, "sides", plate, [], ["--viewpoint", "3", "-4", "2"])
        case(folder, "size", points, [], ["--reduce", "2%"], "--flat")


main()
