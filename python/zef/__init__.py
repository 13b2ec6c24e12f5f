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
    info,
    measure_points,
    measure_spacing,
    melt,
    read_mesh,
    read_points,
    reconstruct,
    resample,
    write,
)
from ._mesh import Mesh
from ._reports import (
    DensityReport,
    FileInfo,
    ManifoldReport,
    MeshBorderLoop,
    MeshComponent,
    MeshReport,
    PointStatistics,
    ReconstructionReport,
    WriteResult,
)


def view(mesh, cloud=None, *, path=None, azimuth=-60.0, elevation=30.0, size=6.0):
    """A picture of a Mesh, and beside it of a cloud, (n, 3) or a Cloud; either may be None.

    Seen from azimuth and elevation, degrees, without perspective; z is up. size: inches of
    each of them. In a notebook the picture shows where it is the last line of a cell.
    Elsewhere it is written to path, or else to a file that the browser opens. Gives a
    Picture with save(path) and the figure of matplotlib, which this wants."""
    from ._picture import view as view_picture

    return view_picture(mesh, cloud, path=path, azimuth=azimuth, elevation=elevation, size=size)
