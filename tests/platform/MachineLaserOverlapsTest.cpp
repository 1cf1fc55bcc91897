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
using Mode = TalSDK::MSaxPersistExtensibleObject;
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

TEST(MachineLaserOverlapsTest, WrittenWithKeptElementsAtBothLevelsAndReadBack) {
  const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  EXPECT_EQ(Written(List()), head + "<LaserOverlaps/>\n");
  List full;
  full.m_overlaps = {Overlap(), MakeOverlap(DirectionAxis::Y, -2147483647 - 1, 2147483647),
                     MakeOverlap(static_cast<DirectionAxis>(2), 5, -6)};
  full.m_overlaps[1].color = {0.5f, 0.1f, 0.0f, 0.75f};
  full.m_overlaps[1].AddUnhandledElement({"Laser", "2"});
  full.AddUnhandledElement({"Lasers", "4"});
  const std::string text = Written(full);
  EXPECT_EQ(text, head +
                      "<LaserOverlaps>\n"
                      "  <Overlap>\n"
                      "    <Orientation>X</Orientation>\n"
                      "    <Position>0</Position>\n"
                      "    <Width>0</Width>\n"
                      "    <Color>1 0 0 1</Color>\n"
                      "  </Overlap>\n"
                      "  <Overlap>\n"
                      "    <Orientation>Y</Orientation>\n"
                      "    <Position>-2147483648</Position>\n"
                      "    <Width>2147483647</Width>\n"
                      "    <Color>0.5 0.1 0 0.75</Color>\n"
                      "    <Laser>2</Laser>\n"
                      "  </Overlap>\n"
                      "  <Overlap>\n"
                      "    <Orientation/>\n"
                      "    <Position>5</Position>\n"
                      "    <Width>-6</Width>\n"
                      "    <Color>1 0 0 1</Color>\n"
                      "  </Overlap>\n"
                      "  <Lasers>4</Lasers>\n"
                      "</LaserOverlaps>\n");

  // The orientation written empty is refused on reading and stays X.
  List back;
  EXPECT_EQ(ReadBlock(text, back).size(), 1u);
  full.m_overlaps[2].orientation = DirectionAxis::X;
  EXPECT_TRUE(back == full);
  EXPECT_EQ(back.m_overlaps[1].color, full.m_overlaps[1].color);
  const auto nodes = back.GetExtensibleObjectNodes();
  ASSERT_EQ(nodes.size(), 4u);
  EXPECT_EQ(&nodes[2].get(), &back.m_overlaps[1]);
  back.SetDefaults();
  EXPECT_TRUE(back.GetUnhandledElementsFromAllNodes().empty());
  EXPECT_TRUE(back == List());

  // A list that drops unknown elements makes its overlaps drop theirs too; SetDefaults keeps
  // the mode of the list and of an overlap.
  List dropping;
  dropping.SetOperatingMode(Mode::eIgnoreUnhandledElements);
  ReadBlock(text, dropping);
  EXPECT_EQ(dropping.m_overlaps[1].GetOperatingMode(), Mode::eIgnoreUnhandledElements);
  EXPECT_TRUE(dropping.GetUnhandledElementsFromAllNodes().empty());
  Overlap overlap = dropping.m_overlaps[1];
  overlap.SetDefaults();
  EXPECT_TRUE(overlap == Overlap());
  EXPECT_EQ(overlap.GetOperatingMode(), Mode::eIgnoreUnhandledElements);
  dropping.SetDefaults();
  EXPECT_TRUE(dropping == List());
  EXPECT_EQ(dropping.GetOperatingMode(), Mode::eIgnoreUnhandledElements);
}
