"""Jobs of tiles: engines that mesh them, also where they lose workers, and what is told of wrong ones."""

import multiprocessing
import os
import signal
import sys

import numpy as np
import pytest

import zef

OPTIONS = {"cuts": (3, 2, 1), "halo": 24}


@pytest.fixture(scope="module")
def scan(tmp_path_factory):
    """A wavy sheet."""
    x, y = np.random.default_rng(3).uniform(0.0, 10.0, (2, 20_000))
    path = tmp_path_factory.mktemp("scan") / "sheet.ply"
    zef.write(path, np.stack([x, y, 0.4 * np.sin(x) * np.cos(1.3 * y)], axis=1), precision="double")
    return path


@pytest.fixture(scope="module")
def by_steps(scan, tmp_path_factory):
    """The bytes of the mesh where each step is called by hand, the tiles from the last to the first."""
    job = tmp_path_factory.mktemp("steps") / "job"
    plan = zef.tiles.plan(scan, job, **OPTIONS)
    assert plan.num_all_points == 20_000 and len(plan.boxes) == len(plan.num_points) == 6
    zef.tiles.split(job)
    for tile in reversed(range(6)):
        zef.tiles.mesh(job, tile, threads=1)
    assert zef.tiles.read_state(job).meshed == (True,) * 6
    zef.tiles.settle(job)
    zef.tiles.join(job)
    zef.tiles.export(job, job / "parts")
    assert (job / "parts" / "tileset.json").exists() and len(list((job / "parts").rglob("*.glb"))) == 6
    assert len(zef.read_mesh(job / "mesh.ply").triangles) == zef.tiles.read_state(job).num_triangles > 10_000
    return (job / "mesh.ply").read_bytes()


class Killer:
    """Kills a worker as soon as tiles are meshed; told what run() tells."""

    def __init__(self, workers):
        self.workers, self.killed, self.shares = workers, None, []

    def __call__(self, stage, share):
        self.shares.append(share)
        if stage == "meshing tiles" and self.killed is None:
            self.killed = self.workers()[0]
            os.kill(self.killed, signal.SIGKILL)


def test_processes_that_are_killed_change_nothing(scan, by_steps, tmp_path):
    killer = Killer(lambda: [child.pid for child in multiprocessing.active_children()])
    done = zef.tiles.run([scan], tmp_path / "job", workers=2, progress=killer, **OPTIONS)
    assert open(done.path, "rb").read() == by_steps and done.state.joined
    assert killer.killed and killer.shares == sorted(killer.shares) and killer.shares[-1] == 1.0


def test_a_cluster_that_loses_a_worker_changes_nothing(scan, by_steps, tmp_path):
    distributed = pytest.importorskip("distributed", reason="Dask is not installed (scripts/setup.sh does it)")
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster:
        with distributed.Client(cluster) as client:
            killer = Killer(lambda: list(client.run(os.getpid).values()))
            done = zef.tiles.run(scan, tmp_path / "job", client=client, progress=killer, **OPTIONS)
    assert open(done.path, "rb").read() == by_steps and killer.killed


def test_a_run_that_was_cancelled_goes_on(scan, by_steps, tmp_path):
    def stop_at_tiles(stage, share):
        return stage != "meshing tiles"

    with pytest.raises(zef.CancelledError):
        zef.tiles.run(scan, tmp_path / "job", workers=1, progress=stop_at_tiles, **OPTIONS)
    state = zef.tiles.read_state(tmp_path / "job")
    assert state.split and not state.joined and not multiprocessing.active_children()
    done = zef.tiles.run(scan, tmp_path / "job", workers=1, **OPTIONS)
    assert open(done.path, "rb").read() == by_steps


def test_workers_that_end_again_and_again_end_the_run(scan, tmp_path, monkeypatch):
    monkeypatch.setattr("zef.tiles._begin_worker", os.abort)
    with pytest.raises(zef.Error, match="2 times.*memory.*__main__"):
        zef.tiles.run(scan, tmp_path / "job", workers=2, retries=1, **OPTIONS)


def test_wrong_jobs_are_told(scan, tmp_path, monkeypatch):
    job = tmp_path / "job"
    zef.tiles.plan(scan, job, memory="1.5 GiB", **OPTIONS)
    assert zef.tiles.read_plan(job).memory == 3 << 29
    monkeypatch.setitem(sys.modules, "distributed", None)
    for word, wrong in (("client", {"client": 5}), ("client.*not installed", {"client": "tcp://here:1"}),
                        ("workers", {"workers": 0}), ("workers", {"workers": True}), ("retries", {"retries": -1}),
                        ("workers.*client", {"workers": 1, "client": "a"}), ("memory", {"memory": "lots"}),
                        ("closed", {"closed": True}), ("job", {"spacing": 0.5})):
        with pytest.raises(zef.ArgumentError, match=word):
            zef.tiles.run(scan, job, **{"memory": "1.5 GiB", **OPTIONS, **wrong})
    with pytest.raises(zef.ArgumentError, match="tile"):
        zef.tiles.mesh(job, 6)
    for call in (zef.tiles.read_plan, zef.tiles.read_state, zef.tiles.split):
        with pytest.raises(zef.FileError, match="nowhere"):
            call(tmp_path / "nowhere")
