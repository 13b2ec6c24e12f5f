"""The tool, C++ and Python make the same file."""

import os
import subprocess

import numpy as np

import zef
from conftest import ball


def test_tool_cpp_and_python_write_the_same_bytes(tmp_path):
    subprocess.run([os.environ["ZEF_CPP_EXAMPLE"], tmp_path / "cpp.ply"], check=True, stdout=subprocess.DEVNULL)
    points = ball(20000)
    colors = np.tile(np.uint8([200, 100, 50, 255]), (len(points), 1))
    zef.reconstruct(points, colors=colors, threads=2).write(tmp_path / "python.ply")
    zef.write(tmp_path / "scan.ply", points, colors=colors, precision="double")
    zef.reconstruct(zef.read_points(tmp_path / "scan.ply")).write(tmp_path / "file.ply")
    subprocess.run([os.environ["ZEF_TOOL"], "reconstruct", "-q", tmp_path / "scan.ply", "-o", tmp_path / "tool.ply"],
                   check=True, stdout=subprocess.DEVNULL)
    files = {name: (tmp_path / f"{name}.ply").read_bytes() for name in ("cpp", "python", "file", "tool")}
    assert len(set(files.values())) == 1 and len(files["cpp"]) > 10000
