#include "host/headless_host.h"

#include <atomic>
#include <csignal>
#include <thread>

#include "host/probe.h"
#include "tests/support/tool_fixture.h"

namespace headless {
namespace {

Owned<Image> flat_image(std::int32_t width, std::int32_t height, float value) {
    Owned<Image> image(new Image(width, height, 5));
    std::fill_n(image->Pixel(0, 0), width * height * 5, value);
    return image;
}

// A probe with a picture of ones, 4 x 3, and the host that it lives in.
struct fixture {
    std::mutex mutex;
    std::vector<std::string> printed;  // under mutex
    host host_;
    std::unique_ptr<tool> probe;

    explicit fixture(int threads = 2)
        : host_(threads, [this](int sub_id, const std::string& text) {
              const std::scoped_lock lock(mutex);
              printed.push_back(std::to_string(sub_id) + ": " + text);
          }) {
        host_.load_plugin(PROBE_FILE);
        probe = host_.create_tool("probe.Probe");
        probe->connect("Input", flat_image(4, 3, 1.0F).get());
    }
};

#ifdef _WIN32
constexpr const char* UNRESOLVED = "odule";  // that it is not found, in Windows' words
#else
constexpr const char* UNRESOLVED = "undefined symbol: missing_function";
#endif

TEST(Host, SaysWhyAFileIsNoPlugin) {
    const struct {
        std::string file, error;
    } cases[] = {
        {"missing.so", "missing.so: no such file, so no plug-in to load"},
        {"/tmp", "/tmp: no such file, so no plug-in to load"},
        {TEXT_FILE, "cannot be loaded as a plug-in: "},
        {UNRESOLVED_FILE, UNRESOLVED},
        {HOST_FILE, "is a library but no plug-in: it registers no tool class"},
    };
    host host(1);
    for (const auto& c : cases) {
        const std::string error = error_of([&] { host.load_plugin(c.file); });
        EXPECT_TRUE(error.starts_with(c.file + ": ")) << error;
        EXPECT_NE(error.find(c.error), std::string::npos) << error;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    }
    EXPECT_TRUE(host.classes().empty());
}

TEST(Host, ListsTheClassesThatAgreeToBeRegisteredOnceAndSaysWhyOneGivesNoTool) {
    host host(1);
    for (const char* file : {PROBE_FILE, PROBE_FILE, PLUGIN_FILE}) host.load_plugin(file);
    std::string ids;
    for (const class_info& info : host.classes()) ids += info.id + " ";
    EXPECT_EQ(
        ids, "probe.Probe probe.Throwing probe.Empty probe.Bare kestrelworks.Focusfall ");

    const auto error_of_making = [&](const char* id) {
        return error_of([&] { host.create_tool(id); });
    };
    EXPECT_EQ(error_of_making("probe.Prob"),
              "there is no tool class \"probe.Prob\"; did you mean \"probe.Probe\"?");
    EXPECT_EQ(error_of_making("x"), "there is no tool class \"x\"");
    EXPECT_EQ(error_of_making("probe.Empty"), "probe.Empty: no memory for a tool");
    EXPECT_EQ(error_of_making("probe.Bare"), "probe.Bare: the class has no factory");
    EXPECT_THROW(host.create_tool("probe.Throwing"), std::logic_error);
    EXPECT_NE(host.create_tool("probe.Probe"), nullptr);
}

TEST(Host, KeepsALibraryAsLongAsAToolOfItLives) {
    fixture f;
    f.host_.unload_plugins();
    EXPECT_TRUE(f.host_.classes().empty());
    EXPECT_FALSE(ClassRegistry::Global().Records().empty());
    const frame result = f.probe->render();
    EXPECT_EQ(result.how, frame::end::DONE);
    f.probe.reset();
    EXPECT_TRUE(ClassRegistry::Global().Records().empty());
    EXPECT_EQ(result.image->Pixel(0, 0)[0], 2.0F) << "the image outlives its maker";
}

TEST(Tool, ASecondRequestGivesTheFirstHandleWithTheNewTags) {
    fixture f;
    EXPECT_EQ(f.probe->controls().size(), 3U);
    const control& factor = f.probe->find("Factor");
    EXPECT_EQ(factor.info().page + "/" + factor.info().name, "First/Factor");
    EXPECT_EQ(factor.number(0), 2.0);
    f.probe->set("Factor", 4.0);
    EXPECT_EQ(factor.number(0), 3.0);
}

TEST(Tool, RendersAndReportsEachEnd) {
    for (const int threads : {1, 2, 8}) {
        fixture f(threads);
        std::vector<double> parts;
        frame result = f.probe->render(
            {.time = 7.5, .progress = [&](double part) { parts.push_back(part); }});
        EXPECT_EQ(result.how, frame::end::DONE);
        EXPECT_TRUE(std::ranges::is_sorted(parts));
        EXPECT_EQ(parts.back(), 1.0);
        EXPECT_EQ(std::ranges::count(parts, 1.0), 1);
        EXPECT_EQ(result.image->Pixel(3, 2)[Image::Z], 2.0F);
        EXPECT_EQ(f.printed, std::vector<std::string>{"40: 3 rows at 7.5\n"});

        const char* faults[][2] = {{"number", "the tool failed without saying why"},
                                   {"nothing", "the tool gave no image"},
                                   {"print", "probe error: 42"},
                                   {"chunk", "row 1"}};
        for (const auto& [fault, error] : faults) {
            f.probe->set("Fault", fault);
            result = f.probe->render();
            EXPECT_EQ(result.how, frame::end::FAILED) << fault;
            EXPECT_EQ(result.error, error);
            EXPECT_EQ(result.image, nullptr);
        }
        EXPECT_EQ(f.printed.back(), "60: probe error: 42\n");
        f.probe->set("Fault", "");
        EXPECT_EQ(f.probe->render().how, frame::end::DONE) << "no fault lingers";
    }
}

tool* interrupted = nullptr;

void interrupt(int signal) {
    std::signal(signal, interrupt);  // Windows forgets the handler at each signal
    interrupted->abort();
}

TEST(Tool, StopsFromAnotherThreadOrASignalUntilTheAbortIsCleared) {
    fixture f;
    f.probe->set("Fault", "wait");
    std::thread other([&] { f.probe->abort(); });
    EXPECT_EQ(f.probe->render().how, frame::end::ABORTED);
    other.join();
    EXPECT_EQ(f.probe->render().how, frame::end::ABORTED);
    f.probe->clear_abort();
    f.probe->set("Fault", "");
    EXPECT_EQ(f.probe->render().how, frame::end::DONE);

    interrupted = f.probe.get();
    const auto before = std::signal(SIGTERM, interrupt);
    EXPECT_EQ(f.probe->render({.progress = [](double) { std::raise(SIGTERM); }}).how,
              frame::end::ABORTED);
    std::signal(SIGTERM, before);
}

// Keys are edits that the tool may answer with edits of its own: a fault on the way must
// not leave it in the state of a key that is being reported.
TEST(Tool, RefusesImagesPassesOnWhatANotificationThrowsAndStaysUsable) {
    fixture f;
    EXPECT_EQ(error_of([&] { f.probe->connect("Factor", nullptr); }),
              "Factor: is no image connection");
    EXPECT_THROW(f.probe->set("Fault", "notify"), std::runtime_error);
    EXPECT_EQ(f.probe->find("Fault").text(), "notify");
    f.probe->set("Fault", "");
    EXPECT_EQ(base_notifications(*f.probe), 3) << "the picture and both texts";

    f.probe->connect("Input", nullptr);
    EXPECT_FALSE(f.probe->find("Input").is_connected());
    EXPECT_EQ(f.probe->render().error, "Input: no image is connected");
}

// Edits and renders of one tool side by side, and tools of two hosts.
TEST(Tool, LivesBesideOthersInSeveralThreads) {
    fixture one(3), other(2);
    const auto second = one.host_.create_tool("probe.Probe");
    second->connect("Input", flat_image(2, 9, 1.0F).get());
    std::atomic<bool> stop = false;
    std::thread editor([&] {
        for (int i = 0; !stop; ++i) one.probe->set("Factor", i % 3);
    });
    std::vector<std::thread> threads;
    for (tool* each : {one.probe.get(), second.get(), other.probe.get()}) {
        threads.emplace_back([each] {
            for (int i = 0; i < 50; ++i) {
                const frame result = each->render({.time = static_cast<double>(i)});
                ASSERT_EQ(result.how, frame::end::DONE) << result.error;
                const float value = result.image->Pixel(0, 0)[0];
                EXPECT_TRUE(value >= 0.0F && value <= 2.0F) << value;
            }
        });
    }
    for (int i = 0; i < 10; ++i) {
        host host(1);
        host.load_plugin(PLUGIN_FILE);
        EXPECT_NE(host.create_tool("kestrelworks.Focusfall"), nullptr);
    }
    for (std::thread& thread : threads) thread.join();
    stop = true;
    editor.join();
}

}  // namespace
}  // namespace headless
