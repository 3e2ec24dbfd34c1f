#include <cstdio>
#include <filesystem>
#include <iostream>

#include "pipeline/demo_scene/demo_scene.h"
#include "pipeline/pictures/image_file.h"
#include "pipeline/process/progress_bar.h"
#include "programs/command/picture_verbs.h"
#include "programs/command/rendering_session.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;

// One way to render the scene; its name is the end of its files' names.
struct variant {
    const char* name;
    std::vector<std::pair<const char*, const char*>> settings;
};

const std::vector<variant>& variants() {
    static const std::vector<variant> VARIANTS = {
        {"disk", {{"BlurStyle", "Disk"}}},
        {"hexagon",
         {{"BlurStyle", "Polygon"},
          {"PolygonSideCount", "6"},
          {"KernelAngle", "15"},
          {"BadBokeh", "0.4"}}},
        {"gaussian", {{"BlurStyle", "Gaussian"}}},
        {"airy", {{"BlurStyle", "Airy Disk"}}},
    };
    return VARIANTS;
}

std::pair<std::int32_t, std::int32_t> parsed_size(const std::string& text) {
    int width = 0;
    int height = 0;
    int end = 0;
    const int fields = std::sscanf(text.c_str(), "%5dx%5d%n", &width, &height, &end);
    if (fields != 2 || end != static_cast<int>(text.size()) || width < 1 || height < 1) {
        throw CLI::ValidationError(
            "--size", text + ": is not a size; write WIDTHxHEIGHT, as in 960x540");
    }
    return {width, height};
}

void report(const demo_line& line, const std::string& name, const std::string& what) {
    if (line.shared.quiet) return;
    std::cout << (line.folder / name).string() << "  " << what << std::endl;
}

// The lens that the scene is seen through.
void set_lens(headless::tool& tool) {
    tool.set("SettingsType", "Advanced");
    tool.set("DepthMapType", "Distance");
    tool.set("DepthMapUnits", "mm");
    tool.set("FocusPosition", DEMO_LENS.focus_mm);
    tool.set("FocalLength", DEMO_LENS.focal_mm);
    tool.set("FilmbackWidth", DEMO_LENS.filmback_mm);
    tool.set("FStop", DEMO_LENS.f_stop);
}

void render_variant(headless::tool& tool, const variant& style, const demo_line& line) {
    for (const auto& [id, value] : style.settings) tool.set(id, value);
    progress_bar progress(!line.shared.quiet);
    const Owned<Image> blurred = image_of(
        tool.render({.progress = [&](double part) { progress.show(part, style.name); }}));

    const std::string name = std::string("after-") + style.name;
    write_image(*blurred, line.folder / (name + ".exr"));
    write_preview(*blurred, line.folder / (name + ".png"));
    report(line, name + ".png", "blurred; linear and with Z in " + name + ".exr");
}

}  // namespace

void run(const demo_line& line) {
    const auto [width, height] = parsed_size(line.size);
    rendering_session session(line.shared);
    headless::tool& tool = session.tool();
    set_lens(tool);

    std::error_code fault;
    fs::create_directories(line.folder, fault);
    if (fault) {
        throw headless::host_error(line.folder.string() + ": cannot be made (" +
                                   fault.message() + "); name another folder");
    }
    headless::worker_pool workers(line.shared.threads);
    const Owned<Image> scene = demo_scene(width, height, workers);
    write_image(*scene, line.folder / "scene.exr");
    report(line, "scene.exr", "the scene: linear, with Z in millimetres");
    write_preview(*scene, line.folder / "before.png");
    report(line, "before.png", "the scene, sharp");

    tool.connect("Input", scene.get());
    for (const variant& style : variants()) render_variant(tool, style, line);
    session.stop().check();
}

}  // namespace focusfall
