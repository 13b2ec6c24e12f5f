"""The examples and the notebook run, and leave what they promise."""

import base64
import os
import pathlib
import subprocess
import sys

import nbclient
import nbformat
import pytest

from zef import _scene

EXAMPLES = pathlib.Path(__file__).parents[2] / "examples" / "python"
LEAVES = {
    "first_mesh.py": ["torus.ply"],
    "coloured_scan.py": ["hill.ply", "hill.html" if os.path.exists(_scene._SCRIPT) else "hill.png"],
    "batch.py": ["ball.mesh.ply", "egg.mesh.ply", "disc.mesh.ply"],
    "to_others.py": [],
}


def test_all_examples_are_tested():
    assert {path.name for path in EXAMPLES.glob("*.py")} == set(LEAVES)


@pytest.mark.parametrize("name", LEAVES)
def test_example_runs(name, tmp_path):
    run = subprocess.run([sys.executable, EXAMPLES / name], cwd=tmp_path, capture_output=True, text=True)
    assert run.returncode == 0 and "triangles" in run.stdout, run.stderr
    for file in LEAVES[name]:
        assert (tmp_path / file).stat().st_size > 10_000


def test_notebook_runs_and_shows_pictures(tmp_path):
    notebook = nbformat.read(EXAMPLES / "tour.ipynb", as_version=4)
    nbclient.NotebookClient(notebook, timeout=120, resources={"metadata": {"path": str(tmp_path)}}).execute()
    pictures = [base64.b64decode(output["data"]["image/png"]) for cell in notebook.cells
                for output in cell.get("outputs", []) if "image/png" in output.get("data", {})]
    for i, picture in enumerate(pictures):
        (pathlib.Path(os.environ.get("ZEF_PICTURES", tmp_path)) / f"notebook_{i}.png").write_bytes(picture)
    assert len(pictures) == 3 and (tmp_path / "sheet.ply").exists()
