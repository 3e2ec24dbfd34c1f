#pragma once
// How far a frame is, counted over all steps that its tool announces.

#include <algorithm>
#include <utility>

#include "host/render_order.h"

namespace headless {

// The progress of one frame: parts that never fall, with 1 as the last. [render thread]
class progress_counter {
  public:
    progress_counter() = default;  // reports to nobody
    explicit progress_counter(frame_progress receiver) : receiver_(std::move(receiver)) {}

    bool is_wanted() const { return static_cast<bool>(receiver_); }
    // The step that follows takes the frame from where it is to `end`.
    void begin_step(double end) {
        begin_ = last_;
        end_ = std::clamp(end, last_, 1.0);
    }
    // Reports that `part` of the present step, 0 .. 1, is done. Throws what the receiver
    // throws.
    void report(double part) {
        if (!receiver_ || last_ == 1.0) return;
        const double reached = part < 1.0 ? begin_ + part * (end_ - begin_) : end_;
        last_ = std::clamp(reached, last_, end_);
        receiver_(last_);
    }
    // Reports the end of the frame, unless its last step has done so.
    void finish() {
        begin_step(1.0);
        report(1.0);
    }

  private:
    frame_progress receiver_;
    double begin_ = 0.0;  // where the present step began, and where it ends
    double end_ = 1.0;
    double last_ = 0.0;
};

}  // namespace headless
