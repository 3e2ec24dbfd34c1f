# Times a peer: the Defocus node of Blender, on a picture with its depth.
#
# usage: blender --background --factory-startup --python blender_defocus.py -- \
#            SCENE.exr FOCUS DIAMETER_PX [THREADS [RESULT.exr]]
# prints a row of a Markdown table: peer, largest blur diameter, median of five frames with
# the node less that of five without it, so that files and start-up do not count.
#
# The work differs: the radius of a pixel is an input, and where it is large, samples are
# left out, which shows as a pattern.

import statistics
import sys
import time

import bpy

arguments = sys.argv[sys.argv.index("--") + 1:]
file, focus, diameter = arguments[0], float(arguments[1]), float(arguments[2])

scene = bpy.context.scene
scene.use_nodes = True
tree = scene.node_tree
tree.nodes.clear()
picture = tree.nodes.new("CompositorNodeImage")
picture.image = bpy.data.images.load(file)
scene.render.resolution_x, scene.render.resolution_y = picture.image.size
scene.render.resolution_percentage = 100
if len(arguments) > 3:
    scene.render.threads_mode = "FIXED"
    scene.render.threads = int(arguments[3])


def math(operation, a, b):
    node = tree.nodes.new("CompositorNodeMath")
    node.operation = operation
    for socket, value in zip(node.inputs, (a, b)):
        if isinstance(value, float):
            socket.default_value = value
        elif value is not None:
            tree.links.new(value, socket)
    return node.outputs[0]


# circle of confusion, as a part of the largest
depth = next(o for o in picture.outputs if o.name in ("Depth", "Z") and o.enabled)
part = math("DIVIDE", math("ABSOLUTE", math("SUBTRACT", depth, focus), None), depth)

blur = tree.nodes.new("CompositorNodeDefocus")
blur.use_zbuffer = False
blur.bokeh = "CIRCLE"
blur.z_scale = diameter / 2.0
blur.blur_max = diameter / 2.0
tree.links.new(picture.outputs["Image"], blur.inputs["Image"])
tree.links.new(part, blur.inputs["Z"])
result = tree.nodes.new("CompositorNodeComposite")


def median_ms(output):
    tree.links.new(output, result.inputs["Image"])
    times = []
    for _ in range(5):
        start = time.perf_counter()
        bpy.ops.render.render()
        times.append(1e3 * (time.perf_counter() - start))
    return statistics.median(times)


def write(output, name):
    tree.links.new(output, result.inputs["Image"])
    scene.render.image_settings.file_format = "OPEN_EXR"
    scene.render.image_settings.color_depth = "32"
    scene.render.filepath = name
    bpy.ops.render.render(write_still=True)


without = median_ms(picture.outputs["Image"])
print(f"| Blender Defocus | {diameter:.1f} px | {median_ms(blur.outputs[0]) - without:.1f} ms |")
if len(arguments) > 4:
    write(blur.outputs[0], arguments[4])
