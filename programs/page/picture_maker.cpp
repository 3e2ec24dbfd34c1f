#include "programs/page/picture_maker.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "host/error.h"
#include "pipeline/process/interruption.h"
#include "pipeline/shots/frame_preparation.h"
#include "pipeline/views/kernel_probe.h"
#include "programs/page/display_picture.h"
#include "programs/page/scaled_frame.h"

namespace focusfall {

namespace {

using namespace std::chrono_literals;

// So long a hand rests before the full picture is begun: longer than between two steps of
// a slider.
constexpr auto REST = 100ms;
// A wait for news of which may have gone without a word, as those of a browser's tab that
// sleeps, is looked at so often.
constexpr auto LOOK_AROUND = 500ms;

// The blur of a small picture may take so long, for 25 of them to appear in a second.
constexpr auto SLOW = 28ms;
// Below this it is quick enough again: enough less not to change to and fro.
constexpr auto STEADY = 18ms;

// Pixels on each side of the picture of a kernel, less its margin.
constexpr double KERNEL_DIAMETER = 61.0;

std::size_t index_of(detail of) { return static_cast<std::size_t>(of); }

}  // namespace

picture_maker::picture_maker(shot_options shot, headless::tool& tool, int first,
                             frame_listener listener)
    : shot_(std::move(shot)),
      tool_(&tool),
      frame_listener_(std::move(listener)),
      wanted_frame_(first),
      wanted_tool_(&tool) {
    load_frame(first);
    thread_ = std::thread([this] { run(); });
}

picture_maker::~picture_maker() {
    {
        const std::scoped_lock lock(mutex_);
        stopping_ = true;
        tool_->abort();
    }
    changed_.notify_all();
    thread_.join();
}

void picture_maker::add(picture_wish wish) {
    const std::scoped_lock lock(mutex_);
    const auto earlier = std::ranges::find(wishes_, wish.place, &picture_wish::place);
    if (earlier == wishes_.end()) {
        wishes_.push_back(std::move(wish));
    } else {
        earlier->to->send({.status = 204, .type = "text/plain", .body = ""});
        *earlier = std::move(wish);
    }
    changed_.notify_all();
}

// Only full pictures are aborted: small ones are done in a moment, and a hand that never
// rests would see none.
void picture_maker::change_version() {
    ++version_;
    last_change_ = clock::now();
    if (is_making_full_) tool_->abort();
    changed_.notify_all();
}

void picture_maker::values_changed(headless::tool& tool) {
    const std::scoped_lock lock(mutex_);
    wanted_tool_ = &tool;
    change_version();
}

void picture_maker::show(int frame) {
    const std::scoped_lock lock(mutex_);
    if (frame == wanted_frame_) return;
    wanted_frame_ = frame;
    change_version();
}

void picture_maker::read_frame() {
    const std::scoped_lock lock(mutex_);
    reads_frame_ = true;
    changed_.notify_all();
}

std::shared_ptr<const shown_frame> picture_maker::frame() const {
    const std::scoped_lock lock(mutex_);
    return frame_;
}

std::uint64_t picture_maker::version() const {
    const std::scoped_lock lock(mutex_);
    return version_;
}

bool picture_maker::is_busy() const {
    const std::scoped_lock lock(mutex_);
    return is_making_ || wanted_detail().has_value();
}

// Under the mutex, as are the next two.
detail picture_maker::next_detail(const picture_wish& wish) const {
    const bool has_full = full_version_ == version_;
    if (frame_->is_small() || has_full) return detail::FULL;
    if (wish.shown_version >= version_) return detail::FULL;
    return is_slow_ ? detail::QUICK : detail::SMALL;
}

std::optional<detail> picture_maker::wanted_detail() const {
    std::optional<detail> wanted;
    for (const picture_wish& wish : wishes_) {
        const bool is_satisfied =
            wish.shown_version >= version_ && wish.shown_detail == detail::FULL;
        if (is_satisfied || !wish.to->is_wanted()) continue;
        wanted = std::min(wanted.value_or(detail::FULL), next_detail(wish));
    }
    return wanted;
}

bool picture_maker::may_begin(detail wanted) const {
    return wanted != detail::FULL || frame_->is_small() || full_version_ == version_ ||
           clock::now() >= last_change_ + REST;
}

void picture_maker::run() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        std::erase_if(wishes_,
                      [](const picture_wish& wish) { return !wish.to->is_wanted(); });
        const auto wanted = reads_frame_ ? detail::QUICK : wanted_detail();
        if (!wanted) {
            changed_.wait_for(lock, wishes_.empty() ? 24h : LOOK_AROUND);
        } else if (!may_begin(*wanted)) {
            changed_.wait_until(lock, last_change_ + REST);
        } else {
            make(*wanted, lock);
        }
    }
}

// Makes a picture for each wish that one of this detail serves.
void picture_maker::make(detail wanted, std::unique_lock<std::mutex>& lock) {
    const std::uint64_t version = version_;
    const int number = wanted_frame_;
    served_.clear();
    for (const picture_wish& wish : wishes_) {
        const bool is_newer = wish.shown_version < version;
        const bool is_finer = wanted == detail::FULL && wish.shown_detail != wanted;
        if (is_newer || is_finer) served_.push_back(wish);
    }
    if (tool_ != wanted_tool_) tool_->trim();  // the new one needs the memory
    tool_ = wanted_tool_;
    is_making_ = true;
    is_making_full_ = wanted == detail::FULL && !frame_->is_small();
    reads_frame_ = false;
    if (!stopping_) tool_->clear_abort();
    lock.unlock();

    std::vector<page_answer> answers;
    bool is_aborted = false;
    try {
        if (frame()->number() != number || reading_tool_ != tool_ ||
            !frame()->is_current(*tool_)) {
            load_frame(number);
            frame_listener_(number, "");
        }
        for (const picture_wish& wish : served_) {
            answers.push_back(picture_of(wish, wanted, version));
        }
    } catch (const interrupted&) {
        is_aborted = true;
    } catch (const std::exception& error) {
        if (frame()->number() != number) frame_listener_(number, error.what());
        answers.assign(served_.size(), refused(422, error.what()));
        for (page_answer& answer : answers) {
            answer.headers.emplace_back("X-Version", std::to_string(version));
        }
    }

    lock.lock();
    is_making_ = is_making_full_ = false;
    if (is_aborted) return;
    if (kept_[index_of(detail::FULL)].version == version) full_version_ = version;
    answer_served(std::move(answers));
}

// Under the mutex.
void picture_maker::answer_served(std::vector<page_answer> answers) {
    for (std::size_t i = 0; i < served_.size(); ++i) {
        std::erase_if(wishes_,
                      [&](const picture_wish& wish) { return wish.to == served_[i].to; });
        served_[i].to->send(std::move(answers[i]));
    }
    served_.clear();
}

bool picture_maker::is_anyone_waiting() const {
    return std::ranges::any_of(
        served_, [](const picture_wish& wish) { return wish.to->is_wanted(); });
}

void picture_maker::load_frame(int number) {
    if (reading_tool_ != tool_) reader_.emplace(shot_, *tool_);
    reading_tool_ = nullptr;
    auto frame = std::make_shared<const shown_frame>(shot_, *reader_, *tool_, number);
    reading_tool_ = tool_;
    const std::scoped_lock lock(mutex_);
    frame_ = std::move(frame);
    for (kept_result& kept : kept_) kept = {};
}

const Image& picture_maker::result(detail wanted, std::uint64_t version) {
    kept_result& kept = kept_[index_of(wanted)];
    if (kept.version == version) return *kept.image;
    kept = {};  // makes room
    const auto frame = this->frame();
    const auto start = clock::now();
    headless::render_order order = order_of(*tool_, frame->number(), frame->at(wanted));
    order.progress = [this](double) {
        if (!is_anyone_waiting()) tool_->abort();
    };
    kept.image = image_of(tool_->render(order));
    kept.version = version;
    follow_pace(wanted, clock::now() - start);
    return *kept.image;
}

// A quick picture has a quarter of a small one's pixels.
void picture_maker::follow_pace(detail made, clock::duration took) {
    if (made == detail::FULL) return;
    const auto small = made == detail::QUICK ? 4 * took : took;
    const std::scoped_lock lock(mutex_);
    is_slow_ = small > (is_slow_ ? STEADY : SLOW);
}

page_answer picture_maker::picture_of(const picture_wish& wish, detail wanted,
                                      std::uint64_t version) {
    const auto frame = this->frame();
    const bool is_full =
        wanted == detail::FULL || frame->is_small() || wish.view == page_view::KERNEL;
    page_answer answer{.type = "image/jpeg"};
    std::int64_t rows = 0;
    if (wish.view == page_view::KERNEL) {
        const Owned<Image> image =
            kernel_picture(*probed_kernel(*tool_, KERNEL_DIAMETER, frame->number(),
                                          frame->at(wanted).blur_image.get()));
        rows = image->Height();
        answer.body = display_picture(*image, {0, 0, image->Width(), rows}, {}, true);
    } else if (wish.view == page_view::RESULT) {
        const Image& image = result(wanted, version);
        const window inside = display_in(frame->at(wanted), image);
        rows = inside.height;
        answer.body = display_picture(image, inside, wish.look, is_full);
    } else {
        // the other views are no light
        const display_look look =
            wish.view == page_view::INPUT ? wish.look : display_look();
        const Owned<Image> image = frame->view(wish.view, wanted, *tool_);
        rows = display_in(frame->at(wanted), *frame->at(wanted).image).height;
        answer.body = display_picture(*image, {0, 0, image->Width(), image->Height()},
                                      look, is_full);
    }
    answer.headers = {{"X-Version", std::to_string(version)},
                      {"X-Detail", is_full ? "full" : "small"},
                      {"X-Rows", std::to_string(rows)},
                      {"X-Frame", std::to_string(frame->number())}};
    return answer;
}

}  // namespace focusfall
