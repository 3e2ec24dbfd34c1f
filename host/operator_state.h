#pragma once
// The host's side of a tool: what it added, and what it works with while it renders.

#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/api/operator.h"
#include "host/control.h"
#include "host/progress.h"
#include "host/worker_pool.h"

namespace headless {

// A control that a tool showed or hid.
struct visibility_change {
    std::string id;
    bool visible;
    friend bool operator==(const visibility_change&, const visibility_change&) = default;
};

// What the controls of one tool share. `mutex` guards the rest, and every control's
// value.
struct control_group {
    std::mutex mutex;
    std::vector<visibility_change> visibility_changes;  // since the last notification

    // How the values are taken that the tool sets in answer to an edit.
    bool keying = false;     // as keys
    bool replacing = false;  // in the place of all that the control held
    interpolation between = interpolation::LINEAR;  // between such keys
    std::set<control*> replaced;                    // whose old values have gone already
};

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

class result_output final : public Output {
  public:
    explicit result_output(std::string id) : id_(std::move(id)) {}

    const std::string& id() const { return id_; }

  private:
    void SetList(Request* request, Image* image, const TagList& tags) override;

    const std::string id_;
};

}  // namespace headless

struct OperatorState {
    headless::control_group group;  // what `controls` share

    // constant once the tool is built
    Registry* record = nullptr;
    std::vector<headless::addition> additions;  // in order, repeats included
    std::vector<Owned<headless::control>> controls;
    std::vector<Owned<headless::result_output>> outputs;
    FusionDoc* document = nullptr;
    headless::worker_pool* workers = nullptr;

    // the render thread's
    headless::progress_counter progress;

    // the editing thread's
    std::string page;  // new inputs stand on it
    int base_notifications = 0;
    std::optional<headless::base_notification> last_base_notification;
};
