#include "host/api/tag_list.h"

#include <gtest/gtest.h>

TEST(TagList, GivesTheFirstValueOfATagUpToTheEndOfTheList) {
    int object = 0;
    TagList tags({{0x38040000, "Red"},
                  {0x10020001, 3},
                  {0x38040000, "Green"},
                  {0x20030004, 0.5F},
                  {0x60020000, &object},
                  {0x88020000, FuID("Image")},
                  {0, EndOfList()},
                  {0x10020002, 7}});
    EXPECT_EQ(tags.Pairs().size(), 6U);
    EXPECT_EQ(tags.Text(0x38040000), "Red");
    EXPECT_EQ(tags.Integer(0x10020001, 0), 3);
    EXPECT_EQ(tags.Number(0x20030004, 0.0), 0.5);
    EXPECT_EQ(tags.Pointer<int>(0x60020000), &object);
    EXPECT_EQ(tags.ID(0x88020000), FuID("Image"));

    EXPECT_EQ(tags.Integer(0x10020002, -1), -1) << "stands behind the end";
    EXPECT_EQ(tags.Number(0x20030000, 2.5), 2.5);
    EXPECT_EQ(tags.Text(0x30030003), "");
    EXPECT_EQ(tags.Pointer<void()>(0x60000000), nullptr);
    EXPECT_EQ(tags.ID(0x80030000), FuID());
    tags.Append(TagList({{0x10020001, 4}, {0x10020002, 5}}));
    EXPECT_EQ(tags.Integer(0x10020001, 0), 3);
    EXPECT_EQ(tags.Integer(0x10020002, 0), 5);
}
