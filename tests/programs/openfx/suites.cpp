// The host's side of effects, clips, parameters and messages.

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <set>

#include "tests/programs/openfx/mini_host.h"

namespace mini_host {

namespace {

effect& effect_of(ofx::effect handle) { return *reinterpret_cast<effect*>(handle); }
clip& clip_of(ofx::clip handle) { return *reinterpret_cast<clip*>(handle); }
parameter& parameter_of(ofx::parameter handle) {
    return *reinterpret_cast<parameter*>(handle);
}

bool may_define() { return current_action == "OfxImageEffectActionDescribeInContext"; }
bool may_fetch() {
    return current_action == "OfxImageEffectActionRender" ||
           current_action == "OfxActionInstanceChanged";
}
bool may_edit() { return current_action == "OfxActionInstanceChanged"; }

struct lent_image : property_bag {
    explicit lent_image(clip& owner)
        : property_bag{bag_kind::IMAGE, {}, true}, from(owner) {}
    clip& from;
};

std::mutex lending;

// --- effects and clips

ofx::status get_property_set(ofx::effect of, ofx::properties* found) {
    *found = handle_of(effect_of(of).properties);
    return ofx::OK;
}

ofx::status get_parameter_set(ofx::effect of, ofx::parameters* found) {
    *found = reinterpret_cast<ofx::parameters>(of);
    return ofx::OK;
}

ofx::status define_clip(ofx::effect of, const char* name, ofx::properties* defined) {
    const host_code within;
    if (!may_define()) return refuse(std::string("defines ") + name, ofx::FAILED);
    auto& made = effect_of(of).clips[name];
    if (made) return refuse(std::string("defines twice ") + name, ofx::FAILED);
    made = std::make_unique<clip>();
    effect_of(of).clip_order.emplace_back(name);
    *defined = handle_of(made->properties);
    return ofx::OK;
}

ofx::status get_clip(ofx::effect of, const char* name, ofx::clip* found,
                     ofx::properties* its) {
    const host_code within;
    const auto at = effect_of(of).clips.find(name);
    if (at == effect_of(of).clips.end()) {
        return refuse(std::string("looks for a clip ") + name, ofx::UNKNOWN);
    }
    *found = reinterpret_cast<ofx::clip>(at->second.get());
    if (its) *its = handle_of(at->second->properties);
    return ofx::OK;
}

ofx::status get_clip_properties(ofx::clip of, ofx::properties* found) {
    *found = handle_of(clip_of(of).properties);
    return ofx::OK;
}

ofx::status get_image(ofx::clip of, ofx::time, const ofx::rect*, ofx::properties* image) {
    const host_code within;
    clip& from = clip_of(of);
    if (!may_fetch()) return refuse("fetches an image", ofx::FAILED);
    if (!from.is_connected()) return refuse("fetches from an empty clip", ofx::FAILED);
    if (from.withheld) return ofx::FAILED;
    const std::scoped_lock lock(lending);
    auto* lent = new lent_image(from);
    ++from.lent;
    picture& p = from.image;
    const int row =
        (p.bounds.x2 - p.bounds.x1) * p.components * static_cast<int>(sizeof(float));
    auto* first = reinterpret_cast<char*>(p.pixels.data());
    if (from.upside_down) first += std::ptrdiff_t{row} * (p.bounds.y2 - p.bounds.y1 - 1);
    auto& v = lent->values;
    v["OfxImagePropBounds"] = {p.bounds.x1, p.bounds.y1, p.bounds.x2, p.bounds.y2};
    v["OfxImagePropRowBytes"] = {from.upside_down ? -row : row};
    v["OfxImagePropData"] = {static_cast<void*>(first)};
    v["OfxImageEffectPropPixelDepth"] = {std::string("OfxBitDepthFloat")};
    v["OfxImageEffectPropComponents"] = {std::string(
        p.components == 1 ? "OfxImageComponentAlpha" : "OfxImageComponentRGBA")};
    v["OfxImageEffectPropPreMultiplication"] = {
        from.properties.get<std::string>("OfxImageEffectPropPreMultiplication")};
    if (from.lent_scale > 0.0) {
        v["OfxImageEffectPropRenderScale"] = {from.lent_scale, from.lent_scale};
    }
    *image = handle_of(*lent);
    return ofx::OK;
}

ofx::status release_image(ofx::properties image) {
    const std::scoped_lock lock(lending);
    auto* lent = static_cast<lent_image*>(&bag_of(image));
    --lent->from.lent;
    delete lent;
    return ofx::OK;
}

ofx::status get_region(ofx::clip of, ofx::time, ofx::rect* bounds) {
    const host_code within;
    if (!clip_of(of).is_connected())
        return refuse("region of an empty clip", ofx::FAILED);
    *bounds = clip_of(of).region;
    return ofx::OK;
}

int asks_abort(ofx::effect of) {
    const host_code within;
    if (current_action != "OfxImageEffectActionRender") {
        refuse("asks for an abort", ofx::FAILED);
    }
    ++effect_of(of).asked;
    return effect_of(of).wants_abort && effect_of(of).wants_abort() ? 1 : 0;
}

// --- parameters

struct parameter_type {
    char kind;  // of its values; 0: it has none
    int count;
};
const std::map<std::string, parameter_type> TYPES = {
    {"OfxParamTypeDouble", {'d', 1}},   {"OfxParamTypeInteger", {'i', 1}},
    {"OfxParamTypeBoolean", {'i', 1}},  {"OfxParamTypeChoice", {'i', 1}},
    {"OfxParamTypeDouble2D", {'d', 2}}, {"OfxParamTypePushButton", {0, 0}},
    {"OfxParamTypeGroup", {0, 0}},      {"OfxParamTypePage", {0, 0}}};

ofx::status define(ofx::parameters set, const char* type, const char* name,
                   ofx::properties* defined) {
    const host_code within;
    if (!may_define()) return refuse(std::string("defines ") + name, ofx::FAILED);
    const auto known = TYPES.find(type);
    if (known == TYPES.end()) return refuse(std::string("type ") + type, ofx::UNKNOWN);
    effect& of = effect_of(reinterpret_cast<ofx::effect>(set));
    auto& made = of.parameters[name];
    if (made) return refuse(std::string("defines twice ") + name, ofx::FAILED);
    made = std::make_unique<parameter>();
    made->type = type;
    made->properties.value_kind = known->second.kind;
    made->properties.value_count = known->second.count;
    of.parameter_order.emplace_back(name);
    *defined = handle_of(made->properties);
    return ofx::OK;
}

ofx::status get_parameter(ofx::parameters set, const char* name, ofx::parameter* found,
                          ofx::properties* its) {
    const host_code within;
    effect& of = effect_of(reinterpret_cast<ofx::effect>(set));
    const auto at = of.parameters.find(name);
    if (at == of.parameters.end()) {
        return refuse(std::string("looks for ") + name, ofx::UNKNOWN);
    }
    *found = reinterpret_cast<ofx::parameter>(at->second.get());
    if (its) *its = handle_of(at->second->properties);
    return ofx::OK;
}

ofx::status get_parameter_properties(ofx::parameter of, ofx::properties* found) {
    *found = handle_of(parameter_of(of).properties);
    return ofx::OK;
}

ofx::status get_value_at_time(ofx::parameter handle, ofx::time at, ...) {
    const host_code within;
    const parameter& of = parameter_of(handle);
    const std::scoped_lock lock(values_mutex);
    double first = of.numbers[0];
    if (!of.keys.empty()) {
        auto key = of.keys.upper_bound(at);
        first = key == of.keys.begin() ? key->second : std::prev(key)->second;
    }
    std::va_list out;
    va_start(out, at);
    if (of.properties.value_kind == 'd') {
        *va_arg(out, double*) = first;
        if (of.properties.value_count == 2) *va_arg(out, double*) = of.numbers[1];
    } else {
        *va_arg(out, int*) = static_cast<int>(first);
    }
    va_end(out);
    return of.properties.value_kind ? ofx::OK : refuse("value of a button", ofx::FAILED);
}

// The next argument, as the value that the parameter takes.
double next_number(std::va_list arguments, const parameter& of) {
    return of.properties.value_kind == 'd' ? va_arg(arguments, double)
                                           : va_arg(arguments, int);
}

ofx::status check_edit(const parameter& of) {
    return may_edit() ? ofx::OK : refuse("sets a value of " + of.type, ofx::FAILED);
}

ofx::status set_value(ofx::parameter handle, ...) {
    const host_code within;
    parameter& of = parameter_of(handle);
    std::va_list arguments;
    va_start(arguments, handle);
    const double number = next_number(arguments, of);
    va_end(arguments);
    const std::scoped_lock lock(values_mutex);
    of.numbers[0] = number;
    return check_edit(of);
}

ofx::status set_value_at_time(ofx::parameter handle, ofx::time at, ...) {
    const host_code within;
    parameter& of = parameter_of(handle);
    std::va_list arguments;
    va_start(arguments, at);
    const double number = next_number(arguments, of);
    va_end(arguments);
    const std::scoped_lock lock(values_mutex);
    of.keys[at] = number;
    return check_edit(of);
}

ofx::status count_keys(ofx::parameter of, unsigned int* count) {
    *count = static_cast<unsigned int>(parameter_of(of).keys.size());
    return ofx::OK;
}

ofx::status begin_edit(ofx::parameters, const char*) {
    const host_code within;
    return may_edit() ? ofx::OK : refuse("begins an edit", ofx::FAILED);
}
ofx::status end_edit(ofx::parameters) { return ofx::OK; }

// --- messages

ofx::status set_persistent(void* of, const char* type, const char*, const char* format,
                           ...) {
    const host_code within;
    char text[1000];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const std::scoped_lock lock(lending);
    static_cast<effect*>(of)->message = std::string(type) + ": " + text;
    return ofx::OK;
}

ofx::status clear_persistent(void* of) {
    const host_code within;
    const std::scoped_lock lock(lending);
    static_cast<effect*>(of)->message.clear();
    return ofx::OK;
}

}  // namespace

const ofx::image_effect_suite IMAGE_EFFECT_SUITE = {
    get_property_set, get_parameter_set, define_clip, get_clip,  get_clip_properties,
    get_image,        release_image,     get_region,  asks_abort};

// What no effect of ours calls is left out: a call would crash the test.
const ofx::parameter_suite PARAMETER_SUITE = {.define = define,
                                              .get_handle = get_parameter,
                                              .get_set_properties = nullptr,
                                              .get_properties = get_parameter_properties,
                                              .get_value = nullptr,
                                              .get_value_at_time = get_value_at_time,
                                              .get_derivative = nullptr,
                                              .get_integral = nullptr,
                                              .set_value = set_value,
                                              .set_value_at_time = set_value_at_time,
                                              .count_keys = count_keys,
                                              .get_key_time = nullptr,
                                              .get_key_index = nullptr,
                                              .delete_key = nullptr,
                                              .delete_all_keys = nullptr,
                                              .copy = nullptr,
                                              .begin_edit = begin_edit,
                                              .end_edit = end_edit};

// Dialogs are not for render threads: there is no function for them.
const ofx::message_suite MESSAGE_SUITE = {nullptr, set_persistent, clear_persistent};

}  // namespace mini_host
