#pragma once
// One tool, for programs that edit it and have it render.

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/api/operator.h"
#include "host/control.h"
#include "host/error.h"
#include "host/render_order.h"
#include "host/worker_pool.h"

namespace headless {

class edit_scope;
class plugin_library;

// One tool instance, made by host::create_tool. Edits come from one thread at a time,
// renders from one thread at a time; both may run at once, and everything that only reads
// may run on any thread.
class HOST_API tool {
  public:
    ~tool();
    tool(const tool&) = delete;
    tool& operator=(const tool&) = delete;

    // The controls and image connections, in the order in which the tool added them. They
    // live as long as the tool. [any thread]
    std::vector<const control*> controls() const;
    // The one with that identifier, letter case included. Throws host_error that offers
    // the nearest name. [any thread]
    const control& find(std::string_view id) const;

    // Edits, as an artist makes them; edit.cpp says what becomes of the tool's answers.
    // The tool is notified of each edit, but not of values that it sets in answer.
    // Numbers are kept within the range of their control. Each gives the controls whose
    // value, connection or visibility it changed, in the order of controls(). All throw
    // host_error for an unknown control, a value that it cannot take, a control of
    // another kind, and a value that makes the tool set one that does not fit: then
    // nothing has changed. What the tool throws when it is notified passes through; the
    // edited value stays. [the editing thread]
    using changes = std::vector<const control*>;

    // Gives a value at `time`, in frames: on an animated control a key, else for all
    // times.
    changes set(std::string_view id, double value, TimeStamp time = 0);
    // The same as an artist types it: "Airy Disk", "off", "2.8"; or a text, for all
    // times.
    changes set(std::string_view id, std::string_view text, TimeStamp time = 0);
    // Replaces all that the control holds, keys included, and all that those controls
    // held which the tool sets in answer. Button lists and checkboxes step whatever the
    // interpolation.
    changes replace(std::string_view id, control_value value);
    // Gives controls the values of a saved flow. As `replace` in the order of the
    // controls, except that values which the tool sets in answer count only for controls
    // that are not in `values`.
    changes restore(const std::map<std::string, control_value>& values);
    // Connects an image, which the host shares, or disconnects with null.
    changes connect(std::string_view id, Image* image);
    // Notifies the tool of the value at time 0 of every button list and checkbox, as a
    // host does when it opens the tool's page, so that the tool lays out its controls.
    changes open_page();

    // Renders one frame, see render_order. Faults, those of the order among them, come
    // back in the result; nothing is thrown. Returns when the workers have let go of the
    // frame. [one thread at a time, any]
    frame render(const render_order& order = {});
    // The tool's forecast of the frame of that order; images need not be connected yet.
    // Throws host_error for an unknown control or a value that it cannot take in the
    // order. [any thread]
    FrameForecast forecast(const render_order& order, const FrameShape& shape) const;
    // Makes this render, or the next one, stop, and all that follow until clear_abort.
    // Safe in a signal handler. [any thread]
    void abort() noexcept { operator_->SetAborted(true); }
    // Lets renders run again. [any thread]
    void clear_abort() noexcept { operator_->SetAborted(false); }

    // Gives back the memory that the tool and the host's images keep from one frame to
    // the next; the next frame is the same as without. [the thread that renders, between
    // two frames]
    void trim();

    // The plug-in's own object, for programs that know its class. Owned by this one.
    Operator& instance() { return *operator_; }

  private:
    friend class host;
    tool(std::shared_ptr<plugin_library> library, Registry* record, worker_pool& workers,
         FusionDoc::Console console);

    control& changeable(std::string_view id) const;
    std::unique_ptr<Request::State> snapshot(const render_order& order) const;
    void replace(edit_scope& edit, control& input, control_value value);
    std::set<TimeStamp> key_times() const;
    void report(control& input, Parameter* value, TimeStamp time);

    std::shared_ptr<plugin_library> library_;  // stays loaded as long as the tool
    std::mutex error_mutex_;
    std::string printed_error_;  // under error_mutex_
    FusionDoc document_;
    Owned<Operator> operator_;
};

}  // namespace headless
