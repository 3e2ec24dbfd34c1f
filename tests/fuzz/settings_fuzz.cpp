// Any bytes as a settings file: refused by a message, or values that hold at all times.

#include <algorithm>
#include <cmath>
#include <numeric>

#include "pipeline/session/session.h"
#include "pipeline/settings/setting_value.h"
#include "pipeline/settings/settings_file.h"
#include "tests/fuzz/fuzzing.h"

using namespace focusfall;

namespace {

std::unique_ptr<headless::tool> fresh_tool() {
    static session opened([] {
        session_options options;
        options.plugins = {PLUGIN_FILE};
        options.threads = 1;
        return options;
    }());
    return opened.create_tool();
}

void check_finite(const headless::control& input) {
    if (!input.info().is_number()) return;
    const headless::animation curve = input.curve();
    const auto& keys = curve.keys();
    for (std::size_t i = 0; i < keys.size(); ++i) {
        const double next = keys[std::min(i + 1, keys.size() - 1)].time;
        for (const double time : {keys[i].time, std::midpoint(keys[i].time, next)}) {
            expect(std::isfinite(input.number(time)), input.info().id + " is not finite");
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    const auto folder = corpus_folder(*argc, *argv);
    if (folder.empty()) return 0;
    const auto tool = fresh_tool();
    save_settings_file(folder / "defaults", *tool);
    tool->replace("FocusPosition", parsed_setting(tool->find("FocusPosition").info(),
                                                  "1:1200,24:300,48:3400,smooth"));
    save_settings_file(folder / "animated", *tool);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto file = write_scratch_file(".json", data, size);
    const auto tool = fresh_tool();
    bool restored = false;
    expect_named_errors(file.string(), [&] {
        tool->restore(read_settings_file(file, *tool));
        restored = true;
    });
    for (const headless::control* input : tool->controls()) check_finite(*input);
    if (restored) {  // saving and reading again must work too
        save_settings_file(file, *tool);
        fresh_tool()->restore(read_settings_file(file, *tool));
    }
    std::filesystem::remove(file);
    return 0;
}
