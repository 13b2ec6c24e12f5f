"""numpy in, trimesh out; meshio and matplotlib take the arrays in the same way.

    to_others.py
"""

import numpy as np

import zef


def main():
    points = np.random.default_rng(1).normal(size=(20_000, 3)).astype(np.float32)
    points /= np.linalg.norm(points, axis=1, keepdims=True)
    mesh = zef.reconstruct(points)
    print(mesh)
    try:
        import trimesh

        body = trimesh.Trimesh(mesh.vertices, mesh.triangles, vertex_colors=mesh.colors, process=False)
        print(f"trimesh: volume {body.volume:.3f}, watertight {body.is_watertight}")
    except ImportError:
        print("trimesh is not installed")
    try:
        import meshio

        meshio.Mesh(mesh.vertices, [("triangle", mesh.triangles)]).write("ball.vtk")
        print("meshio: ball.vtk")
    except ImportError:
        print("meshio is not installed")


if __name__ == "__main__":
    main()
