#pragma once
// Ctrl-C and the like: the render ends early, and nothing unfinished stays.

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "host/headless_host.h"

namespace focusfall {

constexpr int INTERRUPTED_STATUS = 130;  // what a shell expects of an interrupted command

// Thrown by interruption::check.
struct interrupted {};

// Keeps SIGINT, SIGTERM and SIGHUP from this thread and those that it starts, so that an
// interruption can take them. To be called before other threads are there. Signals that
// the command was started without stay ignored.
void hold_back_signals();

// While it lives, those signals abort the tool. What has not ended a moment later is left
// behind: temporary files are removed and the process exits with INTERRUPTED_STATUS.
class interruption {
  public:
    explicit interruption(headless::tool& tool);
    ~interruption();
    interruption(const interruption&) = delete;
    interruption& operator=(const interruption&) = delete;

    // Throws `interrupted` once a signal has come. [any thread]
    void check() const {
        if (requested_) throw interrupted();
    }

    // What to say on standard error after a signal.
    void set_last_words(std::string words);

  private:
    void wait_for_signal();

    headless::tool& tool_;
    std::atomic<bool> requested_ = false;
    std::mutex mutex_;
    std::condition_variable ended_;
    bool ending_ = false;  // under mutex_, as the next
    std::string last_words_;
    std::thread watcher_;  // started last
};

}  // namespace focusfall
