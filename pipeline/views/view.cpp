#include "pipeline/views/view.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "host/error.h"
#include "host/text.h"
#include "pipeline/preparation/depth_statistics.h"
#include "pipeline/views/palette.h"
#include "pipeline/views/scale_strip.h"
#include "pipeline/views/signed_blur.h"

namespace focusfall {

namespace {

// A tick of a scale, in three digits.
std::string tick(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2e", value);
    return headless::shortest(headless::number_in(text).value_or(0.0));
}

Owned<Image> blank_like(const Image& other) {
    return Owned<Image>(new Image(other.Width(), other.Height(), Image::Z + 1));
}

// Calls work(pixel of the view, x, y) for all pixels.
template <class Work>
void for_each_pixel(Image& view, Work work) {
    for (std::int32_t y = 0; y < view.Height(); ++y) {
        for (std::int32_t x = 0; x < view.Width(); ++x) {
            float* pixel = view.Pixel(x, y);
            pixel[Image::Z] = 0.0F;
            work(pixel, x, y);
        }
    }
}

// From near to far. A wide range of distances is spread as blur spreads it, by the
// inverse: so what is near differs, as it does for the eye.
Owned<Image> depth_view(const Image& color, const viewed_depth& depth,
                        Image::Component component) {
    const depth_statistics s =
        statistics_of(depth.in_file, component, color, depth.empty);
    const bool is_inverse = s.is_logarithmic && !depth.large_is_near;
    const auto place = [&](float value) {
        return is_inverse ? -1.0F / value : depth.large_is_near ? -value : value;
    };
    const float nearest = depth.large_is_near ? s.highest : s.lowest;
    const float farthest = depth.large_is_near ? s.lowest : s.highest;
    const float start = place(nearest);
    const float range = place(farthest) - start;
    Owned<Image> view = blank_like(color);
    for_each_pixel(*view, [&](float* pixel, std::int32_t x, std::int32_t y) {
        const float value = depth.in_file.Pixel(x, y)[component];
        if (depth.empty.holds(value, color.Pixel(x, y)[Image::ALPHA])) {
            return paint(pixel, EMPTY);
        }
        const float part = range > 0.0F ? (place(std::abs(value)) - start) / range : 0.0F;
        paint(pixel, depth_color(std::clamp(part, 0.0F, 1.0F)));
    });

    constexpr int TICKS = 5;
    std::vector<std::string> labels;
    for (int i = 0; i < TICKS && s.has_depth(); ++i) {
        const float at = start + range * static_cast<float>(i) / (TICKS - 1);
        const float value = i + 1 == TICKS ? farthest
                            : is_inverse   ? -1.0F / at
                                           : std::abs(at);
        labels.push_back(tick(static_cast<double>(value)));
    }
    return with_scale(*view, depth_color, labels);
}

// The picture in grey, so that the marks are the only colours.
Owned<Image> focus_view(const Image& color, const Image& depth,
                        const FrameForecast& forecast) {
    Owned<Image> view = blank_like(color);
    for_each_pixel(*view, [&](float* pixel, std::int32_t x, std::int32_t y) {
        const float* from = color.Pixel(x, y);
        const float light = 0.2126F * from[Image::RED] + 0.7152F * from[Image::GREEN] +
                            0.0722F * from[Image::BLUE];
        const float grey = std::isfinite(light) ? std::clamp(light, 0.0F, 1.0F) : 0.0F;
        const float blur = signed_blur(forecast, depth.Pixel(x, y)[forecast.depth]);
        const view_color& mark = std::abs(blur) <= SHARP_DIAMETER ? SHARP
                                 : blur < 0.0F                    ? IN_FRONT
                                                                  : BEHIND;
        // black things are marked too, and the picture is still to be seen in white ones
        constexpr float FAINT = 0.04F;
        const view_color lit{grey, grey, grey};
        const view_color marked{mark.red * (grey + FAINT), mark.green * (grey + FAINT),
                                mark.blue * (grey + FAINT)};
        paint(pixel, mixed(lit, marked, 0.8F));
    });
    return view;
}

Owned<Image> diameter_view(const Image& depth, const FrameForecast& forecast) {
    const std::vector<float> diameters = signed_blurs(forecast, depth);
    float largest = 0.0F;
    for (const float diameter : diameters) {
        if (std::isfinite(diameter)) largest = std::max(largest, std::abs(diameter));
    }
    Owned<Image> view = blank_like(depth);
    auto next = diameters.begin();
    for_each_pixel(*view, [&](float* pixel, std::int32_t, std::int32_t) {
        const float part = largest > 0.0F ? *next / largest : 0.0F;
        paint(pixel, diameter_color(std::clamp(part, -1.0F, 1.0F)));
        ++next;
    });
    const auto most = static_cast<double>(largest);
    return with_scale(*view,
                      [](float part) { return diameter_color(2.0F * part - 1.0F); },
                      {tick(-most) + " px", tick(-most / 2.0), "0", tick(most / 2.0),
                       tick(most) + " px"});
}

}  // namespace

view_kind view_named(const std::string& name) {
    if (name == "depth") return view_kind::DEPTH;
    if (name == "focus") return view_kind::FOCUS;
    if (name == "diameter") return view_kind::DIAMETER;
    throw headless::host_error("there is no view \"" + name +
                               "\"; choose depth, focus or diameter");
}

Owned<Image> made_view(view_kind kind, const Image& color, const viewed_depth& depth,
                       const FrameForecast& forecast) {
    if (!forecast.blur_of) {
        throw headless::host_error("this tool does not blur by depth: there is no view");
    }
    switch (kind) {
        case view_kind::DEPTH: return depth_view(color, depth, forecast.depth);
        case view_kind::FOCUS: return focus_view(color, depth.for_tool, forecast);
        default: return diameter_view(depth.for_tool, forecast);
    }
}

}  // namespace focusfall
