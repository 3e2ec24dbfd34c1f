#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "pipeline/inspection/focus_points.h"
#include "pipeline/inspection/picture_report.h"
#include "pipeline/inspection/pixel_report.h"
#include "pipeline/inspection/report_text.h"
#include "pipeline/process/memory_limit.h"
#include "programs/command/commands.h"
#include "programs/command/focus_option.h"
#include "programs/command/input_options.h"
#include "programs/command/message.h"
#include "programs/command/shared_options.h"

namespace focusfall {

namespace {

struct inspect_line {  // NOLINT(bugprone-exception-escape)
    shared_options shared;
    input_options input;
    focus_option focus;
    std::vector<std::string> pixels;  // to look at
    bool as_json = false;
};

// What the command prints, in this order.
struct findings {
    std::vector<picture_report> files;  // the input, and the depth map if there is one
    std::vector<pixel_report> pixels;
    std::string lens;   // what was taken of the header; may be empty, as the next
    std::string focus;  // the edit that the focus was set by
    std::string fault;  // why pixels could not be told
};

// Nothing about settings that nobody gave.
pixel_report without_settings(pixel_report pixel) {
    pixel.distance_mm.reset();
    pixel.diameter.reset();
    return pixel;
}

// Looks at pixels as a render would get them; gives the input's file. Without pixels the
// frame need not be one that can be rendered.
picture look_at_frame(const inspect_line& line, std::uint64_t max_bytes,
                      findings& found) {
    shared_options shared = line.shared;
    shared.quiet = true;  // what a render would say of edits is not asked here
    line.input.prepare_lens(shared);
    session opened = opened_session(shared);
    const auto tool = created_tool(opened, shared);
    shot_options shot;
    shot.input = line.input.input;
    shot.depth_map = line.input.depth_map;
    shot.load = line.input.load;
    found.lens = line.input.take_lens(*tool, shot, shared);
    if (line.pixels.empty() && !line.focus.is_given()) {
        return read_picture(line.input.input, max_bytes);
    }
    frame_loader loader(line.input.load, max_bytes);
    frame_files files;
    files.input = line.input.input;
    files.depth_map = line.input.depth_map;
    frame_probe probe(loader, line.input.load, files, *tool, 0, line.focus.is_given());
    if (line.focus.is_given()) {
        found.focus = set_focus(*tool, parse_focus_points(line.focus.text),
                                [&](const focus_point& point) {
                                    return probe.depth_around(point.x, point.y);
                                });
        probe.look_again();
    }
    const bool has_settings = line.focus.is_given() || line.input.lens_from_header ||
                              !shared.edits.empty() || !shared.settings.empty();
    for (const std::string& text : line.pixels) {
        const focus_point point = parse_focus_points(text).points.front();
        const pixel_report pixel = probe.at(point.x, point.y);
        found.pixels.push_back(has_settings ? pixel : without_settings(pixel));
    }
    return probe.take_file();
}

findings found_by(const inspect_line& line) {
    const std::uint64_t max_bytes = available_memory();
    const bool asks_frame =
        !line.pixels.empty() || line.focus.is_given() || line.input.lens_from_header;
    const load_choices& load = line.input.load;
    const bool has_map = !line.input.depth_map.empty();
    findings found;
    const auto looked_at = [&] {
        if (!asks_frame) return read_picture(line.input.input, max_bytes);
        try {
            return look_at_frame(line, max_bytes, found);
        } catch (const headless::host_error& error) {
            // what the file holds is told even so, for it leads to what can be asked
            found.fault = error.what();
            return read_picture(line.input.input, max_bytes);
        }
    };
    const picture input = looked_at();
    found.files.push_back(
        inspected(input, line.input.input,
                  {has_map ? picture_role::INPUT_WITH_MAP : picture_role::INPUT,
                   load.layers, load.depth_channel, load.encoding, load.depth}));
    if (has_map) {
        found.files.push_back(inspected(read_picture(line.input.depth_map, max_bytes),
                                        line.input.depth_map,
                                        {picture_role::DEPTH_MAP,
                                         {},
                                         load.depth_channel,
                                         load.encoding,
                                         load.depth}));
    }
    return found;
}

void print_text(const findings& found) {
    std::string text;
    for (const picture_report& file : found.files) text += shown(file);
    if (!found.lens.empty()) text += found.lens + "\n";
    if (!found.focus.empty()) text += "focus " + found.focus + "\n";
    for (const pixel_report& pixel : found.pixels) text += shown(pixel) + "\n";
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::cout << printable(line) << "\n";
    }
}

void print_json(const findings& found) {
    nlohmann::ordered_json all = json_of(found.files.front());
    if (found.files.size() > 1) all["depth_map"] = json_of(found.files.back());
    if (!found.lens.empty()) all["lens"] = found.lens;
    if (!found.focus.empty()) all["focus"] = found.focus;
    if (!found.pixels.empty()) {
        all["pixels"] = nlohmann::ordered_json::array();
        for (const auto& pixel : found.pixels) all["pixels"].push_back(json_of(pixel));
    }
    std::cout << all.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
              << "\n";
}

void inspect(const inspect_line& line) {
    line.focus.check(line.shared);
    guard_memory(available_memory());
    const findings found = found_by(line);
    line.as_json ? print_json(found) : print_text(found);
    if (!found.fault.empty()) throw headless::host_error(found.fault);
}

// What is wrong with a pixel to look at; empty when nothing is.
std::string fault_of_pixel(const std::string& text) {
    const std::string fault = accepted_by(parse_focus_points)(text);
    if (!fault.empty()) return fault;
    const focus_points points = parse_focus_points(text);
    const bool is_plain = points.points.size() == 1 && !points.points.front().frame;
    return is_plain ? "" : "\"" + text + "\": is not one pixel; write X,Y";
}

}  // namespace

void add_inspect_command(CLI::App& app) {
    auto line = std::make_shared<inspect_line>();
    CLI::App* verb = app.add_subcommand(
        "inspect", "Tell what is in a picture, and what its depth seems to be");
    line->input.add_to(*verb, "Picture to look at");
    verb->add_option("--at", line->pixels,
                     "Pixel to look at, from 0,0 at the top left (repeatable)")
        ->type_name("X,Y")
        ->allow_extra_args(false)
        ->check(fault_of_pixel);
    line->focus.add_to(*verb);
    verb->add_flag("--json", line->as_json, "Print JSON instead of text");
    line->shared.add_tool_options(*verb);
    verb->callback([line] { inspect(*line); });
}

}  // namespace focusfall
