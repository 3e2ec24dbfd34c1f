// The time of each stage of a 1920 x 1080 frame. Its depth runs from the focus to far
// away along each row, so that every blur diameter up to the largest is equally frequent.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "host/headless_host.h"
#include "tool/focusfall.h"

namespace {

constexpr std::int32_t WIDTH = 1920;
constexpr std::int32_t HEIGHT = 1080;

enum stage { PIXEL_PASS, KERNEL_TABLE, SPLAT, WRITE_BACK };

// The tool with one stage repeated as often as the benchmark wants.
class timed_tool : public Focusfall {
  public:
    using Focusfall::Focusfall;

    benchmark::State* state = nullptr;
    stage timed = PIXEL_PASS;
    double taps = 0.0;     // kernel weights that one splat adds
    double entries = 0.0;  // of the kernel table

  protected:
    bool run_pixel_pass() override {
        return repeat(PIXEL_PASS, [this] {
            samples.clear();
            return Focusfall::run_pixel_pass();
        });
    }
    void build_kernel_table() override {
        repeat(KERNEL_TABLE, [this] {
            kernels.clear();
            Focusfall::build_kernel_table();
            return false;
        });
        entries = static_cast<double>(kernels.size());
    }
    void splat(Request* request) override {
        count_taps();
        repeat(SPLAT, [&] {
            Focusfall::splat(request);
            return false;
        });
    }
    bool write_back() override {
        return repeat(WRITE_BACK, [this] { return Focusfall::write_back(); });
    }

  private:
    bool repeat(stage which, const std::function<bool()>& work) {
        if (which != timed) return work();
        bool aborted = false;
        for (auto _ : *state) aborted |= work();
        return aborted;
    }

    // Stamps are as large as their kernels, less what the edges cut off.
    void count_taps() {
        taps = 0.0;
        for (const depth_sample& s : samples) {
            const float blur = (s.depth - focus_depth) * max_coc / s.depth;
            const auto& kernel = kernels[static_cast<std::size_t>(blur / kernel_step)];
            const double radius =
                std::floor(std::sqrt(static_cast<double>(kernel.size())) / 2.0);
            const auto within = [radius](double at, std::int32_t size) {
                return std::min(at, radius) + 1.0 + std::min(size - 1.0 - at, radius);
            };
            taps += within(double{s.x}, WIDTH) * within(double{s.y}, HEIGHT);
        }
    }
};

Operator* new_timed_tool(Registry* record, const ScriptVal& table, TagList* tags) {
    return new timed_tool(record, table, tags);
}

// One grey: normalised, the blurred picture is that grey again.
Owned<Image> grey_with_depths(double largest_blur) {
    Owned<Image> image(new Image(WIDTH, HEIGHT, 5));
    for (std::int32_t y = 0; y < HEIGHT; ++y) {
        for (std::int32_t x = 0; x < WIDTH; ++x) {
            // in focus at distance 1: blur = largest * (1 - 1 / distance)
            const double blur = largest_blur * x / WIDTH;
            float* pixel = image->Pixel(x, y);
            std::fill_n(pixel, 4, 0.5F);
            pixel[Image::Z] = static_cast<float>(1.0 / (1.0 - blur / largest_blur) - 1.0);
        }
    }
    return image;
}

void time_stage(benchmark::State& state, stage timed, const char* style, int threads) {
    const double largest_blur = static_cast<double>(state.range(0)) / 10.0;
    ClassRegistry classes;
    Registry record(classes, "benchmark.Timed", 0x60000000, &new_timed_tool, 0);
    headless::host host(threads);
    const auto tool = host.create_tool(record);
    auto& instance = dynamic_cast<timed_tool&>(tool->instance());
    tool->set("BlurStyle", style);
    tool->set("MaxBlurSize", largest_blur / WIDTH * 100.0);
    tool->set("FocusPosition", 0.0);
    tool->connect("Input", grey_with_depths(largest_blur).get());

    instance.state = &state;
    instance.timed = timed;
    const headless::frame frame = tool->render(0);
    if (!frame.image) return state.SkipWithError(frame.error.c_str());
    for (std::int32_t i = 0; i < WIDTH * HEIGHT; ++i) {
        const float* pixel = frame.image->Pixel(i % WIDTH, i / WIDTH);
        if (!(std::abs(pixel[Image::RED] - 0.5F) < 1e-3F)) {
            return state.SkipWithError("the blurred grey is not grey");
        }
    }

    const auto rate = [&state](double count) {
        return benchmark::Counter(count, benchmark::Counter::kIsIterationInvariantRate);
    };
    constexpr double PIXELS = double{WIDTH} * HEIGHT;
    switch (timed) {
        case SPLAT: state.counters["taps/s"] = rate(instance.taps); break;
        case KERNEL_TABLE: state.counters["kernels/s"] = rate(instance.entries); break;
        default: state.counters["pixels/s"] = rate(PIXELS); break;
    }
}

// The largest blur diameter is given in tenths of a pixel.
void diameters(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgName("tenths")->Arg(50)->Arg(192)->Arg(500);
    benchmark->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(time_stage, pixel_pass, PIXEL_PASS, "Disk", 1)->Apply(diameters);
BENCHMARK_CAPTURE(time_stage, kernel_table_disk, KERNEL_TABLE, "Disk", 1)
    ->Apply(diameters);
BENCHMARK_CAPTURE(time_stage, kernel_table_gaussian, KERNEL_TABLE, "Gaussian", 1)
    ->Apply(diameters);
BENCHMARK_CAPTURE(time_stage, splat_disk, SPLAT, "Disk", 1)->Apply(diameters);
BENCHMARK_CAPTURE(time_stage, splat_gaussian, SPLAT, "Gaussian", 1)->Apply(diameters);
BENCHMARK_CAPTURE(time_stage, splat_disk_all_threads, SPLAT, "Disk", 0)
    ->Apply(diameters)
    ->UseRealTime();
BENCHMARK_CAPTURE(time_stage, write_back, WRITE_BACK, "Disk", 1)->Apply(diameters);

}  // namespace
