#include "pipeline/farm/farm_needs.h"

#include <algorithm>
#include <optional>

#include "host/error.h"
#include "pipeline/shots/frame_preparation.h"
#include "pipeline/shots/render_forecast.h"
#include "pipeline/shots/shot_files.h"

namespace focusfall {

namespace {

// Of the program itself, its libraries and their threads.
constexpr std::uint64_t PROGRAM_BYTES = 256U << 20U;
// A task that takes more than it asked for is ended by the engine.
constexpr double MARGIN = 1.2;
constexpr std::size_t MAX_LOOKS = 16;

// Smaller frames are read and written for longer than they are rendered, which takes one
// core.
int cores_for(const window& area) {
    constexpr std::int64_t SMALL = 1'000'000;  // pixels
    constexpr std::int64_t LARGE = 4'000'000;
    const std::int64_t pixels = area.width * area.height;
    return pixels < SMALL ? 1 : pixels < LARGE ? 2 : 4;
}

}  // namespace

farm_needs needs_of(const shot_options& shot, const headless::tool& tool) {
    farm_needs needs;
    std::optional<headless::host_error> fault;
    const std::vector<int> frames = frames_of(shot);
    const std::size_t looks = std::min(frames.size(), MAX_LOOKS);
    for (std::size_t i = 0; i < looks; ++i) {
        const int frame = frames[looks == 1 ? 0 : i * (frames.size() - 1) / (looks - 1)];
        try {
            frame_loader loader(shot.load);
            const opened_frame opened = loader.open(files_of(shot, frame), false);
            const depth_reading reading =
                depth_reading_of(tool, frame, opened, shot.load);
            const FrameForecast forecast = forecast_of(tool, frame, opened, reading);
            const std::uint64_t bytes = render_bytes(opened, shot, forecast, true);
            needs.bytes = std::max(needs.bytes, bytes);
            needs.cores = std::max(needs.cores, cores_for(opened.input.area));
        } catch (const headless::host_error& error) {
            if (!fault) fault = error;
        }
    }
    if (needs.bytes == 0 && fault) throw *fault;
    const auto with_margin =
        MARGIN * static_cast<double>(std::min(needs.bytes, std::uint64_t{1} << 50U));
    needs.bytes = static_cast<std::uint64_t>(with_margin) + PROGRAM_BYTES;
    return needs;
}

}  // namespace focusfall
