#pragma once
// A line on the terminal that tells how far long work is.

#include <chrono>
#include <string>

namespace focusfall {

// Draws on standard error, in place, and goes away at the end. One thread.
class progress_bar {
  public:
    // Nothing is ever drawn unless `wanted` and standard error is a terminal.
    explicit progress_bar(bool wanted);
    ~progress_bar() { clear(); }
    progress_bar(const progress_bar&) = delete;
    progress_bar& operator=(const progress_bar&) = delete;

    // Shows that `fraction` of the work, 0 .. 1, is done, with the time left and `note`;
    // not before the work has lasted for a while, nor more often than one can see.
    void show(double fraction, const std::string& note = {});
    // Leaves an empty line, until the next `show`.
    void clear();

  private:
    using clock = std::chrono::steady_clock;

    bool wanted_;
    bool drawn_ = false;
    clock::time_point start_ = clock::now();
    clock::time_point next_;
};

}  // namespace focusfall
