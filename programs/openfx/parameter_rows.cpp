#include "programs/openfx/parameter_rows.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "host/text.h"

namespace focusfall {

namespace {

using headless::control_info;
using headless::control_kind;

constexpr double OPEN_END = 1000.0;  // of sliders whose control names no end

const char* type_of(const control_info& info) {
    if (info.kind == control_kind::CHECKBOX) return "OfxParamTypeBoolean";
    if (info.kind == control_kind::BUTTONS) return "OfxParamTypeChoice";
    return info.whole ? "OfxParamTypeInteger" : "OfxParamTypeDouble";
}

// A bound as its author wrote it: single precision was widened on the way.
double written(const control_info& info, double value) {
    return headless::number_in(info.shown(value)).value_or(value);
}

double slider_end(const control_info& info) {
    return info.slider_end.value_or(info.highest.value_or(OPEN_END));
}

void describe_whole(const control_info& info, const ofx::property_set& row) {
    row.set("OfxParamPropDefault", static_cast<int>(info.initial));
    if (info.lowest) row.set("OfxParamPropMin", static_cast<int>(*info.lowest));
    if (info.highest) row.set("OfxParamPropMax", static_cast<int>(*info.highest));
    row.set("OfxParamPropDisplayMin", static_cast<int>(info.lowest.value_or(0.0)));
    row.set("OfxParamPropDisplayMax", static_cast<int>(slider_end(info)));
}

void describe_number(const control_info& info, const ofx::property_set& row) {
    row.set("OfxParamPropDefault", written_default(info));
    if (info.lowest) row.set("OfxParamPropMin", written(info, *info.lowest));
    if (info.highest) row.set("OfxParamPropMax", written(info, *info.highest));
    row.set("OfxParamPropDisplayMin", written(info, info.lowest.value_or(0.0)));
    row.set("OfxParamPropDisplayMax", written(info, slider_end(info)));
    row.set("OfxParamPropDoubleType", "OfxParamDoubleTypePlain");
    // as many digits as the smallest value takes; depths from 0 to 1 need some as well
    constexpr int DIGITS = 4;
    const double smallest = info.lowest.value_or(1.0);
    const int needed =
        smallest > 0.0 ? static_cast<int>(std::ceil(-std::log10(smallest) - 0.5)) : 0;
    row.set("OfxParamPropDigits", std::max(DIGITS, needed));
    if (info.lowest && info.highest) {
        row.set("OfxParamPropIncrement", (*info.highest - *info.lowest) / 100.0);
    }
}

void describe_value(const control_info& info, const ofx::property_set& row) {
    if (info.kind == control_kind::BUTTONS) {
        for (std::size_t i = 0; i < info.items.size(); ++i) {
            row.set("OfxParamPropChoiceOption", info.items[i], static_cast<int>(i));
        }
    }
    if (info.steps()) {
        row.set("OfxParamPropDefault", static_cast<int>(info.initial));
    } else if (info.whole) {
        describe_whole(info, row);
    } else {
        describe_number(info, row);
    }
}

std::string hint_of(const control_info& info) {
    std::string hint = info.help;
    if (info.steps()) return hint;
    if (!hint.empty()) hint += " ";
    return hint + "Takes " + info.range() + ".";
}

struct grouped {
    const char* id;
    const char* label;
};
// Controls that stand together in a panel; those of no group here have their page's.
constexpr grouped GROUPS[] = {
    {"FocusPosition", "Focus"},
    {"FocalLength", "Lens"},
    {"FStop", "Lens"},
    {"ApertureDiameter", "Lens"},
    {"FilmbackWidth", "Lens"},
    {"BlurChannel", "Depth Map"},
    {"DepthMapType", "Depth Map"},
    {"DepthMapUnits", "Depth Map"},
    {"NearDistance", "Depth Map"},
    {"FarDistance", "Depth Map"},
    {"InvertDepthMap", "Depth Map"},
    {"BlurStyle", "Shape"},
    {"BadBokeh", "Shape"},
    {"PolygonSideCount", "Shape"},
    {"KernelAngle", "Shape"},
};

}  // namespace

ofx::property_set define_row(ofx::parameters set, const char* type,
                             const std::string& name, const std::string& label) {
    ofx::properties defined = nullptr;
    if (ofx::link.parameter->define(set, type, name.c_str(), &defined) != ofx::OK) {
        throw ofx::failure{ofx::FAILED};
    }
    const ofx::property_set row(defined);
    row.set("OfxPropLabel", label);
    return row;
}

ofx::property_set define_control(ofx::parameters set, const control_info& info) {
    const ofx::property_set row = define_row(set, type_of(info), info.id, info.name);
    row.set("OfxParamPropScriptName", info.id);
    row.set("OfxParamPropHint", hint_of(info));
    describe_value(info, row);
    return row;
}

double written_default(const control_info& info) { return written(info, info.initial); }

ofx::parameter handle_of(ofx::parameters set, const std::string& name) {
    ofx::parameter found = nullptr;
    if (ofx::link.parameter->get_handle(set, name.c_str(), &found, nullptr) != ofx::OK) {
        throw ofx::failure{ofx::FAILED};
    }
    return found;
}

std::string group_list::group_of(const control_info& info) {
    const auto* row = std::ranges::find_if(
        GROUPS, [&](const grouped& one) { return info.id == one.id; });
    return group_named(row != std::end(GROUPS) ? row->label : info.page);
}

std::string group_list::group_named(const std::string& label) {
    const auto [entry, is_new] = names_.emplace(label, label + "Group");
    std::string& name = entry->second;
    if (!is_new) return name;
    std::erase(name, ' ');
    define_row(set_, "OfxParamTypeGroup", name, label).set("OfxParamPropGroupOpen", 1);
    return name;
}

}  // namespace focusfall
