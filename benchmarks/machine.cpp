#include "benchmarks/machine.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "benchmarks/machine.cpp"  // compiled for each kind of vectors
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// Twelve sums, so that no multiply-add waits for the one before. Returns how many
// multiply-adds were made; `result` keeps the compiler from leaving them out.
double multiply_adds(float& result) {
    constexpr int ROUNDS = 20'000'000;
    const hn::CappedTag<float, 16> tag;
    const auto factor = hn::Set(tag, 0.999F + result);
    const auto term = hn::Set(tag, 0.001F + result);
    auto a = hn::Set(tag, 1.0F), b = hn::Set(tag, 2.0F), c = hn::Set(tag, 3.0F);
    auto d = hn::Set(tag, 4.0F), e = hn::Set(tag, 5.0F), f = hn::Set(tag, 6.0F);
    auto g = hn::Set(tag, 7.0F), h = hn::Set(tag, 8.0F), i = hn::Set(tag, 9.0F);
    auto j = hn::Set(tag, 10.0F), k = hn::Set(tag, 11.0F), l = hn::Set(tag, 12.0F);
    for (int round = 0; round < ROUNDS; ++round) {
        a = hn::MulAdd(a, factor, term), b = hn::MulAdd(b, factor, term);
        c = hn::MulAdd(c, factor, term), d = hn::MulAdd(d, factor, term);
        e = hn::MulAdd(e, factor, term), f = hn::MulAdd(f, factor, term);
        g = hn::MulAdd(g, factor, term), h = hn::MulAdd(h, factor, term);
        i = hn::MulAdd(i, factor, term), j = hn::MulAdd(j, factor, term);
        k = hn::MulAdd(k, factor, term), l = hn::MulAdd(l, factor, term);
    }
    const auto first = hn::Add(hn::Add(a, b), hn::Add(c, d));
    const auto second = hn::Add(hn::Add(e, f), hn::Add(g, h));
    const auto third = hn::Add(hn::Add(i, j), hn::Add(k, l));
    result = hn::GetLane(hn::SumOfLanes(tag, hn::Add(hn::Add(first, second), third)));
    return 12.0 * ROUNDS * static_cast<double>(hn::Lanes(tag));
}

}  // namespace
}  // namespace HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace {

HWY_EXPORT(multiply_adds);

// The value of a line "name : value" of a system file; empty without one.
std::string value_in(const char* file, const std::string& name) {
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind(name, 0) != 0) continue;
        return line.substr(line.find_first_not_of(" \t", line.find(':') + 1));
    }
    return "";
}

}  // namespace

double multiply_add_peak(int threads) {
    std::vector<double> counts(static_cast<std::size_t>(threads));
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> workers;
    workers.reserve(counts.size());
    for (double& count : counts) {
        workers.emplace_back([&count] {
            float result = 0.0F;
            count = HWY_DYNAMIC_DISPATCH(multiply_adds)(result);
            if (result == 0.0F) count = 0.0;  // never: the sums are positive
        });
    }
    for (std::thread& worker : workers) worker.join();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    double all = 0.0;
    for (const double count : counts) all += count;
    return all / took.count() * 1e-9;
}

double peak_memory_mb() {
    const std::string kilobytes = value_in("/proc/self/status", "VmHWM");
    return kilobytes.empty() ? 0.0 : std::stod(kilobytes) / 1024.0;
}

void reset_peak_memory() { std::ofstream("/proc/self/clear_refs") << "5"; }

void print_machine() {
    std::printf("- Processor: %s, %u threads\n",
                value_in("/proc/cpuinfo", "model name").c_str(),
                std::thread::hardware_concurrency());
    std::printf("- Compiler: %s, build type %s\n", COMPILER, BUILD_TYPE);
}

#endif  // HWY_ONCE
