#pragma once
// A control's value over time.

#include <vector>

#include "host/api/export.h"
#include "host/api/request.h"

namespace headless {

// A value at a time, in frames.
struct key {
    TimeStamp time;
    double value;
    friend bool operator==(const key&, const key&) = default;
};

// How values run from one key to the next.
enum class interpolation {
    LINEAR,
    SMOOTH,  // a curve without corners that stays between the keys
    STEP,    // each key's value up to the next key
};

// A number over time: a constant, or keys in ascending order of time. Before its first
// key an animation has the first value, after its last key the last. A plain value:
// threads may read one at once.
class HOST_API animation {
  public:
    // The same value at all times; `between` matters once keys are added. Throws
    // std::bad_alloc, like everything here that copies keys.
    explicit animation(double constant, interpolation between = interpolation::LINEAR);
    // `keys`, at least one, in ascending order of time, all times finite, none twice;
    // throws std::invalid_argument otherwise.
    animation(std::vector<key> keys, interpolation between);

    bool is_animated() const { return animated_; }
    interpolation between() const { return between_; }
    const std::vector<key>& keys() const { return keys_; }  // a constant is one key

    // The value at `time`, which must be a number; always between those of the keys
    // beside it. Never throws.
    double at(TimeStamp time) const;
    // Adds a key at a finite time, or moves the one there; a constant becomes an
    // animation.
    void set_key(TimeStamp time, double value);

    friend bool operator==(const animation&, const animation&) = default;

  private:
    double slope(std::size_t index) const;

    std::vector<key> keys_;
    interpolation between_;
    bool animated_;
};

}  // namespace headless
