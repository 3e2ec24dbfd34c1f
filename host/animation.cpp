#include "host/animation.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace headless {

namespace {

double secant(const key& from, const key& to) {
    return (to.value - from.value) / (to.time - from.time);
}

}  // namespace

animation::animation(double constant, interpolation between)
    : keys_{{0.0, constant}}, between_(between), animated_(false) {}

animation::animation(std::vector<key> keys, interpolation between)
    : keys_(std::move(keys)), between_(between), animated_(true) {
    if (keys_.empty()) throw std::invalid_argument("an animation needs a key");
    const auto out_of_order = [](const key& a, const key& b) {
        return !(a.time < b.time);
    };
    if (std::ranges::adjacent_find(keys_, out_of_order) != keys_.end()) {
        throw std::invalid_argument("the keys of an animation must ascend in time");
    }
    if (!std::isfinite(keys_.front().time) || !std::isfinite(keys_.back().time)) {
        throw std::invalid_argument("the keys of an animation need finite times");
    }
}

// Fritsch and Butland, "A method for constructing local monotone piecewise cubic
// interpolants" (1984), in its form for equal weights: the harmonic mean of the slopes on
// both sides, and flat at turning points and at the ends.
double animation::slope(std::size_t index) const {
    if (index == 0 || index + 1 == keys_.size()) return 0.0;
    const double before = secant(keys_[index - 1], keys_[index]);
    const double behind = secant(keys_[index], keys_[index + 1]);
    return before * behind > 0.0 ? 2.0 / (1.0 / before + 1.0 / behind) : 0.0;
}

double animation::at(TimeStamp time) const {
    if (!animated_ || time <= keys_.front().time) return keys_.front().value;
    if (time >= keys_.back().time) return keys_.back().value;

    const auto later = std::ranges::upper_bound(keys_, time, {}, &key::time);
    const key& from = *(later - 1);
    const key& to = *later;
    if (between_ == interpolation::STEP) return from.value;

    const double span = to.time - from.time;
    const double t = (time - from.time) / span;
    if (between_ == interpolation::LINEAR) return std::lerp(from.value, to.value, t);

    // cubic Hermite curve through both keys
    const auto index = static_cast<std::size_t>(later - keys_.begin());
    const double u = 1.0 - t;
    const double value = from.value * (1.0 + 2.0 * t) * u * u +
                         to.value * (1.0 + 2.0 * u) * t * t +
                         span * t * u * (slope(index - 1) * u - slope(index) * t);
    // rounding must not carry it out of the range that both keys keep to
    return std::clamp(value, std::min(from.value, to.value),
                      std::max(from.value, to.value));
}

void animation::set_key(TimeStamp time, double value) {
    if (!animated_) keys_.clear();
    animated_ = true;
    const auto place = std::ranges::lower_bound(keys_, time, {}, &key::time);
    if (place != keys_.end() && place->time == time) {
        place->value = value;
    } else {
        keys_.insert(place, {time, value});
    }
}

}  // namespace headless
