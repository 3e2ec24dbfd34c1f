#pragma once
// What a render prints on standard error.

#include <cstddef>

#include "pipeline/process/interruption.h"
#include "pipeline/process/progress_bar.h"
#include "pipeline/shots/shot_observer.h"
#include "pipeline/shots/shot_options.h"

namespace focusfall {

// Prints notes, a progress bar and, in a shot, a line a frame; with `quiet` errors alone.
// Ends the shot when `stop` says so, with words on what was written.
class shot_console : public shot_observer {
  public:
    shot_console(const shot_options& options, bool quiet, interruption& stop);

    void begins(const shot_plan& plan) override;
    void notes(const std::filesystem::path& file, const std::string& text) override;
    void renders(std::size_t before, double part) override;
    void writes_frame() override { count_written(1); }
    void ends(const frame_report& report) override;
    void fails(const std::string& text) override;
    bool is_stopped() const override { return stop_.is_requested(); }

  private:
    void count_written(std::size_t frames);

    // Constant while the shot renders.
    std::size_t frames_of_shot_;  // 0: a single picture
    bool quiet_;
    interruption& stop_;  // safe on any thread
    std::size_t to_render_ = 0;

    std::size_t written_ = 0;  // at first by `begins`, then on the writing thread alone

    // The thread that renders alone.
    std::size_t ended_ = 0;
    progress_bar bar_;
};

}  // namespace focusfall
