#include <TalSDK/slicing/ExportPart.h>
#include <TalSDK/slicing/OutputFormats.h>
#include <TalSDK/slicing/PostParameters.h>
#include <TalSDK/slicing/Slicer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include <TalSDK/machine/MachineFile.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include "support/TestSupport.h"

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Pair;
using TestSupport::ReadBlock;
using TestSupport::TryWriteBlock;
using TestSupport::WriteBlock;

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
    EXPECT_THAT(written, EndsWith("\n<FormatParameters>\n  <Format>" + std::string(text) +
                                  "</Format>\n  <Units>50</Units>\n</FormatParameters>\n"));
    EXPECT_TRUE(ReadBlock(written, back).empty());
    EXPECT_EQ(back.m_format, value);
  }
  // Texts are matched exactly; a refused one leaves the format, or the smoothing, as it was.
  MFormatParameters format;
  format.m_format = tarrow;
  EXPECT_EQ(ReadBlock("<F><Format>CLI</Format></F>", format).size(), 1u);
  EXPECT_EQ(format.m_format, tarrow);
  MFixParameters fix;
  fix.m_smoothing = SmoothingType::Heavy;
  EXPECT_EQ(ReadBlock("<F><Smoothing>normal</Smoothing><Smoothing>2</Smoothing></F>", fix).size(),
            2u);
  EXPECT_EQ(fix.m_smoothing, SmoothingType::Heavy);
  // A number without a text writes nothing, not even the units.
  for (const int gap : {1, 7, 44, -1}) {
    SCOPED_TRACE(gap);
    format.m_format = static_cast<SliceFormat>(gap);
    EXPECT_THAT(TryWriteBlock("FormatParameters", format),
                Pair(false, EndsWith("\n<FormatParameters/>\n")));
  }
}

// A smoothing without a text ends the slicer after the four numbers; a format without a text
// ends the slicer and the post-processing.
TEST(SlicingTest, AValueWithoutTextEndsTheEnclosingBlocks) {
  MSlicer slicer;
  slicer.m_fixParameters.m_smoothing = static_cast<SmoothingType>(3);
  EXPECT_THAT(TryWriteBlock("Slicer", slicer),
              Pair(false, EndsWith("Contour>0</MinimumLengthClosedContour>\n"
                                   "  </FixParameters>\n</Slicer>\n")));
  slicer = MSlicer();
  slicer.m_formatParameters.m_format = static_cast<SliceFormat>(7);
  EXPECT_THAT(TryWriteBlock("Slicer", slicer),
              Pair(false, EndsWith("  </FixParameters>\n  <FormatParameters/>\n</Slicer>\n")));
  MPostParameters post;
  post.m_formatParameters.m_format = static_cast<SliceFormat>(7);
  EXPECT_THAT(TryWriteBlock("PostProcessing", post),
              Pair(false, EndsWith("  </MergeParameters>\n  <FormatParameters/>\n"
                                   "</PostProcessing>\n")));

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

// The slicer has no defaults of its own to go back to.
TEST(SlicingTest, TheSlicerKeepsItsValuesOnSetDefaults) {
  MSlicer slicer;
  slicer.m_sliceParameters.m_thickness = 300;
  slicer.SetDefaults();
  EXPECT_EQ(slicer.m_sliceParameters.m_thickness, 300);
}
