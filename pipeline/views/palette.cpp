#include "pipeline/views/palette.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace focusfall {

namespace {

template <std::size_t COUNT>
view_color blended(const std::array<view_color, COUNT>& colors, float part) {
    const float place = part * static_cast<float>(COUNT - 1);
    const auto first = std::min(static_cast<std::size_t>(place), COUNT - 2);
    return mixed(colors[first], colors[first + 1], place - static_cast<float>(first));
}

}  // namespace

view_color depth_color(float part) {
    static constexpr std::array<view_color, 6> NEAR_TO_FAR{{{1.0F, 0.92F, 0.55F},
                                                            {1.0F, 0.45F, 0.08F},
                                                            {0.62F, 0.07F, 0.12F},
                                                            {0.22F, 0.03F, 0.3F},
                                                            {0.03F, 0.04F, 0.22F},
                                                            {0.002F, 0.006F, 0.03F}}};
    return blended(NEAR_TO_FAR, part);
}

view_color diameter_color(float part) {
    static constexpr std::array<view_color, 3> FRONT{
        {GROUND, IN_FRONT, {1.0F, 0.85F, 0.5F}}};
    static constexpr std::array<view_color, 3> BACK{
        {GROUND, BEHIND, {0.5F, 0.85F, 1.0F}}};
    return blended(part < 0.0F ? FRONT : BACK, std::abs(part));
}

}  // namespace focusfall
