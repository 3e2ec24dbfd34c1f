"""A tool's controls from Python."""

import json
import subprocess
import sys

import pytest
from conftest import run_command

import focusfall


def test_controls_tell_what_the_command_tells(tool):
    told = {c["id"]: c for c in json.loads(run_command("controls", "--json").stdout)}
    assert list(tool.controls) == list(tool) == list(told)
    for id, control in tool.controls.items():
        assert (control.id, control.name, control.kind) == (
            id,
            told[id]["name"],
            told[id]["kind"],
        )
        assert control.range == (told[id].get("lowest"), told[id].get("highest"))
        assert list(control.items) == told[id].get("items", [])
    style = tool["BlurStyle"]
    assert style.default == "Disk" and style.value == tool.BlurStyle == "Polygon"
    assert "kernel" in style.help or "shape" in style.help


def test_what_an_edit_changes_besides_shows_at_once(tool):
    assert not tool["FStop"].visible
    changed = tool.update(SettingsType="Advanced")
    assert "FStop" in changed and tool["FStop"].visible
    aperture = tool.ApertureDiameter
    tool.FStop = tool.FStop * 2
    assert tool.ApertureDiameter == pytest.approx(aperture / 2)
    tool["ApertureDiameter"] = aperture
    assert tool.FStop == pytest.approx(2)


def test_keys_replace_values_and_come_back(tool):
    focus = tool["FocusPosition"]
    focus.keys = {36: 640, 1: 400.5}
    assert focus.keys == {1: 400.5, 36: 640}
    focus.set_keys({1: 400, 20: 500, 36: 640}, smooth=True)
    assert focus.keys == {1: 400, 20: 500, 36: 640}
    focus.value = 7
    assert focus.keys == {} and tool.FocusPosition == 7
    for wrong in ({}, [1, 2], {"a": 1, 2: 3}, {1: float("nan")}, {float("nan"): 1}):
        with pytest.raises(focusfall.Error, match="FocusPosition"):
            focus.keys = wrong
    assert tool.FocusPosition == 7


def test_settings_are_saved_and_loaded_and_copied(tool, tmp_path):
    tool["FocusPosition"].keys = {1: 0.1, 36: 640}
    tool.update(SettingsType="Advanced", FStop=3.3)
    tool.save(tmp_path / "a.json")
    other = focusfall.Tool(settings=tmp_path / "a.json")
    for one in (other, tool.copy()):
        for id, control in tool.controls.items():
            assert repr(one[id]) == repr(control)
    other.FStop = 5
    assert tool.FStop == pytest.approx(3.3)
    for name in focusfall.presets():
        assert "FilmbackWidth" in other.load(name) or other.load(name) == []
    (tmp_path / "a.json").write_text('{"FStop": 0.1}')
    with pytest.raises(focusfall.Error, match="a.json"):
        tool.load(tmp_path / "a.json")


def test_names_that_are_none_are_refused(tool):
    for ask in (lambda: tool.Fstop, lambda: tool["Fstop"], lambda: setattr(tool, "Fstop", 1)):
        with pytest.raises(focusfall.Error, match="FStop"):
            ask()
    assert not hasattr(tool, "Fstop") and "FStop" in tool and "FStop" in dir(tool)
    with pytest.raises(focusfall.Error, match="nix"):
        focusfall.Tool("nix")
    with pytest.raises(focusfall.Error, match="Input: is an image connection"):
        tool["Input"].value


def test_its_help_reads_well():
    done = subprocess.run(
        [sys.executable, "-m", "pydoc", "focusfall"], capture_output=True, text=True, check=True
    )
    for text in ("float32, height x width x 3", "class Tool", "depth_as", "render_shot("):
        assert text in done.stdout
    assert "_native" not in done.stdout
