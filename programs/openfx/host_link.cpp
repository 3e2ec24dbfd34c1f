#include "programs/openfx/host_link.h"

namespace ofx {

host_link link;

namespace {

template <class Suite>
const Suite* fetched(const char* name, int version) {
    const host& given = *link.given;
    return static_cast<const Suite*>(
        given.fetch_suite(given.host_properties, name, version));
}

}  // namespace

void fetch_suites() {
    if (!link.given) throw failure{FAILED};
    link.property = fetched<property_suite>("OfxPropertySuite", 1);
    link.image_effect = fetched<image_effect_suite>("OfxImageEffectSuite", 1);
    link.parameter = fetched<parameter_suite>("OfxParameterSuite", 1);
    link.multi_thread = fetched<multi_thread_suite>("OfxMultiThreadSuite", 1);
    // the first version pops up dialogs
    link.message = fetched<message_suite>("OfxMessageSuite", 2);
    if (!link.property || !link.image_effect || !link.parameter) {
        throw failure{MISSING_HOST_FEATURE};
    }
}

void property_set::set(const char* name, const char* value, int index) const {
    link.property->set_text(handle_, name, index, value);
}

void property_set::set(const char* name, int value, int index) const {
    link.property->set_int(handle_, name, index, value);
}

void property_set::set(const char* name, double value, int index) const {
    link.property->set_double(handle_, name, index, value);
}

void property_set::set(const char* name, const rect& value) const {
    const double bounds[] = {value.x1, value.y1, value.x2, value.y2};
    link.property->set_doubles(handle_, name, 4, bounds);
}

void property_set::set_pointer(const char* name, void* value) const {
    link.property->set_pointer(handle_, name, 0, value);
}

int property_set::integer(const char* name, int fallback, int index) const {
    int value = fallback;
    const status got = link.property->get_int(handle_, name, index, &value);
    return got == OK ? value : fallback;
}

double property_set::number(const char* name, double fallback, int index) const {
    double value = fallback;
    const status got = link.property->get_double(handle_, name, index, &value);
    return got == OK ? value : fallback;
}

std::string property_set::text(const char* name) const {
    char* value = nullptr;
    const status got = link.property->get_text(handle_, name, 0, &value);
    return got == OK && value ? value : "";
}

void* property_set::pointer(const char* name) const {
    void* value = nullptr;
    const status got = link.property->get_pointer(handle_, name, 0, &value);
    return got == OK ? value : nullptr;
}

pixel_rect property_set::pixels(const char* name) const {
    int bounds[4] = {};
    if (link.property->get_ints(handle_, name, 4, bounds) != OK) return {};
    return {bounds[0], bounds[1], bounds[2], bounds[3]};
}

property_set of_effect(effect handle) {
    properties found = nullptr;
    if (!handle || link.image_effect->get_property_set(handle, &found) != OK) {
        throw failure{BAD_HANDLE};
    }
    return property_set(found);
}

property_set of_clip(clip handle) {
    properties found = nullptr;
    if (link.image_effect->get_clip_properties(handle, &found) != OK) {
        throw failure{BAD_HANDLE};
    }
    return property_set(found);
}

parameters parameters_of(effect handle) {
    parameters found = nullptr;
    if (link.image_effect->get_parameter_set(handle, &found) != OK) {
        throw failure{BAD_HANDLE};
    }
    return found;
}

void show_message(effect handle, const char* type, const std::string& text) {
    if (!link.message || !link.message->set_persistent) return;
    link.message->set_persistent(handle, type, "", "%s", text.c_str());
}

void clear_message(effect handle) {
    if (!link.message || !link.message->clear_persistent) return;
    link.message->clear_persistent(handle);
}

}  // namespace ofx
