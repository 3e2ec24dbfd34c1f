#include "pipeline/pictures/picture_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <OpenImageIO/filesystem.h>

#include "host/control.h"
#include "pipeline/pictures/host_images.h"
#include "pipeline/pictures/openexr_header.h"
#include "pipeline/process/output_file.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;
using OIIO::TypeDesc;

[[noreturn]] void fail(const fs::path& file, const std::string& what) {
    // of several faults that the library lists, the first led to the others
    throw headless::host_error(file.string() + ": " + what.substr(0, what.find('\n')));
}

// Opening a pipe would wait for its other end, a folder gives baffling errors.
void expect_regular_file(const fs::path& file) {
    std::error_code error;
    const fs::file_status status = fs::status(file, error);
    if (!fs::exists(status)) fail(file, "there is no such file");
    if (fs::is_directory(status)) fail(file, "is a folder, not a picture");
    if (!fs::is_regular_file(status)) fail(file, "is no regular file");
}

// Bytes of all pixels, or the largest number when they are more than that.
std::uint64_t pixel_bytes(const OIIO::ImageSpec& spec) {
    std::uint64_t bytes = 0;
    return __builtin_mul_overflow(spec.image_pixels(), spec.pixel_bytes(true), &bytes)
               ? UINT64_MAX
               : bytes;
}

// Refuses what is no flat picture or lies beyond all sense, before memory is taken.
void check_header(const OIIO::ImageSpec& spec, const fs::path& file,
                  std::uint64_t most_bytes) {
    if (spec.deep) {
        fail(file,
             "holds deep samples; flatten it first, as by oiiotool IN --flatten -o OUT");
    }
    if (spec.width < 1 || spec.height < 1 || spec.depth > 1 || spec.nchannels < 1) {
        fail(file, "holds no flat picture");
    }
    // within these bounds coordinates can be added to one another
    constexpr std::int64_t FARTHEST = 1 << 29;
    const window bounds{-FARTHEST, -FARTHEST, 2 * FARTHEST, 2 * FARTHEST};
    const window both = united(data_window(spec), display_window(spec));
    if (common(both, bounds) != both) {
        fail(file, "is " + shown(both) + ", which is too large or too far away");
    }
    if (pixel_bytes(spec) > most_bytes) {
        fail(file, "is " + shown(both) + " with " + std::to_string(spec.nchannels) +
                       " channels, which is more than the memory holds");
    }
    std::vector<std::string> names = spec.channelnames;
    std::ranges::sort(names);
    const auto twice = std::ranges::adjacent_find(names);
    if (twice != names.end()) fail(file, "has two channels called \"" + *twice + "\"");
}

// Writes for the file library, some of whose formats overlook what the system refuses.
class checked_writer final : public OIIO::Filesystem::IOProxy {
  public:
    checked_writer(int descriptor, const std::string& name)
        : IOProxy(name, Write), descriptor_(descriptor) {}

    int error_number() const { return error_; }  // of the first fault; 0: none

    // not "file": the library would take this for its own class of that type
    const char* proxytype() const override { return "checked"; }
    std::size_t write(const void* bytes, std::size_t size) override {
        const std::size_t written = pwrite(bytes, size, m_pos);
        m_pos += static_cast<std::int64_t>(written);
        return written;
    }
    std::size_t pwrite(const void* bytes, std::size_t size, std::int64_t at) override {
        std::size_t written = 0;
        while (written < size) {
            const ssize_t more =
                ::pwrite(descriptor_, static_cast<const char*>(bytes) + written,
                         size - written, at + static_cast<std::int64_t>(written));
            if (more < 0 && errno == EINTR) continue;
            if (more <= 0) {
                if (error_ == 0) error_ = more < 0 ? errno : ENOSPC;
                break;
            }
            written += static_cast<std::size_t>(more);
        }
        return written;
    }
    std::size_t size() const override {
        struct stat status {};
        return fstat(descriptor_, &status) == 0 ? static_cast<std::size_t>(status.st_size)
                                                : 0;
    }

  private:
    int descriptor_;
    int error_ = 0;
};

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

// Formats whose whole numbers may have 16 bits.
bool holds_words(const OIIO::ImageOutput& output) {
    const std::string format = output.format_name();
    return format == "png" || format == "tiff" || format == "dpx" || format == "pnm" ||
           format == "sgi" || format == "jpeg2000";
}

constexpr Image::Component STORED_ORDER[] = {Image::RED, Image::GREEN, Image::BLUE,
                                             Image::ALPHA, Image::Z};

void write_encoded(const Image& image, const fs::path& file, TypeDesc type) {
    const int channels = holds_alpha(file) ? 4 : 3;
    OIIO::ImageSpec spec(image.Width(), image.Height(), channels, type);
    spec.attribute("oiio:UnassociatedAlpha", 1);
    spec.attribute("oiio:ColorSpace", "sRGB");

    const window area{0, 0, image.Width(), image.Height()};
    const Owned<Image> encoded = cropped(image, area, area);
    encode_image(*encoded, color_encoding::srgb(), channels == 4);
    bound_image(*encoded);
    picture parts;
    parts.push_back(empty_part(std::move(spec)));
    for (std::size_t i = 0; i < static_cast<std::size_t>(channels); ++i) {
        store_component(*encoded, STORED_ORDER[i], parts[0], i);
    }
    write_picture(parts, file);
}

void write_linear(const Image& image, const fs::path& file, TypeDesc type) {
    const bool with_z = holds_named_channels(file);
    const int channels = with_z ? 5 : holds_alpha(file) ? 4 : 3;
    OIIO::ImageSpec spec(image.Width(), image.Height(), channels, type);
    if (with_z) {
        spec.channelnames = {"R", "G", "B", "A", "Z"};
        spec.channelformats.assign(4, type);
        spec.channelformats.push_back(TypeDesc::FLOAT);
        spec.z_channel = 4;
    }
    picture parts;
    parts.push_back(empty_part(std::move(spec)));
    for (std::size_t i = 0; i < static_cast<std::size_t>(channels); ++i) {
        store_component(image, STORED_ORDER[i], parts[0], i);
    }
    write_picture(parts, file);
}

// False when the library finds a fault, which it keeps.
bool write_parts(OIIO::ImageOutput& output, const picture& parts,
                 const std::string& name) {
    std::vector<OIIO::ImageSpec> specs;
    for (const picture_part& part : parts) specs.push_back(part.spec);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const bool opened =
            i > 0 ? output.open(name, specs[i], OIIO::ImageOutput::AppendSubimage)
            : specs.size() > 1
                ? output.open(name, static_cast<int>(specs.size()), specs.data())
                : output.open(name, specs[0]);
        const TypeDesc type = specs[i].channelformats.empty()
                                  ? specs[i].format
                                  : TypeDesc(TypeDesc::UNKNOWN);
        if (!opened || !output.write_image(type, parts[i].pixels.get())) return false;
    }
    return true;
}

}  // namespace

picture_part empty_part(OIIO::ImageSpec spec) {
    const std::size_t bytes = spec.image_bytes(true);
    return {std::move(spec), std::make_unique_for_overwrite<std::byte[]>(bytes)};
}

picture read_picture(const fs::path& file, std::uint64_t most_bytes,
                     const std::function<void(const picture&)>& look) {
    expect_regular_file(file);
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);  // multiplied once colours are linear
    // by its name: else each of many readers would try what one of them refuses
    const auto input = OIIO::ImageInput::create(file.string());
    if (!input) fail(file, OIIO::geterror());
    const bool is_openexr = std::string(input->format_name()) == "openexr";
    if (is_openexr) check_openexr_header(file, most_bytes);
    OIIO::ImageSpec first;
    if (!input->open(file.string(), first, config)) fail(file, input->geterror());

    picture parts;
    do {
        check_header(input->spec(), file, most_bytes);
        most_bytes -= pixel_bytes(input->spec());
        parts.push_back({input->spec(), nullptr});
    } while (is_openexr && input->seek_subimage(static_cast<int>(parts.size()), 0));
    if (look) look(parts);

    for (std::size_t i = 0; i < parts.size(); ++i) {
        parts[i] = empty_part(std::move(parts[i].spec));
        if (!input->read_image(static_cast<int>(i), 0, 0, parts[i].spec.nchannels,
                               TypeDesc::UNKNOWN, parts[i].pixels.get())) {
            fail(file, input->geterror());
        }
    }
    return parts;
}

void write_picture(const picture& parts, const fs::path& file) {
    const auto output = writer_for(file);
    output_file target(file);
    checked_writer writer(target.descriptor(), target.temporary_name().string());
    // TIFF, which reads back what it writes, finds faults by itself
    const bool checked =
        output->supports("ioproxy") > 0 && std::string(output->format_name()) != "tiff";
    if (checked) output->set_ioproxy(&writer);

    const bool written = write_parts(*output, parts, writer.filename());
    const bool closed = output->close();
    if (writer.error_number() != 0) {
        fail(file,
             std::string("can not be written: ") + std::strerror(writer.error_number()));
    }
    if (!written || !closed) fail(file, output->geterror());
    target.commit();
}

bool holds_named_channels(const fs::path& file) {
    const auto output = writer_for(file);
    return output->supports("channelformats") > 0 && output->supports("nchannels") > 0;
}

bool holds_alpha(const fs::path& file) {
    const auto output = writer_for(file);
    return output->supports("alpha") > 0 && std::string(output->format_name()) != "hdr";
}

TypeDesc stored_type(const fs::path& file, TypeDesc type) {
    const auto output = writer_for(file);
    if (holds_floats(*output)) return type;
    return type.size() == 1 || !holds_words(*output) ? TypeDesc::UINT8 : TypeDesc::UINT16;
}

void write_image(const Image& image, const fs::path& file, TypeDesc type) {
    const TypeDesc stored = stored_type(file, type);
    if (stored.is_floating_point()) {
        write_linear(image, file, stored);
    } else {
        write_encoded(image, file, stored);
    }
}

void write_preview(const Image& image, const fs::path& file) {
    write_encoded(image, file, TypeDesc::UINT8);
}

}  // namespace focusfall
