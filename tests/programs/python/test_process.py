"""What renders do to the process: memory, threads, and Ctrl-C."""

import threading

import numpy as np
import pytest
from conftest import made_scene, run_python

import focusfall

PEAK = """
import numpy as np, focusfall
def peak():
    for line in open("/proc/self/status"):
        if line.startswith("VmHWM"): return int(line.split()[1]) * 1024
"""

MEMORY = PEAK + """
height, width = 2160, 3840
picture = np.ones((height, width, 4), np.float32)
depth = np.full((height, width), 5, np.float32)
tool = focusfall.Tool(threads=2)
small = tool.render(picture[:8, :8], depth[:8, :8])
before = peak()
result = tool.render(picture, depth)
assert result[7, 7, 0] == 1
taken, forecast = peak() - before, tool.memory(height, width)
# the images of five floats a pixel are the least; the copy of one more would be too much
assert height * width * 40 < taken < forecast + height * width * 8, (taken, forecast)
"""


def test_a_picture_of_4k_is_copied_once():
    done = run_python(MEMORY)
    assert done.returncode == 0, done.stderr


CANCEL = PEAK + """
side = 10000  # one pixel, as often as it takes to copy for long
picture = np.broadcast_to(np.ones((1, 1, 4), np.float32), (side, side, 4))
depth = np.broadcast_to(np.float32(5), (side, side))
tool = focusfall.Tool(threads=2)
tool.render(picture[:8, :8], depth[:8, :8])
before = peak()
try:
    tool.render(picture, depth, cancel=lambda: True)
except focusfall.Cancelled:
    print((peak() - before) / (side * side * 20))
"""


def test_an_end_that_comes_while_an_array_is_copied_leaves_the_rest():
    done = run_python(CANCEL)
    assert done.stdout and float(done.stdout) < 0.5, done.stdout + done.stderr


LEAKS = """
import gc, sys, numpy as np, focusfall
from conftest import made_scene
def memory():
    for line in open("/proc/self/status"):
        if line.startswith("VmRSS"): return int(line.split()[1]) * 1024
picture, depth = made_scene(12, 16)
tool = focusfall.Tool(threads=2)
tool.update(MaxBlurSize=25, FocusPosition=300)
def work(times):
    for i in range(times):
        tool.render(picture, depth, progress=lambda part: None, FocusPosition=200 + i)
        try: tool.render(picture, depth[1:])
        except focusfall.Error: pass
    gc.collect()
work(200)
before, references = memory(), sys.getrefcount(picture)
work(1000)
assert sys.getrefcount(picture) == references
print(memory() - before)
"""


def test_a_thousand_renders_leak_nothing():
    done = run_python(LEAKS)
    assert done.returncode == 0, done.stderr
    # an image kept of each would be four megabytes
    assert int(done.stdout) < 1_000_000


def slow_tool() -> focusfall.Tool:
    """A tool that takes long enough for this thread to look."""
    tool = focusfall.Tool("plain", threads=1)
    tool.update(MaxBlurSize=25, FocusPosition=300)
    return tool


def test_two_tools_render_side_by_side():
    picture, depth = made_scene(120, 240)
    focuses = (200.0, 700.0)
    expected = [slow_tool().render(picture, depth, FocusPosition=f) for f in focuses]
    # each waits in the middle of its render for the other to be there too
    meeting = threading.Barrier(2, timeout=60)
    results: dict[float, focusfall.Array] = {}

    def render(focus: float) -> None:
        met = []

        def meet(part: float) -> None:
            if part < 1 and not met:
                met.append(meeting.wait())

        results[focus] = slow_tool().render(picture, depth, FocusPosition=focus, progress=meet)
        assert met

    threads = [threading.Thread(target=render, args=(focus,)) for focus in focuses]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for focus, one in zip(focuses, expected):
        assert np.array_equal(results[focus], one)


def test_renders_of_one_tool_take_turns():
    picture, depth = made_scene(60, 80)
    tool = slow_tool()
    expected = tool.render(picture, depth)
    results = []
    threads = [
        threading.Thread(target=lambda: results.append(tool.render(picture, depth)))
        for _ in range(4)
    ]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(results) == 4 and all(np.array_equal(r, expected) for r in results)


def test_callers_can_end_a_render_and_begin_another():
    picture, depth = made_scene(120, 240)
    tool = slow_tool()
    parts: list[float] = []
    with pytest.raises(focusfall.Cancelled):
        tool.render(picture, depth, progress=parts.append, cancel=lambda: len(parts) > 2)
    assert parts and max(parts) < 1

    def fail(part: float) -> None:
        raise KeyError(part)

    with pytest.raises(KeyError):
        tool.render(picture, depth, progress=fail)
    parts.clear()
    whole = tool.render(picture, depth, progress=parts.append)
    assert parts == sorted(parts) and parts[-1] == 1
    assert np.array_equal(whole, slow_tool().render(picture, depth))


INTERRUPT = """
import os, signal, sys, threading, numpy as np, focusfall
from conftest import made_scene
picture, depth = made_scene(540, 960)
tool = focusfall.Tool("plain", threads=2)
tool.update(MaxBlurSize=10, FocusPosition=300)  # takes seconds
threading.Timer(0.2, os.kill, (os.getpid(), signal.SIGINT)).start()
try:
    tool.render(picture, depth)
    sys.exit("was not interrupted")
except KeyboardInterrupt:
    pass
tool.MaxBlurSize = 2
assert tool.render(picture[:50, :50], depth[:50, :50]).shape == (50, 50, 4)
print("rendered again")
"""


def test_ctrl_c_ends_a_render():
    done = run_python(INTERRUPT)
    assert done.stdout == "rendered again\n", done.stderr
