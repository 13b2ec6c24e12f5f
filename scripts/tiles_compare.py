#!/usr/bin/env python3
"""Tiles against the whole: meshes scans both ways, and tells how the meshes differ, by scan a line of a table.

    PYTHONPATH=build/release/python scripts/tiles_compare.py --cuts 2,2,1 [--halo 160] [--near 4] [--workers 1]
        [--option NAME=VALUE]... [--keep FOLDER] FILE...

Options are those of zef.reconstruct(). With --keep the meshes and jobs stay in that folder, and what is there is not made
again. Lengths are in cells of the grid; "near" are vertices so many cells from a face between two tiles, and edges between two
of them; "far" are those farther from it than the halo. Columns, with figures of the whole before those of tiles:

    spacing               of the grids, in the unit of the points
    triangles, pieces
    border, border near   border edges
    faults                non-manifold edges, non-manifold vertices and edges whose triangles disagree; 0 is right
    crossing              pairs of triangles that intersect
    near to whole         mean and largest distance of vertices near seams from the other mesh,
    near to tiles         the other way,
    far to whole          and of far vertices
    far alike             the share of far vertices whose bytes, position and colour, the other mesh has too, and how many

Ends with 1 if the mesh of tiles has faults where the whole has none.
"""
import argparse
import ast
import os
import sys
import tempfile

import numpy as np

import zef


def seam_distances(points, plan):
    """To the nearest face between two tiles, in cells."""
    top = 2.0**plan.grid.num_levels
    cells = np.clip((points - plan.grid.low) / plan.grid.spacing, 0.0, np.nextafter(top, 0.0))
    distances = np.full(len(cells), np.inf)
    for low, high in plan.boxes.astype(float):
        inside = np.flatnonzero(((cells >= low) & (cells < high)).all(axis=1))
        for axis in range(3):
            place = cells[inside, axis]
            for face, gap in ((low[axis], place - low[axis]), (high[axis], high[axis] - place)):
                if 0.0 < face < top:
                    distances[inside] = np.minimum(distances[inside], gap)
    return distances


def rows_of(mesh):
    """Each vertex as its bytes."""
    parts = [np.ascontiguousarray(mesh.vertices).view(np.uint8)]
    if mesh.colors is not None:
        parts.append(mesh.colors)
    rows = np.ascontiguousarray(np.hstack(parts))
    return rows.view(f"V{rows.shape[1]}").ravel()


def alike(here, there):
    """The share of the first that the second has too."""
    if not len(here):
        return "none"
    both = np.unique(np.concatenate([np.unique(here), np.unique(there)]), return_counts=True)
    common = both[0][both[1] == 2]
    places = np.minimum(np.searchsorted(common, here), max(0, len(common) - 1))
    share = np.mean(common[places] == here) if len(common) else 0.0
    return f"{100.0 * share:.3f} % of {len(here)}"


class Side:
    """What is to be known of one of the two."""

    def __init__(self, mesh, plan, near):
        self.mesh, self.rows = mesh, rows_of(mesh)
        self.gaps = seam_distances(mesh.vertices, plan)
        self.near = self.gaps < near
        self.found = mesh.check()
        edges = mesh.border_edges()
        self.num_near_borders = int(self.near[edges].all(axis=1).sum())
        self.num_crossing = mesh.count_self_intersections()
        self.num_faults = (self.found.num_non_manifold_edges + self.found.num_non_manifold_vertices
                           + self.found.num_orientation_conflicts)

    def distances_to(self, other, spacing):
        return zef.compare(self.mesh, other.mesh, samples=1000).distances / spacing


def told(distances):
    return f"{distances.mean():.4f} {distances.max():.2f}" if len(distances) else "none"


def mesh_whole(file, path, options):
    """The mesh, and its spacing, which stands in the file."""
    if not os.path.exists(path):
        mesh = zef.reconstruct(zef.read_points(file), **options)
        mesh.write(path, precision="double", comments=[f"spacing {mesh.report.spacing!r}"])
    comment = next(text for text in zef.read_points(path).info.comments if text.startswith("spacing "))
    return zef.read_mesh(path), float(comment.split()[1])


def compare(file, folder, settings, options):
    name = os.path.splitext(os.path.basename(file))[0]
    whole, spacing = mesh_whole(file, os.path.join(folder, name + ".whole.ply"), options)
    done = zef.tiles.run(file, os.path.join(folder, name + ".tiles"), cuts=settings.cuts, halo=settings.halo,
                         workers=settings.workers, **options)
    plan, tiled = done.plan, zef.read_mesh(done.path)
    whole, tiled = Side(whole, plan, settings.near), Side(tiled, plan, settings.near)
    both = [f"{getter(whole)} {getter(tiled)}" for getter in (
        lambda side: side.found.num_triangles, lambda side: side.found.num_components, lambda side: side.found.num_border_edges,
        lambda side: side.num_near_borders, lambda side: side.num_faults, lambda side: side.num_crossing)]
    far = tiled.gaps > settings.halo
    there, back = tiled.distances_to(whole, plan.grid.spacing), whole.distances_to(tiled, plan.grid.spacing)
    cells = [f"{name}, {len(plan.boxes)} tiles", f"{spacing:.6g} {plan.grid.spacing:.6g}", *both, told(there[tiled.near]),
             told(back[whole.near]), told(there[far]), alike(tiled.rows[far], whole.rows)]
    print("| " + " | ".join(cells) + " |", flush=True)
    return whole.num_faults > 0 or tiled.num_faults == 0


def option(text):
    name, _, value = text.partition("=")
    try:
        return name, ast.literal_eval(value)
    except (ValueError, SyntaxError):
        return name, value


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("files", nargs="+")
    parser.add_argument("--cuts", type=lambda text: tuple(map(int, text.split(","))), default=(2, 2, 1))
    parser.add_argument("--halo", type=int, default=160, help="cells")
    parser.add_argument("--near", type=float, default=4.0, help="cells")
    parser.add_argument("--workers", type=int, default=1)
    parser.add_argument("--option", type=option, action="append", default=[], metavar="NAME=VALUE")
    parser.add_argument("--keep", metavar="FOLDER")
    settings = parser.parse_args()
    columns = ["scan", "spacing", "triangles", "pieces", "border", "border near", "faults", "crossing", "near to whole",
               "near to tiles", "far to whole", "far alike"]
    print("| " + " | ".join(columns) + " |\n|" + "---|" * len(columns), flush=True)
    with tempfile.TemporaryDirectory() as temporary:
        folder = settings.keep or temporary
        os.makedirs(folder, exist_ok=True)
        is_right = [compare(file, folder, settings, dict(settings.option)) for file in settings.files]
    sys.exit(0 if all(is_right) else 1)


if __name__ == "__main__":
    main()
