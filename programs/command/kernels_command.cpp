#include <string>
#include <vector>

#include "host/text.h"
#include "pipeline/pictures/image_file.h"
#include "pipeline/process/memory_limit.h"
#include "pipeline/shots/frame_loader.h"
#include "pipeline/views/kernel_probe.h"
#include "programs/command/picture_verbs.h"
#include "programs/command/rendering_session.h"

namespace focusfall {

void run(const kernels_line& line) {
    shared_options shared = line.shared;
    shared.quiet = true;  // the times of such small frames interest nobody
    rendering_session session(shared);
    headless::tool& tool = session.tool();
    if (!line.blur_image.empty()) {
        frame_files files;
        files.input = line.blur_image;
        frame_loader loader({}, available_memory());
        const loaded_frame shape = loader.load(loader.open(files, false));
        tool.connect("BlurImage", shape.image.get());
    }

    std::vector<std::vector<Owned<Image>>> rows;
    const auto add_row = [&] {
        auto& row = rows.emplace_back();
        for (const double diameter : line.diameters) {
            row.push_back(probed_kernel(tool, diameter));
        }
    };
    if (line.all_styles) {
        for (const std::string& style : tool.find("BlurStyle").info().items) {
            tool.set("BlurStyle", style);
            add_row();
        }
    } else {
        add_row();
    }
    session.stop().check();
    std::vector<std::string> labels;
    for (const double diameter : line.diameters) {
        labels.push_back(headless::shortest(diameter));
    }
    write_preview(*kernel_sheet(rows, labels), line.output);
}

}  // namespace focusfall
