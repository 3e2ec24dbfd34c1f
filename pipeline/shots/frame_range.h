#pragma once
// The frames of a shot, and the names of their files.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace focusfall {

// The frames that a text like "1-48", "1-96x2" or "1-10,20,30-40" lists, each once, in
// the order of the text. Throws headless::host_error for any other text, and for more
// than a hundred thousand frames.
std::vector<int> parse_frames(const std::string& text);

// `frames`, which ascend, and those that are missing between them: from the first to the
// last at the largest step that meets all of them. Throws headless::host_error for more
// than a hundred thousand.
std::vector<int> without_holes(const std::vector<int>& frames);

// The frames as parse_frames reads them, in few words: "1-48,60".
std::string shown_frames(const std::vector<int>& frames);

// True when `name` holds a place for a frame number: "####" of any length, "%d" or
// "%04d".
bool has_frame_pattern(const std::string& name);

// `name` with the number in all such places, filled with zeros as wide as they ask for.
std::string frame_name(const std::string& name, int frame);

// The frame for which frame_name(pattern, frame) gives `name`, if there is one.
std::optional<int> frame_number(const std::string& pattern, std::string_view name);

}  // namespace focusfall
