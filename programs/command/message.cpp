#include "programs/command/message.h"

#include <cstdio>
#include <iostream>
#include <string_view>

namespace focusfall {

namespace {

// Bytes of the UTF-8 character that `text` begins with, in its shortest form and no
// control character; 0 when there is none.
std::size_t character_bytes(std::string_view text) {
    const auto byte = [&](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    const unsigned first = byte(0);
    if (first < 0x80) return first >= 0x20 && first != 0x7f ? 1 : 0;
    const std::size_t size = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4) return 0;
    char32_t character = first & (0xffU >> (size + 1));
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xc0U) != 0x80U) return 0;
        character = character << 6U | (byte(i) & 0x3fU);
    }
    constexpr char32_t SMALLEST[] = {0, 0, 0xa0, 0x800, 0x10000};  // 0x80: controls
    const bool surrogate = character >= 0xd800 && character < 0xe000;
    return character >= SMALLEST[size] && character < 0x110000 && !surrogate ? size : 0;
}

}  // namespace

std::string printable(const std::string& text) {
    std::string shown;
    for (std::string_view rest = text; !rest.empty();) {
        std::size_t size = rest[0] == '\n' ? 1 : character_bytes(rest);
        if (size > 0) {
            shown += rest.substr(0, size);
        } else {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02x",
                          static_cast<unsigned>(static_cast<unsigned char>(rest[0])));
            shown += escape;
            size = 1;
        }
        rest.remove_prefix(size);
    }
    return shown;
}

void print_message(const std::string& text) {
    std::cerr << "focusfall: " << printable(text) << "\n";
}

}  // namespace focusfall
