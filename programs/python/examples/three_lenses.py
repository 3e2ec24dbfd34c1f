"""Plots the blur's diameter over depth for three lenses that focus at the same distance.

    three_lenses.py PICTURE
"""

import importlib
import sys

import numpy as np

import focusfall

# not every version of it has types
plt = importlib.import_module("matplotlib.pyplot")

WIDTH = 960
LENSES = {"35 mm, f/2": (35, 2), "50 mm, f/2": (50, 2), "85 mm, f/4": (85, 4)}


def diameters(depths: focusfall.Array, focal_length: float, f_stop: float) -> list[float]:
    """The blur's diameter in pixels for each depth in millimetres.

    A light in the middle of a dark picture becomes a disc: its area tells the diameter.
    """
    tool = focusfall.Tool(settings="full-frame")
    tool.update(FocalLength=focal_length, FStop=f_stop, FocusPosition=3000)
    height = WIDTH // 8
    picture = np.zeros((height, WIDTH, 4), np.float32)
    picture[..., 3] = 1
    picture[height // 2, WIDTH // 2, :3] = 1
    found = []
    for depth in depths:
        plane = np.full((height, WIDTH), depth, np.float32)
        disc = tool.render(picture, plane, Normalize=False)[..., 0]
        # of one weight inside; at its rim there is less
        area = disc.sum() / max(disc.max(), 1e-9)
        found.append(2 * float(np.sqrt(area / np.pi)))
    return found


def main(file: str) -> None:
    depths = np.geomspace(1500, 30000, 24).astype(np.float32)
    figure, axes = plt.subplots(figsize=(7, 3.6))
    for name, (focal_length, f_stop) in LENSES.items():
        axes.plot(depths / 1000, diameters(depths, focal_length, f_stop), label=name)
    axes.set_xscale("log")
    axes.set_xticks([1.5, 3, 6, 15, 30], ["1.5", "3", "6", "15", "30"])
    axes.set_xlabel("distance in metres; 3 m is sharp")
    axes.set_ylabel(f"blur in pixels of {WIDTH}")
    axes.legend()
    figure.savefig(file, bbox_inches="tight", dpi=100)


if __name__ == "__main__":
    main(sys.argv[1])
