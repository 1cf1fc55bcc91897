#include <TalSDK/platform/MachineLaserOverlaps.h>

#include <gtest/gtest.h>

#include <string>

#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include "support/TestSupport.h"

namespace {

using List = MSAXMachineLaserOverlaps;
using Overlap = MSAXMachineLaserOverlaps::LaserOverlap;
using Color = TalSDK::Common::Color;
using TestSupport::ReadBlock;

std::string Written(const List& overlaps) {
  return TestSupport::WriteBlock("LaserOverlaps", overlaps);
}

Overlap MakeOverlap(DirectionAxis orientation, int position, int width) {
  Overlap overlap;
  overlap.orientation = orientation;
  overlap.position = position;
  overlap.width = width;
  return overlap;
}

}  // namespace

TEST(MachineLaserOverlapsTest, ReadingRefusesUnknownOrientationsAndMalformedColours) {
  // Each overlap starts from the defaults; a refused value keeps what was read before it.
  List read;
  EXPECT_EQ(ReadBlock("<LaserOverlaps>"
                      "<Overlap><Orientation>Y</Orientation><Position>-5</Position>"
                      "<Width>7</Width><Color> 0 0.25\t1 0.5 </Color></Overlap>"
                      "<Overlap><Position>9</Position>"
                      "<Orientation>Z</Orientation><Orientation>x</Orientation>"
                      "<Orientation> X</Orientation>"
                      "<Color>1 0 0</Color><Color>1 0 0 1 1</Color><Color>1 0 x 1</Color>"
                      "</Overlap>"
                      "<Overlap><Orientation>Y</Orientation><Orientation>X</Orientation></Overlap>"
                      "</LaserOverlaps>",
                      read)
                .size(),
            6u);
  ASSERT_EQ(read.m_overlaps.size(), 3u);
  EXPECT_TRUE(read.m_overlaps[0] == MakeOverlap(DirectionAxis::Y, -5, 7));
  EXPECT_EQ(read.m_overlaps[0].color, (Color{0.0f, 0.25f, 1.0f, 0.5f}));
  EXPECT_TRUE(read.m_overlaps[1] == MakeOverlap(DirectionAxis::X, 9, 0));
  EXPECT_EQ(read.m_overlaps[1].color, (Color{1.0f, 0.0f, 0.0f, 1.0f}));
  EXPECT_TRUE(read.m_overlaps[2] == Overlap());
}

// Extreme values and colours read back; an orientation without a text is written empty, which
// reading refuses, leaving X.
TEST(MachineLaserOverlapsTest, WrittenAndReadBack) {
  List full;
  full.m_overlaps = {MakeOverlap(DirectionAxis::Y, -2147483647 - 1, 2147483647),
                     MakeOverlap(static_cast<DirectionAxis>(2), 5, -6)};
  full.m_overlaps[0].color = {0.5f, 0.1f, 0.0f, 0.75f};
  const std::string text = Written(full);
  EXPECT_NE(text.find("<Color>0.5 0.1 0 0.75</Color>"), std::string::npos);
  EXPECT_NE(text.find("<Orientation/>"), std::string::npos);
  List back;
  EXPECT_EQ(ReadBlock(text, back).size(), 1u);
  full.m_overlaps[1].orientation = DirectionAxis::X;
  EXPECT_TRUE(back == full);
  EXPECT_EQ(back.m_overlaps[0].color, full.m_overlaps[0].color);
  back.SetDefaults();
  EXPECT_TRUE(back == List());
}
