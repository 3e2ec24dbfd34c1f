#pragma once
// A picture for tests that render whole frames.

#include <random>

#include "host/api/image.h"

// 48 x 32 pixels with random colours, and depths from 300 to 4000 in Z.
inline Owned<Image> small_picture() {
    Owned<Image> picture(new Image(48, 32, 5));
    std::mt19937 random(7);
    std::uniform_real_distribution<float> colour(0.0F, 1.0F);
    std::uniform_real_distribution<float> depth(300.0F, 4000.0F);
    for (int y = 0; y < picture->Height(); ++y) {
        for (int x = 0; x < picture->Width(); ++x) {
            float* pixel = picture->Pixel(x, y);
            for (int c = Image::BLUE; c <= Image::RED; ++c) pixel[c] = colour(random);
            pixel[Image::ALPHA] = 1.0F;
            pixel[Image::Z] = depth(random);
        }
    }
    return picture;
}
