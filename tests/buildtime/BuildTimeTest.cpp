#include <TalSDK/buildtime/BuildTimeCalculation.h>
#include <TalSDK/buildtime/BuildtimePlatform.h>
#include <TalSDK/buildtime/CostFragments.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <TalSDK/sdk/common/Units.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include "support/TestSupport.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using P = MBuildtimeEstimatorParameter;
using Mode = TalSDK::MSaxPersistExtensibleObject;
using TalSDK::Common::ScopedConversionFactor;

namespace {

const std::string kHeader = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

PLATEAU_DATA Record(const wchar_t* name) {
  PLATEAU_DATA record;
  record.m_filename = name;
  return record;
}

MCostFragment Fragment(const wchar_t* name, P dependency, float unitCost = 0.0f) {
  MCostFragment fragment;
  fragment.SetName(name);
  fragment.SetDependency(dependency);
  fragment.SetUnitCost(unitCost);
  return fragment;
}

}  // namespace

// Single-precision steps as the application computes them, to the bit; no laser diameter gives
// an infinite speed, no penetration depth at the surface none at all.
TEST(BuildTimeTest, ScanSpeedFollowsTheWorkingCurveBitForBit) {
  BUILD_TIME_PARAMETERS params;
  auto& resin = params.m_machineAndResinParameters;
  EXPECT_EQ(params.SCAN_SNELHEID(resin.m_dp), 0x1.34f8e6p+9f);  // 617.94
  // Laser power, laser diameter, cure depth and the speed.
  using C = std::tuple<float, float, float, float>;
  for (const auto& [power, diameter, cureDepth, speed] :
       {C{20, 200, 0.05f, 0x1.363664p+10f}, C{20, 200, 0.2f, 0x1.f433a4p+8f},
        C{20, 200, 0.5f, 0x1.45214ep+6f}, C{35.5f, 130, 0.2f, 0x1.557bep+10f},
        C{20, 0, 0.2f, INFINITY}}) {
    resin.m_laserPower = power;
    resin.m_laserDiameter = diameter;
    EXPECT_EQ(params.SCAN_SNELHEID(cureDepth), speed)
        << power << " " << diameter << " " << cureDepth;
  }
  resin.m_dp = 0.0f;
  EXPECT_TRUE(std::isnan(params.SCAN_SNELHEID(0.0f)));
}

// The other defaults are in the default machine's reference file; none of them follows the unit.
TEST(BuildTimeTest, OnlyTheLayerThicknessDefaultFollowsTheUserUnit) {
  const ScopedConversionFactor inches(25.4);
  const PART_PARAMETERS part;
  EXPECT_THAT((std::vector{part.m_layerThickness, part.m_borderOC, RECOAT_PARAMETERS().m_endRange1,
                           MACHINE_EN_RESIN_PARAMETERS().m_laserDiameter}),
              ElementsAre(254, 30, 10000, 200));
}

// Texts are matched exactly; a value without a text fails the write before anything is written.
TEST(BuildTimeTest, TypeTextsAreStrictAndAnUnnamedTypeFailsTheWrite) {
  const char* texts[] = {"SlaParameters", "DrawingSpeed", "SelfLearning", "None", "none"};
  for (int i = 0; i < 5; ++i) {
    BUILD_TIME_CALCULATIE calculation;
    calculation.m_type = BuildTimeEstimationType{(i + 1) % 4};
    const std::string element = std::string("<Type>") + texts[i] + "</Type>";
    EXPECT_EQ(TestSupport::ReadBlock("<B>" + element + "</B>", calculation).size(), i / 4u);
    const int type = i < 4 ? i : 1;  // a refused text leaves the type
    EXPECT_EQ(calculation.m_type, BuildTimeEstimationType{type});
    EXPECT_THAT(TestSupport::WriteBlock("B", calculation),
                HasSubstr(std::string("  <Type>") + texts[type] + "</Type>\n"));
  }
  BUILD_TIME_CALCULATIE calculation;
  calculation.m_type = BuildTimeEstimationType{4};
  EXPECT_EQ(TestSupport::TryWriteBlock("B", calculation), std::pair(false, kHeader + "<B/>\n"));
}

TEST(BuildTimeTest, ReferenceBuildsAreReadOnlyInsideTheirListsInTheObjectsMode) {
  const std::string document =
      "<S><PlateauDataList><PlateauData><Filename>a</Filename></PlateauData>"
      "<PlateauData><Filename>b</Filename><Future>1</Future></PlateauData>"
      "<PlateauData><Filename>c</Filename></PlateauData></PlateauDataList>"
      "<PlateauData><Filename>outside</Filename></PlateauData>"
      "<PlateauDataList><PlateauData><Filename>d</Filename></PlateauData></PlateauDataList></S>";
  for (const Mode::OperatingMode mode :
       {Mode::eKeepUnhandledElements, Mode::eIgnoreUnhandledElements}) {
    SELF_LEARNING_PARAMETERS learning;
    learning.SetOperatingMode(mode);
    EXPECT_TRUE(TestSupport::ReadBlock(document, learning).empty());
    std::wstring names;
    for (const PLATEAU_DATA& record : learning.m_plateauDataList) {
      names += record.m_filename;
      EXPECT_EQ(record.GetOperatingMode(), mode);
    }
    EXPECT_EQ(names, L"abcd");
    // An unknown element inside a record stays with that record in keep mode.
    const PLATEAU_DATA& b = *std::next(learning.m_plateauDataList.begin());
    EXPECT_EQ(b.GetUnhandledElements().size(), mode == Mode::eKeepUnhandledElements ? 1u : 0u);
  }
}

// Copies are deep, switches included; lists compare item by item. "ZMinimumUse" does not count
// among the switches used. Only the calculation's SetDefaults resets values: the parameters'
// own drops nothing but its kept elements.
TEST(BuildTimeTest, SelfLearningSetsCopyDeeplyAndOnlyTheCalculationResets) {
  SELF_LEARNING_PARAMETERS source;
  source.m_plateauDataList.push_back(Record(L"a"));
  source.m_plateauDataList.push_back(Record(L"b"));
  EXPECT_EQ(source.NumParametersUsed(), 5u);
  source.m_zMinimumUse = source.m_fixedTimeUse = true;
  EXPECT_EQ(source.NumParametersUsed(), 6u);
  source.m_surfaceUse = source.m_deltaXUse = source.m_deltaYUse = true;
  SELF_LEARNING_PARAMETERS copy(source);
  EXPECT_EQ(copy.NumParametersUsed(), 9u);
  EXPECT_TRUE(copy == source);
  copy.m_plateauDataList.front().m_filename = L"changed";
  EXPECT_EQ(source.m_plateauDataList.front().m_filename, L"a");
  EXPECT_FALSE(copy == source);
  S_LIST<PLATEAU_DATA> shorter;
  shorter.push_back(Record(L"a"));
  EXPECT_FALSE(source.m_plateauDataList == shorter);
  shorter.push_back(Record(L"b"));
  EXPECT_TRUE(shorter == source.m_plateauDataList);

  BUILD_TIME_CALCULATIE calculation;
  calculation.m_type = BuildTimeEstimationType::SelfLearning;
  BUILD_TIME_PARAMETERS& params = calculation.m_buildTimeParameters;
  params.m_supportHeight = 7.0f;
  params.m_machineAndResinParameters.m_laserPower = 30.0f;
  params.AddUnhandledElement({"Future"});
  params.SetDefaults();
  EXPECT_TRUE(params.GetUnhandledElements().empty());
  EXPECT_EQ(params.m_supportHeight + params.m_machineAndResinParameters.m_laserPower, 37.0f);
  calculation.m_selfLearningParameters = source;
  EXPECT_TRUE(calculation.m_selfLearningParameters == source);
  calculation.SetDefaults();
  EXPECT_TRUE(calculation == BUILD_TIME_CALCULATIE());
}

// Every parameter of a platform made from a record, and of one made back from the record a
// platform gave: all but the fixed time, the bounding box (recomputed from the extents) and the
// unused last parameter come through.
TEST(BuildTimeTest, RecordsConvertToPlatformsAndBack) {
  const auto values = [](const MBuildtimePlatform& platform) {
    std::vector<double> result;
    for (unsigned int i = 0; i <= MBuildtimePlatform::kParameterCount; ++i)
      result.push_back(platform.GetParameter(i, false));
    return result;
  };
  PLATEAU_DATA record;
  ASSERT_TRUE(TestSupport::ReadBlock("<R><Filename>job</Filename><Volume>6</Volume><DeltaX>10"
                                     "</DeltaX><DeltaY>20</DeltaY><Height>5</Height><DeltaZ>42"
                                     "</DeltaZ></R>",
                                     record)
                  .empty());
  MBuildtimePlatform platform;
  platform.SetParameter(19, 77.0);
  platform.SetParameter(20, 5.0);  // past the last: ignored
  ConvertPlatform(record, platform);
  EXPECT_STREQ(platform.GetName(), L"job");
  EXPECT_EQ(values(platform), (std::vector<double>{1, 6, 0,    42, 0, 0, 10, 20, 5,  0, 0,
                                                   0, 0, 1000, 0,  0, 0, 0,  0,  77, 0}));
  EXPECT_TRUE(std::isinf(platform.GetParameter(1, true)));  // laser power 0

  MBuildtimePlatform source;
  source.SetName(L"source");
  for (unsigned int i = 0; i < MBuildtimePlatform::kParameterCount; ++i)
    source.SetParameter(i, 1.5 * (i + 1));
  PLATEAU_DATA target;
  target.m_addingDate = L"2020-01-01";
  target.m_author = L"me";
  ConvertPlatform(source, target);
  EXPECT_EQ(target.m_addingDate + target.m_author, L"2020-01-01me");
  MBuildtimePlatform back;
  ConvertPlatform(target, back);
  EXPECT_STREQ(back.GetName(), L"source");
  std::vector<double> expected = values(source);
  expected[0] = 1.0;
  expected[13] = 10.5 * 13.5 * 12.0;  // delta X, delta Z and delta Y
  expected[19] = 0.0;
  EXPECT_EQ(values(back), expected);

  EXPECT_STREQ(MBuildtimePlatform::GetParameterName(18), L"Laser Power");
  EXPECT_STREQ(MBuildtimePlatform::GetParameterName(19), L"No Parameter");
}

TEST(BuildTimeTest, FragmentUnitsFollowTheDependencyAndTheUserUnit) {
  MCostFragments costs;
  EXPECT_FALSE(costs.NeedTimeCalculation());
  costs.AddCostFragment(MCostFragment());
  EXPECT_TRUE(costs.NeedTimeCalculation());
  costs.GetCostFragment(0).SetDependency(P::Volume);
  EXPECT_FALSE(costs.NeedTimeCalculation());

  const double p = 2000000.0, f = 0.03937007874015748;
  MBuildtimePlatform platform;
  for (unsigned int i = 0; i < MBuildtimePlatform::kParameterCount; ++i)
    platform.SetParameter(i, p);
  // The dependency, then the units in millimetres and in inches.
  using C = std::tuple<P, double, double>;
  for (const auto& [dependency, metric, inches] :
       {C{P::Volume, p * 9.999999974752427e-7, p * f * f * f},
        C{P::VolumeBoundingBox, p * 9.999999974752427e-7, p * f * f * f},
        C{P::SurfaceArea, p * 0.009999999776482582, p * f * f}, C{P::DeltaX, p, p * f},
        C{P::NumberOfStls, p, p}, C{P::FixedTime, 1.0, 1.0}, C{P::XMin, 0.0, 0.0},
        C{P::MeasuredBuildTime, 0.0, 0.0}, C{P::LaserPower, 0.0, 0.0}}) {
    SCOPED_TRACE(static_cast<int>(dependency));
    costs.GetCostFragment(0) = Fragment(L"x", dependency, 3.0f);
    EXPECT_EQ(costs.CalculateTotalUnits(0, platform, 7200.0), metric);
    EXPECT_EQ(costs.CalculateFragmentCost(0, platform, 7200.0), 3.0 * metric);
    const ScopedConversionFactor unit(25.4);
    EXPECT_EQ(costs.CalculateTotalUnits(0, platform, 7200.0), inches);
  }
}

TEST(BuildTimeTest, DependencyTextsReadAndWriteBackAndOthersFailTheWrite) {
  // The texts in MBuildtimeEstimatorParameter order; "-" where a dependency has none.
  std::istringstream texts(
      "FixedTime Volume SupportVolume Surface MantleSurface XYSurface DeltaX DeltaY DeltaZ - - "
      "ZMinimum NumberOfStls VolumeOFBoundingBox - EstimatedBuildTime");
  std::string text;
  for (int i = 0; texts >> text; ++i) {
    if (text == "-") continue;
    MCostFragment fragment = Fragment(L"", P::XMin);
    const std::string element = "<Dependency>" + text + "</Dependency>";
    EXPECT_TRUE(TestSupport::ReadBlock("<F>" + element + "</F>", fragment).empty());
    EXPECT_EQ(fragment.GetDependency(), P(i));
    EXPECT_THAT(TestSupport::WriteBlock("F", fragment), HasSubstr(element));
  }
  MCostFragment fragment;
  EXPECT_EQ(TestSupport::ReadBlock("<F><Dependency>volume</Dependency></F>", fragment).size(), 1u);
  EXPECT_EQ(fragment.GetDependency(), P::EstimatedBuildTime);
}

// Fragments are read inside their lists alone, and a list does not empty the fragments before
// it. A dependency without a text stops the fragment's write after its name, and the list's
// there.
TEST(BuildTimeTest, FragmentListsAppendRemoveResetAndStopAtAnUnnamedDependency) {
  MCostFragments costs;
  EXPECT_TRUE(TestSupport::ReadBlock(
                  "<C><Currency>EUR</Currency><CostFragment><Name>outside</Name></CostFragment>"
                  "<CostFragmentList><CostFragment><Name>a</Name><Dependency>Volume</Dependency>"
                  "<UnitCost>1</UnitCost></CostFragment></CostFragmentList>"
                  "<CostFragmentList><CostFragment><Name>b</Name></CostFragment>"
                  "<CostFragment><Name>c</Name></CostFragment></CostFragmentList></C>",
                  costs)
                  .empty());
  const auto names = [&costs] {
    std::wstring all;
    for (std::size_t i = 0; i < costs.GetNumberOfCostFragments(); ++i)
      all += costs[i].GetName();
    return all;
  };
  EXPECT_EQ(names(), L"abc");
  costs.GetCostFragment(1).SetDependency(P::XMin);
  EXPECT_EQ(TestSupport::TryWriteBlock("C", costs),
            std::pair(false, kHeader + "<C>\n  <Currency>EUR</Currency>\n  <CostFragmentList>\n"
                                       "    <CostFragment>\n      <Name>a</Name>\n"
                                       "      <Dependency>Volume</Dependency>\n"
                                       "      <UnitCost>1</UnitCost>\n    </CostFragment>\n"
                                       "    <CostFragment>\n      <Name>b</Name>\n"
                                       "    </CostFragment>\n  </CostFragmentList>\n</C>\n"));
  costs.Remove(0);
  costs.Remove(2);  // just past the end: nothing
  EXPECT_EQ(names(), L"bc");
  costs.ClearList();
  EXPECT_EQ(names(), L"");

  MCostFragment fragment = Fragment(L"x", P::DeltaY, 4.0f);
  fragment.SetDefaults();
  EXPECT_TRUE(fragment == Fragment(L"", P::DeltaY, 4.0f));
  costs.AddCostFragment(fragment);
  costs.SetDefaults();
  EXPECT_EQ(costs.GetNumberOfCostFragments(), 0u);
  EXPECT_EQ(costs.GetCurrency(), L"");
}
