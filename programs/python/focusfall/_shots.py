"""Renders of picture files and shots."""

from __future__ import annotations

import os
from collections.abc import Callable, Iterable, Mapping, Sequence
from dataclasses import dataclass
from typing import Any

from . import _focusfall
from ._files import READ, WRITE, Option, Pixel, focus_text, logger, split_options, with_options
from ._focusfall import Error
from ._tool import Path, Tool, Value, check_threads, path_text, tool_of


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


@with_options(READ, WRITE)
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
    reading, writing = split_options(options)
    given: dict[str, Any] = {
        "read": reading,
        "write": writing,
        "frames": frames if frames is None or isinstance(frames, str) else list(frames),
        "focus_at": focus_text(focus_at),
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
        logger.warning(
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
            logger.warning(what)
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
