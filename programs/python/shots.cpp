#include "programs/python/shots.h"

#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

#include "host/error.h"
#include "pipeline/inspection/shot_focus.h"
#include "pipeline/pictures/picture_format.h"
#include "pipeline/process/memory_limit.h"
#include "pipeline/settings/hidden_controls.h"
#include "pipeline/settings/lens_note.h"
#include "pipeline/shots/header_lens.h"
#include "pipeline/shots/shot.h"
#include "pipeline/shots/shot_files.h"
#include "pipeline/shots/shot_record.h"
#include "programs/python/interruptible.h"
#include "programs/python/options.h"

namespace focusfall {

namespace {

using headless::host_error;

const char* shown(frame_outcome outcome) {
    switch (outcome) {
        case frame_outcome::DONE: return "done";
        case frame_outcome::FAILED: return "failed";
        case frame_outcome::SKIPPED: return "skipped";
        case frame_outcome::MISSING: break;
    }
    return "missing";
}

json json_of_report(const frame_report& report) {
    return {{"frame", report.frame},
            {"output", report.files.output.string()},
            {"outcome", shown(report.outcome)},
            {"error", report.error},
            {"read_seconds", report.read_seconds},
            {"render_seconds", report.render_seconds},
            {"write_seconds", report.write_seconds},
            {"largest_blur", report.largest_blur}};
}

// Keeps what a shot tells until the thread of the interpreter fetches it.
class shot_teller : public shot_observer {
  public:
    void begins(const shot_plan& plan) override { to_render_ = plan.to_render.size(); }
    void notes(const std::filesystem::path& file, const std::string& text) override {
        add({"note", file.string() + ": " + text});
    }
    void renders(std::size_t before, double part) override {
        part_ = (static_cast<double>(before) + part) / static_cast<double>(to_render_);
    }
    void ends(const frame_report& report) override {
        add({"frame", json_of_report(report)});
    }
    void fails(const std::string& text) override { say(text); }
    bool is_stopped() const override { return stopped_; }

    void say(const std::string& text) { add({"note", text}); }
    void stop() { stopped_ = true; }
    // Calls tell(kind, what) for all that came. [holding the interpreter's lock]
    void fetch(const py::object& tell) {
        std::vector<event> events;
        {
            const std::scoped_lock lock(mutex_);
            events.swap(events_);
        }
        for (const auto& [kind, what] : events) tell(kind, object_of_json(what));
        const double part = part_;
        if (part == told_) return;
        told_ = part;
        tell("progress", part);
    }

  private:
    struct event {
        const char* kind;
        json what;
    };

    void add(event one) {
        const std::scoped_lock lock(mutex_);
        events_.push_back(std::move(one));
    }

    std::size_t to_render_ = 0;  // the rendering thread's
    std::atomic<bool> stopped_ = false;
    std::atomic<double> part_ = 0.0;
    double told_ = 0.0;  // the interpreter's
    std::mutex mutex_;
    std::vector<event> events_;  // under the mutex
};

missing_frames missing_named(const std::string& name) {
    if (name == "error") return missing_frames::FAIL;
    if (name == "skip") return missing_frames::SKIP;
    if (name == "nearest") return missing_frames::NEAREST;
    throw host_error("missing: is error, skip or nearest, not \"" + name + "\"");
}

// Frames as the command lists them, or their numbers.
std::vector<int> frames_in(const json& frames, const std::string& input) {
    if (frames.is_null()) return {};
    if (frames.is_string()) return listed_frames(frames.get<std::string>(), input);
    std::vector<int> numbers;
    for (const json& frame : frames) {
        if (!frame.is_number_integer()) {
            throw host_error("frames: takes whole numbers, not " + frame.dump());
        }
        numbers.push_back(frame.get<int>());
    }
    if (numbers.empty()) throw host_error("frames: has none; leave it out for a picture");
    return numbers;
}

// The shot, with what the record adds that it may name.
recorded_render shot_in(const json& given) {
    recorded_render render;
    shot_options& options = render.shot;
    options.input = given.value("input", "");
    options.depth_map = given.value("depth_map", "");
    options.blur_image = given.value("blur_image", "");
    options.background = given.value("background", "");
    options.output = given.value("output", "");
    options.preview = given.value("preview", "");
    options.log = given.value("log", "");
    if (given.contains("view"))
        options.view = view_named(given["view"].get<std::string>());
    options.frames = frames_in(given.value("frames", json()), options.input);
    options.missing = missing_named(given.value("missing", "error"));
    options.skip_existing = given.value("skip_existing", false);
    options.load = load_choices_of(given.at("read"));
    options.output_as = output_choices_of(given.at("write"));
    options.output_as.encoding = options.load.encoding;
    options.memory_limit = given.contains("memory_limit")
                               ? given["memory_limit"].get<std::uint64_t>()
                               : available_memory();
    const std::string record = given.value("from_record", "");
    if (!record.empty()) render = render_recorded_in(record, shot_options(options));
    if (output_format(options.output).has_named_channels) {
        check_compression(options.output_as.compression);
    }
    if (!options.preview.empty()) output_format(options.preview);
    check_names(options);
    return render;
}

// What the user should know of the settings before the render.
void tell_doubts(headless::tool& tool, const json& given, const recorded_render& render,
                 shot_teller& teller) {
    const std::string record = given.value("from_record", "");
    if (!record.empty()) {
        for (const std::string& doubt : render.doubts(record, FOCUSFALL_VERSION)) {
            teller.say(doubt);
        }
    }
    const auto edited = given.value("values", std::vector<std::string>());
    for (const std::string& line : edits_without_effect(tool, edited)) teller.say(line);
    const std::string lens = lens_note(tool);
    if (!lens.empty()) teller.say(lens);
}

// What the shot's own pictures say of the tool's settings.
void follow_pictures(headless::tool& tool, const json& given, const shot_options& options,
                     shot_teller& teller) {
    if (given.value("lens_from_header", false)) {
        const auto kept = given.value("values", std::vector<std::string>());
        teller.notes(options.input, set_lens(tool, options, kept));
    }
    const std::string focus = given.value("focus_at", "");
    if (focus.empty()) return;
    const std::string edit = set_focus(tool, parse_focus_points(focus), options);
    teller.notes(options.input, edit + ", the depth at " + focus);
}

}  // namespace

std::unique_ptr<python_tool> recorded_tool(const std::string& id, int threads,
                                           const py::dict& arguments) {
    recorded_render render = shot_in(json_of_object(arguments, "render_shot"));
    session_options options;
    options.tool_id = id.empty() ? render.shot.tool_id : id;
    options.start = std::move(render.settings);
    options.threads = threads;
    return std::make_unique<python_tool>(options);
}

std::vector<int> render_files(python_tool& tool, const py::dict& arguments,
                              const py::object& tell, const py::object& cancel) {
    const json given = json_of_object(arguments, "render_shot");
    shot_teller teller;
    std::vector<int> failed;
    const auto work = [&] {
        recorded_render render = shot_in(given);
        shot_options& options = render.shot;
        options.tool_id = tool.id();
        options.version = FOCUSFALL_VERSION;
        tell_doubts(tool.tool(), given, render, teller);
        follow_pictures(tool.tool(), given, options, teller);
        failed = render_shot(options, tool.tool(), teller);
    };
    const auto tick = [&] {
        teller.fetch(tell);
        ask(cancel);
    };
    const auto stop = [&] {
        teller.stop();
        tool.tool().abort();
    };
    try {
        run_interruptibly(work, tick, stop);
    } catch (...) {
        tool.tool().clear_abort();
        throw;
    }
    teller.fetch(tell);
    return failed;
}

}  // namespace focusfall
