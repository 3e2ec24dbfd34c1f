#pragma once
// The files of the page, which the program holds.

#include <string_view>

namespace focusfall {

struct page_file {
    std::string_view name;  // empty: the page itself
    const char* type;       // of its content
    std::string_view content;
};

// The file of that name; null when there is none. [any thread]
const page_file* find_page_file(std::string_view name);

}  // namespace focusfall
