#include "pipeline/inspection/depth_judgement.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <numbers>
#include <string_view>

#include "pipeline/pictures/lower_case.h"

namespace focusfall {

namespace {

// The first of `words` that the text holds; empty for none.
std::string_view word_in(const std::string& text,
                         std::initializer_list<std::string_view> words) {
    for (const std::string_view word : words) {
        if (text.find(word) != text.npos) return word;
    }
    return {};
}

// Programs whose unit of length is known, in their default settings.
struct known_writer {
    std::string_view name;
    length_unit unit;
};
constexpr std::array<known_writer, 7> WRITERS{{
    {"blender", length_unit::METER},
    {"cycles", length_unit::METER},
    {"houdini", length_unit::METER},
    {"karma", length_unit::METER},
    {"maya", length_unit::CENTIMETER},
    {"arnold", length_unit::CENTIMETER},
    {"unreal", length_unit::CENTIMETER},
}};

constexpr const char* BOTTOM_IS_LARGE =
    "the bottom of the picture, which is usually nearer, has larger values than the top";

const char* unit_name(length_unit unit) {
    switch (unit) {
        case length_unit::MILLIMETER: return "millimetres";
        case length_unit::CENTIMETER: return "centimetres";
        case length_unit::METER: return "metres";
        case length_unit::UNTOLD: break;
    }
    return "a unit of their own";
}

// Looks at one kind of evidence after another, the strongest first.
class judge {
  public:
    explicit judge(const depth_facts& facts)
        : facts_(facts), name_(lowered(facts.name)) {}

    depth_judgement opinion() {
        if (!facts_.statistics.has_depth()) {
            opinion_.summary = "nothing: every pixel is empty";
            opinion_.how_sure = certainty::SURE;
            return opinion_;
        }
        if (!judge_by_planes() && !judge_by_name()) judge_by_range();
        if (opinion_.kind == seeming_depth::DISTANCE) judge_unit();
        if (opinion_.kind == seeming_depth::NORMALIZED) judge_direction();
        summarize();
        advise();
        return opinion_;
    }

  private:
    bool is_whole() const { return !facts_.type.is_floating_point(); }
    bool is_within_one() const { return facts_.statistics.highest <= 1.01F; }
    void because(std::string reason) { opinion_.reasons.push_back(std::move(reason)); }
    void decide(seeming_depth kind, certainty how_sure, std::string reason) {
        opinion_.kind = kind;
        opinion_.how_sure = how_sure;
        because(std::move(reason));
    }

    bool judge_by_planes();
    bool judge_by_name();
    void judge_by_range();
    void judge_unit();
    void judge_direction();
    void summarize();
    void advise();

    const depth_facts& facts_;
    std::string name_;
    depth_judgement opinion_;
};

// A reading counts when it makes many more of the sloping pieces flat than the others
// do. How many are tried does not matter: most of them cross edges.
bool judge::judge_by_planes() {
    constexpr std::uint64_t ENOUGH_PIECES = 40;
    constexpr std::uint64_t MARGIN = 4;
    constexpr std::uint64_t WIDE_MARGIN = 20;
    const plane_evidence& planes = facts_.planes;
    const std::uint64_t distance = std::max(planes.planar, planes.ray);
    if (facts_.type.size() == 1) return false;  // too coarse to tell what is flat
    const auto stands_out = [&](std::uint64_t flat, std::uint64_t others) {
        return flat >= ENOUGH_PIECES && flat > MARGIN * others;
    };
    const auto decide_by = [&](seeming_depth kind, std::uint64_t flat,
                               std::uint64_t others, const std::string& otherwise) {
        decide(kind, flat > WIDE_MARGIN * others ? certainty::SURE : certainty::LIKELY,
               "read so, " + std::to_string(flat) +
                   " pieces of slopes are flat, and read as " + otherwise + " " +
                   std::to_string(others) + " of them");
    };
    if (stands_out(planes.inverse, distance)) {
        const bool is_one_slope = 10 * planes.inverse > 9 * planes.pieces;
        if (is_one_slope || facts_.rise_to_bottom < -CLEAR_RISE) {
            because(
                "its values rise evenly, as disparities of flat things do, but painted "
                "ramps too: which of them cannot be told");
            return false;
        }
        decide_by(seeming_depth::INVERSE, planes.inverse, distance, "distances");
        return true;
    }
    if (!stands_out(distance, planes.inverse)) return false;
    decide_by(seeming_depth::DISTANCE, distance, planes.inverse, "inverse distances");
    if (planes.ray > MARGIN * planes.planar) {
        opinion_.measure = depth_measure::RAY;
        because("along the camera's axis only " + std::to_string(planes.planar) +
                " would be flat");
        const double half = std::atan(0.5 / planes.ray_lens);
        because("it fits best through a lens that sees about " +
                std::to_string(std::lround(half * 360.0 / std::numbers::pi)) +
                " degrees across");
    } else if (planes.planar > MARGIN * planes.usual_ray) {
        opinion_.measure = depth_measure::PLANAR;
        because("along the rays of a usual lens only " +
                std::to_string(planes.usual_ray) + " would be flat");
    }
    return true;
}

bool judge::judge_by_name() {
    const std::string quoted = "its name says so";
    if (!word_in(name_, {"disp", "inverse", "invdepth"}).empty()) {
        decide(seeming_depth::INVERSE, certainty::LIKELY, quoted);
        return true;
    }
    if (is_within_one() && !word_in(name_, {"mist", "normal", "fog"}).empty()) {
        decide(seeming_depth::NORMALIZED, certainty::LIKELY, quoted);
        return true;
    }
    return false;
}

void judge::judge_by_range() {
    const depth_statistics& s = facts_.statistics;
    // distances may rise downward too, but not from next to nothing
    const bool begins_near_zero = s.lowest < 0.1F * s.highest;
    if (!is_within_one() && begins_near_zero && facts_.rise_to_bottom > CLEAR_RISE) {
        decide(seeming_depth::INVERSE, certainty::GUESS, BOTTOM_IS_LARGE);
        return;
    }
    if (!is_within_one()) {
        decide(seeming_depth::DISTANCE, certainty::LIKELY, "values go beyond 1");
        if (s.empty_value == 0.0F) {
            because("0, which is no distance, marks the empty pixels");
        }
        return;
    }
    if (!is_whole() && s.highest < 0.5F) {
        decide(seeming_depth::UNKNOWN, certainty::GUESS,
               "all values are small: inverse distances, or distances in a large unit");
    } else {
        decide(seeming_depth::NORMALIZED, certainty::GUESS,
               is_whole() ? "its whole numbers are read as 0 to 1"
                          : "all values are from 0 to 1");
        because(
            "estimators of depth give inverse distances in the same range; the "
            "numbers alone do not tell");
    }
}

void judge::judge_unit() {
    const std::string writer = lowered(facts_.writer);
    for (const known_writer& known : WRITERS) {
        if (writer.find(known.name) == writer.npos) continue;
        opinion_.unit = known.unit;
        opinion_.how_sure = std::min(opinion_.how_sure, certainty::LIKELY);
        because("the file comes from " + std::string(known.name) + ", which counts in " +
                unit_name(known.unit));
        return;
    }
    // portraits, rooms, streets: what is nearest lies from a hand to some hundred metres
    // away
    constexpr float HAND = 0.1F;
    constexpr float FAR = 100.0F;
    const float tenth = facts_.statistics.tenth;
    opinion_.how_sure = certainty::GUESS;
    if (tenth >= HAND && tenth < FAR) {
        opinion_.unit = length_unit::METER;
        constexpr float CLOSE_IN_CENTIMETERS = 10.0F;
        because(std::string("the nearest tenth of the picture would lie within that many "
                            "metres; nothing in the file tells the unit") +
                (tenth >= CLOSE_IN_CENTIMETERS ? ", and it may be centimetres" : ""));
    } else if (tenth >= FAR && tenth < FAR * 1000.0F) {
        opinion_.unit = length_unit::MILLIMETER;
        because(
            "the nearest tenth of the picture would lie within that many "
            "millimetres; nothing in the file tells the unit, and it may be "
            "centimetres");
    }
}

void judge::judge_direction() {
    opinion_.near_is_large = facts_.rise_to_bottom > CLEAR_RISE;
    if (opinion_.near_is_large) because(BOTTOM_IS_LARGE);
}

void judge::summarize() {
    std::string& text = opinion_.summary;
    switch (opinion_.kind) {
        case seeming_depth::DISTANCE:
            text = std::string("distances in ") + unit_name(opinion_.unit);
            if (opinion_.measure == depth_measure::PLANAR) {
                text += ", along the camera's axis";
            } else if (opinion_.measure == depth_measure::RAY) {
                text += ", along the rays from the camera";
            }
            break;
        case seeming_depth::NORMALIZED:
            text = std::string("normalised: 0 to 1 between two distances, ") +
                   (opinion_.near_is_large ? "1 is near" : "1 is far");
            break;
        case seeming_depth::INVERSE:
            text = "inverse distances (disparities): large is near";
            break;
        case seeming_depth::UNKNOWN: text = "depth of a kind that cannot be told"; break;
    }
    if (opinion_.kind == seeming_depth::INVERSE) opinion_.near_is_large = true;
    if (facts_.statistics.is_negative) {
        because(
            "negative values are what a camera that looks along -Z gives; their sign "
            "does not count");
    }
}

void judge::advise() {
    std::vector<std::string>& options = opinion_.options;
    const auto set = [&](const std::string& edit) { options.push_back("--set " + edit); };
    switch (opinion_.kind) {
        case seeming_depth::DISTANCE:
            set("SettingsType=Advanced");
            if (opinion_.unit == length_unit::METER) set("DepthMapUnits=meter");
            if (opinion_.unit == length_unit::CENTIMETER) {
                options.emplace_back("--depth-scale 10");
            }
            if (opinion_.measure == depth_measure::RAY) {
                options.emplace_back("--depth-as ray");
            }
            break;
        case seeming_depth::NORMALIZED:
            set("SettingsType=Advanced");
            set("DepthMapType=Normalized");
            if (opinion_.near_is_large) set("InvertDepthMap=on");
            break;
        case seeming_depth::INVERSE: options.emplace_back("--depth-as inverse"); break;
        case seeming_depth::UNKNOWN: break;
    }
    // by itself 0 would be nearer than everything, and what is huge already is far
    const auto& empty = facts_.statistics.empty_value;
    if (empty && (*empty == 0.0F || !std::isfinite(*empty))) {
        options.emplace_back("--empty-depth far");
    }
}

}  // namespace

depth_judgement judged(const depth_facts& facts) { return judge(facts).opinion(); }

}  // namespace focusfall
