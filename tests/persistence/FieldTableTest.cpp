#include "persistence/FieldTable.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "sdk/common/StringConversion.h"
#include "sdk/sax/SAXError.h"
#include "sdk/sax/StreamTextOut.h"

namespace {

using namespace TalAM::Persistence;

enum class Shape { Box, Cylinder, Free };
enum class Finish { Matte, Glossy, Unknown };

constexpr std::array<EnumText<Shape>, 2> kShapeTexts{
    {{Shape::Box, "Box"}, {Shape::Cylinder, "Cylinder"}}};

// A block as the machine classes write them.
struct Sample : ISAXPersist, TalSDK::MSaxPersistExtensibleObject {
  std::int32_t m_count = 3;
  float m_scale = 0.5f;
  double m_length = 0.25;
  std::wstring m_name = L"Plate";
  Shape m_shape = Shape::Box;
  Finish m_finish = Finish::Matte;
  std::int32_t m_revision = 7;  // bookkeeping, not compared
  bool m_heated = false;
  double m_temperature = 60.0;  // only written when heated

  void SetDefaults() override { ResetKeepingMode(*this); }
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  bool operator==(const Sample& other) const;
};

constexpr auto kSampleFields = MakeFieldTable<Sample>(
    Value("Count", &Sample::m_count), Value("Scale", &Sample::m_scale),
    Value("Length", &Sample::m_length), Value("Name", &Sample::m_name),
    Enum("Shape", &Sample::m_shape, kShapeTexts, EnumReading::Strict, Shape::Box),
    Enum("Finish", &Sample::m_finish, {{Finish::Matte, "Matte"}, {Finish::Glossy, "Glossy"}},
         EnumReading::Lenient, Finish::Unknown),
    Value("Revision", &Sample::m_revision).NotCompared(), Value("Heated", &Sample::m_heated),
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

std::vector<TalSAX::SAXWarning> Parse(std::string_view document, ISAXPersistBase& block) {
  TalSAX::SAXReader reader(true, nullptr);
  Root root(block);
  reader.ParseBuffer(document, &root);
  return reader.GetWarnings();
}

std::string WriteDocument(const std::function<bool(TalSAX::ISAXWriter&)>& write,
                          bool expected = true) {
  std::string text;
  TalSAX::SAXWriter writer(nullptr);
  EXPECT_TRUE(writer.OpenString(text));
  writer.StartTag("Block");
  EXPECT_EQ(write(writer), expected);
  writer.EndTag("Block");
  EXPECT_TRUE(writer.Close());
  return text;
}

std::string WriteSample(const Sample& sample) {
  return WriteDocument([&](auto& writer) { return sample.Write(writer); });
}

TEST(FieldTableTest, DefaultBlockIsWrittenInTableOrder) {
  EXPECT_EQ(WriteSample(Sample()),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<Block>\n"
            "  <Count>3</Count>\n"
            "  <Scale>0.5</Scale>\n"
            "  <Length>0.25</Length>\n"
            "  <Name>Plate</Name>\n"
            "  <Shape>Box</Shape>\n"
            "  <Finish>Matte</Finish>\n"
            "  <Revision>7</Revision>\n"
            "  <Heated>false</Heated>\n"
            "</Block>\n");
}

TEST(FieldTableTest, ChangedBlockReadsBackEqual) {
  Sample written;
  written.m_count = std::numeric_limits<std::int32_t>::min();
  written.m_scale = 0.1f;
  written.m_length = std::numeric_limits<double>::denorm_min();
  written.m_name = L" B\u00e4r \U0001D11E ";
  written.m_shape = Shape::Cylinder;
  written.m_finish = Finish::Unknown;  // no text: an empty element, read back as the fallback
  written.m_heated = true;
  written.m_temperature = -1e300;
  const std::string text = WriteSample(written);
  EXPECT_NE(text.find("<Finish/>"), std::string::npos);
  EXPECT_NE(text.find("<Temperature>"), std::string::npos);

  Sample read;
  EXPECT_TRUE(Parse(text, read).empty());
  EXPECT_EQ(read, written);
  EXPECT_EQ(WriteSample(read), text);
}

TEST(FieldTableTest, EnumTextsAreExactAndStrictnessDecidesUnknownOnes) {
  struct Case {
    const char* text;
    Shape strict;  // Box: left unchanged
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
    const std::string t = c.text;
    const auto warnings =
        Parse("<Block><Shape>" + t + "</Shape><Finish>" + t + "</Finish></Block>", sample);
    EXPECT_EQ(sample.m_shape, c.strict);
    EXPECT_EQ(sample.m_finish, c.lenient);
    // Only a refused strict text leaves a warning; lenient reads always succeed.
    std::vector<std::string> paths;
    for (const auto& warning : warnings)
      paths.push_back(warning.path);
    EXPECT_EQ(paths, c.strict == Shape::Box ? std::vector<std::string>{"Block/Shape"}
                                            : std::vector<std::string>{});
  }
}

TEST(FieldTableTest, ValueThatDoesNotConvertLeavesMemberAndWarns) {
  const char* documents[] = {
      "<Block><Count>2147483648</Count></Block>", "<Block><Scale>1e39</Scale></Block>",
      "<Block><Length>12 mm</Length></Block>", "<Block><Heated>yes</Heated></Block>"};
  for (const char* document : documents) {
    SCOPED_TRACE(document);
    Sample sample;
    const auto warnings = Parse(document, sample);
    EXPECT_EQ(sample, Sample());
    EXPECT_EQ(warnings.size(), 1u);
  }
}

TEST(FieldTableTest, EqualityComparesEveryFieldButTheNotComparedOne) {
  const std::vector<std::function<void(Sample&)>> changes = {
      [](Sample& s) { s.m_count = 4; },
      [](Sample& s) { s.m_scale = std::nextafter(0.5f, 1.0f); },
      [](Sample& s) { s.m_length = std::nextafter(0.25, 1.0); },
      [](Sample& s) { s.m_name = L"plate"; },
      [](Sample& s) { s.m_shape = Shape::Free; },
      [](Sample& s) { s.m_finish = Finish::Glossy; },
      [](Sample& s) { s.m_heated = true; },
      [](Sample& s) { s.m_temperature = 61.0; }};
  for (std::size_t i = 0; i < changes.size(); ++i) {
    Sample changed;
    changes[i](changed);
    EXPECT_FALSE(kSampleFields.Equal(changed, Sample())) << "change " << i;
  }
  Sample revised;
  revised.m_revision = 8;
  EXPECT_TRUE(kSampleFields.Equal(revised, Sample()));

  Sample a, b;
  a.m_length = b.m_length = std::numeric_limits<double>::quiet_NaN();
  EXPECT_FALSE(kSampleFields.Equal(a, b));
}

TEST(FieldTableTest, ReadFindsOnlyItsOwnTagsExactly) {
  TalSAX::SAXReader reader(true, nullptr);
  Sample sample;
  EXPECT_FALSE(kSampleFields.Read("Unknown", sample, reader).has_value());
  EXPECT_FALSE(kSampleFields.Read("count", sample, reader).has_value());
  EXPECT_FALSE(kSampleFields.Read("Count ", sample, reader).has_value());
  EXPECT_FALSE(kSampleFields.Read("Coun", sample, reader).has_value());
  EXPECT_FALSE(kSampleFields.Read("", sample, reader).has_value());
}

TEST(FieldTableTest, WideTextThatIsNotUnicodeFailsNamingTheElement) {
  Sample sample;
  sample.m_name = L"a" + std::wstring(1, static_cast<wchar_t>(0xDC00));
  try {
    WriteSample(sample);
    ADD_FAILURE() << "no exception";
  } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
    EXPECT_NE(error.GetMessage().find("Name"), std::string::npos) << error.GetMessage();
  }
}

TEST(FieldTableTest, ResetCopiesEveryFieldAndResetKeepingModeKeepsTheMode) {
  Sample sample;
  sample.m_revision = 9;
  sample.m_shape = Shape::Free;
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

// A block with the less common field kinds.
enum class Mode { Off = 0, Auto = 2 };

struct Triple {
  int x = 1, y = 2, z = 3;  // one element: "1 2 3"; negative x cannot be written
  Mode mode = Mode::Off;
  float ratio = 0.5f;
  int after = 1;
};

bool ReadXyz(Triple& t, TalSAX::ISAXReader& reader) {
  std::string_view text = reader.GetElementTextView();
  int v[3];
  for (int& value : v) {
    if (!TalSAX::ValueText::Parse(TalSAX::ValueText::NextToken(text), value)) return false;
  }
  if (!TalSAX::ValueText::TrimXmlSpace(text).empty()) return false;
  t.x = v[0];
  t.y = v[1];
  t.z = v[2];
  return true;
}

bool WriteXyz(const Triple& t, TalSAX::ISAXWriter& writer, std::string_view tag) {
  if (t.x < 0) return false;
  MStreamTextOut<wchar_t> out;
  out << t.x << t.y << t.z;
  return writer.WriteElement(tag, StringConversion::NativeToUtf8(out.str()));
}

constexpr auto kXyz = Custom<Triple>(
    "Xyz", &ReadXyz, &WriteXyz,
    [](const Triple& a, const Triple& b) { return a.x == b.x && a.y == b.y && a.z == b.z; },
    [](Triple& t, const Triple& d) {
      t.x = d.x;
      t.y = d.y;
      t.z = d.z;
    });
constexpr auto kTripleFields = MakeFieldTable<Triple>(
    kXyz, EnumAsInt("Mode", &Triple::mode), Float("Ratio", &Triple::ratio, 3, true),
    Value("After", &Triple::after).ReadResultIgnored());
constexpr auto kTolerantFields =
    MakeFieldTable<Triple>(kXyz.WriteResultIgnored(), Value("After", &Triple::after));

struct TripleHandler : ISAXPersist {
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override {
    return kTripleFields.Read(tagName, triple, reader).value_or(false);
  }
  Triple triple;
};

TEST(FieldTableTest, CustomEnumAsIntAndPrecisionFieldsRoundTrip) {
  const Triple written{4, 0, 9, Mode::Auto, 0.25f, 5};
  const std::string text = WriteDocument([&](auto& w) { return kTripleFields.Write(written, w); });
  EXPECT_NE(text.find("<Xyz>4 0 9</Xyz>\n  <Mode>2</Mode>\n  <Ratio>0.250</Ratio>\n"),
            std::string::npos)
      << text;
  TripleHandler handler;
  EXPECT_TRUE(Parse(text, handler).empty());
  EXPECT_TRUE(kTripleFields.Equal(handler.triple, written));

  kTripleFields.Reset(handler.triple, Triple());
  EXPECT_TRUE(kTripleFields.Equal(handler.triple, Triple()));
}

TEST(FieldTableTest, ReadResultIgnoredAcceptsButKeepsTheMember) {
  TripleHandler handler;
  const auto warnings = Parse("<Block><After>x</After><Xyz>1 2</Xyz></Block>", handler);
  EXPECT_EQ(handler.triple.after, 1);
  ASSERT_EQ(warnings.size(), 1u);  // only the incomplete Xyz
  EXPECT_EQ(warnings[0].path, "Block/Xyz");
}

TEST(FieldTableTest, FailingFieldStopsWritingUnlessItsResultIsIgnored) {
  Triple triple;
  triple.x = -1;
  const std::string stopped =
      WriteDocument([&](auto& w) { return kTripleFields.Write(triple, w); }, false);
  EXPECT_EQ(stopped.find("<Mode>"), std::string::npos) << stopped;
  const std::string tolerant =
      WriteDocument([&](auto& w) { return kTolerantFields.Write(triple, w); });
  EXPECT_NE(tolerant.find("<After>1</After>"), std::string::npos) << tolerant;
}

TEST(FieldTableTest, TwoFieldsWithOneTagAreRefused) {
  EXPECT_THROW(MakeFieldTable<Triple>(Value("A", &Triple::y), Value("A", &Triple::z)),
               std::logic_error);
}

}  // namespace
