#include "pipeline/shots/shot_log.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <utility>

#include <nlohmann/json.hpp>

#include "host/error.h"

namespace focusfall {

namespace {

const char* shown(frame_outcome outcome) {
    switch (outcome) {
        case frame_outcome::DONE: return "done";
        case frame_outcome::FAILED: return "failed";
        case frame_outcome::SKIPPED: return "skipped";
        case frame_outcome::MISSING: return "missing";
    }
    return "";
}

nlohmann::ordered_json line_of(const frame_report& report) {
    nlohmann::ordered_json line{{"frame", report.frame},
                                {"input", report.files.input.string()},
                                {"output", report.files.output.string()},
                                {"status", shown(report.outcome)}};
    if (!report.error.empty()) line["error"] = report.error;
    if (is_left_out(report)) return line;
    line["read_seconds"] = report.read_seconds;
    line["render_seconds"] = report.render_seconds;
    line["write_seconds"] = report.write_seconds;
    // JSON has no infinity
    if (std::isfinite(report.largest_blur)) line["largest_blur"] = report.largest_blur;
    return line;
}

}  // namespace

shot_log::shot_log(std::filesystem::path file)
    : file_(std::move(file)), stream_(file_, std::ios::app) {
    if (stream_) return;
    throw headless::host_error(file_.string() +
                               ": cannot be written: " + std::strerror(errno));
}

void shot_log::add(const frame_report& report) {
    // names of files and channels need not be UTF-8, which JSON demands
    constexpr auto REPLACE = nlohmann::ordered_json::error_handler_t::replace;
    stream_ << line_of(report).dump(-1, ' ', false, REPLACE) << std::endl;
    if (stream_) return;
    throw headless::host_error(file_.string() +
                               ": cannot be written any more: " + std::strerror(errno));
}

}  // namespace focusfall
