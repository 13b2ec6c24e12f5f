"""Pictures of meshes and clouds, drawn by matplotlib."""

import os
import tempfile
import webbrowser

import numpy as np

from . import _arrays, _core
from ._errors import ArgumentError, ArgumentTypeError
from ._functions import Cloud
from ._mesh import Mesh

_MOST_FACES = 300_000  # beyond it, triangles are drawn as dots
_MOST_POINTS = 300_000
_GREY = np.array([0.72, 0.74, 0.78])


class Picture:
    """A drawn picture. figure: of matplotlib. path: the file that it was written to, or None."""

    def __init__(self, figure):
        self.figure = figure
        self.path = None

    def save(self, path):
        """Writes it as .png, or what else matplotlib knows by the ending of path."""
        self.figure.savefig(os.fsdecode(_arrays.path("path", path)))
        self.path = path

    def _repr_png_(self):
        from io import BytesIO

        file = BytesIO()
        self.figure.savefig(file, format="png")
        return file.getvalue()


def _number(name, value, low, high):
    number = _core.number(name, value)
    if not low <= number <= high:
        raise ArgumentError(f"{name} is {number}; it must be from {low} to {high}")
    return number


def _camera(azimuth, elevation):
    """Rows: to the right, up, towards the viewer."""
    a, e = np.radians([azimuth, elevation])
    towards = np.array([np.cos(e) * np.cos(a), np.cos(e) * np.sin(a), np.sin(e)])
    right = np.array([-np.sin(a), np.cos(a), 0.0])
    return np.array([right, np.cross(towards, right), towards])


def _shaded_faces(mesh, camera):
    """Corners on the screen, depth and colour of each triangle, lit from behind the viewer."""
    corners = mesh.vertices[mesh.triangles] @ camera.T
    normals = np.cross(corners[:, 1] - corners[:, 0], corners[:, 2] - corners[:, 0])
    lengths = np.maximum(np.linalg.norm(normals, axis=1, keepdims=True), np.finfo(float).tiny)
    light = np.array([-0.3, 0.4, 0.87])
    shade = 0.25 + 0.75 * np.abs(normals / lengths @ light)
    colors = mesh.colors
    base = _GREY if colors is None else colors[mesh.triangles][:, :, :3].mean(axis=1) / 255.0
    return corners[:, :, :2], corners[:, :, 2].mean(axis=1), np.clip(shade[:, None] * base, 0.0, 1.0)


def _draw_mesh(axes, mesh, camera):
    from matplotlib.collections import PolyCollection

    corners, depth, colors = _shaded_faces(mesh, camera)
    order = np.argsort(depth, kind="stable")
    if len(order) > _MOST_FACES:
        middles = corners.mean(axis=1)
        axes.scatter(*middles[order].T, c=colors[order], s=1.0, marker="s", linewidths=0)
        return
    axes.add_collection(
        PolyCollection(corners[order], facecolors=colors[order], edgecolors=colors[order], linewidths=0.3))


def _draw_points(axes, points, colors, camera):
    step = max(1, -(-len(points) // _MOST_POINTS))
    seen = points[::step] @ camera.T
    rgb = _GREY * 0.6 if colors is None else colors[::step, :3] / 255.0
    order = np.argsort(seen[:, 2], kind="stable")
    rgb = np.broadcast_to(rgb, (len(seen), 3))[order]
    axes.scatter(seen[order, 0], seen[order, 1], c=rgb, s=1.5, marker=".", linewidths=0)


def _points_of(cloud):
    """Finite points and their colours."""
    points = _arrays.coordinates("cloud", cloud)
    colors = cloud.colors if isinstance(cloud, Cloud) else None
    finite = np.isfinite(points).all(axis=1)
    return points[finite], None if colors is None else colors[finite]


def _in_notebook():
    import sys

    shell = sys.modules.get("IPython") and sys.modules["IPython"].get_ipython()
    return bool(shell) and shell.has_trait("kernel")


def view(mesh, cloud, *, path, azimuth, elevation, size):
    """See view() of the package."""
    try:
        from matplotlib.figure import Figure
    except ImportError as error:
        raise ImportError("pictures want matplotlib; install it") from error
    if mesh is not None and not isinstance(mesh, Mesh):
        raise ArgumentTypeError(f"mesh is {_arrays._short(mesh)}; it must be a Mesh")
    if mesh is None and cloud is None:
        raise ArgumentError("mesh and cloud are None; give one of them")
    camera = _camera(_number("azimuth", azimuth, -360, 360), _number("elevation", elevation, -90, 90))
    size = _number("size", size, 0.5, 100)  # inches
    drawn = [thing for thing in (mesh, cloud) if thing is not None]
    figure = Figure(figsize=(size * len(drawn), size), dpi=100, layout="tight")
    for place, thing in enumerate(drawn):
        axes = figure.add_subplot(1, len(drawn), place + 1, aspect="equal")
        axes.set_axis_off()
        if thing is mesh:
            _draw_mesh(axes, thing, camera)
        else:
            _draw_points(axes, *_points_of(thing), camera)
        axes.autoscale_view()
    return _shown(Picture(figure), path)


def _shown(picture, path):
    if path is not None:
        picture.save(path)
    elif not _in_notebook():
        handle, name = tempfile.mkstemp(prefix="zef-", suffix=".png")
        os.close(handle)
        picture.save(name)
        webbrowser.open("file://" + name)
    return picture
