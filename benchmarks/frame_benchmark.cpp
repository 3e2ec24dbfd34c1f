// What a 1920 x 1080 frame costs, by tool, style, largest blur and threads: the scene of
// `focusfall demo`, focused on the queen. Prints a Markdown table of all benchmarks, or
// with
// `--row NAME` the one row that a comparison with other programs wants.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "benchmarks/machine.h"
#include "benchmarks/timed_tool.h"
#include "host/headless_host.h"
#include "pipeline/demo_scene/demo_scene.h"
#include "plugin/layered/focusfall_layered.h"

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

// One frame, after a warm-up frame that allocates.
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

// Registers a benchmark, unless only another one, `row`, is wanted.
template <class Tool>
void add(const std::string& row, const char* style, double largest_blur, int threads) {
    const bool plain = std::is_same_v<Tool, Focusfall>;
    const char* const tool = plain                                    ? "plain"
                             : std::is_same_v<Tool, FocusfallLayered> ? "layered"
                                                                      : "fast";
    char name[80];
    std::snprintf(name, sizeof name, "%s/%s/%.1f px/%d", tool, style, largest_blur,
                  threads);
    if (!row.empty() && row != name) return;
    benchmark::RegisterBenchmark(name, frame<Tool>, style, largest_blur, threads)
        ->Iterations(1)
        ->Repetitions(is_slow(plain, largest_blur) ? 1
                      : plain                      ? 3
                                                   : 9);
}

void add_all(const std::string& row, int threads) {
    for (const char* style : STYLES) {
        const bool disk = std::string(style) == "Disk";
        const bool flat = disk || std::string(style) == "Polygon";
        for (const double blur : {5.0, 19.2, 50.0, 192.0, 480.0}) {
            if (blur < 50.0 && !disk && !(flat && blur == 19.2)) continue;
            add<FocusfallFast>(row, style, blur, threads);
            // the Laplacian is the fast tool's
            if (blur >= 19.2 && blur <= 192.0 && std::string(style) != "Laplacian")
                add<FocusfallLayered>(row, style, blur, threads);
            if (disk && blur <= 192.0) add<FocusfallFast>(row, style, blur, 1);
            // the plain tool's table for 480 pixels would not fit
            if (blur <= (disk ? 192.0 : 50.0)) add<Focusfall>(row, style, blur, 1);
            // further threads only make it slower, as this shows
            if (disk && blur == 19.2) add<Focusfall>(row, style, blur, threads);
        }
    }
}

// Why a run failed; empty when it did not. Newer versions of the library call such a run
// skipped.
template <class Run>
std::string failure_of(const Run& run) {
    if constexpr (requires { run.error_occurred; }) {
        return run.error_occurred ? run.error_message : "";
    } else {
        return run.skipped ? run.skip_message : "";
    }
}

double counter(const benchmark::BenchmarkReporter::Run& run, const char* name) {
    return run.counters.at(name).value;
}

// A row for each benchmark, with the medians of its repetitions. They are in random
// order, so that what else the machine does meanwhile meets all alike, and come out in
// the order of registration at the end.
class rows : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const std::string failure = failure_of(run);
            if (!failure.empty()) {
                failed_ = true;
                std::fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(),
                             failure.c_str());
            } else if (run.repetitions == 1 || run.aggregate_name == "median") {
                rows_[run.family_index] = run;
                std::fprintf(stderr, "%s: %.1f ms\n", run.run_name.function_name.c_str(),
                             counter(run, "blur"));
            }
        }
    }
    void Finalize() override {
        for (const auto& [index, run] : rows_) print(run);
    }
    bool failed() const { return failed_; }

  protected:
    virtual void print(const Run& run) = 0;

  private:
    std::map<std::int64_t, Run> rows_;
    bool failed_ = false;
};

// Everything that a frame costs, under the machine that it costs that on.
class markdown_table : public rows {
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

  protected:
    void print(const Run& run) override {
        // "tool/style/blur/threads"
        std::string cells = run.run_name.function_name;
        const int threads = std::stoi(cells.substr(cells.rfind('/') + 1));
        for (std::size_t at = 0; (at = cells.find('/', at)) != std::string::npos;) {
            cells.replace(at, 1, " | ");
        }
        const double rate = counter(run, "taps") / counter(run, "blur") * 1e-6;
        std::printf("| %s | %.1f ms | %.1f ms | %.1f billion | %.0f %% | %.0f MB |\n",
                    cells.c_str(), counter(run, "blur"), counter(run, "rest"), rate,
                    100.0 * rate * MULTIPLY_ADDS_PER_TAP / peak_[threads],
                    counter(run, "memory"));
    }

  private:
    int threads_;
    std::map<int, double> peak_;  // by threads
};

// The row of a comparison, "| program | largest blur | time |", as the peers print
// theirs.
class peer_row : public rows {
  protected:
    void print(const Run& run) override {
        const std::string& name =
            run.run_name.function_name;  // "tool/style/blur/threads"
        const std::size_t end = name.rfind('/'), start = name.rfind('/', end - 1) + 1;
        std::printf("| %s | %s | %.1f ms |\n",
                    name.starts_with("layered") ? "Focusfall Layered"
                    : name.starts_with("fast")  ? "Focusfall Fast"
                                                : "Focusfall",
                    name.substr(start, end - start).c_str(), counter(run, "blur"));
    }
};

// Takes "--row NAME" out of the arguments; empty when it is not there.
std::string take_row(std::vector<char*>& arguments) {
    const auto option = std::find_if(arguments.begin(), arguments.end(), [](char* text) {
        return std::string_view(text) == "--row";
    });
    if (arguments.end() - option < 2) return "";
    std::string row = option[1];
    arguments.erase(option, option + 2);
    return row;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<char*> arguments(argv, argv + argc);
    const std::string row = take_row(arguments);
    std::string interleaved = "--benchmark_enable_random_interleaving=true";
    arguments.insert(arguments.begin() + 1, interleaved.data());
    argc = static_cast<int>(arguments.size());
    benchmark::Initialize(&argc, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(argc, arguments.data())) return 2;
    const int threads =
        std::max(2, static_cast<int>(std::thread::hardware_concurrency()));
    add_all(row, threads);
    std::unique_ptr<rows> table;
    if (row.empty()) {
        table = std::make_unique<markdown_table>(threads);
    } else {
        table = std::make_unique<peer_row>();
    }
    if (benchmark::RunSpecifiedBenchmarks(table.get()) == 0) {
        std::fprintf(stderr, "there is no benchmark of that name\n");
        return 2;
    }
    return table->failed() ? 1 : 0;
}
