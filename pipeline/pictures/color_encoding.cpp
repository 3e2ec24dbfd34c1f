#include "pipeline/pictures/color_encoding.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>

#include "host/error.h"

namespace focusfall {

namespace {

// Above the knee the stored number is (1 + offset) * light ^ (1 / exponent) - offset,
// below it slope * light (IEC 61966-2-1:1999 and ITU-R BT.709).
struct broken_power {
    float slope;
    float offset;
    float knee;  // light
};
constexpr broken_power SRGB_CURVE{12.92F, 0.055F, 0.0031308F};
constexpr broken_power REC709_CURVE{4.5F, 0.099F, 0.018F};
constexpr float REC709_EXPONENT = 1.0F / 0.45F;

float decode(const broken_power& curve, float exponent, float stored) {
    if (stored <= curve.knee * curve.slope) return stored / curve.slope;
    return std::pow((stored + curve.offset) / (1.0F + curve.offset), exponent);
}

float encode(const broken_power& curve, float exponent, float light) {
    if (light <= curve.knee) return light * curve.slope;
    return (1.0F + curve.offset) * std::pow(light, 1.0F / exponent) - curve.offset;
}

std::string lower(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char c) {
        return static_cast<char>(std::tolower(c));
    });
    return text;
}

}  // namespace

color_encoding color_encoding::named(const std::string& name) {
    const std::string wanted = lower(name);
    if (wanted == "linear" || wanted == "scene_linear") return linear();
    if (wanted == "srgb") return srgb();
    if (wanted == "rec709") return color_encoding(curve::REC709, REC709_EXPONENT);
    if (wanted.starts_with("gamma")) {
        const char* const end = wanted.data() + wanted.size();
        float exponent = 0.0F;
        const auto read = std::from_chars(wanted.data() + 5, end, exponent);
        if (read.ec == std::errc() && read.ptr == end && exponent >= 0.1F &&
            exponent <= 10.0F) {
            return color_encoding(curve::GAMMA, exponent);
        }
    }
    throw headless::host_error("colour space \"" + name +
                               "\" is not known; there are Linear, sRGB, Rec709 and "
                               "Gamma with a number, as in Gamma2.2");
}

std::string color_encoding::name() const {
    switch (curve_) {
        case curve::LINEAR: return "Linear";
        case curve::SRGB: return "sRGB";
        case curve::REC709: return "Rec709";
        case curve::GAMMA: break;
    }
    char text[32];
    return "Gamma" +
           std::string(text, std::to_chars(text, text + sizeof text, exponent_).ptr);
}

float color_encoding::decoded(float stored) const {
    const float size = std::abs(stored);
    switch (curve_) {
        case curve::LINEAR: return stored;
        case curve::SRGB:
            return std::copysign(decode(SRGB_CURVE, exponent_, size), stored);
        case curve::REC709:
            return std::copysign(decode(REC709_CURVE, exponent_, size), stored);
        case curve::GAMMA: return std::copysign(std::pow(size, exponent_), stored);
    }
    return stored;
}

float color_encoding::encoded(float light) const {
    const float size = std::abs(light);
    switch (curve_) {
        case curve::LINEAR: return light;
        case curve::SRGB:
            return std::copysign(encode(SRGB_CURVE, exponent_, size), light);
        case curve::REC709:
            return std::copysign(encode(REC709_CURVE, exponent_, size), light);
        case curve::GAMMA: return std::copysign(std::pow(size, 1.0F / exponent_), light);
    }
    return light;
}

}  // namespace focusfall
