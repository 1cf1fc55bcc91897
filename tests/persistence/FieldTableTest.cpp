#include "persistence/FieldTable.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace TalAM::Persistence;

enum class Shape { Box, Cylinder, Free };
enum class Finish { Matte, Glossy, Unknown };
enum class Mode { Off = 0, Auto = 2 };

constexpr std::array<EnumText<Shape>, 2> kShapeTexts{
    {{Shape::Box, "Box"}, {Shape::Cylinder, "Cylinder"}}};

// A block as the machine classes write them.
struct Sample : ISAXPersist, TalSDK::MSaxPersistExtensibleObject {
  std::int32_t m_count = 3;
  float m_scale = 0.5f;
  std::wstring m_name = L"Plate";
  Shape m_shape = Shape::Box;
  Finish m_finish = Finish::Matte;
  int m_size = 12;  // custom: written with its unit, "12 mm"; a negative size cannot be written
  Mode m_mode = Mode::Off;
  float m_ratio = 0.5f;
  std::int32_t m_revision = 7;  // bookkeeping: not compared, a bad value is ignored
  bool m_heated = false;
  double m_temperature = 60.0;  // only written when heated

  void SetDefaults() override { ResetKeepingMode(*this); }
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  bool operator==(const Sample& other) const;
};

bool ReadSize(Sample& s, TalSAX::ISAXReader& reader) {
  const std::string_view text = reader.GetElementTextView();
  return text.ends_with(" mm") &&
         TalSAX::ValueText::Parse(text.substr(0, text.size() - 3), s.m_size);
}

bool WriteSize(const Sample& s, TalSAX::ISAXWriter& writer, std::string_view tag) {
  return s.m_size >= 0 && writer.WriteElement(tag, std::to_string(s.m_size) + " mm");
}

constexpr auto kSizeField = Custom<Sample>(
    "Size", &ReadSize, &WriteSize,
    [](const Sample& a, const Sample& b) { return a.m_size == b.m_size; },
    [](Sample& s, const Sample& defaults) { s.m_size = defaults.m_size; });

constexpr auto kSampleFields = MakeFieldTable<Sample>(
    Value("Count", &Sample::m_count), Value("Scale", &Sample::m_scale),
    Value("Name", &Sample::m_name),
    Enum("Shape", &Sample::m_shape, kShapeTexts, EnumReading::Strict, Shape::Box),
    Enum("Finish", &Sample::m_finish, {{Finish::Matte, "Matte"}, {Finish::Glossy, "Glossy"}},
         EnumReading::Lenient, Finish::Unknown),
    kSizeField, EnumAsInt("Mode", &Sample::m_mode), Float("Ratio", &Sample::m_ratio, 3, true),
    Value("Revision", &Sample::m_revision).NotCompared().ReadResultIgnored(),
    Value("Heated", &Sample::m_heated),
    Value("Temperature", &Sample::m_temperature).WriteIf([](const Sample& s) {
      return s.m_heated;
    }));

bool Sample::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  if (auto result = kSampleFields.Read(tagName, *this, reader)) return *result;
  return false;
}
bool Sample::Write(TalSAX::ISAXWriter& writer) const {
  return kSampleFields.Write(*this, writer);
}
bool Sample::operator==(const Sample& other) const {
  return kSampleFields.Equal(*this, other) && MSaxPersistExtensibleObject::operator==(other);
}

// Delegates the document element to the block.
struct Root : ISAXPersist {
  explicit Root(ISAXPersistBase& block) : m_block(block) {}
  bool HandleTag(const std::string&, TalSAX::ISAXReader& reader) override {
    return reader.DelegateToChild(m_block);
  }
  ISAXPersistBase& m_block;
};

std::vector<std::string> ParseWarnings(const std::string& document, Sample& block) {
  TalSAX::SAXReader reader(true, nullptr);
  Root root(block);
  reader.ParseBuffer(document, &root);
  std::vector<std::string> paths;
  for (const TalSAX::SAXWarning& warning : reader.GetWarnings())
    paths.push_back(warning.path);
  return paths;
}

template <class Table>
std::string WriteBlock(const Table& table, const Sample& sample, bool expected = true) {
  std::string text;
  TalSAX::SAXWriter writer(nullptr);
  EXPECT_TRUE(writer.OpenString(text));
  writer.StartTag("Block");
  EXPECT_EQ(table.Write(sample, writer), expected);
  writer.EndTag("Block");
  EXPECT_TRUE(writer.Close());
  return text;
}

TEST(FieldTableTest, DefaultBlockIsWrittenInTableOrder) {
  EXPECT_EQ(WriteBlock(kSampleFields, Sample()),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<Block>\n"
            "  <Count>3</Count>\n"
            "  <Scale>0.5</Scale>\n"
            "  <Name>Plate</Name>\n"
            "  <Shape>Box</Shape>\n"
            "  <Finish>Matte</Finish>\n"
            "  <Size>12 mm</Size>\n"
            "  <Mode>0</Mode>\n"
            "  <Ratio>0.500</Ratio>\n"
            "  <Revision>7</Revision>\n"
            "  <Heated>false</Heated>\n"
            "</Block>\n");
}

TEST(FieldTableTest, ChangedBlockReadsBackEqual) {
  Sample written;
  written.m_count = std::numeric_limits<std::int32_t>::min();
  written.m_scale = 0.1f;
  written.m_name = L" B\u00e4r \U0001D11E ";
  written.m_shape = Shape::Cylinder;
  written.m_finish = Finish::Unknown;  // no text: an empty element, read back as the fallback
  written.m_size = 0;
  written.m_mode = Mode::Auto;
  written.m_ratio = 0.25f;
  written.m_heated = true;
  written.m_temperature = std::numeric_limits<double>::denorm_min();
  const std::string text = WriteBlock(kSampleFields, written);
  EXPECT_NE(text.find("<Finish/>"), std::string::npos);
  EXPECT_NE(text.find("<Temperature>"), std::string::npos);

  Sample read;
  EXPECT_TRUE(ParseWarnings(text, read).empty());
  EXPECT_EQ(read, written);
  EXPECT_EQ(WriteBlock(kSampleFields, read), text);
}

TEST(FieldTableTest, EnumTextsAreExactAndStrictnessDecidesUnknownOnes) {
  struct Case {
    std::string text;
    Shape strict;  // Box: refused, left unchanged
    Finish lenient;
  };
  const Case cases[] = {{"Cylinder", Shape::Cylinder, Finish::Unknown},
                        {"Glossy", Shape::Box, Finish::Glossy},
                        {"cylinder", Shape::Box, Finish::Unknown},
                        {" Glossy", Shape::Box, Finish::Unknown},
                        {"", Shape::Box, Finish::Unknown}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    Sample sample;
    const auto warnings = ParseWarnings(
        "<Block><Shape>" + c.text + "</Shape><Finish>" + c.text + "</Finish></Block>", sample);
    EXPECT_EQ(sample.m_shape, c.strict);
    EXPECT_EQ(sample.m_finish, c.lenient);
    EXPECT_EQ(warnings, c.strict == Shape::Box ? std::vector<std::string>{"Block/Shape"}
                                               : std::vector<std::string>{});
  }
}

// Tags are matched exactly; a value that does not convert leaves the member as it was.
TEST(FieldTableTest, UnknownTagOrBadValueLeavesMemberAndWarnsUnlessReadResultIgnored) {
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"<Count>2147483648</Count>", {"Block/Count"}},
      {"<Scale>1e39</Scale>", {"Block/Scale"}},
      {"<Temperature>12 mm</Temperature>", {"Block/Temperature"}},
      {"<Heated>yes</Heated>", {"Block/Heated"}},
      {"<Size>12</Size>", {"Block/Size"}},
      {"<Revision>x</Revision>", {}},
      {"<count>1</count>", {"Block/count"}},
      {"<Coun>1</Coun>", {"Block/Coun"}}};
  for (const auto& [element, warnings] : cases) {
    SCOPED_TRACE(element);
    Sample sample;
    EXPECT_EQ(ParseWarnings(std::string("<Block>") + element + "</Block>", sample), warnings);
    EXPECT_EQ(sample, Sample());
    EXPECT_EQ(sample.m_revision, 7);
  }
}

TEST(FieldTableTest, EqualityComparesEveryFieldButTheNotComparedOne) {
  const std::vector<std::function<void(Sample&)>> changes = {
      [](Sample& s) { s.m_count = 4; },
      [](Sample& s) { s.m_scale = std::nextafter(0.5f, 1.0f); },
      [](Sample& s) { s.m_name = L"plate"; },
      [](Sample& s) { s.m_shape = Shape::Free; },
      [](Sample& s) { s.m_finish = Finish::Glossy; },
      [](Sample& s) { s.m_size = 13; },
      [](Sample& s) { s.m_mode = Mode::Auto; },
      [](Sample& s) { s.m_ratio = 0.25f; },
      [](Sample& s) { s.m_heated = true; },
      [](Sample& s) { s.m_temperature = std::nextafter(60.0, 61.0); }};
  for (std::size_t i = 0; i < changes.size(); ++i) {
    Sample changed;
    changes[i](changed);
    EXPECT_FALSE(kSampleFields.Equal(changed, Sample())) << "change " << i;
  }
  Sample nan1, nan2;
  nan1.m_temperature = nan2.m_temperature = std::numeric_limits<double>::quiet_NaN();
  EXPECT_FALSE(kSampleFields.Equal(nan1, nan2));
  Sample revised;
  revised.m_revision = 8;
  EXPECT_TRUE(kSampleFields.Equal(revised, Sample()));
}

TEST(FieldTableTest, FailingFieldStopsWritingUnlessItsResultIsIgnored) {
  Sample sample;
  sample.m_size = -1;
  const std::string stopped = WriteBlock(kSampleFields, sample, false);
  EXPECT_NE(stopped.find("<Finish>"), std::string::npos);
  EXPECT_EQ(stopped.find("<Mode>"), std::string::npos);
  constexpr auto kTolerant =
      MakeFieldTable<Sample>(kSizeField.WriteResultIgnored(), Value("Count", &Sample::m_count));
  EXPECT_NE(WriteBlock(kTolerant, sample).find("<Count>3</Count>"), std::string::npos);
}

TEST(FieldTableTest, ResetCopiesEveryFieldAndResetKeepingModeKeepsTheMode) {
  Sample sample;
  sample.m_revision = 9;
  sample.m_size = 0;
  sample.m_name.clear();
  kSampleFields.Reset(sample, Sample());
  EXPECT_EQ(sample.m_revision, 7);
  EXPECT_EQ(sample, Sample());

  sample.m_count = 1;
  sample.SetOperatingMode(TalSDK::MSaxPersistExtensibleObject::eIgnoreUnhandledElements);
  sample.SetDefaults();
  EXPECT_EQ(sample.m_count, 3);
  EXPECT_EQ(sample.GetOperatingMode(),
            TalSDK::MSaxPersistExtensibleObject::eIgnoreUnhandledElements);
}

TEST(FieldTableTest, TwoFieldsWithOneTagAreRefused) {
  EXPECT_THROW(MakeFieldTable<Sample>(Value("A", &Sample::m_count), Value("A", &Sample::m_ratio)),
               std::logic_error);
}

}  // namespace
