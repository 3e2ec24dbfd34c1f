#pragma once
// The three stages of a frame in a shot. They may run at once, each on a thread of its
// own with another frame. A fault fails the frame, and later stages let it pass; they
// throw `interrupted` once the observer wants the shot to end.

#include <cstddef>
#include <string>
#include <vector>

#include "host/headless_host.h"
#include "pipeline/pictures/picture_format.h"
#include "pipeline/shots/shot_observer.h"
#include "pipeline/shots/shot_options.h"

namespace focusfall {

// A frame on its way. One stage has it at a time.
struct frame_job {
    frame_report report;
    std::size_t before = 0;  // frames to render before it
    FrameForecast forecast;  // by the reading stage, as the next
    loaded_frame loaded;
    window written;       // what is written of it
    std::string record;   // how the picture was made, see shot_record.h
    Owned<Image> result;  // by the rendering stage, as the next
    std::vector<Owned<Image>> further_results;
};

// Reads the input of a frame, when it is known to fit into memory.
class reading_stage {
  public:
    reading_stage(const shot_options& options, const headless::tool& tool)
        : options_(options), tool_(tool), loader_(options.load, options.memory_limit) {}

    void run(frame_job& job);

  private:
    void check_diameter_channel(const opened_frame& opened,
                                const FrameForecast& forecast) const;
    void check_memory(const opened_frame& opened, const FrameForecast& forecast) const;

    const shot_options& options_;
    const headless::tool& tool_;  // only read
    frame_loader loader_;
};

// Renders a frame with the tool, and tells what the user should know of it.
class rendering_stage {
  public:
    rendering_stage(const shot_options& options, const picture_format& format,
                    headless::tool& tool, shot_observer& observer)
        : options_(options), format_(format), tool_(tool), observer_(observer) {}

    void run(frame_job& job);

  private:
    void tell_notes(const frame_job& job);
    Owned<Image> rendered(const frame_job& job, std::size_t layer);

    const shot_options& options_;
    const picture_format format_;
    headless::tool& tool_;
    shot_observer& observer_;
    bool told_losses_ = false;  // once, for other frames have the same; as the next
    bool told_focus_ = false;
    bool told_of_frame_ = false;
};

// Writes the output and the preview of a frame.
class writing_stage {
  public:
    writing_stage(const shot_options& options, const picture_format& format,
                  shot_observer& observer)
        : options_(options), format_(format), observer_(observer) {}

    void run(frame_job& job);

  private:
    picture output_of(frame_job& job) const;
    void add_diameters(const frame_job& job, picture& output) const;
    Owned<Image> preview_of(const frame_job& job) const;

    const shot_options& options_;
    const picture_format format_;
    shot_observer& observer_;
};

}  // namespace focusfall
