#pragma once
// Makes the pictures that pages wait for: always of the newest values.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "host/headless_host.h"
#include "programs/page/messages.h"
#include "programs/page/shown_frame.h"

namespace focusfall {

// What someone who shows pictures waits for: one that is newer than what is shown, or in
// more detail. The answer is a JPEG file with the headers X-Version, X-Detail ("small" or
// "full") and X-Rows, below which there is a legend; or a refusal with X-Version.
struct picture_wish {
    page_view view = page_view::RESULT;
    display_look look;
    std::uint64_t shown_version = 0;  // 0: nothing is shown
    detail shown_detail = detail::SMALL;
    std::string place;  // where it is shown: a later wish for it replaces this one
    std::shared_ptr<pending_answer> to;
};

// Renders on a thread of its own. Each edit makes a new version of the picture; versions
// in between may never be rendered. First comes a small picture, then, once the hand
// rests, the full one, which is aborted when the values change or nobody waits for it any
// more.
class picture_maker {
  public:
    // Hears that a frame was read, or why it could not be. [the making thread]
    using frame_listener = std::function<void(int frame, const std::string& error)>;

    // Shows the frame `first`, 0 for a single picture; `listener` hears of all later
    // ones. Others may edit the tools while this lives, but not render with them. Throws
    // headless::host_error when the frame cannot be read.
    picture_maker(shot_options shot, headless::tool& tool, int first,
                  frame_listener listener);
    ~picture_maker();
    picture_maker(const picture_maker&) = delete;
    picture_maker& operator=(const picture_maker&) = delete;

    // All below: [any thread]
    void add(picture_wish wish);
    // The values of `tool`, which blurs from now on, were edited.
    void values_changed(headless::tool& tool);
    void show(int frame);
    // Reads the frame that was last asked for, also when nobody waits for a picture.
    void read_frame();
    // The frame of the latest picture.
    std::shared_ptr<const shown_frame> frame() const;
    std::uint64_t version() const;
    // Whether something renders, or will at once.
    bool is_busy() const;

  private:
    using clock = std::chrono::steady_clock;

    // A picture of the result, kept to be shown in other ways.
    struct kept_result {
        std::uint64_t version = 0;  // 0: none
        Owned<Image> image;
    };

    void run();
    void change_version();
    void follow_pace(detail made, clock::duration took);
    std::optional<detail> wanted_detail() const;
    detail next_detail(const picture_wish& wish) const;
    bool may_begin(detail wanted) const;
    void make(detail wanted, std::unique_lock<std::mutex>& lock);
    void answer_served(std::vector<page_answer> answers);
    bool is_anyone_waiting() const;
    void load_frame(int number);
    page_answer picture_of(const picture_wish& wish, detail wanted,
                           std::uint64_t version);
    const Image& result(detail wanted, std::uint64_t version);

    // The making thread alone.
    const shot_options shot_;
    headless::tool* tool_;  // changed under the mutex: others abort it
    const frame_listener frame_listener_;
    std::optional<reading_stage> reader_;
    const headless::tool* reading_tool_ = nullptr;  // that the frame was read for
    kept_result kept_[3];                           // by detail
    std::vector<picture_wish> served_;              // by what is made now

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    // under mutex_
    std::shared_ptr<const shown_frame> frame_;
    int wanted_frame_;
    headless::tool* wanted_tool_;
    std::uint64_t version_ = 1;
    std::uint64_t full_version_ = 0;  // for which the full result is there
    clock::time_point last_change_;
    std::vector<picture_wish> wishes_;
    bool is_making_ = false;
    bool is_making_full_ = false;
    bool is_slow_ = false;  // small pictures take too long to follow a hand
    bool reads_frame_ = false;
    bool stopping_ = false;

    std::thread thread_;  // last: it uses all other members
};

}  // namespace focusfall
