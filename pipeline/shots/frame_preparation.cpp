#include "pipeline/shots/frame_preparation.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "host/error.h"
#include "pipeline/pictures/host_image.h"
#include "pipeline/preparation/depth_statistics.h"

namespace focusfall {

namespace {

using headless::host_error;

// Maps of whole numbers hold disparities from 0 to 1, the largest and the smallest of
// the picture: a distance takes more than that.
void check_scale(const depth_reading& reading) {
    const bool has_scale = reading.choices.scale || reading.controls.normalized;
    if (reading.choices.meaning != depth_meaning::INVERSE || !reading.controls.is_lens ||
        has_scale || !reading.whole_numbers) {
        return;
    }
    throw host_error(
        "the disparities of a map of 8 or 16 bits have no scale, which a lens needs: "
        "say how far 1 and 0 are by --set DepthMapType=Normalized --set NearDistance=500 "
        "--set FarDistance=20000 (millimetres), or blur without a lens by --set "
        "SettingsType=Simple");
}

void check_field_of_view(const depth_choices& choices) {
    if (!choices.field_of_view || choices.meaning == depth_meaning::RAY) return;
    throw host_error("--field-of-view is for --depth-as ray; leave it out, or give both");
}

std::vector<float> plane_of(const Image& image, Image::Component component) {
    std::vector<float> plane;
    plane.reserve(static_cast<std::size_t>(std::int64_t{image.Width()} * image.Height()));
    for (std::int32_t y = 0; y < image.Height(); ++y) {
        for (std::int32_t x = 0; x < image.Width(); ++x) {
            plane.push_back(image.Pixel(x, y)[component]);
        }
    }
    return plane;
}

// Layers with the depth of the first share what was made of it.
void prepare_depth(loaded_frame& frame, const depth_reading& reading,
                   Image::Component component) {
    for (std::size_t layer = 0; layer <= frame.further.size(); ++layer) {
        const bool shares =
            layer > 0 && (frame.depth_map ||
                          (component == Image::Z &&
                           frame.input.further[layer - 1].depth == frame.input.depth));
        prepared_depth prepared;
        if (!shares) {
            const Image& depth = file_depth(frame, layer);
            prepared.in_file = plane_of(depth, component);
            prepared.for_tool =
                mapped_depth(depth, component, image_of(frame, layer), frame.input.area,
                             depth_window(frame, component, layer), reading);
        }
        frame.prepared.push_back(std::move(prepared));
    }
}

// The background is read as the picture is. Its images are copied: later frames may have
// the loader's.
void prepare_backgrounds(loaded_frame& frame, const light_choices& light,
                         const depth_reading& reading) {
    const bool changes_depth = reading.choices.changes_values();
    if (!changes_depth && !light.drop_non_finite && !light.highlights) return;
    const window& area = frame.input.area;
    for (Owned<Image>& image : frame.backgrounds) {
        image = changes_depth
                    ? mapped_depth(*image, Image::Z, *image, area, area, reading)
                    : cropped(*image, area, area);
        if (light.drop_non_finite) fill_pixels(*image, non_finite_pixels(*image));
        if (light.highlights) lift_highlights(*image, *light.highlights);
    }
}

// Tells of a map of whole numbers that looks as if white were near, where neither choices
// nor controls say which it is.
void note_direction(loaded_frame& frame, const depth_reading& reading,
                    Image::Component component) {
    const bool is_told =
        reading.choices.meaning || reading.choices.scale || reading.controls.inverted;
    const bool is_color = !frame.depth_map && component != Image::Z;
    if (!reading.whole_numbers || is_told || is_color) return;
    const Image& depth = file_depth(frame);
    const empty_pixels empty(depth, component, reading);
    if (rise_to_bottom(depth, component, *frame.image, empty) < CLEAR_RISE) return;
    frame.notes.push_back(
        {frame.depth_file,
         "white seems to be near, and is read as far; give --depth-as inverse, or "
         "--depth-as distance if far is right; `focusfall inspect " +
             frame.depth_file.string() + "` tells more"});
}

// Tells of depths that are no distance and stay so: 0, and what is not a number.
void note_no_distances(loaded_frame& frame, const depth_reading& reading,
                       Image::Component component) {
    const bool is_color = !frame.depth_map && component != Image::Z;
    if (is_color || reading.choices.empty) return;
    const Image& depth = file_depth(frame);
    const bool zero_counts = !reading.controls.inverted &&
                             empty_pixels(depth, component, reading).holds(0.0F, 1.0F);
    std::size_t zeros = 0;
    std::size_t no_numbers = 0;
    for (std::int32_t y = 0; y < depth.Height(); ++y) {
        for (std::int32_t x = 0; x < depth.Width(); ++x) {
            const float value = depth.Pixel(x, y)[component];
            zeros += zero_counts && value == 0.0F ? 1 : 0;
            no_numbers += std::isnan(value) ? 1 : 0;
        }
    }
    const auto tell = [&](std::size_t count, const char* what) {
        if (count == 0) return;
        frame.notes.push_back(
            {frame.depth_file, std::to_string(count) +
                                   (count == 1 ? " pixel has" : " pixels have") + what +
                                   "; --empty-depth far puts them behind everything"});
    };
    tell(zeros, " a depth of 0, which is no distance, and count as nearest of all");
    tell(no_numbers, " a depth that is not a number, and a blur that says nothing");
}

// Tells how far the blur will spread pixels that are not finite.
void note_non_finite(loaded_frame& frame, std::size_t layer,
                     const std::vector<pixel_place>& places,
                     const FrameForecast& forecast) {
    const Image& image = image_of(frame, layer);
    const Image& depth = tool_depth(frame, layer);
    const float widest = static_cast<float>(image.Width()) / 4.0F;
    const auto reached = reach_of(places, image, [&](const pixel_place& at) {
        const float diameter = forecast.blur_of(depth.Pixel(at.x, at.y)[forecast.depth]);
        return std::min(diameter, widest);
    });
    frame.notes.push_back(
        {frame.input_file,
         std::to_string(places.size()) +
             (places.size() == 1 ? " pixel is" : " pixels are") +
             " infinite or not a number, and the blur spreads that to " +
             (reached ? "about " + std::to_string(*reached) : "many more") +
             "; --drop-non-finite leaves them out"});
}

void prepare_light(loaded_frame& frame, const light_choices& light,
                   const FrameForecast& forecast) {
    const bool spreads = forecast.largest_blur > 1.0 && forecast.blur_of;
    for (std::size_t layer = 0; layer <= frame.further.size(); ++layer) {
        Image& image = image_of(frame, layer);
        const std::vector<pixel_place> places = non_finite_pixels(image);
        if (light.drop_non_finite) {
            fill_pixels(image, places);
        } else if (!places.empty() && spreads) {
            note_non_finite(frame, layer, places, forecast);
        }
        if (light.highlights) lift_highlights(image, *light.highlights);
    }
}

}  // namespace

window depth_window(const loaded_frame& frame, Image::Component component,
                    std::size_t layer) {
    const input_picture& input = frame.input;
    if (frame.depth_map) return input.area;
    const auto& depth = layer == 0 ? input.depth : input.further[layer - 1].depth;
    const auto& color = layer == 0 ? input.color : input.further[layer - 1].color;
    const std::size_t part = component == Image::Z && depth ? depth->part : color.part;
    return common(data_window(input.file[part].spec), input.area);
}

depth_reading depth_reading_of(const headless::tool& tool, TimeStamp time,
                               const opened_frame& opened, const load_choices& choices) {
    const depth_controls controls = depth_controls_of(tool, time);
    const input_picture& input = opened.input;
    const bool has_map = !opened.files.depth_map.empty();
    try {
        check_field_of_view(choices.depth);
        if (!choices.depth.changes_values()) {
            return {.choices = choices.depth,
                    .controls = controls,
                    .whole_numbers = opened.depth_is_whole_numbers};
        }
        depth_reading reading =
            reading_of(choices.depth, controls, input.display,
                       input.file[input.color.part].spec.get_float_attribute(
                           "PixelAspectRatio", 1.0F));
        reading.whole_numbers = opened.depth_is_whole_numbers;
        check_scale(reading);
        return reading;
    } catch (const host_error& error) {
        const auto& file = has_map ? opened.files.depth_map : opened.files.input;
        throw host_error(file.string() + ": " + error.what());
    }
}

control_values order_values(const headless::tool& tool, TimeStamp time,
                            const input_picture& input, const depth_reading& reading) {
    control_values values = overscan_scale(tool, time, input.display, input.area);
    if (!reading.choices.changes_values()) return values;
    for (const headless::control* control : tool.controls()) {
        const std::string& id = control->info().id;
        if (id != "FocusPosition") continue;
        const auto in_map = static_cast<float>(control->number(time));
        values[id] = double{reading.mapping.for_tool(in_map)};
    }
    return values;
}

void prepare(loaded_frame& frame, const load_choices& choices,
             const depth_reading& reading, const FrameForecast& forecast) {
    try {
        const light_choices& light = choices.light;
        const bool changes_color = light.drop_non_finite || light.highlights;
        // a colour that is the depth as well keeps its values as depth
        const bool color_is_depth = !frame.depth_map && forecast.depth != Image::Z;
        const bool is_extended =
            color_is_depth && depth_window(frame, forecast.depth) != frame.input.area;
        if (reading.choices.changes_values() || (changes_color && color_is_depth) ||
            is_extended) {
            prepare_depth(frame, reading, forecast.depth);
        }
        frame.reading = reading;
        if (forecast.blur_of) {
            note_direction(frame, reading, forecast.depth);
            note_no_distances(frame, reading, forecast.depth);
        }
        prepare_light(frame, light, forecast);
        prepare_backgrounds(frame, light, reading);
    } catch (const std::bad_alloc&) {
        throw host_error(frame.input_file.string() +
                         ": there is no memory for this picture");
    }
}

headless::render_order order_of(const headless::tool& tool, TimeStamp time,
                                const loaded_frame& frame, std::size_t layer) {
    headless::render_order order{
        .time = time,
        .instead = order_values(tool, time, frame.input, frame.reading),
        .images = {{"Input", &image_of(frame, layer)}}};
    // a tool without a lens may have no such connections
    if (frame.depth_map || !frame.prepared.empty()) {
        order.images["DepthMap"] = &tool_depth(frame, layer);
    }
    if (frame.blur_image) order.images["BlurImage"] = frame.blur_image.get();
    if (!frame.backgrounds.empty()) {
        order.images["Background"] = frame.backgrounds[layer].get();
    }
    return order;
}

void restore_depth(Image& result, const loaded_frame& frame, std::size_t layer) {
    if (frame.prepared.empty()) return;
    const std::vector<float>& own = frame.prepared[layer].in_file;
    const float* depth = (own.empty() ? frame.prepared[0].in_file : own).data();
    for (std::int32_t y = 0; y < result.Height(); ++y) {
        for (std::int32_t x = 0; x < result.Width(); ++x) {
            result.Pixel(x, y)[Image::Z] = *depth++;
        }
    }
}

}  // namespace focusfall
