#!/usr/bin/env python3
"""Measures whether fitting a scan takes detail away that other views of the same place confirm.

    scripts/held_out.py CLOUD.ply STARTS [--tool zef] [--run "off=--refit off"]

CLOUD holds the views of a scanner one after the other (binary little-endian PLY);
STARTS are the numbers of each view's first point but the first one's, with commas between. The mesh of every second
view is held against the points of the others near it, and the other way round. Two lines for each --run:

    median, rms, 90 %   distances of the points held back from the mesh, in spacings; rms of those below 3
    bend                mean angle between neighbouring triangles, degrees

What smooths too much moves away from the points held back. Wants numpy and scipy.
"""
import argparse
import os
import shlex
import subprocess
import tempfile

import numpy as np
from scipy.spatial import cKDTree

from accuracy import Surface, default_tool, read_mesh, read_points, write_ply


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("cloud")
    parser.add_argument("starts", help="numbers with commas between")
    parser.add_argument("--tool", default=default_tool())
    parser.add_argument("--run", action="append", metavar="NAME=OPTIONS")
    options = parser.parse_args()
    points = read_points(options.cloud)
    view = np.searchsorted(np.array([int(start) for start in options.starts.split(",")]), np.arange(len(points)), "right")
    runs = dict(run.split("=", 1) for run in options.run or ["off=--refit off", "default="])
    print("%-16s %-6s%9s%9s%9s%9s" % ("way", "views", "median", "rms", "90 %", "bend"))
    with tempfile.TemporaryDirectory() as folder:
        cloud, out = os.path.join(folder, "cloud.ply"), os.path.join(folder, "mesh.ply")
        for parity, name in enumerate(("even", "odd")):
            kept, held = points[view % 2 == parity], points[view % 2 != parity]
            tree = cKDTree(kept)
            spacing = np.median(tree.query(kept, 2)[0][:, 1])
            held = held[tree.query(held)[0] < 1.5 * spacing][::3]
            write_ply(cloud, kept)
            for way, arguments in runs.items():
                subprocess.run([options.tool, "reconstruct", cloud, "-o", out, "--force", "--quiet", *shlex.split(arguments)],
                               check=True, stdout=subprocess.DEVNULL)
                mesh = Surface(*read_mesh(out))
                mesh.index(spacing)
                distances = mesh.distances(held)[0] / spacing
                rms = np.sqrt((distances[distances < 3] ** 2).mean())
                print("%-16s %-6s%9.3f%9.3f%9.3f%9.2f" % (way, name, np.median(distances), rms, np.quantile(distances, 0.9),
                                                       mesh.bends()[1].mean()), flush=True)


main()
