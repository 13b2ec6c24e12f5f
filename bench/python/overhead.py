#!/usr/bin/env python3
"""What a call from Python costs beyond the same call in C++: time and peak memory.

    PYTHONPATH=build/release/python bench/python/overhead.py build/release/bench/bench_call [POINTS [ROUNDS]]

Both sides reconstruct the same points of a torus, a million if not told otherwise, in
processes of their own, by turns. Memory is the peak of the process above what it had, with
the points in it, before the call. Also: what importing the package takes beyond numpy.
"""

import os
import statistics
import subprocess
import sys
import tempfile
import time


def measure(path):
    """One call in this process: seconds, those of all its threads, and bytes above the level before."""
    import numpy as np

    import zef

    points = np.fromfile(path).reshape(-1, 3)
    with open("/proc/self/clear_refs", "w") as file:
        file.write("5")  # the peak begins anew
    before = memory("VmRSS")
    start, cpu = time.perf_counter(), time.process_time()
    mesh = zef.reconstruct(points)
    seconds, cpu = time.perf_counter() - start, time.process_time() - cpu
    print(seconds, cpu, memory("VmHWM") - before, len(mesh.triangles))


def memory(key):
    with open("/proc/self/status") as file:
        return next(int(line.split()[1]) * 1024 for line in file if line.startswith(key + ":"))


def write_points(path, count):
    import numpy as np

    around, across = np.random.default_rng(7).uniform(0.0, 2.0 * np.pi, (2, count))
    radius = 1.0 + 0.35 * np.cos(across)
    np.column_stack([radius * np.cos(around), radius * np.sin(around), 0.35 * np.sin(across)]).tofile(path)


def run(command):
    return [float(word) for word in subprocess.run(command, check=True, capture_output=True).stdout.split()]


def import_seconds(rounds):
    code = "import time; import numpy; t = time.perf_counter(); import zef; print(time.perf_counter() - t)"
    return [float(subprocess.run([sys.executable, "-c", code], check=True, capture_output=True).stdout)
            for _ in range(rounds)]


def main(program, count="1000000", rounds="7"):
    rounds = int(rounds)
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "points.f64")
        write_points(path, int(count))
        compare(program, path, count, rounds)


def compare(program, path, count, rounds):
    sides = {"C++": [program, path], "Python": [sys.executable, __file__, "--measure", path]}
    results = {side: [] for side in sides}
    for _ in range(rounds):
        for side, command in sides.items():
            results[side].append(run(command))
    assert len({value[-1] for values in results.values() for value in values}) == 1
    print(f"{count} points, {rounds} rounds by turns")
    print("          least s   median s   least cpu s   median cpu s   median peak MiB")
    for side, values in results.items():
        seconds, cpu, peak, _ = zip(*values)
        print(f"{side:8} {min(seconds):8.3f} {statistics.median(seconds):10.3f} {min(cpu):13.3f} "
              f"{statistics.median(cpu):14.3f} {statistics.median(peak) / 2**20:17.1f}")
    print(f"import zef beyond numpy: {1000 * statistics.median(import_seconds(9)):.1f} ms")


if __name__ == "__main__":
    measure(sys.argv[2]) if sys.argv[1] == "--measure" else main(*sys.argv[1:])
