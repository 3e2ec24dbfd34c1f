#pragma once
// The frame that a page shows: all that its pictures are made from.

#include <memory>
#include <optional>
#include <utility>

#include "host/headless_host.h"
#include "pipeline/shots/frame_stages.h"
#include "programs/page/page_view.h"

namespace focusfall {

// Of how many pixels a picture is. A SMALL one is made while a hand moves, or a QUICK one
// where its blur takes too long for that.
enum class detail { QUICK, SMALL, FULL };

// Constant once it was made, but for the tool that it borrows.
class shown_frame {
  public:
    // Reads the frame as a render would. Throws headless::host_error that names the file
    // at fault, also when the frame would not fit into memory.
    shown_frame(const shot_options& shot, reading_stage& reader,
                const headless::tool& tool, int number);

    int number() const { return number_; }
    const frame_files& files() const { return files_; }
    const std::shared_ptr<loaded_frame>& full() const { return full_; }
    const loaded_frame& at(detail wanted) const {
        return wanted == detail::FULL    ? *full_
               : wanted == detail::SMALL ? *small_
                                         : *quick_;
    }
    // Whether it is small enough to do without a smaller one.
    bool is_small() const { return small_ == full_; }
    // Whether the tool's controls are as they were where the reading depends on them:
    // otherwise the frame is to be read again.
    bool is_current(const headless::tool& tool) const;

    // The least and the largest depth, as the file has them; nothing without a depth.
    const std::optional<std::pair<float, float>>& depth_range() const {
        return depth_range_;
    }

    // A view other than the result, of the display window; below it may be a legend.
    // Throws headless::host_error for a tool that does not blur by depth.
    Owned<Image> view(page_view kind, detail wanted, const headless::tool& tool) const;

  private:
    int number_;
    frame_files files_;
    bool follows_controls_;
    FrameForecast forecast_;  // when it was read
    std::shared_ptr<loaded_frame> full_;
    std::shared_ptr<loaded_frame> small_;
    std::shared_ptr<loaded_frame> quick_;
    std::optional<std::pair<float, float>> depth_range_;
};

}  // namespace focusfall
