#include "host/api/document.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

FusionDoc::FusionDoc(Console console) : console_(std::move(console)) {}

void FusionDoc::PrintF(int sub_id, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    // the analyzer takes a list that was copied for one that was not begun
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    va_end(arguments);

    if (console_) console_(sub_id, text);
}
