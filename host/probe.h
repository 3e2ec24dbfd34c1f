#pragma once
// For tests: what a tool told its base class, beyond what a user sees.

#include <optional>
#include <string>
#include <vector>

#include "host/tool.h"

namespace headless {

// One call of AddControlPage, AddInput or AddOutput.
struct addition {
    enum class what { PAGE, INPUT, OUTPUT } kind;
    std::string name;
    std::string id;  // a page has none
    TagList tags;
};

// A notification that a tool passed on to its base class, and what was null in it.
struct base_notification {
    std::string id;  // of the input; empty for a null one
    TimeStamp time;
    bool null_parameter;
    bool null_tags;
};

// A control that a tool showed or hid.
struct visibility_change {
    std::string id;
    bool visible;
    friend bool operator==(const visibility_change&, const visibility_change&) = default;
};

// Every page, input and output that the tool asked for, in order, repeats included. Valid
// as long as the tool. [any thread]
HOST_API const std::vector<addition>& additions(tool& tool);
// How many notifications the tool passed on to its base class, and the last of them. [the
// editing thread]
HOST_API int base_notifications(tool& tool);
HOST_API const std::optional<base_notification>& last_base_notification(tool& tool);
// What the tool showed and hid in its last notification, in order, repeats included. [any
// thread]
HOST_API std::vector<visibility_change> visibility_changes(tool& tool);

}  // namespace headless
