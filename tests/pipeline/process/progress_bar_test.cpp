#include "pipeline/process/progress_bar.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include <gtest/gtest.h>

using namespace focusfall;

namespace {

// While it lives, standard error is a pseudo-terminal whose other end it reads.
class shown_terminal {
  public:
    shown_terminal() : terminal_(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK)) {
        if (grantpt(terminal_) != 0 || unlockpt(terminal_) != 0) return;
        const int end = open(ptsname(terminal_), O_RDWR | O_NOCTTY);
        dup2(end, STDERR_FILENO);
        close(end);
    }
    ~shown_terminal() {
        dup2(before_, STDERR_FILENO);
        close(before_);
        close(terminal_);
    }

    std::string shown() const {
        std::string all;
        char piece[4096];
        for (ssize_t size = 0; (size = read(terminal_, piece, sizeof piece)) > 0;) {
            all.append(piece, static_cast<std::size_t>(size));
        }
        return all;
    }

  private:
    int before_ = dup(STDERR_FILENO);
    int terminal_;
};

// Longer than the delay before a bar appears.
void wait_for_bar() { std::this_thread::sleep_for(std::chrono::milliseconds(600)); }

}  // namespace

TEST(ProgressBar, TellsOnATerminalHowFarLongWorkIsAndGoesAway) {
    const shown_terminal terminal;
    progress_bar bar(true);
    bar.show(0.1);
    EXPECT_EQ(terminal.shown(), "");  // short work needs no bar
    wait_for_bar();
    bar.show(0.5, "3 of 6 frames");
    const std::string line = terminal.shown();
    EXPECT_TRUE(line.starts_with("\r[############............] 50 %, 0:0")) << line;
    EXPECT_NE(line.find(" left, 3 of 6 frames"), std::string::npos) << line;
    bar.clear();
    EXPECT_EQ(terminal.shown(), "\r\x1b[K");
}

TEST(ProgressBar, IsNotShownElsewhereNorWhenUnwanted) {
    const shown_terminal terminal;
    progress_bar unwanted(false);
    testing::internal::CaptureStderr();  // to a file
    progress_bar elsewhere(true);
    wait_for_bar();
    elsewhere.show(0.5);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    unwanted.show(0.5);
    EXPECT_EQ(terminal.shown(), "");
}
