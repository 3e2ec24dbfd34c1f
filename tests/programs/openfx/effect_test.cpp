// What hosts see of the effects, and what an artist's edits do.

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "tests/programs/openfx/openfx_fixture.h"

using namespace focusfall;
using namespace std::string_literals;
using mini_host::bag_kind;
using mini_host::effect;
using mini_host::property_bag;

namespace {

using texts = std::vector<std::string>;
using OpenfxEffect = openfx_test;

INSTANTIATE_TEST_SUITE_P(Effects, OpenfxEffect, testing::Values(0, 1),
                         [](const auto& test) {
                             return test.param == 0 ? "Focusfall" : "Layered";
                         });

// A parameter in a line: its name, type and options.
std::string shown(const std::string& name, const mini_host::parameter& parameter) {
    std::string line =
        name + " " + parameter.type.substr(std::string("OfxParamType").size());
    for (const std::string& option :
         parameter.properties.texts("OfxParamPropChoiceOption")) {
        line += ", " + option;
    }
    return line;
}

// Groups and pages hold others.
bool is_frame(const mini_host::parameter& parameter) {
    return parameter.type == "OfxParamTypeGroup" || parameter.type == "OfxParamTypePage";
}

// All that artists' projects name: it must never change, and grow at its end only.
const texts PARAMETERS = {
    "BlurChannel Choice, Z, Red, Green, Blue, Alpha",
    "SettingsType Choice, Simple, Advanced",
    "FocusPosition Double",
    "MinWeight Double",
    "MaxBlurSize Double",
    "FocalLength Double",
    "FStop Double",
    "ApertureDiameter Double",
    "FilmbackWidth Double",
    "DepthMapType Choice, Distance, Normalized",
    "DepthMapUnits Choice, mm, meter, inch, feet",
    "NearDistance Double",
    "FarDistance Double",
    "InvertDepthMap Boolean",
    "Normalize Boolean",
    "BlurStyle Choice, Disk, Polygon, Gaussian, Airy Disk, Laplacian",
    "BadBokeh Double",
    "PolygonSideCount Integer",
    "KernelAngle Double",
};
const texts OWN_PARAMETERS = {
    "DepthAs Choice, Distance, Inverse, Ray",
    "DepthScale Double",
    "FieldOfView Double",
    "EmptyDepth Choice, Kept, Far, Near, Value",
    "EmptyDepthValue Double",
    ("CameraPreset Choice, Own Settings, Full frame, Super 35, Super 16, 65 mm film, "
     "Micro Four Thirds, Phone"),
    "FocusPoint Double2D",
    "FocusHere PushButton",
};
const texts LAYERED_PARAMETERS = {
    "HiddenFill Boolean",
    "DepthTolerance Double",
    "NearLimit Boolean",
    "FlipInFront Boolean",
};

}  // namespace

TEST_P(OpenfxEffect, KeepsItsNamesForEver) {
    const ofx::plugin& plugin = effect_.plugin();
    EXPECT_STREQ(plugin.identifier, GetParam() == 0 ? "kestrelworks.Focusfall"
                                                    : "kestrelworks.FocusfallLayered");
    EXPECT_EQ(plugin.version_major, 1U);
    // under the identifier hosts look for the picture as well
    const auto contents =
        std::filesystem::path(bundle_library::file()).parent_path().parent_path();
    EXPECT_TRUE(exists(contents / "Resources" / (plugin.identifier + ".svg"s)));
    const auto general = effect_.described(GENERAL);
    texts expected = PARAMETERS;
    if (GetParam() == 1) {
        expected.insert(expected.end(), LAYERED_PARAMETERS.begin(),
                        LAYERED_PARAMETERS.end());
    }
    expected.insert(expected.end(), OWN_PARAMETERS.begin(), OWN_PARAMETERS.end());
    texts found;
    for (const std::string& name : general->parameter_order) {
        const auto& parameter = *general->parameters.at(name);
        if (is_frame(parameter)) continue;
        found.push_back(shown(name, parameter));
    }
    EXPECT_EQ(found, expected);
    texts clips = {"Source", "Depth", "BlurImage", "Output"};
    if (GetParam() == 1) clips.insert(clips.end() - 1, {"Background", "BackgroundDepth"});
    EXPECT_EQ(general->clip_order, clips);
    EXPECT_EQ(effect_.described(FILTER)->clip_order, (texts{"Source", "Output"}));
}

// Whatever a control is, its parameter is, and each explains itself in a group.
TEST_P(OpenfxEffect, ShowsTheControlsOfItsTool) {
    const auto general = effect_.described(GENERAL);
    int parameters = 0;
    for (const auto& [name, parameter] : general->parameters) {
        const property_bag& row = parameter->properties;
        if (is_frame(*parameter)) continue;
        ++parameters;
        SCOPED_TRACE(name);
        EXPECT_NE(row.get<std::string>("OfxParamPropHint"), "");
        const auto group = row.get<std::string>("OfxParamPropParent");
        ASSERT_TRUE(general->parameters.contains(group)) << group;
        EXPECT_EQ(general->parameters.at(group)->type, "OfxParamTypeGroup");
    }
    for (const headless::control* control : tool_->controls()) {
        const headless::control_info& info = control->info();
        if (!info.is_number()) continue;
        --parameters;
        SCOPED_TRACE(info.id);
        const mini_host::parameter& parameter = *general->parameters.at(info.id);
        EXPECT_EQ(general->is_hidden(info.id), !control->is_visible());
        if (parameter.type != "OfxParamTypeDouble") continue;
        // as an artist reads it, and the same for the tool
        const property_bag& row = parameter.properties;
        EXPECT_EQ(static_cast<float>(row.get<double>("OfxParamPropDefault")),
                  static_cast<float>(info.initial));
        EXPECT_EQ(row.values.contains("OfxParamPropMin"), info.lowest.has_value());
        EXPECT_EQ(row.values.contains("OfxParamPropMax"), info.highest.has_value());
    }
    EXPECT_EQ(parameters, std::ssize(OWN_PARAMETERS));
    EXPECT_EQ(general->parameters.at("FilmbackWidth")
                  ->properties.get<double>("OfxParamPropDefault"),
              24.896);
}

TEST_P(OpenfxEffect, AnswersEditsAsItsToolDoes) {
    const auto instance = scene_instance();
    EXPECT_TRUE(instance->is_hidden("FocalLength"));
    edit(*instance, "SettingsType", 1.0);
    EXPECT_FALSE(instance->is_hidden("FocalLength"));
    EXPECT_TRUE(instance->is_hidden("MaxBlurSize"));
    edit(*instance, "FocalLength", 70.0);
    EXPECT_EQ(instance->number("ApertureDiameter"), 35.0);
    edit(*instance, "ApertureDiameter", 10.0);
    EXPECT_EQ(instance->number("FStop"), 7.0);

    // a key is answered by a key, so that no constant stands beside a curve
    instance->parameters.at("FStop")->keys = {{0.0, 7.0}};
    ASSERT_EQ(effect_.edit(*instance, "FStop", 2.0, 10.0), ofx::OK);
    EXPECT_EQ(instance->parameters.at("ApertureDiameter")->keys,
              (std::map<double, double>{{10.0, 35.0}}));
    destroy(*instance);
}

TEST_P(OpenfxEffect, SetsTheLensToACamera) {
    const auto instance = scene_instance();
    instance->parameters.at("CameraPreset")->numbers[0] = 2.0;
    ASSERT_EQ(effect_.push(*instance, "CameraPreset"), ofx::OK);
    EXPECT_EQ(instance->number("SettingsType"), 1.0);
    EXPECT_EQ(instance->number("FilmbackWidth"), 24.89);
    EXPECT_TRUE(instance->is_hidden("MaxBlurSize"));
    EXPECT_FALSE(instance->is_hidden("FocalLength"));
    edit(*instance, "FilmbackWidth", 30.0);
    instance->parameters.at("CameraPreset")->numbers[0] = 0.0;
    ASSERT_EQ(effect_.push(*instance, "CameraPreset"), ofx::OK);
    EXPECT_EQ(instance->number("FilmbackWidth"), 30.0);
    destroy(*instance);
}

// The median of the pixels around the point, in proxies and for any kind of depth.
TEST_P(OpenfxEffect, FocusesOnAPointOfThePicture) {
    const auto instance = scene_instance();
    auto& point = *instance->parameters.at("FocusPoint");
    EXPECT_EQ(point.properties.numbers("OfxParamPropDefault"),
              (std::vector<double>{0.5, 0.5}));
    const auto focus_at = [&](double x, double y) {
        point.numbers[0] = x;
        point.numbers[1] = y;
        const ofx::status got = effect_.push(*instance, "FocusHere");
        EXPECT_EQ(instance->lent_images(), 0);
        return got;
    };
    ASSERT_EQ(focus_at(50.5, 20.5), ofx::OK) << instance->message;
    EXPECT_EQ(instance->number("FocusPosition"), double{scene_at(50, 20).values[4]});
    // a stray value does not count
    *instance->input("Depth").image.at(30, 60) = 1.0F;
    ASSERT_EQ(focus_at(30.2, 60.9), ofx::OK);
    EXPECT_NEAR(instance->number("FocusPosition"), scene_at(30, 60).values[4], 3.0);
    edit(*instance, "BlurChannel", 2.0);
    *instance->input("Depth").image.at(100, 10) = 1.0F;
    ASSERT_EQ(focus_at(100.0, 10.0), ofx::OK);
    EXPECT_EQ(instance->number("FocusPosition"), double{scene_at(100, 10).values[4]});
    // as a key where the focus has keys
    instance->parameters.at("FocusPosition")->keys = {{-5.0, 1.0}};
    ASSERT_EQ(focus_at(50.5, 20.5), ofx::OK);
    EXPECT_EQ(instance->parameters.at("FocusPosition")->keys.size(), 2U);

    const double before = instance->number("FocusPosition");
    EXPECT_EQ(focus_at(-1.0, 10.0), ofx::FAILED);
    EXPECT_NE(instance->message.find("outside"), std::string::npos) << instance->message;
    std::ranges::fill(instance->input("Source").image.pixels, 0.0F);
    EXPECT_EQ(focus_at(10.0, 10.0), ofx::FAILED);
    EXPECT_NE(instance->message.find("nothing"), std::string::npos) << instance->message;
    EXPECT_EQ(instance->number("FocusPosition"), before);
    destroy(*instance);
}

// A project that is opened again shows what it showed when it was saved.
TEST_P(OpenfxEffect, LaysOutAPanelWhenItIsMade) {
    const auto instance = effect_.instance(GENERAL, 160, 90);
    instance->parameters.at("SettingsType")->numbers[0] = 1.0;
    create(*instance);
    EXPECT_FALSE(instance->is_hidden("FocalLength"));
    EXPECT_TRUE(instance->is_hidden("MaxBlurSize"));
    destroy(*instance);
}

TEST_P(OpenfxEffect, SaysWhatItNeedsAndWhatItMakes) {
    const auto instance = scene_instance();
    fill_scene(instance->input("Source"), {20, 10, 180, 60});
    fill_scene(instance->input("BlurImage"), {0, 0, 9, 9});
    fill_scene(instance->input("Depth"), FORMAT, 1);
    const std::vector<double> both = {0.0, 0.0, 180.0, 90.0};

    property_bag in{bag_kind::ARGUMENTS};
    in.values["OfxPropTime"] = {0.0};
    property_bag made{bag_kind::ARGUMENTS};
    ASSERT_EQ(effect_.act("OfxImageEffectActionGetRegionOfDefinition", instance.get(),
                          &in, &made),
              ofx::OK);
    EXPECT_EQ(made.numbers("OfxImageEffectPropRegionOfDefinition"), both);

    property_bag needed{bag_kind::ARGUMENTS};
    ASSERT_EQ(effect_.act("OfxImageEffectActionGetRegionsOfInterest", instance.get(), &in,
                          &needed),
              ofx::OK);
    EXPECT_EQ(needed.numbers("OfxImageClipPropRoI_Source"), both);
    EXPECT_EQ(needed.numbers("OfxImageClipPropRoI_Depth"), both);
    EXPECT_EQ(needed.numbers("OfxImageClipPropRoI_BlurImage"),
              (std::vector<double>{0.0, 0.0, 9.0, 9.0}));

    property_bag wanted{bag_kind::ARGUMENTS};
    ASSERT_EQ(effect_.act("OfxImageEffectActionGetClipPreferences", instance.get(),
                          nullptr, &wanted),
              ofx::OK);
    EXPECT_EQ(wanted.values.size(), 1U);
    EXPECT_EQ(wanted.get<std::string>("OfxImageClipPropComponents_Depth"),
              "OfxImageComponentAlpha");

    property_bag identity{bag_kind::ARGUMENTS};
    const auto is_identity = [&] {
        return effect_.act("OfxImageEffectActionIsIdentity", instance.get(), &in,
                           &identity);
    };
    EXPECT_EQ(is_identity(), ofx::REPLY_DEFAULT);
    edit(*instance, "MaxBlurSize", 0.0);
    EXPECT_EQ(is_identity(), ofx::OK);
    EXPECT_EQ(identity.get<std::string>("OfxPropName"), "Source");
    destroy(*instance);
}

TEST_P(OpenfxEffect, TellsWhatIsWrongWithoutADialog) {
    const auto instance = scene_instance();
    auto& output = instance->input("Output");
    // nothing to go by: the picture passes, so that an artist's tree goes on
    instance->input("Depth").properties.values["OfxImageClipPropConnected"] = {0};
    EXPECT_EQ(effect_.render(*instance, FORMAT), ofx::OK);
    EXPECT_NE(instance->message.find("OfxMessageWarning: Connect"), std::string::npos);
    EXPECT_EQ(output.image.pixels, instance->input("Source").image.pixels);

    // what an expression may come to
    edit(*instance, "BlurChannel", 1.0);
    instance->parameters.at("FocusPosition")->numbers[0] = std::nan("");
    EXPECT_EQ(effect_.render(*instance, FORMAT), ofx::FAILED);
    EXPECT_NE(instance->message.find("OfxMessageError: FocusPosition"), std::string::npos)
        << instance->message;
    instance->parameters.at("FocusPosition")->numbers[0] = 0.3;
    EXPECT_EQ(effect_.render(*instance, FORMAT), ofx::OK);
    EXPECT_EQ(instance->message, "");

    for (const char* name : {"Source", "Output"}) {
        instance->input(name).withheld = true;
        EXPECT_EQ(effect_.render(*instance, FORMAT), ofx::FAILED);
        instance->wants_abort = [] { return true; };
        EXPECT_EQ(effect_.render(*instance, FORMAT), ofx::OK);
        instance->wants_abort = {};
        instance->input(name).withheld = false;
    }
    destroy(*instance);
    EXPECT_EQ(effect_.render(*instance, FORMAT), ofx::BAD_HANDLE);
    EXPECT_EQ(effect_.act("OfxActionOfAnotherDay", instance.get()), ofx::REPLY_DEFAULT);
}

#ifndef _WIN32

namespace {

bool is_mapped() {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find("Focusfall.ofx") != line.npos) return true;
    }
    return false;
}

}  // namespace

// Hosts look into a bundle and leave it, often more than once.
TEST(OpenfxBundle, LeavesNothingBehindWhenItIsUnloaded) {
    for (int round = 0; round < 3; ++round) {
        {
            const bundle_library library;
            for (int nth = 0; nth < library.entries().count(); ++nth) {
                mini_host::loaded_effect effect(library.entries(), nth);
                const auto instance = effect.instance(FILTER, 32, 32);
                fill_scene(instance->input("Source"), {0, 0, 32, 32});
                instance->input("Output").connect({0, 0, 32, 32}, 4);
                ASSERT_EQ(effect.act("OfxActionCreateInstance", instance.get()), ofx::OK);
                ASSERT_EQ(effect.edit(*instance, "BlurChannel", 1.0), ofx::OK);
                ASSERT_EQ(effect.render(*instance, {0, 0, 32, 32}), ofx::OK);
                ASSERT_EQ(effect.act("OfxActionDestroyInstance", instance.get()),
                          ofx::OK);
            }
            EXPECT_EQ(library.entries().get(library.entries().count()), nullptr);
            EXPECT_TRUE(is_mapped());
        }
        EXPECT_FALSE(is_mapped());
    }
    EXPECT_EQ(mini_host::take_refusals(), texts{});
}

#endif
