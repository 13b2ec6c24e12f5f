"""The functions of the package."""

import numpy as np

from . import _arrays, _core
from ._errors import ArgumentTypeError
from ._mesh import Mesh
from ._options import takes_options
from ._reports import Comparison, FileInfo, PointStatistics, ReconstructionReport, WriteResult, report_of


class Cloud:
    """Points of a file, or of resample().

    points: (n, 3) float64, in the order of the file. colors: (n, 4) uint8, or None.
    normals: (n, 3) float64 as they stand in the file, or None. classes: (n,) uint8 of LAS, or
    None. intensities: (n,) float32, or None. triangles: (m, 3) uint32 of a file with a mesh,
    or None. info: what else the file tells, a FileInfo, or None.

    The arrays lie in the memory of the cloud, without a copy. numpy.asarray(cloud) gives
    points.
    """

    __slots__ = ("_held", "info", "__weakref__")

    def __init__(self):
        raise ArgumentTypeError("a Cloud comes from read_points() or resample(); calls take arrays of points as well")

    @classmethod
    def _of(cls, held, info=None):
        cloud = cls.__new__(cls)
        cloud._held = held
        cloud.info = info
        return cloud

    @property
    def points(self):
        """(n, 3) float64."""
        return self._held.points

    @property
    def colors(self):
        """(n, 4) uint8, red green blue alpha, or None."""
        return self._held.colors

    @property
    def normals(self):
        """(n, 3) float64, not normalised, zero where one is missing; or None."""
        return self._held.normals

    @property
    def classes(self):
        """(n,) uint8: 2 ground, 6 building and so on, or None."""
        return self._held.classes

    @property
    def intensities(self):
        """(n,) float32 as they stand in the file, or None."""
        return self._held.intensities

    @property
    def triangles(self):
        """(m, 3) uint32, or None."""
        return self._held.triangles

    def __len__(self):
        return len(self._held.points)

    def __array__(self, dtype=None, copy=None):
        return (np.array if copy else np.asarray)(self._held.points, dtype=dtype)

    def __repr__(self):
        words = "with colours" if self.colors is not None else "without colours"
        return f"<zef.Cloud of {len(self)} points, {words}>"


def _input(points, colors=None, normals=None):
    """What the library takes: the cloud of a file as it is, or else arrays."""
    if isinstance(points, Cloud) and colors is None and normals is None:
        return points._held, None, None
    if isinstance(points, Cloud):
        colors = points.colors if colors is None else colors
        normals = points.normals if normals is None else normals
    array = _arrays.coordinates("points", points)
    if normals is not None:
        normals = _arrays.coordinates("normals", normals, len(array))
    return array, _arrays.color_bytes("colors", colors, len(array)), normals


def _surface(name, surface):
    if isinstance(surface, Mesh):
        return surface._held
    if isinstance(surface, Cloud):
        return surface._held if surface.triangles is None else Mesh(surface.points, surface.triangles)._held
    return _arrays.coordinates(name, surface)


def _triangles(triangles):
    if isinstance(triangles, (Mesh, Cloud)):
        return _surface("triangles", triangles)
    return _arrays.corners("triangles", triangles)


@takes_options("ReconstructOptions")
def reconstruct(points, *, colors=None, normals=None, given, context):
    """The mesh of the surface that the points lie on.

    points: (n, 3) of any numbers and layout, used where they lie if they are float64 and
    each row is contiguous; or a Cloud, whose colours, normals and viewpoint then count as
    well. Rows that are not finite are left out, with one warning of the logger "zef".
    colors: (n, 3) or (n, 4), bytes or what becomes bytes: whole numbers up to 65535 if one
    is above 255, shares of 1, or real numbers up to 255 if one is above 1.
    normals: (n, 3), of any length, to the outside; they only help to tell the sides.

    Gives a Mesh, whose report tells the spacing, what was left out, and more. Raises
    ArgumentError, and NoSurfaceError if there are no points or no surface comes out of them.
    About 3 microseconds and 1 kB a point."""
    source = _input(points, colors, normals)
    if isinstance(points, Cloud) and "viewpoint" not in given and points.info is not None:
        given["viewpoint"] = points.info.viewpoint
    held, report = _core.reconstruct(*source, given, *context)
    return Mesh._of(held, report_of(ReconstructionReport, report))


@takes_options()
def measure_spacing(points, *, context):
    """The distance of the samples of the surface, in the unit of the points.

    points: (n, 3), or a Cloud. Raises NoSurfaceError without finite points, ArgumentError
    for points that all coincide."""
    return _core.measure_spacing(_input(points)[0], *context)


@takes_options()
def measure_points(points, *, context):
    """What there is to know of points before anything is made of them: PointStatistics.

    points: (n, 3), or a Cloud. Points without a spacing have statistics too, with a fault."""
    return report_of(PointStatistics, _core.measure_points(_input(points)[0], *context))


@takes_options("MeltOptions")
def melt(triangles, *, given, context):
    """The surface of the triangles as one Mesh with vertices at about the spacing.

    triangles: a Mesh; (m, 3, 3), triangles, corners, x y z; or (3m, 3). They may overlap,
    repeat and not fit together. Raises NoSurfaceError if there is nothing to mesh."""
    return Mesh._of(_core.melt(_triangles(triangles), given, *context))


@takes_options("MeltOptions")
def resample(triangles, *, given, context):
    """One point of the surface for each grid cell that it touches, as a Cloud.

    triangles: as for melt(), where mend, untangle and outer play no part."""
    return Cloud._of(_core.resample(_triangles(triangles), given, *context))


def _read(paths, given, context):
    held = _core.read_points([_arrays.path("path", path) for path in paths], given, *context)
    return held, report_of(FileInfo, held.report())


@takes_options("ReadOptions")
def read_points(path, *, given, context):
    """The points of a file, as a Cloud: .las .laz .e57 .pcd .ptx .pts .ply .xyz and others,
    see formats(). A list of files is read as one.

    Raises FileError, which says where and what helps."""
    paths = path if isinstance(path, (list, tuple)) else [path]
    return Cloud._of(*_read(paths, given, context))


def formats():
    """The formats of files, a list of dicts: name, endings, reads_points, reads_meshes,
    writes_points, writes_meshes, keeps (what is read beside coordinates)."""
    return _core.formats()


@takes_options("ReadMeshOptions")
def read_mesh(path, *, given, context):
    """The Mesh of a file: .ply .stl .obj .off.

    Vertices come in the order of the file; triangles in which a vertex comes twice are left
    out with a warning. Raises FileError, also for a file without triangles."""
    return Mesh._of(_core.read_mesh(_arrays.path("path", path), given, *context))


@takes_options()
def info(path, *, context):
    """What a file of points or triangles holds: a FileInfo, with PointStatistics."""
    held, found = _read([path], {}, context)
    found.statistics = report_of(PointStatistics, _core.measure_points(held, *context))
    return found


@takes_options("WriteOptions")
def write(path, what, *, colors=None, given, context):
    """Writes a Mesh, see Mesh.write(), or points: (n, 3) with colors or without, or a Cloud.

    Points go into .ply .las .pcd .xyz .txt .asc .pts .csv or .bin, by the ending of path;
    LAS takes the classes and intensities of a Cloud. Gives a WriteResult. Raises FileError, and ArgumentError for another ending."""
    file = _arrays.path("path", path)
    if isinstance(what, Mesh):
        if colors is not None:
            raise ArgumentTypeError("colors are given with a Mesh, which has its own; it must be None")
        return report_of(WriteResult, _core.write_mesh(file, what._held, given, *context))
    if isinstance(what, Cloud):
        source = _input(what, colors)
    else:
        points = _arrays.coordinates("what", what)
        source = points, _arrays.color_bytes("colors", colors, len(points))
    return report_of(WriteResult, _core.write_points(file, *source[:2], given, *context))


@takes_options()
def check(mesh, *, context):
    """Counts edges, borders, pieces and what is wrong with the Mesh: a MeshReport."""
    if not isinstance(mesh, Mesh):
        raise ArgumentTypeError(f"mesh is {_arrays._short(mesh)}; it must be a Mesh")
    return mesh.check(threads=context[0], progress=context[1])


@takes_options("CompareOptions")
def compare(mesh, reference, *, given, context):
    """How far a mesh or cloud is from a reference, and that from it: a Comparison.

    mesh, reference: a Mesh; a Cloud, which counts as a mesh if it has triangles; or points, (n, 3). there tells
    how far the mesh is from the reference, back the other way, each as a Deviation: mean, rms, max, three
    percentiles (50, 95, 99), a histogram whose last bin is beyond limit, mean_angle of the normals in degrees
    and turned_share, both -1 unless both are meshes. distances, (n,) float64: of the vertices of
    mesh from the reference, -1 for rows that are not finite. See distance_colors() and view().

    Distances are in the unit of the vertices, to the nearest point on triangles or in the cloud. Raises
    ArgumentError, and NoSurfaceError if one of the two has no finite points. Some 5 microseconds a sample and
    vertex."""
    return report_of(Comparison, _core.compare(_surface("mesh", mesh), _surface("reference", reference), given, *context))


def distance_colors(distances, limit):
    """Colours for distances, (n,), as from compare(): (n, 4) uint8, for Mesh.colors or write().

    Blue for 0, by green and yellow to red for the limit and what lies beyond; grey where a distance is below 0
    or NaN. Raises ArgumentError for a limit that is not above 0."""
    values = _arrays.numbers("distances", distances)
    return np.ascontiguousarray(_core.distance_colors(values, limit))
