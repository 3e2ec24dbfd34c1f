#pragma once
// Renders of files.

#include "programs/python/python_tool.h"

namespace focusfall {

// A tool with the settings of the record that `given` names in "from_record"; its class
// is that of the record unless `id` is given. `given` is as below. Throws
// headless::host_error that names the file at fault.
std::unique_ptr<python_tool> recorded_tool(const std::string& id, int threads,
                                           const py::dict& given);

// Renders a picture or a shot as the command does, with a tool that this changes. `given`
// has the command's options by their names, with "_" for "-". Calls `tell` with "note"
// and a text, with "progress" and a number from 0 to 1, and with "frame" and a dictionary
// about the frame that ended. Gives the numbers of the frames that failed. Throws
// headless::host_error, and what `tell` and `cancel` throw.
std::vector<int> render_files(python_tool& tool, const py::dict& given,
                              const py::object& tell, const py::object& cancel);

}  // namespace focusfall
