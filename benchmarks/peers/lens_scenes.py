# Makes the scenes that blurs are compared with a real lens on: each as a pinhole camera
# sees it, with its depth, and path-traced through the lens. Everything shines by itself,
# so that the lens changes what is seen of it and nothing else.
#
# usage: blender --background --factory-startup --python lens_scenes.py -- FOLDER [SAMPLES]
# writes FOLDER/{head,fence}-{pinhole,depth,lens-0,lens-1}.exr, 640 x 360, and the lens into
# FOLDER/{head,fence}.json. The two lens pictures, of SAMPLES samples a pixel each, differ
# in their noise alone.

import json
import math
import random
import sys

import bpy

SIZE = (640, 360)
FILM_MM = 24.0
FOCAL_MM = 50.0

arguments = sys.argv[sys.argv.index("--") + 1:]
folder = arguments[0]
samples = int(arguments[1]) if len(arguments) > 1 else 256


def shining(color, strength=1.0, squares=0.0):
    """A material that emits `color`, or squares of it and of a darker one, so many a metre."""
    material = bpy.data.materials.new("shining")
    material.use_nodes = True
    nodes, link = material.node_tree.nodes, material.node_tree.links.new
    nodes.clear()
    emission = nodes.new("ShaderNodeEmission")
    emission.inputs["Strength"].default_value = strength
    emission.inputs["Color"].default_value = (*color, 1.0)
    if squares:
        checker = nodes.new("ShaderNodeTexChecker")
        checker.inputs["Color1"].default_value = (*color, 1.0)
        checker.inputs["Color2"].default_value = (*(0.25 * c for c in color), 1.0)
        checker.inputs["Scale"].default_value = squares
        place = nodes.new("ShaderNodeNewGeometry")
        link(place.outputs["Position"], checker.inputs["Vector"])
        link(checker.outputs["Color"], emission.inputs["Color"])
    link(emission.outputs[0], nodes.new("ShaderNodeOutputMaterial").inputs["Surface"])
    return material


# The camera looks along +y from the origin; x is to the right and z upwards, in metres.

def ball(place, radius, material):
    bpy.ops.mesh.primitive_uv_sphere_add(segments=64, ring_count=32, radius=radius, location=place)
    bpy.context.object.data.materials.append(material)


def wall(place, width, height, material, turn=0.0):
    bpy.ops.mesh.primitive_plane_add(size=1.0, location=place,
                                     rotation=(math.pi / 2, turn, 0.0))
    bpy.context.object.scale = (width, height, 1.0)
    bpy.context.object.data.materials.append(material)


def hair(points, radius, material):
    curve = bpy.data.curves.new("hair", "CURVE")
    curve.dimensions = "3D"
    curve.bevel_depth = radius
    line = curve.splines.new("POLY")
    line.points.add(len(points) - 1)
    for point, place in zip(line.points, points):
        point.co = (*place, 1.0)
    curve.materials.append(material)
    bpy.context.collection.objects.link(bpy.data.objects.new("hair", curve))


def head(rng):
    """A sharp head with hair before lights far away."""
    wall((0.0, 30.0, 0.0), 40.0, 25.0, shining((0.03, 0.04, 0.08), 1.0, 0.5))
    for _ in range(60):
        color = [rng.uniform(0.2, 1.0) for _ in range(3)]
        place = (rng.uniform(-5, 5), rng.uniform(9, 20), rng.uniform(-3, 3))
        ball(place, rng.uniform(0.03, 0.08), shining(color, rng.uniform(3, 15)))
    ball((0.0, 2.5, -0.03), 0.2, shining((0.6, 0.4, 0.3), 1.0, 25.0))
    wall((0.0, 2.55, -0.35), 0.55, 0.25, shining((0.2, 0.3, 0.5), 1.0, 40.0))
    for _ in range(120):
        angle, bend = rng.uniform(0.1, math.pi - 0.1), rng.uniform(-0.4, 0.4)
        depth, length = rng.uniform(2.45, 2.55), rng.uniform(0.05, 0.12)
        points = []
        for i in range(9):
            reach, turn = 0.19 + length * i / 8, angle + bend * (i / 8) ** 2
            points.append((reach * math.cos(turn), depth, reach * math.sin(turn) - 0.03))
        hair(points, 0.0007, shining((0.25, 0.15, 0.1), rng.uniform(0.3, 1.0)))


def fence(rng):
    """A blurred fence and berries before a sharp board, and a wall behind."""
    wall((0.0, 12.0, 0.0), 14.0, 8.0, shining((0.3, 0.35, 0.25), 1.0, 1.5))
    for _ in range(25):
        place = (rng.uniform(-3, 3), 11.5, rng.uniform(-1.6, 1.6))
        ball(place, 0.05, shining((1.0, 0.8, 0.5), rng.uniform(3, 10)))
    wall((-0.25, 4.2, 0.05), 0.9, 0.7, shining((0.7, 0.6, 0.4), 1.0, 9.0))
    ball((0.55, 4.0, -0.1), 0.22, shining((0.7, 0.3, 0.3), 1.0, 14.0))
    for i in range(9):
        wall((-0.6 + 0.15 * i, 2.3, 0.0), 0.04, 1.2, shining((0.15, 0.12, 0.1), 1.0, 30.0),
             rng.uniform(-0.05, 0.05))
    for _ in range(5):
        place = (rng.uniform(-0.4, 0.4), 2.15, rng.uniform(-0.25, 0.25))
        ball(place, 0.03, shining((0.8, 0.1, 0.1), 1.5))


def render(name, suffix, count, seed=0):
    scene = bpy.context.scene
    scene.cycles.samples = count
    scene.cycles.seed = seed
    scene.render.filepath = f"{folder}/{name}-{suffix}.exr"
    bpy.ops.render.render(write_still=True)


def make(name, build, fstop, focus_m, seed):
    bpy.ops.wm.read_factory_settings(use_empty=True)
    build(random.Random(seed))
    scene = bpy.context.scene
    scene.world = bpy.data.worlds.new("dark")
    scene.world.color = (0.0, 0.0, 0.0)
    camera = bpy.data.objects.new("camera", bpy.data.cameras.new("camera"))
    camera.rotation_euler = (math.pi / 2, 0.0, 0.0)
    camera.data.lens, camera.data.sensor_width = FOCAL_MM, FILM_MM
    scene.collection.objects.link(camera)
    scene.camera = camera
    scene.render.engine = "CYCLES"
    scene.cycles.use_adaptive_sampling = scene.cycles.use_denoising = False
    scene.cycles.max_bounces = 0
    scene.render.resolution_x, scene.render.resolution_y = SIZE
    scene.view_layers[0].use_pass_z = True
    scene.render.image_settings.file_format = "OPEN_EXR_MULTILAYER"
    scene.render.image_settings.color_depth = "32"

    render(name, "pinhole", 64)
    # depth is not smoothed: that of the pixel's middle
    scene.cycles.filter_width = 0.01
    render(name, "depth", 1)
    scene.cycles.filter_width = 1.5
    camera.data.dof.use_dof = True
    camera.data.dof.focus_distance = focus_m
    # Cycles has the film at the focal length, not where the image is sharp
    camera.data.dof.aperture_fstop = fstop * (focus_m - 1e-3 * FOCAL_MM) / focus_m
    for i in range(2):
        render(name, f"lens-{i}", samples, seed=i + 1)

    largest = FOCAL_MM ** 2 / (fstop * (1e3 * focus_m - FOCAL_MM)) / FILM_MM * SIZE[0]
    with open(f"{folder}/{name}.json", "w") as file:
        json.dump(dict(focal_mm=FOCAL_MM, fstop=fstop, focus_m=focus_m, film_mm=FILM_MM,
                       largest_px=largest), file)


make("head", head, 0.8, 2.5, 1)
make("fence", fence, 0.6, 4.0, 2)
