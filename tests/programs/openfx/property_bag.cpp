#include "tests/programs/openfx/property_bag.h"

#include <mutex>
#include <utility>

namespace mini_host {

thread_local std::string current_action;
thread_local int* allocations_left = nullptr;

namespace {

std::mutex noting;
std::vector<std::string> refusals;  // under the mutex

// A property: its kind (i, d, s, p, or v for that of a parameter's value), how many
// values it has (0: any number, -1: as many as the parameter), the bags that have it, and
// whether an effect may set it: never, in descriptors and arguments, or at any time.
enum access { READ, DEFINE, WRITE };
struct rule {
    char kind;
    int count;
    const char* bags;
    access allowed;
};

const std::map<std::string, rule>& rules() {
    static const std::map<std::string, rule> known = {
        {"OfxPropType", {'s', 1, "ECPIA", READ}},
        {"OfxPropName", {'s', 1, "ECPA", DEFINE}},
        {"OfxPropLabel", {'s', 1, "ECP", DEFINE}},
        {"OfxPropShortLabel", {'s', 1, "ECP", DEFINE}},
        {"OfxPropLongLabel", {'s', 1, "ECP", DEFINE}},
        {"OfxPropPluginDescription", {'s', 1, "E", DEFINE}},
        {"OfxPropTime", {'d', 1, "AI", READ}},
        {"OfxPropChangeReason", {'s', 1, "A", READ}},
        {"OfxPropInstanceData", {'p', 1, "E", WRITE}},
        {"OfxImageEffectPluginPropGrouping", {'s', 1, "E", DEFINE}},
        {"OfxImageEffectPropSupportedContexts", {'s', 0, "EH", DEFINE}},
        {"OfxImageEffectPropSupportedPixelDepths", {'s', 0, "EH", DEFINE}},
        {"OfxImageEffectPluginRenderThreadSafety", {'s', 1, "E", DEFINE}},
        {"OfxImageEffectPluginPropHostFrameThreading", {'i', 1, "E", DEFINE}},
        {"OfxImageEffectPluginPropFieldRenderTwiceAlways", {'i', 1, "E", DEFINE}},
        {"OfxImageEffectPropSupportsTiles", {'i', 1, "ECH", DEFINE}},
        {"OfxImageEffectPropSupportsMultiResolution", {'i', 1, "EH", DEFINE}},
        {"OfxImageEffectPropTemporalClipAccess", {'i', 1, "ECH", DEFINE}},
        {"OfxImageEffectPropMultipleClipDepths", {'i', 1, "EH", DEFINE}},
        {"OfxImageEffectPropSupportsMultipleClipPARs", {'i', 1, "EH", DEFINE}},
        {"OfxImageEffectPropContext", {'s', 1, "EA", READ}},
        {"OfxImageEffectPropSupportedComponents", {'s', 0, "CH", DEFINE}},
        {"OfxImageEffectPropProjectSize", {'d', 2, "E", READ}},
        {"OfxImageEffectPropProjectOffset", {'d', 2, "E", READ}},
        {"OfxImageEffectPropPixelAspectRatio", {'d', 1, "E", READ}},
        {"OfxImageEffectPropRenderScale", {'d', 2, "AI", READ}},
        {"OfxImageEffectPropRenderWindow", {'i', 4, "A", READ}},
        {"OfxImageEffectPropRegionOfDefinition", {'d', 4, "A", DEFINE}},
        {"OfxImageClipPropRoI_Source", {'d', 4, "A", DEFINE}},
        {"OfxImageClipPropRoI_Depth", {'d', 4, "A", DEFINE}},
        {"OfxImageClipPropRoI_BlurImage", {'d', 4, "A", DEFINE}},
        {"OfxImageClipPropRoI_Background", {'d', 4, "A", DEFINE}},
        {"OfxImageClipPropRoI_BackgroundDepth", {'d', 4, "A", DEFINE}},
        {"OfxImageClipPropComponents_BackgroundDepth", {'s', 1, "A", DEFINE}},
        {"OfxImageClipPropComponents_Source", {'s', 1, "A", DEFINE}},
        {"OfxImageClipPropComponents_Depth", {'s', 1, "A", DEFINE}},
        {"OfxImageClipPropComponents_BlurImage", {'s', 1, "A", DEFINE}},
        {"OfxImageClipPropComponents_Background", {'s', 1, "A", DEFINE}},
        {"OfxImageClipPropOptional", {'i', 1, "C", DEFINE}},
        {"OfxImageClipPropConnected", {'i', 1, "C", READ}},
        {"OfxImageClipPropUnmappedComponents", {'s', 1, "C", READ}},
        {"OfxImageEffectPropPreMultiplication", {'s', 1, "CI", READ}},
        {"OfxImagePropPixelAspectRatio", {'d', 1, "CI", READ}},
        {"OfxImageEffectPropPixelDepth", {'s', 1, "CI", READ}},
        {"OfxImageEffectPropComponents", {'s', 1, "CI", READ}},
        {"OfxImagePropBounds", {'i', 4, "I", READ}},
        {"OfxImagePropData", {'p', 1, "I", READ}},
        {"OfxImagePropRowBytes", {'i', 1, "I", READ}},
        {"OfxParamPropHint", {'s', 1, "P", DEFINE}},
        {"OfxParamPropScriptName", {'s', 1, "P", DEFINE}},
        {"OfxParamPropSecret", {'i', 1, "P", WRITE}},
        {"OfxParamPropEnabled", {'i', 1, "P", WRITE}},
        {"OfxParamPropParent", {'s', 1, "P", DEFINE}},
        {"OfxParamPropAnimates", {'i', 1, "P", DEFINE}},
        {"OfxParamPropEvaluateOnChange", {'i', 1, "P", DEFINE}},
        {"OfxParamPropDefault", {'v', -1, "P", DEFINE}},
        {"OfxParamPropDefaultCoordinateSystem", {'s', 1, "P", DEFINE}},
        {"OfxParamPropMin", {'v', -1, "P", DEFINE}},
        {"OfxParamPropMax", {'v', -1, "P", DEFINE}},
        {"OfxParamPropDisplayMin", {'v', -1, "P", DEFINE}},
        {"OfxParamPropDisplayMax", {'v', -1, "P", DEFINE}},
        {"OfxParamPropIncrement", {'d', 1, "P", DEFINE}},
        {"OfxParamPropDigits", {'i', 1, "P", DEFINE}},
        {"OfxParamPropDoubleType", {'s', 1, "P", DEFINE}},
        {"OfxParamPropChoiceOption", {'s', 0, "P", DEFINE}},
        {"OfxParamPropPageChild", {'s', 0, "P", DEFINE}},
        {"OfxParamPropGroupOpen", {'i', 1, "P", DEFINE}},
    };
    return known;
}

// The rule for that property of that bag; null, and noted, when there is none.
const rule* rule_for(const property_bag& bag, const std::string& name) {
    const auto found = rules().find(name);
    if (found != rules().end()) {
        const std::string bags = found->second.bags;
        if (bags.find(static_cast<char>(bag.kind)) != bags.npos) return &found->second;
    }
    refuse(std::string(1, static_cast<char>(bag.kind)) + " has no " + name, ofx::UNKNOWN);
    return nullptr;
}

ofx::status put(ofx::properties handle, const char* name, int index, value given) {
    const host_code within;
    property_bag& bag = bag_of(handle);
    const rule* known = rule_for(bag, name);
    if (!known) return ofx::UNKNOWN;
    const bool late = bag.is_instance && known->allowed == DEFINE;
    if (known->allowed == READ || late) {
        return refuse(std::string("sets ") + name, ofx::FAILED);
    }
    const char kind = known->kind == 'v' ? bag.value_kind : known->kind;
    if (kind != "idsp"[given.index()]) {
        return refuse(std::string("wrong kind for ") + name, ofx::FAILED);
    }
    const int count = known->count < 0 ? bag.value_count : known->count;
    if (index < 0 || (count > 0 && index >= count)) {
        return refuse(std::string("beyond the end of ") + name, ofx::FAILED);
    }
    auto& values = bag.values[name];
    const auto place = static_cast<std::size_t>(index);
    if (place > values.size()) {
        return refuse(std::string("leaves a gap in ") + name, ofx::FAILED);
    }
    if (place == values.size()) values.emplace_back();
    values[place] = std::move(given);
    return ofx::OK;
}

template <class T>
const T* held(ofx::properties handle, const char* name, int index, ofx::status& code) {
    const host_code within;
    const property_bag& bag = bag_of(handle);
    code = ofx::UNKNOWN;
    if (!rule_for(bag, name)) return nullptr;
    const auto found = bag.values.find(name);
    if (found == bag.values.end() || index < 0 ||
        static_cast<std::size_t>(index) >= found->second.size()) {
        return nullptr;  // the host need not have it
    }
    const T* value = std::get_if<T>(&found->second[static_cast<std::size_t>(index)]);
    code = value ? ofx::OK : refuse(std::string("wrong kind from ") + name, ofx::FAILED);
    return value;
}

template <class T>
ofx::status take(ofx::properties handle, const char* name, int index, T* out) {
    ofx::status code = ofx::OK;
    if (const T* value = held<T>(handle, name, index, code)) *out = *value;
    return code;
}

ofx::status take_text(ofx::properties handle, const char* name, int index, char** out) {
    ofx::status code = ofx::OK;
    const auto* value = held<std::string>(handle, name, index, code);
    if (value) *out = const_cast<char*>(value->c_str());
    return code;
}

ofx::status set_pointer(ofx::properties p, const char* name, int i, void* v) {
    return put(p, name, i, v);
}
ofx::status set_text(ofx::properties p, const char* name, int i, const char* v) {
    const host_code within;
    return put(p, name, i, std::string(v));
}
ofx::status set_double(ofx::properties p, const char* name, int i, double v) {
    return put(p, name, i, v);
}
ofx::status set_int(ofx::properties p, const char* name, int i, int v) {
    return put(p, name, i, v);
}
ofx::status set_doubles(ofx::properties p, const char* name, int n, const double* v) {
    ofx::status code = ofx::OK;
    for (int i = 0; i < n && code == ofx::OK; ++i) code = put(p, name, i, v[i]);
    return code;
}
ofx::status get_ints(ofx::properties p, const char* name, int n, int* v) {
    ofx::status code = ofx::OK;
    for (int i = 0; i < n && code == ofx::OK; ++i) code = take(p, name, i, v + i);
    return code;
}

}  // namespace

// Functions that no effect of ours calls are left out: a call would crash the test.
const ofx::property_suite PROPERTY_SUITE = {.set_pointer = set_pointer,
                                            .set_text = set_text,
                                            .set_double = set_double,
                                            .set_int = set_int,
                                            .set_pointers = nullptr,
                                            .set_texts = nullptr,
                                            .set_doubles = set_doubles,
                                            .set_ints = nullptr,
                                            .get_pointer = take<void*>,
                                            .get_text = take_text,
                                            .get_double = take<double>,
                                            .get_int = take<int>,
                                            .get_pointers = nullptr,
                                            .get_texts = nullptr,
                                            .get_doubles = nullptr,
                                            .get_ints = get_ints,
                                            .reset = nullptr,
                                            .get_dimension = nullptr};

std::vector<std::string> property_bag::texts(const std::string& name) const {
    std::vector<std::string> all;
    if (!values.contains(name)) return all;
    for (const value& one : values.at(name)) all.push_back(std::get<std::string>(one));
    return all;
}

std::vector<double> property_bag::numbers(const std::string& name) const {
    std::vector<double> all;
    if (!values.contains(name)) return all;
    for (const value& one : values.at(name)) all.push_back(std::get<double>(one));
    return all;
}

ofx::status refuse(const std::string& what, ofx::status code) {
    const host_code within;
    const std::scoped_lock lock(noting);
    refusals.push_back(current_action + ": " + what);
    return code;
}

std::vector<std::string> take_refusals() {
    const std::scoped_lock lock(noting);
    return std::exchange(refusals, {});
}

}  // namespace mini_host
