#pragma once
// Picture files as arrays and back, and what is in them.

#include "programs/python/python_tool.h"

namespace focusfall {

// A frame as a render by `tool` at `time` would take it. `given` has the files "input"
// and perhaps "depth_map", and the options of reading in "read". Gives a dictionary:
// "color", H x W x 4; "depth", H x W or None; "area" and "display", each x, y, width and
// height; "notes", texts. Throws headless::host_error that names the file at fault.
py::dict read_arrays(python_tool& tool, const py::dict& given, double time);

// Writes a picture whole or not at all: the arrays alone, or everything that the file
// "like" of `given` has besides. `given` has "output", and the options in "read" and
// "write". Throws headless::host_error that names the file.
void write_arrays(python_tool& tool, const py::dict& given, const py::object& picture,
                  const py::object& depth);

// What the command's verb of that name tells as JSON. `given` has what read_arrays takes,
// pixels in "at", a text in "focus_at", whether the tool gets the lens of the header in
// "lens_from_header", and in "has_settings" whether somebody set it. Sets the tool's lens
// and focus.
py::object inspect_file(python_tool& tool, const py::dict& given);

}  // namespace focusfall
