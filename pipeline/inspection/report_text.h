#pragma once
// Reports as a person reads them, and as JSON for programs.

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "pipeline/inspection/picture_report.h"
#include "pipeline/inspection/pixel_report.h"

namespace focusfall {

// Several lines, the last with its end. Histograms are of Unicode's blocks. [any thread,
// as all here]
std::string shown(const picture_report& report);
// One line.
std::string shown(const pixel_report& pixel);

// The same in full; infinity and what is not a number are texts.
nlohmann::ordered_json json_of(const picture_report& report);
nlohmann::ordered_json json_of(const pixel_report& pixel);

}  // namespace focusfall
