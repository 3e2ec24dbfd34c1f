#pragma once
// The document that contains a tool. A tool uses it to print to the host's console.

#include <functional>
#include <string>

#include "host/api/export.h"

class HOST_API FusionDoc {
  public:
    // The parts of the console that tools print to.
    static constexpr int TIMES = 40;   // how long they took
    static constexpr int ERRORS = 60;  // what went wrong

    // Receives one formatted text. Called on the thread that prints.
    using Console = std::function<void(int sub_id, const std::string& text)>;

    // An empty `console` swallows what is printed.
    explicit FusionDoc(Console console);

    // Prints to part `sub_id` of the console, like std::printf, as one text. Throws
    // std::bad_alloc, and what the console throws. [any thread]
#if defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    void
    PrintF(int sub_id, const char* format, ...);

  private:
    Console console_;
};
