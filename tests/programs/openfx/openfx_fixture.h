#pragma once
// What tests of the bundle share: an effect in the strict host, the same tool in our own
// host, and a scene for both.

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "host/headless_host.h"
#include "programs/openfx/geometry.h"
#include "tests/programs/openfx/mini_host.h"

// The bundle's library, in memory as long as this lives. Throws std::runtime_error.
class bundle_library {
  public:
    bundle_library();
    ~bundle_library();
    bundle_library(const bundle_library&) = delete;
    bundle_library& operator=(const bundle_library&) = delete;

    const mini_host::entries& entries() const { return entries_; }
    static const char* file();

  private:
    void* handle_ = nullptr;
    mini_host::entries entries_ = {};
};

inline constexpr const char* GENERAL = mini_host::GENERAL;
inline constexpr const char* FILTER = mini_host::FILTER;

// A pixel of the scene: red, green, blue, alpha and depth at a place of the plane, rows
// counted upwards.
struct scene_pixel {
    float values[5];
};
scene_pixel scene_at(int x, int y);

// The number of the effect: 0 is Focusfall, 1 Focusfall Layered. Ends with a check that
// the effect kept to the interface and gave all images back.
class openfx_test : public testing::TestWithParam<int> {
  protected:
    openfx_test();
    ~openfx_test() override;

    // An instance that is created, with the scene on Source, Depth and Output where the
    // context has them.
    std::unique_ptr<mini_host::effect> scene_instance(
        const std::string& context = GENERAL, const ofx::pixel_rect& format = FORMAT);
    void create(mini_host::effect& instance);
    void destroy(mini_host::effect& instance);
    // Sets a value in both hosts.
    void edit(mini_host::effect& instance, const std::string& id, double value);

    // The scene in that area as the tool has it.
    static Owned<Image> tool_scene(const ofx::pixel_rect& area);
    // What the tool itself renders.
    Owned<Image> direct(const headless::render_order& order);
    // Renders the whole output, at that scale, and counts its values that are not those
    // of the image, which shows `area`.
    int differing(mini_host::effect& instance, const Image& expected,
                  const ofx::pixel_rect& area, double scale = 1.0);

    static constexpr ofx::pixel_rect FORMAT = {0, 0, 160, 90};

    bundle_library library_;
    mini_host::loaded_effect effect_{library_.entries(), GetParam()};
    headless::host host_{2};
    std::unique_ptr<headless::tool> tool_;
};

void fill_scene(mini_host::clip& clip, const ofx::pixel_rect& bounds, int components = 4);
