#include "tests/programs/openfx/mini_host.h"

#include <stdexcept>
#include <utility>

namespace mini_host {

unsigned int processors = 2;

namespace {

const ofx::multi_thread_suite THREAD_SUITE = {nullptr, [](unsigned int* count) {
                                                  *count = processors;
                                                  return ofx::status{ofx::OK};
                                              }};

const void* fetch_suite(ofx::properties, const char* name, int version) {
    const host_code within;
    const std::string suite = name;
    if (suite == "OfxPropertySuite" && version == 1) return &PROPERTY_SUITE;
    if (suite == "OfxImageEffectSuite" && version == 1) return &IMAGE_EFFECT_SUITE;
    if (suite == "OfxParameterSuite" && version == 1) return &PARAMETER_SUITE;
    if (suite == "OfxMultiThreadSuite" && version == 1) return &THREAD_SUITE;
    if (suite == "OfxMessageSuite" && version == 2) return &MESSAGE_SUITE;
    refuse("asks for the suite " + suite, ofx::FAILED);
    return nullptr;
}

void expect_ok(ofx::status got, const char* action) {
    if (got == ofx::OK) return;
    throw std::runtime_error(std::string(action) + " gives " + std::to_string(got));
}

}  // namespace

void clip::connect(const ofx::pixel_rect& bounds, int components) {
    image.resize(bounds, components);
    region = {static_cast<double>(bounds.x1), static_cast<double>(bounds.y1),
              static_cast<double>(bounds.x2), static_cast<double>(bounds.y2)};
    properties.values["OfxImageClipPropConnected"] = {1};
    properties.values["OfxImageClipPropUnmappedComponents"] = {std::string(
        components == 1 ? "OfxImageComponentAlpha" : "OfxImageComponentRGBA")};
}

int effect::lent_images() const {
    int count = 0;
    for (const auto& [name, one] : clips) count += one->lent;
    return count;
}

loaded_effect::loaded_effect(const entries& from, int nth) : plugin_(*from.get(nth)) {
    host_properties.values["OfxImageEffectPropSupportsMultiResolution"] = {1};
    host_ = {handle_of(host_properties), fetch_suite};
    plugin_.set_host(&host_);
    expect_ok(act("OfxActionLoad", nullptr), "load");
}

loaded_effect::~loaded_effect() { act("OfxActionUnload", nullptr); }

ofx::status loaded_effect::act(const char* action, effect* on, property_bag* in,
                               property_bag* out) {
    std::string before;
    {
        const host_code within;
        before = action;
    }
    before.swap(current_action);
    const ofx::status result = plugin_.main_entry(
        action, on, in ? handle_of(*in) : nullptr, out ? handle_of(*out) : nullptr);
    before.swap(current_action);
    return result;
}

std::unique_ptr<effect> loaded_effect::described(const std::string& context) {
    auto made = std::make_unique<effect>();
    expect_ok(act("OfxActionDescribe", made.get()), "describe");
    property_bag in{bag_kind::ARGUMENTS};
    in.values["OfxImageEffectPropContext"] = {context};
    expect_ok(act("OfxImageEffectActionDescribeInContext", made.get(), &in),
              "describe in context");
    return made;
}

std::unique_ptr<effect> loaded_effect::instance(const std::string& context, int width,
                                                int height) {
    auto made = described(context);
    made->properties.is_instance = true;
    auto& values = made->properties.values;
    values["OfxImageEffectPropContext"] = {context};
    values["OfxImageEffectPropProjectSize"] = {double(width), double(height)};
    values["OfxImageEffectPropProjectOffset"] = {0.0, 0.0};
    for (auto& [name, one] : made->parameters) {
        one->properties.is_instance = true;
        for (std::size_t i = 0; i < 2; ++i) {
            one->numbers[i] =
                one->properties.value_kind == 'd'
                    ? one->properties.get<double>("OfxParamPropDefault", 0.0, i)
                    : one->properties.get<int>("OfxParamPropDefault", 0, i);
        }
    }
    for (auto& [name, one] : made->clips) {
        one->properties.is_instance = true;
        auto& its = one->properties.values;
        its["OfxImageClipPropConnected"] = {0};
        its["OfxImagePropPixelAspectRatio"] = {1.0};
        its["OfxImageEffectPropPreMultiplication"] = {
            std::string("OfxImageAlphaPremultiplied")};
    }
    return made;
}

ofx::status loaded_effect::change(effect& on, const std::string& id, double time) {
    property_bag in{bag_kind::ARGUMENTS};
    in.values["OfxPropType"] = {std::string("OfxTypeParameter")};
    in.values["OfxPropName"] = {id};
    in.values["OfxPropChangeReason"] = {std::string("OfxChangeUserEdited")};
    in.values["OfxPropTime"] = {time};
    in.values["OfxImageEffectPropRenderScale"] = {1.0, 1.0};
    return act("OfxActionInstanceChanged", &on, &in);
}

ofx::status loaded_effect::edit(effect& on, const std::string& id, double number,
                                double time) {
    parameter& edited = *on.parameters.at(id);
    {
        const std::scoped_lock lock(values_mutex);
        if (edited.keys.empty())
            edited.numbers[0] = number;
        else
            edited.keys[time] = number;
    }
    return change(on, id, time);
}

ofx::status loaded_effect::push(effect& on, const std::string& button, double time) {
    return change(on, button, time);
}

ofx::status loaded_effect::render(effect& on, const ofx::pixel_rect& window, double scale,
                                  double time) {
    property_bag in{bag_kind::ARGUMENTS};
    in.values["OfxPropTime"] = {time};
    in.values["OfxImageEffectPropRenderWindow"] = {window.x1, window.y1, window.x2,
                                                   window.y2};
    in.values["OfxImageEffectPropRenderScale"] = {scale, scale};
    on.asked = 0;
    return act("OfxImageEffectActionRender", &on, &in);
}

}  // namespace mini_host
