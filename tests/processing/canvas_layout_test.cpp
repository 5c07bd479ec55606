#include "processing/canvas_layout.h"

#include <gtest/gtest.h>

namespace veyrin::test {
namespace {

ProcessorGeometry geometry(OutputLayout layout, int box_width, int box_height) {
  return {.source = {100, 100}, .eye_box = {box_width, box_height}, .layout = layout};
}

void expect_region(const EyeRegion& region, const EyeRegion& expected) {
  EXPECT_EQ(region.eye, expected.eye);
  EXPECT_EQ(region.begin, expected.begin);
  EXPECT_EQ(region.end, expected.end);
  EXPECT_EQ(region.image_begin, expected.image_begin);
  EXPECT_EQ(region.image_end, expected.image_end);
  EXPECT_EQ(region.first_table_column, expected.first_table_column);
}

TEST(CanvasLayout, OnlyFullSideBySideIsTwiceAsWide) {
  const Size box{64, 48};
  EXPECT_EQ(canvas_size(OutputLayout::mono_left, box), box);
  EXPECT_EQ(canvas_size(OutputLayout::mono_right, box), box);
  EXPECT_EQ(canvas_size(OutputLayout::full_sbs, box), (Size{128, 48}));
  EXPECT_EQ(canvas_size(OutputLayout::half_sbs, box), box);
}

TEST(CanvasLayout, AWidthOfTwoEyesBeyond32BitsIsClipped) {
  EXPECT_EQ(canvas_size(OutputLayout::full_sbs, {1073741823, 2}), (Size{2147483646, 2}));
  EXPECT_EQ(canvas_size(OutputLayout::full_sbs, {1073741824, 2}), (Size{2147483647, 2}));
  EXPECT_EQ(canvas_size(OutputLayout::full_sbs, {2147483647, 2}), (Size{2147483647, 2}));
  EXPECT_EQ(canvas_size(OutputLayout::full_sbs, {-2147483647, 2}), (Size{-2147483647 - 1, 2}));
}

TEST(CanvasLayout, EyeOfTheBoxsSizeHasNoPad) {
  const PlaneLayout layout = luma_layout(geometry(OutputLayout::mono_right, 40, 30), {40, 30});
  EXPECT_EQ(layout.rows, 30);
  EXPECT_EQ(layout.first_image_row, 0);
  EXPECT_EQ(layout.table_columns_per_column, 1);
  ASSERT_EQ(layout.eyes.size(), 1U);
  expect_region(layout.eyes[0], {Eye::right, 0, 40, 0, 40, 0});
}

TEST(CanvasLayout, PadsAreRoundedDownToEven) {
  const struct {
    int box, image, pad;
  } cases[] = {{40, 40, 0}, {42, 40, 0}, {44, 40, 2}, {46, 40, 2}, {48, 40, 4}, {50, 40, 4}, {60, 40, 10}};
  for (const auto& [box, image, pad] : cases) {
    const PlaneLayout layout = luma_layout(geometry(OutputLayout::mono_left, box, box), {image, image});
    EXPECT_EQ(layout.first_image_row, pad) << box;
    expect_region(layout.eyes[0], {Eye::left, 0, box, pad, pad + image, 0});
  }
}

TEST(CanvasLayout, FullSideBySidePutsTheRightEyeBehindTheLeftBox) {
  const PlaneLayout luma = luma_layout(geometry(OutputLayout::full_sbs, 48, 40), {40, 40});
  ASSERT_EQ(luma.eyes.size(), 2U);
  expect_region(luma.eyes[0], {Eye::left, 0, 48, 4, 44, 0});
  expect_region(luma.eyes[1], {Eye::right, 48, 96, 52, 92, 0});
  const PlaneLayout chroma = chroma_layout(geometry(OutputLayout::full_sbs, 48, 40), {40, 40});
  EXPECT_EQ(chroma.rows, 20);
  expect_region(chroma.eyes[0], {Eye::left, 0, 24, 2, 22, 0});
  expect_region(chroma.eyes[1], {Eye::right, 24, 48, 26, 46, 0});
}

TEST(CanvasLayout, HalfSideBySideTakesTwoTableColumnsPerColumn) {
  const PlaneLayout luma = luma_layout(geometry(OutputLayout::half_sbs, 48, 40), {40, 40});
  EXPECT_EQ(luma.table_columns_per_column, 2);
  expect_region(luma.eyes[0], {Eye::left, 0, 24, 2, 22, 0});
  expect_region(luma.eyes[1], {Eye::right, 24, 48, 26, 46, 0});
}

TEST(CanvasLayout, SqueezedChromaWithAnOddPadStartsOnTheSecondTableColumn) {
  // A luma pad of 2 is one chroma column, so canvas column 1 covers chroma table columns 1 and 2, and the
  // last one covers column 19 and what lies behind the image.
  const PlaneLayout chroma = chroma_layout(geometry(OutputLayout::half_sbs, 44, 40), {40, 40});
  expect_region(chroma.eyes[0], {Eye::left, 0, 11, 1, 11, 1});
}

TEST(CanvasLayout, OddHalfBoxGivesTheRightEyeTheMiddleChromaColumn) {
  const PlaneLayout luma = luma_layout(geometry(OutputLayout::half_sbs, 38, 40), {38, 40});
  expect_region(luma.eyes[0], {Eye::left, 0, 19, 0, 19, 0});
  expect_region(luma.eyes[1], {Eye::right, 19, 38, 19, 38, 0});
  const PlaneLayout chroma = chroma_layout(geometry(OutputLayout::half_sbs, 38, 40), {38, 40});
  expect_region(chroma.eyes[0], {Eye::left, 0, 9, 0, 9, 0});
  expect_region(chroma.eyes[1], {Eye::right, 9, 19, 9, 19, 0});
}

}  // namespace
}  // namespace veyrin::test
