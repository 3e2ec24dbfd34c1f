#pragma once
// Work that takes long, and that Ctrl-C or a caller's function can end.

#include <pybind11/pybind11.h>

#include <functional>

namespace focusfall {

namespace py = pybind11;

// Thrown by `tick` when the caller's function wants the work to end: focusfall.Cancelled.
struct cancelled {};

// Throws `cancelled` when `wish`, which may be None, gives a true value, and
// py::error_already_set when it throws.
void ask(const py::object& wish);

// Runs `work` on a thread of its own, without the interpreter's lock. Every 10 ms this
// thread looks for signals, as Ctrl-C, and calls `tick`; when either throws, it calls
// `stop` once, from which the work is to end soon. Returns when the work has ended.
// Throws what those two threw, else what the work threw. [holding the interpreter's lock]
void run_interruptibly(const std::function<void()>& work,
                       const std::function<void()>& tick,
                       const std::function<void()>& stop);

}  // namespace focusfall
