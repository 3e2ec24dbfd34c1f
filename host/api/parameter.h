#pragma once
// The values that travel between inputs and outputs: numbers and texts (images: image.h).

#include <string>
#include <utility>

#include "host/api/object.h"

// Any value. Immutable once it was handed over, so every thread may read it.
class HOST_API Parameter : public Object {};

// A number, an item of a list by its index, or a switch as 1 or 0.
class HOST_API Number : public Parameter {
  public:
    explicit Number(double value) : value_(value) {}
    double Value() const { return value_; }

  private:
    double value_;
};

// A number that lives in a scope instead of on the heap; the receiver copies its value.
class HOST_API AutoNumber : public Number {
  public:
    using Number::Number;
};

// A text in UTF-8.
class HOST_API Text : public Parameter {
  public:
    explicit Text(std::string value) : value_(std::move(value)) {}
    const std::string& Value() const { return value_; }

  private:
    std::string value_;
};
