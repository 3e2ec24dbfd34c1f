"""What the tests share: a made-up scene, and the command to compare with."""

import os
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest

import focusfall

SIZE = (48, 64)  # height, width
BLUR = {"MaxBlurSize": 12.5, "FocusPosition": 300, "BlurStyle": "Polygon"}


def made_scene(height: int = SIZE[0], width: int = SIZE[1]) -> tuple[focusfall.Array, focusfall.Array]:
    """A picture with alpha and lights, and its depth: a floor with a box before it."""
    random = np.random.default_rng(7)
    picture = random.random((height, width, 4), dtype=np.float32)
    picture[..., 3] = 1
    picture[:: 7, :: 9, :3] *= 20
    depth = np.repeat(np.linspace(900, 100, height, dtype=np.float32)[:, None], width, 1)
    depth[height // 4 : height // 2, width // 3 : width // 2] = 250
    return picture, depth


@pytest.fixture
def scene() -> tuple[focusfall.Array, focusfall.Array]:
    return made_scene()


@pytest.fixture
def tool() -> focusfall.Tool:
    """The tool that the command uses, with a blur that shows."""
    tool = focusfall.Tool(threads=2)
    tool.update(BLUR)
    return tool


def run_command(*arguments: object) -> "subprocess.CompletedProcess[str]":
    line = [os.environ["FOCUSFALL_COMMAND"], *map(str, arguments)]
    return subprocess.run(line, capture_output=True, text=True, check=False)


def run_python(code: str, *arguments: object) -> "subprocess.CompletedProcess[str]":
    """Runs a program in an interpreter of its own, which finds these helpers."""
    line = [sys.executable, "-c", code, *map(str, arguments)]
    here = str(Path(__file__).parent)
    paths = os.pathsep.join([here, os.environ.get("PYTHONPATH", "")])
    return subprocess.run(
        line, capture_output=True, text=True, check=False, env={**os.environ, "PYTHONPATH": paths}
    )
