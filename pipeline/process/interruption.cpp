#include "pipeline/process/interruption.h"

#include <semaphore.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <utility>

#include "pipeline/process/output_file.h"

namespace focusfall {

namespace {

using namespace std::chrono_literals;

constexpr auto GRACE = 300ms;  // time for an orderly end
constexpr auto COUNTING = 20ms;

// How many signals came that no interruption has taken yet. Of all that threads can wait
// for, a signal handler may raise this alone.
class signal_count {
  public:
    signal_count() { sem_init(&count_, 0, 0); }
    ~signal_count() { sem_destroy(&count_); }
    signal_count(const signal_count&) = delete;
    signal_count& operator=(const signal_count&) = delete;

    void raise() { sem_post(&count_); }
    void take() {
        while (sem_wait(&count_) != 0) {
        }
    }

  private:
    sem_t count_{};
};

signal_count arrived;

void count_signal(int /*signal*/) {
    const int before = errno;
    arrived.raise();
    errno = before;
}

// Blocked signals would do only if every thread blocked them: libraries start some before
// main does.
void count_signals() {
    struct sigaction counted {};
    counted.sa_handler = count_signal;
    counted.sa_flags = SA_RESTART;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction present {};
        sigaction(signal, nullptr, &present);
        if (present.sa_handler != SIG_IGN) sigaction(signal, &counted, nullptr);
    }
    // exceeding the limit on file sizes shall be a write error, as a full disk is
    signal(SIGXFSZ, SIG_IGN);
}

}  // namespace

Owned<Image> image_of(headless::frame frame) {
    if (frame.how == headless::frame::end::ABORTED) throw interrupted();
    if (!frame.image) throw headless::host_error(frame.error);
    return std::move(frame.image);
}

interruption::interruption(headless::tool& tool)
    : tool_(tool), watcher_([this] { wait_for_signal(); }) {
    count_signals();
}

interruption::~interruption() {
    {
        const std::scoped_lock lock(mutex_);
        ending_ = true;
    }
    ended_.notify_all();
    if (!requested_) arrived.raise();  // the watcher still waits
    watcher_.join();
}

void interruption::set_last_words(std::string words) {
    const std::scoped_lock lock(mutex_);
    last_words_ = std::move(words);
}

void interruption::wait_for_signal() {
    arrived.take();

    std::unique_lock lock(mutex_);
    if (ending_) return;
    requested_ = true;
    tool_.abort();
    if (ended_.wait_for(lock, GRACE, [this] { return ending_; })) {
        return print_last_words();
    }
    lock.unlock();
    exit_without_unfinished_files(INTERRUPTED_STATUS, [this] {
        // the file that appeared last is counted in a moment
        std::this_thread::sleep_for(COUNTING);
        const std::scoped_lock counted(mutex_);
        print_last_words();
    });
}

void interruption::print_last_words() const {
    if (isatty(STDERR_FILENO) != 0)
        std::fputs("\r\x1b[K", stderr);  // erase a progress bar
    if (last_words_.empty()) return;
    std::fputs(("focusfall: " + last_words_ + "\n").c_str(), stderr);
}

}  // namespace focusfall
