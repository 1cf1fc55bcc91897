#include <TalSDK/conceptlaser/CLLengthMode.h>
#include <TalSDK/conceptlaser/CLParameters.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <TalSDK/sdk/sax/SAXError.h>
#include "support/TestSupport.h"

namespace {

using TalAM::Persistence::GetClLengthMode;
using TalAM::Persistence::ScopedClLengthMode;
using TalAM::Persistence::SetClLengthMode;

constexpr const char* kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CLParameterFile xmlns:CL=\"urn:ConceptLaser\">\n";

bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// Save and Load use millimetres whatever the mode, and give the mode back on every way out:
// success, failure, and an exception from the writer.
TEST(CLFileTest, DefaultSetIsWrittenAsByHandAndLoadsBackUnderTheFileName) {
  const ScopedClLengthMode outer(2);
  TestSupport::TempDirectory directory;
  const auto path = directory.File("set\\a.cl.xml");  // a '\' separates names as well as '/'
  MCLParameters set;
  ASSERT_TRUE(set.Save(path.wstring()));
  EXPECT_EQ(GetClLengthMode(), 2);
  // Checked by hand once: lengths in millimetres.
  EXPECT_EQ(TestSupport::ReadFile(path),
            TestSupport::ReadFile(TEST_DATA "/conceptlaser/data/default-set.cl.xml"));

  MCLParameters loaded;
  ASSERT_TRUE(loaded.Load(path.wstring()));
  EXPECT_EQ(GetClLengthMode(), 2);
  EXPECT_EQ(loaded.GetName(), L"a.cl.xml");
  loaded.SetName(L"");
  EXPECT_EQ(loaded, MCLParameters());  // "Default" is no named set
  // A drive prefix ends the directory part as well; a digit is no drive.
  const auto workingDirectory = std::filesystem::current_path();
  std::filesystem::current_path(directory.Path());
  for (const auto& [file, name] :
       {std::pair{L"C:b.cl.xml", L"b.cl.xml"}, {L"C:", L""}, {L"1:c.xml", L"1:c.xml"}}) {
    EXPECT_TRUE(set.Save(file));
    EXPECT_TRUE(loaded.Load(file));
    EXPECT_EQ(loaded.GetName(), name);
  }
  std::filesystem::current_path(workingDirectory);

  EXPECT_FALSE(set.Load(directory.File("absent.xml").wstring()));
  EXPECT_FALSE(set.Save((directory.Path() / "no" / "dir.xml").wstring()));
  set.SetCLWRXParameterName(std::wstring(1, static_cast<wchar_t>(0xD800)));  // no character
  EXPECT_THROW(set.Save(directory.File("bad.xml").wstring()), TalSDK::FileIO::MSAXError::MGeneric);
  EXPECT_EQ(GetClLengthMode(), 2);
}

// Modes 0 to 2 on writing and reading, rounding half away from zero, clamping; any other
// mode reads and writes nothing and fails.
TEST(CLFileTest, LengthModeDecidesTheTextOfEveryLength) {
  const ScopedClLengthMode restore(0);
  const std::tuple<int, std::int32_t, std::string> written[] = {
      {0, 1000, "1000"}, {1, 1000, "1"}, {1, -1500, "-1.5"},
      {2, 25400, "1"},   {3, 1000, ""},  {2, 1000, "0.03937007874015748"}};  // 17 digits
  for (const auto& [mode, value, text] : written) {
    SetClLengthMode(mode);
    MCLSliceParameters slice;
    slice.m_thickness = value;
    const auto [ok, out] = TestSupport::TryWriteBlock("S", slice);
    EXPECT_TRUE(ok) << "slice sets always succeed";
    EXPECT_EQ(Has(out, "<Thickness" + (text.empty() ? "" : ">" + text + "</Thickness>")),
              !text.empty())
        << mode;
  }

  constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
  constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
  // Text read, mode, resulting length (77: the read failed and the length stayed).
  const std::tuple<const char*, int, std::int32_t> read[] = {
      {"1000", 0, 1000},  {"1.5", 0, 77},      {"0.0004", 1, 0},  {"0.0005", 1, 1},
      {"-0.0005", 1, -1}, {"0.5", 1, 500},     {"1e10", 1, kMax}, {"-1e10", 1, kMin},
      {"inf", 1, kMax},   {"-inf", 1, kMin},   {"nan", 1, 77},    {"x", 1, 77},
      {"1", 2, 25400},    {"-0.00002", 2, -1}, {"1", 3, 77},      {"1", -1, 77}};
  for (const auto& [text, mode, value] : read) {
    SetClLengthMode(mode);
    MCLSliceParameters slice;
    slice.m_thickness = 77;
    const auto refused =
        TestSupport::ReadBlock(std::string("<S><Thickness>") + text + "</Thickness></S>", slice);
    EXPECT_EQ(slice.m_thickness, value) << text << " in mode " << mode;
    EXPECT_EQ(refused.size(), value == 77 ? 1u : 0u) << text << " in mode " << mode;
  }
}

// With an invalid mode every length fails; each class reports it by its own rule.
TEST(CLFileTest, WriteResultRulesDifferPerClass) {
  const ScopedClLengthMode invalid(3);
  // The block's write result, then each of `tags` ("!": not written) that is not as expected.
  const auto write = [](const ISAXPersistBase& block, const std::string& tags = "") {
    const auto [ok, text] = TestSupport::TryWriteBlock("B", block);
    std::string result = ok ? "true" : "false";
    std::istringstream words(tags);
    for (std::string tag; words >> tag;) {
      if (Has(text, "<" + tag.substr(tag[0] == '!')) != (tag[0] != '!')) result += " " + tag;
    }
    return result;
  };
  // Quadrant (and slice, above): every tag tried, always true.
  EXPECT_EQ(write(MCLQuadrantParameters(), "QuadrantsEnabled !QuadrantSizeX"), "true");
  // Hatching and island: every element tried, false.
  EXPECT_EQ(write(MCLHatchingParameters(), "HatchingTurningAngle MeandersFactor"), "false");
  EXPECT_EQ(write(MCLIslandParameters(), "IslandsOrientation"), "false");
  // Post-process and platform: the values stop at the first failure, the containers follow.
  EXPECT_EQ(
      write(MCLPostProcessParameters(), "!InsideOffsetCount IslandParameters HatchingParameters"),
      "false");
  EXPECT_EQ(write(MCLPlatformParameters(),
                  "MachineID !PowderDoseFactor PlatformProcessParameters QuadrantParameters"),
            "false");
  // The whole set, with or without named sets: everything tried, false.
  EXPECT_EQ(write(MCLParameters()), "false");
  MCLParameters set;
  set.GetComponentPostProcessParameters(L"P", true);
  EXPECT_EQ(write(set, "TracingParameters ComponentPostProcessParameters"), "false");
  EXPECT_EQ(write(MCLBuildParameters()), "true");  // laser values are no lengths
}

// Sets are routed by the "Name" that opens them. Content that no route takes is kept, not
// lost and not refused, and written back after the known content, in a block as at the top.
TEST(CLFileTest, ParameterSetsAreRoutedByTheirNameAndTheRestIsKept) {
  MCLParameters set;
  const std::string content =
      "<FileSizeLimit>9</FileSizeLimit><ParameterSet><Name>Default</Name>"
      "<HatchingProcessParameters><LaserPower>1</LaserPower></HatchingProcessParameters>"
      "</ParameterSet><ParameterSet><Name>Part</Name>"
      "<BorderProcessParameters><LaserPower>2</LaserPower></BorderProcessParameters>"
      "<ProcessParametersPoints><LaserPower>3</LaserPower></ProcessParametersPoints>"
      "</ParameterSet><ParameterSet><BorderProcessParameters/></ParameterSet>"
      "<ComponentProcessParametersDefault><UpHatchingProcessParameters>"
      "<LaserFocus>4</LaserFocus><Soon/></UpHatchingProcessParameters>"
      "</ComponentProcessParametersDefault>"
      "<ComponentPostProcessParameters><Parameters><Unknown/></Parameters>"
      "<Parameters><Name>Post</Name><SkinWidth>1</SkinWidth><IslandParameters>"
      "<IslandsOrientation>x</IslandsOrientation></IslandParameters></Parameters>"
      "</ComponentPostProcessParameters><Parameters><Name>Loose</Name></Parameters>"
      "<SliceParameters><Later/></SliceParameters>"
      "<PlatformParameters><QuadrantParameters><Future/></QuadrantParameters></PlatformParameters>";
  const TalAM::CLLoadResult result =
      TalAM::ReadCLParameterDocument(set, kHead + content + "</CLParameterFile>", "t");
  EXPECT_TRUE(result.success && result.refusedElements.empty());
  EXPECT_EQ(set.GetCLFileSizeLimit(), 9);
  const MCLScanningParameters& fallback = set.GetDefaultComponentScanningParameters();
  EXPECT_EQ(fallback.GetBuildParametersOfType(eCLVectorHatching).m_laserPower, 1);
  EXPECT_EQ(fallback.GetBuildParametersOfType(eCLVectorUpHatching).m_laserFocus, 4);
  ASSERT_EQ(set.GetNamedScanningParameters().size(), 1u);
  ASSERT_EQ(set.GetNamedPostProcessingParameters().size(), 1u);
  std::vector<std::string> kept;
  for (const auto& element : set.GetUnhandledElements())
    kept.emplace_back(element.GetTagName());
  EXPECT_EQ(kept, std::vector<std::string>({"BorderProcessParameters", "Unknown", "Parameters"}));

  // The border is copied into inner contours, points and support at its end tag; points then
  // read their own values. Hatching, up and down skin keep the defaults.
  const MCLScanningParameters& part = *std::as_const(set).GetComponentScanningParameters(L"Part");
  std::vector<int> power;
  for (int type = 0; type < 7; ++type)
    power.push_back(part.GetBuildParametersOfType(static_cast<eCLVectorType>(type)).m_laserPower);
  EXPECT_EQ(power, std::vector<int>({2, 100, 100, 100, 2, 3, 2}));
  const MCLPostProcessParameters& post =
      *std::as_const(set).GetComponentPostProcessParameters(L"Post");
  EXPECT_EQ(post.m_skinWidth, 1000);
  EXPECT_EQ(post.GetIslandParameters().GetOrientation(), 0.0);  // unreadable: 0.0, accepted

  // Written in map order, lengths in millimetres with 17 digits; everything loads back.
  set.GetComponentScanningParameters(L"A", true);
  set.GetPlatformParameters().SetSize(240000, 200000, 300001);
  set.GetSliceParameters().m_thickness = 30;
  std::string document;
  ASSERT_TRUE(TalAM::WriteCLParameterDocument(set, document));
  // Kept elements of blocks, down to a laser set's, follow the block's own values.
  for (const auto& [first, then] : {std::pair{"<Name>A</Name>", "<Name>Part</Name>"},
                                    {"<ThicknessFine>", "<Later/>"},
                                    {"<QuadrantOverlapY>", "<Future/>"},
                                    {"<LaserFocus>4<", "<Soon/>"}}) {
    EXPECT_NE(document.find(then, document.find(first)), std::string::npos) << then;
  }
  EXPECT_TRUE(Has(document, "<PlatformX>240</PlatformX>\n    <PlatformY>200</PlatformY>\n"
                            "    <PlatformZ>300.00099999999998</PlatformZ>"));
  EXPECT_TRUE(Has(document, "<Thickness>0.029999999999999999</Thickness>"));
  MCLParameters loaded;
  EXPECT_TRUE(TalAM::ReadCLParameterDocument(loaded, document, "doc").success);
  EXPECT_EQ(loaded, set);
  EXPECT_EQ(loaded.GetUnhandledElements(), set.GetUnhandledElements());
}

TEST(CLFileTest, HatchingFieldsCrossOnReading) {
  // In the written order: "MeandersEnabled" comes last and switches the hatching off.
  const std::string angle = "<HatchingTurningAngle>5</HatchingTurningAngle>";
  const std::tuple<std::string, bool, bool, double> cases[] = {
      {"<HatchingEnabled>true</HatchingEnabled><Meanders><MeandersEnabled>false</MeandersEnabled>"
       "<MeandersFactor>2</MeandersFactor></Meanders>",
       false, true, 0.0},
      {angle + "<HatchingAlternated>true</HatchingAlternated>", true, true, 90.0},
      {angle + "<HatchingAlternated>no</HatchingAlternated>", true, true, 5.0},
      {angle + "<HatchingAlternated>false</HatchingAlternated>", true, true, 5.0}};
  for (const auto& [content, enabled, meandering, turning] : cases) {
    MCLHatchingParameters hatching;
    EXPECT_TRUE(TestSupport::ReadBlock("<H>" + content + "</H>", hatching).empty());
    EXPECT_EQ(
        std::tuple(hatching.GetEnabled(), hatching.GetMeanderingEnabled(), hatching.m_turningAngle),
        std::tuple(enabled, meandering, turning))
        << content;
  }
  MCLHatchingParameters written;
  written.SetMeandering(false, 2.5f);
  EXPECT_TRUE(Has(TestSupport::WriteBlock("H", written), "<MeandersEnabled>false</"));
}

}  // namespace
