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

// The description that a tool gave of a control when it added it. The tags that are read:
//   0x88020000 data type "Number", "Text" or "Image"; 0x80030000 "CheckboxControl",
//   "MultiButtonControl", "ColorControl", "SliderControl" or "TextEditControl";
//   0x20030000 lowest and 0x20030001 highest value, 0x20030003 upper end of the slider,
//   0x20030004 default, 0x30030003 default text, 0x38040000 an item of a button list,
//   0x1003000c 1: whole numbers, 0x10020001 number of an image connection,
//   0x10030002 0: the connection may stay empty. Others are kept in `tags`.
struct HOST_API control_info {
    std::string page;  // of the tool, which shows the control
    std::string id;    // the name that programs use
    std::string name;  // the name that people read
    control_kind kind = control_kind::SLIDER;
    std::optional<double> lowest;
    std::optional<double> highest;
    std::optional<double> slider_end;  // upper end; higher values can be typed
    double initial = 0.0;
    std::string initial_text;
    std::vector<std::string> items;  // of a button list; their index is the value
    bool whole = false;              // takes whole numbers only
    int connection = 0;              // number of an image connection
    bool required = false;           // frames need an image here
    std::string help;  // what it does, in the tool's words; empty when there are none
    TagList tags;

    control_info(std::string page, const FuID& name, const FuID& id, const TagList& tags);

    // Whether it holds a number over time; otherwise it holds a text or an image.
    bool is_number() const {
        return kind != control_kind::TEXT && kind != control_kind::IMAGE;
    }
    // Button lists and checkboxes jump from key to key.
    bool steps() const {
        return kind == control_kind::BUTTONS || kind == control_kind::CHECKBOX;
    }

    // The value that `text` spells, letter case ignored: an item or its index, on or off,
    // else a number, which is treated as by `allowed`. Throws host_error that names the
    // control and the values it accepts.
    double parse(std::string_view text) const;
    // `value` as the control accepts it: kept between the lowest and the highest value,
    // rounded where the control holds whole numbers. Throws host_error for a non-finite
    // value, and for one that is no item of a list or no state of a checkbox.
    double allowed(double value) const;
    // `value`, one that is allowed, as people read it: the item, on or off, else the
    // shortest number.
    std::string shown(double value) const;
    // The values that the control accepts, as people read them: "1 and up".
    std::string range() const;
};

// "slider", "checkbox", "button list", "colour", "text" or "image".
HOST_API const char* kind_name(control_kind kind);

// What a control holds: a number over time, or a text.
using control_value = std::variant<animation, std::string>;

struct control_group;  // what the controls of one tool share: host/operator_state.h

// A control of a tool, with its values. Reads and writes are guarded by the group's
// mutex, so that edits and renders may run at once. What a tool sets is not reported back
// to it. What copies a value throws std::bad_alloc. [any thread]
class HOST_API control final : public Input {
  public:
    control(control_info info, control_group& group);

    const control_info& info() const { return info_; }
    // Replaces the description by that of a second request for the identifier, and the
    // value by its default. [construction of the tool]
    void describe(control_info info);
    // Sets the help, which only a tool that is fully constructed can give. [construction]
    void explain(std::string help) { info_.help = std::move(help); }

    // The value at `time`, in frames. Its unit is that of the control's name; an item is
    // given as its index, on as 1. Without meaning for texts and image connections. Never
    // throws.
    double number(TimeStamp time) const;
    // The text of a text control; empty for other kinds.
    std::string text() const;
    // Whether the tool shows the control at present; at first it does.
    bool is_visible() const;
    // A copy of all that a number control holds over time.
    animation curve() const;
    // Whether an image is connected.
    bool is_connected() const;

    // `value` as the control accepts it, see control_info::allowed. Throws host_error
    // also for a value of another kind, and for image connections.
    control_value allowed(control_value value) const;
    // Replaces everything that the control holds by an allowed value.
    void hold(control_value value);
    // Sets an allowed value at `time`: as a key when the control is animated.
    void set_number(double value, TimeStamp time);
    // Turns keys that all have the same value into a constant.
    void simplify();
    // All that an edit may change; kept to be compared, and to be put back.
    struct state {
        animation curve;
        std::string text;
        Owned<Image> image;
        bool visible;
        friend bool operator==(const state&, const state&) = default;
    };
    state held() const;
    void put_back(const state& old);
    // Throws host_error unless this is an image connection.
    void check_takes_images() const;
    // Holds `image` from now on, or nothing when it is null.
    void connect(Owned<Image> image);

    Parameter* GetValue(Request* request) override;
    Parameter* GetSource(TimeStamp time) override;
    // Follows the rules of edit.cpp: within the control's range, as a key or a constant.
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
