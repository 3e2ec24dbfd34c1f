"""Arrays through a tool: the picture of the command, whatever form the arrays have."""

import numpy as np
import pytest
from conftest import BLUR, made_scene, run_command

import focusfall


@pytest.mark.parametrize("name", ["fast", "layered", "plain"])
def test_a_frame_has_the_bits_of_the_commands(name, scene, tmp_path):
    picture, depth = scene
    focusfall.write(tmp_path / "in.exr", picture, depth, data_type="float")
    # one thread: the plain tool adds up in any order with more
    line = ["--tool", name, "--threads", 1, "--data-type", "float", "--quiet"]
    for control, value in BLUR.items():
        line += ["--set", f"{control}={value}"]
    done = run_command("render", tmp_path / "in.exr", "-o", tmp_path / "out.exr", *line)
    assert done.returncode == 0, done.stderr

    tool = focusfall.Tool(name, threads=1)
    tool.update(BLUR)
    expected = focusfall.read(tmp_path / "out.exr").color
    blurred = tool.render(picture, depth)
    assert blurred.tobytes() == expected.tobytes()
    assert not np.array_equal(blurred, picture)


def test_views_and_strides_and_channels_do_not_matter(tool, scene):
    picture, depth = scene
    expected = tool.render(picture, depth)

    five = np.dstack([picture, depth])
    assert np.array_equal(tool.render(five)[..., :4], expected)
    assert np.array_equal(tool.render(five)[..., 4], depth)
    # the separate depth counts
    five[..., 4] = 1
    assert np.array_equal(tool.render(five, depth)[..., :4], expected)
    assert np.array_equal(tool.render(picture[..., :3], depth), expected[..., :3])

    padded = np.zeros((50, 140, 9), np.float32)
    window = padded[1:49, 3:131:2, 8:4:-1]  # every second pixel, channels backwards
    window[:] = picture
    assert np.array_equal(tool.render(window, depth), expected)
    upside_down = np.ascontiguousarray(picture[::-1])[::-1]
    columns = np.asfortranarray(depth)
    assert np.array_equal(tool.render(upside_down, columns), expected)
    odd = np.zeros(picture.nbytes + 1, np.uint8)[1:].view(np.float32).reshape(picture.shape)
    odd[:] = picture
    assert np.array_equal(tool.render(odd, depth), expected)
    read_only = picture.copy()
    read_only.flags.writeable = False
    assert np.array_equal(tool.render(read_only, depth), expected)

    further = np.dstack([picture, depth, depth * 2])
    assert np.array_equal(tool.render(further)[..., 5], depth * 2)


def test_arrays_that_come_in_stay_and_results_are_the_callers(tool, scene):
    picture, depth = scene
    before = picture.copy()
    first = tool.render(picture, depth)
    kept = first.copy()
    first *= 2  # writable
    second = tool.render(picture, depth)
    del tool
    assert np.array_equal(picture, before)
    assert np.array_equal(second, kept)
    assert first.shape == picture.shape and first.dtype == np.float32


def test_values_count_for_one_frame_and_keys_at_their_time(tool, scene):
    picture, depth = scene
    usual = tool.render(picture, depth)
    other = tool.render(picture, depth, FocusPosition=700, BlurStyle="Disk")
    assert not np.array_equal(other, usual)
    assert np.array_equal(tool.render(picture, depth), usual)

    tool["FocusPosition"].keys = {1: 300, 11: 700}
    tool.BlurStyle = "Disk"
    assert np.array_equal(tool.render(picture, depth, time=11), other)
    middle = tool.render(picture, depth, 6)
    assert np.array_equal(middle, tool.render(picture, depth, 0, FocusPosition=500))


def test_depth_may_come_from_a_channel_of_the_colour_or_a_map(tool, scene):
    picture, depth = scene
    expected = tool.render(picture, depth)
    as_map = np.dstack([depth, depth, depth])
    assert np.array_equal(tool.render(picture, depth, BlurChannel="Red"), expected)
    assert np.array_equal(
        tool.render(picture, BlurChannel="Red", DepthMap=as_map), expected
    )


def test_pictures_for_other_connections_have_any_size(tool, scene):
    picture, depth = scene
    shape = np.zeros((9, 9, 4), np.float32)
    shape[4, :] = 1
    assert not np.array_equal(
        tool.render(picture, depth, BlurImage=shape), tool.render(picture, depth)
    )


WRONG = [
    (lambda p, d: ([1, 2], d), "picture: is of type list"),
    (lambda p, d: (p.astype(np.float64), d), "is of float64, not float32"),
    (lambda p, d: (p.astype(">f4"), d), "not float32"),
    (lambda p, d: (p[..., 0], d), "shape 48 x 64, not height x width x 3"),
    (lambda p, d: (p[..., :2], d), "shape 48 x 64 x 2"),
    (lambda p, d: (p[:0], d[:0]), "0 x 64 x 4"),
    (lambda p, d: (p, d[1:]), "depth: has the shape 47 x 64, the picture is 48 x 64"),
    (lambda p, d: (p, d[..., None]), "depth: has the shape"),
    (lambda p, d: (p, "near"), "depth: is of type str"),
    (lambda p, d: (p, None), "has no depth"),
]


@pytest.mark.parametrize("wrong, text", WRONG)
def test_arrays_of_another_form_are_refused(wrong, text, tool, scene):
    with pytest.raises(focusfall.Error, match=text):
        tool.render(*wrong(*scene))


def test_values_that_are_none_are_refused(tool, scene):
    refused = {
        "FocusPosition": [float("nan"), float("inf"), "near", object(), [1], None],
        "BlurStyle": ["Discc", 1.5],
        "MaxBlurSize": [-1],
        "NoSuchControl": [1],
        "BlurImage": [3, np.zeros((3, 3), np.float32)],
    }
    for control, values in refused.items():
        for value in values:
            with pytest.raises(focusfall.Error, match=control):
                tool.render(*scene, **{control: value})
            with pytest.raises(focusfall.Error, match=control):
                tool[control] = value
    with pytest.raises(focusfall.Error, match="time of a frame"):
        tool.render(*scene, time=float("nan"))
    assert np.array_equal(tool.render(*scene), tool.render(*made_scene()))
