"""Figures that calls give back."""

from types import SimpleNamespace


class Report(SimpleNamespace):
    """Figures as attributes; vars(report) gives them as a dict."""


class DensityReport(Report):
    """What was found of the density of the points, and done."""


class ReconstructionReport(Report):
    """What reconstruct() found and did: spacing, points left out, coverage, ..."""


class ManifoldReport(Report):
    """What mend() found and did."""


class RefitReport(Report):
    """What refit() found and did."""


class ClosingReport(Report):
    """What reconstruct() closed, and left out, when asked for closed pieces."""


class UntangleReport(Report):
    """How many pairs of triangles intersected, and how many still do."""


class MeshComponent(Report):
    """Triangles that hang together across edges."""


class MeshBorderLoop(Report):
    """Border edges that follow one another."""


class MeshReport(Report):
    """What check() counted."""


class MeshHandle(Report):
    """A handle or a tunnel that is narrow somewhere."""


class HandleReport(Report):
    """How many handles find_handles() found, and the narrow ones."""


class ThinPlace(Report):
    """A wall that is thin."""


class ThinReport(Report):
    """The thin walls that find_thin_places() found."""


class PointStatistics(Report):
    """What measure_points() found."""


class Deviation(Report):
    """How far one of the two that compare() got is from the other."""


class Comparison(Report):
    """What compare() measured: there, back, limit, distances."""


class FileInfo(Report):
    """What info() found in a file; statistics holds those of its points."""


class WriteResult(Report):
    """How a file was written."""


class Grid(Report):
    """The cells that all tiles share."""


class TilePlan(Report):
    """What plan() settled: the grid, the boxes of the tiles, how many points lie in each."""


class TileState(Report):
    """How far a job is."""


class TileRun(Report):
    """What run() left: plan, state, and path, that of the mesh."""


_INNER = {
    "grid": Grid,
    "density": DensityReport,
    "mended": ManifoldReport,
    "refit": RefitReport,
    "closing": ClosingReport,
    "untangled": UntangleReport,
    "components": MeshComponent,
    "border_loops": MeshBorderLoop,
    "short_handles": MeshHandle,
    "places": ThinPlace,
    "there": Deviation,
    "back": Deviation,
}


def report_of(kind, figures):
    for name, inner in _INNER.items():
        value = figures.get(name)
        if isinstance(value, dict):
            figures[name] = report_of(inner, value)
        elif isinstance(value, tuple):
            figures[name] = tuple(report_of(inner, part) for part in value)
    return kind(**figures)
