// What a 1920 x 1080 frame costs, by tool, style, largest blur and threads: the scene of
// `focusfall demo`, focused on the queen. Prints Markdown.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "benchmarks/machine.h"
#include "benchmarks/timed_tool.h"
#include "host/headless_host.h"
#include "pipeline/demo_scene/demo_scene.h"

using namespace focusfall;

namespace {

constexpr std::int32_t WIDTH = 1920;
constexpr std::int32_t HEIGHT = 1080;
constexpr double MULTIPLY_ADDS_PER_TAP = 5.0;  // of the weight and four components

Image* scene() {
    static const Owned<Image> IMAGE = [] {
        headless::worker_pool workers(0);
        return demo_scene(WIDTH, HEIGHT, workers);
    }();
    return IMAGE.get();
}

// A tool of that class in a host of its own, with the scene and these settings.
template <class Tool>
class session {
  public:
    session(const char* style, double largest_blur, int threads)
        : record_(
              classes_, "benchmark.Timed", 0x60000000,
              +[](Registry* own, const ScriptVal& table, TagList* tags) -> Operator* {
                  return new Tool(own, table, tags);
              },
              0),
          host_(threads),
          tool_(host_.create_tool(record_)) {
        tool_->connect("Input", scene());
        tool_->set("BlurStyle", style);
        tool_->set("MaxBlurSize", largest_blur / WIDTH * 100.0);
        // a distance is the depth plus 1
        tool_->set("FocusPosition", DEMO_LENS.focus_mm - 1.0F);
    }
    headless::frame render() { return tool_->render(); }
    Tool& instance() { return dynamic_cast<Tool&>(tool_->instance()); }

  private:
    ClassRegistry classes_;
    Registry record_;
    headless::host host_;
    std::unique_ptr<headless::tool> tool_;
};

double taps(const char* style, double largest_blur) {
    static std::map<std::pair<std::string, double>, double> known;
    double& count = known[{style, largest_blur}];
    if (count == 0.0) {
        session<tap_counter> counter(style, largest_blur, 1);
        counter.render();
        count = counter.instance().taps;
    }
    return count;
}

// What takes minutes runs once.
bool is_slow(bool plain, double largest_blur) {
    return largest_blur > 192.0 || (plain && largest_blur > 50.0);
}

// One frame, after another one that sees to the memory.
template <class Tool>
void frame(benchmark::State& state, const char* style, double largest_blur, int threads) {
    reset_peak_memory();
    session<timed_tool<Tool>> timed(style, largest_blur, threads);
    if (!is_slow(std::is_same_v<Tool, Focusfall>, largest_blur)) timed.render();
    for (auto _ : state) {
        const headless::frame result = timed.render();
        if (!result.image) return state.SkipWithError(result.error.c_str());
    }
    state.counters["blur"] = timed.instance().times.blur;
    state.counters["rest"] = timed.instance().times.rest;
    state.counters["memory"] = peak_memory_mb();
    state.counters["taps"] = taps(style, largest_blur);
}

constexpr const char* STYLES[] = {"Disk", "Polygon", "Gaussian", "Airy Disk",
                                  "Laplacian"};

template <class Tool>
void add(const std::string& tool, const char* style, double largest_blur, int threads) {
    const bool plain = std::is_same_v<Tool, Focusfall>;
    char name[80];
    std::snprintf(name, sizeof name, "%s/%s/%.1f px/%d", tool.c_str(), style,
                  largest_blur, threads);
    benchmark::RegisterBenchmark(name, frame<Tool>, style, largest_blur, threads)
        ->Iterations(1)
        ->Repetitions(is_slow(plain, largest_blur) ? 1
                      : plain                      ? 3
                                                   : 9);
}

void add_all(int threads) {
    for (const char* style : STYLES) {
        const bool disk = std::string(style) == "Disk";
        for (const double blur : {5.0, 19.2, 50.0, 192.0, 480.0}) {
            const bool flat = disk || std::string(style) == "Polygon";
            if (!disk && blur != 50.0 && blur != 480.0 && !(flat && blur == 19.2))
                continue;
            add<FocusfallFast>("fast", style, blur, threads);
            if (disk && blur <= 192.0) add<FocusfallFast>("fast", style, blur, 1);
            // the plain tool's table for 480 pixels would not fit
            if (blur <= 192.0) add<Focusfall>("plain", style, blur, 1);
            // further threads only make it slower, as this shows
            if (disk && blur == 19.2) add<Focusfall>("plain", style, blur, threads);
        }
    }
}

// A row of a table for each benchmark, with the medians of its repetitions. They are in
// random order, so that what else the machine does meanwhile meets all alike, and come
// out in the order of registration at the end.
class markdown_table : public benchmark::BenchmarkReporter {
  public:
    explicit markdown_table(int threads) : threads_(threads) {
        for (const int used : {1, threads}) peak_[used] = multiply_add_peak(used);
    }

    bool ReportContext(const Context& /*context*/) override {
        print_machine();
        std::printf(
            "- Multiply-adds: %.0f billion a second measured, %.0f with one thread\n\n"
            "| tool | style | largest blur | threads | blur stage | rest of the frame "
            "| taps/s | of the peak | memory |\n"
            "|---|---|--:|--:|--:|--:|--:|--:|--:|\n",
            peak_[threads_], peak_[1]);
        return true;
    }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                std::fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(),
                             run.error_message.c_str());
            } else if (run.repetitions == 1 || run.aggregate_name == "median") {
                rows_[run.family_index] = run;
                std::fprintf(stderr, "%s: %.1f ms\n", run.run_name.function_name.c_str(),
                             run.counters.at("blur").value);
            }
        }
    }
    void Finalize() override {
        for (const auto& [index, run] : rows_) print(run);
    }

  private:
    void print(const Run& run) {
        // "tool/style/blur/threads"
        std::string cells = run.run_name.function_name;
        const int threads = std::stoi(cells.substr(cells.rfind('/') + 1));
        for (std::size_t at = 0; (at = cells.find('/', at)) != std::string::npos;) {
            cells.replace(at, 1, " | ");
        }
        const auto counter = [&run](const char* name) {
            return run.counters.at(name).value;
        };
        const double rate = counter("taps") / counter("blur") * 1e-6;
        std::printf("| %s | %.1f ms | %.1f ms | %.1f billion | %.0f %% | %.0f MB |\n",
                    cells.c_str(), counter("blur"), counter("rest"), rate,
                    100.0 * rate * MULTIPLY_ADDS_PER_TAP / peak_[threads],
                    counter("memory"));
    }

    int threads_;
    std::map<int, double> peak_;  // by threads
    std::map<std::int64_t, Run> rows_;
};

}  // namespace

int main(int argc, char** argv) {
    std::vector<char*> arguments(argv, argv + argc);
    std::string interleaved = "--benchmark_enable_random_interleaving=true";
    arguments.insert(arguments.begin() + 1, interleaved.data());
    argc = static_cast<int>(arguments.size());
    argv = arguments.data();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    const int threads =
        std::max(2, static_cast<int>(std::thread::hardware_concurrency()));
    add_all(threads);
    markdown_table table(threads);
    benchmark::RunSpecifiedBenchmarks(&table);
    return 0;
}
