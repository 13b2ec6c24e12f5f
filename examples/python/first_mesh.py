"""Points of an array to a mesh file.

    first_mesh.py [OUT.ply]
"""

import sys

import numpy as np

import zef


def torus(count):
    """Points on a torus, in no order, without normals."""
    around, across = np.random.default_rng(7).uniform(0.0, 2.0 * np.pi, (2, count))
    radius = 1.0 + 0.35 * np.cos(across)
    return np.column_stack([radius * np.cos(around), radius * np.sin(around), 0.35 * np.sin(across)])


def main(out="torus.ply"):
    mesh = zef.reconstruct(torus(30_000), measure_coverage=True)
    print(mesh)
    print(f"spacing {mesh.report.spacing:.4f}, {100 * mesh.report.coverage:.1f} % of the points lie near the mesh")

    error = mesh.simplify(ratio=0.2)
    report = mesh.check()
    print(f"{report.num_triangles} triangles, no farther than {error:.4f} from before; closed: {report.closed}")
    mesh.write(out)


if __name__ == "__main__":
    main(*sys.argv[1:])
