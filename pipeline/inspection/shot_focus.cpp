#include "pipeline/inspection/shot_focus.h"

#include "host/error.h"
#include "pipeline/inspection/pixel_report.h"
#include "pipeline/shots/frame_range.h"
#include "pipeline/shots/shot_files.h"

namespace focusfall {

namespace {

using headless::host_error;

// The shot with this frame alone; without a place for its number there is but one.
shot_options only_frame(shot_options shot, int frame) {
    shot.frames.clear();
    if (has_frame_pattern(shot.input)) shot.frames = {frame};
    return shot;
}

// The frame to look at.
int frame_of(const focus_point& point, const shot_options& shot) {
    if (point.frame) return *point.frame;
    if (shot.frames.empty() && has_frame_pattern(shot.input)) {
        throw host_error(shot.input + ": which frame? write FRAME:" + point.shown());
    }
    return frames_of(shot).front();
}

}  // namespace

std::string set_focus(headless::tool& tool, const focus_points& points,
                      const shot_options& shot) {
    if (points.points.size() > 1 && !has_frame_pattern(shot.input)) {
        throw host_error(shot.input +
                         ": a focus at several frames needs #### in this name");
    }
    frame_loader loader(shot.load, shot.memory_limit);
    return set_focus(tool, points, [&](const focus_point& point) {
        const int frame = frame_of(point, shot);
        const frame_files files = files_of(only_frame(shot, frame), frame);
        frame_files looked_at;
        looked_at.input = files.input;
        looked_at.depth_map = files.depth_map;
        const frame_probe probe(loader, shot.load, looked_at, tool, frame, true);
        return probe.depth_around(point.x, point.y);
    });
}

}  // namespace focusfall
