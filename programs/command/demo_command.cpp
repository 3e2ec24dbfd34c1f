#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>

#include "pipeline/demo_scene/demo_scene.h"
#include "pipeline/pictures/image_file.h"
#include "pipeline/process/progress_bar.h"
#include "programs/command/commands.h"
#include "programs/command/rendering_session.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;

struct demo_options {
    shared_options shared;
    fs::path folder;
    std::string size = "1920x1080";
};

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

void report(const demo_options& options, const std::string& name,
            const std::string& what) {
    if (options.shared.quiet) return;
    std::cout << (options.folder / name).string() << "  " << what << std::endl;
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

void render_variant(headless::tool& tool, const variant& style,
                    const demo_options& options) {
    for (const auto& [id, value] : style.settings) tool.set(id, value);
    progress_bar progress(!options.shared.quiet);
    const Owned<Image> blurred = image_of(
        tool.render({.progress = [&](double part) { progress.show(part, style.name); }}));

    const std::string name = std::string("after-") + style.name;
    write_image(*blurred, options.folder / (name + ".exr"));
    write_preview(*blurred, options.folder / (name + ".png"));
    report(options, name + ".png", "blurred; linear and with Z in " + name + ".exr");
}

void make_demo(const demo_options& options) {
    const auto [width, height] = parsed_size(options.size);
    rendering_session session(options.shared);
    headless::tool& tool = session.tool();
    set_lens(tool);

    std::error_code fault;
    fs::create_directories(options.folder, fault);
    if (fault) {
        throw headless::host_error(options.folder.string() + ": cannot be made (" +
                                   fault.message() + "); name another folder");
    }
    headless::worker_pool workers(options.shared.threads);
    const Owned<Image> scene = demo_scene(width, height, workers);
    write_image(*scene, options.folder / "scene.exr");
    report(options, "scene.exr", "the scene: linear, with Z in millimetres");
    write_preview(*scene, options.folder / "before.png");
    report(options, "before.png", "the scene, sharp");

    tool.connect("Input", scene.get());
    for (const variant& style : variants()) render_variant(tool, style, options);
    session.stop().check();
}

}  // namespace

void add_demo_command(CLI::App& app) {
    auto options = std::make_shared<demo_options>();
    CLI::App* verb =
        app.add_subcommand("demo", "Make a scene and blur it in several styles");
    verb->add_option("DIR", options->folder, "Folder for the pictures; made if missing")
        ->required()
        ->type_name("");
    verb->add_option("--size", options->size, "Size of the pictures")
        ->type_name("WxH")
        ->capture_default_str();
    options->shared.add_class_options(*verb);
    options->shared.add_run_options(*verb);
    verb->callback([options] { make_demo(*options); });
}

}  // namespace focusfall
