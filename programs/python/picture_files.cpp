#include "programs/python/picture_files.h"

#include <atomic>
#include <utility>

#include "host/error.h"
#include "pipeline/inspection/inspection.h"
#include "pipeline/pictures/host_image.h"
#include "pipeline/pictures/picture_file.h"
#include "pipeline/process/memory_limit.h"
#include "pipeline/shots/frame_preparation.h"
#include "pipeline/shots/header_lens.h"
#include "pipeline/shots/render_forecast.h"
#include "programs/python/interruptible.h"
#include "programs/python/options.h"

namespace focusfall {

namespace {

using headless::host_error;

// Work on files: nothing ends it early, so that files are whole; Ctrl-C counts
// afterwards.
void run_to_its_end(const std::function<void()>& work) {
    run_interruptibly(
        work, [] {}, [] {});
}

const std::atomic<bool> NEVER_STOPPED = false;

frame_files files_in(const json& given) {
    frame_files files;
    files.input = given.value("input", "");
    files.depth_map = given.value("depth_map", "");
    return files;
}

py::tuple tuple_of(const window& w) {
    return py::make_tuple(w.x, w.y, w.width, w.height);
}

// A frame whose one layer was read as a render would.
struct read_frame {
    loaded_frame loaded;
    Image::Component component = Image::Z;  // of the depth
    bool has_depth = false;
};

read_frame frame_read(const headless::tool& tool, TimeStamp time, const json& given) {
    const load_choices choices = load_choices_of(given.value("read", json::object()));
    const frame_files files = files_in(given);
    frame_loader loader(choices, available_memory());
    const bool by_z = tool.forecast({.time = time}, {}).depth == Image::Z;
    opened_frame opened = loader.open(files, by_z && !files.depth_map.empty());
    if (!opened.input.further.empty()) {
        throw host_error(
            files.input.string() +
            ": several layers do not fit into one array; read one at a time");
    }
    const depth_reading reading = depth_reading_of(tool, time, opened, choices);
    const FrameForecast forecast = forecast_of(tool, time, opened, reading);
    read_frame frame{.loaded = loader.load(std::move(opened)),
                     .component = forecast.depth};
    frame.has_depth = frame.loaded.depth_map || (by_z && frame.loaded.input.depth);
    prepare(frame.loaded, choices, reading, forecast);
    return frame;
}

// How the arrays are stored where no file says it.
picture plain_picture(Image& image, bool has_alpha, bool has_depth,
                      const picture_format& format, const output_choices& choices) {
    using OIIO::TypeDesc;
    const TypeDesc type = format.nearest_type(
        choices.type == TypeDesc::UNKNOWN ? TypeDesc::HALF : choices.type);
    const bool with_alpha = has_alpha && format.has_alpha;
    const bool with_depth = has_depth && format.has_named_channels;
    OIIO::ImageSpec spec(image.Width(), image.Height(), with_alpha ? 4 : 3, type);
    if (with_depth) {
        ++spec.nchannels;
        spec.channelnames.emplace_back("Z");
        spec.channelformats.assign(spec.channelnames.size() - 1, type);
        spec.channelformats.push_back(TypeDesc::FLOAT);
    }
    const bool light = type.is_floating_point();
    const color_encoding encoding = choices.encoding.value_or(
        light ? color_encoding::linear() : color_encoding::srgb());
    encode_image(image, encoding, !light && with_alpha);
    if (!light) clamp_image(image);
    spec.attribute("oiio:ColorSpace", encoding.name());
    if (!light) spec.attribute("oiio:UnassociatedAlpha", 1);
    if (!choices.compression.empty()) spec.attribute("compression", choices.compression);

    picture file;
    file.push_back(empty_part(std::move(spec)));
    std::vector<Image::Component> order{Image::RED, Image::GREEN, Image::BLUE};
    if (with_alpha) order.push_back(Image::ALPHA);
    if (with_depth) order.push_back(Image::Z);
    for (std::size_t i = 0; i < order.size(); ++i) {
        store_component(image, order[i], file[0], i);
    }
    return file;
}

// The picture in `like` with other colours, and another depth if there is one.
picture picture_like(const std::string& like, Image& image, bool has_depth,
                     const picture_format& format, const output_choices& choices,
                     const load_choices& load) {
    frame_loader loader(load, available_memory());
    frame_files files;
    files.input = like;
    loaded_frame frame = loader.load(loader.open(files, false));
    const window& area = frame.input.area;
    if (area.width != image.Width() || area.height != image.Height()) {
        throw host_error(like + ": is " + std::to_string(area.width) + " x " +
                         std::to_string(area.height) + ", the picture to write is " +
                         std::to_string(image.Width()) + " x " +
                         std::to_string(image.Height()));
    }
    for (std::int32_t y = 0; y < image.Height() && !has_depth; ++y) {
        for (std::int32_t x = 0; x < image.Width(); ++x) {
            image.Pixel(x, y)[Image::Z] = frame.image->Pixel(x, y)[Image::Z];
        }
    }
    return result_picture(frame.input, image, area, format, choices, "");
}

inspection_order inspection_in(const json& given) {
    inspection_order order;
    order.files = files_in(given);
    order.load = load_choices_of(given.at("read"));
    for (const json& place : given.at("at")) {
        order.pixels.push_back({.frame = {},
                                .x = place.at(0).get<std::int64_t>(),
                                .y = place.at(1).get<std::int64_t>()});
    }
    const std::string focus = given.value("focus_at", "");
    if (!focus.empty()) order.focus = parse_focus_points(focus);
    order.has_settings = given.value("has_settings", false);
    order.max_bytes = available_memory();
    return order;
}

inspection inspected_by(headless::tool& tool, const json& given) {
    const inspection_order order = inspection_in(given);
    std::string lens;
    if (given.value("lens_from_header", false)) {
        shot_options shot;
        shot.input = order.files.input.string();
        shot.load = order.load;
        lens = set_lens(tool, shot, {});
    }
    inspection found = inspect(order, &tool);
    if (!found.fault.empty()) throw host_error(found.fault);
    found.lens = lens;
    return found;
}

}  // namespace

py::dict read_arrays(python_tool& tool, const py::dict& options, double time) {
    const json given = json_of_object(options, "read");
    read_frame frame;
    run_to_its_end([&] {
        frame = frame_read(tool.tool(), time, given);
        if (frame.component == Image::Z)
            swap_red_and_blue({tool.host(), NEVER_STOPPED}, *frame.loaded.image);
    });
    loaded_frame& loaded = frame.loaded;
    py::dict arrays;
    arrays["depth"] = py::none();
    if (frame.has_depth) {
        arrays["depth"] = plane_of(Shared(&tool_depth(loaded)), frame.component);
    }
    arrays["area"] = tuple_of(loaded.input.area);
    arrays["display"] = tuple_of(loaded.input.display);
    py::list notes;
    for (const auto& [file, text] : loaded.notes) {
        notes.append(object_of_json(file.string() + ": " + text));
    }
    arrays["notes"] = notes;
    arrays["color"] = array_of(std::move(loaded.image), Image::ALPHA + 1);
    return arrays;
}

void write_arrays(python_tool& tool, const py::dict& options, const py::object& array,
                  const py::object& depth) {
    const json given = json_of_object(options, "write");
    const array_view view = picture_view(array, "picture");
    const bool has_plane = !depth.is_none();
    const array_view plane = has_plane ? plane_view(depth, "depth", view) : array_view{};
    const auto output = given.at("output").get<std::string>();
    const auto like = given.value("like", "");
    const output_choices choices = output_choices_of(given.at("write"));
    const load_choices load = load_choices_of(given.at("read"));
    if (!choices.diameter_channel.empty()) {
        throw host_error("diameter_channel: is for render_shot, which knows the lens");
    }
    run_to_its_end([&] {
        const picture_format format = output_format(output);
        if (format.has_named_channels) check_compression(choices.compression);
        const row_workers workers{tool.host(), NEVER_STOPPED};
        const Owned<Image> image = tool_picture(workers, view);
        if (has_plane) load_depth(workers, plane, *image);
        const bool has_depth = has_plane || view.channels > Image::Z;
        write_picture(like.empty()
                          ? plain_picture(*image, view.channels > Image::ALPHA, has_depth,
                                          format, choices)
                          : picture_like(like, *image, has_depth, format, choices, load),
                      output);
    });
}

py::object inspect_file(python_tool& tool, const py::dict& options) {
    const json given = json_of_object(options, "inspect");
    json found;
    run_to_its_end([&] { found = json_of(inspected_by(tool.tool(), given)); });
    return object_of_json(found);
}

}  // namespace focusfall
