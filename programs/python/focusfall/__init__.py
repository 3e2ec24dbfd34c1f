"""Depth of field for pictures: blurs by depth, as a camera lens does.

    import focusfall

    tool = focusfall.Tool()
    tool.FocusPosition = 640
    picture = focusfall.read("in.exr")
    blurred = tool.render(picture.color, picture.depth)
    focusfall.write("out.exr", blurred, picture.depth)

Arrays are float32 of numpy, height x width x channels, with the top row first. Channels
are red, green, blue, alpha and depth: light (linear), multiplied by alpha. What goes wrong
is an `Error`, in the words of the command `focusfall`; notes, which the command prints, go
to the logger "focusfall" of the module `logging`.
"""

from ._files import (
    Frame,
    Window,
    inspect,
    presets,
    read,
    tools,
    write,
)
from ._focusfall import Cancelled, Error, version as __version__
from ._shots import FrameReport, ShotError, render_shot
from ._tool import Array, Control, Tool, Value

__all__ = [
    "Array",
    "Cancelled",
    "Control",
    "Error",
    "Frame",
    "FrameReport",
    "ShotError",
    "Tool",
    "Value",
    "Window",
    "__version__",
    "inspect",
    "presets",
    "read",
    "render_shot",
    "tools",
    "write",
]
