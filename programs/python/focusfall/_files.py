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
from ._tool import Array, Path, Tool, Value, check_threads, path_text, tool_of

_log = logging.getLogger("focusfall")

Option = Union[str, float, bool, Sequence[Any], None]
Pixel = tuple[int, int]
_Function = TypeVar("_Function", bound=Callable[..., Any])

_READ = _focusfall.read_keywords()
_WRITE = _focusfall.write_keywords()


def _with_options(*tables: dict[str, str]) -> Callable[[_Function], _Function]:
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


def _split(options: dict[str, Option]) -> tuple[dict[str, Option], dict[str, Option]]:
    """The options of reading, and those of writing. What both know counts for both."""
    read = {name: value for name, value in options.items() if name in _READ}
    write = {name: value for name, value in options.items() if name in _WRITE}
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


@dataclass(frozen=True)
class FrameReport:
    """What became of a frame: "done", "failed", "skipped" (it was there, as it would be
    now) or "missing" (its files were not there). `error` says why it is not done;
    `largest_blur` is in pixels."""

    frame: int
    output: str
    outcome: str
    error: str
    read_seconds: float
    render_seconds: float
    write_seconds: float
    largest_blur: float


class ShotError(Error):
    """Frames of a shot failed; the others are written. `reports` is about all frames."""

    reports: list[FrameReport]


def tools(plugins: Sequence[Path] = ()) -> dict[str, str]:
    """The classes of tools, by identifier, each with its short name and description."""
    files = [path_text("plugins", file) for file in plugins]
    return {id: f"{short}: {about}" for id, short, about in _focusfall.tools(files)}


def presets() -> dict[str, dict[str, Any]]:
    """The installed presets by name: their settings, and a "comment"."""
    return _focusfall.presets()


def _native(tool: Tool | str | None) -> _focusfall.Tool:
    return tool._tool if isinstance(tool, Tool) else Tool(tool or "", threads=0)._tool


@_with_options(_READ)
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
        _log.warning(note)
    return Frame(
        found["color"], found["depth"], Window(*found["area"]), Window(*found["display"])
    )


@_with_options(_READ, _WRITE)
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
    reading, writing = _split(options)
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


def _focus_text(focus_at: str | Pixel | Mapping[int, Pixel] | None) -> str:
    if focus_at is None or isinstance(focus_at, str):
        return focus_at or ""
    if isinstance(focus_at, Mapping):
        points = sorted(focus_at.items())
        return ",".join(f"{frame}:{_point_text(point)}" for frame, point in points)
    return _point_text(focus_at)


@_with_options(_READ)
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
        "focus_at": _focus_text(focus_at),
        "lens_from_header": lens_from_header,
        "has_settings": tool is not None or lens_from_header,
    }
    if depth_map is not None:
        given["depth_map"] = path_text("depth_map", depth_map)
    return _focusfall.inspect(used._tool, given)


def _shot_tool(
    tool: Tool | str | None, threads: int, given: Mapping[str, Any]
) -> Tool:
    """A tool that the render of a shot may change."""
    check_threads(threads)
    if "from_record" not in given:
        return tool.copy() if isinstance(tool, Tool) else Tool(tool or "", threads=threads)
    if isinstance(tool, Tool):
        raise Error(
            "tool: the record has settings of its own; give the name of a class, and what is"
            " to differ as settings or values"
        )
    return tool_of(_focusfall.recorded_tool(tool or "", threads, dict(given)))


@_with_options(_READ, _WRITE)
def render_shot(
    input: Path | None = None,
    output: Path | None = None,
    *,
    from_record: Path | None = None,
    tool: Tool | str | None = None,
    settings: Path | Sequence[Path] = (),
    values: Mapping[str, Value] | None = None,
    frames: str | Iterable[int] | None = None,
    depth_map: Path | None = None,
    blur_image: Path | None = None,
    background: Path | None = None,
    preview: Path | None = None,
    view: str | None = None,
    focus_at: str | Pixel | Mapping[int, Pixel] | None = None,
    lens_from_header: bool = False,
    missing: str = "error",
    skip_existing: bool = False,
    log: Path | None = None,
    memory_limit: int | None = None,
    threads: int = 0,
    progress: Callable[[float], object] | None = None,
    cancel: Callable[[], object] | None = None,
    on_frame: Callable[[FrameReport], object] | None = None,
    **options: Option,
) -> list[FrameReport]:
    """Renders files as `focusfall render` does: whole files or none, each with the record
    of how it was made, within the memory that there is.

    input, output, depth_map, blur_image, background, preview: files; with `frames` their
        names hold a place for the number, as "in.####.exr".
    from_record: a picture that is to be made again by the record that it carries; what
        else is given counts instead of the record. Without `output` it is replaced.
    tool: a tool, which stays as it is, or the name of a class.
    settings, values: what the tool gets besides for this shot, in this order.
    frames: "1-48", "1-96x2", "all", or whole numbers; without, one picture at time 0.
    view: what the preview shows instead of the blur: "depth", "focus" or "diameter".
    focus_at: a pixel (x, y) that is to be sharp, or pixels by frame.
    lens_from_header: takes the lens from the pictures' headers; `values` win over it.
    missing: "error", "skip" or "nearest", for frames without files.
    skip_existing: leaves out frames whose files are there, made from the same files with
        the same settings.
    log: gets a line of JSON for each frame.
    memory_limit: bytes; without, what is free, less a margin. Frames that would take more
        are refused before they are read.
    threads: how many render, unless `tool` has threads of its own; 0: as many as there are
        processors.
    progress: called with the part of the shot that is done, 0 to 1.
    cancel: asked some hundred times a second; a true answer ends the shot with
        `Cancelled`. Frames that are written stay.
    on_frame: called with the report of each frame as it ends.

    Returns a report for each frame. Throws Error for a picture that fails and for a shot
    that cannot begin; ShotError after a shot of which frames failed. Ctrl-C ends the shot
    once the file that is being read or written is done with.
    """
    if from_record is None and (input is None or output is None):
        raise Error("render_shot: takes input and output, or from_record")
    if from_record is not None and frames is not None:
        raise Error("frames: a record is that of one picture; leave out frames")
    if focus_at is not None and "FocusPosition" in (values or ()):
        raise Error("focus_at: the focus is set by values too; leave out one")
    reading, writing = _split(options)
    given: dict[str, Any] = {
        "read": reading,
        "write": writing,
        "frames": frames if frames is None or isinstance(frames, str) else list(frames),
        "focus_at": _focus_text(focus_at),
        "lens_from_header": lens_from_header,
        "values": list(values or ()),
        "missing": missing,
        "skip_existing": skip_existing,
    }
    files = {
        "input": input,
        "output": output,
        "from_record": from_record,
        "depth_map": depth_map,
        "blur_image": blur_image,
        "background": background,
        "preview": preview,
        "log": log,
    }
    given.update({n: path_text(n, f) for n, f in files.items() if f is not None})
    given.update({n: v for n, v in {"view": view, "memory_limit": memory_limit}.items()
                  if v is not None})

    used = _shot_tool(tool, threads, given)
    for one in [settings] if isinstance(settings, (str, os.PathLike)) else settings:
        used.load(one)
    if lens_from_header:
        used["SettingsType"] = "Advanced"
    used.update(values)
    if frames is None and any(control.keys for control in used.controls.values()):
        _log.warning(
            "controls have keys, and without frames only frame 0 is rendered; give frames"
        )
    return _rendered(used, given, progress, cancel, on_frame)


def _rendered(
    tool: Tool,
    given: dict[str, Any],
    progress: Callable[[float], object] | None,
    cancel: Callable[[], object] | None,
    on_frame: Callable[[FrameReport], object] | None,
) -> list[FrameReport]:
    reports: list[FrameReport] = []

    def tell(kind: str, what: Any) -> None:
        if kind == "note":
            _log.warning(what)
        elif kind == "frame":
            reports.append(FrameReport(**what))
            if on_frame:
                on_frame(reports[-1])
        elif progress:
            progress(what)

    failed = _focusfall.render_shot(tool._tool, given, tell, cancel)
    if failed:
        numbers = ", ".join(str(frame) for frame in failed)
        first = next(r.error for r in reports if r.outcome == "failed")
        error = ShotError(f"{len(failed)} of {len(reports)} frames failed: {numbers}; {first}")
        error.reports = reports
        raise error
    return reports
