#include "platform/MachineLaserOverlaps.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "sdk/sax/SAXReader.h"
#include "sdk/sax/SAXWriter.h"
#include "support/TestSupport.h"

namespace {

using List = MSAXMachineLaserOverlaps;
using Overlap = MSAXMachineLaserOverlaps::LaserOverlap;
using Color = TalSDK::Common::Color;
using Mode = TalSDK::MSaxPersistExtensibleObject;

const std::string kHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

std::string Written(const MSAXMachineLaserOverlaps& overlaps) {
  return TestSupport::WriteBlock("LaserOverlaps", overlaps);
}

// Reads a whole "LaserOverlaps" document into `overlaps`; returns how many elements were refused.
std::size_t Read(const std::string& document, MSAXMachineLaserOverlaps& overlaps) {
  return TestSupport::ReadBlock(document, overlaps).size();
}

Overlap MakeOverlap(DirectionAxis orientation, int position, int width) {
  Overlap overlap;
  overlap.orientation = orientation;
  overlap.position = position;
  overlap.width = width;
  return overlap;
}

}  // namespace

TEST(MachineLaserOverlapsTest, DefaultsAsWritten) {
  MSAXMachineLaserOverlaps overlaps;
  EXPECT_EQ(Written(overlaps), kHead + "<LaserOverlaps/>\n");
  overlaps.m_overlaps.emplace_back();
  overlaps.m_overlaps.push_back(MakeOverlap(static_cast<DirectionAxis>(2), 5, -6));
  EXPECT_EQ(Written(overlaps), kHead +
                                   "<LaserOverlaps>\n"
                                   "  <Overlap>\n"
                                   "    <Orientation>X</Orientation>\n"
                                   "    <Position>0</Position>\n"
                                   "    <Width>0</Width>\n"
                                   "    <Color>1 0 0 1</Color>\n"
                                   "  </Overlap>\n"
                                   "  <Overlap>\n"
                                   "    <Orientation/>\n"
                                   "    <Position>5</Position>\n"
                                   "    <Width>-6</Width>\n"
                                   "    <Color>1 0 0 1</Color>\n"
                                   "  </Overlap>\n"
                                   "</LaserOverlaps>\n");
}

TEST(MachineLaserOverlapsTest, ReadingRefusesUnknownOrientationsAndMalformedColours) {
  // Each overlap starts from the defaults; a refused value keeps what was read before it.
  MSAXMachineLaserOverlaps read;
  EXPECT_EQ(Read("<LaserOverlaps>"
                 "<Overlap><Orientation>Y</Orientation><Position>-5</Position><Width>7</Width>"
                 "<Color> 0 0.25\t1 0.5 </Color></Overlap>"
                 "<Overlap><Position>9</Position>"
                 "<Orientation>Z</Orientation><Orientation>x</Orientation>"
                 "<Orientation> X</Orientation><Orientation/><Orientation>0</Orientation>"
                 "<Color>1 0 0</Color><Color>1 0 0 1 1</Color><Color>1 0 x 1</Color></Overlap>"
                 "<Overlap><Orientation>Y</Orientation><Orientation>X</Orientation></Overlap>"
                 "</LaserOverlaps>",
                 read),
            8u);
  ASSERT_EQ(read.m_overlaps.size(), 3u);
  EXPECT_TRUE(read.m_overlaps[0] == MakeOverlap(DirectionAxis::Y, -5, 7));
  EXPECT_EQ(read.m_overlaps[0].color, (Color{0.0f, 0.25f, 1.0f, 0.5f}));
  EXPECT_TRUE(read.m_overlaps[1] == MakeOverlap(DirectionAxis::X, 9, 0));
  EXPECT_EQ(read.m_overlaps[1].color, Overlap().color);
  EXPECT_TRUE(read.m_overlaps[2] == Overlap());
  EXPECT_EQ(Overlap().color, (Color{1.0f, 0.0f, 0.0f, 1.0f}));
}

TEST(MachineLaserOverlapsTest, EqualityLeavesTheColourOut) {
  List base;
  base.m_overlaps = {MakeOverlap(DirectionAxis::X, 1, 2), MakeOverlap(DirectionAxis::Y, 3, 4)};
  EXPECT_TRUE(base == base);
  const struct {
    void (*change)(List&);
    bool equal;
  } cases[] = {
      {[](List& l) {
         l.m_overlaps[0].color = Color{0, 0, 1, 0};
       },
       true},
      {[](List& l) { l.m_overlaps[1].SetOperatingMode(Mode::eIgnoreUnhandledElements); }, true},
      {[](List& l) { l.m_overlaps[1].position = 0; }, false},
      {[](List& l) { l.m_overlaps[1].width = 0; }, false},
      {[](List& l) { l.m_overlaps[1].orientation = DirectionAxis::X; }, false},
      {[](List& l) { l.m_overlaps[1].AddUnhandledElement({"Laser"}); }, false},
      {[](List& l) { l.AddUnhandledElement({"Lasers"}); }, false},
      {[](List& l) { l.m_overlaps.emplace_back(); }, false},
      {[](List& l) { std::swap(l.m_overlaps[0], l.m_overlaps[1]); }, false},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    List changed = base;
    cases[i].change(changed);
    EXPECT_EQ(changed == base, cases[i].equal) << "case " << i;
    EXPECT_EQ(changed != base, !cases[i].equal) << "case " << i;
  }
}

TEST(MachineLaserOverlapsTest, KeptElementsAtBothLevels) {
  MSAXMachineLaserOverlaps full;
  full.m_overlaps = {MakeOverlap(DirectionAxis::Y, -2147483647 - 1, 2147483647),
                     MakeOverlap(DirectionAxis::X, 30, 40)};
  full.m_overlaps[0].color = {0.5f, 0.1f, 0.0f, 0.75f};
  full.m_overlaps[1].AddUnhandledElement({"Laser", "2"});
  full.AddUnhandledElement({"Lasers", "4"});
  const std::string text = Written(full);
  EXPECT_NE(text.find("<Color>0.5 0.1 0 0.75</Color>"), std::string::npos) << text;
  EXPECT_NE(text.find("    <Laser>2</Laser>\n  </Overlap>\n  <Lasers>4</Lasers>\n</L"),
            std::string::npos)
      << text;

  MSAXMachineLaserOverlaps back;
  EXPECT_EQ(Read(text, back), 0u);
  EXPECT_TRUE(back == full);
  EXPECT_EQ(back.m_overlaps[0].color, full.m_overlaps[0].color);
  EXPECT_EQ(back.GetUnhandledElementsFromAllNodes().size(), 2u);
  const auto nodes = back.GetExtensibleObjectNodes();
  ASSERT_EQ(nodes.size(), 3u);
  EXPECT_EQ(&nodes[2].get(), &back.m_overlaps[1]);

  // A list that drops unknown elements makes its overlaps drop theirs too.
  MSAXMachineLaserOverlaps dropping;
  dropping.SetOperatingMode(Mode::eIgnoreUnhandledElements);
  EXPECT_EQ(Read(text, dropping), 0u);
  EXPECT_EQ(dropping.m_overlaps[1].GetOperatingMode(), Mode::eIgnoreUnhandledElements);
  EXPECT_TRUE(dropping.GetUnhandledElementsFromAllNodes().empty());

  dropping.SetDefaults();
  EXPECT_TRUE(dropping == MSAXMachineLaserOverlaps());
  EXPECT_EQ(dropping.GetOperatingMode(), Mode::eIgnoreUnhandledElements);
  Overlap& overlap = full.m_overlaps[1];
  overlap.SetOperatingMode(Mode::eIgnoreUnhandledElements);
  overlap.SetDefaults();
  EXPECT_TRUE(overlap == Overlap());
  EXPECT_EQ(overlap.GetOperatingMode(), Mode::eIgnoreUnhandledElements);
}
