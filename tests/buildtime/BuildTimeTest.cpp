#include <TalSDK/buildtime/BuildTimeCalculation.h>
#include <TalSDK/buildtime/BuildtimePlatform.h>
#include <TalSDK/buildtime/CostFragments.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
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

// Writes `block` inside `tag` into `out`; returns whether the block's Write succeeded.
bool TryWrite(const char* tag, const ISAXPersistBase& block, std::string& out) {
  bool written = false;
  std::tie(written, out) = TestSupport::TryWriteBlock(tag, block);
  return written;
}

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

TEST(BuildTimeTest, ScanSpeedFollowsTheWorkingCurveBitForBit) {
  BUILD_TIME_PARAMETERS params;
  auto& resin = params.m_machineAndResinParameters;
  EXPECT_NEAR(params.SCAN_SNELHEID(resin.m_dp), 617.94, 0.01);
  const struct {
    float power, diameter, cureDepth;
  } cases[] = {{20, 200, 0.05f}, {20, 200, 0.2f}, {20, 200, 0.5f}, {35.5f, 130, 0.2f}};
  for (const auto& c : cases) {
    resin.m_laserPower = c.power;
    resin.m_laserDiameter = c.diameter;
    const int ie = 1000;
    double numerator = static_cast<double>(c.power) * 0.79788;
    const float radius = static_cast<float>(static_cast<double>(c.diameter) / (2.0 * ie));
    numerator = numerator / radius;
    const float exposure = std::exp(c.cureDepth / resin.m_dp) * resin.m_ec;
    EXPECT_EQ(std::bit_cast<std::uint32_t>(params.SCAN_SNELHEID(c.cureDepth)),
              std::bit_cast<std::uint32_t>(static_cast<float>(numerator / exposure)))
        << c.cureDepth;
  }
  resin.m_laserDiameter = 0.0f;
  EXPECT_TRUE(std::isinf(params.SCAN_SNELHEID(0.2f)));
  resin.m_laserDiameter = 200.0f;
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

TEST(BuildTimeTest, ParametersUsedCountEveryUseSwitchButZMinimum) {
  SELF_LEARNING_PARAMETERS learning;
  EXPECT_EQ(learning.NumParametersUsed(), 5u);
  learning.m_zMinimumUse = true;
  EXPECT_EQ(learning.NumParametersUsed(), 5u);
  learning.m_fixedTimeUse = true;
  EXPECT_EQ(learning.NumParametersUsed(), 6u);
  learning.m_surfaceUse = learning.m_deltaXUse = learning.m_deltaYUse = true;
  EXPECT_EQ(learning.NumParametersUsed(), 9u);
}

TEST(BuildTimeTest, TypeTextsAreStrictAndAnUnnamedTypeFailsTheWrite) {
  const char* texts[] = {"SlaParameters", "DrawingSpeed", "SelfLearning", "None"};
  for (int i = 0; i < 4; ++i) {
    BUILD_TIME_CALCULATIE calculation;
    calculation.m_type = BuildTimeEstimationType{(i + 1) % 4};
    const std::string element = std::string("<Type>") + texts[i] + "</Type>";
    EXPECT_TRUE(TestSupport::ReadBlock("<B>" + element + "</B>", calculation).empty());
    EXPECT_EQ(calculation.m_type, BuildTimeEstimationType{i});
    EXPECT_THAT(TestSupport::WriteBlock("B", calculation), HasSubstr("  " + element + "\n"));
  }
  BUILD_TIME_CALCULATIE calculation;
  calculation.m_type = BuildTimeEstimationType::DrawingSpeed;
  EXPECT_EQ(TestSupport::ReadBlock("<B><Type>none</Type></B>", calculation).size(), 1u);
  EXPECT_EQ(calculation.m_type, BuildTimeEstimationType::DrawingSpeed);

  calculation.m_type = BuildTimeEstimationType{4};
  std::string out;
  EXPECT_FALSE(TryWrite("B", calculation, out));
  EXPECT_EQ(out, kHeader + "<B/>\n");
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
    std::vector<std::wstring> names;
    for (const PLATEAU_DATA& record : learning.m_plateauDataList) {
      names.push_back(record.m_filename);
      EXPECT_EQ(record.GetOperatingMode(), mode);
    }
    EXPECT_THAT(names, ElementsAre(L"a", L"b", L"c", L"d"));
    // An unknown element inside a record stays with that record in keep mode.
    const PLATEAU_DATA& b = *std::next(learning.m_plateauDataList.begin());
    EXPECT_EQ(b.GetUnhandledElements().size(), mode == Mode::eKeepUnhandledElements ? 1u : 0u);
  }
}

TEST(BuildTimeTest, ReferenceListsCopyDeeplyAndCompareItemByItem) {
  SELF_LEARNING_PARAMETERS source;
  source.m_plateauDataList.push_back(Record(L"a"));
  source.m_plateauDataList.push_back(Record(L"b"));
  SELF_LEARNING_PARAMETERS copy(source);
  EXPECT_TRUE(copy == source);
  copy.m_plateauDataList.front().m_filename = L"changed";
  EXPECT_EQ(source.m_plateauDataList.front().m_filename, L"a");
  EXPECT_FALSE(copy == source);

  S_LIST<PLATEAU_DATA> shorter;
  shorter.push_back(Record(L"a"));
  EXPECT_FALSE(source.m_plateauDataList == shorter);
  shorter.push_back(Record(L"b"));
  EXPECT_TRUE(shorter == source.m_plateauDataList);
}

TEST(BuildTimeTest, OnlyTheCalculationsSetDefaultsResetsValues) {
  BUILD_TIME_CALCULATIE calculation;
  calculation.m_type = BuildTimeEstimationType::SelfLearning;
  BUILD_TIME_PARAMETERS& params = calculation.m_buildTimeParameters;
  params.m_supportHeight = 7.0f;
  params.m_machineAndResinParameters.m_laserPower = 30.0f;
  params.AddUnhandledElement({"Future"});
  params.SetDefaults();
  EXPECT_TRUE(params.GetUnhandledElements().empty());
  EXPECT_EQ(params.m_supportHeight, 7.0f);
  EXPECT_EQ(params.m_machineAndResinParameters.m_laserPower, 30.0f);

  calculation.m_selfLearningParameters.m_plateauDataList.push_back(Record(L"a"));
  calculation.SetDefaults();
  EXPECT_TRUE(calculation == BUILD_TIME_CALCULATIE());
}

TEST(BuildTimeTest, RecordsConvertToPlatformsAndBack) {
  PLATEAU_DATA record;
  const char* document =
      "<R><Filename>job</Filename><Volume>6</Volume><DeltaX>10</DeltaX>"
      "<DeltaY>20</DeltaY><Height>5</Height><DeltaZ>42</DeltaZ></R>";
  ASSERT_TRUE(TestSupport::ReadBlock(document, record).empty());
  MBuildtimePlatform platform;
  platform.SetParameter(19, 77.0);
  platform.SetParameter(20, 5.0);  // past the last: ignored, nothing else is touched
  ConvertPlatform(record, platform);
  EXPECT_STREQ(platform.GetName(), L"job");
  std::vector<double> values;
  for (unsigned int i : {0u, 3u, 8u, 13u, 19u})
    values.push_back(platform.GetParameter(i, false));
  EXPECT_THAT(values, ElementsAre(1.0, 42.0, 5.0, 1000.0, 77.0));
  EXPECT_TRUE(std::isinf(platform.GetParameter(1, true)));  // laser power 0
  EXPECT_EQ(platform.GetParameter(20, false), 0.0);

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
  for (unsigned int i = 1; i < 19; ++i) {
    if (i == 13) continue;  // the bounding box is recomputed from the extents
    EXPECT_EQ(back.GetParameter(i, false), source.GetParameter(i, false)) << i;
  }

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
  costs.GetCostFragment(0) = Fragment(L"machine", P::EstimatedBuildTime, 90.0f);
  EXPECT_EQ(costs.CalculateFragmentCost(0, MBuildtimePlatform(), 7200.0), 180.0);

  const double p = 2000000.0;
  const double f = 0.03937007874015748;
  const struct {
    P dependency;
    double metric, inches;
  } cases[] = {{P::Volume, p * 9.999999974752427e-7, p * f * f * f},
               {P::VolumeBoundingBox, p * 9.999999974752427e-7, p * f * f * f},
               {P::SurfaceArea, p * 0.009999999776482582, p * f * f},
               {P::DeltaX, p, p * f},
               {P::NumberOfStls, p, p},
               {P::FixedTime, 1.0, 1.0},
               {P::ZProjSurface, 0.0, 0.0},
               {P::XMin, 0.0, 0.0},
               {P::MeasuredBuildTime, 0.0, 0.0},
               {P::LaserPower, 0.0, 0.0}};
  MBuildtimePlatform platform;
  for (unsigned int i = 0; i < MBuildtimePlatform::kParameterCount; ++i)
    platform.SetParameter(i, p);
  for (const auto& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.dependency));
    costs.GetCostFragment(0) = Fragment(L"x", c.dependency, 3.0f);
    EXPECT_EQ(costs.CalculateTotalUnits(0, platform, 7200.0), c.metric);
    EXPECT_EQ(costs.CalculateFragmentCost(0, platform, 7200.0), 3.0 * c.metric);
    const ScopedConversionFactor inches(25.4);
    EXPECT_EQ(costs.CalculateTotalUnits(0, platform, 7200.0), c.inches);
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

  std::string out;
  EXPECT_FALSE(TryWrite("F", Fragment(L"x", P::XMin, 2.0f), out));
  EXPECT_EQ(out, kHeader + "<F>\n  <Name>x</Name>\n</F>\n");
  MCostFragments costs;
  costs.AddCostFragment(Fragment(L"a", P::Volume, 1.0f));
  costs.AddCostFragment(Fragment(L"b", P::XMin));
  costs.AddCostFragment(Fragment(L"c", P::Volume));
  costs.SetCurrency(L"EUR");
  out.clear();
  EXPECT_FALSE(TryWrite("C", costs, out));
  EXPECT_EQ(out, kHeader +
                     "<C>\n  <Currency>EUR</Currency>\n  <CostFragmentList>\n    <CostFragment>\n"
                     "      <Name>a</Name>\n      <Dependency>Volume</Dependency>\n"
                     "      <UnitCost>1</UnitCost>\n    </CostFragment>\n    <CostFragment>\n"
                     "      <Name>b</Name>\n    </CostFragment>\n  </CostFragmentList>\n</C>\n");
}

TEST(BuildTimeTest, FragmentListsAppendRemoveAndReset) {
  MCostFragments costs;
  const char* document =
      "<C><CostFragment><Name>outside</Name></CostFragment>"
      "<CostFragmentList><CostFragment><Name>a</Name></CostFragment></CostFragmentList>"
      "<CostFragmentList><CostFragment><Name>b</Name></CostFragment>"
      "<CostFragment><Name>c</Name></CostFragment></CostFragmentList></C>";
  EXPECT_TRUE(TestSupport::ReadBlock(document, costs).empty());
  ASSERT_EQ(costs.GetNumberOfCostFragments(), 3u);
  EXPECT_EQ(costs[0].GetName() + costs[1].GetName() + costs[2].GetName(), L"abc");
  costs.Remove(0);
  costs.Remove(5);
  ASSERT_EQ(costs.GetNumberOfCostFragments(), 2u);
  EXPECT_EQ(costs[0].GetName() + costs[1].GetName(), L"bc");
  costs.ClearList();
  EXPECT_EQ(costs.GetNumberOfCostFragments(), 0u);

  MCostFragment fragment = Fragment(L"x", P::DeltaY, 4.0f);
  fragment.SetDefaults();
  EXPECT_TRUE(fragment == Fragment(L"", P::DeltaY, 4.0f));
  costs.SetCurrency(L"EUR");
  costs.SetDefaults();
  EXPECT_EQ(costs.GetNumberOfCostFragments(), 0u);
  EXPECT_EQ(costs.GetCurrency(), L"");
}
