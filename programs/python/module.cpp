// The library inside the package `focusfall`, which gives it types and words.

#include <dlfcn.h>

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <filesystem>

#include "host/error.h"
#include "pipeline/process/interruption.h"
#include "pipeline/settings/installation.h"
#include "pipeline/settings/presets.h"
#include "programs/python/interruptible.h"
#include "programs/python/options.h"
#include "programs/python/picture_files.h"
#include "programs/python/python_tool.h"
#include "programs/python/shots.h"

namespace focusfall {

namespace {

PyObject* error_class = nullptr;  // those live as long as the interpreter
PyObject* cancelled_class = nullptr;

void set_error(PyObject* type, const std::string& text) {
    const py::object message = object_of_json(text);
    PyErr_SetObject(type, message.ptr());
}

void translate(std::exception_ptr thrown) {
    try {
        if (thrown) std::rethrow_exception(thrown);
    } catch (const headless::host_error& error) {
        set_error(error_class, error.what());
    } catch (const std::filesystem::filesystem_error& error) {
        set_error(error_class, error.what());
    } catch (const json::exception& error) {
        set_error(error_class, error.what());
    } catch (const cancelled&) {
        set_error(cancelled_class, "was cancelled");
    } catch (const interrupted&) {
        set_error(cancelled_class, "was cancelled");
    }
}

// The folder of the programs that this library was installed with.
std::filesystem::path program_folder() {
    Dl_info info{};
    dladdr(reinterpret_cast<const void*>(&translate), &info);
    return std::filesystem::canonical(info.dli_fname).parent_path() / PROGRAM_FOLDER;
}

py::dict dict_of(const std::vector<keyword>& keywords) {
    py::dict all;
    for (const keyword& one : keywords) all[py::str(one.name)] = one.takes;
    return all;
}

py::dict all_presets() {
    py::dict all;
    for (const preset& one : installed_presets()) {
        all[py::str(one.name)] = object_of_json(one.content);
    }
    return all;
}

py::list all_tools(const std::vector<std::string>& plugins) {
    session_options options;
    options.plugins = plugins;
    options.threads = 1;
    const session opened(options);
    py::list all;
    for (const headless::class_info& info : opened.host().classes()) {
        all.append(py::make_tuple(info.id, short_tool_name(info.id), info.description));
    }
    return all;
}

std::unique_ptr<python_tool> new_tool(const std::string& id,
                                      const std::vector<std::string>& plugins,
                                      int threads) {
    session_options options;
    options.tool_id = id;
    options.plugins = plugins;
    options.threads = threads;
    return std::make_unique<python_tool>(options);
}

void add_tool(py::module_& module) {
    py::class_<python_tool>(module, "Tool")
        .def(py::init(&new_tool), py::arg("id"), py::arg("plugins"), py::arg("threads"))
        .def("copy", &python_tool::copy)
        .def_property_readonly("id", &python_tool::id)
        .def("controls", &python_tool::controls)
        .def("value", &python_tool::value)
        .def("held", &python_tool::held)
        .def("edit", &python_tool::edit)
        .def("load", &python_tool::load)
        .def("save", &python_tool::save)
        .def("memory", &python_tool::memory)
        .def("render", &python_tool::render);
}

}  // namespace

}  // namespace focusfall

PYBIND11_MODULE(_focusfall, module) {
    using namespace focusfall;
    use_installation_of(program_folder());
    error_class =
        PyErr_NewExceptionWithDoc("focusfall.Error",
                                  "What went wrong, in the words of the command: the "
                                  "text names the file, control or\n"
                                  "argument at fault, and says what would do.",
                                  nullptr, nullptr);
    cancelled_class = PyErr_NewExceptionWithDoc("focusfall.Cancelled",
                                                "A caller's `cancel` ended the work.",
                                                error_class, nullptr);
    module.attr("Error") = py::handle(error_class);
    module.attr("Cancelled") = py::handle(cancelled_class);
    module.attr("version") = FOCUSFALL_VERSION;
    py::register_exception_translator(&translate);
    add_tool(module);
    module.def("presets", &all_presets);
    module.def("tools", &all_tools);
    module.def("read_keywords", [] { return dict_of(read_keywords()); });
    module.def("write_keywords", [] { return dict_of(write_keywords()); });
    module.def("read", &read_arrays);
    module.def("write", &write_arrays);
    module.def("inspect", &inspect_file);
    module.def("recorded_tool", &recorded_tool);
    module.def("render_shot", &render_files);
}
