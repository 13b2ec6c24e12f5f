"""Every argument of every call with values that it cannot have, and the stubs."""

import ast
import inspect
import math
import pathlib

import numpy as np
import pytest

import zef

NAN = math.nan
ODD = [object(), 1j, "1", b"1", {}, [[1, 2], [3]], np.zeros(2), lambda: 0]
BAD = {
    bool: [*ODD, None, 0, 1, NAN, 2.5, [], "yes"],
    int: [*ODD, None, True, -1, 1.5, NAN, 2**70, -(2**70), [], (1,), np.float64(1)],
    float: [*ODD, None, True, NAN, [], (1,), np.bool_(True), 10**400],
    str: [*ODD, None, True, "", "AUTO ", 1, [], NAN, b"auto", "x"],
    "three": [*ODD, (1, 2), (1, 2, 3, 4), "123", (1, 2, NAN), (1, 2, math.inf), (1, 2, None), 5, [[1], 2, 3], True],
    "lines": [object(), 1j, "1", b"1", {}, None, 5, [1], ["a\nb"], [None], [b"x"], ["\ud800"]],
    "classes": [*ODD, None, 1, True, [256], [-1], ["a"], [1.5]],
    "box": [object(), 1j, "1", b"1", {}, 5, [], [1, 2], [(0, 0, 0)], [(1, 0, 0), (0, 1, 1)], [(0, 0, 0), (1, 1, NAN)]],
    "cuts": [*ODD, 5, True, [], (1, 2), (1, 2, 3, 4), "123", (1, 2, -1), (1, 2, 1.5), (1, None, 1), (0, 1, 1), (True, 1, 1)],
    "memory": [object(), 1j, b"1", {}, None, True, -1, 1.5, NAN, 2**70, [], "", "8Q", "G", "-1G", "99999999T"],
    "client": [object(), 1j, b"1", {}, 5, True, [], "", lambda: 0],
    "line": [object(), 1j, b"1", {}, None, 5, [], "a\nb", "\ud800"],
    "report": [object(), 1j, "1", 5, [], (1,), {"a": "\ud800"}],
    "progress": [object(), 1j, "1", b"1", {}, 5, True, [], (1,), np.zeros(2), NAN, 0],
    "path": [object(), 1j, "", b"", {}, None, 5.0, [], "a\0b", np.zeros(2), True + 0.5, ["a"]],
    "points": [object(), 1j, "abc", b"x", {}, None, 7, [], [[]], [[1, 2], [3]], np.zeros(3), np.zeros((3, 2)),
               np.zeros((2, 2, 2)), np.zeros((4, 3), complex), np.array([["a", "b", "c"]]), np.zeros((5, 3), bool),
               np.array([[1, 2, None]]), [["x"] * 3]],
    "numbers": [object(), 1j, "abc", {}, None, 7, np.zeros((2, 2)), ["a"], [True]],
    "colors": [object(), 1j, "abc", {}, 7, [], np.zeros(3), np.zeros((1, 3)), np.full((3000, 3), -1),
               np.full((3000, 3), 70000), np.full((3000, 3), NAN), np.full((3000, 3), 256.0), np.zeros((3000, 5))],
    "triangles": [object(), 1j, "abc", {}, None, 7, np.zeros((4, 3)), np.zeros((2, 3, 2)), np.zeros((3, 2), int),
                  np.zeros((3, 3), bool), np.array([[1, 2, None]]), [["a"] * 3] * 3],
    "indices": [object(), 1j, "abc", {}, None, 7, np.zeros((2, 3)), [[0, 1, 3]], [[-1, 0, 1]], [[0, 1]], [0, 1, 2],
                [[0, 1, 2**32]], np.full((1, 3), NAN)],
}
# Of the right type, but out of range.
RANGE = {
    "spacing": [-1, math.inf, -math.inf], "factor": [0, -1, math.inf], "levels": [11], "feature_angle": [-1, 362],
    "max_error": [-1], "max_color_step": [0, -1], "max_edge_length": [-1, math.inf], "max_deviation_deg": [-1, 181],
    "lambda_": [0, 1], "low_fraction": [-1, 2], "high_fraction": [-1, 2], "ratio": [0, 1.1, -1, math.inf], "radius": [-1, math.inf], "longest": [-1, math.inf], "thickness": [-1, math.inf], "thicken": [-1, math.inf], "min_handle": [-1, 31], "refit_radius": [-1, math.inf],
    "samples": [0, 2**32], "limit": [-1, math.inf], "bins": [0, 10001], "width": [15, 20000], "height": [0, 1e9], "point_size": [-1, 300], "finer": [0, 5], "max_triangles": [0],
    "max_points": [0], "every": [0], "workers": [0], "memory": [0], "grid": [-1, math.inf], "normals": [np.ones((5, 3))],
    "points": [np.full((5, 3), NAN), np.empty((0, 3))],
}
KINDS = {
    "viewpoint": "three", "offset": "three", "comments": "lines", "names": "lines", "title": "line", "report": "report", "progress": "progress", "path": "path",
    "points": "points", "normals": "points", "colors": "colors", "triangles": "triangles", "what": "points",
    "keep_classes": "classes", "drop_classes": "classes", "box": "box", "scan": int, "columns": "line",
    "low_fraction": float, "high_fraction": float, "ratio": float, "mesh": "points", "cloud": "points",
    "reference": "points", "distances": "numbers", "limit": float, "inputs": "path", "job": "path", "folder": "path", "tile": int,
    "workers": int, "memory": "memory", "cuts": "cuts", "client": "client",
}


def bad_values(parameter):
    name, default = parameter.name, parameter.default
    kind = bool if isinstance(default, bool) else KINDS.get(name) or type(default)
    values = BAD[kind] + RANGE.get(name, [])
    return [v for v in values if not (v is None and (name == "mesh" or default is None))]


def calls(points, mesh, folder):
    some = {"points": points, "triangles": mesh, "path": folder / "a.ply", "what": mesh, "mesh": mesh, "reference": points,
            "inputs": folder / "a.ply", "job": folder / "job", "folder": folder / "parts", "tile": 0, "distances": np.zeros(5), "limit": 1.0, "low_fraction": 0.1, "high_fraction": 0.1}
    needs = {"simplify": {"max_error": 0.1}, "smooth": {"keep_volume": True}}
    for owner, names in ((zef, ["reconstruct", "measure_spacing", "measure_points", "melt", "resample", "read_points",
                               "read_mesh", "info", "write", "check", "compare", "distance_colors", "draw", "view"]),
                         (zef.tiles, zef.tiles.__all__),
                         (mesh, [n for n in dir(zef.Mesh) if not n.startswith("_") and callable(getattr(zef.Mesh, n))])):
        for name in names:
            function = getattr(owner, name)
            parameters = inspect.signature(function).parameters
            if name != "copy":
                path = {"path": folder / "a.html"} if name in ("view", "plot") else {}
                yield name, function, parameters, {p: v for p, v in {**some, **needs.get(name, {}), **path}.items() if p in parameters}


def test_every_bad_value_is_told_by_the_name_of_its_argument(points, mesh, tmp_path):
    mesh.write(tmp_path / "a.ply")
    wrong, tried = [], 0
    for function_name, function, parameters, good in calls(points, mesh, tmp_path):
        for name, parameter in parameters.items():
            for value in bad_values(parameter):
                tried += 1
                told = "nothing was raised"
                try:
                    function(**{**good, name: value})
                except (zef.ArgumentError, zef.NoSurfaceError) as error:
                    if name in str(error):
                        continue
                    told = str(error)
                except zef.FileError as error:
                    if function_name in ("read_points", "plan", "run") and (value == ["a"] or name == "scan"):
                        continue  # right as an argument, but not for what is there
                    told = repr(error)
                except BaseException as error:
                    told = repr(error)
                if not (function_name == "measure_points" and np.shape(value)[-1:] == (3,)):  # tells a fault
                    wrong.append(f"{function_name}({name}={str(value)[:30]}): {told}")
    assert not wrong, "\n".join(wrong)
    assert tried > 900


@pytest.mark.parametrize("name, values", [("vertices", BAD["points"]), ("triangles", BAD["indices"]),
                                          ("colors", BAD["colors"])])
def test_a_mesh_of_bad_arrays_is_refused(name, values):
    good = {"vertices": np.eye(3), "triangles": [[0, 1, 2]], "colors": None}
    for value in values:
        with pytest.raises(zef.ArgumentError, match=name):
            zef.Mesh(**{**good, name: value})


def test_operations_refuse_meshes_without_meaning_and_leave_them():
    for vertices, triangles, word in ((np.eye(3), [[0, 1, 1]], "triangles"), (np.eye(3) * NAN, [[0, 1, 2]], "vertices")):
        mesh = zef.Mesh(vertices, triangles)
        with pytest.raises(zef.ArgumentError, match=word):
            mesh.mend()
        assert mesh.triangles.tolist() == triangles
    mesh.triangles[0, 0] = 99  # an index may be written to mean nothing
    for call in (mesh.check, mesh.smooth, mesh.border_edges, mesh.average_edge_length, mesh.count_self_intersections):
        with pytest.raises(zef.ArgumentError, match="mesh.triangles"):
            call()


def test_unknown_arguments_are_named():
    with pytest.raises(zef.ArgumentError, match="growsteps.*grow_steps"):
        zef.reconstruct(np.eye(3), growsteps=3)
    with pytest.raises(zef.ArgumentError, match="points without a name"):
        zef.reconstruct(np.eye(3), 0.1)


def test_arrays_that_are_nearly_right_are_told_how(points):
    for near, cure in ((points.T, "points.T"), (np.hstack([points, points]), "points[:, :3]")):
        with pytest.raises(zef.ArgumentError) as raised:
            zef.reconstruct(near)
        assert cure in str(raised.value)


def stub_of(module):
    return ast.parse(pathlib.Path(module.__file__).with_suffix(".pyi").read_text()).body


def stub_signatures():
    for module, node in [(module, node) for module in (zef, zef.tiles) for node in stub_of(module)]:
        if isinstance(node, ast.FunctionDef):
            yield node, getattr(module, node.name)
        for inner in node.body if isinstance(node, ast.ClassDef) else ():
            if isinstance(inner, ast.FunctionDef) and not inner.decorator_list:
                yield inner, getattr(getattr(module, node.name), inner.name)


def test_stubs_have_the_signatures_of_the_package_and_the_defaults_of_the_library():
    for node, function in stub_signatures():
        stub = {a.arg: None for a in node.args.args + node.args.kwonlyargs}
        first_default = len(node.args.args) - len(node.args.defaults)
        defaults = [inspect.Parameter.empty] * first_default + node.args.defaults + node.args.kw_defaults
        for name, default in zip(stub, defaults):
            is_value = isinstance(default, ast.AST)
            stub[name] = eval(compile(ast.Expression(default), "", "eval")) if is_value else inspect.Parameter.empty
        real = {p.name: p.default for p in inspect.signature(function).parameters.values()}
        assert stub == real, node.name


def test_stubs_have_all_figures_of_reports(points, mesh, tmp_path):
    stubs = {c.name: {a.target.id for a in c.body if isinstance(a, ast.AnnAssign)}
             for module in (zef, zef.tiles) for c in stub_of(module) if isinstance(c, ast.ClassDef)}
    mesh.write(tmp_path / "a.ply")
    report = zef.reconstruct(points).report
    compared = zef.compare(mesh, points, samples=9)
    planned = zef.tiles.plan(tmp_path / "a.ply", tmp_path / "job")
    for found in (compared, compared.there, report, report.density, report.mended, report.refit, mesh.check(), mesh.check().components[0],
                  zef.info(tmp_path / "a.ply"), zef.measure_points(points), mesh.write(tmp_path / "b.ply"), planned, planned.grid,
                  zef.tiles.read_state(tmp_path / "job")):
        assert set(vars(found)) == stubs[type(found).__name__]
