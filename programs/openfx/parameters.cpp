#include "programs/openfx/parameters.h"

#include <algorithm>

#include "programs/openfx/parameter_rows.h"

namespace focusfall {

namespace {

using headless::control_info;

// Pages of the tool, as far as they hold parameters.
class page_list {
  public:
    explicit page_list(ofx::parameters set) : set_(set) {}

    void add(const std::string& page, const std::string& parameter) {
        const auto known = std::ranges::find(pages_, page, &entry::name);
        entry& found = known != pages_.end() ? *known : opened(page);
        found.properties.set("OfxParamPropPageChild", parameter, found.children++);
    }

  private:
    struct entry {
        std::string name;
        ofx::property_set properties;
        int children = 0;
    };

    entry& opened(const std::string& page) {
        return pages_.emplace_back(
            entry{page, define_row(set_, "OfxParamTypePage", page, page)});
    }

    ofx::parameters set_;
    std::vector<entry> pages_;
};

}  // namespace

void define_parameters(const headless::tool& tool, ofx::parameters set,
                       group_list& groups) {
    page_list pages(set);
    for (const headless::control* control : tool.controls()) {
        const control_info& info = control->info();
        if (!info.is_number()) continue;
        const ofx::property_set row = define_control(set, info);
        row.set("OfxParamPropParent", groups.group_of(info));
        row.set("OfxParamPropSecret", control->is_visible() ? 0 : 1);
        pages.add(info.page, info.id);
    }
}

double parameter_link::value(ofx::time at) const {
    const auto& suite = *ofx::link.parameter;
    double number = info.initial;
    if (is_double()) {
        suite.get_value_at_time(handle, at, &number);
        // to the last bit what the tool starts with
        return number == written_default(info) ? info.initial : number;
    }
    int whole = static_cast<int>(number);
    suite.get_value_at_time(handle, at, &whole);
    // hosts let any number stand for "on"
    if (info.kind == headless::control_kind::CHECKBOX) return whole != 0 ? 1.0 : 0.0;
    return whole;
}

bool parameter_link::has_keys() const {
    unsigned int keys = 0;
    return ofx::link.parameter->count_keys(handle, &keys) == ofx::OK && keys > 0;
}

void parameter_link::set(double value, ofx::time at, bool as_key) const {
    const auto& suite = *ofx::link.parameter;
    if (is_double()) {
        if (as_key)
            suite.set_value_at_time(handle, at, value);
        else
            suite.set_value(handle, value);
        return;
    }
    const int whole = static_cast<int>(value);
    if (as_key)
        suite.set_value_at_time(handle, at, whole);
    else
        suite.set_value(handle, whole);
}

parameter_links::parameter_links(const headless::tool& tool, ofx::parameters set)
    : set_(set) {
    for (const headless::control* control : tool.controls()) {
        const control_info& info = control->info();
        if (!info.is_number()) continue;
        links_.push_back({info, handle_of(set, info.id)});
    }
}

parameter_values parameter_links::values(ofx::time at) const {
    parameter_values all;
    for (const parameter_link& one : links_) all.emplace(one.info.id, one.value(at));
    return all;
}

bool parameter_links::has(const std::string& id) const {
    return std::ranges::any_of(
        links_, [&](const parameter_link& one) { return one.info.id == id; });
}

void parameter_links::mirror(const headless::tool& tool, const parameter_values& before,
                             const std::string& edited, ofx::time at) const {
    bool answers_key = false;
    for (const parameter_link& one : links_) {
        if (one.info.id == edited) answers_key = one.has_keys();
    }
    // hosts take what is set in between as one step to undo
    ofx::link.parameter->begin_edit(set_, edited.c_str());
    for (const parameter_link& one : links_) {
        const double value = tool.find(one.info.id).number(at);
        if (value == before.at(one.info.id)) continue;
        one.set(value, at, answers_key || one.has_keys());
    }
    ofx::link.parameter->end_edit(set_);
}

void parameter_links::lay_out(const headless::tool& tool) const {
    for (const parameter_link& one : links_) {
        ofx::properties found = nullptr;
        if (ofx::link.parameter->get_properties(one.handle, &found) != ofx::OK) continue;
        const ofx::property_set row(found);
        const int secret = tool.find(one.info.id).is_visible() ? 0 : 1;
        if (row.integer("OfxParamPropSecret", -1) == secret) continue;
        row.set("OfxParamPropSecret", secret);
        // for hosts that hide nothing once the panel is open
        row.set("OfxParamPropEnabled", 1 - secret);
    }
}

void restore(headless::tool& tool, const parameter_values& values) {
    std::map<std::string, headless::control_value> held;
    for (const auto& [id, value] : values) held.emplace(id, headless::animation(value));
    tool.restore(held);
}

}  // namespace focusfall
