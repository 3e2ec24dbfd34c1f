// The whole blur stage, kernel table included, of the fast tool and of the one that it
// stands in for, at 1920 x 1080: smooth depths on both sides of the focus, and lights.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <random>

#include "fast/focusfall_fast.h"
#include "host/headless_host.h"

namespace {

constexpr std::int32_t WIDTH = 1920;
constexpr std::int32_t HEIGHT = 1080;

double seconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count();
}

// A tool that takes the time from the kernel table to the pixels' write-back, and the
// time of the rest.
template <class Tool>
class timed : public Tool {
  public:
    using Tool::Tool;

    void Process(Request* request) override {
        const double start = seconds();
        Tool::Process(request);
        rest = seconds() - start - blur;
    }

    double blur = 0.0;
    double rest = 0.0;

  protected:
    void build_kernel_table() override {
        blur = -seconds();
        Tool::build_kernel_table();
    }
    bool write_back() override {
        const bool aborted = Tool::write_back();
        blur += seconds();
        return aborted;
    }
};

// Distances from 1 to 10 by a slow wave; the focus is at 2.
Owned<Image> waves_and_lights() {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> brightness(0.0F, 1.0F);
    Owned<Image> image(new Image(WIDTH, HEIGHT, 5));
    for (std::int32_t y = 0; y < HEIGHT; ++y) {
        for (std::int32_t x = 0; x < WIDTH; ++x) {
            float* pixel = image->Pixel(x, y);
            const float light = brightness(random) < 0.0005F ? 300.0F : 1.0F;
            for (int c = 0; c < 3; ++c) pixel[c] = light * brightness(random);
            pixel[Image::ALPHA] = 1.0F;
            pixel[Image::Z] = 4.5F + 4.5F * std::sin(static_cast<float>(x) * 0.006F) *
                                         std::cos(static_cast<float>(y) * 0.008F);
        }
    }
    return image;
}

// Counts blurred pixels. The frame's time is the blur stage's; that of all else in a
// frame stands beside it.
template <class Tool>
void blur_stage(benchmark::State& state, const char* style, int threads) {
    ClassRegistry classes;
    Registry record(
        classes, "benchmark.Timed", 0x60000000,
        +[](Registry* own, const ScriptVal& table, TagList* tags) -> Operator* {
            return new timed<Tool>(own, table, tags);
        },
        0);
    headless::host host(threads);
    const auto tool = host.create_tool(record);
    auto& instance = dynamic_cast<timed<Tool>&>(tool->instance());
    const Owned<Image> input = waves_and_lights();
    tool->connect("Input", input.get());
    tool->set("BlurStyle", style);
    tool->set("MaxBlurSize", static_cast<double>(state.range(0)) / 10.0 / WIDTH * 100.0);
    // a distance is the depth plus 1
    tool->set("FocusPosition", 1.0);

    double rest = 0.0;
    double mean = 0.0;
    for (auto _ : state) {
        const headless::frame frame = tool->render(0);
        if (!frame.image) return state.SkipWithError(frame.error.c_str());
        state.SetIterationTime(instance.blur);
        rest += instance.rest;
        mean = 0.0;
        for (std::int32_t x = 0; x < WIDTH; ++x) {
            mean += static_cast<double>(frame.image->Pixel(x, HEIGHT / 2)[Image::ALPHA]);
        }
    }
    // normalised, an alpha of 1 stays 1, in all styles that subtract nothing
    if (std::string(style) != "Laplacian" && !(std::abs(mean / WIDTH - 1.0) < 1e-5)) {
        return state.SkipWithError("the blur changed an alpha of 1");
    }
    state.counters["rest_ms"] =
        benchmark::Counter(rest * 1e3, benchmark::Counter::kAvgIterations);
    state.counters["pixels/s"] = benchmark::Counter(
        double{WIDTH} * HEIGHT, benchmark::Counter::kIsIterationInvariantRate);
}

// The largest blur diameter is given in tenths of a pixel.
void styles(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgName("tenths")->Arg(192)->Arg(500);
    benchmark->Unit(benchmark::kMillisecond)->UseManualTime();
}
void disk(benchmark::internal::Benchmark* benchmark) {
    styles(benchmark->Arg(50)->Arg(1920));
}

constexpr auto reference = blur_stage<Focusfall>;
constexpr auto fast = blur_stage<FocusfallFast>;

// 0 threads: as many as there are processors
BENCHMARK_CAPTURE(reference, disk, "Disk", 1)->Apply(disk);
BENCHMARK_CAPTURE(reference, polygon, "Polygon", 1)->Apply(styles);
BENCHMARK_CAPTURE(reference, gaussian, "Gaussian", 1)->Apply(styles);
BENCHMARK_CAPTURE(reference, airy, "Airy Disk", 1)->Apply(styles);
BENCHMARK_CAPTURE(reference, laplacian, "Laplacian", 1)->Apply(styles);
BENCHMARK_CAPTURE(fast, disk, "Disk", 0)->Apply(disk)->Arg(4800);
BENCHMARK_CAPTURE(fast, disk_one_thread, "Disk", 1)->Apply(disk);
BENCHMARK_CAPTURE(fast, polygon, "Polygon", 0)->Apply(styles);
BENCHMARK_CAPTURE(fast, gaussian, "Gaussian", 0)->Apply(styles);
BENCHMARK_CAPTURE(fast, airy, "Airy Disk", 0)->Apply(styles);
BENCHMARK_CAPTURE(fast, laplacian, "Laplacian", 0)->Apply(styles);

}  // namespace
