#include "pipeline/shots/frame_range.h"

#include <gtest/gtest.h>

#include "host/error.h"

using namespace focusfall;

TEST(FrameRange, ListsEachFrameOnceInTheOrderOfTheText) {
    EXPECT_EQ(parse_frames("1-10x4"), (std::vector{1, 5, 9}));
    EXPECT_EQ(parse_frames("8-9,20,7-10x3"), (std::vector{8, 9, 20, 7, 10}));
    EXPECT_EQ(parse_frames("-3--1,0"), (std::vector{-3, -2, -1, 0}));
    EXPECT_EQ(parse_frames("2147483647"), std::vector{2147483647});
    EXPECT_EQ(parse_frames("2147483646-2147483647x9").size(), 1U);
}

TEST(FrameRange, HasNoHolesAtItsOwnStep) {
    EXPECT_EQ(without_holes({1, 2, 4}), (std::vector{1, 2, 3, 4}));
    EXPECT_EQ(without_holes({-3, 1, 9}), (std::vector{-3, 1, 5, 9}));
    EXPECT_EQ(without_holes({7}), std::vector{7});
    EXPECT_EQ(without_holes({-2147483648, 2147483647}).size(), 2U);
    EXPECT_THROW(without_holes({1, 2, 2000000000}), headless::host_error);
}

TEST(FrameRange, IsShownInFewWordsThatReadBack) {
    EXPECT_EQ(shown_frames({1, 2, 3, 7, 9, 10, -5}), "1-3,7,9-10,-5");
    for (const std::vector<int>& frames :
         {std::vector<int>{-3, -2, 0, 4}, {5}, {9, 8, 7}}) {
        EXPECT_EQ(parse_frames(shown_frames(frames)), frames);
    }
}

TEST(FrameRange, RefusesWhatItDoesNotUnderstand) {
    for (const char* text : {"", ",", "1,", "1-", "a", "1-5x", "1-5x0", "1-5x-1", "5-1",
                             "1 - 5", "1-5x2x2", "99999999999", "1..5", "1-2000000",
                             "-2147483648-2147483647", "1-60000,1-60000"}) {
        EXPECT_THROW(parse_frames(text), headless::host_error) << text;
    }
}

TEST(FrameRange, PutsTheNumberIntoEveryPlaceOfTheName) {
    struct {
        const char* name;
        int frame;
        const char* result;
    } const cases[] = {
        {"a.####.exr", 7, "a.0007.exr"},
        {"a.%04d.exr", 7, "a.0007.exr"},
        {"a.#.exr", 123, "a.123.exr"},
        {"##/a.###.exr", 7, "07/a.007.exr"},
        {"a.%04d.exr", 123456, "a.123456.exr"},
        {"a.####.exr", -7, "a.-0007.exr"},
        {"100%.%x.exr", 7, "100%.%x.exr"},
        {"a.%04", 7, "a.%04"},
        {"#5.#", 7, "75.7"},
        {"", 7, ""},
        {"%99999999999d", 7, "00000000000000000007"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(frame_name(one.name, one.frame), one.result);
        const bool changed = std::string(one.name) != one.result;
        if (changed) {
            EXPECT_EQ(frame_number(one.name, one.result), one.frame);
        }
        EXPECT_EQ(has_frame_pattern(one.name), changed) << one.name;
    }
}
