#pragma once
// What rows of controls are written with: the pairs of their tags, their kinds, and what
// help says of them.

#include <algorithm>
#include <initializer_list>
#include <span>

#include "host/api/operator.h"

namespace control_rows {

// The pairs that rows are made of.
inline TagPair lowest(double value) { return {0x20030000, value}; }
inline TagPair highest(double value) { return {0x20030001, value}; }
inline TagPair slider_end(double value) { return {0x20030003, value}; }
inline TagPair starts_at(double value) { return {0x20030004, value}; }
inline TagPair item(const char* text) { return {0x38040000, text}; }
inline TagPair notifies() { return {0x1003000a, 1}; }
inline TagPair whole_numbers() { return {0x1003000c, 1}; }
inline TagPair buttons() { return {0x1005000a, 1}; }  // stands in every button list

inline Input* add(Operator& tool, const char* id, const char* name, const char* type,
                  const char* control, std::initializer_list<TagPair> row) {
    TagList tags({{0x88020000, FuID(type)}, {0x80030000, FuID(control)}});
    tags.Append(row);
    return tool.AddInputList(name, id, tags);
}

inline Input* add_slider(Operator& tool, const char* id, const char* name,
                         std::initializer_list<TagPair> row) {
    return add(tool, id, name, "Number", "SliderControl", row);
}

inline Input* add_checkbox(Operator& tool, const char* id, const char* name,
                           std::initializer_list<TagPair> row) {
    return add(tool, id, name, "Number", "CheckboxControl", row);
}

inline Input* add_buttons(Operator& tool, const char* id, const char* name,
                          std::initializer_list<TagPair> row) {
    return add(tool, id, name, "Number", "MultiButtonControl", row);
}

// What a control does, in a sentence or two for whoever sets it.
struct help_text {
    const char* id;
    const char* help;
};

// The help of a control; null when there is none.
inline const char* help_of(const FuID& id, std::span<const help_text> texts) {
    const auto text = std::ranges::find_if(
        texts, [&](const help_text& t) { return id.Text() == t.id; });
    return text == texts.end() ? nullptr : text->help;
}

}  // namespace control_rows
