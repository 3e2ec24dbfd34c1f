#include <memory>

#include "host/text.h"
#include "pipeline/pictures/image_file.h"
#include "pipeline/process/memory_limit.h"
#include "pipeline/shots/frame_loader.h"
#include "pipeline/views/kernel_probe.h"
#include "programs/command/commands.h"
#include "programs/command/rendering_session.h"

namespace focusfall {

namespace {

struct kernels_options {
    shared_options shared;
    std::vector<double> diameters = {3.0, 5.0, 9.0, 15.0, 25.0, 45.0};
    bool all_styles = false;
    std::string blur_image;  // empty: none
    std::string output;
};

void draw_kernels(kernels_options options) {
    options.shared.quiet = true;  // the times of such small frames interest nobody
    rendering_session session(options.shared);
    headless::tool& tool = session.tool();
    if (!options.blur_image.empty()) {
        frame_files files;
        files.input = options.blur_image;
        frame_loader loader({}, available_memory());
        const loaded_frame shape = loader.load(loader.open(files, false));
        tool.connect("BlurImage", shape.image.get());
    }

    std::vector<std::vector<Owned<Image>>> rows;
    const auto add_row = [&] {
        auto& row = rows.emplace_back();
        for (const double diameter : options.diameters) {
            row.push_back(probed_kernel(tool, diameter));
        }
    };
    if (options.all_styles) {
        for (const std::string& style : tool.find("BlurStyle").info().items) {
            tool.set("BlurStyle", style);
            add_row();
        }
    } else {
        add_row();
    }
    session.stop().check();
    std::vector<std::string> labels;
    for (const double diameter : options.diameters) {
        labels.push_back(headless::shortest(diameter));
    }
    write_preview(*kernel_sheet(rows, labels), options.output);
}

}  // namespace

void add_kernels_command(CLI::App& app) {
    auto options = std::make_shared<kernels_options>();
    CLI::App* verb = app.add_subcommand(
        "kernels", "Draw the blur of one bright pixel, style by style");
    verb->add_option("-o,--output", options->output, "Picture to write")
        ->type_name("FILE")
        ->required();
    verb->add_option("--diameter", options->diameters,
                     "Blur diameter in pixels (repeatable, or a list with commas)")
        ->delimiter(',')
        ->check(CLI::Range(0.01, 200.0))
        ->capture_default_str();
    verb->add_option("--blur-image", options->blur_image, "Picture of the blur's shape")
        ->type_name("FILE");
    verb->add_flag("--all-styles", options->all_styles, "Draw a row for each style");
    options->shared.add_tool_options(*verb);
    verb->callback([options] { draw_kernels(*options); });
}

}  // namespace focusfall
