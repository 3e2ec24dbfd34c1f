#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "pipeline/inspection/inspection.h"
#include "pipeline/inspection/report_text.h"
#include "pipeline/process/memory_limit.h"
#include "programs/command/asked_shot.h"
#include "programs/command/message.h"
#include "programs/command/picture_verbs.h"

namespace focusfall {

namespace {

inspection_order order_of(const inspect_line& line) {
    inspection_order order;
    order.files.input = line.input.input;
    order.files.depth_map = line.input.depth_map;
    order.load = line.input.load;
    for (const std::string& text : line.pixels) {
        order.pixels.push_back(parse_focus_points(text).points.front());
    }
    if (line.focus.is_given()) order.focus = parse_focus_points(line.focus.text);
    order.has_settings = line.input.lens_from_header || !line.shared.edits.empty() ||
                         !line.shared.settings.empty();
    order.max_bytes = available_memory();
    return order;
}

inspection found_by(const inspect_line& line) {
    const inspection_order order = order_of(line);
    if (order.pixels.empty() && !order.focus && !line.input.lens_from_header) {
        return inspect(order, nullptr);
    }
    inspection found;
    try {
        shared_options shared = line.shared;
        shared.quiet = true;  // what a render would say of edits is not asked here
        line.input.prepare_lens(shared);
        session opened = opened_session(shared);
        const auto tool = created_tool(opened, shared);
        const std::string lens =
            take_lens(*tool, line.input, with_input({}, line.input), shared);
        found = inspect(order, tool.get());
        found.lens = lens;
    } catch (const headless::host_error& error) {
        found = inspect(order, nullptr);
        found.fault = error.what();
    }
    return found;
}

void print_text(const inspection& found) {
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

void print_json(const inspection& found) {
    constexpr auto REPLACE = nlohmann::ordered_json::error_handler_t::replace;
    std::cout << json_of(found).dump(2, ' ', false, REPLACE) << "\n";
}

}  // namespace

void run(const inspect_line& line) {
    line.focus.check(line.shared);
    guard_memory(available_memory());
    const inspection found = found_by(line);
    line.as_json ? print_json(found) : print_text(found);
    if (!found.fault.empty()) throw headless::host_error(found.fault);
}

}  // namespace focusfall
