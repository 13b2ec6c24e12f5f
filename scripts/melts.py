#!/usr/bin/env python3
"""Melts meshes that are hard to melt and judges what comes out.

    PYTHONPATH=build/release/python scripts/melts.py [--runs 25] [--data DIR] [--only NAME] [--outer] [--keep DIR]

Each mesh is melted so many times, at random spacings (a 25th to a 120th of its diagonal), orientations and offsets. --data adds
the meshes in the folders meshes and stl below DIR. One line a mesh, which counts runs at fault, and one for all:

    leak        borders where the input is closed, once equal positions are joined; else borders three cells from its rims,
                but for seams of surfaces of one side, and where the input intersects itself
    manifold    edges or vertices that are not manifold, sides that clash, triangles without area or twice
    pairs       triangles that intersect
    far         some place of the result is more than two cells from the input
    lost        some place of a closed input is more than three cells from the result; no fault: inside others,
                or where walls or gaps are thinner than a cell, nothing need be left

--keep writes input and result of faulty runs there. Wants numpy, and the package.
"""
import argparse
import glob
import os
import sys
import time

import numpy as np

import zef


def grid(nu, nv, wrap_u, wrap_v):
    u, v = np.meshgrid(np.arange(nu if wrap_u else nu - 1), np.arange(nv if wrap_v else nv - 1), indexing="ij")
    at = lambda a, b: ((u + a) % nu) * nv + (v + b) % nv
    quads = np.stack([at(0, 0), at(1, 0), at(1, 1), at(0, 1)], -1).reshape(-1, 4)
    return np.concatenate([quads[:, [0, 1, 2]], quads[:, [0, 2, 3]]])


def sphere(centre=(0, 0, 0), radius=1.0, n=24, radial=lambda d: 1.0):
    theta, phi = np.meshgrid(np.linspace(0, np.pi, n), np.arange(2 * n) * np.pi / n, indexing="ij")
    d = np.stack([np.sin(theta) * np.cos(phi), np.sin(theta) * np.sin(phi), np.cos(theta)], -1).reshape(-1, 3)
    d[: 2 * n], d[-2 * n :] = (0, 0, 1), (0, 0, -1)
    v = d * np.reshape(radial(d), (-1, 1) if np.ndim(radial(d)) else (1, 1)) * radius + centre
    return v, grid(n, 2 * n, False, True)


def torus(major=1.0, minor=0.3, n=48, m=24, bend=lambda u, w: (0, 0, 0), tube=lambda u, w: 1.0):
    u, w = (a.ravel() for a in np.meshgrid(np.arange(n) * 2 * np.pi / n, np.arange(m) * 2 * np.pi / m, indexing="ij"))
    r = minor * tube(u, w)
    v = np.stack([(major + r * np.cos(w)) * np.cos(u), (major + r * np.cos(w)) * np.sin(u), r * np.sin(w)], -1)
    return v + np.stack(np.broadcast_arrays(*bend(u, w)), -1), grid(n, m, True, True)


def box(low=(0, 0, 0), high=(1, 1, 1)):
    v = np.array([[(low, high)[i >> a & 1][a] for a in range(3)] for i in range(8)], float)
    f = [(0, 2, 1), (1, 2, 3), (4, 5, 6), (5, 7, 6), (0, 1, 4), (1, 5, 4), (2, 6, 3), (3, 6, 7), (0, 4, 2), (2, 4, 6),
         (1, 3, 5), (3, 7, 5)]
    return v, np.array(f)


def hull(*points):
    from scipy.spatial import ConvexHull
    v = np.array(points, float)
    f = ConvexHull(v).simplices
    out = np.einsum("ij,ij->i", np.cross(v[f[:, 1]] - v[f[:, 0]], v[f[:, 2]] - v[f[:, 0]]), v[f[:, 0]] - v.mean(0)) < 0
    f[out] = f[out][:, ::-1]
    return v, f


def join(*parts):
    offsets = np.cumsum([0] + [len(v) for v, _ in parts])
    return np.concatenate([v for v, _ in parts]), np.concatenate([f + o for (_, f), o in zip(parts, offsets)])


def inside_out(part):
    return part[0], part[1][:, ::-1]


def turned(part, rng):
    q = np.linalg.qr(rng.normal(size=(3, 3)))[0]
    return part[0] @ (q * np.sign(np.linalg.det(q))), part[1]


def waves(rng, num, highest):
    k, p, a = rng.normal(size=(num, 3)) * highest, rng.uniform(0, 7, num), rng.normal(size=num) / num**0.5
    return lambda d: np.sin(d @ k.T + p) @ a


def sheet(n, height):
    x, y = (a.ravel() for a in np.meshgrid(np.linspace(-1, 1, n), np.linspace(-1, 1, n), indexing="ij"))
    return np.stack(height(x, y), -1), grid(n, n, False, False)


def band(n, half_turns, width, shift=0.0):
    u, w = (a.ravel() for a in np.meshgrid(np.arange(n + 1) * 2 * np.pi / n, np.linspace(-width, width, 7), indexing="ij"))
    t = half_turns * u / 2
    r = 1 + w * np.cos(t)
    return np.stack([r * np.cos(u), r * np.sin(u), w * np.sin(t) + shift], -1), grid(n + 1, 7, False, False)


def fan(n, rim, tip):
    a = np.arange(n) * 2 * np.pi / n
    v = np.concatenate([rim(a), [tip]])
    i = np.arange(n)
    return v, np.stack([i, (i + 1) % n, np.full(n, n)], -1)


def klein(n):
    u, w = (a.ravel() for a in np.meshgrid(np.arange(2 * n) * np.pi / n, np.arange(n) * 2 * np.pi / n, indexing="ij"))
    r = 2 + np.cos(u / 2) * np.sin(w) - np.sin(u / 2) * np.sin(2 * w)
    h = np.sin(u / 2) * np.sin(w) + np.cos(u / 2) * np.sin(2 * w)
    f = grid(2 * n, n, False, True)
    i = np.arange(n)
    last = lambda k: (2 * n - 1) * n + k % n
    close = np.concatenate([np.stack([last(i), -i % n, (-i - 1) % n], -1), np.stack([last(i), (-i - 1) % n, last(i + 1)], -1)])
    return np.stack([r * np.cos(u), r * np.sin(u), h], -1), np.concatenate([f, close])


def tube(path, radius, m=10):
    t = np.gradient(path, axis=0)
    t /= np.linalg.norm(t, axis=1)[:, None]
    side = np.cross(t, (0.3, 0.5, 0.8))
    side /= np.linalg.norm(side, axis=1)[:, None]
    a = np.arange(m) * 2 * np.pi / m
    ring = path[:, None] + radius * (np.cos(a)[None, :, None] * side[:, None] + np.sin(a)[None, :, None] * np.cross(t, side)[:, None])
    n = len(path)
    v = np.concatenate([ring.reshape(-1, 3), path[:1], path[-1:]])
    i = np.arange(m)
    low = np.stack([i, (i + 1) % m, np.full(m, n * m)], -1)[:, ::-1]
    high = np.stack([i, (i + 1) % m, np.full(m, n * m + 1)], -1) + [(n - 1) * m, (n - 1) * m, 0]
    return v, np.concatenate([grid(n, m, False, True), low, high])


def knot(t):
    return np.stack([np.sin(t) + 2 * np.sin(2 * t), np.cos(t) - 2 * np.cos(2 * t), -0.7 * np.sin(3 * t)], -1)


def hard_meshes():
    rng = np.random.default_rng(7)
    some = lambda n, make: join(*(make() for _ in range(n)))
    spot = lambda s=1.0: rng.normal(size=3) * s
    yield "spheres_united", some(6, lambda: sphere(spot(0.7), rng.uniform(0.4, 0.9), 16))
    yield "spheres_many", some(40, lambda: sphere(spot(0.8), rng.uniform(0.1, 0.4), 10))
    yield "boxes_united", some(12, lambda: turned(box(spot(0.7), spot(0.7)), rng))
    yield "boxes_askew", join(box(), box((0.5, 0.5, 0.5), (1.5, 1.5, 1.5)), box((0.9, -0.5, 0.2), (1.1, 1.7, 0.3)))
    yield "boxes_nested", join(*(box([-s] * 3, [s] * 3) for s in (0.3, 0.6, 0.97, 1.0)))
    yield "boxes_hollow", join(box(), inside_out(box([0.02] * 3, [0.98] * 3)))
    yield "boxes_at_edges", join(box(), box((1, 1, 0), (2, 2, 1)), box((2, 0, 0), (3, 1, 1)), box((1, 0, 1), (2, 1, 2)))
    yield "boxes_stacked", join(*(box((0, 0, i), (1, 1, i + 1)) for i in range(3)))
    yield "tetrahedra_random", some(30, lambda: hull(*(rng.normal(size=(4, 3)))))
    yield "sides_mixed", join(sphere(n=16), inside_out(sphere((0.8, 0, 0), 0.7, 16)), inside_out(box()))
    yield "shells_near", join(sphere(n=32), inside_out(sphere(radius=0.97, n=32)), sphere(radius=0.94, n=32))
    yield "spheres_near", join(sphere(n=20), sphere((2.01, 0, 0), n=20), sphere((1, 1.75, 0), n=20))
    yield "spheres_touching", join(sphere(n=20), sphere((2.0, 0, 0), n=20), sphere((0, 0, 1.99), n=20))
    yield "moebius", band(80, 1, 0.4)
    yield "moebius_thick", join(band(90, 3, 0.3), band(90, 3, 0.3, 0.03))
    yield "klein", klein(40)
    yield "sheet_folded", sheet(30, lambda x, y: (x + 0.35 * np.sin(9 * y), y + 0.3 * np.sin(8 * x), 0.2 * np.sin(5 * x)))
    yield "sheets_crossing", join(*(turned(sheet(9, lambda x, y: (x, y, 0.1 * x * y)), rng) for _ in range(3)))
    yield "fan_flat", fan(300, lambda a: np.stack([np.cos(a), np.sin(a), 0 * a], -1), (0.9, 0, 0))
    yield "fan_star", join(fan(60, lambda a: np.stack([np.cos(a), np.sin(a), 0.2 * np.sin(30 * a + 1)], -1), (0, 0, 0.7)),
                           inside_out(fan(60, lambda a: np.stack([np.cos(a), np.sin(a), 0.2 * np.sin(30 * a + 1)], -1), (0, 0, -0.7))))
    yield "spindle", join(fan(90, lambda a: np.stack([0.03 * np.cos(a), 0.03 * np.sin(a), 0 * a], -1), (0, 0, 2)),
                          inside_out(fan(90, lambda a: np.stack([0.03 * np.cos(a), 0.03 * np.sin(a), 0 * a], -1), (0, 0, -2))))
    yield "slivers", some(25, lambda: hull(*(rng.normal(size=(6, 3)) * (1.0, 0.05, 0.02) + spot(0.2))))
    yield "plate_thin", turned(box(high=(1, 0.7, 0.004)), rng)
    yield "plates_crossing", some(5, lambda: turned(box((-0.7, -0.5, 0), (0.7, 0.5, 0.015)), rng))
    yield "wedge", hull((0, 0, 0), (0, 1, 0), (1.5, 0, 0), (1.5, 1, 0), (0, 0, 0.2), (0, 1, 0.2))
    yield "wedges", some(6, lambda: turned(hull(*((x, y, z * (1 - x)) for x in (0, 1) for y in (0, 0.6) for z in (-0.1, 0.1)), (0, 0, 0.1)), rng))
    bumps = waves(rng, 12, 2.5)
    yield "sphere_bumpy", sphere(n=40, radial=lambda d: 1 + 0.5 * bumps(d))
    spikes = waves(rng, 12, 8.0)
    yield "sphere_spiky", sphere(n=50, radial=lambda d: 1 + 0.4 * spikes(d))
    yield "sphere_through", sphere(n=40, radial=lambda d: 0.3 + bumps(d))
    v, f = sphere(n=40)
    away = np.stack([waves(rng, 10, 2.0)(v) for _ in range(3)], -1)
    yield "sphere_displaced", (v + 0.35 * away, f)
    yield "sphere_noisy", (v + rng.normal(size=v.shape) * 0.04 * (np.abs(v[:, 2:]) < 0.99), f)
    yield "torus_self", torus(0.5, 0.7, tube=lambda u, w: 1 + 0.1 * np.sin(5 * u))
    bend = [waves(rng, 6, 2.0) for _ in range(3)]
    yield "torus_displaced", torus(bend=lambda u, w: [0.5 * b(np.stack([np.cos(u), np.sin(u), np.cos(w)], -1)) for b in bend])
    yield "torus_folded", torus(tube=lambda u, w: 1 + 0.9 * np.sin(6 * u) * np.cos(3 * w))
    yield "knot", tube(knot(np.linspace(0, 6.1, 200)), 0.5)
    yield "hair", join(*(tube(np.cumsum(rng.normal(size=(12, 3)) * 0.1, 0) + spot(0.2), 0.012, 6) for _ in range(12)), sphere(radius=0.5, n=16))
    yield "sphere_open", (lambda v, f: (v, f[v[f].mean(1)[:, 2] < 0.6]))(*sphere(n=24))
    yield "sphere_inner_wall", join(sphere(n=24), sheet(9, lambda x, y: (0.5 * x, 0.5 * y, 0 * x)))


def data_meshes(folder):
    for path in sorted(glob.glob(folder + "/meshes/*.ply") + glob.glob(folder + "/stl/*.stl")):
        if "scan" in path:
            continue
        mesh = zef.read_mesh(path, merge_equal=True)
        yield os.path.basename(path), (np.array(mesh.vertices), np.array(mesh.triangles))


def welded(v, f):
    size = np.ptp(v, axis=0).max()
    v, number = np.unique(np.round(v / size, 12) * size, axis=0, return_inverse=True)
    f = number.reshape(-1)[f]
    good = (f[:, 0] != f[:, 1]) & (f[:, 1] != f[:, 2]) & (f[:, 2] != f[:, 0])
    return v, f[good]


def rim_of(v, f):
    edges, count = np.unique(np.sort(f[:, [0, 1, 1, 2, 2, 0]].reshape(-1, 2), 1), axis=0, return_counts=True)
    return v[edges[count == 1]]


def distances_to(points, segments):
    best = np.full(len(points), np.inf)
    for a, b in segments:
        t = np.clip((points - a) @ (b - a) / max((b - a) @ (b - a), 1e-300), 0, 1)
        best = np.minimum(best, np.linalg.norm(points - a - t[:, None] * (b - a), axis=1))
    return best


FAULTS = ("leak", "manifold", "pairs", "far", "lost")


def judge(v, f, rim, spacing, outer):
    found = dict.fromkeys(FAULTS, False)
    start = time.time()
    options = {"outer": True} if outer and not len(rim) else {}
    try:
        mesh = zef.melt(zef.Mesh(v, f), spacing=spacing, **options)
    except zef.NoSurfaceError:
        return dict(found, lost=True), None, 0.0, 0.0
    took = time.time() - start
    state = mesh.check()
    if len(rim):
        border = rim_of(*welded(np.array(mesh.vertices), np.array(mesh.triangles))).reshape(-1, 3)
        apart = len(border) and distances_to(border, rim).max() > 3 * spacing
        found["leak"] = bool(apart) and zef.Mesh(v, f).count_self_intersections() == 0
    else:
        found["leak"] = not state.closed
    found["manifold"] = not (state.manifold and state.oriented) or state.num_degenerate_triangles + state.num_duplicate_triangles > 0
    found["pairs"] = mesh.count_self_intersections() > 0
    apart = zef.compare(mesh, zef.Mesh(v, f), samples=20000)
    found["far"] = apart.there.max > 2 * spacing
    found["lost"] = not len(rim) and apart.back.max > 3 * spacing
    return found, mesh, apart.there.max / spacing, took


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--runs", type=int, default=25)
    parser.add_argument("--data")
    parser.add_argument("--only", default="")
    parser.add_argument("--outer", action="store_true")
    parser.add_argument("--keep")
    options = parser.parse_args()
    print("%-20s %6s %5s" % ("mesh", "rim", "runs") + "%9s" * 5 % FAULTS + "%9s%9s" % ("cells", "seconds"))
    total, num = dict.fromkeys(FAULTS, 0), 0
    meshes = list(hard_meshes()) + (list(data_meshes(options.data)) if options.data else [])
    for number, (name, part) in enumerate(meshes):
        if options.only not in name:
            continue
        rng = np.random.default_rng(number)
        counts, worst, seconds = dict.fromkeys(FAULTS, 0), 0.0, 0.0
        v0, f = welded(*part)
        diagonal = np.linalg.norm(np.ptp(v0, axis=0))
        for run in range(options.runs):
            v = turned((v0, f), rng)[0] if run else v0
            v = v + rng.uniform(-1, 1, 3) * diagonal
            spacing = diagonal / np.exp(rng.uniform(np.log(25), np.log(120)))
            rim = rim_of(v, f)
            found, mesh, cells, took = judge(v, f, rim, spacing, options.outer)
            worst, seconds, num = max(worst, cells), seconds + took, num + 1
            for fault in FAULTS:
                counts[fault] += found[fault]
                total[fault] += found[fault]
            if options.keep and mesh and any(found[fault] for fault in FAULTS[:4]):
                base = os.path.join(options.keep, "%s_%d_%g" % (name, run, spacing))
                zef.Mesh(v, f).write(base + "_in.ply")
                mesh.write(base + "_out.ply")
        print("%-20s %6d %5d" % (name, len(rim), options.runs) + "%9d" * 5 % tuple(counts.values()) + "%9.2f%9.2f" % (worst, seconds),
              flush=True)
    print("%-27s %5d" % ("all", num) + "%9d" * 5 % tuple(total.values()))
    return any(total[fault] for fault in FAULTS[:4])


sys.exit(main())
