// Times a peer: GEGL's lens blur of a picture with its depth as the mask. Only the blur
// is timed: no start-up, no files, buffers in memory on both sides.
//
// usage: gegl_lens_blur SCENE.exr FOCUS DIAMETER_PX [THREADS [RESULT.exr]]
// prints a row of a Markdown table: peer, largest blur diameter, median of seven runs;
// FOCUS is in the unit of the scene's depth
//
// The work differs: flat discs only, their radius given as a mask.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <OpenImageIO/imagebuf.h>
#include <gegl.h>

namespace {

struct scene {
    int width = 0;
    int height = 0;
    std::vector<float> color;  // r, g, b, a
    std::vector<float> mask;   // circle of confusion by the largest one
};

scene read_scene(const char* file, float focus) {
    OIIO::ImageBuf picture(file);
    if (!picture.init_spec(file, 0, 0)) {
        std::fprintf(stderr, "%s: cannot be read\n", file);
        std::exit(1);
    }
    scene result;
    result.width = picture.spec().width;
    result.height = picture.spec().height;
    const int channels = picture.nchannels();
    const int z = picture.spec().channelindex("Z");
    std::vector<float> pixel(static_cast<std::size_t>(channels));
    for (int y = 0; y < result.height; ++y) {
        for (int x = 0; x < result.width; ++x) {
            picture.getpixel(x, y, pixel.data(), channels);
            result.color.insert(result.color.end(), pixel.begin(), pixel.begin() + 4);
            const float depth = pixel[static_cast<std::size_t>(z)];
            result.mask.push_back(std::min(1.0F, std::abs(depth - focus) / depth));
        }
    }
    return result;
}

// Milliseconds of one blur; `blurred` becomes its colours.
double blur_once(const scene& input, double diameter, std::vector<float>& blurred) {
    const GeglRectangle area{0, 0, input.width, input.height};
    GeglBuffer* color = gegl_buffer_new(&area, babl_format("RaGaBaA float"));
    GeglBuffer* mask = gegl_buffer_new(&area, babl_format("Y float"));
    GeglBuffer* result = gegl_buffer_new(&area, babl_format("RaGaBaA float"));
    gegl_buffer_set(color, &area, 0, nullptr, input.color.data(), GEGL_AUTO_ROWSTRIDE);
    gegl_buffer_set(mask, &area, 0, nullptr, input.mask.data(), GEGL_AUTO_ROWSTRIDE);

    GeglNode* graph = gegl_node_new();
    const auto source = [&](GeglBuffer* buffer) {
        return gegl_node_new_child(graph, "operation", "gegl:buffer-source", "buffer",
                                   buffer, nullptr);
    };
    GeglNode* blur = gegl_node_new_child(graph, "operation", "gegl:lens-blur", "radius",
                                         diameter * 0.5, "linear-mask", TRUE, nullptr);
    GeglNode* sink = gegl_node_new_child(graph, "operation", "gegl:write-buffer",
                                         "buffer", result, nullptr);
    gegl_node_link_many(source(color), blur, sink, nullptr);
    gegl_node_connect_to(source(mask), "output", blur, "aux");

    const auto start = std::chrono::steady_clock::now();
    gegl_node_process(sink);
    const std::chrono::duration<double, std::milli> took =
        std::chrono::steady_clock::now() - start;

    blurred.resize(input.color.size());
    gegl_buffer_get(result, &area, 1.0, babl_format("RaGaBaA float"), blurred.data(),
                    GEGL_AUTO_ROWSTRIDE, GEGL_ABYSS_NONE);
    g_object_unref(graph);
    for (GeglBuffer* buffer : {color, mask, result}) g_object_unref(buffer);
    return took.count();
}

void write_picture(const char* file, const scene& input, std::vector<float>& color) {
    OIIO::ImageSpec spec(input.width, input.height, 4, OIIO::TypeDesc::FLOAT);
    if (!OIIO::ImageBuf(spec, color.data()).write(file)) {
        std::fprintf(stderr, "%s: cannot be written\n", file);
        std::exit(1);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr,
                     "usage: gegl_lens_blur SCENE.exr FOCUS DIAMETER_PX [THREADS "
                     "[RESULT.exr]]\n");
        return 2;
    }
    gegl_init(nullptr, nullptr);
    if (argc > 4) g_object_set(gegl_config(), "threads", std::atoi(argv[4]), nullptr);
    const double diameter = std::atof(argv[3]);
    const scene input = read_scene(argv[1], static_cast<float>(std::atof(argv[2])));

    std::vector<float> blurred;
    std::vector<double> times;
    for (int run = 0; run < 7; ++run)
        times.push_back(blur_once(input, diameter, blurred));
    if (argc > 5) write_picture(argv[5], input, blurred);
    std::ranges::sort(times);
    std::printf("| gegl:lens-blur | %.1f px | %.1f ms |\n", diameter,
                times[times.size() / 2]);
    gegl_exit();
    return 0;
}
