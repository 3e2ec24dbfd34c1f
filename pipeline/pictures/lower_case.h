#pragma once
// Names without regard to the case of their letters.

#include <algorithm>
#include <string>

namespace focusfall {

// `text` with its letters A to Z in lower case, whatever the language of the system.
// [any thread]
inline std::string lowered(std::string text) {
    std::ranges::transform(text, text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

}  // namespace focusfall
