"""Many scans at once, one process each.

    batch.py [SCAN...]

Each SCAN.ply gives SCAN.mesh.ply. Without files, three scans are simulated.
"""

import pathlib
import sys
from concurrent.futures import ProcessPoolExecutor

import numpy as np

import zef


def simulate():
    rng = np.random.default_rng(5)
    for name, stretch in (("ball", 1.0), ("egg", 1.4), ("disc", 0.4)):
        points = rng.normal(size=(10_000, 3))
        points *= np.array([1.0, 1.0, stretch]) / np.linalg.norm(points, axis=1, keepdims=True)
        zef.write(f"{name}.ply", points)
        yield f"{name}.ply"


def mesh_file(scan):
    """What one process does. It has one thread, since there are as many processes as cores."""
    out = pathlib.Path(scan).with_suffix(".mesh.ply")
    try:
        mesh = zef.reconstruct(zef.read_points(scan), threads=1)
        mesh.write(out)
    except zef.Error as error:
        return f"{scan}: {error}"
    return f"{out}: {len(mesh.triangles)} triangles"


def main(*scans):
    with ProcessPoolExecutor() as pool:
        for line in pool.map(mesh_file, scans or list(simulate())):
            print(line)


if __name__ == "__main__":
    main(*sys.argv[1:])
