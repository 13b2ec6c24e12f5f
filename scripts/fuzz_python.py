#!/usr/bin/env python3
"""Calls the Python package with random arguments, sensible and not.

    PYTHONPATH=build/release/python scripts/fuzz_python.py [--calls 20000] [--seed 0] [--minutes 30]

Arguments are drawn by name from the signature of each function and method. A call may give anything or raise a
zef.Error but InternalError, a TypeError for a number of arguments, or a MemoryError; anything else is at fault, and so is the death of
the process, or a call that takes a minute. A hundred calls share a process. Prints each fault with its seed, by which
--seed SEED --calls 1 makes the call again, then how many calls were made, and ends with 1 if there were faults.
"""
import argparse
import inspect
import operator
import os
import random
import signal
import sys
import tempfile
import time

import numpy as np

import zef

SIZE = 400  # points at the most
ODD = [None, -1, 0, 1, 2**31, 2**32 - 1, 2**63, -(2**63), 10**30, 0.5, -0.0, float("nan"), float("inf"), 1e-300, 1e300, "", "auto",
       "\0", "ü" * 50, b"\xff", [], (), {}, [[]], [1, 2, 3], object(), True, range(9), lambda *_: False]


def array(draw):
    """Positions of a surface, in any type, layout and shape."""
    count = draw.choice([0, 1, 3, 50, SIZE])
    numbers = np.random.default_rng(draw.randrange(1000))
    points = numbers.normal(size=(count, 3))
    points /= np.maximum(np.linalg.norm(points, axis=1, keepdims=True), 1e-9)
    kind = draw.randrange(12)
    if kind == 0:
        return points.astype(draw.choice(["f4", ">f8", "i8", "u1", "f2", "c16", "O", "U5", "?"]), casting="unsafe")
    if kind == 1:
        return points[::-1, ::draw.choice([1, 2, -1])]
    if kind == 2:
        return np.asfortranarray(points)
    if kind == 3:
        return points.reshape(draw.choice([(-1,), (1, -1, 3), (-1, 1, 3), (3, -1)]))
    if kind == 4 and count:
        points[draw.randrange(count)] = draw.choice([np.nan, np.inf, 1e300, -1e9, 5e-324])
    if kind == 5:
        points.setflags(write=False)
    if kind == 6:
        return points.tolist()
    if kind == 7:
        return np.broadcast_to(points[:1], (count, 3)) if count else points
    if kind == 8:
        return np.hstack([points, points])[:, :3]
    return points


def mesh(draw):
    vertices = np.asarray(np.random.default_rng(draw.randrange(100)).normal(size=(30, 3)))
    triangles = [[draw.randrange(30) for _ in range(3)] for _ in range(draw.choice([0, 1, 40]))]
    triangles = [t for t in triangles if len(set(t)) == 3] or np.zeros((0, 3), int)
    colors = draw.choice([None, np.full((30, 4), 90, "u1"), np.linspace(0, 1, 90).reshape(30, 3)])
    if draw.randrange(3) == 0:
        return zef.reconstruct(array(draw), threads=1)
    return zef.Mesh(vertices, triangles, colors)


def path(draw, folder):
    name = draw.choice(["a.ply", "b.xyz", "c.stl", "d.obj", "e.las", "f.glb", "g", "no/such.ply", "ü.ply", ".ply", "h.pcd"])
    whole = os.path.join(folder, name)
    return whole if draw.randrange(4) else whole.encode()


def value(name, default, draw, folder):
    """Mostly what the argument is for."""
    if draw.randrange(8) == 0:
        return draw.choice(ODD)
    if name in ("points", "triangles", "normals", "reference", "vertices", "distances", "what", "cloud", "box"):
        return mesh(draw) if draw.randrange(4) == 0 else array(draw)
    if name == "colors":
        return draw.choice([None, array(draw), np.zeros((SIZE, 4), "u1")])
    if name == "mesh":
        return mesh(draw) if draw.randrange(4) else [mesh(draw), mesh(draw)]
    if name in ("path", "inputs"):
        return path(draw, folder)
    if name in ("job", "folder"):
        return os.path.join(folder, draw.choice(["job", "another", "no/job"]))
    if name == "memory":
        return draw.choice([2**32, 10**8, "1G", "5"])
    if name == "cuts":
        return draw.choice([None, (2, 1, 1), (1, 2, 2)])
    if name == "progress":
        left = [draw.randrange(30)]

        def step(*_):
            left[0] -= 1
            return left[0] > 0

        return draw.choice([None, step, lambda *_: 1 / 0])
    if name in ("width", "height", "max_triangles", "max_points", "samples", "steps", "bins", "finer"):
        return draw.randrange(100)
    if name == "threads":
        return draw.randrange(5)
    if name == "spacing":
        return draw.choice([0.0, 0.1, 0.3])
    if isinstance(default, bool):
        return draw.random() < 0.5
    if isinstance(default, int):
        return draw.randrange(12)
    if isinstance(default, float):
        return draw.uniform(0.0, 3.0)
    return default if default is not inspect.Parameter.empty else draw.uniform(0.0, 1.0)


def arguments(function, draw, folder):
    given = {}
    for name, parameter in inspect.signature(function).parameters.items():
        needed = parameter.default is inspect.Parameter.empty
        if parameter.kind in (parameter.VAR_KEYWORD, parameter.VAR_POSITIONAL) or not (needed or draw.randrange(3) == 0):
            continue
        given[name] = value(name, parameter.default, draw, folder)
    # By default a melt may have a million cells.
    if "feature_angle" in inspect.signature(function).parameters:
        given["spacing"] = draw.choice([0.2, 0.3, -1.0, "0.3"])
    # What is written without a name would lie beside the caller.
    if "path" in inspect.signature(function).parameters:
        given["path"] = path(draw, folder)
    return given


def functions():
    """Without those that open a browser or start processes."""
    names = ["reconstruct", "measure_spacing", "measure_points", "melt", "resample", "compare", "distance_colors", "read_points",
             "formats", "read_mesh", "info", "write", "check", "draw", "view", "Mesh"]
    methods = [name for name, _ in inspect.getmembers(zef.Mesh, inspect.isfunction) if not name.startswith("_")]
    steps = ["tiles." + name for name in zef.tiles.__all__ if name != "run"]
    return names + steps + ["." + name for name in methods]


def call(seed, folder):
    draw = random.Random(seed)
    name = draw.choice(functions())
    try:
        function = getattr(mesh(draw), name[1:]) if name.startswith(".") else operator.attrgetter(name)(zef)
        function(**arguments(function, draw, folder))
    except zef.InternalError:
        raise
    except (zef.Error, TypeError, ZeroDivisionError, MemoryError):
        pass
    return name


def child(first, count, folder):
    """Exit status 1 after a fault, which is printed."""
    os.chdir(folder)
    status = 0
    for seed in range(first, first + count):
        with open(os.path.join(folder, "seed"), "w", encoding="ascii") as now:
            now.write(str(seed))
        signal.alarm(60)
        try:
            call(seed, folder)
        except BaseException as error:  # pylint: disable=broad-except
            print(f"seed {seed}: {type(error).__name__}: {error}", flush=True)
            status = 1
    os._exit(status)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--calls", type=int, default=20000)
    parser.add_argument("--seed", type=int, default=0)
    parser.add_argument("--minutes", type=float, default=1e9)
    given = parser.parse_args()
    end = time.monotonic() + 60.0 * given.minutes
    faults = calls = 0
    with tempfile.TemporaryDirectory() as folder:
        while calls < given.calls and time.monotonic() < end:
            count = min(100, given.calls - calls)
            process = os.fork()
            if process == 0:
                child(given.seed + calls, count, folder)
            status = os.waitpid(process, 0)[1]
            if os.WIFSIGNALED(status):
                seed = open(os.path.join(folder, "seed"), encoding="ascii").read()
                print(f"seed {seed}: signal {os.WTERMSIG(status)}", flush=True)
            faults += status != 0
            calls += count
    print(f"{calls} calls, {faults} processes with faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
