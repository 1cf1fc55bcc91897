#include <TalSDK/sdk/sax/SAXWriter.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/sax/SAXError.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include "support/TestSupport.h"

using TalSAX::SAXWriter;
using TalSDK::FileIO::MSAXError::MGeneric;
using ::testing::HasSubstr;
using TestSupport::WriteFailure;
using TestSupport::Written;

namespace {

// Writes <Doc><V>text</V></Doc> and reads V back as a wide string.
std::wstring WideRoundTrip(const std::wstring& value) {
  const std::string out = Written([&](TalSAX::ISAXWriter& writer) {
    MSAXTagWriter doc(writer, "Doc");
    writer.WriteElement("V", StringConversion::NativeToUtf8(value));
  });
  struct Reader : ISAXPersist {
    std::wstring value;
    bool ok = false;
    bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
      if (tag == "V") ok = reader.ReadValue(value);
      return true;
    }
  } root;
  TalSAX::SAXReader(true, nullptr).ParseBuffer(out, &root);
  EXPECT_TRUE(root.ok);
  return root.value;
}

}  // namespace

TEST(SAXWriterTest, EscapesTextAndAttributes) {
  EXPECT_EQ(Written(
                [](TalSAX::ISAXWriter& writer) {
                  MSAXTagWriter a(writer, "a");
                  writer.WriteAttribute("v", "\"<&>\t\n\r'");
                  writer.WriteText("x & y < z > w\r\n\"'");
                  writer.WriteFloatValue(1.5f, 3, true);
                  writer.WriteDoubleValue(0.1, 0, false);
                },
                false),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?><a v=\"&quot;&lt;&amp;&gt;&#9;&#10;&#13;'\">"
            "x &amp; y &lt; z &gt; w&#13;\n\"'1.5000.10000000000000001</a>");
}

// Hand-picked strings, then random ones over all characters XML 1.0 allows, weighted towards
// the tricky ones.
TEST(SAXWriterTest, StringsRoundTripExactly) {
  for (const std::wstring value :
       {L"", L"   ", L"\t", L" lead", L"trail ", L"a\r\nb\rc", L"\n\n", L"<a>&amp;</a>", L"]]>",
        L"quote \" '", L"Grüße ⌀", L"\U0001F600x", L"\U0010FFFF", L"\uFFFD\uE000"})
    EXPECT_EQ(WideRoundTrip(value), value);
  std::mt19937 random(20261121);
  const std::wstring tricky = L" \t\r\n&<>\"]";
  const std::pair<std::uint32_t, std::uint32_t> ranges[] = {
      {0x20, 0x7E}, {0xA0, 0xD7FF}, {0xE000, 0xFFFD}, {0x10000, 0x10FFFF}};
  for (int round = 0; round < 300; ++round) {
    std::wstring value;
    for (auto length = random() % 40; length > 0; --length) {
      const auto [low, high] = ranges[random() % 4];
      value += random() % 5 == 0 ? tricky[random() % tricky.size()]
                                 : static_cast<wchar_t>(low + random() % (high - low + 1));
    }
    ASSERT_EQ(WideRoundTrip(value), value) << round;
  }
}

TEST(SAXWriterTest, RefusesWhatCannotBeReadBackAndNamesTheElement) {
  const std::pair<std::function<void(TalSAX::ISAXWriter&)>, const char*> cases[] = {
      {[](TalSAX::ISAXWriter& w) { w.WriteElement("Comments", std::string("a\x01", 2)); },
       "Machine/Comments"},
      {[](TalSAX::ISAXWriter& w) { w.WriteElement("Name", "\xED\xA0\x80"); }, "Machine/Name"},
      {[](TalSAX::ISAXWriter& w) { w.EndTag("b"); }, "does not match"},
      {[](TalSAX::ISAXWriter& w) { w.WriteAttribute("a b", "1"); },
       "'a b' is not a valid attribute name"},
      {[](TalSAX::ISAXWriter& w) {
         w.EndTag("Machine");
         w.StartTag("b");
       },
       "one root element"},
  };
  for (const auto& [step, expected] : cases)
    EXPECT_THAT(WriteFailure(step), HasSubstr(expected));
}

// Names: letters, '_' and ':' anywhere, digits, '-' and '.' after the first, and any
// character beyond ASCII; the neighbours of each range are refused.
TEST(SAXWriterTest, ElementNames) {
  for (const char* name : {"azAZ_:09-.", "z", "Z", "_", ":", "\xC3\x80"})
    EXPECT_EQ(WriteFailure([&](TalSAX::ISAXWriter& w) { w.StartTag(name); }), "") << name;
  for (const char* name :
       {"", "1st", "9", "-a", ".a", "a`", "a{", "a@", "a[", "a/", "a,", "a;", "a\x7F", "\xC3"})
    EXPECT_THAT(WriteFailure([&](TalSAX::ISAXWriter& w) { w.StartTag(name); }),
                HasSubstr("is not a valid element name"))
        << name;
}

TEST(SAXWriterTest, ObjectIdsNeverCollideWithRegisteredOnes) {
  std::string out;
  SAXWriter writer(nullptr);
  writer.OpenString(out);
  struct Ref : ISAXReference {
  } a, b, c;
  for (const auto& [id, object] :
       {std::pair<unsigned, Ref*>{1, nullptr}, {2, nullptr}, {2, nullptr}, {4, &c}})
    EXPECT_TRUE(writer.RegisterUsedId(id, object)) << id;
  EXPECT_FALSE(writer.RegisterUsedId(4, &a));
  EXPECT_EQ((std::vector{writer.GetObjectId(&a), writer.GetObjectId(&b), writer.GetObjectId(&a),
                         writer.GetObjectId(&c)}),
            (std::vector<unsigned>{3, 5, 3, 4}));
}

// A writer dropped without Close still ends its file with what was written. A descriptor is
// written to and left open for its owner; a negative one is refused.
TEST(SAXWriterTest, FilesAndDescriptors) {
  TestSupport::TempDirectory dir;
  {
    SAXWriter writer(nullptr);
    ASSERT_TRUE(writer.Open(dir.File("partial.xml").wstring().c_str(), TalSAX::eEncryptionNone,
                            TalSAX::eCompressionNone, true));
    MSAXTagWriter machine(writer, "Machine");
    writer.WriteElement("Name", "half");
  }
  EXPECT_EQ(TestSupport::ReadFile(dir.File("partial.xml")),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Machine>\n  <Name>half</Name>\n"
            "</Machine>");
  SAXWriter writer(nullptr);
  EXPECT_FALSE(writer.Open(dir.File("z.xml").wstring().c_str(), TalSAX::eEncryptionNone,
                           TalSAX::ESAXCompressionLevel{9}, true));  // plain XML only
  EXPECT_FALSE(writer.Open(L"", TalSAX::eEncryptionNone, TalSAX::eCompressionNone, true));
  EXPECT_FALSE(writer.OpenDescriptor(-1, "none"));
  const int fd = ::open(dir.File("d.xml").c_str(), O_WRONLY | O_CREAT, 0644);
  ASSERT_GE(fd, 0);
  EXPECT_TRUE(writer.OpenDescriptor(fd, "d.xml"));
  writer.StartTag("a");
  writer.EndTag("a");
  EXPECT_TRUE(writer.Close());
  EXPECT_EQ(::close(fd), 0);
  EXPECT_EQ(TestSupport::ReadFile(dir.File("d.xml")),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a/>\n");
  EXPECT_THAT([&] { writer.WriteText("x"); }, ::testing::Throws<MGeneric>(::testing::Property(
                                                  &MGeneric::GetMessage, HasSubstr("not open"))));
}
