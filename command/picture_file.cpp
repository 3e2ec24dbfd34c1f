#include "command/picture_file.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "command/color_encoding.h"
#include "command/output_file.h"
#include "host/control.h"

namespace {

namespace fs = std::filesystem;
using OIIO::TypeDesc;

[[noreturn]] void fail(const fs::path& file, std::string what) {
    while (what.ends_with('\n')) what.pop_back();
    throw headless::host_error(file.string() + ": " + what);
}

// Opening a pipe would wait for its other end, a folder gives baffling errors.
void expect_regular_file(const fs::path& file) {
    std::error_code error;
    const fs::file_status status = fs::status(file, error);
    if (!fs::exists(status)) fail(file, "there is no such file");
    if (fs::is_directory(status)) fail(file, "is a folder, not a picture");
    if (!fs::is_regular_file(status)) fail(file, "is no regular file");
}

picture_part read_part(OIIO::ImageInput& input, const fs::path& file) {
    picture_part part{input.spec(), {}};
    const OIIO::ImageSpec& spec = part.spec;
    if (spec.deep) {
        fail(file,
             "holds deep samples; flatten it first, as by oiiotool IN --flatten -o OUT");
    }
    if (spec.width < 1 || spec.height < 1 || spec.depth > 1 || spec.nchannels < 1) {
        fail(file, "holds no flat picture");
    }
    part.pixels.resize(spec.image_bytes(true));
    if (!input.read_image(input.current_subimage(), 0, 0, spec.nchannels,
                          TypeDesc::UNKNOWN, part.pixels.data())) {
        fail(file, input.geterror());
    }
    return part;
}

std::unique_ptr<OIIO::ImageOutput> writer_for(const fs::path& file) {
    auto output = OIIO::ImageOutput::create(file.string());
    if (!output) {
        OIIO::geterror();
        fail(file, "no picture format has this ending; try .exr, .png, .tif or .jpg");
    }
    return output;
}

bool holds_floats(const OIIO::ImageOutput& output) {
    const std::string format = output.format_name();
    return format == "openexr" || format == "tiff" || format == "hdr";
}

// One pixel as a display format stores it: colour that is not multiplied by alpha,
// encoded; what is no number becomes black.
void encode_pixel(const float* pixel, const color_encoding& encoding, float* stored) {
    const float alpha = pixel[Image::ALPHA];
    const float divisor = alpha > 0.0F ? alpha : 1.0F;
    const Image::Component order[] = {Image::RED, Image::GREEN, Image::BLUE};
    for (const Image::Component component : order) {
        const float value = encoding.encoded(pixel[component] / divisor);
        *stored++ = std::isnan(value) ? 0.0F : std::clamp(value, 0.0F, 1.0F);
    }
    *stored = std::isnan(alpha) ? 0.0F : std::clamp(alpha, 0.0F, 1.0F);
}

void write_encoded(const Image& image, const fs::path& file, TypeDesc type,
                   int channels) {
    picture_part part;
    part.spec = OIIO::ImageSpec(image.Width(), image.Height(), channels, type);
    part.spec.attribute("oiio:UnassociatedAlpha", 1);
    part.spec.attribute("oiio:ColorSpace", "sRGB");
    const auto per_pixel = static_cast<std::size_t>(channels);
    std::vector<float> stored(part.spec.image_pixels() * per_pixel);
    const color_encoding encoding = color_encoding::srgb();
    float* next = stored.data();
    for (std::int32_t y = 0; y < image.Height(); ++y) {
        for (std::int32_t x = 0; x < image.Width(); ++x) {
            float pixel[4];
            encode_pixel(image.Pixel(x, y), encoding, pixel);
            next = std::copy_n(pixel, per_pixel, next);
        }
    }
    part.pixels.resize(part.spec.image_bytes());
    OIIO::convert_pixel_values(TypeDesc::FLOAT, stored.data(), type, part.pixels.data(),
                               static_cast<int>(stored.size()));
    write_picture({part}, file);
}

void write_linear(const Image& image, const fs::path& file, TypeDesc type, bool with_z) {
    const int channels = with_z ? 5 : 4;
    picture_part part;
    part.spec = OIIO::ImageSpec(image.Width(), image.Height(), channels, type);
    if (with_z) {
        part.spec.channelnames = {"R", "G", "B", "A", "Z"};
        part.spec.channelformats.assign(4, type);
        part.spec.channelformats.push_back(TypeDesc::FLOAT);
        part.spec.z_channel = 4;
    }
    const Image::Component order[] = {Image::RED, Image::GREEN, Image::BLUE, Image::ALPHA,
                                      Image::Z};
    const auto stride = static_cast<OIIO::stride_t>(part.spec.pixel_bytes(true));
    part.pixels.resize(part.spec.image_bytes(true));
    std::byte* stored = part.pixels.data();
    for (int i = 0; i < channels; ++i) {
        OIIO::convert_image(
            1, image.Width(), image.Height(), 1, image.Pixel(0, 0) + order[i],
            TypeDesc::FLOAT,
            static_cast<OIIO::stride_t>(sizeof(float)) * image.Components(),
            OIIO::AutoStride, OIIO::AutoStride, stored, part.spec.channelformat(i),
            stride, OIIO::AutoStride, OIIO::AutoStride);
        stored += part.spec.channelformat(i).size();
    }
    write_picture({part}, file);
}

}  // namespace

picture read_picture(const fs::path& file) {
    expect_regular_file(file);
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);  // multiplied once colours are linear
    const auto input = OIIO::ImageInput::open(file.string(), &config);
    if (!input) fail(file, OIIO::geterror());
    picture parts;
    const bool all_parts = std::string(input->format_name()) == "openexr";
    do {
        parts.push_back(read_part(*input, file));
    } while (all_parts && input->seek_subimage(static_cast<int>(parts.size()), 0));
    return parts;
}

void write_picture(const picture& parts, const fs::path& file) {
    const auto output = writer_for(file);
    output_file target(file);
    const std::string name = target.temporary_name().string();
    std::vector<OIIO::ImageSpec> specs;
    for (const picture_part& part : parts) specs.push_back(part.spec);

    for (std::size_t i = 0; i < parts.size(); ++i) {
        const bool opened =
            i > 0 ? output->open(name, specs[i], OIIO::ImageOutput::AppendSubimage)
            : specs.size() > 1
                ? output->open(name, static_cast<int>(specs.size()), specs.data())
                : output->open(name, specs[0]);
        if (!opened) fail(file, output->geterror());
        const TypeDesc type = specs[i].channelformats.empty()
                                  ? specs[i].format
                                  : TypeDesc(TypeDesc::UNKNOWN);
        if (!output->write_image(type, parts[i].pixels.data())) {
            fail(file, output->geterror());
        }
    }
    if (!output->close()) fail(file, output->geterror());
    target.commit();
}

bool holds_named_channels(const fs::path& file) {
    const auto output = writer_for(file);
    return output->supports("channelformats") > 0 && output->supports("nchannels") > 0;
}

void write_image(const Image& image, const fs::path& file, TypeDesc type) {
    const auto output = writer_for(file);
    if (holds_floats(*output)) {
        write_linear(image, file, type, holds_named_channels(file));
    } else {
        write_encoded(image, file, TypeDesc::UINT16, output->supports("alpha") ? 4 : 3);
    }
}

void write_preview(const Image& image, const fs::path& file) {
    const auto output = writer_for(file);
    write_encoded(image, file, TypeDesc::UINT8, output->supports("alpha") ? 4 : 3);
}
