#pragma once
// Sets of properties, with what the interface says of each.

#include <map>
#include <string>
#include <variant>
#include <vector>

#include "programs/openfx/abi.h"

namespace mini_host {

using value = std::variant<int, double, std::string, void*>;

enum class bag_kind : char {
    HOST = 'H',
    EFFECT = 'E',
    CLIP = 'C',
    PARAMETER = 'P',
    IMAGE = 'I',
    ARGUMENTS = 'A',
};

struct property_bag {
    bag_kind kind;
    std::map<std::string, std::vector<value>> values = {};
    bool is_instance = false;  // what only descriptors may set is refused
    char value_kind = 0;       // of a parameter's default and bounds: i, d or s
    int value_count = 1;

    template <class T>
    T get(const std::string& name, T fallback = {}, std::size_t index = 0) const {
        const auto found = values.find(name);
        if (found == values.end() || index >= found->second.size()) return fallback;
        const T* held = std::get_if<T>(&found->second[index]);
        return held ? *held : fallback;
    }
    std::vector<std::string> texts(const std::string& name) const;
    std::vector<double> numbers(const std::string& name) const;
};

inline ofx::properties handle_of(property_bag& bag) {
    return reinterpret_cast<ofx::properties>(&bag);
}
inline property_bag& bag_of(ofx::properties handle) {
    return *reinterpret_cast<property_bag*>(handle);
}

// Notes what an effect must not do, and gives `code` back. [any thread]
ofx::status refuse(const std::string& what, ofx::status code);

extern const ofx::property_suite PROPERTY_SUITE;
extern const ofx::image_effect_suite IMAGE_EFFECT_SUITE;
extern const ofx::parameter_suite PARAMETER_SUITE;
extern const ofx::message_suite MESSAGE_SUITE;

// How many allocations of this thread succeed before one fails, where a test counts that;
// null: it does not.
extern thread_local int* allocations_left;

// While it lives, allocations do not fail: they are the host's.
class host_code {
  public:
    host_code() : left_(allocations_left ? *allocations_left : -1) {
        if (allocations_left) *allocations_left = -1;
    }
    ~host_code() {
        if (allocations_left) *allocations_left = left_;
    }
    host_code(const host_code&) = delete;
    host_code& operator=(const host_code&) = delete;

  private:
    int left_;
};

// The action that runs on this thread; empty: none.
extern thread_local std::string current_action;

}  // namespace mini_host
