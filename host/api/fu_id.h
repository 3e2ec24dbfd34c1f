#pragma once
// The host's identifier: a text that names a class, a control, a data type.

#include <compare>
#include <string>
#include <utility>

// A value that owns its text. Identifiers are equal when their texts are, letter case
// included. Callable from any thread, like a std::string.
class FuID {
  public:
    FuID() = default;
    FuID(const char* text) : text_(text) {}  // `text` must not be null
    FuID(std::string text) : text_(std::move(text)) {}

    const std::string& Text() const { return text_; }

    friend bool operator==(const FuID&, const FuID&) = default;
    friend auto operator<=>(const FuID&, const FuID&) = default;

  private:
    std::string text_;
};
