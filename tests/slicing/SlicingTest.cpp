#include <TalSDK/slicing/ExportPart.h>
#include <TalSDK/slicing/OutputFormats.h>
#include <TalSDK/slicing/PostParameters.h>
#include <TalSDK/slicing/Slicer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <TalSDK/machine/MachineFile.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include "support/TestSupport.h"

using ::testing::HasSubstr;
using TestSupport::ReadBlock;
using TestSupport::WriteBlock;
using Mode = TalSDK::MSaxPersistExtensibleObject;

namespace {

const std::string kHeader = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
const std::string kFormat =
    "  <FormatParameters>\n    <Format>cli</Format>\n    <Units>50</Units>\n"
    "  </FormatParameters>\n";

const std::string kDefaultSlicer =
    kHeader + "<Slicer>\n  <FixParameters>\n    <MaximumGapFill>50000</MaximumGapFill>\n" +
    "    <Iterations>5</Iterations>\n"
    "    <MinimumLengthOpenContour>10000</MinimumLengthOpenContour>\n"
    "    <MinimumLengthClosedContour>0</MinimumLengthClosedContour>\n"
    "    <Smoothing>None</Smoothing>\n  </FixParameters>\n" +
    kFormat +
    "  <SliceParameters>\n    <Thickness>1250</Thickness>\n"
    "    <ToolCompensation>1000</ToolCompensation>\n  </SliceParameters>\n"
    "  <SliceVisualizationParameters>\n    <SliceLocation>1</SliceLocation>\n"
    "  </SliceVisualizationParameters>\n</Slicer>\n";

const std::string kDefaultPost =
    kHeader + "<PostProcessing>\n  <HatchParameters>\n" +
    "    <EnableHatchings>false</EnableHatchings>\n    <LayerAlternated>false</LayerAlternated>\n"
    "    <XHatching>2000</XHatching>\n    <YHatching>2000</YHatching>\n"
    "    <Offset>0</Offset>\n    <Filter>0</Filter>\n"
    "    <Style>\n      <Alternated>false</Alternated>\n      <Retracted>false</Retracted>\n"
    "      <RetractedValue>300</RetractedValue>\n      <Staggered>false</Staggered>\n"
    "    </Style>\n  </HatchParameters>\n"
    "  <EnablePostProcessing>false</EnablePostProcessing>\n  <BordersFirst>true</BordersFirst>\n"
    "  <SkinFillParameters>\n    <EnableSkinFill>false</EnableSkinFill>\n"
    "    <NumberUp>1</NumberUp>\n    <NumberDown>1</NumberDown>\n"
    "    <HatchingUp>1000</HatchingUp>\n    <HatchingDown>1000</HatchingDown>\n"
    "    <Angle>30</Angle>\n  </SkinFillParameters>\n"
    "  <MergeParameters>\n    <Parts>false</Parts>\n    <PartsName>parts.sli</PartsName>\n"
    "    <Supports>false</Supports>\n    <SupportsName>supports.sli</SupportsName>\n"
    "    <FirstHatch>true</FirstHatch>\n    <KeepOriginal>true</KeepOriginal>\n"
    "  </MergeParameters>\n" +
    kFormat +
    "  <BitmapExportParameters>\n    <Columns>10</Columns>\n    <Rows>10</Rows>\n"
    "    <Overlap>0</Overlap>\n    <BitmapX>1024</BitmapX>\n    <BitmapY>768</BitmapY>\n"
    "    <Dpi>14854</Dpi>\n    <MicronPerPixel>1.71</MicronPerPixel>\n"
    "    <BoundingBox>false</BoundingBox>\n    <Empty>true</Empty>\n"
    "  </BitmapExportParameters>\n  <SCDBExportParameters>\n"
    "    <SolidwareExt>false</SolidwareExt>\n    <OutlineCount>0</OutlineCount>\n"
    "    <OutlineOffset1>0</OutlineOffset1>\n    <OutlineOffset2>0</OutlineOffset2>\n"
    "    <InternalOffset>0</InternalOffset>\n    <SurfaceOffset>0</SurfaceOffset>\n"
    "    <SurfaceBoundaryOffset>0</SurfaceBoundaryOffset>\n"
    "    <DetectSurface>false</DetectSurface>\n    <FilteringOffset>0</FilteringOffset>\n"
    "    <SurfaceMinThickness>0</SurfaceMinThickness>\n"
    "    <SurfaceMinWidth>0</SurfaceMinWidth>\n    <SurfaceMinArea>0</SurfaceMinArea>\n"
    "    <FilteringX>0</FilteringX>\n    <InternalMinWidth>0</InternalMinWidth>\n"
    "  </SCDBExportParameters>\n</PostProcessing>\n";

using TestSupport::TryWriteBlock;

// `text` up to where `at` starts, then `rest`.
std::string Cut(const std::string& text, const std::string& at, const std::string& rest) {
  return text.substr(0, text.find(at)) + rest;
}

template <class Block>
std::vector<const Mode*> Addresses(const Block& block) {
  std::vector<const Mode*> addresses;
  for (const Mode& node : block.GetExtensibleObjectNodes()) {
    addresses.push_back(&node);
  }
  return addresses;
}

}  // namespace

TEST(SlicingTest, DefaultBlocksAreWrittenInFileOrder) {
  EXPECT_EQ(WriteBlock("Slicer", MSlicer()), kDefaultSlicer);
  EXPECT_EQ(WriteBlock("PostProcessing", MPostParameters()), kDefaultPost);
  EXPECT_EQ(
      WriteBlock("ExportPart", MSAXMachineExportPart()),
      kHeader +
          "<ExportPart>\n  <Stl>true</Stl>\n  <Slice>false</Slice>\n"
          "  <GenerateSupport>false</GenerateSupport>\n  <FileTemplate>*.ext</FileTemplate>\n"
          "  <UseScaling>false</UseScaling>\n  <ApplyZCompensation>false</ApplyZCompensation>\n"
          "  <SaveAsBrisko>true</SaveAsBrisko>\n  <ScaleX>1</ScaleX>\n  <ScaleY>1</ScaleY>\n"
          "  <ScaleZ>1</ScaleZ>\n  <ScaleRadius>1</ScaleRadius>\n  <Zcp>false</Zcp>\n"
          "  <GenSupportSelectedPart>false</GenSupportSelectedPart>\n"
          "  <GenSupportOfNotsupported>true</GenSupportOfNotsupported>\n"
          "  <LoadGenSupport>false</LoadGenSupport>\n  <kestrumMerge>true</kestrumMerge>\n"
          "  <kestrumMergeWithOther>false</kestrumMergeWithOther>\n  <kestrumParFile/>\n"
          "  <kestrumNoBuildZones>false</kestrumNoBuildZones>\n"
          "  <CheckCollisions>false</CheckCollisions>\n"
          "  <CheckCollisionsWithClearance>true</CheckCollisionsWithClearance>\n"
          "  <CollisionClearance>10000</CollisionClearance>\n"
          "  <CheckOutOfPlatform>true</CheckOutOfPlatform>\n"
          "  <OnePlatformSupportTemplate>kestrumMergedPart</OnePlatformSupportTemplate>\n"
          "</ExportPart>\n");
}

TEST(SlicingTest, SliceFormatTextsBothWays) {
  using enum SliceFormat;
  // The numbers are those of machine files and of the application.
  const std::pair<int, const char*> formats[] = {
      {0, "cli"},      {3, "sli_3d"},          {4, "slc_3d"},         {5, "ssl"},
      {6, "fs"},       {9, "cli_float"},       {12, "bitmap_export"}, {13, "scdb_dp"},
      {14, "sli_eos"}, {15, "dxf_2d"},         {22, "meiko_nc"},      {33, "cmet"},
      {34, "tarrow"},  {41, "sli_by_rptools"}, {43, "pellin"}};
  for (const auto& [number, text] : formats) {
    const auto value = static_cast<SliceFormat>(number);
    SCOPED_TRACE(text);
    MFormatParameters format, back;
    format.m_format = value;
    back.m_format = value == pellin ? cli : pellin;
    const std::string written = WriteBlock("FormatParameters", format);
    EXPECT_EQ(written, kHeader + "<FormatParameters>\n  <Format>" + text +
                           "</Format>\n  <Units>50</Units>\n</FormatParameters>\n");
    EXPECT_TRUE(ReadBlock(written, back).empty());
    EXPECT_EQ(back.m_format, value);
  }
  // Texts are matched exactly; a refused one leaves the format.
  for (const char* text : {"CLI", " cli", "7"}) {
    SCOPED_TRACE(text);
    MFormatParameters format;
    format.m_format = tarrow;
    const auto refused = ReadBlock(
        std::string("<FormatParameters><Format>") + text + "</Format></FormatParameters>", format);
    ASSERT_EQ(refused.size(), 1u);
    EXPECT_EQ(refused[0].path, "FormatParameters/Format");
    EXPECT_EQ(format.m_format, tarrow);
  }
  // A number without a text writes nothing, not even the units.
  for (const int gap : {1, 7, 44, -1}) {
    SCOPED_TRACE(gap);
    MFormatParameters format;
    format.m_format = static_cast<SliceFormat>(gap);
    EXPECT_EQ(TryWriteBlock("FormatParameters", format),
              std::make_pair(false, kHeader + "<FormatParameters/>\n"));
  }
}

TEST(SlicingTest, SmoothingTextsAndAValueWithoutText) {
  const std::pair<const char*, int> cases[] = {
      {"None", 1}, {"Normal", 2}, {"Heavy", 4}, {"normal", 3}, {"2", 3}};
  for (const auto& [text, after] : cases) {
    SCOPED_TRACE(text);
    MFixParameters fix;
    fix.m_smoothing = static_cast<SmoothingType>(3);
    const auto refused = ReadBlock(
        std::string("<FixParameters><Smoothing>") + text + "</Smoothing></FixParameters>", fix);
    EXPECT_EQ(refused.size(), after == 3 ? 1u : 0u);
    EXPECT_EQ(static_cast<int>(fix.m_smoothing), after);
  }
  // A value without a text ends the slicer after the four numbers.
  MSlicer slicer;
  slicer.m_fixParameters.m_smoothing = static_cast<SmoothingType>(3);
  EXPECT_EQ(TryWriteBlock("Slicer", slicer),
            std::make_pair(
                false, Cut(kDefaultSlicer, "    <Smoothing>", "  </FixParameters>\n</Slicer>\n")));
}

TEST(SlicingTest, AFormatWithoutTextEndsTheEnclosingBlocks) {
  MSlicer slicer;
  slicer.m_formatParameters.m_format = static_cast<SliceFormat>(7);
  EXPECT_EQ(
      TryWriteBlock("Slicer", slicer),
      std::make_pair(false, Cut(kDefaultSlicer, kFormat, "  <FormatParameters/>\n</Slicer>\n")));
  MPostParameters post;
  post.m_formatParameters.m_format = static_cast<SliceFormat>(7);
  EXPECT_EQ(TryWriteBlock("PostProcessing", post),
            std::make_pair(
                false, Cut(kDefaultPost, kFormat, "  <FormatParameters/>\n</PostProcessing>\n")));

  // Saving a machine stops there, without a message, and keeps what was written.
  TestSupport::TempDirectory dir;
  const auto path = dir.File("machine.xml");
  TalAM::MachineParameters machine;
  machine.m_slicer = slicer;
  std::wstring message;
  EXPECT_FALSE(TalAM::SaveToTMCF(machine, path.wstring().c_str(), message));
  EXPECT_EQ(message, L"");
  const std::string file = TestSupport::ReadFile(path);
  EXPECT_THAT(file, HasSubstr("    </FixParameters>\n    <FormatParameters/>\n  </Slicer>\n"
                              "</Machine>"));
  EXPECT_EQ(file.find("PostProcessing"), std::string::npos);
}

TEST(SlicingTest, PostProcessingSwitchesAreReadAnywhereAndWrittenAfterTheHatch) {
  MPostParameters post;
  EXPECT_TRUE(ReadBlock("<PostProcessing><SCDBExportParameters><OutlineCount>2</OutlineCount>"
                        "</SCDBExportParameters><EnablePostProcessing>true</EnablePostProcessing>"
                        "<BordersFirst>false</BordersFirst></PostProcessing>",
                        post)
                  .empty());
  EXPECT_TRUE(post.m_enablePostProcessing);
  EXPECT_FALSE(post.m_bordersFirst);
  EXPECT_EQ(post.m_scdbExportParameters.m_outlineCount, 2);
  EXPECT_THAT(WriteBlock("PostProcessing", post),
              HasSubstr("  </HatchParameters>\n"
                        "  <EnablePostProcessing>true</EnablePostProcessing>\n"
                        "  <BordersFirst>false</BordersFirst>\n  <SkinFillParameters>\n"));
}

TEST(SlicingTest, FloatsDoublesAndTextsReadBackExactly) {
  MPostParameters post;
  post.m_skinFillParameters.m_angle = 33.333332f;
  post.m_bitmapExportParameters.m_micronPerPixel = std::nextafter(1.71f, 2.0f);
  post.m_scdbExportParameters.m_outlineOffset1 = 0.1;
  post.m_scdbExportParameters.m_surfaceMinArea = 1.0 / 3.0;
  post.m_scdbExportParameters.m_filteringX = std::numeric_limits<double>::denorm_min();
  post.m_scdbExportParameters.m_internalMinWidth = -1e300;
  post.m_mergeParameters.m_partsName = L"Teile-ß-⌀.sli";
  MPostParameters postBack;
  EXPECT_TRUE(ReadBlock(WriteBlock("PostProcessing", post), postBack).empty());
  EXPECT_EQ(postBack.m_scdbExportParameters.m_filteringX, post.m_scdbExportParameters.m_filteringX);
  EXPECT_EQ(postBack.m_mergeParameters.m_partsName, L"Teile-ß-⌀.sli");
  EXPECT_TRUE(postBack == post);

  MSAXMachineExportPart part, partBack;
  part.m_scaleX = 0.1f;
  part.m_scaleY = std::nextafter(1.0f, 2.0f);
  part.m_scaleZ = std::numeric_limits<float>::min();
  part.m_scaleRadius = -12345.678f;
  EXPECT_TRUE(ReadBlock(WriteBlock("ExportPart", part), partBack).empty());
  EXPECT_TRUE(partBack == part);
}

TEST(SlicingTest, EqualityIsExact) {
  MSAXMachineExportPart part;
  part.m_scaleRadius = std::nextafter(1.0f, 2.0f);
  EXPECT_TRUE(part != MSAXMachineExportPart());

  MPostParameters post;
  post.m_mergeParameters.m_partsName = L"Parts.sli";
  EXPECT_TRUE(post != MPostParameters());

  // A kept element deep in the slicer counts.
  MSlicer slicer;
  TalSDK::MSaxPersistExtensibleObjectUtilities::SetOperatingModeOfAllNodes(
      slicer, Mode::eKeepUnhandledElements);
  EXPECT_TRUE(
      ReadBlock("<Slicer><FixParameters><Future>1</Future></FixParameters></Slicer>", slicer)
          .empty());
  EXPECT_EQ(slicer.m_fixParameters.GetUnhandledElements().size(), 1u);
  EXPECT_TRUE(slicer != MSlicer());
}

TEST(SlicingTest, SetDefaults) {
  MPostParameters post;
  TalSDK::MSaxPersistExtensibleObjectUtilities::SetOperatingModeOfAllNodes(
      post, Mode::eIgnoreUnhandledElements);
  post.m_hatchParameters.m_style.m_retractedValue = 1;
  post.m_bitmapExportParameters.m_dpi = 300;
  post.m_bordersFirst = false;
  post.SetDefaults();
  EXPECT_TRUE(post == MPostParameters());
  for (const Mode& node : post.GetExtensibleObjectNodes()) {
    EXPECT_EQ(node.GetOperatingMode(), Mode::eIgnoreUnhandledElements);
  }

  MHatchParameters hatch;
  hatch.m_style.m_staggered = true;
  hatch.SetDefaults();
  EXPECT_TRUE(hatch == MHatchParameters());

  // The slicer has no defaults of its own to go back to.
  MSlicer slicer;
  slicer.m_sliceParameters.m_thickness = 300;
  slicer.SetDefaults();
  EXPECT_EQ(slicer.m_sliceParameters.m_thickness, 300);
}
