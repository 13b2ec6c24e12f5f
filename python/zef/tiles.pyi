from typing import Any, Optional, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

from . import _Path, _Progress, _Three, _Vector

class Grid:
    low: _Vector
    spacing: float
    num_levels: int
    measured_spacing: float
    uneven: bool
    levels: int
    smooth: bool
    block_low: _Vector
    block_grid_side: float
    block_level: int
    noise: float
    step_axis: int
    step_values: npt.NDArray[np.float64]

class TilePlan:
    inputs: Tuple[str, ...]
    memory: int
    halo: int
    cuts: Tuple[int, int, int]
    grid: Grid
    low: _Vector
    high: _Vector
    boxes: npt.NDArray[np.uint64]
    num_points: npt.NDArray[np.uint64]
    num_all_points: int
    num_strays: int
    viewpoint_told: bool

class TileState:
    split: bool
    settled: bool
    joined: bool
    meshed: Tuple[bool, ...]
    num_triangles: int
    num_vertices: int
    seconds: float

class TileRun:
    plan: TilePlan
    state: TileState
    path: str

def plan(
    inputs: Union[_Path, Sequence[_Path]],
    job: _Path,
    *,
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
    min_handle: float = 3.0,
    thin_walls: bool = True,
    min_piece: int = 30,
    viewpoint: Optional[_Three] = None,
    keep_classes: Sequence[int] = (),
    drop_classes: Sequence[int] = (),
    box: Optional[Tuple[_Three, _Three]] = None,
    scan: Optional[int] = None,
    columns: str = "",
    partial: bool = False,
    memory: Union[int, str] = 2147483648,
    halo: int = 160,
    cuts: Optional[Tuple[int, int, int]] = None,
    threads: int = 0,
    progress: _Progress = None,
) -> TilePlan: ...
def read_plan(job: _Path) -> TilePlan: ...
def split(job: _Path, *, threads: int = 0, progress: _Progress = None) -> None: ...
def mesh(job: _Path, tile: int, *, threads: int = 0, progress: _Progress = None) -> None: ...
def settle(job: _Path, *, threads: int = 0, progress: _Progress = None) -> None: ...
def join(job: _Path, *, threads: int = 0, progress: _Progress = None) -> None: ...
def export(job: _Path, folder: _Path, *, threads: int = 0, progress: _Progress = None) -> None: ...
def read_state(job: _Path) -> TileState: ...
def run(
    inputs: Union[_Path, Sequence[_Path]],
    job: _Path,
    *,
    client: Any = None,
    workers: Optional[int] = None,
    retries: int = 3,
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
    min_handle: float = 3.0,
    thin_walls: bool = True,
    min_piece: int = 30,
    viewpoint: Optional[_Three] = None,
    keep_classes: Sequence[int] = (),
    drop_classes: Sequence[int] = (),
    box: Optional[Tuple[_Three, _Three]] = None,
    scan: Optional[int] = None,
    columns: str = "",
    partial: bool = False,
    memory: Union[int, str] = 2147483648,
    halo: int = 160,
    cuts: Optional[Tuple[int, int, int]] = None,
    threads: int = 0,
    progress: _Progress = None,
) -> TileRun: ...
