#pragma once
// A tool as Python has it: a host of its own, and renders of arrays.

#include <pybind11/numpy.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "pipeline/session/session.h"
#include "programs/python/arrays.h"
#include "programs/python/objects.h"

namespace focusfall {

// Edits and questions come with the interpreter's lock held, one at a time. A render lets
// go of it; another one of the same tool waits for its end.
class python_tool {
  public:
    // Throws headless::host_error when there is no such class, or no plug-in.
    explicit python_tool(const session_options& options);
    // Another tool of the same host, with the same settings.
    std::unique_ptr<python_tool> copy() const;

    std::string id() const { return class_id_; }
    // All about each control, as json_control gives it, and its help.
    py::list controls() const;
    // A control's value at time 0, and all that it holds.
    py::object value(const std::string& id) const;
    py::object held(const std::string& id) const;
    // Replaces all that a control holds by a value or a list of keys. Gives the controls
    // that changed by that, in their order.
    std::vector<std::string> edit(const std::string& id, const py::object& value);
    // Settings files, and presets by their name.
    std::vector<std::string> load(const std::string& name);
    void save(const std::string& file) const;

    // The picture of an array, blurred, as an array of the same shape. `values` are for
    // this frame alone: numbers and texts, or arrays for image connections.
    py::array render(const py::object& picture, const py::object& depth, double time,
                     const py::dict& values, const py::object& progress,
                     const py::object& cancel);

    // Bytes that the render of a picture takes besides the caller's arrays: the image
    // that goes in, the one that comes out, and the tool's own.
    std::uint64_t memory(std::int32_t height, std::int32_t width, double time) const;

    headless::tool& tool() { return *tool_; }
    headless::host& host() { return session_->host(); }

  private:
    struct frame_arrays;

    explicit python_tool(const python_tool& other);
    frame_arrays arrays_of(const py::object& picture, const py::object& depth,
                           const py::dict& values) const;
    Owned<Image> rendered(const frame_arrays& arrays, headless::render_order order,
                          const std::atomic<bool>& stopped);

    std::shared_ptr<session> session_;
    std::unique_ptr<headless::tool> tool_;  // gone before the session
    std::string class_id_;
    std::timed_mutex rendering_;
};

}  // namespace focusfall
