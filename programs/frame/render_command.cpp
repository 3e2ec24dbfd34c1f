#include <cstdio>
#include <limits>
#include <utility>

#include "host/headless_host.h"
#include "programs/frame/commands.h"
#include "programs/frame/made_up_scene.h"
#include "programs/frame/raw_frame.h"

namespace {

struct render_options {
    std::string plugin;
    std::string input;  // empty: the made-up scene
    std::string depth;  // empty: the Z of the input
    std::string output;
    std::vector<std::pair<std::string, std::string>> values;  // of controls, in order
    std::int32_t width = 0;
    std::int32_t height = 0;
    int threads = 0;
};

std::int32_t count_in(const std::string& text, const std::string& option) {
    const double value = number_in(text, option);
    const auto count = static_cast<std::int32_t>(
        value >= 1.0 && value <= std::numeric_limits<std::int32_t>::max() ? value : 0.0);
    if (count < 1 || count != value) {
        throw usage_error(option + ": \"" + text + "\" is not a whole number above 0");
    }
    return count;
}

// The two halves of `text` around `sign`.
std::pair<std::string, std::string> halves(const std::string& text, char sign,
                                           const std::string& option,
                                           const std::string& form) {
    const std::size_t middle = text.find(sign);
    if (middle == std::string::npos) {
        throw usage_error(option + " " + text + ": wants the form " + form);
    }
    return {text.substr(0, middle), text.substr(middle + 1)};
}

void read_option(render_options& options, const std::string& option,
                 const std::string& value) {
    if (option == "--plugin") {
        options.plugin = value;
    } else if (option == "--input") {
        options.input = value;
    } else if (option == "--depth") {
        options.depth = value;
    } else if (option == "--output") {
        options.output = value;
    } else if (option == "--threads") {
        options.threads = count_in(value, option);
    } else if (option == "--set") {
        options.values.push_back(halves(value, '=', option, "ID=VALUE"));
    } else if (option == "--size") {
        const auto [width, height] = halves(value, 'x', option, "WIDTHxHEIGHT");
        options.width = count_in(width, option);
        options.height = count_in(height, option);
    } else {
        throw usage_error("render has no option \"" + option + "\"");
    }
}

render_options options_in(const std::vector<std::string>& arguments) {
    render_options options;
    for (std::size_t i = 0; i < arguments.size(); i += 2) {
        if (i + 1 == arguments.size()) {
            throw usage_error(arguments[i] + ": wants a value behind it");
        }
        read_option(options, arguments[i], arguments[i + 1]);
    }
    if (options.plugin.empty() || options.output.empty() || options.width == 0) {
        throw usage_error("render wants --plugin, --size and --output");
    }
    return options;
}

void print_to_standard_error(int /*sub_id*/, const std::string& text) {
    std::fputs(text.c_str(), stderr);
}

}  // namespace

void run_render_command(const std::vector<std::string>& arguments) {
    const render_options options = options_in(arguments);
    headless::host host(options.threads, print_to_standard_error);
    host.load_plugin(options.plugin);
    const auto tool = host.create_tool(host.classes().front().id);

    const auto input = options.input.empty()
                           ? made_up_scene(options.width, options.height)
                           : read_raw_image(options.input, options.width, options.height);
    tool->connect("Input", input.get());
    if (!options.depth.empty()) {
        tool->connect("DepthMap",
                      read_raw_image(options.depth, options.width, options.height).get());
    }
    tool->open_page();
    for (const auto& [id, value] : options.values) tool->set(id, value);

    const headless::frame frame = tool->render();
    if (frame.how != headless::frame::end::DONE) throw headless::host_error(frame.error);
    write_raw_image(options.output, *frame.image);
}
