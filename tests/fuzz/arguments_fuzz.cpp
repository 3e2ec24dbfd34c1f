// Any text as an argument of --set, --frames, --focus-at or the options that say how
// depth and light are read, as a file name with frame numbers, as the record of a render,
// or as the names of channels and a name to find among them, chosen by its first letter.

#include <cmath>
#include <set>
#include <sstream>

#include "host/text.h"
#include "pipeline/inspection/focus_points.h"
#include "pipeline/pictures/channel_choice.h"
#include "pipeline/pictures/color_encoding.h"
#include "pipeline/preparation/depth_mapping.h"
#include "pipeline/preparation/light_steps.h"
#include "pipeline/session/session.h"
#include "pipeline/settings/setting_value.h"
#include "pipeline/shots/frame_range.h"
#include "pipeline/shots/shot_record.h"
#include "tests/fuzz/fuzzing.h"

using namespace focusfall;

namespace {

session_options options_with(const std::string& edit) {
    session_options options;
    options.plugins = {PLUGIN_FILE};
    options.threads = 1;
    if (!edit.empty()) options.edits = {edit};
    return options;
}

// What an accepted edit shows must be accepted again, and show the same.
void check_edit(const std::string& edit) {
    if (edit.find('=') == edit.npos) return;  // the command line refuses it
    const std::string id = edit.substr(0, edit.find('='));
    expect_named_errors(id, [&] {
        const auto tool = session(options_with(edit)).create_tool();
        const headless::control& input = tool->find(id);
        const std::string shown = shown_setting(input);
        adjustment_note(input.info(), edit.substr(id.size() + 1));
        expect(adjustment_note(input.info(), shown).empty(), shown + " is adjusted");
        tool->replace(id, parsed_setting(input.info(), shown));
        expect(shown_setting(input) == shown, id + ": " + shown + " does not come back");
    });
}

void check_frames(const std::string& text) {
    expect_named_errors("frames \"" + text, [&] {
        const std::vector<int> frames = parse_frames(text);
        expect(!frames.empty() && frames.size() <= 100'000, "the number of frames");
        const std::set<int> once(frames.begin(), frames.end());
        expect(once.size() == frames.size(), "a frame is listed twice");
        expect(parse_frames(shown_frames(frames)) == frames, "frames do not come back");
    });
}

void check_pattern(const std::string& name) {
    std::set<std::string> names;
    const std::vector<int> frames{-2147483647 - 1, -1, 0, 1, 9, 10, 11, 2147483647};
    for (const int frame : frames) names.insert(frame_name(name, frame));
    if (has_frame_pattern(name)) {
        expect(names.size() == frames.size(), "two frames have one name");
        for (const int frame : frames) {
            const auto number = frame_number(name, frame_name(name, frame));
            expect(number == frame, "a frame is not found by its name");
        }
    } else {
        expect(names == std::set{name}, "a name without numbers changes");
    }
}

// The first word is looked for among channels called as the others. Whatever name is
// offered must be taken.
void check_names(const std::string& text) {
    std::istringstream words(text);
    std::string asked;
    words >> asked;
    std::set<std::string> channels;  // a file with two of one name is refused
    for (std::string word; words >> word;) channels.insert(word);
    OIIO::ImageSpec spec(1, 1, static_cast<int>(channels.size()), OIIO::TypeDesc::HALF);
    spec.channelnames.assign(channels.begin(), channels.end());
    picture file;
    file.push_back({spec, nullptr});

    expect_named_errors("", [&] { choose_colors(file, {asked}); });
    expect_named_errors("",
                        [&] { choose_depth(file, choose_color(file, asked), asked); });
    for (const color_channels& color : color_candidates(file)) {
        const std::string name = layer_name(file, color);
        expect(choose_color(file, name).red == color.red, name + " is not taken");
        for (const channel_place& depth : depth_candidates(file, color)) {
            const std::string channel = full_name(file, depth);
            expect(choose_depth(file, color, channel) == depth,
                   channel + " is not taken");
        }
    }
}

// Points that are accepted must be accepted again as they are shown.
void check_focus(const std::string& text) {
    expect_named_errors("\"" + text, [&] {
        const focus_points points = parse_focus_points(text);
        std::vector<std::string> shown;
        for (const focus_point& point : points.points) shown.push_back(point.shown());
        if (points.is_smooth) shown.push_back(SMOOTH);
        const focus_points again = parse_focus_points(headless::joined(shown, ","));
        expect(again.points.size() == points.points.size(), "a point is lost");
        for (std::size_t i = 0; i < again.points.size(); ++i) {
            expect(again.points[i].shown() == points.points[i].shown(), "a point moves");
        }
    });
}

// What is accepted must be accepted again as it is shown, and show the same.
template <class Parse, class Show>
void check_shown(const std::string& text, const Parse& parse, const Show& show) {
    expect_named_errors("\"" + text, [&] {
        const std::string shown = show(parse(text));
        expect(show(parse(shown)) == shown, shown + " does not come back");
    });
}

void check_reading(const std::string& text) {
    const auto shows = [](const auto& choice) { return shown(choice); };
    check_shown(text, named_depth_meaning, shows);
    check_shown(text, parsed_empty_depth, shows);
    check_shown(text, parsed_highlights, shows);
    check_shown(text, color_encoding::named,
                [](const color_encoding& encoding) { return encoding.name(); });
}

// The record of a picture: refused by a message that names the picture, or settings that
// a tool takes or refuses by a message.
void check_record(const std::string& text) {
    OIIO::ImageSpec spec(1, 1, 1, OIIO::TypeDesc::HALF);
    spec.attribute("focusfall", text);
    picture file;
    file.push_back(empty_part(spec));
    static const std::filesystem::path name = write_scratch_file("-record.exr", {}, 0);
    write_picture(file, name);
    expect_named_errors(name.string(), [&] {
        session_options options = options_with("");
        shot_options given;
        given.input = given.depth_map = given.blur_image = given.background = "there";
        options.start = render_recorded_in(name, given).settings;
        expect_named_errors("", [&] { session(options).create_tool(); });
        render_recorded_in(name, {});  // with the files that it names
    });
}

// The words are a meaning, millimetres, a near and a far distance and depths: what is a
// depth stays one, and comes back.
void check_mapping(const std::string& text) {
    std::istringstream words(text);
    std::string meaning;
    depth_choices choices;
    depth_controls controls{.is_lens = true, .normalized = true};
    words >> meaning;
    if (double scale = 0.0; words >> scale && scale >= 1e-30 && scale <= 1e30) {
        choices.scale = scale;
        controls.normalized = false;
    }
    words.clear();
    words >> controls.near_distance >> controls.far_distance;
    if (!(controls.near_distance >= 1e-4 && controls.far_distance >= 1e-4)) return;
    expect_named_errors("", [&] {
        choices.meaning = named_depth_meaning(meaning);
        const depth_mapping mapping(choices, controls);
        for (float depth = 0.0F; words >> depth;) {
            if (!std::isfinite(depth)) continue;
            const float for_tool = mapping.for_tool(depth);
            expect(!std::isnan(for_tool), "a depth becomes none");
            expect(!std::isnan(mapping.in_map(for_tool)), "a depth does not come back");
        }
    });
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    // keeps the plug-in loaded, so that the fuzzer can measure its coverage
    static session opened(options_with(""));
    const auto folder = corpus_folder(*argc, *argv);
    if (folder.empty()) return 0;
    int seeds = 0;
    const auto seed = [&](const std::string& text) {
        std::ofstream(folder / ("seed-" + std::to_string(++seeds))) << text;
    };
    for (const char* text :
         {"f1-48",
          "f1-96x2",
          "f-3--1,1-10,20,30-40",
          "pname.####.exr",
          "pname.%04d.exr",
          "sFocusPosition=1:1200,24:3,48:1e3,smooth",
          "a480,270",
          "a1:480,270,24:700,-300,smooth",
          "rinverse",
          "rray",
          "rfar",
          "rnear",
          "r0=far",
          "r65504=1e30",
          "r-inf=near",
          "r8,0.8",
          "rCineon",
          "rGamma2.2",
          "rrec709",
          R"(j{"tool": "x", "version": "1", "input": {"file": "/in.exr", "time": "a"},)"
          R"( "read": {"layer": ["left"], "depth-as": "ray", "empty-depth": "0=far",)"
          R"( "highlights": "8,0.8", "colorspace": "sRGB", "depth-scale": 10},)"
          R"( "write": {"data-type": "float"}, "settings": {"MaxBlurSize": 4,)"
          R"( "BlurStyle": "Polygon", "FocusPosition": [[1, 2], [3, 4]]}})",
          "minverse 10 300 1000 0 0.5 1 1e30",
          "minverse 0 300 1000 0 0.5 1",
          "mray 1000 1 1 5",
          "mdistance 1e-30 1 1 1e38",
          "nCombined ViewLayer.Combined.R ViewLayer.Combined.G ViewLayer.Combined.B",
          "nrgba R G B A rgba.r rgba.g rgba.b depth.Z N.X N.Y N.Z Mist.Z"}) {
        seed(text);
    }
    const auto tool = opened.create_tool();
    for (const headless::control* input : tool->controls()) {
        seed("s" + input->info().id + "=" + shown_setting(*input));
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return -1;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (text.find('\0') != text.npos) return -1;  // an argument ends there
    switch (data[0]) {
        case 's': check_edit(text); break;
        case 'a': check_focus(text); break;
        case 'f': check_frames(text); break;
        case 'p': check_pattern(text); break;
        case 'n': check_names(text); break;
        case 'j': check_record(text); break;
        case 'r': check_reading(text); break;
        case 'm': check_mapping(text); break;
        default: return -1;
    }
    return 0;
}
