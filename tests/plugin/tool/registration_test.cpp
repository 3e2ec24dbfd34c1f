#include <gtest/gtest.h>

#include <new>
#include <sstream>

#include "host/headless_host.h"
#include "tests/support/failing_allocations.h"

namespace headless {
namespace {

TEST(Registration, AnnouncesTheToolByItsTagsInTheirOrder) {
    host host(1);
    host.load_plugin(PLUGIN_FILE);
    ASSERT_EQ(host.classes().size(), 1U);
    const class_info info = host.classes().front();

    std::ostringstream given;
    for (const TagPair& pair : info.tags.Pairs()) {
        given << std::hex << pair.tag << std::dec;
        if (const auto* value = std::get_if<std::int32_t>(&pair.value))
            given << " " << *value;
        if (const auto* text = std::get_if<std::string>(&pair.value))
            given << " " << *text;
        given << "\n";
    }
    // the list's seventeenth entry, its closing 0, is not kept
    EXPECT_EQ(given.str(), R"(60000001
60000002
10000000 3
30000008 Built: Sep 16 2008
60000011
60000005
60000000
30000002 Focusfall
10000004 101
30000003 Lucent
30000004 FcFl
30000005 Simulates depth of field blurring
30000007 Kestrel Software Plugin. Please visit our website for more quality plugins.
30000009 Kestrel Software
10000017 101
3000000a https://kestrelworks.example/focusfall
)");
    EXPECT_EQ(info.tags.Pointer<RegistryHook>(0x60000001), &Operator::RegInit);
    EXPECT_EQ(info.tags.Pointer<RegistryHook>(0x60000002), &Operator::RegCleanup);
    EXPECT_EQ(info.tags.Pointer<const FuID>(0x60000011), &ThreadedOperator::ClassID);
    const auto* script = info.tags.Pointer<ScriptInfo>(0x60000005);
    EXPECT_EQ(script->Version(), 1);
    EXPECT_EQ(script->ClassID(), FuID("kestrelworks.Focusfall"));
    LuaClass object;
    EXPECT_EQ(script->ToObject(&object), &object);
    EXPECT_EQ(script->ToScript(&object), &object);
    EXPECT_EQ(info.id + "/" + info.category + "/" + info.base_class,
              "kestrelworks.Focusfall/Lucent/ThreadedOperator");
}

TEST(Registration, LivesFromLoadingToUnloading) {
    for (int round = 0; round < 5; ++round) {
        EXPECT_TRUE(ClassRegistry::Global().Records().empty()) << "round " << round;
        host one(1), other(1);
        one.load_plugin(PLUGIN_FILE);
        other.load_plugin(PLUGIN_FILE);
        EXPECT_EQ(ClassRegistry::Global().Records().size(), 1U);
        for (int i = 0; i < 3; ++i) {
            EXPECT_NE(one.create_tool("kestrelworks.Focusfall"), nullptr);
        }
        one.unload_plugins();
        EXPECT_NE(other.create_tool("kestrelworks.Focusfall"), nullptr);
    }
    EXPECT_TRUE(ClassRegistry::Global().Records().empty());
}

// Fails each allocation in turn until none is left to fail. Where the tool itself has no
// memory the factory gives null; in its constructor the failure passes through.
TEST(Registration, TheFactoryGivesNullOrPassesOnWhenMemoryRunsOut) {
    host host(1);
    host.load_plugin(PLUGIN_FILE);
    watch_allocations_of_libraries();
    const Registry* record = ClassRegistry::Global().Records().front();
    auto* factory = record->Tags().Pointer<ToolFactory>(0x60000000);

    TagList tags;
    int nulls = 0;
    int failures = 0;
    for (bool made = false; !made;) {
        allocations_until_failure = nulls + failures;
        try {
            const Owned<Operator> tool(factory(nullptr, ScriptVal(), &tags));
            made = allocations_until_failure >= 0;
            EXPECT_TRUE(tool || !made);
            if (!tool) ++nulls;
        } catch (const std::bad_alloc&) {
            ++failures;
        }
        allocations_until_failure = -1;
    }
    EXPECT_EQ(nulls, 1);
    EXPECT_GT(failures, 30) << "each control takes memory";
}

}  // namespace
}  // namespace headless
