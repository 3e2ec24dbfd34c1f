#include "pipeline/process/interruption.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <utility>

#include "pipeline/process/output_file.h"

namespace focusfall {

namespace {

using namespace std::chrono_literals;

constexpr auto GRACE = 300ms;  // time for an orderly end
constexpr auto COUNTING = 20ms;

sigset_t held_back_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
    return signals;
}

}  // namespace

void hold_back_signals() {
    const sigset_t signals = held_back_signals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    // exceeding the limit on file sizes shall be a write error, as a full disk is
    signal(SIGXFSZ, SIG_IGN);
}

Owned<Image> image_of(headless::frame frame) {
    if (frame.how == headless::frame::end::ABORTED) throw interrupted();
    if (!frame.image) throw headless::host_error(frame.error);
    return std::move(frame.image);
}

interruption::interruption(headless::tool& tool)
    : tool_(tool), watcher_([this] { wait_for_signal(); }) {}

interruption::~interruption() {
    {
        const std::scoped_lock lock(mutex_);
        ending_ = true;
    }
    ended_.notify_all();
    // wake the watcher if it still waits; blocked everywhere else, the signal ends
    // nothing NOLINTNEXTLINE(bugprone-bad-signal-to-kill-thread)
    pthread_kill(watcher_.native_handle(), SIGTERM);
    watcher_.join();
}

void interruption::set_last_words(std::string words) {
    const std::scoped_lock lock(mutex_);
    last_words_ = std::move(words);
}

void interruption::wait_for_signal() {
    const sigset_t signals = held_back_signals();
    int signal = 0;
    sigwait(&signals, &signal);

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
