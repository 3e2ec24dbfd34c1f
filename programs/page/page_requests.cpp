#include "programs/page/page_requests.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <utility>

#include "host/error.h"
#include "pipeline/inspection/report_text.h"
#include "pipeline/settings/presets.h"
#include "pipeline/settings/settings_file.h"
#include "pipeline/shots/background_loader.h"
#include "pipeline/shots/render_forecast.h"
#include "pipeline/shots/shot_files.h"
#include "programs/page/copied_line.h"
#include "programs/page/page_files.h"
#include "programs/page/page_paths.h"

namespace focusfall {

namespace {

using headless::host_error;

constexpr double MAX_STOPS = 20.0;

// JSON of a few levels at most.
constexpr int MAX_DEPTH = 4;

page_json parsed(const std::string& text) {
    const auto check_depth = [](int depth, page_json::parse_event_t, const page_json&) {
        if (depth > MAX_DEPTH) throw host_error("the request is nested too deeply");
        return true;
    };
    page_json body;
    try {
        body = page_json::parse(text, check_depth);
    } catch (const page_json::exception&) {
        throw host_error("the request is not valid JSON");
    }
    if (!body.is_object()) throw host_error("the request must be one JSON object, {...}");
    return body;
}

// A member of the request's body of that type. Throws host_error that names it.
template <class T>
T member(const page_json& body, const char* name) {
    try {
        return body.at(name).get<T>();
    } catch (const page_json::exception&) {
        throw host_error(std::string("the request needs \"") + name +
                         "\" of another type, or at all");
    }
}

std::int64_t whole_member(const page_json& body, const char* name) {
    const auto found = body.find(name);
    if (found == body.end() || !found->is_number_integer()) {
        throw host_error(std::string("the request needs a whole number \"") + name +
                         "\"");
    }
    return found->get<std::int64_t>();
}

std::string text_or_empty(const page_json& body, const char* name) {
    return body.contains(name) ? member<std::string>(body, name) : "";
}

// A number of the query; `otherwise` when there is none. Throws host_error.
template <class T>
T query_number(const page_request& request, const char* name, T otherwise) {
    const auto found = request.query.find(name);
    if (found == request.query.end()) return otherwise;
    const std::string& text = found->second;
    T number{};
    const auto [stop, error] =
        std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || stop != text.data() + text.size()) {
        throw host_error(std::string("\"") + name + "\" must be a number");
    }
    return number;
}

std::string query_text(const page_request& request, const char* name,
                       const std::string& otherwise) {
    const auto found = request.query.find(name);
    return found == request.query.end() ? otherwise : found->second;
}

bool is_true(const page_json& body, const char* name) {
    return body.contains(name) && member<bool>(body, name);
}

page_json presets() {
    page_json all = page_json::array();
    for (const preset& one : installed_presets()) {
        all.push_back(
            {{"name", one.name}, {"comment", one.content.value("comment", "")}});
    }
    return all;
}

std::string preset_file(const std::string& name) {
    for (const preset& one : installed_presets()) {
        if (one.name == name) return one.file.string();
    }
    throw host_error("there is no preset \"" + name + "\"");
}

std::string dumped(const page_json& json) {
    return json.dump(-1, ' ', false, page_json::error_handler_t::replace);
}

page_answer json_answer(const page_json& json) {
    return {.type = "application/json", .body = dumped(json)};
}

}  // namespace

page_requests::page_requests(const shot_options& shot, session& opened,
                             headless::tool& tool)
    : shot_(shot),
      session_(opened),
      tools_{{shot.tool_id, &tool}},
      settings_(tool, frames_of(shot).front()),
      maker_(shot, tool, frames_of(shot).front(),
             [this](int frame, const std::string& error) {
                 link_.run([this, frame, error] { take_frame(frame, error); });
             }) {}

// A frame was read, or cannot be.
void page_requests::take_frame(int frame, const std::string& error) {
    if (frame != settings_.frame()) return;  // another one is on its way
    if (!error.empty()) frame_fault_ = error;
    link_.tell(event_text("state", dumped(state())));
    for (auto& [request, to] : std::exchange(waiting_, {})) answer(request, to);
}

// What a frame holds is not known before it was read.
bool page_requests::must_wait(const page_request& request) const {
    const bool looks = request.path == "api/focus" || request.path == "api/pixel";
    return looks && !frame_fault_ && maker_.frame()->number() != settings_.frame();
}

void page_requests::answer(const page_request& request,
                           std::shared_ptr<pending_answer> to) {
    try {
        if (request.path == "api/picture") {
            return wait_for_picture(request, to);
        }
        if (must_wait(request)) {
            waiting_.emplace_back(request, to);
            return maker_.read_frame();
        }
        to->send(request.method == "POST" ? edited(request) : answered(request));
    } catch (const host_error& error) {
        to->send(refused(400, error.what()));
    } catch (const std::exception& error) {
        to->send(refused(500, error.what()));
    }
}

page_answer page_requests::answered(const page_request& request) {
    if (request.path == "api/state") return json_answer(state());
    if (request.path == "api/controls") return json_answer(settings_.controls());
    if (request.path == "api/line") return json_answer(line(request));
    if (request.path == "api/presets") return json_answer(presets());
    if (request.path == "api/pixel") return json_answer(pixel(request));
    const page_file* file = find_page_file(request.path);
    if (!file) return refused(404, "there is nothing of that name");
    return {.type = file->type, .body = std::string(file->content)};
}

page_answer page_requests::edited(const page_request& request) {
    constexpr std::string_view API = "api/";
    if (!request.path.starts_with(API)) {
        return refused(405, "files of the page are only read");
    }
    const std::string what = request.path.substr(API.size());
    const page_json body = parsed(request.body);
    if (what == "save") return json_answer(save(body));
    if (what == "render") return json_answer(render(body));
    if (what == "stop") {
        if (job_) job_->stop();
        return json_answer(page_json::object());
    }
    edit(what, body);
    page_json now = state();
    link_.tell(event_text("state", dumped(now)));
    return json_answer(now);
}

void page_requests::edit(const std::string& what, const page_json& body) {
    const std::string group = text_or_empty(body, "group");
    if (what == "frame") return show(static_cast<int>(whole_member(body, "frame")));
    if (what == "set") {
        settings_.set(member<std::string>(body, "id"), member<page_json>(body, "value"),
                      group);
    } else if (what == "replace") {
        settings_.replace(member<std::string>(body, "id"),
                          member<page_json>(body, "value"), group);
    } else if (what == "focus") {
        set_focus(body);
    } else if (what == "tool") {
        take_tool(member<std::string>(body, "tool"));
    } else if (what == "reset") {
        settings_.reset(text_or_empty(body, "id"));
    } else if (what == "open") {
        settings_.open(page_path(member<std::string>(body, "file"), ".json"));
    } else if (what == "preset") {
        settings_.open(preset_file(member<std::string>(body, "name")));
    } else if (what == "undo") {
        settings_.undo();
    } else if (what == "redo") {
        settings_.redo();
    } else {
        throw host_error("there is no request \"" + what + "\"");
    }
    maker_.values_changed(settings_.tool());
}

void page_requests::set_focus(const page_json& body) {
    const focus_mark mark{whole_member(body, "x"), whole_member(body, "y"),
                          settings_.frame()};
    const auto depth = static_cast<double>(probe().depth_around(mark.x, mark.y));
    settings_.set_focus(mark, depth, text_or_empty(body, "group"));
}

void page_requests::take_tool(const std::string& name) {
    const headless::class_info wanted = session_.tool_class(name);
    headless::tool*& tool = tools_[wanted.id];
    if (!tool) tool = further_tools_.emplace_back(session_.new_tool(wanted)).get();
    if (!shot_.background.empty() && !takes_background(*tool)) {
        throw host_error("the " + short_tool_name(wanted.id) +
                         " tool takes no background; leave out --background");
    }
    settings_.take_tool(*tool);
}

headless::class_info page_requests::tool_class() const {
    const auto shown =
        std::ranges::find(tools_, &settings_.tool(),
                          &std::map<std::string, headless::tool*>::value_type::second);
    return session_.tool_class(shown->first);
}

page_json page_requests::tool_names() const {
    page_json names = page_json::array();
    for (const headless::class_info& known : session_.host().classes()) {
        names.push_back(short_tool_name(known.id));
    }
    return names;
}

void page_requests::show(int frame) {
    const std::vector<int> frames = frames_of(shot_);
    if (std::ranges::count(frames, frame) == 0) {
        throw host_error("there is no frame " + std::to_string(frame) + " in this shot");
    }
    if (frame == settings_.frame()) return;
    settings_.show(frame);
    frame_fault_.reset();
    maker_.show(frame);
    // what was asked about the frame before is not meant for this one
    for (auto& [request, to] : std::exchange(waiting_, {})) {
        to->send(refused(409, "another frame was chosen"));
    }
}

const frame_probe& page_requests::probe() {
    if (frame_fault_) throw host_error(*frame_fault_);
    const auto frame = maker_.frame();
    if (frame != probed_frame_ || &settings_.tool() != probing_tool_) {
        probe_ = std::make_unique<frame_probe>(frame->full(), frame->files(),
                                               settings_.tool(), frame->number());
        probed_frame_ = frame;
        probing_tool_ = &settings_.tool();
    }
    probe_->look_again();
    return *probe_;
}

page_json page_requests::pixel(const page_request& request) {
    const auto x = query_number<std::int64_t>(request, "x", 0);
    const auto y = query_number<std::int64_t>(request, "y", 0);
    return json_of(probe().at(x, y));
}

page_json page_requests::line(const page_request& request) {
    const headless::class_info shown = tool_class();
    shot_options shot = shot_;
    shot.output = query_text(request, "output", output_name(shot_));
    shot.tool_id = shown.id;
    return {{"line", copied_line(shot, settings_.tool(), *session_.new_tool(shown))},
            {"output", shot.output}};
}

page_json page_requests::save(const page_json& body) {
    const auto name = member<std::string>(body, "file");
    save_edited_settings(page_output(name, ".json", is_true(body, "replace")),
                         settings_.tool(), {});
    return {{"file", name}};
}

// With a tool of its own, which has the values of this moment.
page_json page_requests::render(const page_json& body) {
    if (job_ && job_->is_running()) {
        throw host_error("a render is under way; stop it first");
    }
    const headless::class_info shown = tool_class();
    shot_options shot = shot_;
    shot.tool_id = shown.id;
    shot.output = page_path(member<std::string>(body, "file"));
    if (is_true(body, "only_this_frame") && !shot.frames.empty()) {
        shot.frames.assign(1, settings_.frame());
    }
    for (const int frame : frames_of(shot)) {
        page_output(files_of(shot, frame).output, "", is_true(body, "replace"));
    }
    auto tool = session_.new_tool(shown);
    tool->restore(values_of(settings_.tool()));
    job_ = std::make_unique<render_job>(std::move(shot), std::move(tool),
                                        [tell = link_.tell](const page_json& news) {
                                            tell(event_text("render", dumped(news)));
                                        });
    return {{"file", body.at("file")}};
}

void page_requests::wait_for_picture(const page_request& request,
                                     const std::shared_ptr<pending_answer>& to) {
    picture_wish wish;
    wish.view = page_view_named(query_text(request, "view", "result"));
    wish.look.exposure = query_number<double>(request, "exposure", 0.0);
    wish.look.transform = query_text(request, "transform", "srgb");
    wish.shown_version = query_number<std::uint64_t>(request, "version", 0);
    const bool has_full = query_text(request, "detail", "small") == "full";
    wish.shown_detail = has_full ? detail::FULL : detail::SMALL;
    wish.place = query_text(request, "place", "");
    if (!(std::abs(wish.look.exposure) <= MAX_STOPS)) {
        throw host_error("\"exposure\" must be from -20 to 20 stops");
    }
    wish.to = to;
    maker_.add(std::move(wish));
}

page_json page_requests::state() const {
    const auto frame = maker_.frame();
    const input_picture& input = frame->full()->input;
    page_json now{{"file", shot_.input},
                  {"tool", short_tool_name(tool_class().id)},
                  {"tools", tool_names()},
                  {"width", input.display.width},
                  {"height", input.display.height},
                  {"frames", shot_.frames},
                  {"version", maker_.version()},
                  {"busy", maker_.is_busy()}};
    now.update(settings_.values());
    const TimeStamp time = settings_.frame();
    const FrameForecast forecast =
        forecast_of(settings_.tool(), time, input, frame->full()->reading, false);
    if (const auto range = frame->depth_range()) now["depth_range"] = *range;
    now["notes"] = page_json::array();
    const std::string no_blur = no_blur_note(forecast);
    if (!no_blur.empty()) now["notes"].push_back(no_blur);
    for (const frame_note& note : frame->full()->notes) now["notes"].push_back(note.text);
    return now;
}

}  // namespace focusfall
