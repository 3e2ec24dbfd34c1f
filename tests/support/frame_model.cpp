#include "tests/support/frame_model.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace frame_model {

namespace {

double of(const controls& values, const std::string& id) {
    static const controls DEFAULTS = {
        {"BlurChannel", 0},    {"SettingsType", 0},        {"FocusPosition", 0},
        {"MaxBlurSize", 1},    {"FocalLength", 35},        {"FStop", 2},
        {"DepthMapType", 0},   {"FilmbackWidth", 24.896F}, {"DepthMapUnits", 0},
        {"NearDistance", 300}, {"FarDistance", 1000},      {"InvertDepthMap", 0},
        {"Normalize", 1},      {"BlurStyle", 0},           {"BadBokeh", 0},
        {"KernelAngle", 0},    {"PolygonSideCount", 6}};
    const auto given = values.find(id);
    return given != values.end() ? given->second : DEFAULTS.at(id);
}

bool on(const controls& values, const std::string& id) { return of(values, id) == 1.0; }

// Distances in millimetres and blur diameters in pixels, in single precision.
struct lens {
    bool normalized, invert;
    int unit;
    float nearest, farthest;
    float focus = 0.0F;
    float largest = 0.0F;

    lens(const controls& values, int width) {
        const auto number = [&](const char* id) {
            return static_cast<float>(of(values, id));
        };
        const bool advanced = on(values, "SettingsType");
        invert = on(values, "InvertDepthMap");
        normalized = !advanced || on(values, "DepthMapType");
        unit = advanced ? static_cast<int>(of(values, "DepthMapUnits")) : 0;
        nearest = advanced ? std::fabs(number("NearDistance")) : 1.0F;
        farthest = advanced ? std::fabs(number("FarDistance")) : 2.0F;
        focus = distance(number("FocusPosition"));
        const auto pixels = static_cast<float>(width);
        if (advanced) {
            const float f = number("FocalLength");
            const float top = pixels * (f * f);
            largest = top / ((focus - f) * (number("FilmbackWidth") * number("FStop")));
        } else {
            largest = pixels * number("MaxBlurSize") / 100.0F;
        }
    }

    float distance(float v) const {
        v = std::fabs(v);
        if (normalized) {
            if (invert) v = std::fabs(1.0F - v);
            v = std::fabs(farthest - nearest) * v + nearest;
        }
        if (unit == 3) v = v * 12.0F;
        if (unit >= 2) v = v * 25.4F;
        if (unit == 1) v = v * 1000.0F;
        return std::fabs(v);
    }

    int kernel_of(float v, int kernel_count) const {
        constexpr float FARTHEST = std::numeric_limits<float>::max() / 2.0F;
        float z = distance(v);
        if (z > FARTHEST) z = FARTHEST;
        float diameter = std::fabs(z - focus) * largest / z;
        if (!(diameter < largest)) diameter = largest;
        const double step = static_cast<double>(diameter / 0.01F);
        return static_cast<int>(std::min(step, kernel_count - 1.0));
    }
};

// Brightness at distance d of a disk or polygon whose edge is at `edge`.
double hard_edged(double d, double edge, double bad_bokeh) {
    const double inside = std::clamp(edge + 1.0 - d, 0.0, 1.0);
    return inside * (1.0 + 4.0 * bad_bokeh * std::pow(std::min(d / edge, 1.0), 4.0));
}

double profile(const controls& values, double diameter, double dx, double dy) {
    const double d = std::hypot(dx, dy);
    const double radius = std::max(double{0.0001F}, (diameter - 1.0) / 2.0);
    const double variance = diameter * diameter / 36.0;
    switch (static_cast<int>(of(values, "BlurStyle"))) {
        case 0: return hard_edged(d, radius, of(values, "BadBokeh"));
        case 1: {
            // the side that the direction meets is the one it points furthest along
            const double sides = of(values, "PolygonSideCount");
            const double turn = of(values, "KernelAngle") * std::numbers::pi / 180.0;
            double along = 0.0;
            for (int side = 0; side < sides; ++side) {
                const double normal = 2.0 * std::numbers::pi * side / sides - turn;
                along = std::max(along, dx * std::cos(normal) + dy * std::sin(normal));
            }
            const double apothem = radius * std::cos(std::numbers::pi / sides);
            const double edge = d > 0.0 ? apothem * d / along : radius;
            return hard_edged(d, edge, of(values, "BadBokeh"));
        }
        case 2: return std::exp(-d * d / variance);
        case 3: {
            const double u = d / diameter * 20.347;
            if (u >= 10.1735) return 0.0;
            return u > 0.0 ? std::pow(2.0 * std::cyl_bessel_j(1.0, u) / u, 2.0) : 1.0;
        }
        default: {
            const double t = d * d / variance / 2.0;
            return std::exp(-t) * (1.0 - t);
        }
    }
}

// The kernel of table entry `index`, row by row: sum of absolute values 1, odd side, at
// least 3 (1 for entry 0).
std::vector<double> kernel(const controls& values, int index) {
    if (index == 0) return {1.0};
    const double diameter = index * 0.01;
    int side = 3;
    while (side < diameter) side += 2;
    // stored in single precision: the faintest values become 0
    std::vector<float> shape;
    double sum = 0.0;
    for (int i = 0; i < side * side; ++i) {
        const int dx = i % side - side / 2;
        const int dy = i / side - side / 2;
        shape.push_back(static_cast<float>(profile(values, diameter, dx, dy)));
        sum += std::fabs(double{shape.back()});
    }
    std::vector<double> weights;
    for (const float one : shape) weights.push_back(static_cast<float>(one / sum));
    return weights;
}

// A value that is summed up, and the sum of the magnitudes.
struct total {
    double value = 0.0;
    double magnitude = 0.0;
    void add(double one) {
        value += one;
        magnitude += std::fabs(one);
    }
};

// `sums`: the four colours and the weight of each pixel.
void add_sample(const picture& input, int x, int y, const std::vector<double>& weights,
                std::vector<total>& sums) {
    const int side = static_cast<int>(std::lround(std::sqrt(weights.size())));
    for (int i = 0; i < side * side; ++i) {
        const int column = x + i % side - side / 2;
        const int row = y + i / side - side / 2;
        if (column < 0 || column >= input.width) continue;
        if (row < 0 || row >= input.height) continue;
        const double w = weights[static_cast<std::size_t>(i)];
        total* sum = &sums[static_cast<std::size_t>(row * input.width + column) * 5];
        for (int c = 0; c < 4; ++c) sum[c].add(w * double{input.at(x, y, c)});
        sum[4].add(w);
    }
}

expected quotient(const total& sum, const total& weight, bool divide) {
    double value = sum.value;
    double slack = sum.magnitude;
    if (divide && weight.value > 0.0) {
        value /= weight.value;
        slack = (slack + std::fabs(value) * weight.magnitude) / weight.value;
    }
    // beneath the smallest normal number, single precision has digits to lose
    constexpr double LEAST = std::numeric_limits<float>::min();
    return {value, std::max({2e-4 * std::fabs(value), 1e-5 * slack, LEAST}),
            divide && std::fabs(weight.value) < 1e-5 * weight.magnitude};
}

}  // namespace

float& picture::at(int x, int y, int component) {
    return values[static_cast<std::size_t>((y * width + x) * components + component)];
}
float picture::at(int x, int y, int component) const {
    return values[static_cast<std::size_t>((y * width + x) * components + component)];
}

frame render(const picture& input, const picture& depth, const controls& values) {
    const lens view(values, input.width);
    const bool divide = on(values, "Normalize");
    const int channels[] = {4, 2, 1, 0, 3};  // where Z, Red, Green, Blue, Alpha are
    const int channel = channels[static_cast<int>(of(values, "BlurChannel"))];

    frame result;
    if (view.largest > 1.0F) {
        const double steps = double{view.largest} / 0.01 + 1.0;
        result.kernel_count = 1 + static_cast<int>(std::min(input.width / 0.04, steps));
    }
    std::map<int, std::vector<double>> kernels;
    std::vector<total> sums(static_cast<std::size_t>(input.width * input.height) * 5);
    for (int i = 0; i < input.width * input.height; ++i) {
        const int x = i % input.width;
        const int y = i / input.width;
        const float v = depth.at(x, y, channel);
        result.depth_values.push_back(v);
        if (result.kernel_count == 0) {
            for (int c = 0; c < 4; ++c)
                result.colors.push_back({input.at(x, y, c), 0, 0});
        } else if (divide || input.at(x, y, 3) > 0.0F) {
            std::vector<double>& weights =
                kernels[view.kernel_of(v, result.kernel_count)];
            if (weights.empty()) {
                weights = kernel(values, view.kernel_of(v, result.kernel_count));
            }
            add_sample(input, x, y, weights, sums);
        }
    }
    for (std::size_t i = 0; result.kernel_count > 0 && i < sums.size(); i += 5) {
        for (std::size_t c = 0; c < 4; ++c) {
            result.colors.push_back(quotient(sums[i + c], sums[i + 4], divide));
        }
    }
    return result;
}

}  // namespace frame_model
