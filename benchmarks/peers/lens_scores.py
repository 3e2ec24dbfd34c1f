#!/usr/bin/env -S /usr/bin/python3
"""How near blurred pictures come to a real lens, on the scenes that lens_scenes.py makes.

    lens_scores.py prepare FOLDER      joins what was rendered: FOLDER/{head,fence}.exr, R G B A Z
    lens_scores.py settings SCENE.exr  prints options of `focusfall render` for the scene's lens
    lens_scores.py lens SCENE.exr      prints the focus, in metres, and the largest blur, in pixels
    lens_scores.py row SCENE.exr RESULT.exr PROGRAM
                                       prints a row of a Markdown table: the program, the scene,
                                       PSNR near depth edges and elsewhere, FLIP near edges
    lens_scores.py picture RESULT.exr PICTURE.jpg
                                       the middle of the result, to look at

Pictures are compared as the eye sees them, with tones up to infinity. What differs between the
two lens pictures is noise, and taken off the squared error. FLIP follows Andersson et al.,
"FLIP: A Difference Evaluator for Alternating Images", 2020, for 67 pixels a degree; it was not
compared with the authors' program.
"""
import json
import sys

import numpy as np
import OpenImageIO as oiio
from scipy import ndimage
from scipy.signal import fftconvolve

PIXELS_PER_DEGREE = 67.0
RGB_TO_XYZ = np.array([
    [10135552 / 24577794, 8788810 / 24577794, 4435075 / 24577794],
    [2613072 / 12288897, 8788810 / 12288897, 887015 / 12288897],
    [1425312 / 73733382, 8788810 / 73733382, 70074185 / 73733382]])
WHITE = RGB_TO_XYZ @ np.ones(3)


def channels(path: str, names: list[str]) -> np.ndarray:
    """Height x width x len(names) floats of the channels whose names end so."""
    source = oiio.ImageInput.open(path)
    if not source:
        sys.exit(f"lens_scores: {path}: {oiio.geterror()}")
    spec = source.spec()
    pixels = source.read_image(oiio.FLOAT).reshape(spec.height, spec.width, -1)
    last = [name.split(".")[-1] for name in spec.channelnames]
    return np.stack([pixels[..., last.index(n)] for n in names], -1).astype(np.float64)


def lens_of(scene: str) -> dict:
    with open(scene.removesuffix(".exr") + ".json") as file:
        return json.load(file)


def prepare(folder: str) -> None:
    for name in ("head", "fence"):
        stem = f"{folder}/{name}"
        picture = np.concatenate([channels(f"{stem}-pinhole.exr", list("RGBA")),
                                  channels(f"{stem}-depth.exr", ["Z"])], -1)
        spec = oiio.ImageSpec(picture.shape[1], picture.shape[0], 5, oiio.FLOAT)
        spec.channelnames = tuple("RGBAZ")
        output = oiio.ImageOutput.create(stem + ".exr")
        output.open(stem + ".exr", spec)
        output.write_image(np.ascontiguousarray(picture, dtype=np.float32))
        output.close()


def settings(scene: str) -> str:
    lens = lens_of(scene)
    # a lens below f/1 blurs like one of f/1 on a smaller film
    values = dict(SettingsType="Advanced", DepthMapType="Distance", DepthMapUnits="meter",
                  FocalLength=lens["focal_mm"], FStop=1, FilmbackWidth=lens["film_mm"] * lens["fstop"],
                  FocusPosition=lens["focus_m"])
    return " ".join(f"--set={name}={value}" for name, value in values.items())


def tone(x: np.ndarray) -> np.ndarray:
    """Linear light to 0 .. 1: 1 becomes .73, infinity 1."""
    x = np.maximum(x, 0.0)
    return (x / (1.0 + x)) ** (1 / 2.2)


def edge_band(z: np.ndarray, lens: dict) -> np.ndarray:
    """Whether pixels lie within half the largest diameter of a jump of more than 2 pixels in it."""
    largest, focus = lens["largest_px"], lens["focus_m"]
    signed = np.minimum(np.abs(z - focus) * largest / z, largest) * np.sign(z - focus)
    edge = np.zeros(z.shape, bool)
    down, right = np.abs(np.diff(signed, axis=0)) > 2, np.abs(np.diff(signed, axis=1)) > 2
    edge[1:] |= down
    edge[:-1] |= down
    edge[:, 1:] |= right
    edge[:, :-1] |= right
    return ndimage.distance_transform_edt(~edge) <= largest / 2


def opponent(srgb: np.ndarray) -> np.ndarray:
    linear = np.where(srgb > .04045, ((srgb + .055) / 1.055) ** 2.4, srgb / 12.92)
    x = linear @ RGB_TO_XYZ.T / WHITE
    y = x[..., 1]
    return np.stack([116 * y - 16, 500 * (x[..., 0] - y), 200 * (y - x[..., 2])], -1)


def hunt(xyz: np.ndarray) -> np.ndarray:
    x, d = xyz / WHITE, 6 / 29
    f = np.where(x > d ** 3, np.cbrt(x), x / (3 * d * d) + 4 / 29)
    lightness = 116 * f[..., 1] - 16
    return np.stack([lightness, 5 * (f[..., 0] - f[..., 1]) * lightness,
                     2 * (f[..., 1] - f[..., 2]) * lightness], -1)


def hyab(a: np.ndarray, b: np.ndarray) -> np.ndarray:
    return np.abs(a[..., 0] - b[..., 0]) + np.hypot(a[..., 1] - b[..., 1], a[..., 2] - b[..., 2])


def as_the_eye_sees(srgb: np.ndarray) -> np.ndarray:
    sensitivity = [[(1, .0047)], [(1, .0053)], [(34.1, .04), (13.5, .025)]]
    radius = int(np.ceil(3 * np.sqrt(.04 / (2 * np.pi ** 2)) * PIXELS_PER_DEGREE))
    grid = np.arange(-radius, radius + 1) / PIXELS_PER_DEGREE
    square = grid[:, None] ** 2 + grid ** 2
    seen = opponent(srgb)
    for c, terms in enumerate(sensitivity):
        kernel = sum(a * np.sqrt(np.pi / b) * np.exp(-np.pi ** 2 * square / b) for a, b in terms)
        seen[..., c] = fftconvolve(np.pad(seen[..., c], radius, "edge"), kernel / kernel.sum(),
                                   "valid")
    y = (seen[..., 0] + 16) / 116
    xyz = np.stack([seen[..., 1] / 500 + y, y, y - seen[..., 2] / 200], -1) * WHITE
    return hunt(np.clip(xyz @ np.linalg.inv(RGB_TO_XYZ).T, 0, 1) @ RGB_TO_XYZ.T)


def features(srgb: np.ndarray, kind: str) -> np.ndarray:
    deviation = .5 * .082 * PIXELS_PER_DEGREE
    radius = int(np.ceil(3 * deviation))
    x = np.arange(-radius, radius + 1)
    bell = np.exp(-(x[:, None] ** 2 + x ** 2) / (2 * deviation ** 2))
    k = -x[None] * bell if kind == "edge" else (x[None] ** 2 / deviation ** 2 - 1) * bell
    k = np.where(k < 0, k / -k[k < 0].sum(), k / k[k > 0].sum())
    y = np.pad((opponent(srgb)[..., 0] + 16) / 116, radius, "edge")
    return np.hypot(fftconvolve(y, k[::-1, ::-1], "valid"),
                    fftconvolve(y, k.T[::-1, ::-1], "valid"))


def flip(a: np.ndarray, b: np.ndarray) -> np.ndarray:
    color = hyab(as_the_eye_sees(a), as_the_eye_sees(b)) ** .7
    largest = hyab(hunt(RGB_TO_XYZ @ [0, 1, 0]), hunt(RGB_TO_XYZ @ [0, 0, 1])) ** .7
    knee = .4 * largest
    color = np.where(color < knee, .95 / knee * color,
                     .95 + (color - knee) / (largest - knee) * .05)
    detail = np.maximum(*(np.abs(features(a, k) - features(b, k)) for k in ("edge", "point")))
    return np.clip(color, 0, 1) ** (1 - np.sqrt(detail / np.sqrt(2)))


def row(scene: str, result: str, program: str) -> str:
    stem = scene.removesuffix(".exr")
    shots = [channels(f"{stem}-lens-{i}.exr", list("RGB")) for i in (0, 1)]
    a, b = tone(channels(result, list("RGB"))), tone((shots[0] + shots[1]) / 2)
    noise = (tone(shots[0]) - tone(shots[1])) ** 2 / 4  # of their mean
    error = (a - b) ** 2 - noise
    band = edge_band(channels(scene, ["Z"])[..., 0], lens_of(scene))
    edges, rest = (-10 * np.log10(max(error[where].mean(), 1e-9)) for where in (band, ~band))
    name = stem.split("/")[-1]
    return f"| {program} | {name} | {edges:.1f} dB | {rest:.1f} dB | {flip(a, b)[band].mean():.3f} |"


def picture(result: str, to: str) -> None:
    shown = tone(channels(result, list("RGB")))
    height, width = shown.shape[:2]
    middle = shown[height // 6:height - height // 6, width // 4:width - width // 4]
    spec = oiio.ImageSpec(middle.shape[1], middle.shape[0], 3, oiio.UINT8)
    spec.attribute("Compression", "jpeg:90")
    output = oiio.ImageOutput.create(to)
    output.open(to, spec)
    output.write_image(np.ascontiguousarray(middle, dtype=np.float32))
    output.close()


if __name__ == "__main__":
    arguments = sys.argv[1:]
    if len(arguments) == 2 and arguments[0] == "prepare":
        prepare(arguments[1])
    elif len(arguments) == 2 and arguments[0] == "settings":
        print(settings(arguments[1]))
    elif len(arguments) == 2 and arguments[0] == "lens":
        print(lens_of(arguments[1])["focus_m"], lens_of(arguments[1])["largest_px"])
    elif len(arguments) == 4 and arguments[0] == "row":
        print(row(*arguments[1:]))
    elif len(arguments) == 3 and arguments[0] == "picture":
        picture(*arguments[1:])
    else:
        sys.exit(__doc__)
