#include "pipeline/pictures/color_encoding.h"

#include <cmath>

#include <gtest/gtest.h>

#include "host/error.h"

using namespace focusfall;

TEST(ColorEncoding, GivesBackWhatItEncoded) {
    for (const char* name :
         {"linear", "sRGB", "Rec709", "Cineon", "Gamma2.2", "gamma1"}) {
        const color_encoding encoding = color_encoding::named(name);
        EXPECT_EQ(color_encoding::named(encoding.name()).name(), encoding.name());
        float before = -1e9F;
        for (int step = -700; step < 2700; ++step) {
            const float light = 0.003F * static_cast<float>(step);
            const float stored = encoding.encoded(light);
            EXPECT_NEAR(encoding.decoded(stored), light, 2e-5F * (1.0F + std::abs(light)))
                << name;
            EXPECT_GT(stored, before) << name << " " << light;
            before = stored;
        }
        if (encoding.name() == "Cineon") continue;
        EXPECT_EQ(encoding.encoded(0.0F), 0.0F);
        EXPECT_NEAR(encoding.encoded(1.0F), 1.0F, 1e-6F) << name;
    }
    // published pairs of light and stored number
    EXPECT_NEAR(color_encoding::srgb().encoded(0.18F), 0.4614F, 1e-4F);
    EXPECT_NEAR(color_encoding::named("Rec709").encoded(0.18F), 0.4090F, 1e-4F);
    const color_encoding film = color_encoding::named("KodakLog");
    EXPECT_NEAR(film.encoded(0.18F), 0.4573F, 1e-4F);
    EXPECT_NEAR(film.encoded(0.0F), 95.0F / 1023.0F, 1e-6F);
    EXPECT_NEAR(film.encoded(1.0F), 685.0F / 1023.0F, 1e-6F);
}

TEST(ColorEncoding, RefusesOtherNames) {
    for (const char* name :
         {"", "ACEScg", "Gamma", "Gamma0", "Gamma2.2x", "Gamma-1", "Gammanan", "sRGB "}) {
        EXPECT_THROW(color_encoding::named(name), headless::host_error) << name;
    }
}
