from os import PathLike
from typing import Any, Callable, Dict, List, Mapping, Optional, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

__version__: str

_Path = Union[str, bytes, "PathLike[str]", "PathLike[bytes]"]
_Numbers = npt.ArrayLike  # (n, 3)
_Three = Union[Sequence[float], npt.NDArray[Any]]
_Progress = Optional[Callable[[str, float], Any]]
_Vector = Tuple[float, float, float]

class Error(Exception): ...
class ArgumentError(Error, ValueError): ...
class ArgumentTypeError(ArgumentError, TypeError): ...
class NoSurfaceError(Error, ValueError): ...
class FileError(Error, OSError): ...
class TooLargeError(Error, MemoryError): ...
class CancelledError(Error): ...
class LicenseError(Error): ...
class InternalError(Error, RuntimeError): ...

class DensityReport:
    unsupported_share: float
    uneven: bool
    level_points: Tuple[int, ...]
    num_added_points: int
    num_merged_vertices: int
    coarsening: float

class ManifoldReport:
    num_removed_duplicates: int
    num_removed_sheets: int
    num_removed_sheet_triangles: int
    num_closed_loops: int
    num_renewed_places: int
    num_renewed_triangles: int
    num_added_triangles: int
    num_non_manifold_edges: int
    num_seam_edges: int
    num_split_vertices: int
    num_added_vertices: int
    num_reversed_triangles: int
    num_components: int
    num_closed_components: int
    untangled: UntangleReport

class UntangleReport:
    num_pairs: int
    num_pairs_left: int

class ClosingReport:
    num_closed_loops: int
    num_sheets: int
    num_inner: int
    num_thickened: int
    holds: bool

class RefitReport:
    noise: float
    radius: float
    num_moved_vertices: int
    num_crease_vertices: int
    mean_move: float
    max_move: float

class ReconstructionReport:
    num_points: int
    num_strays: int
    num_outliers: int
    low: _Vector
    high: _Vector
    measured_spacing: float
    spacing: float
    num_cells: int
    density: DensityReport
    mended: ManifoldReport
    num_removed_pieces: int
    num_removed_triangles: int
    num_cut_handles: int
    thin_walls: bool
    refit: RefitReport
    untangled: UntangleReport
    closing: ClosingReport
    side_rule: str
    num_turned_pieces: int
    coverage: float
    noise: float

class MeshComponent:
    num_triangles: int
    num_vertices: int
    num_edges: int
    num_border_edges: int
    num_border_loops: int
    closed: bool
    manifold: bool
    oriented: bool
    euler: int
    genus: int
    area: float
    volume: float

class MeshBorderLoop:
    num_edges: int
    length: float
    low: _Vector
    high: _Vector

class MeshReport:
    num_vertices: int
    num_triangles: int
    num_edges: int
    num_components: int
    num_border_edges: int
    num_border_loops: int
    num_non_manifold_edges: int
    num_non_manifold_vertices: int
    num_orientation_conflicts: int
    num_degenerate_triangles: int
    num_duplicate_triangles: int
    euler: int
    closed: bool
    manifold: bool
    oriented: bool
    area: float
    volume: float
    components: Tuple[MeshComponent, ...]
    border_loops: Tuple[MeshBorderLoop, ...]

class MeshHandle:
    length: float
    place: _Vector

class HandleReport:
    num_handles: int
    short_handles: Tuple[MeshHandle, ...]

class ThinPlace:
    thickness: float
    place: _Vector
    num_triangles: int

class ThinReport:
    limit: float
    num_triangles: int
    places: Tuple[ThinPlace, ...]

class PointStatistics:
    num_finite: int
    num_duplicates: int
    num_strays: int
    num_outliers: int
    low: _Vector
    high: _Vector
    spacing: float
    num_cells: int
    fault: str
    unsupported_share: float
    local_spacing: _Vector
    noise: float
    needs_doubles: bool

class Deviation:
    num_samples: int
    mean: float
    rms: float
    max: float
    percentiles: _Vector
    histogram: Tuple[int, ...]
    mean_angle: float
    turned_share: float

class Comparison:
    there: Deviation
    back: Deviation
    limit: float
    distances: npt.NDArray[np.float64]

class FileInfo:
    kind: str
    format: str
    num_points: int
    num_triangles: int
    has_color: bool
    has_normals: bool
    viewpoint: Optional[_Vector]
    num_scans: int
    projection: str
    num_not_taken: int
    num_header_lines: int
    num_skipped_lines: int
    num_polygons: int
    num_dropped_faces: int
    num_unused_vertices: int
    comments: Tuple[str, ...]
    notes: Tuple[str, ...]
    statistics: PointStatistics

class WriteResult:
    doubles: bool
    offset: _Vector

class Cloud:
    info: Optional[FileInfo]
    @property
    def points(self) -> npt.NDArray[np.float64]: ...
    @property
    def colors(self) -> Optional[npt.NDArray[np.uint8]]: ...
    @property
    def normals(self) -> Optional[npt.NDArray[np.float64]]: ...
    @property
    def classes(self) -> Optional[npt.NDArray[np.uint8]]: ...
    @property
    def intensities(self) -> Optional[npt.NDArray[np.float32]]: ...
    @property
    def triangles(self) -> Optional[npt.NDArray[np.uint32]]: ...
    def __len__(self) -> int: ...
    def __array__(self, dtype: Any = None, copy: Optional[bool] = None) -> npt.NDArray[Any]: ...

class Mesh:
    report: Optional[ReconstructionReport]
    def __init__(self, vertices: _Numbers, triangles: npt.ArrayLike, colors: Optional[npt.ArrayLike] = None) -> None: ...
    @property
    def vertices(self) -> npt.NDArray[np.float64]: ...
    @vertices.setter
    def vertices(self, value: _Numbers) -> None: ...
    @property
    def triangles(self) -> npt.NDArray[np.uint32]: ...
    @property
    def colors(self) -> Optional[npt.NDArray[np.uint8]]: ...
    @colors.setter
    def colors(self, value: Optional[npt.ArrayLike]) -> None: ...
    def copy(self) -> Mesh: ...
    def mend(
        self,
        *,
        fill_holes: bool = True,
        max_hole_edges: int = 16,
        exact_vertices: bool = False,
        untangle: bool = False,
        threads: int = 0,
        progress: _Progress = None,
    ) -> ManifoldReport: ...
    def untangle(self, *, threads: int = 0, progress: _Progress = None) -> UntangleReport: ...
    def refit(
        self,
        points: Union[_Numbers, Cloud],
        *,
        colors: Optional[npt.ArrayLike] = None,
        spacing: float = 0.0,
        radius: float = 0.0,
        threads: int = 0,
        progress: _Progress = None,
    ) -> RefitReport: ...
    def simplify(
        self,
        *,
        ratio: Optional[float] = None,
        target_triangles: int = 0,
        max_error: float = float("inf"),
        max_color_step: float = 32.0,
        untangle: bool = True,
        threads: int = 0,
        progress: _Progress = None,
    ) -> float: ...
    def reduce_flat(
        self,
        *,
        max_edge_length: float = 0.0,
        max_deviation_deg: float = 5.0,
        untangle: bool = True,
        threads: int = 0,
        progress: _Progress = None,
    ) -> int: ...
    def smooth(
        self,
        *,
        steps: int = 1,
        keep_volume: bool = False,
        lambda_: float = 0.5,
        mu: float = -0.526,
        untangle: bool = True,
        threads: int = 0,
        progress: _Progress = None,
    ) -> None: ...
    def flip_edges(self, *, threads: int = 0, progress: _Progress = None) -> None: ...
    def anneal(self, *, threads: int = 0, progress: _Progress = None) -> None: ...
    def fill_colors(self, *, threads: int = 0, progress: _Progress = None) -> None: ...
    def stretch_contrast(
        self, low_fraction: float, high_fraction: float, *, threads: int = 0, progress: _Progress = None
    ) -> None: ...
    def check(self, *, threads: int = 0, progress: _Progress = None) -> MeshReport: ...
    def find_handles(
        self, longest: float = 0.0, *, threads: int = 0, progress: _Progress = None
    ) -> HandleReport: ...
    def find_thin_places(
        self, thickness: float = 0.0, *, threads: int = 0, progress: _Progress = None
    ) -> ThinReport: ...
    def count_self_intersections(self, *, threads: int = 0, progress: _Progress = None) -> int: ...
    def border_edges(self, *, threads: int = 0, progress: _Progress = None) -> npt.NDArray[np.uint32]: ...
    def average_edge_length(self, *, threads: int = 0, progress: _Progress = None) -> float: ...
    def write(
        self,
        path: _Path,
        *,
        precision: str = "auto",
        spacing: float = 0.0,
        text: bool = False,
        normals: bool = False,
        offset: _Three = (0.0, 0.0, 0.0),
        comments: Sequence[str] = (),
        threads: int = 0,
        progress: _Progress = None,
    ) -> WriteResult: ...
    def plot(
        self,
        path: Optional[_Path] = None,
        *,
        cloud: Union[_Numbers, Cloud, None] = None,
        report: Optional[Mapping[str, Any]] = None,
        height: float = 520,
        title: str = "zef",
        names: Sequence[str] = (),
        y_up: bool = False,
        max_triangles: int = 3000000,
        max_points: int = 3000000,
        threads: int = 0,
        progress: _Progress = None,
    ) -> Union[Page, Picture]: ...

class Page:
    html: str
    path: Optional[str]
    def __init__(self, text: str, height: int, picture: Optional[Picture] = None) -> None: ...
    def save(self, path: _Path) -> None: ...
    def open(self) -> bool: ...

class Picture:
    pixels: npt.NDArray[np.uint8]
    path: Optional[str]
    def __init__(self, pixels: npt.NDArray[np.uint8]) -> None: ...
    def save(self, path: _Path) -> None: ...
    def open(self) -> bool: ...

def reconstruct(
    points: Union[_Numbers, Cloud],
    *,
    colors: Optional[npt.ArrayLike] = None,
    normals: Optional[_Numbers] = None,
    spacing: float = 0.0,
    factor: float = 1.3,
    smooth: bool = False,
    grow_steps: int = 20,
    keep_borders: bool = True,
    keep_outliers: bool = False,
    density: str = "auto",
    levels: int = 4,
    mend: bool = True,
    refit: bool = True,
    refit_radius: float = 0.0,
    untangle: bool = True,
    closed: bool = False,
    keep_inner: bool = False,
    thicken: float = 0.0,
    min_handle: float = 3.0,
    thin_walls: bool = True,
    min_piece: int = 30,
    viewpoint: Optional[_Three] = None,
    measure_coverage: bool = False,
    threads: int = 0,
    progress: _Progress = None,
) -> Mesh: ...
def measure_spacing(points: Union[_Numbers, Cloud], *, threads: int = 0, progress: _Progress = None) -> float: ...
def measure_points(
    points: Union[_Numbers, Cloud], *, threads: int = 0, progress: _Progress = None
) -> PointStatistics: ...
def melt(
    triangles: Union[Mesh, Cloud, npt.ArrayLike],
    *,
    spacing: float = 0.0,
    feature_angle: float = 45.0,
    mend: bool = True,
    untangle: bool = True,
    outer: bool = False,
    threads: int = 0,
    progress: _Progress = None,
) -> Mesh: ...
def resample(
    triangles: Union[Mesh, Cloud, npt.ArrayLike],
    *,
    spacing: float = 0.0,
    feature_angle: float = 45.0,
    mend: bool = True,
    untangle: bool = True,
    outer: bool = False,
    threads: int = 0,
    progress: _Progress = None,
) -> Cloud: ...
def compare(
    mesh: Union[Mesh, Cloud, _Numbers],
    reference: Union[Mesh, Cloud, _Numbers],
    *,
    samples: int = 200000,
    limit: float = 0.0,
    bins: int = 20,
    threads: int = 0,
    progress: _Progress = None,
) -> Comparison: ...
def distance_colors(distances: npt.ArrayLike, limit: float) -> npt.NDArray[np.uint8]: ...
def read_points(
    path: Union[_Path, Sequence[_Path]],
    *,
    keep_classes: Sequence[int] = (),
    drop_classes: Sequence[int] = (),
    box: Optional[Tuple[_Three, _Three]] = None,
    every: int = 1,
    grid: float = 0.0,
    scan: Optional[int] = None,
    columns: str = "",
    partial: bool = False,
    threads: int = 0,
    progress: _Progress = None,
) -> Cloud: ...
def formats() -> List[Dict[str, Any]]: ...
def read_mesh(
    path: _Path, *, merge_equal: bool = False, threads: int = 0, progress: _Progress = None
) -> Mesh: ...
def info(path: _Path, *, threads: int = 0, progress: _Progress = None) -> FileInfo: ...
def write(
    path: _Path,
    what: Union[Mesh, Cloud, _Numbers],
    *,
    colors: Optional[npt.ArrayLike] = None,
    precision: str = "auto",
    spacing: float = 0.0,
    text: bool = False,
    normals: bool = False,
    offset: _Three = (0.0, 0.0, 0.0),
    comments: Sequence[str] = (),
    threads: int = 0,
    progress: _Progress = None,
) -> WriteResult: ...
def check(mesh: Mesh, *, threads: int = 0, progress: _Progress = None) -> MeshReport: ...
def draw(
    mesh: Union[Mesh, Sequence[Mesh], Cloud, npt.NDArray[Any], None],
    cloud: Union[_Numbers, Cloud, None] = None,
    *,
    width: int = 1600,
    height: int = 1200,
    from_: str = "iso",
    y_up: bool = False,
    smooth: bool = True,
    colors: bool = True,
    borders: bool = True,
    point_size: float = 0.0,
    finer: int = 2,
    threads: int = 0,
    progress: _Progress = None,
) -> Picture: ...
def view(
    mesh: Union[Mesh, Sequence[Mesh], Cloud, npt.NDArray[Any], None],
    cloud: Union[_Numbers, Cloud, None] = None,
    *,
    path: Optional[_Path] = None,
    report: Optional[Mapping[str, Any]] = None,
    height: float = 520,
    title: str = "zef",
    names: Sequence[str] = (),
    y_up: bool = False,
    max_triangles: int = 3000000,
    max_points: int = 3000000,
    threads: int = 0,
    progress: _Progress = None,
) -> Union[Page, Picture]: ...
