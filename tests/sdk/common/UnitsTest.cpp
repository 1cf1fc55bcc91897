#include <TalSDK/sdk/common/Units.h>

#include <gtest/gtest.h>

#include <limits>

namespace {

using TalSDK::Common::MInternalUnits;
using TalSDK::Common::ScopedConversionFactor;

TEST(UnitsTest, ScopedFactorsNestAndFactorsThatAreNotPositiveAndFiniteAreIgnored) {
  const auto factor = [] { return MInternalUnits::GetInstance().GetConversionFactor(); };
  EXPECT_EQ(MUnit::GetISU(), 1000);
  {
    const ScopedConversionFactor inches(25.4);
    EXPECT_EQ(MUnit::GetISU(), 25400);
    EXPECT_EQ(MUnit::GetIE(), 1000);
    {
      const ScopedConversionFactor nested(0.0257);  // 25.7 rounds to whole internal units
      EXPECT_EQ(MUnit::GetISU(), 26);
    }
    for (const double bad : {0.0, -25.4, std::numeric_limits<double>::quiet_NaN(),
                             std::numeric_limits<double>::infinity()}) {
      const ScopedConversionFactor ignored(bad);
      EXPECT_EQ(factor(), 25.4) << bad;
    }
    EXPECT_EQ(factor(), 25.4);
  }
  EXPECT_EQ(factor(), 1.0);
}

}  // namespace
