"""Triangle meshes from unordered 3D point clouds.

    import zef
    mesh = zef.reconstruct(points)            # (n, 3), no normals needed
    mesh.vertices, mesh.triangles, mesh.colors
    mesh.write("mesh.ply")

Every call takes its options as keywords, in the unit of the points, and threads and
progress. The same input gives the same mesh, whatever the number of threads and whatever
ran before. Calls let other Python threads run; several may work at once. Ctrl-C ends them.
Messages go to the logger "zef". What fails raises one of the family of Error.
"""

from ._core import version as __version__
from ._errors import (
    ArgumentError,
    ArgumentTypeError,
    CancelledError,
    Error,
    FileError,
    InternalError,
    LicenseError,
    NoSurfaceError,
    TooLargeError,
)
from ._functions import (
    Cloud,
    check,
    compare,
    distance_colors,
    info,
    measure_points,
    measure_spacing,
    melt,
    read_mesh,
    formats,
    read_points,
    reconstruct,
    resample,
    write,
)
from ._mesh import Mesh
from ._reports import (
    ClosingReport,
    Comparison,
    DensityReport,
    Deviation,
    FileInfo,
    HandleReport,
    ManifoldReport,
    MeshBorderLoop,
    MeshComponent,
    MeshHandle,
    MeshReport,
    PointStatistics,
    ReconstructionReport,
    RefitReport,
    ThinPlace,
    ThinReport,
    UntangleReport,
    WriteResult,
)

from ._scene import Page, Picture, draw, view


def __getattr__(name):
    """zef.tiles when it is first used: it imports what starts processes, which takes a while."""
    if name != "tiles":
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
    import importlib

    return importlib.import_module(".tiles", __name__)
