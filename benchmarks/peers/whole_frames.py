#!/usr/bin/env -S /usr/bin/python3
"""What whole runs of the command take, beside copies of the same files by oiiotool.

    whole_frames.py FOCUSFALL SCENE.exr FOLDER     prints a Markdown table

The scene is enlarged to each size, with colours in half, depth in float and zip compression. The
two programs take turns; times are medians, memory is the largest of a run.
"""
import os
import statistics
import subprocess
import sys
import time

SHOT = 24
# height, largest blur in percent of the width, turns
PICTURES = [(1080, 1, 9), (2160, 1, 5), (4320, 1, 3), (4320, 5, 3)]


def run(words: list[str]) -> tuple[float, float]:
    """Seconds, and megabytes at most."""
    start = time.perf_counter()
    program = subprocess.Popen(words, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(program.pid, 0)
    seconds = time.perf_counter() - start
    program.returncode = os.waitstatus_to_exitcode(status)
    if program.returncode != 0:
        sys.exit(f"whole_frames: failed: {' '.join(words)}")
    return seconds, usage.ru_maxrss / 1024


def all_of(lines: list[list[str]]) -> tuple[float, float]:
    """The same of lines one after another."""
    runs = [run(line) for line in lines]
    return sum(seconds for seconds, _ in runs), max(memory for _, memory in runs)


def print_row(name: str, copy: list[list[str]], render: list[list[str]], turns: int) -> None:
    runs = [(all_of(copy), all_of(render)) for _ in range(turns)]
    (copied, copy_memory), (rendered, memory) = (
        [statistics.median(value) for value in zip(*side)] for side in zip(*runs))
    print(f"| {name} | {copied:.2f} s | {rendered:.2f} s | {rendered / copied:.2f} "
          f"| {copy_memory:.0f} MB | {memory:.0f} MB |", flush=True)


def main(focusfall: str, scene: str, folder: str) -> None:
    def picture(height: int) -> str:
        return f"{folder}/{height}.exr"

    def copied(name: str) -> list[str]:
        return ["oiiotool", name, "-o", f"{folder}/copy.exr"]

    def rendered(name: str, blur: float, *more: str) -> list[str]:
        output = f"{folder}/out{'.####' if more else ''}.exr"
        return [focusfall, "render", name, "-o", output, "--quiet", "--set",
                f"MaxBlurSize={blur}", "--set", "FocusPosition=640", *more]

    for height, *_ in PICTURES:
        subprocess.run(["oiiotool", scene, "--resize", f"{height * 16 // 9}x{height}", "-d", "half",
                        "-d", "Z=float", "--compression", "zip", "-o", picture(height)], check=True)
    print("| run | oiiotool's copy | focusfall | to the copy | memory of the copy | memory |\n"
          "|---|--:|--:|--:|--:|--:|")
    print_row("start: `--version`", [["oiiotool", "--version"]], [[focusfall, "--version"]], 9)
    for height, blur, turns in PICTURES:
        name = picture(height)
        print_row(f"{height * 16 // 9} x {height}, blur up to {blur} %", [copied(name)],
                  [rendered(name, blur)], turns)
    for frame in range(1, SHOT + 1):
        link = f"{folder}/shot.{frame:04}.exr"
        if not os.path.lexists(link):
            os.symlink(os.path.basename(picture(1080)), link)
    shot = rendered(f"{folder}/shot.####.exr", 1, "--frames", f"1-{SHOT}")
    print_row(f"a shot of {SHOT} frames, 1920 x 1080", [copied(picture(1080))] * SHOT, [shot], 3)


if __name__ == "__main__":
    main(*sys.argv[1:])
