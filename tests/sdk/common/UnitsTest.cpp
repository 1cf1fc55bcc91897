#include "sdk/common/Units.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using TalSDK::Common::MInternalUnits;
using TalSDK::Common::ScopedConversionFactor;

TEST(UnitsTest, InternalUnitsPerUserUnitFollowTheScopedFactor) {
  EXPECT_EQ(MUnit::GetIE(), 1000);
  EXPECT_EQ(MInternalUnits::GetInstance().Get(), 1000.0);
  EXPECT_EQ(MUnit::GetISU(), 1000);
  {
    const ScopedConversionFactor inches(25.4);
    EXPECT_EQ(MUnit::GetISU(), 25400);
    EXPECT_EQ(MUnit::GetIE(), 1000);
    {
      const ScopedConversionFactor nested(0.0254);  // rounds to whole internal units
      EXPECT_EQ(MUnit::GetISU(), 25);
    }
    EXPECT_EQ(MInternalUnits::GetInstance().GetConversionFactor(), 25.4);
  }
  EXPECT_EQ(MInternalUnits::GetInstance().GetConversionFactor(), 1.0);
  EXPECT_EQ(MUnit::GetISU(), 1000);
}

TEST(UnitsTest, FactorsThatAreNotPositiveAndFiniteAreIgnored) {
  for (const double bad : {0.0, -25.4, std::numeric_limits<double>::quiet_NaN(),
                           std::numeric_limits<double>::infinity()}) {
    const ScopedConversionFactor scoped(bad);
    EXPECT_EQ(MInternalUnits::GetInstance().GetConversionFactor(), 1.0) << bad;
  }
  EXPECT_EQ(MInternalUnits::GetInstance().GetConversionFactor(), 1.0);
}

}  // namespace
