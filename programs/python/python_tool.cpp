#include "programs/python/python_tool.h"

#include <atomic>
#include <chrono>
#include <map>
#include <utility>

#include "host/error.h"
#include "pipeline/process/interruption.h"
#include "pipeline/settings/presets.h"
#include "pipeline/settings/setting_value.h"
#include "pipeline/settings/settings_file.h"
#include "programs/python/interruptible.h"

namespace focusfall {

namespace {

using namespace std::chrono_literals;
using headless::control_info;
using headless::control_kind;
using headless::host_error;

std::vector<std::string> names_of(const headless::tool::changes& changed) {
    std::vector<std::string> ids;
    for (const headless::control* control : changed) ids.push_back(control->info().id);
    return ids;
}

std::map<std::string, headless::control_value> values_of(const headless::tool& tool) {
    std::map<std::string, headless::control_value> values;
    for (const headless::control* control : tool.controls()) {
        const control_info& info = control->info();
        if (info.is_number()) values.emplace(info.id, control->curve());
        if (info.kind == control_kind::TEXT) values.emplace(info.id, control->text());
    }
    return values;
}

// What a control holds for one frame.
headless::render_order::value value_at(const control_info& info, const json& value,
                                       double time) {
    headless::control_value held = setting_from_json(info, value);
    if (auto* text = std::get_if<std::string>(&held)) return std::move(*text);
    return std::get<headless::animation>(held).at(time);
}

// Holds the mutex, for which it waits without the interpreter's lock. Ctrl-C and `cancel`
// end the waiting.
std::unique_lock<std::timed_mutex> turn(std::timed_mutex& mutex,
                                        const py::object& cancel) {
    std::unique_lock lock(mutex, std::defer_lock);
    for (;;) {
        {
            const py::gil_scoped_release unlocked;
            if (lock.try_lock_for(10ms)) return lock;
        }
        if (PyErr_CheckSignals() != 0) throw py::error_already_set();
        ask(cancel);
    }
}

// Calls a function with what was last noted, once for each change.
class progress_teller {
  public:
    explicit progress_teller(const py::object& receiver) : receiver_(receiver) {}

    // [any thread]
    void note(double part) { part_ = part; }
    // [holding the interpreter's lock]
    void tell() {
        const double part = part_;
        if (receiver_.is_none() || part == told_) return;
        told_ = part;
        receiver_(part);
    }

  private:
    const py::object& receiver_;
    std::atomic<double> part_ = 0.0;
    double told_ = 0.0;
};

}  // namespace

// What a frame is made from.
struct python_tool::frame_arrays {
    array_view picture;
    array_view depth;                          // may be empty
    std::map<std::string, array_view> others;  // by image connection
    std::map<std::string, headless::render_order::value> values = {};
};

python_tool::python_tool(const session_options& options)
    : session_(std::make_shared<session>(options)),
      tool_(session_->create_tool()),
      class_id_(session_->tool_class().id) {}

python_tool::python_tool(const python_tool& other)
    : session_(other.session_),
      tool_(session_->create_tool()),
      class_id_(other.class_id_) {
    tool_->restore(values_of(*other.tool_));
}

std::unique_ptr<python_tool> python_tool::copy() const {
    return std::unique_ptr<python_tool>(new python_tool(*this));
}

py::list python_tool::controls() const {
    py::list all;
    for (const headless::control* control : tool_->controls()) {
        json about = json_control(*control);
        about["help"] = control->info().help;
        about["takes"] = control->info().range();
        if (control->info().is_number()) {
            about["default"] = json_value(control->info(), control->info().initial);
        }
        all.append(object_of_json(about));
    }
    return all;
}

py::object python_tool::value(const std::string& id) const {
    const headless::control& control = tool_->find(id);
    const control_info& info = control.info();
    if (info.kind == control_kind::IMAGE) {
        throw host_error(id +
                         ": is an image connection, which has no value; give an "
                         "array to render");
    }
    if (!info.is_number()) return object_of_json(control.text());
    return object_of_json(json_value(info, control.number(0)));
}

py::object python_tool::held(const std::string& id) const {
    return object_of_json(json_setting(tool_->find(id)));
}

std::vector<std::string> python_tool::edit(const std::string& id,
                                           const py::object& value) {
    const control_info& info = tool_->find(id).info();
    return names_of(
        tool_->replace(id, setting_from_json(info, json_of_object(value, id))));
}

std::vector<std::string> python_tool::load(const std::string& name) {
    return names_of(
        tool_->restore(read_settings_file(settings_file_named(name), *tool_)));
}

void python_tool::save(const std::string& file) const {
    save_settings_file(file, *tool_);
}

std::uint64_t python_tool::memory(std::int32_t height, std::int32_t width,
                                  double time) const {
    if (height < 1 || width < 1) throw host_error("memory: a picture has pixels");
    const FrameForecast forecast =
        tool_->forecast({.time = time}, {.width = width, .height = height});
    const auto pixels =
        static_cast<std::uint64_t>(height) * static_cast<std::uint64_t>(width);
    return forecast.bytes + 2 * pixels * (Image::Z + 1) * sizeof(float);
}

python_tool::frame_arrays python_tool::arrays_of(const py::object& picture,
                                                 const py::object& depth,
                                                 const py::dict& values) const {
    frame_arrays arrays{
        .picture = picture_view(picture, "picture"), .depth = {}, .others = {}};
    if (!depth.is_none()) arrays.depth = plane_view(depth, "depth", arrays.picture);
    for (const auto& [key, value] : values) {
        const auto id = key.cast<std::string>();
        const control_info& info = tool_->find(id).info();
        if (info.kind == control_kind::IMAGE) {
            arrays.others[id] = picture_view(value, id);
        }
    }
    return arrays;
}

Owned<Image> python_tool::rendered(const frame_arrays& arrays,
                                   headless::render_order order,
                                   const std::atomic<bool>& stopped) {
    const array_view& picture = arrays.picture;
    const FrameForecast forecast =
        tool_->forecast(order, {.width = picture.width,
                                .height = picture.height,
                                .has_blur_image = arrays.others.contains("BlurImage")});
    const bool by_z = forecast.depth == Image::Z;
    const bool has_depth = !arrays.depth.is_empty() || picture.channels > Image::Z ||
                           arrays.others.contains("DepthMap");
    if (forecast.blur_of && by_z && !has_depth) {
        throw host_error(
            "picture: has no depth; give depth, an array of its height x width, or a "
            "fifth channel");
    }
    const row_workers workers{host(), stopped};
    std::map<std::string, Owned<Image>> images;
    images["Input"] = tool_picture(workers, picture);
    if (!arrays.depth.is_empty()) {
        // a channel of the colour is chosen from a map alone
        if (by_z) {
            load_depth(workers, arrays.depth, *images["Input"]);
        } else {
            images["DepthMap"] = tool_plane(workers, arrays.depth);
        }
    }
    for (const auto& [id, view] : arrays.others) images[id] = tool_picture(workers, view);
    for (const auto& [id, image] : images) order.images[id] = image.get();

    Owned<Image> result = image_of(tool_->render(order));
    swap_red_and_blue(workers, *result);
    return result;
}

py::array python_tool::render(const py::object& picture, const py::object& depth,
                              double time, const py::dict& values,
                              const py::object& progress, const py::object& cancel) {
    const auto lock = turn(rendering_, cancel);
    const frame_arrays arrays = arrays_of(picture, depth, values);
    progress_teller teller(progress);
    headless::render_order order{.time = time};
    order.progress = [&teller](double part) { teller.note(part); };
    for (const auto& [key, value] : values) {
        const auto id = key.cast<std::string>();
        const control_info& info = tool_->find(id).info();
        if (arrays.others.contains(id)) continue;
        order.instead[id] = value_at(info, json_of_object(value, id), time);
    }

    Owned<Image> result;
    std::atomic<bool> stopped = false;
    try {
        run_interruptibly([&] { result = rendered(arrays, std::move(order), stopped); },
                          [&] {
                              teller.tell();
                              ask(cancel);
                          },
                          [&] {
                              stopped = true;
                              tool_->abort();
                          });
    } catch (...) {
        tool_->clear_abort();
        throw;
    }
    teller.tell();
    return array_of(std::move(result), arrays.picture.channels);
}

}  // namespace focusfall
