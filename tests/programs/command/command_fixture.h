#pragma once
// What the tests of the command share: a folder of their own, and command lines run in
// it.

#include <sys/types.h>

#include <string>

#include <gtest/gtest.h>

#include "tests/support/made_pictures.h"

namespace focusfall {

struct run_result {
    int status = -1;  // 128 + n when signal n ended the process, as in a shell
    std::string output;
    std::string errors;
};

class command_test : public testing::Test, protected picture_folder {
  protected:
    // Runs `focusfall LINE` in the folder; `line` has blanks between its arguments, and
    // single quotes around those that have blanks. `run` does it in this process, which
    // saves the time to start one (0.4 s of processor time for the libraries that read
    // pictures), `start` in a process of its own, which `wait` waits for, and which may
    // begin with a signal `ignored`.
    run_result run(const std::string& line) const;
    pid_t start(const std::string& line, int ignored = 0) const;
    run_result wait(pid_t process) const;
    // Runs `focusfall render LINE -o OUTPUT`, which must succeed, and reads what it
    // wrote.
    picture rendered(const std::string& line, const std::string& output) const;
};

}  // namespace focusfall
