#!/usr/bin/env python3
"""Measures how close meshes come to the surface that noisy or clean samples were drawn from.

    scripts/accuracy.py MESHES                             all true meshes (*.ply) of a folder
    scripts/accuracy.py MESHES --shapes fandisk --noise 0.3 --points 100000
    scripts/accuracy.py MESHES --run "smooth=--smooth-steps 5" --run "off=--refit off"
    scripts/accuracy.py MESHES --tool other/zef --run "other="    a tool from elsewhere

MESHES holds closed meshes of triangles, binary little-endian PLY. A sphere and a torus are added. Each is
scaled to a longest side of 100, strewn with random points, and Gaussian noise moves them along the
normal; the same seed gives the same points. One line for each shape, noise and way to mesh it:

    rms, max    distance of the mesh from the true surface, in spacings (roots of the area for one point)
    normal      mean angle between the two there, degrees
    crease      rms distance of the true creases (over 40 degrees) from the mesh, in spacings
    bend        mean angle between neighbouring triangles, degrees: facets and roughness show
    border, genus, crossing    border edges, genus, pairs of triangles that cut each other
    seconds     of the whole run

Ways: the tool with the options of each --run (by default as it is, and with --refit off). Peers run too where the python that
runs this can import them: Poisson of Open3D, the signed distance of VTK (see bench/peers). Wants numpy and scipy. Some 10 seconds a line.
"""
import argparse
import importlib.util
import json
import os
import shlex
import subprocess
import sys
import tempfile
import time

import numpy as np
from scipy.spatial import cKDTree

TYPES = {"char": "i1", "uchar": "u1", "int8": "i1", "uint8": "u1", "short": "<i2", "ushort": "<u2", "int": "<i4", "uint": "<u4",
         "int32": "<i4", "uint32": "<u4", "float": "<f4", "float32": "<f4", "double": "<f8", "float64": "<f8"}


def read_arrays(path):
    data = open(path, "rb").read()
    start = data.index(b"end_header\n") + 11
    if b"binary_little_endian" not in data[:start]:
        sys.exit(path + ": only binary little-endian PLY is read")
    elements = []
    for words in (line.split() for line in data[:start].decode().split("\n")):
        if words[:1] == ["element"]:
            elements.append((words[1], int(words[2]), []))
        elif words[:1] == ["property"] and words[1] == "list":
            elements[-1][2].extend([("count", TYPES[words[2]]), (words[4], TYPES[words[3]], 3)])
        elif words[:1] == ["property"]:
            elements[-1][2].append((words[2], TYPES[words[1]]))
    arrays = {}
    for name, count, fields in elements:
        arrays[name] = np.frombuffer(data, np.dtype(fields), count, start)
        start += arrays[name].nbytes
    return arrays


def places(vertex):
    return np.stack([vertex[k] for k in "xyz"], 1).astype(float)


def read_points(path):
    return places(read_arrays(path)["vertex"])


def read_mesh(path):
    arrays = read_arrays(path)
    face = arrays["face"]
    if not (face["count"] == 3).all():
        sys.exit(path + ": holds other polygons than triangles")
    return places(arrays["vertex"]), face[face.dtype.names[-1]].astype(int)


def default_tool():
    return os.path.join(os.path.dirname(__file__), "..", "build", "release", "apps", "zef", "zef")


def write_ply(path, points, faces=None):
    header = "ply\nformat binary_little_endian 1.0\nelement vertex %d\n" % len(points)
    header += "".join("property double %s\n" % axis for axis in "xyz")
    if faces is not None:
        header += "element face %d\nproperty list uchar int vertex_indices\n" % len(faces)
    with open(path, "wb") as out:
        out.write((header + "end_header\n").encode() + points.astype("<f8").tobytes())
        if faces is not None:
            rows = np.zeros(len(faces), np.dtype([("count", "u1"), ("corners", "<i4", 3)]))
            rows["count"], rows["corners"] = 3, faces
            out.write(rows.tobytes())


def grid_mesh(point, nu, nv):
    """point(u, v) for both closed directions, from 0 to 2 pi."""
    u, v = (a.ravel() for a in np.meshgrid(np.arange(nu), np.arange(nv), indexing="ij"))
    at = lambda i, k: (i % nu) * nv + k % nv
    quads = at(u, v), at(u + 1, v), at(u + 1, v + 1), at(u, v + 1)
    faces = np.concatenate([np.stack([quads[0], quads[1], quads[2]], 1), np.stack([quads[0], quads[2], quads[3]], 1)])
    return np.stack(point(u * 2 * np.pi / nu, v * 2 * np.pi / nv), 1), faces


def torus():
    ring = lambda v: 36 + 14 * np.cos(v)
    return grid_mesh(lambda u, v: (ring(v) * np.cos(u), ring(v) * np.sin(u), 14 * np.sin(v)), 1000, 400)


def sphere(splits=7):
    points = np.concatenate([np.eye(3), -np.eye(3)])
    faces = np.array([(0, 1, 2), (1, 3, 2), (3, 4, 2), (4, 0, 2), (1, 0, 5), (3, 1, 5), (4, 3, 5), (0, 4, 5)])
    for _ in range(splits):
        sides = np.sort(np.concatenate([faces[:, [0, 1]], faces[:, [1, 2]], faces[:, [2, 0]]]), 1)
        sides, which = np.unique(sides, axis=0, return_inverse=True)
        a, b, c = which.reshape(3, -1) + len(points)
        points = np.concatenate([points, points[sides].mean(1)])
        faces = np.concatenate([np.stack(part, 1) for part in
                                ((faces[:, 0], a, c), (faces[:, 1], b, a), (faces[:, 2], c, b), (a, b, c))])
        points /= np.linalg.norm(points, axis=1)[:, None]
    return 50 * points, faces


def dots(a, b):
    return np.einsum("ij,ij->i", a, b)


def to_segment(p, a, b):
    """Squared distances."""
    side = b - a
    share = np.clip(dots(p - a, side) / np.maximum(dots(side, side), 1e-300), 0, 1)
    away = p - a - share[:, None] * side
    return dots(away, away)


class Surface:
    def __init__(self, points, faces):
        self.points, self.faces, self.corners = points, faces, points[faces]
        cross = np.cross(self.corners[:, 1] - self.corners[:, 0], self.corners[:, 2] - self.corners[:, 0])
        double = np.linalg.norm(cross, axis=1)
        self.areas, self.normals = double / 2, cross / np.maximum(double, 1e-300)[:, None]

    def samples(self, count, rng):
        """Random points and the triangles that they lie on."""
        which = np.searchsorted(np.cumsum(self.areas), rng.random(count) * self.areas.sum()).clip(max=len(self.areas) - 1)
        root, share = np.sqrt(rng.random(count)), rng.random(count)
        weights = np.stack([1 - root, root * (1 - share), root * share], 1)
        return np.einsum("nk,nkj->nj", weights, self.corners[which]), which

    def index(self, step):
        """Prepares distances(), right where samples that far apart tell the nearest triangles."""
        places, self.which = self.samples(int(4 * self.areas.sum() / step ** 2), np.random.default_rng(2))
        self.which = np.concatenate([self.which, np.arange(len(self.faces))])
        self.tree = cKDTree(np.concatenate([places, self.corners.mean(1)]))

    def distances(self, queries):
        """Of points to the surface, and the nearest triangles."""
        best, nearest = np.full(len(queries), np.inf), np.zeros(len(queries), int)
        for candidates in self.which[self.tree.query(queries, 8, workers=-1)[1]].T:
            a, b, c = (self.corners[candidates, k] for k in range(3))
            normal = self.normals[candidates]
            height = dots(queries - a, normal)
            inside = (self.areas[candidates] > 0) & np.all(
                [dots(np.cross(q - p, queries - p), normal) >= 0 for p, q in ((a, b), (b, c), (c, a))], axis=0)
            edges = np.minimum(np.minimum(to_segment(queries, a, b), to_segment(queries, b, c)), to_segment(queries, c, a))
            square = np.where(inside, height ** 2, edges)
            nearest = np.where(square < best, candidates, nearest)
            best = np.minimum(best, square)
        return np.sqrt(best), nearest

    def bends(self):
        """The inner edges, and the angles between their triangles in degrees."""
        ends = np.sort(np.concatenate([self.faces[:, [0, 1]], self.faces[:, [1, 2]], self.faces[:, [2, 0]]]), 1)
        faces, order = np.tile(np.arange(len(self.faces)), 3), np.lexsort((ends[:, 1], ends[:, 0]))
        ends, faces = ends[order], faces[order]
        pair = np.nonzero((ends[1:] == ends[:-1]).all(1))[0]
        first, second = self.normals[faces[pair]], self.normals[faces[pair + 1]]
        return ends[pair], np.degrees(np.arctan2(np.linalg.norm(np.cross(first, second), axis=1), dots(first, second)))

    def crease_samples(self, count, rng):
        edges, angles = self.bends()
        edges = edges[angles > 40]
        if len(edges) < 12:
            return None
        a, b = self.points[edges[:, 0]], self.points[edges[:, 1]]
        lengths = np.linalg.norm(b - a, axis=1)
        which, share = rng.choice(len(edges), count, p=lengths / lengths.sum()), rng.random(count)[:, None]
        return a[which] * (1 - share) + b[which] * share


def draw_cloud(truth, count, noise):
    rng = np.random.default_rng(1)
    points, which = truth.samples(count, rng)
    spacing = np.sqrt(truth.areas.sum() / count)
    return points + truth.normals[which] * (noise * spacing * rng.standard_normal(count))[:, None], spacing


def measure(mesh, truth, spacing, creases):
    points, which = mesh.samples(100_000, np.random.default_rng(3))
    distances, nearest = truth.distances(points)
    turned = np.degrees(np.arccos(np.minimum(np.abs(dots(mesh.normals[which], truth.normals[nearest])), 1)))
    largest = max(distances.max(), truth.distances(mesh.points)[0].max())
    row = {"rms": np.sqrt((distances ** 2).mean()) / spacing, "max": largest / spacing, "normal": turned.mean()}
    if creases is not None:
        mesh.index(0.5 * spacing)
        row["crease"] = np.sqrt((mesh.distances(creases)[0] ** 2).mean()) / spacing
    row["bend"] = mesh.bends()[1].mean()
    return row


def find_peers():
    """Functions of the points' file, the mesh's file and the spacing."""
    sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "bench", "peers"))
    from run import PEERS
    peers = {}
    for name in ("Open3D Poisson", "VTK signed distance"):
        module, run = PEERS[name]
        if importlib.util.find_spec(module):
            peers[name] = run
        else:
            print("not measured, since this python has no module %s: %s" % (module, name))
    return peers


def checked(tool, path):
    """What the tool's check counts; another tool's mesh is counted in the same way."""
    run = subprocess.run([tool, "check", "--json", "--deep", path], capture_output=True, text=True)
    report = json.loads(run.stdout.splitlines()[-1])
    closed = report["border_edges"] == 0 and report["non_manifold_edges"] == 0
    return {"border": report["border_edges"], "crossing": report["self_intersections"],
            "genus": (2 * report["components"] - report["euler"]) // 2 if closed else None}


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("meshes")
    parser.add_argument("--tool", default=default_tool())
    parser.add_argument("--run", action="append", metavar="NAME=OPTIONS")
    parser.add_argument("--shapes", help="names, with commas between")
    parser.add_argument("--noise", default="0,0.3,0.8", help="in spacings, with commas between")
    parser.add_argument("--points", type=int, default=200_000)
    parser.add_argument("--no-peers", action="store_true")
    parser.add_argument("--keep", metavar="FOLDER", help="leaves clouds and meshes there")
    options = parser.parse_args()
    if not os.access(options.tool, os.X_OK):
        sys.exit("%s: build the tool first, or name one with --tool" % options.tool)
    runs = dict(run.split("=", 1) for run in options.run or ["default=", "off=--refit off"])
    shapes = {name[:-4]: lambda path=os.path.join(options.meshes, name): read_mesh(path)
              for name in sorted(os.listdir(options.meshes)) if name.endswith(".ply")}
    shapes.update(sphere=sphere, torus=torus)
    peers = {} if options.no_peers else find_peers()
    columns = ["rms", "max", "normal", "crease", "bend", "border", "genus", "crossing", "seconds"]
    print("%-16s %5s %-16s" % ("shape", "noise", "way") + "".join("%9s" % column for column in columns))
    with tempfile.TemporaryDirectory() as scratch:
        folder = options.keep or scratch
        for name in options.shapes.split(",") if options.shapes else shapes:
            points, faces = shapes[name]()
            truth = Surface((points - points.min(0)) * (100 / np.ptp(points, axis=0).max()), faces)
            truth.index(0.5 * np.sqrt(truth.areas.sum() / options.points))
            creases = truth.crease_samples(20_000, np.random.default_rng(4))
            for noise in map(float, options.noise.split(",")):
                cloud, spacing = draw_cloud(truth, options.points, noise)
                base = os.path.join(folder, "%s.%g" % (name, noise))
                write_ply(base + ".ply", cloud)
                for way in [*runs, *peers]:
                    out, begin = "%s.%s.ply" % (base, way.replace(" ", "_")), time.time()
                    if way in peers:
                        peers[way](base + ".ply", out, spacing)
                    else:
                        subprocess.run([options.tool, "reconstruct", base + ".ply", "-o", out, "--force", "--quiet",
                                        *shlex.split(runs[way])], check=True, stdout=subprocess.DEVNULL)
                    row = {"seconds": time.time() - begin}
                    row.update(measure(Surface(*read_mesh(out)), truth, spacing, creases), **checked(options.tool, out))
                    cells = (row.get(column) for column in columns)
                    texts = ("-" if cell is None else "%.3f" % cell if isinstance(cell, float) else str(cell) for cell in cells)
                    print("%-16s %5g %-16s" % (name, noise, way) + "".join("%9s" % text for text in texts), flush=True)


if __name__ == "__main__":
    main()
