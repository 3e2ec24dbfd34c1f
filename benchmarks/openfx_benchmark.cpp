// What the bridge to OpenFX hosts costs: a 1920 x 1080 frame as the host orders it, and
// the same frame by the tool alone from images as the bridge gives them, in passed time
// and in that of the processors, which other programs lengthen less. All are the best of
// several, which take turns, so that other load on the machine affects both. Then the
// longest time from the host's wish for an end of the frame, at any moment of it, to that
// end.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "programs/openfx/entry.h"
#include "programs/openfx/render_tools.h"
#include "tests/programs/openfx/mini_host.h"

namespace {

constexpr ofx::pixel_rect FRAME = {0, 0, 1920, 1080};
constexpr int ROUNDS = 15;
constexpr mini_host::entries LINKED = {OfxGetNumberOfPlugins, OfxGetPlugin};

// Milliseconds of the fastest frame.
struct best_time {
    double passed = 1e9;
    double processors = 1e9;

    template <class Work>
    void take(const Work& work) {
        const auto start = std::chrono::steady_clock::now();
        const std::clock_t used = std::clock();
        work();
        const std::chrono::duration<double, std::milli> took =
            std::chrono::steady_clock::now() - start;
        passed = std::min(passed, took.count());
        processors = std::min(processors, 1e3 * static_cast<double>(std::clock() - used) /
                                              static_cast<double>(CLOCKS_PER_SEC));
    }
};

float light(int x, int y) {
    return x % 53 == 0 && y % 37 == 0 ? 20.0F
                                      : 0.2F + 0.3F * static_cast<float>(x / 16 % 2);
}
float distance(int x, int y) {
    return 300.0F + static_cast<float>(x) + 0.5F * static_cast<float>(y);
}

void connect_scene(mini_host::effect& instance) {
    for (const char* name : {"Source", "Depth", "Output"}) {
        instance.input(name).connect(FRAME, 4);
    }
    for (int y = 0; y < FRAME.y2; ++y) {
        for (int x = 0; x < FRAME.x2; ++x) {
            float* pixel = instance.input("Source").image.at(x, y);
            std::fill_n(pixel, 3, light(x, y));
            pixel[3] = 1.0F;
            std::fill_n(instance.input("Depth").image.at(x, y), 4, distance(x, y));
        }
    }
}

struct tool_scene {
    Owned<Image> colors{new Image(FRAME.x2, FRAME.y2, 4)};
    Owned<Image> depth{new Image(FRAME.x2, FRAME.y2, 4)};

    tool_scene() {
        for (int y = 0; y < FRAME.y2; ++y) {
            for (int x = 0; x < FRAME.x2; ++x) {
                float* pixel = colors->Pixel(x, FRAME.y2 - 1 - y);
                std::fill_n(pixel, 3, light(x, y));
                pixel[Image::ALPHA] = 1.0F;
                std::fill_n(depth->Pixel(x, FRAME.y2 - 1 - y), 4, distance(x, y));
            }
        }
    }
};

// Milliseconds from the host's wish for an end of the frame, at moments all over the
// `frame_ms` that it takes, to that end; the longest.
double longest_end(mini_host::loaded_effect& effect, mini_host::effect& instance,
                   double frame_ms) {
    using clock = std::chrono::steady_clock;
    using milliseconds = std::chrono::duration<double, std::milli>;
    double longest = 0.0;
    for (int i = 0; i < ROUNDS; ++i) {
        const milliseconds wait(frame_ms * i / ROUNDS);
        const clock::time_point wish =
            clock::now() + std::chrono::duration_cast<clock::duration>(wait);
        instance.wants_abort = [wish] { return clock::now() >= wish; };
        effect.render(instance, FRAME);
        longest = std::max(longest, milliseconds(clock::now() - wish).count());
    }
    instance.wants_abort = {};
    return longest;
}

void time_blur(mini_host::loaded_effect& effect, int nth, double percent) {
    const auto instance = effect.instance(mini_host::GENERAL, FRAME.x2, FRAME.y2);
    connect_scene(*instance);
    instance->parameters.at("MaxBlurSize")->numbers[0] = percent;
    instance->parameters.at("FocusPosition")->numbers[0] = 900.0;
    effect.act("OfxActionCreateInstance", instance.get());
    const auto tool =
        focusfall::new_tool(focusfall::rendering_host(), focusfall::EFFECTS[nth]);
    tool->set("MaxBlurSize", percent);
    tool->set("FocusPosition", 900.0);
    tool->set("BlurChannel", "Blue");  // the first component
    const tool_scene scene;

    best_time alone;
    best_time whole;
    for (int i = 0; i < ROUNDS; ++i) {
        alone.take([&] {
            tool->render({.images = {{"Input", scene.colors.get()},
                                     {"DepthMap", scene.depth.get()}}});
        });
        whole.take([&] { effect.render(*instance, FRAME); });
    }
    std::printf("| %s | %.1f px | %.1f ms | %.1f ms | %.1f %% | %.1f %% | %.1f ms |\n",
                focusfall::EFFECTS[nth].label, percent * FRAME.x2 / 100.0, alone.passed,
                whole.passed, 100.0 * (whole.passed - alone.passed) / whole.passed,
                100.0 * (whole.processors - alone.processors) / whole.processors,
                longest_end(effect, *instance, whole.passed));
    effect.act("OfxActionDestroyInstance", instance.get());
}

}  // namespace

int main() {
    mini_host::processors = 0;  // all
    std::printf(
        "| effect | largest blur | tool alone | frame of a host | bridge | of the "
        "processors' time | stopped after |\n"
        "|---|--:|--:|--:|--:|--:|--:|\n");
    for (int nth = 0; nth < focusfall::EFFECT_COUNT; ++nth) {
        mini_host::loaded_effect effect(LINKED, nth);
        for (const double percent : {1.0, 2.6, 10.0}) time_blur(effect, nth, percent);
    }
    return mini_host::take_refusals().empty() ? 0 : 1;
}
