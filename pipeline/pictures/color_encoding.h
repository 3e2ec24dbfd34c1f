#pragma once
// How stored numbers stand for light.

#include <string>

namespace focusfall {

// A transfer curve by name: "Linear", "sRGB", "Rec709", "Cineon" (the printing density of
// film scans, also called "KodakLog") or "Gamma" with its exponent, as in "Gamma2.2";
// letter case does not matter. A plain value.
class color_encoding {
  public:
    static color_encoding linear() { return color_encoding(curve::LINEAR, 1.0F); }
    static color_encoding srgb() { return color_encoding(curve::SRGB, 2.4F); }
    static color_encoding cineon() { return color_encoding(curve::CINEON, 1.0F); }
    // Throws headless::host_error for any other name.
    static color_encoding named(const std::string& name);

    bool is_linear() const { return curve_ == curve::LINEAR; }
    std::string name() const;

    // Light for a stored number, and back. Both go on beyond 0 and 1, mirrored below 0;
    // but a film's black is stored above 0, and its curve goes on straight below.
    float decoded(float stored) const;
    float encoded(float light) const;

  private:
    enum class curve { LINEAR, SRGB, REC709, CINEON, GAMMA };
    color_encoding(curve c, float exponent) : curve_(c), exponent_(exponent) {}

    curve curve_;
    float exponent_;
};

}  // namespace focusfall
