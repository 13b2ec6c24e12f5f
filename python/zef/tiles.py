"""Scans that are larger than memory, or than one machine can mesh in time: tile by tile.

    done = zef.tiles.run(["street.las"], "street")     # on all processors of this machine
    done = zef.tiles.run(["street.las"], "street", client=client)   # on those of a cluster of Dask
    done.path                                          # street/mesh.ply

A job is a folder that every worker sees under the same name. run() takes all of its steps: plan(), split(), mesh() of each
tile, settle(), join(). Each of them writes its files whole or not at all, and does nothing where they are there; so a job that
was killed goes on where it was when the same call comes again, and any other engine may take the steps as well. The bytes of
the mesh do not depend on who did what, nor when.
"""

import concurrent.futures
import multiprocessing
import os
import queue
import re
import signal
import sys
import threading
import time
from concurrent.futures.process import BrokenProcessPool

from . import _arrays, _core
from ._errors import ArgumentError, ArgumentTypeError, CancelledError, Error
from ._options import takes_options
from ._reports import TilePlan, TileRun, TileState, report_of

__all__ = ["export", "join", "mesh", "plan", "read_plan", "read_state", "run", "settle", "split"]


def _folder(name, value):
    try:
        return _arrays.path(name, value)
    except ArgumentError as error:
        raise type(error)(str(error).replace("the name of a file", "the name of a folder")) from None


def _job(job):
    return _folder("job", job)


def _inputs(inputs):
    paths = inputs if isinstance(inputs, (list, tuple)) else [inputs]
    if not paths:
        raise ArgumentError("inputs is empty; it must be the name of a file, or a list of them")
    return [_arrays.path("inputs", path) for path in paths]


def _with_bytes(given):
    """memory may be a text: "4G", "500 MB", "1.5 GiB"; each letter stands for 1024 times the one before."""
    text = given.get("memory")
    if not isinstance(text, str):
        return given
    parts = re.fullmatch(r"\s*(\d+(?:\.\d+)?)\s*([KMGT]?)(?:i?B)?\s*", text, re.IGNORECASE | re.ASCII)
    if not parts:
        raise ArgumentError(f'memory is {_arrays._short(text)}; it must be a number of bytes, or a text such as "4G"')
    return {**given, "memory": int(float(parts[1]) * 1024 ** " KMGT".index(parts[2].upper() or " "))}


@takes_options("TileOptions")
def plan(inputs, job, *, given, context):
    """Makes the folder of a job, and settles the grid and the tiles: a TilePlan.

    inputs: the name of a file, or a list of them; read in bounded memory. A job that is planned
    already stays as it is; ArgumentError if that was another one. Raises FileError, and
    NoSurfaceError where there are no points."""
    return report_of(TilePlan, _core.plan_tiles(_inputs(inputs), _job(job), _with_bytes(given), *context))


def read_plan(job):
    """What plan() settled: a TilePlan.

    inputs, memory, halo, cuts as they were given; grid; boxes, (n, 2, 3): of each tile the lowest cell, and the one
    above the highest; num_points, (n,), of each box, roughly; low and high, the corners of the box of all points but strays;
    num_all_points, num_strays; viewpoint_told: whether the inputs tell one."""
    return report_of(TilePlan, _core.read_tile_plan(_job(job)))


@takes_options()
def split(job, *, context):
    """Reads the inputs once more, and writes the points of all tiles, in bounded memory."""
    _core.split_tiles(_job(job), *context)


@takes_options()
def mesh(job, tile, *, context):
    """Meshes one tile, a number from 0 on. The tiles of a job may be meshed in any order, at once, on
    any machines."""
    _core.mesh_tile(_job(job), tile, *context)


@takes_options()
def settle(job, *, context):
    """Joins the seams, once all tiles are meshed."""
    _core.settle_tiles(_job(job), *context)


@takes_options()
def join(job, *, context):
    """Writes the mesh of all, mesh.ply in the folder of the job, a tile at a time."""
    _core.join_tiles(_job(job), *context)


@takes_options()
def export(job, folder, *, context):
    """Writes the mesh of a settled job in parts for viewers, in 3D Tiles 1.1: tileset.json, and each tile as
    binary glTF, z up.

    Makes the folder; what stood there under these names is replaced. A tile at a time is in memory."""
    _core.export_tileset(_job(job), _folder("folder", folder), *context)


def read_state(job):
    """How far a job is, by its records: a TileState.

    split, settled, joined; meshed, a tuple of bools by tile; num_triangles, num_vertices, and
    seconds, sums over what is done."""
    return report_of(TileState, _core.read_tile_state(_job(job)))


class _Teller:
    """Tells how far a run is, of which each step has a part."""

    _PARTS = {"plan": (0.0, 0.08), "split": (0.08, 0.16), "mesh": (0.16, 0.88), "settle": (0.88, 0.92), "join": (0.92, 1.0)}

    def __init__(self, job, progress):
        self.job, self.progress = job, progress
        self.next_look = 0.0

    def of(self, step):
        """The progress of a call."""
        if not callable(self.progress):
            return self.progress
        low, high = self._PARTS[step]
        return lambda stage, share: self.progress(stage, low + share * (high - low))

    def look(self):
        """While tiles are meshed, wherever that is: by the records, rarely enough to take little of the time."""
        now = time.monotonic()
        if self.progress is None or now < self.next_look:
            return
        meshed = read_state(self.job).meshed
        self.next_look = time.monotonic() + max(0.5, 20.0 * (time.monotonic() - now))
        if self.of("mesh")("meshing tiles", sum(meshed) / max(1, len(meshed))) is False:
            raise CancelledError("cancelled")


def _as_they_end(futures, look):
    """The futures as they end; look() is called meanwhile, and may raise."""
    ended = queue.SimpleQueue()
    for future in futures:
        future.add_done_callback(ended.put)
    for _ in futures:
        while True:
            look()
            try:
                future = ended.get(timeout=0.1)
                break
            except queue.Empty:
                pass
        yield future


# ---- on this machine

_stop = None  # of a worker process: set where its tile is to be left


def _begin_worker(stop):
    global _stop
    _stop = stop
    signal.signal(signal.SIGINT, signal.SIG_IGN)  # Ctrl-C reaches all processes; the first one tells the others
    threading.Thread(target=_end_with_parent, daemon=True).start()


def _end_with_parent():
    multiprocessing.parent_process().join()
    os._exit(1)


def _mesh_in_worker(job, tile, threads):
    mesh(job, tile, threads=threads, progress=lambda stage, share: not _stop.is_set())


def _processors():
    return len(os.sched_getaffinity(0)) if hasattr(os, "sched_getaffinity") else os.cpu_count() or 1


def _fitting_workers(memory):
    """As many as there are processors, and as the memory of the machine bears."""
    try:
        there = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES")
    except (AttributeError, OSError, ValueError):
        return 1
    return max(1, min(_processors(), there // max(1, memory)))


def _mesh_here(job, tiles, workers, threads, retries, look):
    workers = min(workers, len(tiles))
    threads = threads or max(1, _processors() // workers)
    left, num_breaks = list(tiles), 0
    while left:
        before = len(left)
        try:
            _mesh_in_pool(job, left, workers, threads, look)
        except BrokenProcessPool as error:
            num_breaks = num_breaks + 1 if len(left) == before else 1
            if num_breaks > retries:
                raise Error(
                    f"worker processes ended {num_breaks} times, with {len(left)} tiles not meshed. If memory is short, take "
                    "fewer workers, or less memory for each tile, in a new job. A program that calls run() must have its own "
                    'steps behind if __name__ == "__main__", since the workers import it'
                ) from error


def _mesh_in_pool(job, left, workers, threads, look):
    """Takes out of left what is done."""
    spawn = multiprocessing.get_context("spawn")
    stop = spawn.Event()
    with concurrent.futures.ProcessPoolExecutor(workers, spawn, _begin_worker, (stop,)) as pool:
        futures = {pool.submit(_mesh_in_worker, job, tile, threads): tile for tile in left}
        try:
            for future in _as_they_end(futures, look):
                future.result()
                left.remove(futures[future])
        except BaseException:
            stop.set()
            pool.shutdown(cancel_futures=True)
            raise


# ---- on a cluster

def _client_of(client):
    """A Client of Dask, or None; and whether it was made here, of an address."""
    if client is None:
        return None, False
    wish = "a dask.distributed.Client, the address of a scheduler, or None"
    if isinstance(client, str) and client:
        try:
            from distributed import Client
        except ImportError as error:
            raise ArgumentError(f"client is {_arrays._short(client)}, and Dask is not installed: pip install distributed, "
                                "or Debian's python3-distributed") from error
        return Client(client), True
    distributed = sys.modules.get("distributed")
    if distributed is None or not isinstance(client, distributed.Client):
        raise ArgumentTypeError(f"client is {_arrays._short(client)}; it must be {wish}")
    return client, False


def _mesh_there(client, job, tiles, threads, retries, look):
    """A task is one thread of Dask, if threads does not tell otherwise."""
    def look_at_both():
        look()
        if client.status == "closed":
            raise ConnectionError("closed")

    futures = [client.submit(mesh, job, tile, threads=threads or 1, retries=retries, pure=False) for tile in tiles]
    try:
        for future in _as_they_end(futures, look_at_both):
            future.result()
    except sys.modules["distributed"].KilledWorker as error:
        raise Error(f"workers of the cluster end while they mesh a tile: {error}. If memory is short, give them more, or fewer "
                    "threads, or tiles less, in a new job") from error
    except Exception as error:
        if client.status == "running":
            raise
        raise Error("the connection to the cluster is lost; the same call goes on where this one was") from error
    finally:
        if client.status == "running":
            client.cancel([future for future in futures if not future.done()])


@takes_options("TileOptions")
def run(inputs, job, *, client=None, workers=None, retries=3, given, context):
    """The mesh of files of points, tile by tile: plans, splits, meshes, settles, joins.

    inputs: the name of a file, or a list of them. job: the folder of the job; what is there
    already is not done again, so the same call goes on with a run that was killed.

    client: a dask.distributed.Client, or the address of its scheduler: tiles are meshed by its
    workers, on any machines that have this package and see the files under the same names; what a
    lost worker had is done by others. All other steps are taken here. Without a client: by so many
    workers, processes of this machine; None: as many as there are processors and as memory, that of
    one tile, goes into that of the machine. retries: how often a tile is tried again where a worker
    ended, or an error came, on a cluster. threads: of each tile; 0: of this machine the share of a
    worker, on a cluster one. progress: told by the records, whoever works.

    Gives a TileRun: plan, state, and path of the mesh. Raises as plan() and reconstruct() do, and
    Error where workers end again and again."""
    threads, progress = context
    retries = _core.whole("retries", retries)
    if workers is not None and _core.whole("workers", workers) < 1:
        raise ArgumentError(f"workers is {workers}; it must be 1 or more, or None")
    if workers is not None and client is not None:
        raise ArgumentError("workers is given with a client, whose cluster has its own; it must be None")
    inputs = [os.path.abspath(os.fsdecode(path)) for path in _inputs(inputs)]
    job = os.path.abspath(os.fsdecode(_job(job)))
    cluster, is_own = _client_of(client)
    try:
        teller = _Teller(job, progress)
        planned = plan(inputs, job, **given, threads=threads, progress=teller.of("plan"))
        split(job, threads=threads, progress=teller.of("split"))
        meshed = read_state(job).meshed
        # The largest first, so that workers end together.
        tiles = [tile for tile, is_done in enumerate(meshed) if not is_done]
        tiles.sort(key=lambda tile: -int(planned.num_points[tile]))
        if tiles and cluster is not None:
            _mesh_there(cluster, job, tiles, threads, retries, teller.look)
        elif tiles:
            _mesh_here(job, tiles, workers or _fitting_workers(planned.memory), threads, retries, teller.look)
        settle(job, threads=threads, progress=teller.of("settle"))
        join(job, threads=threads, progress=teller.of("join"))
        if progress is not None:
            progress("done", 1.0)
        return TileRun(plan=planned, state=read_state(job), path=os.path.join(job, "mesh.ply"))
    finally:
        if is_own:
            cluster.close()
