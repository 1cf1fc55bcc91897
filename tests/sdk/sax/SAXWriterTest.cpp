#include <TalSDK/sdk/sax/SAXWriter.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <random>
#include <span>
#include <string>
#include <vector>

#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/sax/SAXError.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include "sdk/sax/Base64.h"
#include "support/TestSupport.h"

using TalSAX::SAXWriter;
using TalSDK::FileIO::MSAXError::MGeneric;
using ::testing::HasSubstr;
using TestSupport::FailureOf;
using TestSupport::WriteFailure;
using TestSupport::Written;

namespace {

const std::string kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

bool OpenFile(SAXWriter& writer, const std::filesystem::path& path) {
  return writer.Open(path.wstring().c_str(), TalSAX::eEncryptionNone, TalSAX::eCompressionNone,
                     true);
}

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
            kDeclaration +
                "<a v=\"&quot;&lt;&amp;&gt;&#9;&#10;&#13;'\">"
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

// A writer dropped without Close still ends its file with what was written. Only plain XML
// files open, and no negative descriptor.
TEST(SAXWriterTest, FilesAndDescriptors) {
  TestSupport::TempDirectory dir;
  {
    SAXWriter writer(nullptr);
    ASSERT_TRUE(OpenFile(writer, dir.File("partial.xml")));
    MSAXTagWriter machine(writer, "Machine");
    writer.WriteElement("Name", "half");
  }
  EXPECT_EQ(TestSupport::ReadFile(dir.File("partial.xml")),
            kDeclaration + "\n<Machine>\n  <Name>half</Name>\n</Machine>");
  SAXWriter writer(nullptr);
  EXPECT_FALSE(writer.Open(dir.File("z.xml").wstring().c_str(), TalSAX::eEncryptionNone,
                           TalSAX::ESAXCompressionLevel{9}, true));
  EXPECT_FALSE(writer.Open(L"", TalSAX::eEncryptionNone, TalSAX::eCompressionNone, true));
  EXPECT_FALSE(writer.OpenDescriptor(-1, "none"));
  EXPECT_THAT(FailureOf([&] { writer.WriteText("x"); }), HasSubstr("not open"));
}

// Documents larger than the writer's 1 MiB buffer reach the file whole and in order: a text
// that fills the buffer exactly up to the final line break, left alone for the last write; a
// text larger than the buffer; white space and a binary payload spanning three buffers.
TEST(SAXWriterTest, DocumentsLargerThanTheBufferReachTheFileWhole) {
  constexpr std::size_t kBuffer = std::size_t{1} << 20;
  TestSupport::TempDirectory dir;
  std::vector<std::byte> bytes(2 * kBuffer + 1000);
  for (std::size_t i = 0; i < bytes.size(); ++i)
    bytes[i] = std::byte(i * 7 + i / 251);
  std::string payload;
  TalSAX::Base64::AppendEncoded(bytes, payload);
  for (const std::size_t size : {kBuffer - 4, 2 * kBuffer, std::size_t{0}}) {
    const std::string text = size > 0 ? std::string(size, 'x') : " ";
    SAXWriter writer(nullptr);
    ASSERT_TRUE(OpenFile(writer, dir.File("large.xml")));
    writer.StartTag("a");
    writer.WriteText(text);
    if (size == 0) writer.WriteBinary(bytes);
    writer.EndTag("a");
    ASSERT_TRUE(writer.Close());
    EXPECT_TRUE(TestSupport::ReadFile(dir.File("large.xml")) ==
                kDeclaration + "\n<a>" + text + (size > 0 ? "" : payload) + "</a>\n")
        << size;
  }
}

// After a failure every operation fails with the first failure's message; Close reports it and
// closes.
TEST(SAXWriterTest, AFailureIsReportedByEveryLaterCallAndByClose) {
  const std::function<void(SAXWriter&)> later[] = {
      [](SAXWriter& w) { w.StartTag("b"); }, [](SAXWriter& w) { w.WriteAttribute("x", "1"); },
      [](SAXWriter& w) { w.WriteText("x"); },
      [](SAXWriter& w) { w.WriteBinary(std::as_bytes(std::span("x", 1))); },
      [](SAXWriter& w) { w.EndTag("a"); }};
  for (const auto& step : later) {
    std::string out;
    SAXWriter writer(nullptr);
    writer.OpenString(out);
    writer.StartTag("a");
    EXPECT_THAT(FailureOf([&] { writer.EndTag("b"); }), HasSubstr("end tag 'b' does not match"));
    EXPECT_THAT(FailureOf([&] { step(writer); }), HasSubstr("end tag 'b' does not match"));
    EXPECT_THAT(FailureOf([&] { writer.Close(); }), HasSubstr("end tag 'b' does not match"));
    EXPECT_FALSE(writer.Close());
  }
}

// One writer writes document after document: each Open, of any kind, starts afresh, with no
// failure, open element or object id left from before, and a string target emptied first; a
// descriptor stays open for its owner. Attributes go only into an open start tag.
TEST(SAXWriterTest, EachOpenStartsAfresh) {
  TestSupport::TempDirectory dir;
  const int fd = ::open(dir.File("d.xml").c_str(), O_WRONLY | O_CREAT, 0644);
  ASSERT_GE(fd, 0);
  std::string text = "stale";
  const std::pair<std::function<bool(SAXWriter&)>, std::function<std::string()>> opens[] = {
      {[&](SAXWriter& w) { return w.OpenString(text); }, [&] { return text; }},
      {[&](SAXWriter& w) { return OpenFile(w, dir.File("f.xml")); },
       [&] { return TestSupport::ReadFile(dir.File("f.xml")); }},
      {[&](SAXWriter& w) { return w.OpenDescriptor(fd, "d.xml"); },
       [&] { return TestSupport::ReadFile(dir.File("d.xml")); }}};
  struct Ref : ISAXReference {
  } object;
  for (const auto& [open, written] : opens) {
    std::string first;
    SAXWriter writer(nullptr);
    writer.OpenString(first);
    EXPECT_TRUE(writer.RegisterUsedId(1, nullptr));
    EXPECT_EQ(writer.GetObjectId(&object), 2u);
    writer.StartTag("a");
    EXPECT_THROW(writer.EndTag("b"), MGeneric);
    ASSERT_TRUE(open(writer));
    EXPECT_EQ(writer.GetObjectId(&object), 1u);
    EXPECT_FALSE(writer.WriteAttribute("x", "1"));
    writer.StartTag("c");
    writer.WriteText("t");
    EXPECT_FALSE(writer.WriteAttribute("x", "1"));
    writer.EndTag("c");
    EXPECT_TRUE(writer.Close());
    EXPECT_FALSE(writer.Close());
    EXPECT_EQ(written(), kDeclaration + "\n<c>t</c>\n");
  }
  EXPECT_EQ(::close(fd), 0);
}

// Descriptor 0 is one like any other (a program may have closed its standard input): a file
// opened as 0 and left with an open element keeps what was written and is closed, 0 may be
// given, and a file read through 0 is read. A created file's mode is 0666 less the umask.
TEST(SAXWriterTest, DescriptorZeroIsOneLikeAnyOther) {
  TestSupport::TempDirectory dir;
  bool opened = false, given = false, read = false;
  int fd = -1;
  TestSupport::WithStandardInputClosed([&] {
    {
      SAXWriter writer(nullptr);
      if (OpenFile(writer, dir.File("zero.xml"))) {
        writer.StartTag("a");
        // An element left open fails Close, which writes what it has.
        opened =
            !writer.Close() && TestSupport::ReadFile(dir.File("zero.xml")) == kDeclaration + "\n<a";
      }
    }
    fd = ::open(dir.File("given.xml").c_str(), O_WRONLY | O_CREAT, 0644);
    if (fd != 0) return;
    SAXWriter writer(nullptr);
    if (writer.OpenDescriptor(0, "given.xml")) {
      writer.StartTag("b");
      writer.EndTag("b");
      given = writer.Close();
    }
    ::close(0);
    TestSupport::KeepEverything root;  // read back through descriptor 0
    try {
      TalSAX::SAXReader(true, nullptr).Parse(dir.File("given.xml").wstring().c_str(), &root);
      read = true;
    } catch (const MGeneric&) {
    }
  });
  EXPECT_TRUE(opened && given && read) << fd;
  EXPECT_EQ(TestSupport::ReadFile(dir.File("given.xml")), kDeclaration + "\n<b/>\n");
  const mode_t mask = ::umask(0);
  ::umask(mask);
  EXPECT_EQ(
      std::filesystem::status(dir.File("zero.xml")).permissions() & std::filesystem::perms::all,
      static_cast<std::filesystem::perms>(0666 & ~mask));
}
