#!/usr/bin/env python3
"""Writes the scan of a street as a car with two profile scanners takes it: LAS 1.2, with colours and classes.

    bench/street.py street.las --points 100e6 [--seed 1]

Road, pavements, houses with windows and balconies, trees of single leaves, parked cars, lamp posts. The street is as long as
the points want, some 35 m for a million, and a longer one begins as a shorter one does. Both scanners turn once each few
centimetres of the way, which is driven unevenly, across it to the left and to the right: points lie 2 cm apart on the road
and 10 and more on upper floors, with gaps behind what stands in between. Noise along the rays is 1 to 2 cm. Memory is some
80 MB, whatever the number, time 2.5 seconds for a million on one core. Wants numpy.
"""
import argparse
import functools
import os
import struct
import sys

import numpy as np

PROFILES = 20  # a metre of the way and scanner, where the speed is even
RAYS = 480  # of a profile to one side, from nearly straight down to nearly straight up
LOWEST, HIGHEST = np.radians(6.0), np.radians(165.0)  # from straight down
PATH, HEIGHT = -1.6, 2.3  # of the scanners: y, and z
FARTHEST = 45.0  # metres
KERB, FRONT, LOT = 5.0, 8.0, 12.0  # the sides are alike: y from the middle of the road; width of a lot, roughly
OTHER, GROUND, LEAVES, BUILDING = 1, 2, 5, 6  # classes of LAS
RECORD = np.dtype([("xyz", "<i4", 3), ("intensity", "<u2"), ("returns", "u1"), ("class", "u1"), ("angle", "i1"),
                   ("user", "u1"), ("source", "<u2"), ("rgb", "<u2", 3)])
SCALE = 0.001


def slabs(o, d, low, high):
    """Where rays enter boxes and leave them: o, d (n, 3)."""
    with np.errstate(divide="ignore", invalid="ignore"):
        a, b = (low - o) / d, (high - o) / d
    return np.minimum(a, b), np.maximum(a, b)


# Each of what follows tells for rays from o in direction d how far its surface is, inf where there is none, and of what
# colour it is, (3,) or (n, 3).

def box(o, d, low, high, color):
    near, far = slabs(o, d, low, high)
    t = near.max(axis=1)
    return np.where(t < far.min(axis=1), t, np.inf), color


def ellipsoid(o, d, middle, radii, color):
    p, q = (o - middle) / radii, d / radii
    a, b, c = (q * q).sum(axis=1), (p * q).sum(axis=1), (p * p).sum(axis=1) - 1.0
    root = b * b - a * c
    return np.where(root > 0.0, (-b - np.sqrt(np.maximum(root, 0.0))) / a, np.inf), color


def post(o, d, x, y, radius, top, color):
    """Upright, from the ground on."""
    p, q = o[:, :2] - (x, y), d[:, :2]
    a, b, c = (q * q).sum(axis=1), (p * q).sum(axis=1), (p * p).sum(axis=1) - radius**2
    root = b * b - a * c
    t = np.where(root > 0.0, (-b - np.sqrt(np.maximum(root, 0.0))) / a, np.inf)
    with np.errstate(invalid="ignore"):
        return np.where(o[:, 2] + t * d[:, 2] < top, t, np.inf), color


def leaves(o, d, middles, normals, radii, colors):
    """Discs: all of them with all rays."""
    origin = middles.mean(axis=0)
    o, c = o - origin, middles - origin
    with np.errstate(divide="ignore", invalid="ignore"):
        t = ((c * normals).sum(axis=1) - o @ normals.T) / (d @ normals.T)
    along = (o * d).sum(axis=1)[:, None] - d @ c.T
    away = ((o * o).sum(axis=1)[:, None] - 2.0 * (o @ c.T)) + (c * c).sum(axis=1)
    t[~(away + 2.0 * t * along + t * t < radii**2)] = np.inf
    first = t.argmin(axis=1)
    return t[np.arange(len(t)), first], colors[first]


def house(o, d, low, high, pitch, color):
    """A block with windows that lie a quarter metre deep in its front."""
    near, far = slabs(o, d, low, high)
    t = near.max(axis=1)
    colors = np.broadcast_to(color, (len(o), 3)).copy()
    p = o + t[:, None] * d
    cell = np.array([pitch, 3.1])
    corner = np.floor((p[:, ::2] - low[::2]) / cell) * cell + low[::2]
    opening = corner + 0.3 * cell, corner + (0.72, 0.8) * cell
    inside = ((p[:, ::2] > opening[0]) & (p[:, ::2] < opening[1])).all(axis=1)
    inside &= (near.argmax(axis=1) == 1) & (opening[1][:, 0] < high[0]) & (opening[1][:, 1] < high[2])
    _, ends = slabs(o[inside], d[inside], *(np.stack([side[inside, 0], depth + 0.0 * side[inside, 0], side[inside, 1]], axis=1)
                                            for side, depth in zip(opening, (low[1], low[1] + 0.25))))
    t[inside] = ends.min(axis=1)
    colors[inside] = np.where((ends.argmin(axis=1) == 1)[:, None], (70, 85, 100), (225, 220, 210))
    t[~(near.max(axis=1) < far.min(axis=1))] = np.inf
    return t, colors


def together(o, d, parts):
    """What is nearest of several."""
    t, colors = np.full(len(o), np.inf), np.zeros((len(o), 3))
    for trace, *shape in parts:
        at, color = trace(o, d, *shape)
        nearer = (at > 0.0) & (at < t)
        t[nearer] = at[nearer]
        colors[nearer] = color if np.ndim(color) == 1 else color[nearer]
    return t, colors


class Lot:
    """What stands on one side of a piece of the street: boxes around things, and the things."""

    def __init__(self):
        self.low, self.high, self.things = [], [], []

    def add(self, low, high, kind, *parts):
        self.low.append(low)
        self.high.append(high)
        self.things.append((kind, parts))

    def add_house(self, random, begin, end):
        front = FRONT + random.uniform(0.0, 0.8)
        floors = random.integers(3, 6)
        low, high = np.array([begin, front, 0.0]), np.array([end, front + 11.0, 3.1 * floors + 0.6])
        color, pitch = random.uniform((150, 130, 100), (240, 225, 200)), random.uniform(2.4, 3.4)
        self.add(low, high, BUILDING, (house, low, high, pitch, color))
        eaves = np.array([begin, front - 0.4, high[2]]), np.array([end, front + 1.0, high[2] + 0.3])
        self.add(*eaves, BUILDING, (box, *eaves, np.array([120, 70, 60])))
        columns = [c for c in range(int((end - begin) / pitch)) if random.random() < 0.4]
        for column in columns:
            for floor in range(1, floors):
                self.add_balcony(begin + (column + 0.51) * pitch, front, 3.1 * floor + 0.2, color * 0.8)

    def add_balcony(self, x, front, z, color):
        low, high = np.array([x - 1.1, front - 1.2, z]), np.array([x + 1.1, front, z + 1.1])
        floor, rail = high.copy(), high.copy()
        floor[2], rail[1] = z + 0.18, low[1] + 0.06
        sides = [(low, np.array([low[0] + 0.06, *high[1:]])), (np.array([high[0] - 0.06, *low[1:]]), high)]
        self.add(low, high, BUILDING, (box, low, floor, color), (box, low, rail, color * 0.7),
                 *((box, *side, color * 0.7) for side in sides))

    def add_tree(self, random, x):
        middle, radii = np.array([x, KERB + 1.0, random.uniform(4.6, 5.6)]), random.uniform((1.3, 1.2, 1.5), (2.1, 1.8, 2.3))
        out = random.normal(size=(300, 3))
        out /= np.linalg.norm(out, axis=1)[:, None]
        middles = middle + radii * out * random.uniform(0.55, 1.0, (300, 1))
        normals = out + random.normal(size=(300, 3)) * 0.5
        normals /= np.linalg.norm(normals, axis=1)[:, None]
        colors = random.uniform((50, 90, 30), (110, 160, 60), (300, 3))
        crown = middle - radii - 0.3, middle + radii + 0.3
        self.add(*crown, LEAVES, (leaves, middles, normals, random.uniform(0.12, 0.28, 300), colors))
        trunk = random.uniform(0.1, 0.2)
        self.add((x - trunk, KERB + 1.0 - trunk, 0.0), (x + trunk, KERB + 1.0 + trunk, middle[2]), LEAVES,
                 (post, x, KERB + 1.0, trunk, middle[2], np.array([90, 70, 55])))

    def add_car(self, random, x):
        y, color = KERB - 1.1, random.uniform(30, 230, 3)
        low, high = np.array([x - 2.1, y - 0.85, 0.3]), np.array([x + 2.1, y + 0.85, 0.9])
        wheels = [(ellipsoid, np.array([x + a, y + b, 0.32]), np.array([0.32, 0.13, 0.32]), np.array([35, 35, 35]))
                  for a in (-1.3, 1.3) for b in (-0.8, 0.8)]
        self.add((low[0], low[1] - 0.1, 0.0), (high[0], high[1] + 0.1, 1.55), OTHER, (box, low, high, color),
                 (ellipsoid, np.array([x - 0.2, y, 0.85]), np.array([1.6, 0.78, 0.65]), color * 0.6), *wheels)

    def add_lamp(self, x):
        grey, y = np.array([105, 110, 110]), KERB + 0.4
        self.add((x - 0.1, y - 0.1, 0.0), (x + 0.1, y + 0.1, 6.5), OTHER, (post, x, y, 0.08, 6.5, grey))
        lamp = np.array([x - 0.15, y - 1.3, 6.4]), np.array([x + 0.15, y + 0.1, 6.55])
        self.add(*lamp, OTHER, (box, *lamp, grey))


@functools.lru_cache(maxsize=64)
def lot_of(seed, side, number):
    def boundary(i):
        return LOT * i + np.random.default_rng([seed, 1, side, i + 1000]).uniform(-2.0, 2.0)

    random, lot = np.random.default_rng([seed, 2, side, number + 1000]), Lot()
    if random.random() < 0.88:
        lot.add_house(random, boundary(number), boundary(number + 1))
    if random.random() < 0.7:
        lot.add_tree(random, LOT * number + random.uniform(2.0, 4.0))
    for x in (5.0, 10.5):
        if random.random() < 0.6:
            lot.add_car(random, LOT * number + x + random.uniform(-0.5, 0.5))
    if number % 3 == 0:
        lot.add_lamp(LOT * number + 0.5)
    lot.low, lot.high = np.array(lot.low).reshape(-1, 3), np.array(lot.high).reshape(-1, 3)
    return lot


def ground(o, d):
    """Road, kerb and pavement."""
    pavement, _ = box(o, d, np.array([-np.inf, KERB, -1.0]), np.array([np.inf, 99.0, 0.12]), None)
    with np.errstate(divide="ignore"):
        road = np.where(d[:, 2] < 0.0, -o[:, 2] / d[:, 2], np.inf)
    t = np.minimum(road, pavement)
    p = o + np.where(np.isfinite(t), t, 0.0)[:, None] * d
    line = (np.abs(p[:, 1]) < 0.08) & (p[:, 0] % 6.0 < 3.0)
    colors = np.where((road < pavement)[:, None], (85, 85, 90), (165, 160, 155))
    colors[line & (road < pavement)] = 230
    return t, colors.astype(float)


def trace(o, d, seed, side, lean):
    """Distances, colours and classes. Rays go across at 45 degrees, forward or back: that is lean, 1 or -1."""
    t, colors = ground(o, d)
    classes = np.full(len(o), GROUND, np.uint8)
    start = o[:, 0] - lean * o[:, 1]  # stays the same along the ray
    first, last = start.min() - 0.2, start.max() + 0.2
    reach = FARTHEST * 0.75
    for number in range(int((first - reach) // LOT) - 1, int((last + reach) // LOT) + 2):
        lot = lot_of(seed, side, number)
        if not lot.things:
            continue
        ends = np.sort(np.stack([lot.low[:, 1], lot.high[:, 1]]) * -lean, axis=0)
        for i in np.flatnonzero((lot.low[:, 0] + ends[0] < last) & (lot.high[:, 0] + ends[1] > first)):
            near, far = slabs(o, d, lot.low[i], lot.high[i])
            near = near.max(axis=1)
            rays = np.flatnonzero((near < far.min(axis=1)) & (near > 0.0) & (near < t))
            if not len(rays):
                continue
            kind, parts = lot.things[i]
            at, color = together(o[rays], d[rays], parts)
            nearer = at < t[rays]
            hit = rays[nearer]
            t[hit], colors[hit], classes[hit] = at[nearer], color[nearer], kind
    return t, colors, classes


def scan_metre(seed, number):
    """The points of one metre of the way, as records of LAS."""
    random = np.random.default_rng([seed, 3, number])
    records = []
    for lean in (1, -1):
        s = number + np.arange(PROFILES)[:, None] / PROFILES
        x = s + 9.0 * np.sin(s * (2.0 * np.pi / 90.0))  # slower here, faster there
        for side in (0, 1):
            mirror = 1 - 2 * side
            shape = PROFILES, RAYS
            turn = LOWEST + (np.arange(RAYS) + random.uniform(0.0, 1.0, (PROFILES, 1))) * ((HIGHEST - LOWEST) / RAYS)
            o = np.stack([np.broadcast_to(x, shape), np.broadcast_to(mirror * (PATH + 0.15 * np.sin(s / 7.0)), shape),
                          np.full(shape, HEIGHT)], axis=2).reshape(-1, 3)
            across = np.sin(turn) * np.sqrt(0.5)
            d = np.stack([lean * across, across, -np.cos(turn)], axis=2).reshape(-1, 3)
            t, colors, classes = trace(o, d, seed, side, lean)
            taken = (t < FARTHEST) & (random.random(len(t)) > 0.02)
            t, d = t[taken], d[taken]
            t = t + random.normal(size=len(t)) * (0.0075 + 0.0006 * t)
            p = o[taken] + t[:, None] * d
            p[:, 1] *= mirror
            p[:, 2] += 1.5 * np.sin(p[:, 0] / 150.0)  # up and down hill
            record = np.zeros(len(p), RECORD)
            record["xyz"] = np.rint(p / SCALE)
            color = np.clip(colors[taken] * random.uniform(0.92, 1.08, (len(p), 1)), 0, 255).astype(np.uint16)
            record["rgb"] = color * 257
            record["intensity"] = color.sum(axis=1) * 20
            record["class"] = classes[taken]
            record["returns"] = 0o11  # the first of one
            record["source"] = 1 + (lean < 0)
            records.append(record)
    return np.concatenate(records)


def header(count, low, high):
    """The public header block; low and high in steps of the scale."""
    box_ends = [end * SCALE for pair in zip(high, low) for end in pair]
    return struct.pack("<4sHH16sBB32s32sHHHIIBHI5I12d", b"LASF", 0, 0, bytes(16), 1, 2, b"", b"bench/street.py", 1, 2024,
                       227, 227, 0, 2, RECORD.itemsize, count, count, 0, 0, 0, 0, *[SCALE] * 3, *[0.0] * 3, *box_ends)


def write(path, count, seed):
    """Part by part, under another name until all is there."""
    low, high, left, number = np.full(3, 2**31 - 1), np.full(3, -(2**31)), count, 0
    unfinished = path + ".part"
    with open(unfinished, "wb") as file:
        file.write(header(count, low, high))
        while left:
            records = scan_metre(seed, number)[:left]
            records.tofile(file)
            low, high = np.minimum(low, records["xyz"].min(axis=0)), np.maximum(high, records["xyz"].max(axis=0))
            left -= len(records)
            number += 1
            if number % 100 == 0:
                print(f"\r{number} m, {count - left:,} points", end="", file=sys.stderr)
        file.seek(0)
        file.write(header(count, low, high))
    os.replace(unfinished, path)
    print(f"\r{path}: {number} m, {count:,} points", file=sys.stderr)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("path")
    parser.add_argument("--points", type=lambda text: int(float(text)), default=1_000_000)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    if not 0 < options.points < 2**32:
        parser.error("--points must be from 1 to 4e9, which LAS 1.2 holds")
    write(options.path, options.points, options.seed)


if __name__ == "__main__":
    main()
