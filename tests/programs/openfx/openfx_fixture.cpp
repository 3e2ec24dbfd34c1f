#include "tests/programs/openfx/openfx_fixture.h"

#include <algorithm>
#include <stdexcept>

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

using namespace focusfall;
using mini_host::clip;
using mini_host::effect;

const char* bundle_library::file() { return BUNDLE_FILE; }

bundle_library::bundle_library() {
#ifdef _WIN32
    handle_ = LoadLibraryA(file());
    const auto find = [&](const char* name) {
        return reinterpret_cast<void*>(
            GetProcAddress(static_cast<HMODULE>(handle_), name));
    };
#else
    handle_ = dlopen(file(), RTLD_NOW | RTLD_LOCAL);
    const auto find = [&](const char* name) { return dlsym(handle_, name); };
#endif
    if (!handle_) throw std::runtime_error(std::string("cannot load ") + file());
    entries_.count = reinterpret_cast<int (*)()>(find("OfxGetNumberOfPlugins"));
    entries_.get = reinterpret_cast<ofx::plugin* (*)(int)>(find("OfxGetPlugin"));
    if (!entries_.count || !entries_.get) throw std::runtime_error("no effects");
}

bundle_library::~bundle_library() {
#ifdef _WIN32
    FreeLibrary(static_cast<HMODULE>(handle_));
#else
    dlclose(handle_);
#endif
}

// Squares of grey and colour, points of light, and a ramp of depth with a step.
scene_pixel scene_at(int x, int y) {
    scene_pixel pixel{};
    const int square = (x + 1000) / 16 + (y + 1000) / 16;
    for (int i = 0; i < 3; ++i) {
        const auto c = static_cast<float>(i);
        pixel.values[i] = 0.2F + 0.1F * c + 0.3F * static_cast<float>(square % 2);
        if ((x + 1000) % 53 == 0 && (y + 1000) % 37 == 0) pixel.values[i] = 20.0F;
    }
    pixel.values[3] = 1.0F;
    pixel.values[4] = 300.0F + 2.0F * static_cast<float>(x) +
                      0.5F * static_cast<float>(y) +
                      ((x + 1000) / 40 % 2 == 0 ? 150.0F : 0.0F);
    return pixel;
}

void fill_scene(clip& clip, const ofx::pixel_rect& bounds, int components) {
    clip.connect(bounds, components);
    for (int y = bounds.y1; y < bounds.y2; ++y) {
        for (int x = bounds.x1; x < bounds.x2; ++x) {
            std::copy_n(scene_at(x, y).values, components, clip.image.at(x, y));
        }
    }
}

namespace {

void fill_depth(clip& clip, const ofx::pixel_rect& bounds, int components) {
    clip.connect(bounds, components);
    for (int y = bounds.y1; y < bounds.y2; ++y) {
        for (int x = bounds.x1; x < bounds.x2; ++x) {
            std::fill_n(clip.image.at(x, y), components, scene_at(x, y).values[4]);
        }
    }
}

}  // namespace

openfx_test::openfx_test() {
    const char* files[] = {FAST_PLUGIN_FILE, LAYERED_PLUGIN_FILE};
    host_.load_plugin(files[GetParam()]);
    tool_ = host_.create_tool(host_.classes().front().id);
    tool_->open_page();
}

openfx_test::~openfx_test() {
    for (const std::string& refusal : mini_host::take_refusals()) {
        ADD_FAILURE() << refusal;
    }
}

std::unique_ptr<effect> openfx_test::scene_instance(const std::string& context,
                                                    const ofx::pixel_rect& format) {
    auto made = effect_.instance(context, format.x2, format.y2);
    fill_scene(made->input("Source"), format);
    made->input("Output").connect(format, 4);
    if (context == GENERAL) fill_depth(made->input("Depth"), format, 4);
    create(*made);
    return made;
}

void openfx_test::create(effect& instance) {
    ASSERT_EQ(effect_.act("OfxActionCreateInstance", &instance), ofx::OK);
}

void openfx_test::destroy(effect& instance) {
    EXPECT_EQ(instance.lent_images(), 0);
    EXPECT_EQ(effect_.act("OfxActionDestroyInstance", &instance), ofx::OK);
}

void openfx_test::edit(effect& instance, const std::string& id, double value) {
    ASSERT_EQ(effect_.edit(instance, id, value), ofx::OK) << id << instance.message;
    tool_->set(id, value);
}

Owned<Image> openfx_test::tool_scene(const ofx::pixel_rect& area) {
    Owned<Image> image(new Image(width(area), height(area), 5));
    for (int y = area.y1; y < area.y2; ++y) {
        for (int x = area.x1; x < area.x2; ++x) {
            float* pixel = image->Pixel(x - area.x1, area.y2 - 1 - y);
            const auto [red, green, blue, alpha, depth] = scene_at(x, y).values;
            pixel[Image::RED] = red;
            pixel[Image::GREEN] = green;
            pixel[Image::BLUE] = blue;
            pixel[Image::ALPHA] = alpha;
            pixel[Image::Z] = depth;
        }
    }
    return image;
}

Owned<Image> openfx_test::direct(const headless::render_order& order) {
    headless::frame frame = tool_->render(order);
    EXPECT_EQ(frame.how, headless::frame::end::DONE) << frame.error;
    return std::move(frame.image);
}

int openfx_test::differing(effect& instance, const Image& expected,
                           const ofx::pixel_rect& area, double scale) {
    clip& output = instance.input("Output");
    std::ranges::fill(output.image.pixels, -7.0F);
    EXPECT_EQ(effect_.render(instance, output.image.bounds, scale), ofx::OK);
    EXPECT_EQ(instance.message, "");
    int count = 0;
    const ofx::pixel_rect all = output.image.bounds;
    for (int y = all.y1; y < all.y2; ++y) {
        for (int x = all.x1; x < all.x2; ++x) {
            const float* pixel = expected.Pixel(x - area.x1, area.y2 - 1 - y);
            const float* got = output.image.at(x, y);
            const int order[] = {Image::RED, Image::GREEN, Image::BLUE, Image::ALPHA};
            for (int i = 0; i < 4; ++i) {
                count += got[i] != pixel[order[i]];
            }
        }
    }
    return count;
}
