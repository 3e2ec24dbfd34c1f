#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>

#include "programs/frame/commands.h"
#include "programs/frame/raw_frame.h"

namespace {

// By how much two numbers differ, as a part of the larger; 0 for the same bits.
double relative_difference(float a, float b) {
    if (std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b)) return 0.0;
    if (!std::isfinite(a) || !std::isfinite(b)) {
        return std::numeric_limits<double>::infinity();
    }
    const auto x = static_cast<double>(a);
    const auto y = static_cast<double>(b);
    const double larger = std::max(std::abs(x), std::abs(y));
    return larger > 0.0 ? std::abs(x - y) / larger : 0.0;
}

}  // namespace

double number_in(const std::string& text, const std::string& what) {
    double value = 0.0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, value);
    if (error != std::errc() || end != last) {
        throw usage_error(what + ": \"" + text + "\" is not a number");
    }
    return value;
}

bool run_compare_command(const std::vector<std::string>& arguments) {
    if (arguments.size() != 3) throw usage_error("compare wants FILE FILE TOLERANCE");
    const double tolerance = number_in(arguments[2], "TOLERANCE");
    const auto first = read_numbers(arguments[0]);
    const auto second = read_numbers(arguments[1]);
    if (first.size() != second.size()) {
        throw std::runtime_error(arguments[1] + ": holds " +
                                 std::to_string(second.size()) + " floats, " +
                                 arguments[0] + " " + std::to_string(first.size()));
    }

    double largest = 0.0;
    std::size_t differing = 0;
    for (std::size_t i = 0; i < first.size(); ++i) {
        if (std::bit_cast<std::uint32_t>(first[i]) !=
            std::bit_cast<std::uint32_t>(second[i])) {
            ++differing;
        }
        largest = std::max(largest, relative_difference(first[i], second[i]));
    }
    if (differing == 0) {
        std::printf("bit-equal\n");
    } else {
        std::printf("%zu of %zu floats differ, by %.2g at most; allowed are %g\n",
                    differing, first.size(), largest, tolerance);
    }
    return largest <= tolerance;
}
