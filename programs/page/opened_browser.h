#pragma once
// The user's browser, opened on a page.

#include <filesystem>
#include <string>

namespace focusfall {

// Opens the browser by a file that leads on to the address and that only the user can
// read: the arguments of programs, in which a token must not stand, are seen by all users
// of a machine. The file goes with this object. Without a desktop, or when anything
// fails, no browser opens: the address was printed.
class opened_browser {
  public:
    explicit opened_browser(const std::string& address);
    ~opened_browser();
    opened_browser(const opened_browser&) = delete;
    opened_browser& operator=(const opened_browser&) = delete;

  private:
    std::filesystem::path file_;  // empty: there is none
};

}  // namespace focusfall
