"""A coloured scan to a mesh and a web page of both.

    coloured_scan.py [SCAN [OUT.ply [PAGE.html]]]

Without a file, a scan of a hill with painted rings is simulated.
"""

import logging
import sys

import numpy as np

import zef


def simulate(path):
    rng = np.random.default_rng(3)
    ground = rng.uniform(-1.0, 1.0, (40_000, 2))
    distance = np.hypot(*ground.T)
    height = 0.5 * np.exp(-4.0 * distance**2) + rng.normal(0.0, 0.001, len(ground))
    rings = 0.5 + 0.5 * np.sin(18.0 * distance)
    colors = np.column_stack([rings, 0.6 * np.ones_like(rings), 1.0 - rings])  # shares of 1
    zef.write(path, np.column_stack([ground, height]), colors=colors)


def main(scan=None, out="hill.ply", page="hill.html"):
    logging.basicConfig(format="%(name)s: %(message)s")  # where warnings of the library go
    if scan is None:
        scan = "hill_scan.ply"
        simulate(scan)
    cloud = zef.read_points(scan)
    print(cloud, "in", cloud.info.format)

    mesh = zef.reconstruct(cloud)  # with the colours of the cloud
    mesh.smooth(steps=2, keep_volume=True)
    mesh.write(out)
    shown = zef.view(mesh, cloud, path=page, title="Hill", names=["hill"])
    print(mesh, "in", out, "and", shown.path)


if __name__ == "__main__":
    main(*sys.argv[1:])
