#include "plugin/tool/focusfall.h"

Focusfall::Focusfall(Registry* record, const ScriptVal& table, TagList* tags)
    : render_driver(record, table, tags) {
    AddControlPage("Controls", 0);
    add_depth_controls(*this, /*with_enable_depth=*/false, /*normalize_default=*/1.0F);
    // Requested a second time on purpose: a host numbers controls in the order of the
    // requests, and existing flows were saved by a tool that requested them twice. The
    // handles of this request are the ones that are kept.
    add_style_controls(*this, DISK);
    add_info_controls(*this);

    // clang-format off
    input_input = AddInput("Input image", "Input",
                           0x88020000, FuID("Image"),  // data type
                           0x10020001, 1,              // number of the connection
                           0);
    blur_image_input = AddInput("Blur image", "BlurImage",
                                0x88020000, FuID("Image"),  // data type
                                0x10020001, 3,              // number of the connection
                                0x10030002, 0,              // may stay empty
                                0);
    output_output = AddOutput("Output image", "Output",
                              0x88020000, FuID("Image"),  // data type
                              0x10020001, 1,              // number of the connection
                              0);
    // clang-format on
}

void Focusfall::NotifyChanged(Input* input, Parameter* param, TimeStamp time,
                              TagList* /*tags*/) {
    if (!param) {
        Operator::NotifyChanged(input, nullptr, time, nullptr);
        return;
    }
    on_input_changed(input, param, time);
    if (input && input == blur_style_input) change_style(param);
}
