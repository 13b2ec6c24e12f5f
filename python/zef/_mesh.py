"""The class Mesh."""

import math

from . import _arrays, _core
from ._errors import ArgumentError
from ._options import takes_options
from ._reports import HandleReport, ManifoldReport, MeshReport, RefitReport, ThinReport, UntangleReport, WriteResult, report_of


class Mesh:
    """A triangle mesh.

    vertices: (n, 3) float64. triangles: (m, 3) uint32, indices of the vertices,
    counter-clockwise seen from outside. colors: (n, 4) uint8, red green blue alpha, or None.
    report: what reconstruct() found, or None.

    The arrays lie in the memory of the mesh, without a copy, and may be written. The
    operations change the mesh in place and then have new arrays: those taken before stay as
    they were, and cost a copy. An operation that raises leaves the mesh as it was, but
    for vertices of no triangle. One call at a time may change a mesh.
    """

    __slots__ = ("_held", "report", "__weakref__")

    def __init__(self, vertices, triangles, colors=None):
        vertices = _arrays.coordinates("vertices", vertices)
        triangles = _arrays.indices("triangles", triangles, len(vertices))
        self._held = _core.MeshHolder(vertices, triangles, _arrays.color_bytes("colors", colors, len(vertices)))
        self.report = None

    @classmethod
    def _of(cls, held, report=None):
        mesh = cls.__new__(cls)
        mesh._held = held
        mesh.report = report
        return mesh

    @property
    def vertices(self):
        """(n, 3) float64; to be assigned as many."""
        return self._held.vertices

    @vertices.setter
    def vertices(self, value):
        held = self._held.vertices
        held[...] = _arrays.coordinates("vertices", value, len(held))

    @property
    def triangles(self):
        """(m, 3) uint32."""
        return self._held.triangles

    @property
    def colors(self):
        """(n, 4) uint8, or None; to be assigned as any colours, or None."""
        return self._held.colors

    @colors.setter
    def colors(self, value):
        self._held.colors = _arrays.color_bytes("colors", value, len(self._held.vertices))

    def copy(self):
        """A mesh of its own memory."""
        return Mesh._of(self._held.copy(), self.report)

    __copy__ = copy

    def __deepcopy__(self, memo):
        return self.copy()

    def __reduce__(self):
        return _restore, (self.vertices, self.triangles, self.colors, self.report)

    def __repr__(self):
        words = "with colours" if self.colors is not None else "without colours"
        return f"<zef.Mesh of {len(self.vertices)} vertices and {len(self.triangles)} triangles, {words}>"

    # ---- operations

    @takes_options("ManifoldOptions")
    def mend(self, *, given, context):
        """Makes every edge and vertex manifold and every piece consistently oriented.

        No vertex moves without untangle. Gives a ManifoldReport. Raises ArgumentError for a triangle that
        repeats a vertex and for a position that is not finite, as all operations do."""
        return report_of(ManifoldReport, self._held.mend(given, *context))

    @takes_options()
    def untangle(self, *, context):
        """Parts triangles that intersect; vertices there move, mostly by half an edge at the most.

        Gives an UntangleReport. A mesh that is not manifold and oriented stays as it is: see
        mend()."""
        return report_of(UntangleReport, self._held.untangle(*context))

    @takes_options("RefitOptions")
    def refit(self, points, *, colors=None, given, context):
        """Fits the mesh closer to the points that it stands for: noise goes, creases become sharp.

        points: (n, 3), or a Cloud, whose colours then count as well. colors: (n, 3) or
        (n, 4), as for reconstruct(). Gives a RefitReport. A mesh that is not manifold stays
        as it is."""
        colors = getattr(points, "colors", None) if colors is None else colors
        array = _arrays.coordinates("points", points)
        colors = _arrays.color_bytes("colors", colors, len(array))
        return report_of(RefitReport, self._held.refit(array, colors, given, *context))

    @takes_options("ReduceOptions")
    def simplify(self, *, ratio=None, given, context):
        """Removes triangles by merging neighbouring vertices where that changes the surface least.

        ratio: the share of the triangles to leave, above 0, at most 1; in place of
        target_triangles. Ends at the target, or when every further merge would go beyond
        max_error; one of them has to be given. Gives the error reached, measured in both
        directions, in the unit of the vertices. Some 4 seconds a million triangles, with
        max_error some 70."""
        if ratio is not None:
            if "target_triangles" in given:
                raise ArgumentError("ratio is given, and target_triangles too; it must be one of them")
            given["target_triangles"] = _target(ratio, len(self.triangles))
        return self._held.simplify(given, *context)

    @takes_options("ReduceFlatOptions")
    def reduce_flat(self, *, given, context):
        """Removes triangles in flat parts; what remains are vertices of before, unmoved.

        Gives the number of triangles removed. Can leave edges of more than two triangles:
        see mend()."""
        return self._held.reduce_flat(given, *context)

    @takes_options("SmoothingOptions")
    def smooth(self, *, given, context):
        """Moves every vertex part of the way to the mean of its neighbours, in steps.

        Plain steps shrink the mesh; with keep_volume they remove only what is rough."""
        self._held.smooth(given, *context)

    @takes_options()
    def flip_edges(self, *, context):
        """Replaces edges by the other diagonal of their two triangles where that bends the
        surface less or follows a step of colour: creases come straight. No vertex moves."""
        self._held.flip_edges(*context)

    @takes_options()
    def anneal(self, *, context):
        """As flip_edges(), with simulated annealing: finds what no single flip improves.
        Some 20 times as long."""
        self._held.anneal(*context)

    @takes_options()
    def fill_colors(self, *, context):
        """Gives vertices without colour the mean colour of their neighbours, ring by ring."""
        self._held.fill_colors(*context)

    @takes_options()
    def stretch_contrast(self, low_fraction, high_fraction, *, context):
        """Stretches the colours, all channels alike, over 0 to 255: these fractions of the
        channels, 0 to 1, dark and bright, are clipped."""
        self._held.stretch_contrast(low_fraction, high_fraction, *context)

    # ---- questions

    @takes_options()
    def check(self, *, context):
        """Counts edges, borders, pieces and what is wrong with the mesh: a MeshReport."""
        return report_of(MeshReport, self._held.check(*context))

    @takes_options()
    def find_handles(self, longest=0.0, *, context):
        """How many handles and tunnels the mesh has, and where those are whose shortest loops are no longer than that,
        or than 12 mean edges: a HandleReport. The mesh is manifold and oriented."""
        return report_of(HandleReport, self._held.find_handles(longest, *context))

    @takes_options()
    def find_thin_places(self, thickness=0.0, *, context):
        """Where walls are thinner than that, or than two mean edges: a ThinReport. Sides count as they are turned."""
        return report_of(ThinReport, self._held.find_thin_places(thickness, *context))

    @takes_options()
    def count_self_intersections(self, *, context):
        """Pairs of triangles with a common point that is of no common corner or edge."""
        return self._held.count_self_intersections(*context)

    @takes_options()
    def border_edges(self, *, context):
        """(k, 2) uint32: the edges of one triangle, the lower vertex first, ascending."""
        return self._held.border_edges(*context)

    @takes_options()
    def average_edge_length(self, *, context):
        """Mean over the edges, in the unit of the vertices; 0 without triangles."""
        return self._held.average_edge_length(*context)

    # ---- files and pictures

    @takes_options("WriteOptions")
    def write(self, path, *, given, context):
        """Writes the mesh as .ply .obj .stl .off or .glb, by the ending of path.

        The file appears whole or not at all. Gives a WriteResult: whether coordinates are
        doubles, and what was subtracted from them. Raises FileError, and ArgumentError for
        another ending."""
        file = _arrays.path("path", path)
        return report_of(WriteResult, _core.write_mesh(file, self._held, given, *context))

    @takes_options("PageOptions")
    def plot(self, path=None, *, cloud=None, report=None, height=520, given, context):
        """Shows the mesh, see view(): an interactive page in the notebook or the browser."""
        from ._scene import view

        return view(self, cloud, path=path, report=report, height=height, **given, threads=context[0],
                    progress=context[1])


def _restore(vertices, triangles, colors, report):
    mesh = Mesh(vertices, triangles, colors)
    mesh.report = report
    return mesh


def _target(ratio, num_triangles):
    share = _core.number("ratio", ratio)
    if not 0.0 < share <= 1.0:
        raise ArgumentError(f"ratio is {share}; it must be above 0, and at most 1")
    return max(1, math.floor(share * num_triangles))
