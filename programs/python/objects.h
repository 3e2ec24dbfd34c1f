#pragma once
// Python's values as JSON and back: settings and options cross the line so.

#include <pybind11/pybind11.h>

#include <nlohmann/json.hpp>

namespace focusfall {

namespace py = pybind11;
using json = nlohmann::ordered_json;

// None, a truth value, a number, a text, or lists, tuples and dictionaries of such; a
// text is the bytes of a file's name where it cannot be UTF-8. Throws
// headless::host_error that begins with `name` for anything else. [holding the
// interpreter's lock, as all here]
json json_of_object(const py::handle& object, const std::string& name);

// The same back.
py::object object_of_json(const json& value);

}  // namespace focusfall
