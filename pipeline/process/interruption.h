#pragma once
// Ctrl-C and the like: a render ends early and leaves no unfinished file behind.

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "host/headless_host.h"

namespace focusfall {

// Exit status of an interrupted command, 128 + SIGINT, as shells expect it.
inline constexpr int INTERRUPTED_STATUS = 130;

// Thrown where work ends because the command was interrupted. Not a std::exception, so
// that no handler takes it for an error.
struct interrupted {};

// The image of a render that ended well. Throws `interrupted` for an aborted frame, and
// headless::host_error with the text of a failed one. [any thread]
Owned<Image> image_of(headless::frame frame);

// While it lives, the first SIGINT, SIGTERM or SIGHUP aborts the tool, on a thread of its
// own. One that was ignored when the command started (as under nohup) stays ignored. If
// the interruption is not destroyed within 300 ms after that, because something takes too
// long, it removes the temporary files of this process and ends it with
// INTERRUPTED_STATUS. One at a time; the tool must outlive it. Once there was one, these
// signals do nothing by themselves; programs that this one starts get them as usual.
// [constructed and destroyed by one thread]
class interruption {
  public:
    explicit interruption(headless::tool& tool);
    ~interruption();
    interruption(const interruption&) = delete;
    interruption& operator=(const interruption&) = delete;

    // True once a signal has come. [any thread]
    bool is_requested() const { return requested_; }
    // Throws `interrupted` then. [any thread]
    void check() const {
        if (requested_) throw interrupted();
    }

    // Text to print on standard error after a signal; empty: none. [any thread]
    void set_last_words(std::string words);

  private:
    void wait_for_signal();
    void print_last_words() const;  // under mutex_

    headless::tool& tool_;
    std::atomic<bool> requested_ = false;
    std::mutex mutex_;
    std::condition_variable ended_;
    // under mutex_
    bool ending_ = false;
    std::string last_words_;
    std::thread watcher_;  // last: it uses all other members
};

}  // namespace focusfall
