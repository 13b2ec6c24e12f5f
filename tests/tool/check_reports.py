#!/usr/bin/env python3
"""check_reports.py TOOL SCHEMA FOLDER: every command's report is what the schema says, and says no more."""
import json
import math
import pathlib
import re
import shutil
import subprocess
import sys

import jsonschema

tool, schema_path, folder = pathlib.Path(sys.argv[1]).resolve(), sys.argv[2], pathlib.Path(sys.argv[3])
folder.mkdir(parents=True, exist_ok=True)
schema = json.load(open(schema_path))
jsonschema.Draft7Validator.check_schema(schema)
validator = jsonschema.Draft7Validator(schema)

side = 40
with open(folder / "scan.csv", "w") as scan:
    scan.write("x,y,z,r,g,b\n")
    for i in range(side * side):
        x, y = 0.1 * (i % side), 0.1 * (i // side)
        scan.write(f"{x},{y},{0.2 * math.sin(1.5 * x)},{i % 256},0,255\n")
with open(folder / "ball.xyz", "w") as ball:
    for i in range(2000):
        z, turn = (i + 0.5) / 1000 - 1, 2.4 * i
        ball.write(f"{math.sqrt(1 - z * z) * math.sin(turn)} {math.sqrt(1 - z * z) * math.cos(turn)} {z}\n")
(folder / "one.xyz").write_text("1 2 3\n")

# The options that bring keys of their own; no command may be missing.
runs = [
    "info scan.csv", "info one.xyz", "spacing scan.csv", "convert scan.csv scan.ply",
    "reconstruct scan.csv -o mesh.ply", "recipe", "formats", "convert scan.csv scan.las", "info scan.las --keep-class 0 --every 2",
    "reconstruct scan.csv -o web.glb --recipe web --check", "info mesh.ply", "convert mesh.ply far.stl --shift auto",
    "reconstruct scan.csv -o other.ply --spacing 0.2 --keep-non-manifold --smooth-steps 1 --flip --reduce 50%",
    "melt mesh.ply -o melt.ply --spacing 0.2", "resample mesh.ply -o points.ply --spacing 0.2",
    "refit mesh.ply scan.csv -o refit.ply", "mend mesh.ply -o mended.ply", "flip mesh.ply -o flip.ply", "anneal mesh.ply -o anneal.ply",
    "reduce mesh.ply -o less.ply", "reduce mesh.ply -o less.ply --target 10%", "smooth mesh.ply -o smooth.ply",
    "colour mesh.ply -o colour.ply --fill", "holes mesh.ply", "check --deep --promise embedded mesh.ply", "reconstruct ball.xyz -o ball.ply --closed",
    "tiles scan.csv --job job --cuts 2x1x1 --step plan", "tiles scan.csv --job job --cuts 2x1x1 -o joined.ply",
    "compare mesh.ply scan.csv -o compared.ply", "compare mesh.ply other.ply", "view mesh.ply --png view.png",
]
shutil.rmtree(folder / "job", ignore_errors=True)
named = set(re.findall(r"^  (\w+) ", subprocess.check_output([tool, "--help"], text=True), re.M))
assert named == {run.split()[0] for run in runs}, "commands without a run: %s" % named
for run in runs:
    done = subprocess.run([tool, *run.split(), "--json", "-q"], cwd=folder, text=True, capture_output=True)
    assert done.stdout, f"{run}: {done.stderr}"
    report = json.loads(done.stdout.splitlines()[-1])
    if run == "formats":
        told = (pathlib.Path(sys.argv[2]).parent / "formats.md").read_text()
        for f in report["formats"]:
            line = f"| {f['name']} | {' '.join(f['endings'])} | {f['reads']} | {f['writes']} | {f['keeps']} |\n"
            assert line in told, f"docs/formats.md lacks {line}"
    errors = [f"{'/'.join(map(str, e.path))}: {e.message[:200]}" for e in validator.iter_errors(report)]
    assert not errors, f"{run}: {errors}"
print(f"{len(runs)} reports are as the schema says")
