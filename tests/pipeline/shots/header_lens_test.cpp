// The lens that headers tell, in the tool's controls.

#include "pipeline/shots/header_lens.h"

#include "tests/pipeline/shots/shot_fixture.h"

using namespace focusfall;

namespace {

using OIIO::TypeDesc;

class HeaderLens : public shot_test {
  protected:
    HeaderLens() { tool->set("SettingsType", "Advanced"); }

    // Writes a picture of a few pixels whose header `change` completes.
    template <class Change>
    void write_with(const std::string& name, Change change) const {
        const window small{0, 0, 4, 3};
        picture_part part = made_part(small, small, scene_channels());
        change(part.spec);
        write(name, std::move(part));
    }

    std::string set_lens_of(const std::string& name,
                            const std::vector<std::string>& kept = {}) {
        return set_lens(*tool, shot(name, "out.exr"), kept);
    }

    void expect_lens(double focal_length, double filmback, double f_stop, double focus) {
        EXPECT_NEAR(value("FocalLength"), focal_length, 1e-4);
        EXPECT_NEAR(value("FilmbackWidth"), filmback, 1e-4);
        EXPECT_NEAR(value("FStop"), f_stop, 1e-4);
        EXPECT_NEAR(value("FocusPosition"), focus, 1e-2);
    }
};

void add_standard_lens(OIIO::ImageSpec& spec) {
    spec.attribute("nominalFocalLength", 50.0F);
    spec.attribute("aperture", 2.8F);
    const float size[] = {24.9F, 18.7F};
    spec.attribute("sensorOverallDimensions", TypeDesc(TypeDesc::FLOAT, TypeDesc::VEC2),
                   size);
    spec.attribute("focus", 3.5F);
}

}  // namespace

TEST_F(HeaderLens, ComesFromTheAttributesOfTheStandard) {
    write_with("in.exr", add_standard_lens);
    const std::string told = set_lens_of("in.exr");
    expect_lens(50.0, 24.9, 2.8, 3500.0);
    for (const char* text :
         {"FocalLength=50 (nominalFocalLength)", "(focus)", "FStop=2.8 (aperture)"}) {
        EXPECT_NE(told.find(text), std::string::npos) << told;
    }
    EXPECT_EQ(told.find("does not tell"), std::string::npos) << told;

    tool->set("DepthMapUnits", "meter");
    set_lens_of("in.exr");
    EXPECT_NEAR(value("FocusPosition"), 3.5, 1e-6);

    // effective counts more than nominal, the used part of a sensor more than all of it
    write_with("more.exr", [](OIIO::ImageSpec& spec) {
        add_standard_lens(spec);
        spec.attribute("effectiveFocalLength", 51.5F);
        const int used[] = {100, 50, 2099, 1249};
        spec.attribute("sensorAcquisitionRectangle",
                       TypeDesc(TypeDesc::INT, TypeDesc::VEC2, 2), used);
        spec.attribute("sensorPhotositePitch", 8.0F);
    });
    set_lens_of("more.exr");
    EXPECT_NEAR(value("FocalLength"), 51.5, 1e-4);
    EXPECT_NEAR(value("FilmbackWidth"), 16.0, 1e-4);  // 2000 pixels of 8 micrometres
}

TEST_F(HeaderLens, ComesFromTheAttributesOfRenderersAndPhotographs) {
    write_with("vray.exr", [](OIIO::ImageSpec& spec) {
        spec.attribute("cameraFocalLength", 52.0F);
        spec.attribute("cameraFNumber", 8.0F);
        spec.attribute("cameraAperture", 36.0F);
        spec.attribute("cameraTargetDistance", 51.0F);
    });
    set_lens_of("vray.exr");
    expect_lens(52.0, 36.0, 8.0, 51.0);

    write_with("nuke.exr", [](OIIO::ImageSpec& spec) {
        spec.attribute("exr/CameraFocalLength", 40.0F);
        spec.attribute("exr/CameraFilmApertureHorizontal", "1.41732");
        spec.attribute("nuke/exr/aperture", "4");
        spec.attribute("rs/camera/DOFFocusDistance", 6.0F);
    });
    set_lens_of("nuke.exr");
    expect_lens(40.0, 35.999928, 4.0, 6.0);

    write_with("photo.exr", [](OIIO::ImageSpec& spec) {
        spec.attribute("Exif:FocalLength", 6.0F);
        spec.attribute("FNumber", 1.8F);
        spec.attribute("Exif:FocalLengthIn35mmFilm", 27);
        spec.attribute("Exif:SubjectDistance", 1.5F);
    });
    set_lens_of("photo.exr");
    expect_lens(6.0, 8.0, 1.8, 1500.0);
    write_with("exif.exr",
               [](OIIO::ImageSpec& spec) { spec.attribute("Exif:FNumber", 2.5F); });
    set_lens_of("exif.exr");
    EXPECT_NEAR(value("FStop"), 2.5, 1e-6);
    tool->set("FStop", "1.8");

    // numbers for "none", and values that no control takes
    write_with("odd.exr", [](OIIO::ImageSpec& spec) {
        spec.attribute("cameraTargetDistance", 1e18F);
        spec.attribute("Lens", "0.5 mm");
        spec.attribute("aperture", -2.0F);
    });
    const std::string told = set_lens_of("odd.exr");
    expect_lens(1.0, 8.0, 1.8, 1500.0);
    EXPECT_NE(told.find("says 0.5, which is out of range"), std::string::npos) << told;
    EXPECT_NE(told.find("does not tell FilmbackWidth, FStop, FocusPosition"),
              std::string::npos)
        << told;
}

TEST_F(HeaderLens, LeavesWhatIsKeptAndTheFocusOfANormalizedDepth) {
    write_with("in.exr", add_standard_lens);
    tool->set("FilmbackWidth", 36.0);
    tool->set("ApertureDiameter", 10.0);
    tool->set("DepthMapType", "Normalized");
    tool->set("FocusPosition", 0.25);
    set_lens_of("in.exr", {"FilmbackWidth", "ApertureDiameter"});
    expect_lens(50.0, 36.0, 5.0, 0.25);
    EXPECT_NEAR(value("ApertureDiameter"), 10.0, 1e-4);
}

// The focus is a depth of the file, whatever a user says that its numbers are.
TEST_F(HeaderLens, FocusesByTheScaleOfTheDepthWhereThereIsOne) {
    write_with("in.exr", add_standard_lens);
    shot_options options = shot("in.exr", "out.exr");
    options.load.depth.scale = 10.0;
    set_lens(*tool, options, {});
    EXPECT_NEAR(value("FocusPosition"), 350.0, 1e-3);

    options.load.depth.meaning = depth_meaning::INVERSE;
    tool->set("FocusPosition", 0.5);
    set_lens(*tool, options, {});
    EXPECT_EQ(value("FocusPosition"), 0.5);
}

TEST_F(HeaderLens, OfAShotBecomesKeysWhereItChanges) {
    for (const int frame : {1, 2, 4}) {
        write_with("in." + std::to_string(frame) + ".exr", [&](OIIO::ImageSpec& spec) {
            spec.attribute("nominalFocalLength", 35.0F);
            spec.attribute("focus", static_cast<float>(frame));
        });
    }
    shot_options options = shot("in.#.exr", "out.#.exr");
    options.frames = {1, 2, 3, 4};  // the third is missing
    const std::string told = set_lens(*tool, options, {});
    EXPECT_FALSE(tool->find("FocalLength").curve().is_animated());
    EXPECT_EQ(value("FocusPosition", 1), 1000.0);
    EXPECT_EQ(value("FocusPosition", 3), 3000.0);
    EXPECT_NE(told.find("keys from 1000 to 4000"), std::string::npos) << told;
}

TEST_F(HeaderLens, IsRefusedWhereThereIsNone) {
    write_with("in.exr", [](OIIO::ImageSpec&) {});
    const std::string none = error_of([&] { set_lens_of("in.exr"); });
    EXPECT_NE(none.find("in.exr: its header tells nothing of a lens"), std::string::npos)
        << none;
    const std::string missing = error_of([&] { set_lens_of("missing.exr"); });
    EXPECT_NE(missing.find("missing.exr: there is no such file"), std::string::npos);
}
