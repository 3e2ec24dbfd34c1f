#include "pipeline/pictures/picture_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <OpenImageIO/filesystem.h>

#include "host/error.h"
#include "pipeline/pictures/deep_picture.h"
#include "pipeline/pictures/file_windows.h"
#include "pipeline/pictures/luminance_chroma.h"
#include "pipeline/pictures/openexr_header.h"
#include "pipeline/pictures/picture_format.h"
#include "pipeline/process/output_file.h"

namespace focusfall {

namespace {

namespace fs = std::filesystem;
using OIIO::TypeDesc;

[[noreturn]] void fail(const fs::path& file, const std::string& what) {
    // of several faults that the library lists, the first led to the others
    throw headless::host_error(file.string() + ": " + what.substr(0, what.find('\n')));
}

// What the library for picture files says of a file that it refuses.
[[noreturn]] void fail_to_read(const fs::path& file, const std::string& fault) {
    fail(file, "cannot be read, and may be damaged or cut off" +
                   (fault.empty() ? "" : ": " + fault));
}

// Opening a pipe would wait for its other end, a folder gives baffling errors.
void expect_regular_file(const fs::path& file) {
    std::error_code error;
    const fs::file_status status = fs::status(file, error);
    if (status.type() == fs::file_type::none) {
        fail(file, "cannot be read: " + error.message());
    }
    if (!fs::exists(status)) fail(file, "there is no such file");
    if (fs::is_directory(status)) fail(file, "is a folder, not a picture");
    if (!fs::is_regular_file(status)) fail(file, "is not a regular file");
    if (faccessat(AT_FDCWD, file.c_str(), R_OK, AT_EACCESS) != 0) {
        fail(file, std::string("cannot be read: ") + std::strerror(errno));
    }
}

// Bytes of all pixels, or the largest number when they are more than that.
std::uint64_t pixel_bytes(const OIIO::ImageSpec& spec) {
    std::uint64_t bytes = 0;
    return __builtin_mul_overflow(spec.image_pixels(), spec.pixel_bytes(true), &bytes)
               ? UINT64_MAX
               : bytes;
}

// Refuses empty pictures and windows beyond all sense, before memory is taken.
void check_header(const OIIO::ImageSpec& spec, const fs::path& file,
                  std::uint64_t max_bytes) {
    if (spec.width < 1 || spec.height < 1 || spec.depth > 1 || spec.nchannels < 1) {
        fail(file, "does not hold a flat picture");
    }
    // within these bounds coordinates can be added to one another
    constexpr std::int64_t FARTHEST = 1 << 29;
    const window bounds{-FARTHEST, -FARTHEST, 2 * FARTHEST, 2 * FARTHEST};
    const window both = united(data_window(spec), display_window(spec));
    if (common(both, bounds) != both) {
        fail(file, "is " + shown(both) + ", which is too large or too far away");
    }
    if (pixel_bytes(spec) > max_bytes) {
        fail(file, "is " + shown(both) + " with " + std::to_string(spec.nchannels) +
                       " channels, which is more than the memory holds");
    }
    std::vector<std::string> names = spec.channelnames;
    std::ranges::sort(names);
    const auto twice = std::ranges::adjacent_find(names);
    if (twice != names.end()) fail(file, "has two channels called \"" + *twice + "\"");
}

// The six sides of a cube map lie below one another in one picture, of which the library
// calls one the whole.
OIIO::ImageSpec with_whole_cube(OIIO::ImageSpec spec) {
    if (spec.get_string_attribute("textureformat") == "CubeFace Environment") {
        spec.full_width = spec.width;
        spec.full_height = spec.height;
    }
    return spec;
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

// Opens the output for part `part` of all parts.
bool open_part(OIIO::ImageOutput& output, const std::string& name,
               const std::vector<OIIO::ImageSpec>& specs, std::size_t part) {
    if (part > 0) {
        return output.open(name, specs[part], OIIO::ImageOutput::AppendSubimage);
    }
    // formats without parts refuse even a list of one
    if (specs.size() == 1) return output.open(name, specs[0]);
    return output.open(name, static_cast<int>(specs.size()), specs.data());
}

// False when the library finds a fault, which it keeps.
bool write_parts(OIIO::ImageOutput& output, const picture& parts,
                 const std::string& name) {
    std::vector<OIIO::ImageSpec> specs;
    for (const picture_part& part : parts) specs.push_back(part.spec);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (!open_part(output, name, specs, i)) return false;
        // unknown: each channel has a type of its own
        const TypeDesc type = specs[i].channelformats.empty()
                                  ? specs[i].format
                                  : TypeDesc(TypeDesc::UNKNOWN);
        if (!output.write_image(type, parts[i].pixels.get())) return false;
    }
    return true;
}

}  // namespace

picture_reader::picture_reader(fs::path file, std::uint64_t max_bytes)
    : file_(std::move(file)) {
    expect_regular_file(file_);
    // by its name: else each of many readers would try what one of them refuses
    input_ = OIIO::ImageInput::create(file_.string());
    if (!input_) {
        OIIO::geterror();  // or the library would keep it for the next fault
        fail(file_,
             "is no picture of a kind that is read, as OpenEXR, PNG, TIFF, JPEG, DPX and "
             "HDR are");
    }
    const bool is_openexr = std::string(input_->format_name()) == "openexr";
    if (is_openexr) lost_ = checked_openexr_header(file_, max_bytes);
    open(is_openexr, max_bytes);
    do {
        const OIIO::ImageSpec& spec = input_->spec();
        deep_.push_back(spec.deep);
        specs_.push_back(spec.deep ? flat_header(spec) : with_whole_cube(spec));
        check_header(specs_.back(), file_, max_bytes);
        max_bytes -= pixel_bytes(specs_.back());
    } while (is_openexr && input_->seek_subimage(static_cast<int>(specs_.size()), 0));
    if (std::ranges::count(deep_, true) == 0) return;
    note_ =
        "is deep and was flattened: each pixel has the depth of its front surface, "
        "and samples behind it are not blurred by their own depths";
}

void picture_reader::open(bool is_openexr, std::uint64_t max_bytes) {
    if (is_openexr && is_luminance_chroma(file_)) {
        memory_ = std::make_unique<memory_file>(as_rgb_file(file_, max_bytes));
        input_->set_ioproxy(&memory_->reader);
        note_ = "is luminance with small chroma, and is taken as R, G and B";
    }
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);  // multiplied once colours are linear
    OIIO::ImageSpec first;
    if (!input_->open(file_.string(), first, config)) {
        fail_to_read(file_, input_->geterror());
    }
}

picture picture_reader::headers() const {
    picture parts;
    for (const OIIO::ImageSpec& spec : specs_) parts.push_back({spec, nullptr});
    return parts;
}

picture picture_reader::read(std::size_t halved, deep_halves* halves) {
    picture parts;
    for (std::size_t i = 0; i < specs_.size(); ++i) {
        parts.push_back(empty_part(specs_[i]));
        const int part = static_cast<int>(i);
        const bool is_read =
            deep_[i]
                ? read_flattened(*input_, part, parts[i], i == halved ? halves : nullptr)
                : input_->read_image(part, 0, 0, specs_[i].nchannels, TypeDesc::UNKNOWN,
                                     parts[i].pixels.get());
        if (!is_read) fail_to_read(file_, input_->geterror());
    }
    input_.reset();
    memory_.reset();
    return parts;
}

picture read_picture(const fs::path& file, std::uint64_t max_bytes) {
    return picture_reader(file, max_bytes).read();
}

void write_picture(const picture& parts, const fs::path& file) {
    OIIO::attribute("debug", 0);  // or it prints what it leaves out
    auto known = writer_for(file);
    output_file target(file);
    checked_writer writer(target.descriptor(), target.temporary_name().string());
    const auto output = std::move(known);  // goes first: it may write until then
    // TIFF, which reads back what it writes, finds faults by itself
    const bool checked =
        output->supports("ioproxy") > 0 && std::string(output->format_name()) != "tiff";
    if (checked) output->set_ioproxy(&writer);

    const bool written = write_parts(*output, parts, writer.filename());
    const bool closed = output->close();
    if (writer.error_number() != 0) {
        fail(file,
             std::string("cannot be written: ") + std::strerror(writer.error_number()));
    }
    if (!written || !closed) fail(file, "cannot be written: " + output->geterror());
    target.commit();
}

}  // namespace focusfall
