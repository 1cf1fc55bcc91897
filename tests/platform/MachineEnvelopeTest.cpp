#include <TalSDK/platform/MachineEnvelope.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include "support/TestSupport.h"

namespace {

using TestSupport::ReadBlock;

std::string Written(const MSAXMachineEnvelope& envelope) {
  return TestSupport::WriteBlock("Envelope", envelope);
}

MSAXMachineEnvelope Envelope(std::int32_t dx, std::int32_t dy, std::int32_t dz) {
  MSAXMachineEnvelope envelope;
  envelope.m_dx = envelope.m_circleExtent = dx;
  envelope.m_dy = dy;
  envelope.m_dz = dz;
  return envelope;
}

}  // namespace

TEST(MachineEnvelopeTest, FitTestsAtAndJustPastTheLimits) {
  constexpr int kMax = std::numeric_limits<int>::max();
  const struct {
    MSAXMachineEnvelope envelope;
    TalSDK::Math::boundingbox<int, 3> box;
    bool biggerThanBox, biggerThanCircle;
  } cases[] = {
      {Envelope(100, 200, 300), {{-50, 20, -7}, {50, 220, 293}}, false, true},
      {Envelope(100, 200, 300), {{0, 0, 0}, {10, 10, 300}}, false, false},
      {Envelope(100, 200, 300), {{0, 0, 0}, {101, 200, 300}}, true, true},
      {Envelope(100, 200, 300), {{0, 0, 0}, {100, 201, 300}}, true, true},
      {Envelope(100, 200, 300), {{0, 0, 0}, {1, 1, 301}}, true, true},
      // The circle test holds the footprint's diagonal against 2 * m_dx and ignores m_dy:
      // 120² + 160² is exactly 4 * 100².
      {Envelope(100, 1, 100), {{-60, 0, 0}, {60, 160, 1}}, true, false},
      {Envelope(100, 1, 100), {{-60, 0, 0}, {60, 161, 1}}, true, true},
      {Envelope(1, 1, 100), {{0, 0, 0}, {2, 0, 1}}, true, false},  // 2² is exactly 4 * 1²
      // Products far beyond 32 bits, and 4 * extent² beyond 64 bits.
      {Envelope(2000000000, 5, 1), {{-1000000000, 0, 0}, {1000000000, 5, 1}}, false, false},
      {Envelope(2000000000, 5, 1), {{-1000000000, 0, 0}, {1000000001, 5, 1}}, true, false},
      {Envelope(1000000000, 5, 1), {{-1000000000, 7, 0}, {1000000000, 8, 1}}, true, true},
      {Envelope(1000000000, 5, 1), {{-1000000000, 7, 0}, {1000000000, 7, 1}}, true, false},
      {Envelope(kMax, kMax, 1), {{0, 0, 0}, {kMax, kMax, 1}}, false, false},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const auto& c = cases[i];
    EXPECT_EQ(c.envelope.IsBiggerThanBoxPltform(c.box), c.biggerThanBox) << "case " << i;
    EXPECT_EQ(c.envelope.IsBiggerThanCirclePlatform_Fast(c.box), c.biggerThanCircle)
        << "case " << i;
  }

  // The circle test follows m_circleExtent, which only differs from m_dx when set apart.
  MSAXMachineEnvelope apart = Envelope(1000, 1000, 1000);
  apart.m_circleExtent = 100;
  EXPECT_TRUE(apart.IsBiggerThanCirclePlatform_Fast({{0, 0, 0}, {150, 150, 1}}));
}

TEST(MachineEnvelopeTest, WriteReadAndDefaults) {
  // Only "Dx" sets the circle extent; values that do not convert are refused, changing nothing.
  MSAXMachineEnvelope read;
  read.m_circleExtent = 5;
  EXPECT_EQ(
      ReadBlock("<Envelope><Dy>20</Dy><Dz>30</Dz><Dx>x</Dx><Dy>3000000000</Dy></Envelope>", read)
          .size(),
      2u);
  EXPECT_TRUE(read == Envelope(10000000, 20, 30));
  EXPECT_EQ(read.m_circleExtent, 5);

  // Reading "Dx" sets the circle extent too.
  MSAXMachineEnvelope back;
  EXPECT_TRUE(ReadBlock(Written(Envelope(1, -2, 3)), back).empty());
  EXPECT_EQ(back.m_circleExtent, 1);

  // SetDefaults also resets the circle extent.
  back.m_circleExtent = 7;
  back.SetDefaults();
  EXPECT_EQ(back.m_circleExtent, 10000000);
}
