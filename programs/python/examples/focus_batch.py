"""Renders a picture with its focus at several pixels, and a contact sheet of the results.

    focus_batch.py PICTURE FOLDER X,Y [X,Y ...]

Pictures that are there, and still as they would be now, are left alone.
"""

import sys
from pathlib import Path

import numpy as np

import focusfall


def blurred(picture: Path, output: Path, pixel: tuple[int, int]) -> focusfall.Array:
    """The colours of the picture with that pixel sharp, height x width x 4, rendered into
    `output` unless it is there."""
    reports = focusfall.render_shot(
        picture,
        output,
        values={"MaxBlurSize": 3},
        focus_at=pixel,
        skip_existing=True,
        compression="zip",
    )
    print(f"{output}: {reports[0].outcome}")
    return focusfall.read(output).color


def main(picture: Path, folder: Path, pixels: list[tuple[int, int]]) -> None:
    folder.mkdir(exist_ok=True)
    row = []
    for x, y in pixels:
        color = blurred(picture, folder / f"focus_{x}_{y}.exr", (x, y))
        # means of four pixels: a sheet is for looking
        small = color[: len(color) // 2 * 2, : color.shape[1] // 2 * 2]
        row.append((small[::2, ::2] + small[1::2, ::2] + small[::2, 1::2] + small[1::2, 1::2]) / 4)
    focusfall.write(folder / "sheet.png", np.hstack(row))


if __name__ == "__main__":
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    places = [(int(x), int(y)) for x, y in (text.split(",") for text in sys.argv[3:])]
    try:
        main(Path(sys.argv[1]), Path(sys.argv[2]), places)
    except focusfall.Error as error:
        sys.exit(str(error))
