"""Files from Python: as the command reads, renders and writes them."""

import json
import logging
import os

import numpy as np
import pytest
from conftest import BLUR, run_command

import focusfall


@pytest.fixture
def shot(scene, tmp_path):
    """A folder with three frames."""
    picture, depth = scene
    for frame in (1, 2, 3):
        focusfall.write(tmp_path / f"in.{frame:04}.exr", picture / frame, depth)
    return tmp_path


def test_a_picture_survives_writing_and_reading(scene, tmp_path):
    picture, depth = scene
    focusfall.write(tmp_path / "a.exr", picture, depth, data_type="float", compression="piz")
    frame = focusfall.read(tmp_path / "a.exr")
    assert np.array_equal(frame.color, picture) and np.array_equal(frame.depth, depth)
    assert frame.area == frame.display == (0, 0, 64, 48)
    focusfall.write(tmp_path / "a.png", picture[..., :3] / 25)
    frame = focusfall.read(tmp_path / "a.png", colorspace="sRGB")
    assert frame.depth is None
    assert np.allclose(frame.color[..., :3], picture[..., :3] / 25, atol=0.01)


def test_depth_is_read_as_the_options_say(scene, tmp_path):
    picture, depth = scene
    focusfall.write(tmp_path / "a.exr", picture, 1 / depth, data_type="float")
    frame = focusfall.read(tmp_path / "a.exr", depth_as="inverse")
    scale = frame.depth / depth  # disparities tell ratios alone
    assert np.allclose(scale, scale[0, 0], rtol=1e-4)
    mapped = focusfall.read(tmp_path / "a.exr", depth_map=tmp_path / "a.exr")
    assert np.array_equal(mapped.depth, 1 / depth)


def test_a_picture_like_another_keeps_all_else_of_it(shot, scene):
    picture, depth = scene
    like = shot / "in.0001.exr"
    focusfall.write(shot / "b.exr", picture * 0.5, like=like, data_type="float")
    frame = focusfall.read(shot / "b.exr")
    assert np.array_equal(frame.color, picture * 0.5)
    assert np.array_equal(frame.depth, focusfall.read(like).depth)
    with pytest.raises(focusfall.Error, match="is 64 x 48, the picture to write is 64 x 47"):
        focusfall.write(shot / "c.exr", picture[1:], like=like)
    assert not (shot / "c.exr").exists()


def test_a_shot_has_the_files_and_records_of_the_commands(shot, tool):
    line = [word for item in BLUR.items() for word in ("--set", "%s=%s" % item)]
    done = run_command(
        "render", shot / "in.####.exr", "-o", shot / "c.####.exr", "--frames", "1-3", *line
    )
    assert done.returncode == 0, done.stderr
    parts, seen = [], []
    reports = focusfall.render_shot(
        shot / "in.####.exr",
        shot / "p.####.exr",
        tool=tool,
        frames=range(1, 4),
        progress=parts.append,
        on_frame=seen.append,
    )
    assert [r.frame for r in reports] == [1, 2, 3] and seen == reports
    assert parts == sorted(parts) and parts[-1] == 1
    for frame in (1, 2, 3):
        files = [(shot / f"{name}.{frame:04}.exr").read_bytes() for name in "cp"]
        assert files[0] == files[1]  # records and all

    again = focusfall.render_shot(
        shot / "in.####.exr", shot / "c.####.exr", tool=tool, frames="all", skip_existing=True
    )
    assert {r.outcome for r in again} == {"skipped"}


def test_settings_of_a_shot_leave_the_tool_alone(shot, tool):
    focusfall.render_shot(
        shot / "in.0001.exr",
        shot / "a.exr",
        tool=tool,
        settings="super-35",
        values={"BlurStyle": "Disk"},
        focus_at=(3, 40),
        depth_scale=10,
        data_type="float",
        diameter_channel="coc",
    )
    assert tool.FocusPosition == 300
    report = focusfall.inspect(shot / "a.exr")
    record = json.loads(run_command("inspect", shot / "a.exr", "--json").stdout)
    assert report == record
    names = [c["name"] for c in report["parts"][0]["layers"][0]["channels"]]
    assert "coc" in names and len(names) == 6


def test_a_record_makes_its_picture_again(shot, tool, caplog):
    source, made, again = shot / "in.0002.exr", shot / "a.exr", shot / "b.exr"
    focusfall.render_shot(source, made, tool=tool, depth_scale=10, compression="zip")
    focusfall.render_shot(output=again, from_record=made)
    assert again.read_bytes() == made.read_bytes()
    focusfall.render_shot(output=again, from_record=made, values={"FocusPosition": 700})
    assert not np.array_equal(focusfall.read(again).color, focusfall.read(made).color)

    before = made.read_bytes()
    assert not caplog.text
    os.utime(source, (1, 1))
    focusfall.render_shot(from_record=made)
    assert made.read_bytes() != before  # the record has the other time
    assert "in.0002.exr: has changed since" in caplog.text


def test_notes_of_settings_are_those_of_the_command(shot, tool, caplog):
    tool["FocusPosition"].keys = {1: 300, 3: 700}
    focusfall.render_shot(shot / "in.0001.exr", shot / "a.exr", tool=tool, values={"FStop": 3})
    assert "FStop: no effect unless SettingsType=Advanced" in caplog.text
    assert "without frames only frame 0" in caplog.text


def test_pixels_are_inspected_as_by_the_command(shot, tool):
    told = run_command(
        "inspect", shot / "in.0001.exr", "--json", "--at", "3,40", "--focus-at", "5,20"
    )
    found = focusfall.inspect(shot / "in.0001.exr", at=[(3, 40)], focus_at=(5, 20))
    assert found == json.loads(told.stdout)
    here = shot / "in.0001.exr"
    told = run_command("inspect", here, "--lens-from-header", "--json")
    with pytest.raises(focusfall.Error) as error:
        focusfall.inspect(here, lens_from_header=True)
    assert told.stderr == f"focusfall: {error.value}\n"


def test_frames_that_fail_are_told_and_the_others_are_there(shot, tool, caplog):
    (shot / "in.0002.exr").write_bytes(b"no picture")
    with pytest.raises(focusfall.ShotError, match="1 of 3 frames failed: 2; .*0002") as error:
        focusfall.render_shot(
            shot / "in.####.exr", shot / "p.####.exr", tool=tool, frames="1-3"
        )
    assert [r.outcome for r in error.value.reports] == ["done", "failed", "done"]
    assert sorted(f.name for f in shot.glob("p.*")) == ["p.0001.exr", "p.0003.exr"]
    with caplog.at_level(logging.WARNING, "focusfall"):
        focusfall.render_shot(shot / "in.0001.exr", shot / "q.exr", values={"MaxBlurSize": 0})
    assert "nothing is blurred" in caplog.text


def test_a_stopped_shot_leaves_whole_files_alone(shot, tool):
    calls = iter(range(10**9))
    with pytest.raises(focusfall.Cancelled):
        focusfall.render_shot(
            shot / "in.####.exr",
            shot / "p.####.exr",
            frames="1-3",
            values=BLUR,
            cancel=lambda: next(calls) >= 0,
        )
    for file in shot.iterdir():
        focusfall.read(file)


def test_what_cannot_be_is_told_and_writes_nothing(shot, tool):
    here, out = shot / "in.0001.exr", shot / "out.exr"
    closed = open(here, "rb")
    closed.close()
    cut = shot / "cut.exr"
    cut.write_bytes(here.read_bytes()[:-900])
    before = sorted(os.listdir(shot))
    wrong = [
        (lambda: focusfall.read(closed), "path: takes the name of a file"),
        (lambda: focusfall.read(shot / "nix.exr"), "nix.exr: there is no such file"),
        (lambda: focusfall.read(cut), "cut.exr"),
        (lambda: focusfall.read(here, depht_as="ray"), 'did you mean "depth_as"'),
        (lambda: focusfall.read(here, depth_as=3), "depth_as: takes str, not 3"),
        (lambda: focusfall.read(here, depth_scale=float("nan")), "depth_scale"),
        (lambda: focusfall.write(out, np.zeros((2, 2, 3))), "float64"),
        (lambda: focusfall.write(out, np.zeros((2, 2, 3), "f4"), compression="zap"), "zap"),
        (lambda: focusfall.write(shot / "a.foo", np.zeros((2, 2, 3), "f4")), "a.foo"),
        (lambda: focusfall.write(shot / "n" / "a.exr", np.zeros((2, 2, 3), "f4")), "n/a.exr"),
        (lambda: focusfall.render_shot(here, here), "in.0001.exr"),
        (lambda: focusfall.render_shot(here, out, memory_limit=1000), "memory"),
        (lambda: focusfall.render_shot(here, out, missing="perhaps"), "missing"),
        (lambda: focusfall.render_shot(here, out, frames=[1.5]), "frames"),
        (lambda: focusfall.render_shot(here, out, focus_at="x"), "x"),
        (lambda: focusfall.render_shot(here, out, focus_at=(1,)), "focus_at"),
        (lambda: focusfall.render_shot(here, out, values={"FStop": float("nan")}), "FStop"),
        (lambda: focusfall.render_shot(here), "takes input and output, or from_record"),
        (lambda: focusfall.render_shot(from_record=here), "carries no record"),
        (lambda: focusfall.render_shot(from_record=here, tool=tool), "tool: the record has"),
        (lambda: focusfall.render_shot(from_record=here, frames="1-3"), "frames: a record"),
        (
            lambda: focusfall.render_shot(
                here, out, focus_at=(1, 1), values={"FocusPosition": 3}
            ),
            "focus_at: the focus is set by values too",
        ),
        (lambda: focusfall.render_shot(here, out, threads=-1), "threads"),
        (lambda: focusfall.inspect(shot / "nix.exr"), "nix.exr"),
    ]
    for do, text in wrong:
        with pytest.raises(focusfall.Error, match=text):
            do()
    assert sorted(os.listdir(shot)) == before
