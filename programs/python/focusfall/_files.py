"""Pictures and shots in files."""

from __future__ import annotations

import inspect as _inspect
import logging
import os
from collections.abc import Callable, Iterable, Mapping, Sequence
from dataclasses import dataclass
from typing import Any, NamedTuple, TypeVar, Union

from . import _focusfall
from ._focusfall import Error
from ._tool import Array, Path, Tool, path_text

logger = logging.getLogger("focusfall")

Option = Union[str, float, bool, Sequence[Any], None]
Pixel = tuple[int, int]
_Function = TypeVar("_Function", bound=Callable[..., Any])

READ = _focusfall.read_keywords()
WRITE = _focusfall.write_keywords()


def with_options(*tables: dict[str, str]) -> Callable[[_Function], _Function]:
    """Shows the options of the command in a function's signature and help."""
    names = {name: takes for table in tables for name, takes in table.items()}

    def wrap(function: _Function) -> _Function:
        signature = _inspect.signature(function)
        parameters = [p for p in signature.parameters.values() if p.kind != p.VAR_KEYWORD]
        for name, takes in names.items():
            parameters.append(
                _inspect.Parameter(
                    name,
                    _inspect.Parameter.KEYWORD_ONLY,
                    default=None,
                    annotation=f"{takes} | None",
                )
            )
        setattr(function, "__signature__", signature.replace(parameters=parameters))
        lines = "".join(f"    {name}: {takes}\n" for name, takes in names.items())
        function.__doc__ = (
            f"{function.__doc__}\n    Options, each as `focusfall render --help` tells of"
            f" --OPTION:\n{lines}    "
        )
        return function

    return wrap


def split_options(options: dict[str, Option]) -> tuple[dict[str, Option], dict[str, Option]]:
    """The options of reading, and those of writing. What both know counts for both."""
    read = {name: value for name, value in options.items() if name in READ}
    write = {name: value for name, value in options.items() if name in WRITE}
    unknown = {n: v for n, v in options.items() if n not in read and n not in write}
    return {**read, **unknown}, write


class Window(NamedTuple):
    """A rectangle of pixels in a file, from its left and top one on."""

    x: int
    y: int
    width: int
    height: int


@dataclass(frozen=True)
class Frame:
    """A picture as a tool takes it.

    color: float32, height x width x 4, red, green, blue and alpha: light, multiplied by
        alpha.
    depth: float32, height x width; None where the file has none.
    area: what the arrays show, in pixels of the file: all data and the display window.
    display: the part of it that is shown.
    """

    color: Array
    depth: Array | None
    area: Window
    display: Window


def tools(plugins: Sequence[Path] = ()) -> dict[str, str]:
    """The classes of tools, by identifier, each with its short name and description."""
    files = [path_text("plugins", file) for file in plugins]
    return {id: f"{short}: {about}" for id, short, about in _focusfall.tools(files)}


def presets() -> dict[str, dict[str, Any]]:
    """The installed presets by name: their settings, and a "comment"."""
    return _focusfall.presets()


def _native(tool: Tool | str | None) -> _focusfall.Tool:
    return tool._tool if isinstance(tool, Tool) else Tool(tool or "", threads=0)._tool


@with_options(READ)
def read(
    path: Path,
    *,
    depth_map: Path | None = None,
    tool: Tool | str | None = None,
    time: float = 0,
    **options: Option,
) -> Frame:
    """Reads a picture as a render of the command would.

    path: the picture; every format that the command reads.
    depth_map: another picture, with the depth.
    tool: whose controls tell how depth is read ("BlurChannel", "DepthMapUnits" and the
        like) at `time`; without one a new tool.

    Depth is what `Tool.render` takes: options such as `depth_as` have been applied. Throws
    Error that names the file, also when there is no memory for it.
    """
    given: dict[str, Any] = {"input": path_text("path", path), "read": options}
    if depth_map is not None:
        given["depth_map"] = path_text("depth_map", depth_map)
    found = _focusfall.read(_native(tool), given, time)
    for note in found["notes"]:
        logger.warning(note)
    return Frame(
        found["color"], found["depth"], Window(*found["area"]), Window(*found["display"])
    )


@with_options(READ, WRITE)
def write(
    path: Path,
    picture: Array,
    depth: Array | None = None,
    *,
    like: Path | None = None,
    **options: Option,
) -> None:
    """Writes a picture, whole or not at all, in the format that its name ends in.

    picture: float32, height x width x 3, 4 or more, as for `Tool.render`.
    depth: float32, height x width; counts before a fifth channel. Formats with named
        channels get it as Z.
    like: a file whose channels, header and windows the picture gets, but for colour and
        depth; the options of reading say which those are. Its area must be as large.

    Throws Error that names the file; an older file is untouched then.
    """
    reading, writing = split_options(options)
    given: dict[str, Any] = {
        "output": path_text("path", path),
        "read": reading,
        "write": writing,
    }
    if like is not None:
        given["like"] = path_text("like", like)
    _focusfall.write(_native(None), given, picture, depth)


def _point_text(point: Pixel) -> str:
    try:
        x, y = point
        return f"{int(x)},{int(y)}"
    except (TypeError, ValueError):
        raise Error(f"focus_at: {point!r} is no pixel; give (x, y)") from None


def focus_text(focus_at: str | Pixel | Mapping[int, Pixel] | None) -> str:
    if focus_at is None or isinstance(focus_at, str):
        return focus_at or ""
    if isinstance(focus_at, Mapping):
        points = sorted(focus_at.items())
        return ",".join(f"{frame}:{_point_text(point)}" for frame, point in points)
    return _point_text(focus_at)


@with_options(READ)
def inspect(
    path: Path,
    *,
    depth_map: Path | None = None,
    at: Iterable[Pixel] = (),
    focus_at: Pixel | None = None,
    lens_from_header: bool = False,
    tool: Tool | None = None,
    **options: Option,
) -> dict[str, Any]:
    """Tells what is in a picture, and what its depth seems to be: what the command's
    `focusfall inspect --json` prints, as a dictionary.

    at: pixels (x, y) to look at, from (0, 0) at the top left of the display window.
    focus_at: a pixel that is to be sharp; "focus" tells the value that makes it so.
    lens_from_header: takes the lens from the picture's header; "lens" tells what it says.
    tool: whose settings make distances (millimetres) and blur diameters (pixels) of the
        depth; stays as it is.
    """
    used = tool.copy() if tool else Tool()
    if lens_from_header:
        used["SettingsType"] = "Advanced"
    given: dict[str, Any] = {
        "input": path_text("path", path),
        "read": options,
        "at": [list(pixel) for pixel in at],
        "focus_at": focus_text(focus_at),
        "lens_from_header": lens_from_header,
        "has_settings": tool is not None or lens_from_header,
    }
    if depth_map is not None:
        given["depth_map"] = path_text("depth_map", depth_map)
    return _focusfall.inspect(used._tool, given)
