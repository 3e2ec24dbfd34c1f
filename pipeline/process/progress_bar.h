#pragma once
// A progress line on the terminal for work that takes long.

#include <chrono>
#include <string>

namespace focusfall {

// Draws one line on standard error, over itself, and erases it at the end. [one thread]
class progress_bar {
  public:
    // Nothing is ever drawn unless `wanted` and standard error is a terminal.
    explicit progress_bar(bool wanted);
    ~progress_bar() { clear(); }
    progress_bar(const progress_bar&) = delete;
    progress_bar& operator=(const progress_bar&) = delete;

    // Shows that `fraction` of the work, 0 .. 1, is done, with an estimate of the time
    // left and `note`. Draws nothing in the first 0.5 s, and then at most every 0.1 s.
    void show(double fraction, const std::string& note = {});
    // Erases the line until the next `show`.
    void clear();

  private:
    using clock = std::chrono::steady_clock;

    bool wanted_;
    bool drawn_ = false;
    clock::time_point start_ = clock::now();
    clock::time_point next_;
};

}  // namespace focusfall
