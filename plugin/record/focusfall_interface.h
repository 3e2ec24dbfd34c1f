#pragma once
// The render record: everything that one frame needs, and the operations that fill and
// use it. Every tool contains one. The comment on an operation begins with the plug-in
// folder that defines it. It is longer than a header should be, as one frame's state is
// listed in one place.

#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <vector>

#include <boost/shared_ptr.hpp>
#include <boost/thread/mutex.hpp>

#include "host/api/operator.h"
#include "lens/kernel_sizes.h"
#include "lens/lens.h"
#include "plugin/kestrel_image/image.h"
#include "plugin/record/depth_sample.h"

// The items of the list "BlurStyle", by index.
enum blur_style_code : std::int32_t { DISK, POLYGON, GAUSSIAN, AIRY_DISK, LAPLACIAN };

// The part of the record that kernels depend on.
class filter_interface {
  public:
    // colour image of the render; kernels are modelled on it
    Image* reference_image = nullptr;
    // Written by NotifyChanged too while a frame renders, without a lock by design: a
    // frame takes the style that it finds, and the edit that changed it asks for another
    // frame.
    std::atomic<std::int32_t> blur_style = DISK;
    std::int32_t polygon_side_count = 6;
    double kernel_angle = 0.0;  // radians
    double bad_bokeh = 0.0;     // 0 and up: the rim is 1 + 4 * bad_bokeh times the middle

    // The controls' handles: borrowed from the host, constant once the tool is built.
    Input* blur_style_input = nullptr;
    Input* bad_bokeh_input = nullptr;
    Input* kernel_angle_input = nullptr;
    Input* polygon_side_count_input = nullptr;
};

class focusfall_interface : public filter_interface {
  public:
    virtual ~focusfall_interface() = default;

    // tool/: the controls, in the order in which an artist sees them. Each adds to the
    // tool's current page and keeps the handles.
    void add_depth_controls(Operator& tool, bool with_enable_depth,
                            float normalize_default);
    void add_style_controls(Operator& tool, double default_style);

    // tool/: keep the controls consistent after an edit, and show those that matter; null
    // pointers are ignored, other than in change_style. [user-interface side]
    void on_input_changed(Input* input, Parameter* param, TimeStamp time);
    void change_style(Parameter* param);  // stores the style and lays out its controls
    void set_depth_enabled(bool enabled);
    void update_style_visibility(Input* input, Parameter* param);

    // render/: reads every control at the request's time, chooses the depth image,
    // prepares the accumulators and computes `focus_depth` and `max_coc`. Throws
    // std::runtime_error when the depth image is not as large as `color`, and like
    // prepare_accumulators. [render thread, before the chunks]
    void read_settings(Request* request, Image* color);
    // render/: gives the accumulators the size of `color` and clears them. A tool that
    // may do without them overrides this and calls it once it needs them. Throws
    // std::runtime_error when memory runs out, or an accumulator would need 2 GB or more.
    // [render thread, before the chunks]
    virtual void prepare_accumulators(const Image& color);
    // render/: the depth and lens controls, read through `number_of`, which gives a
    // control's number. Reads nothing else that a render changes. [any thread]
    lens::settings lens_settings(const std::function<double(Input*)>& number_of) const;
    // render/: reads the controls that shape the kernels. [render thread]
    void read_kernel_settings(Request* request);
    // render/: distance in millimetres for a depth map's value, which must not be
    // negative. Never throws; callable from any thread while the settings do not change.
    float depth_to_distance(float v) const;

    // Whether a pixel with that alpha is a sample. Transparent pixels are, if the result
    // is divided by its weight, because they add to the weight. Never throws; callable
    // from any thread while the settings do not change, like the next one.
    bool is_sample(float alpha) const;
    // Distance of a sample in millimetres, at most `max_depth`, for a value of the depth
    // image as it is: the sign does not matter.
    float sample_distance(float depth) const;

    // splat/: adds one sample to the accumulators, as a copy of the kernel of its circle
    // of confusion. [worker threads, several at once]
    void splat_sample(const depth_sample& s);

    // Depth processing is allowed: set by set_depth_enabled while a frame may be
    // rendering, without a lock by design, like `blur_style`.
    std::atomic<bool> depth_available = true;
    bool shrink_disk = false;  // makes the Disk smaller; no control sets it
    // step of the blur diameter from kernel to kernel, pixels
    float kernel_step = lens::KERNEL_STEP_FLOAT;
    // upper limit of every sample's distance, millimetres
    float max_depth =
        static_cast<float>(static_cast<double>(std::numeric_limits<float>::max()) * 0.5);

    // Row y is written under row_locks[y] while chunks run, otherwise by the render
    // thread.
    kestrel_image::image<color_rgba_f> color_accumulator;  // channel "OutRGBA"
    kestrel_image::image<float> weight_accumulator;        // channel "Norm"
    // Constant while chunks run: entry 0 is {1}, entry i the weights, row by row, of the
    // kernel for a blur diameter of i * 0.01 pixels; empty where there is no such kernel.
    std::vector<std::vector<float>> kernels;
    std::vector<boost::shared_ptr<boost::mutex>> row_locks;  // one per output row
    color_rgba_f* out_rgba_data = nullptr;                   // row 0 of "OutRGBA"
    float* norm_data = nullptr;                              // row 0 of "Norm"

    // The settings of the frame, constant while chunks run. Lists and switches are
    // compared with values half-way between their items, never for equality.
    float blur_channel = 0.0F;
    float settings_type = 0.0F;
    float invert_depth_map = 0.0F;
    float max_blur_size = 0.0F;  // percent of the image width
    float focal_length = 0.0F;   // millimetres, like the next three
    float focal_length_sq = 0.0F;
    float aperture_diameter = 0.0F;
    float f_stop = 0.0F;
    float filmback_width = 0.0F;  // millimetres
    float depth_map_type = 1.0F;
    float depth_map_units = 0.0F;
    float near_distance = 1.0F;
    float far_distance = 2.0F;
    float normalize = 0.0F;
    float focus_depth = 0.0F;  // distance in focus, millimetres
    float max_coc = 0.0F;      // blur diameter at infinity and largest of all, pixels
    float min_weight = 0.0F;   // belongs to saved flows; no computation reads it
    bool depth_enabled = true;

    Input* enable_depth_input = nullptr;  // null: the tool has no such control
    Input* blur_channel_input = nullptr;
    Input* settings_type_input = nullptr;
    Input* focus_position_input = nullptr;
    Input* invert_depth_map_input = nullptr;
    Input* max_blur_size_input = nullptr;
    Input* focal_length_input = nullptr;
    Input* aperture_diameter_input = nullptr;
    Input* f_stop_input = nullptr;
    Input* filmback_width_input = nullptr;
    Input* min_weight_input = nullptr;
    Input* depth_map_type_input = nullptr;
    Input* depth_map_units_input = nullptr;
    Input* near_distance_input = nullptr;
    Input* far_distance_input = nullptr;
    Input* normalize_input = nullptr;
    Input* depth_map_input = nullptr;

    // the image that depth is read from in this frame; owned by the request
    Image* depth_image = nullptr;

  private:
    void store_lens(const lens::settings& s, const lens::focus& f);  // render/
    void apply_mode_rule(TimeStamp time);                            // tool/
    void show_controls_of_style();                                   // tool/

    // tool/: the settings that decide which controls are shown. [user-interface side]
    bool advanced_settings_ = false;
    bool normalized_depth_ = false;
};

inline float focusfall_interface::depth_to_distance(float v) const {
    return lens::distance(
        {depth_map_type, depth_map_units, invert_depth_map, near_distance, far_distance},
        v);
}

inline float focusfall_interface::sample_distance(float depth) const {
    const float distance = std::abs(depth_to_distance(std::abs(depth)));
    return distance > max_depth ? max_depth : distance;
}

inline bool focusfall_interface::is_sample(float alpha) const {
    return alpha > 0.0F || normalize > 0.5F;
}

// Row y of an accumulator, from the pointers to row 0 that the record keeps. Callable
// from any thread.
inline color_rgba_f* color_row(const focusfall_interface& record, std::int32_t y) {
    auto* first = reinterpret_cast<std::byte*>(record.out_rgba_data);
    return reinterpret_cast<color_rgba_f*>(
        first + std::ptrdiff_t{y} * record.color_accumulator.row_stride);
}
inline float* weight_row(const focusfall_interface& record, std::int32_t y) {
    auto* first = reinterpret_cast<std::byte*>(record.norm_data);
    return reinterpret_cast<float*>(first + std::ptrdiff_t{y} *
                                                record.weight_accumulator.row_stride);
}
