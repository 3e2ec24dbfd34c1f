#pragma once
// Numbers and names as people write and read them. Every function works on its arguments
// alone, and may be called from any thread.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/api/export.h"

namespace headless {

// The number that the whole of `text` spells in decimal digits ("2.8", "+1e-3", "inf"),
// or nothing; nothing too for a number that a double cannot hold.
HOST_API std::optional<double> number_in(std::string_view text);

// `value` in as few digits as read back as the same double; without an exponent from
// 0.001 up to 1e15.
HOST_API std::string shortest(double value);
// The same for a float, so that 0.1F reads "0.1".
HOST_API std::string shortest(float value);

// Equal but for the case of ASCII letters.
HOST_API bool same_ignoring_case(std::string_view a, std::string_view b);

// The items with `between` between them; empty for none.
HOST_API std::string joined(const std::vector<std::string>& items,
                            std::string_view between = ", ");

// `text` as one word of a POSIX shell's line, in quotes only where it needs them.
HOST_API std::string shell_word(std::string_view text);

// `text` without the line ends that it may end with.
HOST_API std::string without_line_end(std::string text);

// The entry of `names` spelled most like `name`, whatever the case, else the first that
// contains it; empty when none is close.
HOST_API std::string nearest_name(std::string_view name,
                                  const std::vector<std::string>& names);

// The end of a message about an unknown `name`: `; did you mean "FocalLength"?` with the
// nearest of `names`, empty when none is close.
HOST_API std::string suggestion(std::string_view name,
                                const std::vector<std::string>& names);

}  // namespace headless
