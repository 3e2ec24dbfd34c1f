#include "pipeline/pictures/color_encoding.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "host/error.h"
#include "pipeline/pictures/lower_case.h"

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

// Code values of 10 bits count steps of 0.002 in the density of a negative, whose density
// grows with the 0.6th power of the light: 300 codes are a factor of 10. The black of a
// print is at 95 and its white at 685 (Kodak, "Grayscale Transformations of Cineon
// Digital Film Data", 1993).
constexpr float FILM_LAST_CODE = 1023.0F;
constexpr float FILM_WHITE = 685.0F;
constexpr float FILM_DECADE = 300.0F;
constexpr float FILM_BLACK = 0.0107977516F;  // 10 ^ ((95 - 685) / 300)

// Below the code 0 the curve has no light to show; a line goes on from there.
constexpr float FILM_LOWEST = 0.00520795F;                           // 10 ^ (-685 / 300)
constexpr float FILM_SLOPE = FILM_DECADE / 2.302585F / FILM_LOWEST;  // codes for light

float decoded_film(float stored) {
    const float code = stored * FILM_LAST_CODE;
    const float light = code > 0.0F ? std::pow(10.0F, (code - FILM_WHITE) / FILM_DECADE)
                                    : FILM_LOWEST + code / FILM_SLOPE;
    return (light - FILM_BLACK) / (1.0F - FILM_BLACK);
}

float encoded_film(float seen) {
    const float light = seen * (1.0F - FILM_BLACK) + FILM_BLACK;
    const float code = light > FILM_LOWEST ? FILM_WHITE + FILM_DECADE * std::log10(light)
                                           : (light - FILM_LOWEST) * FILM_SLOPE;
    return code / FILM_LAST_CODE;
}

}  // namespace

color_encoding color_encoding::named(const std::string& name) {
    const std::string wanted = lowered(name);
    if (wanted == "linear" || wanted == "scene_linear") return linear();
    if (wanted == "srgb") return srgb();
    if (wanted == "rec709") return color_encoding(curve::REC709, REC709_EXPONENT);
    if (wanted == "cineon" || wanted == "kodaklog") return cineon();
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
                               "\" is not known; there are Linear, sRGB, Rec709, "
                               "Cineon and Gamma with a number, as in Gamma2.2");
}

std::string color_encoding::name() const {
    switch (curve_) {
        case curve::LINEAR: return "Linear";
        case curve::SRGB: return "sRGB";
        case curve::REC709: return "Rec709";
        case curve::CINEON: return "Cineon";
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
        case curve::CINEON: return decoded_film(stored);
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
        case curve::CINEON: return encoded_film(light);
        case curve::GAMMA: return std::copysign(std::pow(size, 1.0F / exponent_), light);
    }
    return light;
}

}  // namespace focusfall
