#include "pipeline/process/memory_limit.h"

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <optional>
#include <thread>

namespace focusfall {

namespace {

// Address space for the stacks of one processor's threads, the host's and those of the
// library for picture files.
constexpr std::uint64_t THREAD_BYTES = 1 << 25;

// The value of the line "name: N kB" in one of the kernel's files, in bytes.
std::optional<std::uint64_t> listed_bytes(const char* file, const std::string& name) {
    std::ifstream list(file);
    for (std::string line; std::getline(list, line);) {
        if (line.starts_with(name + ":")) {
            return std::stoull(line.substr(name.size() + 1)) * 1024;
        }
    }
    return std::nullopt;
}

std::optional<std::uint64_t> only_number_in(const char* file) {
    std::uint64_t number = 0;
    if (std::ifstream(file) >> number) return number;
    return std::nullopt;
}

// Bytes left below the limit of the control group, in version 2 or 1; UINT64_MAX when
// there is no limit.
std::uint64_t left_by_group() {
    constexpr std::array<std::array<const char*, 2>, 2> FILES{
        {{"/sys/fs/cgroup/memory.max", "/sys/fs/cgroup/memory.current"},
         {"/sys/fs/cgroup/memory/memory.limit_in_bytes",
          "/sys/fs/cgroup/memory/memory.usage_in_bytes"}}};
    for (const auto& [max, used] : FILES) {
        const auto limit = only_number_in(max);
        const auto usage = only_number_in(used);
        if (limit && usage) return *limit > *usage ? *limit - *usage : 0;
    }
    return UINT64_MAX;
}

}  // namespace

std::uint64_t available_memory() {
    const std::uint64_t machine =
        listed_bytes("/proc/meminfo", "MemAvailable").value_or(UINT64_MAX);
    constexpr std::uint64_t MAX_ADDRESSABLE = 1ULL << 46;
    const std::uint64_t available = std::min({machine, left_by_group(), MAX_ADDRESSABLE});
    return available - available / 10;
}

void guard_memory(std::uint64_t bytes) {
    // the process itself needs memory too, above all for stacks, which count in full size
    bytes += std::uint64_t{1 << 26} + std::thread::hardware_concurrency() * THREAD_BYTES;
    const auto used = listed_bytes("/proc/self/status", "VmData");
    rlimit limit{};
    if (!used || getrlimit(RLIMIT_DATA, &limit) != 0) return;
    limit.rlim_cur = std::min<rlim_t>(*used + bytes, limit.rlim_max);
    setrlimit(RLIMIT_DATA, &limit);
}

std::string shown_bytes(std::uint64_t bytes) {
    const auto size = static_cast<double>(bytes);
    char text[32];
    if (size < 1e9) {
        std::snprintf(text, sizeof text, "%.0f MB", size / 1e6);
    } else {
        std::snprintf(text, sizeof text, "%.1f GB", size / 1e9);
    }
    return text;
}

}  // namespace focusfall
