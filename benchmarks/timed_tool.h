#pragma once
// Tools that measure what a frame costs.

#include <chrono>

#include "plugin/fast/focusfall_fast.h"
#include "plugin/splat/kernel_index.h"

inline double now_ms() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double, std::milli>(now).count();
}

// Milliseconds of one frame.
struct frame_times {
    double blur = 0.0;  // pixels of the input to pixels of the result
    double rest = 0.0;  // images and settings
};

// `Tool` is Focusfall or a tool derived from it.
template <class Tool>
class timed_tool : public Tool {
  public:
    using Tool::Tool;

    frame_times times;  // of the last frame with blur

    void Process(Request* request) override {
        const double start = now_ms();
        Tool::Process(request);
        times.rest = now_ms() - start - times.blur;
    }

  protected:
    bool blur(Request* request) override {
        const double start = now_ms();
        const bool stopped = Tool::blur(request);
        times.blur = now_ms() - start;
        return stopped;
    }
};

// Counts the kernel weights that the splat of a frame would add, and adds none. Stamps
// are as large as their kernels, less what the picture's edges cut off.
class tap_counter : public Focusfall {
  public:
    using Focusfall::Focusfall;

    double taps = 0.0;

  protected:
    bool blur(Request* /*request*/) override {
        if (run_pixel_pass()) return true;
        taps = 0.0;
        const std::size_t last = last_kernel_index();
        for (const depth_sample& s : samples) {
            const double radius = lens::kernel_radius(kernel_index(*this, s.depth, last));
            const auto within = [radius](double at, std::int32_t size) {
                return std::min(at, radius) + 1.0 + std::min(size - 1.0 - at, radius);
            };
            taps += within(double{s.x}, input_image->Width()) *
                    within(double{s.y}, input_image->Height());
        }
        return false;
    }
};
