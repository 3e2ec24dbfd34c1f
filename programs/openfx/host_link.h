#pragma once
// What the host offers: its suites of functions, and sets of properties.

#include <string>

#include "programs/openfx/abi.h"

namespace ofx {

// Ends an action with that status.
struct failure {
    status code;
};

// Set by the first load, constant until the last unload: read without a lock.
struct host_link {
    const host* given = nullptr;
    const property_suite* property = nullptr;
    const image_effect_suite* image_effect = nullptr;
    const parameter_suite* parameter = nullptr;
    const multi_thread_suite* multi_thread = nullptr;  // optional
    const message_suite* message = nullptr;            // optional
};
extern host_link link;

// Fetches the suites from the host that was given. Throws `failure` when one is missing
// that is needed.
void fetch_suites();

// A set of properties, borrowed from the host. Reads give the fallback for what is
// missing or of another kind; writes that the host refuses change nothing.
class property_set {
  public:
    explicit property_set(properties handle) : handle_(handle) {}

    properties handle() const { return handle_; }

    void set(const char* name, const char* value, int index = 0) const;
    void set(const char* name, const std::string& value, int index = 0) const {
        set(name, value.c_str(), index);
    }
    void set(const char* name, int value, int index = 0) const;
    void set(const char* name, double value, int index = 0) const;
    void set(const char* name, const rect& value) const;
    void set_pointer(const char* name, void* value) const;

    int integer(const char* name, int fallback, int index = 0) const;
    double number(const char* name, double fallback, int index = 0) const;
    std::string text(const char* name) const;
    void* pointer(const char* name) const;
    // Empty where it is missing.
    pixel_rect pixels(const char* name) const;

  private:
    properties handle_;
};

// The properties of an object; throw `failure` for one that the host does not know.
property_set of_effect(effect handle);
property_set of_clip(clip handle);
parameters parameters_of(effect handle);

// Shows a text on the effect until it is cleared or replaced; without dialogs, so that
// render threads may call it. `type` is one of the two below. Does nothing in hosts that
// have no such texts. [any thread]
inline constexpr const char* ERROR_MESSAGE = "OfxMessageError";
inline constexpr const char* WARNING_MESSAGE = "OfxMessageWarning";
void show_message(effect handle, const char* type, const std::string& text);
void clear_message(effect handle);

}  // namespace ofx
