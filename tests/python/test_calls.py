"""Arrays, the surroundings of a call, and other users of its results."""

import base64
import copy
import html
import logging
import multiprocessing
import os
import pickle
import signal
import subprocess
import threading
import warnings

import meshio
import numpy as np
import pytest
from matplotlib.figure import Figure
from matplotlib.image import imread

import zef
from zef import _arrays, _scene


def same(a, b):
    return a.vertices.tobytes() == b.vertices.tobytes() and a.triangles.tobytes() == b.triangles.tobytes()


def test_every_layout_gives_the_same_mesh(points, made):
    wide = np.full((len(points), 7), np.nan)
    wide[:, 2:5] = points
    read_only = points.copy()
    read_only.flags.writeable = False
    big_endian = ">f8" if np.little_endian else "<f8"
    unaligned = np.frombuffer(b"x" + points.tobytes(), np.uint8)[1:].view(np.float64).reshape(-1, 3)
    for layout in (wide[:, 2:5], read_only, points.astype(big_endian), np.asfortranarray(points), points[::-1][::-1],
                   points.tolist(), unaligned):
        assert same(zef.reconstruct(layout), made)
    assert same(zef.reconstruct(points.astype(np.float32)), zef.reconstruct(points.astype(np.float32).astype(float)))


def test_arrays_are_used_where_they_lie(points, made):
    for array in (points, points[::2], np.hstack([points, points])[:, 1:4], made.vertices):
        assert _arrays.coordinates("points", array) is array
    assert np.shares_memory(_arrays.color_bytes("colors", made.colors, len(made.vertices)), made.colors)
    for array in (points[::-1], points[:, ::-1], points.T.copy().T, np.broadcast_to(points[:1], (9, 3))):
        assert not np.shares_memory(_arrays.coordinates("points", array), array)


def test_results_lie_in_the_memory_of_the_mesh_and_outlive_it(points):
    mesh = zef.reconstruct(points)
    vertices, triangles = mesh.vertices, mesh.triangles
    assert np.shares_memory(vertices, mesh.vertices) and not vertices.flags.owndata
    assert (vertices.dtype, triangles.dtype, mesh.colors) == (np.float64, np.uint32, None)
    before = vertices.copy()
    mesh.smooth(steps=3)
    assert np.array_equal(vertices, before) and not np.array_equal(mesh.vertices, before)
    del mesh
    assert np.array_equal(vertices, before) and triangles.max() == len(before) - 1


def test_colors_come_in_bytes_words_and_shares(points):
    shares = np.tile([0.0, 0.5, 1.0], (len(points), 1))
    for colors in (shares, shares * 255, np.ceil(shares * 65535).astype(np.uint16), np.floor(shares * 255 + 0.5)):
        assert zef.reconstruct(points, colors=colors).colors[0].tolist() == [0, 128, 255, 255]


def test_vertices_and_colors_can_be_assigned(mesh):
    mesh.vertices += 1.0
    mesh.vertices = mesh.vertices * 2.0
    assert np.allclose(mesh.vertices.mean(axis=0), 2.0, atol=0.02)
    mesh.colors = None
    assert mesh.colors is None
    mesh.colors = np.zeros((len(mesh.vertices), 3))
    assert mesh.colors[0].tolist() == [0, 0, 0, 255]


def test_meshes_can_be_copied_and_pickled(mesh):
    for other in (mesh.copy(), copy.deepcopy(mesh), pickle.loads(pickle.dumps(mesh))):
        assert same(other, mesh) and other.colors.tobytes() == mesh.colors.tobytes() and other.report == mesh.report
        other.vertices[0] = 0
        assert mesh.vertices[0].any()


def test_operations_change_the_mesh_in_place(mesh, points):
    num = len(mesh.triangles)
    assert mesh.refit(points).radius > 0
    assert mesh.simplify(ratio=0.5) > 0 and len(mesh.triangles) in (num // 2, num // 2 - 1)
    mesh.flip_edges()
    mesh.fill_colors()
    assert mesh.mend().num_components == 1
    report = zef.check(mesh)
    assert (report.closed, report.euler, mesh.count_self_intersections()) == (True, 2, 0)
    thin = mesh.find_thin_places(0.01)
    assert thin.limit == 0.01 and thin.num_triangles == 0 and thin.places == ()
    assert mesh.find_handles() == mesh.find_handles(longest=1.0) and mesh.find_handles().num_handles == 0
    assert mesh.border_edges().shape == (0, 2) and mesh.average_edge_length() > 0
    assert mesh.reduce_flat(max_deviation_deg=20) > 0
    assert mesh.simplify(max_error=0.3) <= 0.3 and zef.check(mesh).closed


def test_soup_melts_and_resamples_from_any_shape(mesh):
    corners = mesh.vertices[mesh.triangles]
    melted = zef.melt(mesh, spacing=0.1)
    assert same(melted, zef.melt(corners, spacing=0.1)) and same(melted, zef.melt(corners.reshape(-1, 3), spacing=0.1))
    cloud = zef.resample(corners, spacing=0.1)
    assert len(cloud) == len(np.asarray(cloud)) > 1000 and cloud.colors is None


def test_masked_rows_are_left_out(points, made):
    masked = np.ma.masked_array(np.insert(points, 5, 7.0, axis=0), mask=False)
    masked[5] = np.ma.masked
    assert same(zef.reconstruct(masked), made)


def test_rows_that_are_not_finite_are_left_out_with_one_warning(points, made, caplog):
    holed = np.insert(points, [5, 9], np.nan, axis=0)
    with caplog.at_level(logging.WARNING, "zef"):
        assert same(zef.reconstruct(holed), made)
    assert [(r.name, r.levelname) for r in caplog.records] == [("zef", "WARNING")] and "2" in caplog.text


class Stop(Exception):
    pass


@pytest.mark.parametrize("call", ["reconstruct", "smooth"])
def test_what_progress_raises_ends_the_call_as_it_is(points, mesh, call):
    function = (lambda **k: zef.reconstruct(points, **k)) if call == "reconstruct" else mesh.smooth
    before, seen, stop = mesh.vertices.copy(), [], Stop()

    def progress(stage, share):
        seen.append((stage, share))
        raise stop

    with pytest.raises(Stop) as raised:
        function(progress=progress)
    assert raised.value is stop and len(seen) == 1 and isinstance(seen[0][0], str)
    with pytest.raises(zef.CancelledError):
        function(progress=lambda stage, share: False)
    assert np.array_equal(mesh.vertices, before)
    function(progress=lambda stage, share: seen.append(share))
    assert seen[1:] == sorted(seen[1:]) and seen[-1] == 1.0


def test_what_progress_raises_ends_reading_and_writing(mesh, points, tmp_path):
    file = tmp_path / "a.ply"
    mesh.write(file)
    before, stop = file.read_bytes(), Stop()

    def progress(stage, share):
        if share == 1.0:
            raise stop

    for call in (mesh.write, zef.read_mesh, zef.read_points, zef.info, lambda f, **k: zef.write(f, points, **k)):
        with pytest.raises(Stop) as raised:
            call(file, progress=progress)
        assert raised.value is stop
    assert file.read_bytes() == before and os.listdir(tmp_path) == ["a.ply"]


def test_a_mesh_that_a_call_changes_is_refused_to_others(mesh):
    answers = []

    def progress(stage, share):
        with pytest.raises(zef.ArgumentError, match="mesh"):
            mesh.vertices
        answers.append(share)

    mesh.smooth(progress=progress)
    assert answers and len(mesh.vertices) > 0


def test_an_interrupt_ends_the_call(points):
    def interrupt(stage, share):
        os.kill(os.getpid(), signal.SIGINT)

    with pytest.raises(KeyboardInterrupt):
        zef.reconstruct(points, progress=interrupt)
    os_thread = threading.Timer(0.05, os.kill, (os.getpid(), signal.SIGINT))
    with pytest.raises(KeyboardInterrupt):
        os_thread.start()
        while True:
            zef.reconstruct(points)


def test_threads_work_side_by_side(points, made):
    results = []
    threads = [threading.Thread(target=lambda: results.append(zef.reconstruct(points, threads=2))) for _ in range(3)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(results) == 3 and all(same(result, made) for result in results)


def mesh_in_child(points):
    return zef.reconstruct(points, threads=3)


def test_forked_processes_work_and_end(points, made):
    assert same(mesh_in_child(points), made)  # now this process has workers
    with multiprocessing.get_context("fork").Pool(2) as pool:
        assert all(same(result, made) for result in pool.map(mesh_in_child, [points] * 3))
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", DeprecationWarning)  # of later versions, for any fork
        child = os.fork()
    if child == 0:
        result = mesh_in_child(points)
        os.execv("/bin/sh", ["sh", "-c", "exit 7"]) if same(result, made) else os._exit(1)
    assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 7


def test_a_forked_process_ends_in_order():
    code = ("import os, numpy, zef; p = numpy.random.default_rng(1).normal(size=(3000, 3));"
            "p /= numpy.linalg.norm(p, axis=1)[:, None]; zef.reconstruct(p, threads=3); child = os.fork();"
            "zef.reconstruct(p, threads=3); raise SystemExit(child and os.wait()[1])")
    assert subprocess.run([os.sys.executable, "-W", "ignore", "-c", code], timeout=60).returncode == 0


def test_files_come_back(mesh, points, tmp_path):
    for name in ("a.ply", "a.obj", "a.off"):
        assert mesh.write(tmp_path / name, precision="double", comments=["made here"]).doubles
        back = zef.read_mesh(str(tmp_path / name))
        assert np.array_equal(back.vertices[back.triangles], mesh.vertices[mesh.triangles])
    found = zef.info(tmp_path / "a.ply")
    assert (found.kind, found.num_triangles, found.comments) == ("mesh", len(mesh.triangles), ("made here",))
    zef.write(tmp_path / "p.xyz", points, colors=np.full((len(points), 3), 5))
    cloud = zef.read_points(os.fsencode(tmp_path / "p.xyz"))
    assert np.array_equal(cloud.points, points) and cloud.colors[0].tolist() == [5, 5, 5, 255]
    zef.write(tmp_path / "q.xyz", cloud)
    assert (tmp_path / "p.xyz").read_bytes() == (tmp_path / "q.xyz").read_bytes()
    both = zef.read_points([tmp_path / "p.xyz", tmp_path / "q.xyz"], every=2, box=([-9, -9, -9], [9, 9, 9]))
    assert np.array_equal(both.points, np.vstack([points, points])[::2]) and both.info.num_not_taken == len(points)
    assert any("las" in format["endings"][0] and format["reads_points"] for format in zef.formats())
    for call in (zef.read_points, zef.read_mesh, zef.info):
        with pytest.raises(zef.FileError, match="gone.ply") as raised:
            call(tmp_path / "gone.ply")
        assert isinstance(raised.value, OSError)


def test_parallel_sheets_are_as_far_apart_as_they_lie():
    corners = np.array([[0, 0, 0], [4, 0, 0], [4, 4, 0], [0, 4, 0]])
    sheet, above = (zef.Mesh(corners + [0, 0, z], [[0, 1, 2], [0, 2, 3]]) for z in (0, 0.5))
    found = zef.compare(sheet, above, samples=1000, limit=1.0, bins=4)
    for way in (found.there, found.back):
        assert np.allclose([way.mean, way.rms, way.max, *way.percentiles], 0.5) and way.mean_angle < 1e-5
        assert (way.num_samples, way.histogram[2], way.turned_share) == (1000, 1000, 0.0)
    assert np.allclose(found.distances, 0.5) and found.distances.shape == (4,)
    colors = zef.distance_colors([0.0, found.limit, 9.0, -1.0], found.limit)
    assert colors[0, :3].argmax() == 2 and colors[1, :3].argmax() == 0  # blue, red
    assert np.array_equal(colors[1], colors[2]) and len(set(colors[3, :3])) == 1
    sheet.colors = colors
    assert np.array_equal(sheet.colors, colors)


def test_a_cloud_is_compared_where_its_points_lie(points, mesh, tmp_path):
    zef.write(tmp_path / "p.xyz", points * 2)
    for cloud in (points * 2, zef.read_points(tmp_path / "p.xyz")):
        found = zef.compare(cloud, mesh)
        assert np.allclose(found.distances, 1.0, atol=0.01) and found.there.num_samples == len(points)
        assert found.there.mean_angle == -1 and found.back.mean > 1.0


def test_other_packages_take_the_arrays(mesh, tmp_path):
    meshio.Mesh(mesh.vertices, [("triangle", mesh.triangles)]).write(tmp_path / "m.off")
    assert np.allclose(zef.read_mesh(tmp_path / "m.off").vertices, mesh.vertices)
    Figure().add_subplot(projection="3d").plot_trisurf(*mesh.vertices.T, triangles=mesh.triangles)


def test_pictures_are_drawn(mesh, points, tmp_path):
    picture = zef.draw(mesh, width=80, height=60, from_="top")
    picture.save(tmp_path / "a.png")
    written = imread(tmp_path / "a.png")[:, :, :3] * 255
    assert np.array_equal(written, picture.pixels[:, :, :3]) and picture.path == str(tmp_path / "a.png")
    assert written[30, 40].tolist() == picture.pixels[30, 40, :3].tolist() and not (written[30, 40] == written[0, 0]).all()
    assert zef.view([mesh, mesh.copy()], points, path=tmp_path / "b.png").pixels.shape == (1200, 1600, 4)
    with pytest.raises(zef.ArgumentError, match="path.*png"):
        picture.save(tmp_path / "a.gif")


@pytest.fixture
def script(tmp_path, monkeypatch):
    """A package with the script of the pages, on a machine without a browser."""
    (tmp_path / "page.js").write_text("start()")
    monkeypatch.setattr(_scene, "_SCRIPT", tmp_path / "page.js")
    monkeypatch.setattr("tempfile.tempdir", str(tmp_path))
    for name in ("DISPLAY", "WAYLAND_DISPLAY", "BROWSER"):
        monkeypatch.delenv(name, raising=False)


def test_pages_are_files_and_tell_what_was_found(script, mesh, points, tmp_path):
    page = mesh.plot(tmp_path / "a.html", cloud=points, title="a <b>")
    text = (tmp_path / "a.html").read_text()
    assert text == page.html and page.path == str(tmp_path / "a.html")
    assert "a &lt;b&gt;" in text and "start()" in text and '["points","3,000"]' in text
    assert '["who","me"]' in zef.view(mesh, report={"who": "me"}, path=tmp_path / "a.html").html


def test_without_a_browser_the_file_is_named(script, mesh, caplog):
    page = mesh.plot()
    assert open(page.path).read() == page.html and page.path in caplog.text and "browser" in caplog.text


def test_without_the_script_a_picture_is_shown(script, mesh, caplog, monkeypatch, tmp_path):
    monkeypatch.setattr(_scene, "_SCRIPT", tmp_path / "gone.js")
    assert isinstance(mesh.plot(), zef.Picture) and "script" in caplog.text
    mesh.plot(tmp_path / "a.html")
    assert (tmp_path / "a.png").exists() and not (tmp_path / "a.html").exists() and "a.png" in caplog.text


def test_a_notebook_gets_a_frame_and_a_picture(script, mesh, monkeypatch):
    monkeypatch.setattr(_scene, "_in_notebook", lambda: True)
    page = mesh.plot(height=300)
    data, _ = page._repr_mimebundle_()
    frame = data["text/html"]
    assert page.path is None and base64.b64decode(data["image/png"])[1:4] == b"PNG"
    assert "height: 300px" in frame and html.unescape(frame.split('"')[1]) == page.html
