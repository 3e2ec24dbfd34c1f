#pragma once
// What tests of the plug-in's tool share: the tool, a picture, the text of an error.

#include <algorithm>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "host/headless_host.h"

class tool_test : public testing::Test {
  protected:
    tool_test() {
        host.load_plugin(PLUGIN_FILE);
        tool = host.create_tool("kestrelworks.Focusfall");
    }
    double value(const char* id, TimeStamp time = 0) const {
        return tool->find(id).number(time);
    }

    headless::host host{1};  // frames are alike to the last bit
    std::unique_ptr<headless::tool> tool;
};

// The text of the host_error that `work` throws; empty when it throws none.
template <class Work>
std::string error_of(const Work& work) {
    try {
        work();
    } catch (const headless::host_error& error) {
        return error.what();
    }
    return "";
}

// 48 x 32 pixels with random colours, and depths from 300 to 4000 in Z.
inline Owned<Image> small_picture() {
    Owned<Image> image(new Image(48, 32, 5));
    std::mt19937 random(7);
    std::uniform_real_distribution<float> colour(0.0F, 1.0F);
    std::uniform_real_distribution<float> depth(300.0F, 4000.0F);
    for (int i = 0; i < 48 * 32; ++i) {
        float* pixel = image->Pixel(i % 48, i / 48);
        std::generate_n(pixel, 3, [&] { return colour(random); });
        pixel[Image::ALPHA] = 1.0F;
        pixel[Image::Z] = depth(random);
    }
    return image;
}

inline bool same_pixels(const Image& a, const Image& b) {
    return std::equal(a.Pixel(0, 0), a.Pixel(0, 0) + a.Width() * a.Height() * 5,
                      b.Pixel(0, 0));
}
