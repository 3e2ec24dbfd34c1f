#pragma once
// The host's side of a tool: what it added, and what it works with while it renders.

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "host/api/operator.h"
#include "host/control.h"
#include "host/edit.h"
#include "host/probe.h"
#include "host/progress.h"
#include "host/worker_pool.h"

namespace headless {

// What the controls of one tool share. `mutex` guards the rest, and every control's
// value.
struct control_group {
    std::mutex mutex;
    std::vector<visibility_change> visibility_changes;  // since the last notification
    edit_scope* edit = nullptr;  // the edit under way, which takes what the tool sets
};

// An output of a tool: the image that it is given becomes the request's result.
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

    // only touched by the render thread
    headless::progress_counter progress;

    // only touched by the editing thread
    std::string page;  // the one that shows the inputs that are added next
    int base_notifications = 0;
    std::optional<headless::base_notification> last_base_notification;
};
