#include "programs/python/objects.h"

#include <string>

#include "host/error.h"

namespace focusfall {

namespace {

std::string text_of(const py::handle& object) {
    // a name that is no UTF-8 holds stand-ins for its bytes
    const auto bytes =
        py::reinterpret_steal<py::bytes>(PyUnicode_EncodeFSDefault(object.ptr()));
    if (!bytes) throw py::error_already_set();
    return bytes;
}

// Numbers of numpy are no numbers of Python, and turn into such.
json number_of(const py::handle& object, const std::string& name) {
    if (PyIndex_Check(object.ptr()) != 0) {
        const auto whole =
            py::reinterpret_steal<py::object>(PyNumber_Index(object.ptr()));
        if (whole) return whole.cast<std::int64_t>();
    } else if (PyNumber_Check(object.ptr()) != 0 && PySequence_Check(object.ptr()) == 0) {
        const auto number =
            py::reinterpret_steal<py::object>(PyNumber_Float(object.ptr()));
        if (number) return number.cast<double>();
    }
    PyErr_Clear();
    throw headless::host_error(
        name + ": takes no " +
        py::str(py::type::of(object).attr("__name__")).cast<std::string>());
}

}  // namespace

json json_of_object(const py::handle& object, const std::string& name) {
    if (object.is_none()) return {};
    if (py::isinstance<py::bool_>(object)) return object.cast<bool>();
    if (py::isinstance<py::float_>(object)) return object.cast<double>();
    if (py::isinstance<py::str>(object)) return text_of(object);
    if (py::isinstance<py::list>(object) || py::isinstance<py::tuple>(object)) {
        json list = json::array();
        for (const py::handle& item : object) list.push_back(json_of_object(item, name));
        return list;
    }
    if (py::isinstance<py::dict>(object)) {
        json all = json::object();
        for (const auto& [key, value] : py::reinterpret_borrow<py::dict>(object)) {
            all[text_of(py::str(key))] = json_of_object(value, name);
        }
        return all;
    }
    return number_of(object, name);
}

py::object object_of_json(const json& value) {
    switch (value.type()) {
        case json::value_t::boolean: return py::bool_(value.get<bool>());
        case json::value_t::number_integer:
        case json::value_t::number_unsigned: return py::int_(value.get<std::int64_t>());
        case json::value_t::number_float: return py::float_(value.get<double>());
        case json::value_t::string: {
            const auto& text = value.get_ref<const std::string&>();
            return py::reinterpret_steal<py::object>(PyUnicode_DecodeFSDefaultAndSize(
                text.data(), static_cast<Py_ssize_t>(text.size())));
        }
        case json::value_t::array: {
            py::list list;
            for (const json& item : value) list.append(object_of_json(item));
            return list;
        }
        case json::value_t::object: {
            py::dict all;
            for (const auto& [key, item] : value.items()) {
                all[py::str(key)] = object_of_json(item);
            }
            return all;
        }
        default: return py::none();
    }
}

}  // namespace focusfall
