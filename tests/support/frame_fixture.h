#pragma once
// What tests of whole frames share: the plug-in's tool, random frames, the comparison.

#include <memory>
#include <random>

#include "host/headless_host.h"
#include "tests/support/frame_model.h"

enum component { BLUE, GREEN, RED, ALPHA, Z };

// A picture of zeros.
frame_model::picture blank(int width, int height, int components = 5);

// A class that is linked into the test, in a list of its own: the program's list would
// show it to every test of loading.
template <class T>
class linked_class {
  public:
    Registry& record() { return record_; }

  private:
    static Operator* make(Registry* record, const ScriptVal& table, TagList* tags) {
        return new T(record, table, tags);
    }
    ClassRegistry list_;
    Registry record_{list_, "test.Tool", 0x60000000, &make, 0};
};

// A tool in a host of its own.
class plugin_tool {
  public:
    // Of the one class that the plug-in has.
    explicit plugin_tool(int threads = 2, FusionDoc::Console console = {},
                         const char* file = PLUGIN_FILE);
    explicit plugin_tool(Registry& linked, int threads = 2,
                         FusionDoc::Console console = {});

    void connect(const char* id, const frame_model::picture& from);
    // The result for these controls; the others stay as they were set before. No `depth`:
    // the input's own. Tells the test of frames that are not done.
    frame_model::picture render(const frame_model::picture& input,
                                const frame_model::picture* depth,
                                const frame_model::controls& values);

    headless::tool& tool() { return *tool_; }

  private:
    headless::host host_;
    std::unique_ptr<headless::tool> tool_;
};

// Random pictures and settings.
class random_frame {
  public:
    explicit random_frame(unsigned seed) : engine_(seed) {}

    float between(double low, double high);
    int whole(int low, int high);
    bool chance(double probability) { return between(0, 1) < probability; }

    // All controls that the result depends on.
    frame_model::controls settings();
    // Colours with highlights, negative values and transparent pixels; depths on both
    // sides of the focus that `values` have; up to three further components.
    frame_model::picture picture(int width, int height,
                                 const frame_model::controls& values);

  private:
    std::mt19937 engine_;
};

// Checks colours against the model's, Z for equality with it, and that the other
// components are the input's.
void expect_agreement(const frame_model::picture& output,
                      const frame_model::picture& input, const frame_model::frame& model);

// Checks that a tool which runs on one thread blurs what is farther away than its
// `max_depth` as if it lay there.
void expect_depth_cap(plugin_tool& plugin, float& max_depth);
