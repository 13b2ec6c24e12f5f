"""Meshes and clouds to look at: pages for the browser and the notebook, and pictures."""

import html
import logging
import math
import os
import sys

import numpy as np

from . import _arrays, _core
from ._errors import ArgumentError, ArgumentTypeError
from ._functions import Cloud
from ._mesh import Mesh
from ._options import takes_options

# Notebooks keep what they show: so many take 1 to 3 MB, and the script 0.8 MB.
_INLINE = {"max_triangles": 250_000, "max_points": 150_000}
_SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "page.js")
_log = logging.getLogger("zef")


def _file_name(path, endings):
    name = os.fsdecode(_arrays.path("path", path))
    if os.path.splitext(name)[1].lower() not in endings:
        raise ArgumentError(f"path is {_arrays._short(path)}; it must end in {' or '.join(endings)}")
    return name


class _Shown:
    """What a browser can show. path: the file that it was written to, or None."""

    path = None

    def save(self, path):
        """Writes it as a file, whole or not at all."""
        name = _file_name(path, self._endings)
        self._write(os.fsencode(name))
        self.path = name

    def open(self):
        """Opens it in the browser, if need be from a file in the folder for temporary ones.

        The file stays, since nobody tells when the browser has read it. Where there is no
        browser, a warning of the logger "zef" names the file. True if a browser was started."""
        import tempfile

        if self.path is None:
            handle, name = tempfile.mkstemp(prefix="zef-", suffix=self._endings[0])
            os.close(handle)
            self.save(name)
        name = os.path.abspath(self.path)
        if _has_display() and _open_browser(name):
            _log.info("the browser shows %s", name)
            return True
        _log.warning("no browser could be started; open %s in one", name)
        return False

    def __repr__(self):
        return f"<zef.{type(self).__name__}{self._size()}" + (f" in {self.path}>" if self.path else ">")


class Page(_Shown):
    """An interactive page: one file without any other, for every browser with WebGL 2.

    html: its text. In a notebook it shows where it is the last line of a cell; programs that
    show notebooks without scripts have a picture instead."""

    _endings = (".html", ".htm")

    def __init__(self, text, height, picture=None):
        self.html = text
        self._height = height
        self._picture = picture

    def _write(self, file):
        _core.write_page(file, self.html)

    def _size(self):
        return f", {len(self.html) / 1e6:.1f} MB"

    def _repr_mimebundle_(self, include=None, exclude=None):
        # The page cannot reach the notebook around it: it gets an origin of its own.
        frame = (f'<iframe srcdoc="{html.escape(self.html)}" sandbox="allow-scripts" allowfullscreen '
                 f'style="width: 100%; height: {self._height}px; border: 0"></iframe>')
        data, sizes = {"text/plain": repr(self), "text/html": frame}, {}
        if self._picture is not None:
            data["image/png"], sizes["image/png"] = self._picture._repr_png_()
        return data, sizes


class Picture(_Shown):
    """A picture. pixels: (height, width, 4) uint8, red green blue alpha, the top row first.

    In a notebook it shows where it is the last line of a cell, at half its size, which suits
    screens with small pixels."""

    _endings = (".png",)

    def __init__(self, pixels):
        self.pixels = pixels

    def _write(self, file):
        _core.write_png(file, self.pixels)

    def _size(self):
        return " of {1} x {0} pixels".format(*self.pixels.shape)

    def _repr_png_(self):
        import base64
        import tempfile

        with tempfile.TemporaryDirectory() as folder:
            name = os.path.join(folder, "picture.png")
            self._write(os.fsencode(name))
            with open(name, "rb") as file:
                text = base64.b64encode(file.read()).decode()
        return text, {"width": self.pixels.shape[1] // 2}


def _has_display():
    """Without one, the browsers of the terminal would take it over."""
    local = sys.platform in ("darwin", "win32", "cygwin")
    return local or any(os.environ.get(name) for name in ("DISPLAY", "WAYLAND_DISPLAY", "BROWSER"))


def _open_browser(name):
    import pathlib
    import webbrowser

    try:
        return webbrowser.open(pathlib.Path(name).as_uri())
    except (webbrowser.Error, OSError):
        return False


def _in_notebook():
    python = sys.modules.get("IPython")
    shell = python and python.get_ipython()
    return bool(shell) and shell.has_trait("kernel")


def _meshes(mesh):
    wish = "a Mesh, a list of Meshes, points, or None"
    meshes = [] if mesh is None else list(mesh) if isinstance(mesh, (list, tuple)) else [mesh]
    if not all(isinstance(one, Mesh) for one in meshes) or (mesh is not None and not meshes):
        raise ArgumentTypeError(f"mesh is {_arrays._short(mesh)}; it must be {wish}")
    return meshes


def _scene(mesh, cloud):
    """Meshes; and meshes, points and colours as the library takes them."""
    name = "cloud"
    if cloud is None and isinstance(mesh, (Cloud, np.ndarray)):
        name, mesh, cloud = "mesh", None, mesh
    meshes = _meshes(mesh)
    if not meshes and cloud is None:
        raise ArgumentError("mesh and cloud are None; give one of them")
    if isinstance(cloud, Cloud):
        points = cloud._held
    else:
        points = cloud if cloud is None else _arrays.coordinates(name, cloud)
    return meshes, ([one._held for one in meshes], points, None)


def _figures(report):
    """Of a reconstruction, for its page."""
    left_out = report.num_strays + report.num_outliers
    yield "points", f"{report.num_points:,}"
    if left_out:
        yield "points left out", f"{left_out:,}"
    yield "spacing of the points", f"{report.measured_spacing:.4g}"
    yield "distance of the vertices", f"{report.spacing:.4g}"
    if report.coverage >= 0.0:
        yield "coverage of the points", f"{100.0 * report.coverage:.1f} %"
    if report.noise >= 0.0:
        yield "noise, in spacings", f"{report.noise:.2g}"


def _lines(report, meshes):
    if report is None:
        found = getattr(meshes[0], "report", None) if len(meshes) == 1 else None
        return list(_figures(found)) if found else []
    if not isinstance(report, dict):
        raise ArgumentTypeError(f"report is {_arrays._short(report)}; it must be a dict of what and how much, or None")
    try:
        lines = [(str(what), str(much)) for what, much in report.items()]
        "".join(map("".join, lines)).encode()
    except ValueError as error:
        raise ArgumentError(f"report is {_arrays._short(report)}; it must have texts in Unicode") from error
    return lines


def _script():
    try:
        with open(_SCRIPT, encoding="utf-8") as file:
            return file.read()
    except FileNotFoundError:
        return None


def _of_pictures(given):
    """Of the options of a page, those that a picture has too."""
    return {key: value for key, value in given.items() if key == "y_up"}


def _still(meshes, points, colors, given, context):
    """What a page shows first, where points are hidden that would hide a mesh."""
    options = {**_of_pictures(given), "width": 800, "height": 600}
    return Picture(_core.draw(meshes, None if meshes else points, colors, options, *context))


@takes_options("DrawOptions")
def draw(mesh, cloud=None, *, given, context):
    """A Picture of a Mesh or a list of them, and of a cloud, (n, 3) or a Cloud.

    One of them may be None, and a cloud may stand alone in place of the mesh.

    As large as it fits, without perspective, z up. Border edges are red lines, edges of more
    than two triangles violet ones, back sides of triangles orange; points without colours show
    their height, or are blue beside a mesh. Rows that are not finite are left out. Its save()
    writes a PNG file. A million triangles take about a third of a second."""
    return Picture(_core.draw(*_scene(mesh, cloud)[1], given, *context))


@takes_options("PageOptions")
def view(mesh, cloud=None, *, path=None, report=None, height=520, given, context):
    """Shows a Mesh or a list of them, and a cloud, (n, 3) or a Cloud, in an interactive page.

    One of them may be None, and a cloud may stand alone in place of the mesh. In a notebook the page shows where it is the last line of a cell, height
    pixels high; there max_triangles is 250 000 and max_points 150 000 unless they are given.
    Elsewhere the browser opens it, from a file in the folder for temporary ones, which stays;
    without a browser a warning of the logger "zef" names the file. With a path, .html, the page
    is only written there. report: lines beside the picture, a dict; if it is not given, what
    reconstruct() found.

    Gives a Page, with html, path, save(path) and open(). A path ending in .png, or a package that
    was built without the script of the pages, which a warning tells, gives a Picture, see draw()."""
    meshes, scene = _scene(mesh, cloud)
    lines = _lines(report, meshes)
    pixels = _core.number("height", height)
    if not 100 <= pixels <= 4000:
        raise ArgumentError(f"height is {_arrays._short(height)}; it must be from 100 to 4000 pixels")
    name = None if path is None else _file_name(path, Page._endings + Picture._endings)
    wants_picture = name is not None and name.lower().endswith(".png")
    inline = name is None and _in_notebook()
    script = None if wants_picture else _script()
    if script is not None:
        limits = {**_INLINE, **given} if inline else given
        text = _core.make_page(*scene, script, lines, limits, *context)
        shown = Page(text, math.floor(pixels), _still(*scene, given, context) if inline else None)
    else:
        if not wants_picture:
            name = name and os.path.splitext(name)[0] + ".png"
            _log.warning("this package was built without the script of the pages: view() draws a picture%s",
                         f", {name}" if name else "")
        shown = Picture(_core.draw(*scene, _of_pictures(given), *context))
    if name is not None:
        shown.save(name)
    elif not inline:
        shown.open()
    return shown
