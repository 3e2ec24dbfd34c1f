"""Tools and their controls."""

from __future__ import annotations

import math
import os
from collections.abc import Callable, Iterator, Mapping, Sequence
from typing import Any, Union

import numpy as np
import numpy.typing as npt

from . import _focusfall
from ._focusfall import Error

Array = npt.NDArray[np.float32]
Path = Union[str, "os.PathLike[str]"]
Value = Union[float, str, bool]
Keys = Mapping[float, Value]


class _NoControl(Error, AttributeError):
    """A name that is no control's: both an Error and what `hasattr` expects."""


def path_text(name: str, path: Path) -> str:
    """The text of a file's name. Throws Error that begins with `name` for anything else,
    such as an open file."""
    try:
        text = os.fspath(path)
    except TypeError:
        what = type(path).__name__
        raise Error(f"{name}: takes the name of a file, not a {what}") from None
    if not isinstance(text, str):
        text = os.fsdecode(text)
    if "\0" in text:
        raise Error(f"{name}: {text!r} is no name of a file")
    return text


def check_threads(threads: int) -> None:
    if not 0 <= threads <= 1024:
        raise Error(f"threads: {threads} is no number from 0 to 1024")


class Control:
    """A control of a tool, as `tool["FStop"]` gives it.

    What it tells is that of the moment when it is asked: an edit of another control shows
    at once.
    """

    def __init__(self, tool: Tool, id: str) -> None:
        self._tool = tool
        self._id = id

    def _about(self, name: str) -> Any:
        return self._tool._about(self._id).get(name)

    @property
    def id(self) -> str:
        """The name that programs use, as in `tool["FStop"]`."""
        return self._id

    @property
    def name(self) -> str:
        """The name that people read."""
        return str(self._about("name"))

    @property
    def page(self) -> str:
        """The page on which a host shows it."""
        return str(self._about("page"))

    @property
    def kind(self) -> str:
        """"slider", "checkbox", "button list", "colour", "text" or "image"."""
        return str(self._about("kind"))

    @property
    def range(self) -> tuple[float | None, float | None]:
        """The lowest and the highest value; None where there is no bound."""
        return self._about("lowest"), self._about("highest")

    @property
    def items(self) -> tuple[str, ...]:
        """The values of a button list."""
        return tuple(self._about("items") or ())

    @property
    def default(self) -> Value | None:
        """The value of a new tool; None for an image connection."""
        default: Value | None = self._about("default")
        return default

    @property
    def help(self) -> str:
        """What it does, and its unit; may be empty."""
        return str(self._about("help"))

    @property
    def visible(self) -> bool:
        """Whether it has an effect with the present values of the others."""
        return bool(self._about("visible"))

    @property
    def value(self) -> Value:
        """The value, at time 0 where there are keys. Setting it removes the keys."""
        return self._tool._tool.value(self._id)

    @value.setter
    def value(self, value: Value) -> None:
        self._tool._tool.edit(self._id, value)

    @property
    def keys(self) -> dict[float, Value]:
        """The values by time in frames; empty where the value is constant.

        Setting it replaces all that the control holds. Between keys, values run straight,
        or along a curve after `set_keys(..., smooth=True)`; items and checkboxes step.
        """
        held = self._tool._tool.held(self._id)
        if not isinstance(held, list):
            return {}  # without a last "smooth"
        return {key[0]: key[1] for key in held if isinstance(key, list)}

    @keys.setter
    def keys(self, keys: Keys) -> None:
        self.set_keys(keys)

    def set_keys(self, keys: Keys, smooth: bool = False) -> None:
        """Replaces all that the control holds by keys: values by time in frames."""
        if not isinstance(keys, Mapping) or not keys:
            raise Error(f"{self._id}: keys are a dictionary of values by time, {{1: 640}}")
        for time in keys:
            if not isinstance(time, (int, float, np.number)) or not math.isfinite(time):
                raise Error(f"{self._id}: {time!r} is no time of a key, in frames")
        held: list[Any] = [[time, keys[time]] for time in sorted(keys)]
        self._tool._tool.edit(self._id, held + ["smooth"] if smooth else held)

    def __repr__(self) -> str:
        if self.kind == "image":
            return f"<focusfall.Control {self._id}: image>"
        return f"<focusfall.Control {self._id} = {self._tool._tool.held(self._id)!r}>"


class Tool:
    """A tool that blurs pictures by their depth, with its own settings.

    Controls are attributes and items by their identifiers:

        tool.FStop = 2.8                         # a value, for all times
        tool["FocusPosition"].keys = {1: 400, 36: 640}
        tool["BlurStyle"].items                  # what there is to choose

    An edit is checked: a value out of range, or of another type, is an Error and changes
    nothing. Others follow where they depend on it, as the aperture on the f-stop, and show
    it at once.

    Tools are independent of each other: each may be used on a thread of its own. Renders
    of one tool wait for each other; edits meanwhile count from the next frame on.
    """

    _tool: _focusfall.Tool

    def __init__(
        self,
        id: str = "",
        *,
        settings: Path | Sequence[Path] = (),
        threads: int = 0,
        plugins: Sequence[Path] = (),
    ) -> None:
        """Makes a tool.

        id: identifier or short name of its class, as `tools()` lists them ("plain",
            "fast", "layered"); without one the fast tool.
        settings: settings files, and presets by their name, in the order given.
        threads: how many render; 0: as many as there are processors.
        plugins: libraries to load instead of the installed ones.
        """
        files = [path_text("plugins", file) for file in plugins]
        check_threads(threads)
        self.__dict__["_tool"] = _focusfall.Tool(id, files, threads)
        for one in [settings] if isinstance(settings, (str, os.PathLike)) else settings:
            self.load(one)

    def copy(self) -> Tool:
        """Another tool with the same settings, which may go its own way."""
        return tool_of(self._tool.copy())

    @property
    def id(self) -> str:
        """The identifier of its class."""
        return self._tool.id

    @property
    def controls(self) -> dict[str, Control]:
        """All controls and image connections by identifier, in the order of the pages."""
        return {about["id"]: Control(self, about["id"]) for about in self._tool.controls()}

    def _about(self, id: str) -> dict[str, Any]:
        for about in self._tool.controls():
            if about["id"] == id:
                return about
        raise Error(f'there is no control "{id}"')

    def __getitem__(self, id: str) -> Control:
        self._tool.held(id)  # throws where there is none
        return Control(self, id)

    def __setitem__(self, id: str, value: Value) -> None:
        self._tool.edit(id, value)

    def __iter__(self) -> Iterator[str]:
        return iter(self.controls)

    def __contains__(self, id: object) -> bool:
        return id in self.controls

    def __len__(self) -> int:
        return len(self.controls)

    def __getattr__(self, id: str) -> Value:
        if id.startswith("_"):
            raise AttributeError(id)
        try:
            return self._tool.value(id)
        except Error as error:
            raise _NoControl(*error.args) from None

    def __setattr__(self, id: str, value: Value) -> None:
        self._tool.edit(id, value)

    def __dir__(self) -> list[str]:
        return [*super().__dir__(), *self.controls]

    def update(self, values: Mapping[str, Value] | None = None, **more: Value) -> list[str]:
        """Sets several controls, in the order given. Returns the identifiers of all whose
        value or visibility changed by that."""
        changed: dict[str, None] = {}
        for id, value in {**(values or {}), **more}.items():
            changed.update(dict.fromkeys(self._tool.edit(id, value)))
        return list(changed)

    def load(self, settings: Path) -> list[str]:
        """Takes the values of a settings file, or of a preset by its name. Returns the
        identifiers of all controls that changed. Throws Error that names file and line."""
        return self._tool.load(path_text("settings", settings))

    def save(self, file: Path) -> None:
        """Writes all values to a settings file, whole or not at all."""
        self._tool.save(path_text("file", file))

    def memory(self, height: int, width: int, time: float = 0) -> int:
        """Bytes that the render of a picture of that size takes at most besides the
        caller's arrays, by the forecast that the command goes by: five floats a pixel go
        in, five come out, and the tool's own."""
        return self._tool.memory(height, width, time)

    def render(
        self,
        picture: Array,
        depth: Array | None = None,
        time: float = 0,
        *,
        progress: Callable[[float], object] | None = None,
        cancel: Callable[[], object] | None = None,
        **values: Value | Array,
    ) -> Array:
        """Blurs one picture; the arrays that come in stay as they are.

        picture: float32, height x width x 3, 4 or more: red, green, blue, alpha, depth and
            what else; light, multiplied by alpha. Without alpha all is opaque. Views and
            any strides are taken.
        depth: float32, height x width, in the unit of "FocusPosition"; counts before a
            fifth channel.
        time: in frames; controls with keys have their value of that time.
        progress: called with the part that is done, 0 to 1, on this thread.
        cancel: asked some hundred times a second, on this thread; a true answer ends the
            render with `Cancelled`.
        values: of controls, for this frame alone; nothing follows them. Those of image
            connections, as "BlurImage" or "Background", are arrays like the picture.

        Returns a float32 array of the picture's shape. It is a view of the memory that the
        tool rendered to; `.copy()` packs it.

        Other threads of Python run meanwhile. Ctrl-C ends the render.
        """
        return self._tool.render(picture, depth, time, values, progress, cancel)

    def __repr__(self) -> str:
        return f"<focusfall.Tool {self.id}>"


def tool_of(native: _focusfall.Tool) -> Tool:
    """A tool that the library below has made."""
    tool = Tool.__new__(Tool)
    tool.__dict__["_tool"] = native
    return tool
