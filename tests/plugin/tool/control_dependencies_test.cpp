// What the tool does to its controls when others change, as the host sees it.

#include <atomic>
#include <ostream>
#include <thread>

#include "host/probe.h"
#include "plugin/record/focusfall_interface.h"
#include "tests/support/tool_fixture.h"

namespace {

using ControlDependencies = tool_test;
using changes = std::vector<headless::visibility_change>;

double quotient(double a, double b) {
    return static_cast<double>(static_cast<float>(a) / static_cast<float>(b));
}

const std::vector<std::string> LENS_CONTROLS = {
    "FocalLength",  "ApertureDiameter", "FStop",        "FilmbackWidth",
    "DepthMapType", "DepthMapUnits",    "NearDistance", "FarDistance"};

// What the mode rule shows and hides, in its order.
changes mode_layout(bool advanced, bool normalized) {
    changes all = {{"MaxBlurSize", !advanced}, {"InvertDepthMap", !advanced}};
    for (const std::string& id : LENS_CONTROLS) all.push_back({id, advanced});
    if (!advanced) return all;
    for (const char* id : {"InvertDepthMap", "NearDistance", "FarDistance"}) {
        all.push_back({id, normalized});
    }
    return all;
}

changes style_layout(bool enabled, int style) {
    return {{"BadBokeh", enabled && style <= 1},
            {"KernelAngle", enabled && style == 1},
            {"PolygonSideCount", enabled && style == 1}};
}

changes depth_layout(bool enabled, bool advanced, bool normalized, int style) {
    changes all = {{"BlurStyle", enabled}};
    for (const auto& one : style_layout(enabled, style)) all.push_back(one);
    for (const char* id : {"SettingsType", "FocusPosition", "MinWeight", "Normalize"}) {
        all.push_back({id, enabled});
    }
    all.push_back({"MaxBlurSize", enabled && !advanced});
    for (const std::string& id : LENS_CONTROLS) {
        const bool distance = id == "NearDistance" || id == "FarDistance";
        all.push_back({id, enabled && advanced && (normalized || !distance)});
    }
    all.push_back({"InvertDepthMap", enabled && (!advanced || normalized)});
    return all;
}

}  // namespace

namespace headless {

// For the messages of failing tests.
void PrintTo(const visibility_change& change, std::ostream* out) {
    *out << (change.visible ? "+" : "-") << change.id;
}

}  // namespace headless

TEST_F(ControlDependencies, CoupleTheLensInSinglePrecisionAtTheTimeOfTheEdit) {
    tool->set("FStop", 3.0);
    EXPECT_EQ(value("ApertureDiameter"), 11.666666984558105);

    std::mt19937 random(1);
    std::uniform_real_distribution<double> of_length(10.0, 300.0);
    std::uniform_real_distribution<double> of_stop(1.0, 32.0);
    for (int round = 0; round < 100; ++round) {
        // the mode does not matter, and nothing is shown or hidden
        if (round == 50) tool->set("SettingsType", "Advanced");
        const double length = of_length(random);
        const double stop = value("FStop");
        tool->set("FocalLength", length);
        EXPECT_EQ(value("ApertureDiameter"), quotient(length, stop));
        EXPECT_EQ(value("FStop"), stop);

        const double new_stop = of_stop(random);
        tool->set("FStop", new_stop);
        EXPECT_EQ(value("ApertureDiameter"), quotient(length, new_stop));

        const double aperture = length / of_stop(random);
        tool->set("ApertureDiameter", aperture);
        EXPECT_EQ(value("FStop"), quotient(length, aperture));
        EXPECT_EQ(value("ApertureDiameter"), aperture);
        EXPECT_EQ(value("FocalLength"), length);
        EXPECT_EQ(visibility_changes(*tool), changes());
    }

    tool->replace("FStop", headless::animation(2.0));
    tool->replace("FocalLength", headless::animation({{1, 35.0}, {47, 70.0}},
                                                     headless::interpolation::LINEAR));
    tool->set("FStop", 4.0, 24);
    EXPECT_EQ(value("ApertureDiameter", 24), quotient(52.5, 4.0));
    tool->set("ApertureDiameter", 7.0, 47);
    EXPECT_EQ(value("FStop", 47), 10.0);
}

TEST_F(ControlDependencies, FollowModeTypeOfDepthMapAndStyleFromTheFirstReportOn) {
    for (const auto* input : tool->controls()) EXPECT_TRUE(input->is_visible());
    tool->open_page();
    for (const char* id : {"FocalLength", "NearDistance", "KernelAngle"}) {
        EXPECT_FALSE(tool->find(id).is_visible()) << id;
    }
    const struct {
        const char *id, *item;
        changes expected;
    } edits[] = {{"SettingsType", "Advanced", mode_layout(true, false)},
                 {"DepthMapType", "Normalized", mode_layout(true, true)},
                 {"SettingsType", "Simple", mode_layout(false, true)},
                 {"DepthMapType", "Distance", mode_layout(false, false)},
                 {"DepthMapType", "Normalized", mode_layout(false, false)},
                 {"SettingsType", "Advanced", mode_layout(true, true)}};
    for (const auto& one : edits) {
        tool->set(one.id, one.item);
        EXPECT_EQ(visibility_changes(*tool), one.expected) << one.id << "=" << one.item;
    }
    for (const int style : {4, 3, 2, 1, 0, 1}) {
        tool->set("BlurStyle", style);
        changes expected = style_layout(true, style);
        for (const auto& again : style_layout(true, style)) expected.push_back(again);
        EXPECT_EQ(visibility_changes(*tool), expected) << "told twice, style " << style;
    }
    for (const char* id : {"FilmbackWidth", "FocusPosition", "PolygonSideCount"}) {
        tool->set(id, 5.0);
        EXPECT_EQ(visibility_changes(*tool), changes()) << id;
    }
}

// The host always passes a tag list; the tool does not pass it on.
TEST_F(ControlDependencies, OnlyEmptyReportsReachTheBaseWithoutTheirTags) {
    tool->open_page();
    tool->set("FocalLength", 50.0);
    tool->set("DocUrl", "elsewhere");
    EXPECT_EQ(base_notifications(*tool), 0);

    tool->connect("DepthMap", nullptr);
    ASSERT_EQ(base_notifications(*tool), 1);
    EXPECT_EQ(last_base_notification(*tool)->id, "DepthMap");
    EXPECT_TRUE(last_base_notification(*tool)->null_parameter);
    EXPECT_TRUE(last_base_notification(*tool)->null_tags);
    EXPECT_EQ(visibility_changes(*tool), changes());

    // no input at all
    TagList tags;
    AutoNumber number(1.0);
    tool->instance().NotifyChanged(nullptr, &number, 3, &tags);
    EXPECT_EQ(base_notifications(*tool), 1);
    tool->instance().NotifyChanged(nullptr, nullptr, 3, &tags);
    ASSERT_EQ(base_notifications(*tool), 2);
    EXPECT_EQ(last_base_notification(*tool)->id, "");
    EXPECT_EQ(last_base_notification(*tool)->time, 3);
}

// Pointless unless the thread sanitizer watches, but it must not fail elsewhere either.
TEST_F(ControlDependencies, TakeEditsWhileFramesRender) {
    const auto picture = small_picture();
    tool->connect("Input", picture.get());
    std::atomic<bool> rendered = false;
    std::thread renderer([&] {
        for (int frame = 0; frame < 12; ++frame) {
            const headless::frame result =
                tool->render({.time = static_cast<TimeStamp>(frame)});
            EXPECT_EQ(result.how, headless::frame::end::DONE) << result.error;
        }
        rendered = true;
    });
    std::mt19937 engine(3);
    const auto random = [&](int limit) {
        return static_cast<double>(engine() % static_cast<unsigned>(limit));
    };
    while (!rendered) {
        tool->set("BlurStyle", random(5));
        tool->set("SettingsType", random(2));
        tool->set("FStop", 1.0 + random(20), random(12));
        tool->replace("FocusPosition",
                      headless::animation({{0, 1200.0}, {12, 500.0 + random(3000)}},
                                          headless::interpolation::SMOOTH));
        tool->set("DocUrl", std::to_string(random(9)));
        tool->connect("DepthMap", random(2) > 0 ? picture.get() : nullptr);
        for (const auto* input : tool->controls()) input->is_visible();
    }
    renderer.join();
}

namespace {

// A tool that lets artists switch off depth.
class switchable_tool : public ThreadedOperator, public focusfall_interface {
  public:
    switchable_tool(Registry* record, const ScriptVal& table, TagList* tags)
        : ThreadedOperator(record, table, tags) {
        AddControlPage("Controls", 0);
        add_depth_controls(*this, /*with_enable_depth=*/true, /*normalize_default=*/0.0F);
    }
    void Process(Request* /*request*/) override {}
    void ProcessChunk(Request* /*request*/, std::int32_t /*chunk*/) override {}
    void NotifyChanged(Input* input, Parameter* param, TimeStamp time,
                       TagList* /*tags*/) override {
        on_input_changed(input, param, time);
    }
};

Operator* new_switchable_tool(Registry* record, const ScriptVal& table, TagList* tags) {
    return new switchable_tool(record, table, tags);
}

}  // namespace

TEST(DepthSwitch, ShowsWhatStyleModeAndTypeLeaveAndWhenOffSilencesTheMode) {
    ClassRegistry classes;
    Registry record(classes, "test.Switchable", 0x60000000, new_switchable_tool, 0);
    headless::host host(1);
    auto tool = host.create_tool(record);
    for (int i = 0; i < 5 * 4; ++i) {
        SCOPED_TRACE(i);
        const int style = i / 4;
        tool->set("EnableDepth", 1.0);
        tool->set("BlurStyle", style);
        tool->set("DepthMapType", i % 2);
        tool->set("SettingsType", i / 2 % 2);
        for (const bool enabled : {false, true}) {
            tool->set("EnableDepth", enabled ? 1.0 : 0.0);
            EXPECT_EQ(visibility_changes(*tool),
                      depth_layout(enabled, i / 2 % 2 == 1, i % 2 == 1, style));
        }
    }

    tool = host.create_tool(record);
    tool->set("EnableDepth", 0.0);
    tool->set("SettingsType", "Advanced");
    EXPECT_EQ(visibility_changes(*tool), changes());
    tool->set("BlurStyle", "Polygon");
    EXPECT_EQ(visibility_changes(*tool), style_layout(false, 1));
    tool->set("FocalLength", 50.0);
    EXPECT_EQ(tool->find("ApertureDiameter").number(0), 25.0);
    // the mode that was not followed is not remembered either
    tool->set("EnableDepth", 1.0);
    EXPECT_EQ(visibility_changes(*tool), depth_layout(true, false, false, 1));
}
