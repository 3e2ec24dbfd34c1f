#pragma once
// A tool's controls and image connections as the host keeps them.

#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/animation.h"
#include "host/api/request.h"

namespace headless {

// A fault that the host sees: the text names the thing and what is wrong with it.
class HOST_API host_error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    ~host_error() override;
};

enum class control_kind { SLIDER, CHECKBOX, BUTTONS, COLOR, TEXT, IMAGE };

// What a tool said of a control when it added it. The tags that it reads:
//   0x88020000 data type "Number", "Text" or "Image"; 0x80030000 "CheckboxControl",
//   "MultiButtonControl", "ColorControl", "SliderControl" or "TextEditControl";
//   0x20030000 lowest and 0x20030001 highest value, 0x20030003 upper end of the slider,
//   0x20030004 default, 0x30030003 default text, 0x38040000 an item of a button list,
//   0x1003000c 1: whole numbers, 0x10020001 number of an image connection,
//   0x10030002 0: the connection may stay empty. Others are kept in `tags`.
struct HOST_API control_info {
    std::string page;
    std::string id;
    std::string name;
    control_kind kind = control_kind::SLIDER;
    std::optional<double> lowest;
    std::optional<double> highest;
    std::optional<double> slider_end;
    double initial = 0.0;
    std::string initial_text;
    std::vector<std::string> items;
    bool whole = false;
    int connection = 0;
    bool required = false;
    TagList tags;

    control_info(std::string page, const FuID& name, const FuID& id, const TagList& tags);

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
};

HOST_API const char* kind_name(control_kind kind);

// `value` in as few digits as give it back.
HOST_API std::string shortest(double value);

// The name of `names` that is spelled most like `name`; empty when none is close.
HOST_API std::string nearest_name(std::string_view name,
                                  const std::vector<std::string>& names);

// A control that lives in a tool. Reads and writes are guarded by the mutex of the tool's
// values, so that edits and renders may run side by side. [any thread]
class HOST_API control final : public Input {
  public:
    control(control_info info, std::mutex& values_mutex, const bool& keying);

    const control_info& info() const { return info_; }
    void describe(control_info info);  // on a second request; back to its default

    double number(TimeStamp time) const;
    std::string text() const;
    bool is_visible() const;
    animation curve() const;
    bool is_connected() const;

    void set_curve(animation curve);
    void set_text(std::string text);
    void connect(Owned<Image> image);
    // Sets a value at `time`, as a key when the control is animated or `as_key`.
    void set_number(double value, TimeStamp time, bool as_key);

    Parameter* GetValue(Request* request) override;
    Parameter* GetSource(TimeStamp time) override;
    void SetSource(const Parameter& value, TimeStamp time) override;

  private:
    void SetAttrsList(const TagList& tags) override;

    control_info info_;  // constant once the tool is built
    std::mutex& values_mutex_;
    const bool& keying_;  // true while the host reports a key; only the editing thread's
    // under values_mutex_
    animation curve_;
    std::string text_;
    Owned<Image> image_;
    bool visible_ = true;
};

}  // namespace headless
