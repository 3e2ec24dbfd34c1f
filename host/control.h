#pragma once
// A tool's controls and image connections as the host keeps them.

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "host/animation.h"
#include "host/api/request.h"
#include "host/error.h"

namespace headless {

enum class control_kind { SLIDER, CHECKBOX, BUTTONS, COLOR, TEXT, IMAGE };

// What a tool said of a control when it added it. The tags that it reads:
//   0x88020000 data type "Number", "Text" or "Image"; 0x80030000 "CheckboxControl",
//   "MultiButtonControl", "ColorControl", "SliderControl" or "TextEditControl";
//   0x20030000 lowest and 0x20030001 highest value, 0x20030003 upper end of the slider,
//   0x20030004 default, 0x30030003 default text, 0x38040000 an item of a button list,
//   0x1003000c 1: whole numbers, 0x10020001 number of an image connection,
//   0x10030002 0: the connection may stay empty. Others are kept in `tags`.
struct HOST_API control_info {
    std::string page;  // on which it stands
    std::string id;    // by which programs name it
    std::string name;  // by which people do
    control_kind kind = control_kind::SLIDER;
    std::optional<double> lowest;
    std::optional<double> highest;
    std::optional<double> slider_end;  // values above can be typed
    double initial = 0.0;
    std::string initial_text;
    std::vector<std::string> items;  // of a button list; their index is the value
    bool whole = false;              // takes whole numbers only
    int connection = 0;              // number of an image connection
    bool required = false;           // no frame without an image
    std::string help;  // what it does, in the tool's words; empty when it says nothing
    TagList tags;

    control_info(std::string page, const FuID& name, const FuID& id, const TagList& tags);

    // Whether it holds numbers over time.
    bool is_number() const {
        return kind != control_kind::TEXT && kind != control_kind::IMAGE;
    }
    // Button lists and checkboxes jump from key to key.
    bool steps() const {
        return kind == control_kind::BUTTONS || kind == control_kind::CHECKBOX;
    }

    // The value that `text` stands for: a number, on or off, an item or its index. Throws
    // host_error that names the control and what it takes.
    double parse(std::string_view text) const;
    // `value` as the control takes it: kept within the lowest and highest value allowed,
    // rounded where it wants whole numbers. Throws host_error for a value that is not
    // finite, or is no item or state of a list or checkbox.
    double allowed(double value) const;
    // What a person reads for `value`: the item, on or off, else the shortest number.
    std::string shown(double value) const;
    // What a person reads for the values that it takes, as in "1 and up".
    std::string range() const;
};

// "slider", "checkbox", "button list", "colour", "text" or "image".
HOST_API const char* kind_name(control_kind kind);

// What a control holds: a number over time, or a text.
using control_value = std::variant<animation, std::string>;

struct control_group;  // what the controls of one tool share: host/operator_state.h

// A control that lives in a tool. Reads and writes are guarded by the group's mutex, so
// that edits and renders may run side by side. What a tool sets is not reported back to
// it. [any thread]
class HOST_API control final : public Input {
  public:
    control(control_info info, control_group& group);

    const control_info& info() const { return info_; }
    void describe(control_info info);  // on a second request; back to its default
    void explain(std::string help) { info_.help = std::move(help); }  // once built

    // The value at `time`, in frames: in the unit that the control's name tells, an item
    // as its index, on as 1. Of a text or an image connection meaningless. Never throws.
    double number(TimeStamp time) const;
    // The text of a text control, else empty.
    std::string text() const;
    // Whether the tool shows it at present; from the start it does.
    bool is_visible() const;
    // All that a number control holds over time, as a copy.
    animation curve() const;
    // Whether an image is connected.
    bool is_connected() const;

    // `value` as the control takes it, see control_info::allowed; throws host_error for a
    // value of another kind too.
    control_value allowed(control_value value) const;
    // Replaces everything that the control holds by an allowed value.
    void hold(control_value value);
    // Sets an allowed value at `time`: a key when the control is animated.
    void set_number(double value, TimeStamp time);
    // Keys that all have one value become a constant.
    void simplify();
    // All that an edit may change, to compare it and to put it back.
    struct state {
        animation curve;
        std::string text;
        Owned<Image> image;
        bool visible;
        friend bool operator==(const state&, const state&) = default;
    };
    state held() const;
    void put_back(const state& old);
    // Throws host_error unless this is an image connection that takes `image`, or null.
    void check_image(const Image* image) const;
    // Holds `image` from now on, or nothing.
    void connect(Owned<Image> image);

    Parameter* GetValue(Request* request) override;
    Parameter* GetSource(TimeStamp time) override;
    // By the rules of edit.cpp: within the range of the control, as a key or a constant.
    void SetSource(const Parameter& value, TimeStamp time) override;

  private:
    void SetAttrsList(const TagList& tags) override;
    interpolation natural_interpolation() const {
        return info_.steps() ? interpolation::STEP : interpolation::LINEAR;
    }

    control_info info_;  // constant once the tool is built
    control_group& group_;
    // under group_.mutex
    animation curve_;
    std::string text_;
    Owned<Image> image_;
    bool visible_ = true;
};

}  // namespace headless
