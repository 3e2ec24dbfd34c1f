#!/usr/bin/env -S /usr/bin/python3
"""Draws how the time of a frame grows with the blur and with the pixels.

    growth_plot.py PAGE.md PLOT.svg     from the tables that `./dev bench` wrote into the page
"""
import re
import sys

import matplotlib
matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402

# the same file each time
matplotlib.rcParams.update({"svg.hashsalt": "growth", "svg.fonttype": "none", "font.size": 9})


def rows(page: str, part: str) -> list[list[str]]:
    """The cells of a table of the page, without its head."""
    table = page.split(f"<!-- {part} -->")[1].split(f"<!-- end of {part} -->")[0]
    lines = [line for line in table.splitlines() if line.startswith("|")]
    return [[cell.strip() for cell in line.strip("|").split("|")] for line in lines[2:]]


def number(cell: str) -> float:
    return float(re.match(r"[\d.]+", cell).group())


def draw_blur(axes, table: list[list[str]]) -> None:
    lines: dict[str, list[tuple[float, float]]] = {}
    for tool, style, blur, threads, stage, *_ in table:
        if (threads == "1") == (tool == "plain") and (tool == "fast" or style == "Disk"):
            lines.setdefault(f"{tool}, {style}", []).append((number(blur), number(stage)))
    marks = {"fast": "o-", "layered": "s--", "plain": "^:"}
    for name, points in lines.items():
        axes.plot(*zip(*sorted(points)), marks[name.split(",")[0]], ms=3, lw=1, label=name)
    axes.set(xscale="log", yscale="log", xlabel="largest blur, pixels", ylabel="blur stage, ms",
             title="1920 x 1080")
    axes.legend(fontsize=7)


def draw_pixels(axes, table: list[list[str]]) -> None:
    sizes = [re.match(r"(\d+) x (\d+), blur up to 1 %", row[0]) for row in table]
    points = [(int(size[1]) * int(size[2]) / 1e6, number(row[1]), number(row[2]))
              for size, row in zip(sizes, table) if size]
    pixels, copy, render = zip(*sorted(points))
    axes.plot(pixels, render, "o-", ms=3, lw=1, label="focusfall render, blur up to 1 %")
    axes.plot(pixels, copy, "^:", ms=3, lw=1, label="oiiotool's copy of the file")
    axes.set(xscale="log", yscale="log", xlabel="million pixels", ylabel="whole run, s",
             title="files read and written")
    axes.set_xticks(pixels, [f"{size:.1f}" for size in pixels], minor=False)
    axes.set_xticks([], minor=True)
    axes.legend(fontsize=7)


def main(page: str, plot: str) -> None:
    with open(page, encoding="utf-8") as file:
        text = file.read()
    figure, (left, right) = plt.subplots(1, 2, figsize=(9, 3.6), layout="tight")
    draw_blur(left, rows(text, "frames"))
    draw_pixels(right, rows(text, "runs"))
    figure.savefig(plot, metadata={"Date": None})


if __name__ == "__main__":
    main(*sys.argv[1:])
