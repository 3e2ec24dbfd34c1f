"""The examples run, and their types hold."""

import os
import subprocess
import sys
from pathlib import Path

import numpy as np
from conftest import made_scene

import focusfall

ROOT = Path(__file__).parents[3]
EXAMPLES = ROOT / "programs" / "python" / "examples"


def run(name: str, *arguments: object) -> str:
    line = [sys.executable, str(EXAMPLES / name), *map(str, arguments)]
    return subprocess.run(line, capture_output=True, text=True, check=True).stdout


def test_the_lenses_are_plotted(tmp_path):
    run("three_lenses.py", tmp_path / "lenses.svg")
    drawn = (tmp_path / "lenses.svg").read_text()
    assert drawn.count("<path") > 10


def test_the_blur_of_the_plot_is_that_of_a_thin_lens():
    sys.path.insert(0, str(EXAMPLES))
    from three_lenses import WIDTH, diameters

    found = diameters(np.array([1500, 6000], np.float32), 85, 4)
    for depth, diameter in zip((1500.0, 6000.0), found):
        expected = 85 / 4 * 85 / (3000 - 85) * abs(depth - 3000) / depth / 36 * WIDTH
        assert abs(diameter - expected) < 0.05 * expected


def test_the_batch_renders_once(tmp_path):
    picture, depth = made_scene()
    focusfall.write(tmp_path / "in.exr", picture / 20, depth)
    line = ["focus_batch.py", tmp_path / "in.exr", tmp_path / "out", "3,40", "22,14"]
    assert run(*line).count("done") == 2
    assert run(*line).count("skipped") == 2
    sheet = focusfall.read(tmp_path / "out" / "sheet.png").color
    assert sheet.shape == (24, 64, 4) and sheet.max() > 0


def test_types_hold():
    for what in (["-p", "focusfall"], [str(file) for file in EXAMPLES.glob("*.py")]):
        line = ["mypy", "--strict", "--python-executable", sys.executable, *what]
        done = subprocess.run(
            [*line, "--cache-dir", os.devnull],
            capture_output=True,
            text=True,
            check=False,
            env={**os.environ, "MYPYPATH": os.environ["PYTHONPATH"]},
        )
        assert done.returncode == 0, done.stdout + done.stderr
