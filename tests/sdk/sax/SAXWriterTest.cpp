#include "sdk/sax/SAXWriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "sdk/common/StringConversion.h"
#include "sdk/sax/SAXError.h"
#include "sdk/sax/SAXReader.h"
#include "support/TestSupport.h"

using TalSAX::SAXWriter;
using TalSDK::FileIO::MSAXError::MGeneric;
using ::testing::HasSubstr;

namespace {

// Writes <Doc><V>text</V></Doc> and reads V back as a wide string.
std::wstring WideRoundTrip(const std::wstring& value, std::string* document = nullptr) {
  std::string out;
  SAXWriter writer(nullptr);
  writer.OpenString(out);
  writer.StartTag("Doc");
  writer.WriteElement("V", StringConversion::NativeToUtf8(value));
  writer.EndTag("Doc");
  writer.Close();
  if (document != nullptr) *document = out;

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

std::string WriteFailure(const std::function<void(SAXWriter&)>& steps) {
  std::string out;
  SAXWriter writer(nullptr);
  writer.OpenString(out);
  try {
    steps(writer);
  } catch (const MGeneric& error) {
    return error.GetMessage();
  }
  return "";
}

}  // namespace

TEST(SAXWriterTest, IndentsContainersAndKeepsValuesInline) {
  std::string out;
  SAXWriter writer(nullptr);
  ASSERT_TRUE(writer.OpenString(out));
  {
    MSAXTagWriter machine(writer, "Machine");
    writer.WriteElement("Name", "Untitled");
    {
      MSAXTagWriter material(writer, "Material");
      writer.WriteElement("Name", "");
    }
    MSAXTagWriter platform(writer, "Platform");
    MSAXTagWriter envelope(writer, "Envelope");
    writer.WriteElement("Dx", "10000000");
  }
  ASSERT_TRUE(writer.Close());
  EXPECT_EQ(out,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<Machine>\n"
            "  <Name>Untitled</Name>\n"
            "  <Material>\n"
            "    <Name/>\n"
            "  </Material>\n"
            "  <Platform>\n"
            "    <Envelope>\n"
            "      <Dx>10000000</Dx>\n"
            "    </Envelope>\n"
            "  </Platform>\n"
            "</Machine>\n");
}

TEST(SAXWriterTest, EscapesTextAndAttributes) {
  std::string out;
  SAXWriter writer(nullptr);
  writer.OpenString(out, false);
  writer.StartTag("a");
  writer.WriteAttribute("v", "\"<&>\t\n\r'");
  writer.WriteText("x & y < z > w\r\n\"'");
  writer.EndTag("a");
  writer.Close();
  EXPECT_EQ(out,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?><a v=\"&quot;&lt;&amp;&gt;&#9;&#10;&#13;'\">"
            "x &amp; y &lt; z &gt; w&#13;\n\"'</a>");
}

TEST(SAXWriterTest, StringsRoundTripExactly) {
  const std::wstring handPicked[] = {L"",           L"   ",         L"\t",      L" lead",
                                     L"trail ",     L"a\r\nb\rc",   L"\n\n",    L"<a>&amp;</a>",
                                     L"]]>",        L"quote \" '",  L"Grüße ⌀", L"\U0001F600x",
                                     L"\U0010FFFF", L"\uFFFD\uE000"};
  for (const std::wstring& value : handPicked) {
    EXPECT_EQ(WideRoundTrip(value), value);
  }
  // Random strings over all characters XML 1.0 allows, weighted towards the tricky ones.
  std::mt19937 random(20261121);
  const wchar_t tricky[] = {L' ', L'\t', L'\r', L'\n', L'&', L'<', L'>', L'"', L']'};
  for (int round = 0; round < 300; ++round) {
    std::wstring value;
    const int length = static_cast<int>(random() % 40);
    for (int i = 0; i < length; ++i) {
      switch (random() % 4) {
        case 0:
          value += tricky[random() % std::size(tricky)];
          break;
        case 1:
          value += static_cast<wchar_t>(0x20 + random() % 0x5F);
          break;
        case 2:
          value += static_cast<wchar_t>(0xA0 + random() % (0xD7FF - 0xA0));
          break;
        default:
          value += static_cast<wchar_t>(0x10000 + random() % 0xFFFFF);
          break;
      }
    }
    ASSERT_EQ(WideRoundTrip(value), value) << round;
  }
}

TEST(SAXWriterTest, RefusesTextThatCannotBeReadBackAndNamesTheElement) {
  EXPECT_THAT(WriteFailure([](SAXWriter& w) {
                w.StartTag("Machine");
                w.WriteElement("Comments", std::string("a\x01", 2));
              }),
              HasSubstr("Machine/Comments"));
  EXPECT_THAT(WriteFailure([](SAXWriter& w) {
                w.StartTag("Machine");
                w.WriteElement("Name", "\xED\xA0\x80");
              }),
              HasSubstr("Machine/Name"));
  EXPECT_THAT(WriteFailure([](SAXWriter& w) {
                w.StartTag("a");
                w.EndTag("b");
              }),
              HasSubstr("does not match"));
  EXPECT_THAT(WriteFailure([](SAXWriter& w) { w.StartTag("1st"); }),
              HasSubstr("not a valid element name"));
  EXPECT_THAT(WriteFailure([](SAXWriter& w) {
                w.StartTag("a");
                w.EndTag("a");
                w.StartTag("b");
              }),
              HasSubstr("one root element"));
}

TEST(SAXWriterTest, FileErrors) {
  TestSupport::TempDirectory dir;
  SAXWriter writer(nullptr);
  EXPECT_FALSE(writer.Open(dir.Path().wstring().c_str(), TalSAX::eEncryptionNone,
                           TalSAX::eCompressionNone, true));
  EXPECT_FALSE(writer.Open(dir.File("no/such/dir.xml").wstring().c_str(), TalSAX::eEncryptionNone,
                           TalSAX::eCompressionNone, true));
  EXPECT_FALSE(writer.Open(dir.File("x.xml").wstring().c_str(),
                           static_cast<TalSAX::EEncryptionLevel>(1), TalSAX::eCompressionNone,
                           true));

  // A full disk surfaces as MGeneric at the latest from Close, naming the file.
  SAXWriter full(nullptr);
  ASSERT_TRUE(full.Open(L"/dev/full", TalSAX::eEncryptionNone, TalSAX::eCompressionNone, true));
  std::string message;
  try {
    full.StartTag("a");
    full.WriteText(std::string(3u << 20, 'x'));
    full.EndTag("a");
    full.Close();
  } catch (const MGeneric& error) {
    message = error.GetMessage();
  }
  EXPECT_THAT(message, HasSubstr("/dev/full"));
  EXPECT_THAT(message, HasSubstr("No space left"));
}

TEST(SAXWriterTest, WriterDroppedWithoutCloseLeavesWhatWasWritten) {
  TestSupport::TempDirectory dir;
  const auto path = dir.File("partial.xml");
  {
    SAXWriter writer(nullptr);
    ASSERT_TRUE(writer.Open(path.wstring().c_str(), TalSAX::eEncryptionNone,
                            TalSAX::eCompressionNone, true));
    MSAXTagWriter machine(writer, "Machine");
    writer.WriteElement("Name", "half");
  }
  EXPECT_EQ(TestSupport::ReadFile(path),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Machine>\n  <Name>half</Name>\n"
            "</Machine>");
}

TEST(SAXWriterTest, ProjectFraming) {
  std::string out;
  SAXWriter writer(nullptr);
  writer.SetProjectTag("CLParameterFile");
  writer.SetProjectNamespaceName("CL");
  writer.SetProjectNamespaceValue("urn:ConceptLaser");
  writer.OpenString(out);
  writer.WriteElement("Set", "1");
  ASSERT_TRUE(writer.Close());
  EXPECT_EQ(out,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<CLParameterFile xmlns:CL=\"urn:ConceptLaser\">\n"
            "  <Set>1</Set>\n"
            "</CLParameterFile>\n");
}

TEST(SAXWriterTest, ObjectIdsNeverCollideWithRegisteredOnes) {
  std::string out;
  SAXWriter writer(nullptr);
  writer.OpenString(out);
  struct Ref : ISAXReference {};
  Ref a, b, c;
  EXPECT_TRUE(writer.RegisterUsedId(1, nullptr));
  EXPECT_TRUE(writer.RegisterUsedId(2, nullptr));
  EXPECT_TRUE(writer.RegisterUsedId(2, nullptr));
  EXPECT_TRUE(writer.RegisterUsedId(4, &c));
  EXPECT_FALSE(writer.RegisterUsedId(4, &a));
  EXPECT_EQ(writer.GetObjectId(&a), 3u);
  EXPECT_EQ(writer.GetObjectId(&b), 5u);
  EXPECT_EQ(writer.GetObjectId(&a), 3u);
  EXPECT_EQ(writer.GetObjectId(&c), 4u);
}

TEST(SAXWriterTest, BinaryElementsReadBack) {
  std::vector<std::uint32_t> values(100000);
  std::mt19937 random(7);
  for (auto& v : values)
    v = static_cast<std::uint32_t>(random());
  std::string out;
  SAXWriter writer(nullptr);
  writer.OpenString(out);
  writer.WriteBinaryElement("Bits", std::as_bytes(std::span(values)));
  writer.Close();

  std::vector<std::uint32_t> read;
  struct Reader : ISAXPersist {
    std::vector<std::uint32_t>* target;
    bool HandleTag(const std::string&, TalSAX::ISAXReader& reader) override {
      return TalSAX::DecodeBinaryArray(reader.GetElementTextView(), *target);
    }
  } root;
  root.target = &read;
  TalSAX::SAXReader(true, nullptr).ParseBuffer(out, &root);
  EXPECT_EQ(read, values);
}
