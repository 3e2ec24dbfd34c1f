#include "pipeline/pictures/camera_attributes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

namespace focusfall {

namespace {

using OIIO::ParamValue;
using OIIO::TypeDesc;

constexpr double MM_PER_METER = 1000.0;
constexpr double MM_PER_INCH = 25.4;
// A film is never as narrow in millimetres, nor as wide in inches.
constexpr double LARGEST_FILM_IN_INCHES = 3.0;
// Renderers write numbers of this size for "none".
constexpr double FARTHEST_FOCUS = 1e9;

// The first number in a text such as "35 mm" or "(1.41732, 0.94488)".
std::optional<double> first_number(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" ([{"), text.size()));
    double value = 0.0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    return read.ec == std::errc() ? std::optional(value) : std::nullopt;
}

template <class Number>
std::vector<double> as_doubles(const ParamValue& attribute) {
    const auto count = attribute.datasize() / static_cast<int>(sizeof(Number));
    const auto* numbers = static_cast<const Number*>(attribute.data());
    return std::vector<double>(numbers, numbers + count);
}

// The numbers of an attribute; a text counts as the first number in it.
std::vector<double> numbers_in(const ParamValue& attribute) {
    const TypeDesc type = attribute.type();
    std::vector<double> numbers;
    switch (type.basetype) {
        case TypeDesc::FLOAT: numbers = as_doubles<float>(attribute); break;
        case TypeDesc::DOUBLE: numbers = as_doubles<double>(attribute); break;
        case TypeDesc::INT: numbers = as_doubles<std::int32_t>(attribute); break;
        case TypeDesc::UINT: numbers = as_doubles<std::uint32_t>(attribute); break;
        case TypeDesc::STRING:
            if (const auto first = first_number(attribute.get_string())) {
                numbers.push_back(*first);
            }
            break;
        default: break;
    }
    if (type.vecsemantics == TypeDesc::RATIONAL && numbers.size() == 2) {
        return {numbers[0] / numbers[1]};
    }
    return numbers;
}

// The attributes of a header, without what Nuke puts before the names of others.
class header {
  public:
    explicit header(const OIIO::ImageSpec& spec) : spec_(spec) {
        for (const ParamValue& attribute : spec.extra_attribs) {
            std::string_view name = attribute.name().c_str();
            for (const std::string_view prefix : {"nuke/", "exr/", "openexr:"}) {
                if (name.starts_with(prefix)) name.remove_prefix(prefix.size());
            }
            numbers_.emplace(name, numbers_in(attribute));
        }
    }

    std::optional<double> number(const std::string& name, std::size_t index = 0) const {
        const auto found = numbers_.find(name);
        if (found == numbers_.end() || found->second.size() <= index) return std::nullopt;
        const double value = found->second[index];
        return std::isfinite(value) && value > 0.0 ? std::optional(value) : std::nullopt;
    }
    int pixels_across() const { return spec_.full_width; }
    // Whether it is one of OpenEXR, where this attribute must be.
    bool is_openexr() const { return spec_.find_attribute("screenWindowWidth"); }

  private:
    const OIIO::ImageSpec& spec_;
    std::map<std::string, std::vector<double>, std::less<>> numbers_;
};

// A name of an attribute, and what makes its number one of the wanted unit.
struct known_attribute {
    const char* name;
    double (*wanted)(double stored);  // null: as it is
};

template <std::size_t N>
std::optional<camera_value> first_of(const header& attributes,
                                     const std::array<known_attribute, N>& known) {
    for (const auto& [name, wanted] : known) {
        const auto stored = attributes.number(name);
        if (!stored) continue;
        const double value = wanted ? wanted(*stored) : *stored;
        if (std::isfinite(value) && value > 0.0) return camera_value{value, name};
    }
    return std::nullopt;
}

std::optional<camera_value> focal_length(const header& attributes) {
    constexpr std::array<known_attribute, 8> KNOWN{{{"effectiveFocalLength", nullptr},
                                                    {"pinholeFocalLength", nullptr},
                                                    {"nominalFocalLength", nullptr},
                                                    {"focalLength", nullptr},
                                                    {"cameraFocalLength", nullptr},
                                                    {"CameraFocalLength", nullptr},
                                                    {"Exif:FocalLength", nullptr},
                                                    {"Lens", nullptr}}};
    return first_of(attributes, KNOWN);
}

std::optional<camera_value> f_stop(const header& attributes) {
    // the picture library calls OpenEXR's "aperture" so, as photographs do
    const auto from_apex = [](double value) { return std::exp2(value / 2.0); };
    const std::array<known_attribute, 6> known{{{"FNumber", nullptr},
                                                {"aperture", nullptr},
                                                {"Exif:FNumber", nullptr},
                                                {"cameraFNumber", nullptr},
                                                {"Exif:ApertureValue", from_apex},
                                                {"tStop", nullptr}}};
    std::optional<camera_value> found = first_of(attributes, known);
    if (found && found->attribute == known[0].name && attributes.is_openexr()) {
        found->attribute = "aperture";
    }
    return found;
}

// The width of the sensor by the pitch of a photograph's pixels.
std::optional<camera_value> width_by_pitch(const header& attributes) {
    const char* const name = "Exif:FocalPlaneXResolution";
    const auto pixels_per_unit = attributes.number(name);
    if (!pixels_per_unit) return std::nullopt;
    constexpr double CENTIMETRE = 3.0;  // of the unit's attribute; else inches
    const bool in_cm = attributes.number("Exif:FocalPlaneResolutionUnit") == CENTIMETRE;
    const auto stored_width = attributes.number("Exif:PixelXDimension");
    const double pixels = stored_width.value_or(attributes.pixels_across());
    return camera_value{pixels / *pixels_per_unit * (in_cm ? 10.0 : MM_PER_INCH), name};
}

std::optional<camera_value> filmback_width(const header& attributes) {
    const auto left = attributes.number("sensorAcquisitionRectangle", 2);
    const auto pitch = attributes.number("sensorPhotositePitch");
    if (left && pitch) {
        // the rectangle begins at its number 0, which may be 0 itself
        const double first =
            attributes.number("sensorAcquisitionRectangle", 0).value_or(0.0);
        constexpr double MICROMETRES_PER_MM = 1000.0;
        return camera_value{(*left - first + 1.0) * *pitch / MICROMETRES_PER_MM,
                            "sensorAcquisitionRectangle"};
    }
    const auto from_inches = [](double value) {
        return value < LARGEST_FILM_IN_INCHES ? value * MM_PER_INCH : value;
    };
    const std::array<known_attribute, 4> known{
        {{"sensorOverallDimensions", nullptr},
         {"cameraAperture", nullptr},
         {"CameraFilmApertureHorizontal", from_inches},
         {"rs/camera/aperture", from_inches}}};
    if (const auto found = first_of(attributes, known)) return found;
    if (const auto found = width_by_pitch(attributes)) return found;

    // by the focal length that would see as much on 36 mm
    const auto focal = attributes.number("Exif:FocalLength");
    const auto on_35mm = attributes.number("Exif:FocalLengthIn35mmFilm");
    if (!focal || !on_35mm) return std::nullopt;
    constexpr double FILM_35MM = 36.0;
    return camera_value{FILM_35MM * *focal / *on_35mm, "Exif:FocalLengthIn35mmFilm"};
}

std::optional<camera_value> focus_distance(const header& attributes) {
    const auto from_metres = [](double value) { return value * MM_PER_METER; };
    const std::array<known_attribute, 2> known{
        {{"focus", from_metres}, {"Exif:SubjectDistance", from_metres}}};
    const auto found = first_of(attributes, known);
    return found && found->value < FARTHEST_FOCUS ? found : std::nullopt;
}

std::optional<camera_value> focus_depth(const header& attributes) {
    constexpr std::array<known_attribute, 2> KNOWN{
        {{"cameraTargetDistance", nullptr}, {"rs/camera/DOFFocusDistance", nullptr}}};
    const auto found = first_of(attributes, KNOWN);
    return found && found->value < FARTHEST_FOCUS ? found : std::nullopt;
}

}  // namespace

camera_attributes camera_attributes_of(const picture& file) {
    camera_attributes camera;
    for (const picture_part& part : file) {
        const header attributes(part.spec);
        const auto take = [&](std::optional<camera_value>& value, auto find) {
            if (!value) value = find(attributes);
        };
        take(camera.focal_length, focal_length);
        take(camera.f_stop, f_stop);
        take(camera.filmback_width, filmback_width);
        take(camera.focus_distance, focus_distance);
        take(camera.focus_depth, focus_depth);
    }
    if (camera.focus_distance) camera.focus_depth.reset();
    return camera;
}

}  // namespace focusfall
