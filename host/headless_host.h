#pragma once
// The host for programs that embed it: load plug-ins, make tools, edit them, render.

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/api/operator.h"
#include "host/control.h"
#include "host/error.h"
#include "host/operator_state.h"
#include "host/render_order.h"
#include "host/worker_pool.h"

namespace headless {

class plugin_library;

// A registered class, in the texts of its registration.
struct class_info {
    std::string id;
    std::string name;
    std::string category;
    std::string short_name;
    std::string description;
    std::string about;
    std::string company;
    std::string build_date;
    std::string help_link;
    std::string base_class;
    int bitmap = 0;
    TagList tags;  // their pointers lead into the plug-in, while it is loaded
};

// One tool instance. Edits come from one thread at a time, renders from one thread at a
// time; both may run at once, and everything that only reads may run on any thread.
class HOST_API tool {
  public:
    ~tool();
    tool(const tool&) = delete;
    tool& operator=(const tool&) = delete;

    // The controls and image connections, in the order in which the tool added them.
    std::vector<const control*> controls() const;
    // The one with that identifier. Throws host_error that offers the nearest name.
    const control& find(std::string_view id) const;
    // Every page, input and output that the tool asked for, in order, repeats included.
    const std::vector<addition>& additions() const;
    // How many notifications the tool passed on to its base class, and the last of them.
    int base_notifications() const;
    const std::optional<base_notification>& last_base_notification() const;
    // What the tool showed and hid when it was notified last, in order.
    std::vector<visibility_change> visibility_changes() const;

    // Edits, as an artist makes them. The tool is notified of each, but not of values
    // that it sets in answer, so that controls which follow one another come to rest
    // after one round. Numbers are kept within the range of their control. All throw
    // host_error for an unknown control, a value that it can not take or a control of
    // another kind.
    //
    // `set` gives a value at `time`: on an animated control a key, else for all times.
    void set(std::string_view id, double value, TimeStamp time = 0);
    void set(std::string_view id, std::string_view text, TimeStamp time = 0);
    // Replaces all that the control holds, keys included. The tool is notified at the key
    // times of all controls, or at 0 when there are none, and what it sets in answer
    // replaces all that those controls held. Button lists and checkboxes step whatever
    // the interpolation.
    void replace(std::string_view id, control_value value);
    // Gives controls the values of a saved flow, nothing if one of them is at fault. As
    // `replace` in the order of the controls, but values that the tool sets in answer
    // stand only where `values` has none.
    void restore(const std::map<std::string, control_value>& values);
    // Connects an image, which the host shares, or disconnects with null.
    void connect(std::string_view id, Image* image);
    // Reports the present value of every button list and checkbox, as a host does that
    // opens the tool's page, so that the tool lays out its controls.
    void open_page();

    // Renders one frame, see render_order. Faults, those of the order among them, come
    // back in the result; nothing is thrown.
    frame render(const render_order& order = {});
    // What the tool says of the frame of that order beforehand; images need not be
    // connected yet. Throws host_error for values that the order gets wrong. [any thread]
    FrameForecast forecast(const render_order& order, const FrameShape& shape) const;
    // Makes this render, or the next one, stop, and all that follow until clear_abort.
    // Safe in a signal handler. [any thread]
    void abort() noexcept { operator_->SetAborted(true); }
    void clear_abort() noexcept { operator_->SetAborted(false); }

    Operator& instance() { return *operator_; }

  private:
    friend class host;
    tool(std::shared_ptr<plugin_library> library, Registry* record, worker_pool& workers,
         FusionDoc::Console console);

    control& changeable(std::string_view id) const;
    std::unique_ptr<Request::State> snapshot(const render_order& order) const;
    void replace(control& input, control_value value);
    std::set<TimeStamp> key_times() const;
    void report(control& input, Parameter* value, TimeStamp time);

    std::shared_ptr<plugin_library> library_;  // stays loaded as long as the tool
    std::mutex error_mutex_;
    std::string printed_error_;  // under error_mutex_
    FusionDoc document_;
    Owned<Operator> operator_;
};

// Loads plug-ins and makes tools. Callable from one thread at a time; the tools that it
// makes are independent of one another, and must be gone before the host.
class HOST_API host {
  public:
    // `threads` as for worker_pool; `console` receives what tools print, on the thread
    // that prints, perhaps from several at once.
    explicit host(int threads = 0, FusionDoc::Console console = {});
    ~host();
    host(const host&) = delete;
    host& operator=(const host&) = delete;

    int threads() const { return workers_.threads(); }

    // Throws host_error when the library can not be loaded or registers nothing. Loading
    // a plug-in again changes nothing.
    void load_plugin(const std::filesystem::path& path);
    // Forgets all plug-ins; a library goes when the last tool made from it is gone.
    void unload_plugins();
    std::vector<class_info> classes() const;
    // Throws host_error for an unknown class, and when the class gives no instance, and
    // what the tool's constructor throws.
    std::unique_ptr<tool> create_tool(std::string_view class_id);
    // A tool of a class that is linked into the program. Throws as above.
    std::unique_ptr<tool> create_tool(Registry& linked_class);

  private:
    worker_pool workers_;
    FusionDoc::Console console_;
    std::vector<std::shared_ptr<plugin_library>> plugins_;
};

}  // namespace headless
