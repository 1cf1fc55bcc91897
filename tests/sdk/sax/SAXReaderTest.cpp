#include <TalSDK/sdk/sax/SAXReader.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXError.h>
#include "support/TestSupport.h"

using TalSAX::SAXReader;
using TalSDK::FileIO::MSAXError::MGeneric;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Property;
using ::testing::Throws;

namespace {

// Records every call it receives into a shared log, prefixed with its name.
class Recorder : public ISAXPersist {
 public:
  Recorder(std::string name, std::vector<std::string>& log) : m_name(std::move(name)), m_log(log) {}
  ~Recorder() override { m_log.push_back(m_name + " destroyed"); }

  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    m_log.push_back(m_name + " <" + tag + ">");
    if (tag == "Refused") return !reader.DelegateToOwnedChild(new Recorder("refused", m_log));
    if (tag == "Child") return reader.DelegateToChild(*child);
    if (tag == "Owned") return reader.DelegateToOwnedChild(new Recorder("owned", m_log));
    return true;
  }
  void HandleEndTag(std::string_view tag) override {
    m_log.push_back(m_name + " </" + std::string(tag) + ">");
  }
  void ResolveReferences(TalSAX::ISAXReader&) override { m_log.push_back(m_name + " resolve"); }
  void InitAfterLoading() override { m_log.push_back(m_name + " init"); }

  Recorder* child = nullptr;

 private:
  std::string m_name;
  std::vector<std::string>& m_log;
};

// Runs one callback for every start tag; keeps the reader's answers for inspection.
class Probe : public ISAXPersist {
 public:
  std::function<bool(const std::string&, TalSAX::ISAXReader&)> onTag;
  std::string ends;
  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    return onTag(tag, reader);
  }
  void HandleEndTag(std::string_view tag) override { ends += std::string(tag) + ";"; }
};

// Matches a call that fails with a message holding `part`.
auto FailsWith(const std::string& part) {
  return Throws<MGeneric>(Property(&MGeneric::GetMessage, HasSubstr(part)));
}

// The same for a failure of the whole document, which has no line or column.
auto FailsWithoutPlace(const std::string& part) {
  return Throws<MGeneric>(AllOf(Property(&MGeneric::GetMessage, HasSubstr(part)),
                                Property(&MGeneric::GetLine, 0),
                                Property(&MGeneric::GetColumn, 0)));
}

}  // namespace

// Delegated handlers get the content of their element and hand back at its end tag; an owned
// one is destroyed there. A refused element is skipped and reported with its place and the
// first 200 bytes of its text; an owned handler it was given is destroyed at once.
TEST(SAXReaderTest, DelegationOrderOwnershipAndRefusedElements) {
  std::vector<std::string> log;
  Recorder root("root", log);
  Recorder child("child", log);
  root.child = &child;
  SAXReader reader(true, nullptr);
  reader.ParseBuffer("<R>\n  <Child><A/><Owned><B/></Owned></Child>\n  <Refused>" +
                         std::string(199, 'a') + "bc<Inner/></Refused>\n  <C/>\n</R>",
                     &root);
  reader.InitHelpersAfterLoading();
  EXPECT_THAT(
      log, ElementsAre("root <R>", "root <Child>", "child <A>", "child </A>", "child <Owned>",
                       "owned <B>", "owned </B>", "owned resolve", "owned init", "child </Owned>",
                       "owned destroyed", "child resolve", "child init", "root </Child>",
                       "root <Refused>", "refused destroyed", "root </Refused>", "root <C>",
                       "root </C>", "root </R>", "root resolve", "root init"));
  EXPECT_EQ(TestSupport::Listed(reader.GetWarnings(), true),
            "R/Refused 3:3 '" + std::string(199, 'a') + "b' ");
}

// Colours are read here (numbers by ValueText); a read that fails leaves the target.
TEST(SAXReaderTest, ReadValueOfColoursChangesTheTargetOnlyOnSuccess) {
  using TalSDK::Common::Color;
  for (const auto& [xml, valid] : {std::pair{"<v>1 0.5 0.25 0.75</v>", true},
                                   {"<v>1 0.5 0</v>", false},
                                   {"<v>1 0.5 0 1 1</v>", false},
                                   {"<v>r g b a</v>", false}}) {
    const bool ok = valid;  // a lambda cannot capture a structured binding under clang 14
    SCOPED_TRACE(xml);
    Color colour{9, 9, 9, 9};
    Probe probe;
    probe.onTag = [&](const std::string&, TalSAX::ISAXReader& reader) {
      EXPECT_EQ(reader.ReadValue(colour), ok);
      return true;
    };
    SAXReader(true, nullptr).ParseBuffer(xml, &probe);
    EXPECT_EQ(colour, (ok ? Color{1.0f, 0.5f, 0.25f, 0.75f} : Color{9, 9, 9, 9}));
  }
}

TEST(SAXReaderTest, DepthLimit) {
  for (const int depth : {TalSAX::kMaxElementDepth, TalSAX::kMaxElementDepth + 1, 200000}) {
    std::string xml;
    for (int i = 0; i < 2 * depth; ++i)
      xml += i < depth ? "<e>" : "</e>";
    TestSupport::KeepEverything root;
    if (depth == TalSAX::kMaxElementDepth) {
      EXPECT_NO_THROW(SAXReader(true, nullptr).ParseBuffer(xml, &root));
    } else {  // far deeper input is refused the same way, without exhausting the stack
      EXPECT_THAT([&] { SAXReader(true, nullptr).ParseBuffer(xml, &root, "doc.xml"); },
                  FailsWith("doc.xml:1:769: elements nested deeper than 256"));
    }
  }
}

TEST(SAXReaderTest, ObjectIdsReachTheDelegatedHandler) {
  struct Target : ISAXPersist {};
  Target target;
  Probe probe;
  probe.onTag = [&](const std::string& tag, TalSAX::ISAXReader& reader) {
    if (tag == "Owned") return reader.DelegateToOwnedChild(new Target);
    return tag == "Doc" || reader.DelegateToChild(target);
  };
  SAXReader reader(true, nullptr);
  reader.ParseBuffer("<Doc><Obj ID=\"17\"><In/></Obj><Other ID=\"x\"/><Owned ID=\"5\"/></Doc>",
                     &probe);
  // A handler that takes no elements refuses them, and has nothing to write.
  EXPECT_EQ(TestSupport::Listed(reader.GetWarnings()), "Doc/Obj/In ");
  EXPECT_TRUE(TestSupport::TryWriteBlock("T", target).first);
  EXPECT_EQ(target.GetObjectId(), 17u);
  EXPECT_EQ(reader.FindReference(17), static_cast<ISAXReference*>(&target));
  EXPECT_EQ(reader.FindReference(18), nullptr);
  // The owned handler died at its end tag: its id no longer leads to it.
  EXPECT_EQ(reader.FindReference(5), nullptr);
}

// A handler may ask a container for its text and still receive its children: the reader reads
// ahead and comes back. Parent names and attributes stay readable after the read-ahead, and a
// capture after it still copies the whole element.
TEST(SAXReaderTest, TextOfAContainerThenItsChildrenParentsAttributesAndCapture) {
  std::vector<std::string> seen;
  TalSDK::MSaxUnhandledElement kept, leaf;
  Probe probe;
  probe.onTag = [&](const std::string& tag, TalSAX::ISAXReader& reader) {
    const std::string text(reader.GetElementTextView());
    seen.push_back(reader.GetParentTagName(0) + "[" + text + "]" +
                   std::string(reader.GetAttribute("k").value_or("-")) + " in " +
                   reader.GetParentTagName(1) + "/" + reader.GetParentTagName(2) + "/" +
                   reader.GetParentTagName(3) + reader.GetParentTagName(-1));
    if (tag == "Kept") return reader.CaptureElement(kept);
    if (tag == "Leaf") return reader.CaptureElement(leaf);
    return true;
  };
  SAXReader reader(true, nullptr);
  reader.ParseBuffer(
      "<R k=\"&lt;r\">r1<A k=\"a\">a1<B/>a2</A><C>c<B/></C>r2<Kept k=\"1\">t<In x=\"y\">i"
      "</In>u</Kept><Leaf>v</Leaf></R>",
      &probe);
  EXPECT_THAT(seen,
              ElementsAre("R[r1r2]<r in //", "A[a1a2]a in R//", "B[]- in A/R/", "C[c]- in R//",
                          "B[]- in C/R/", "Kept[tu]1 in R//", "Leaf[v]- in R//"));
  EXPECT_EQ(leaf, TalSDK::MSaxUnhandledElement("Leaf", "v"));
  TalSDK::MSaxUnhandledElement expected;
  expected.AppendElement(0, "Kept", {{"k", "1"}});
  expected.AppendText(1, "t");
  expected.AppendElement(1, "In", {{"x", "y"}});
  expected.AppendText(2, "i");
  expected.AppendText(1, "u");
  EXPECT_EQ(kept, expected);
}

// A syntax error found while reading ahead for a handler reaches the caller as the reader's
// error, with its place.
TEST(SAXReaderTest, ErrorsFoundWhileReadingAheadNameTheirPlace) {
  Probe probe;
  probe.onTag = [](const std::string&, TalSAX::ISAXReader& reader) {
    reader.GetElementTextView();
    return true;
  };
  const auto parse = [&] {
    SAXReader(true, nullptr).ParseBuffer("<R>\n<A>x<B>&nope;</B></A></R>", &probe, "doc.xml");
  };
  EXPECT_THAT(parse, FailsWith("doc.xml:2:8: not well-formed XML: undefined entity '&nope;'"));
  // Content a handler skips is read, and checked, before its end tag is reported.
  probe.onTag = [](const std::string&, TalSAX::ISAXReader& reader) {
    reader.SkipElementContent();
    return true;
  };
  EXPECT_THAT([&] { SAXReader(true, nullptr).ParseBuffer("<R><S><a>&x;</a></S></R>", &probe); },
              FailsWith("undefined entity"));
  EXPECT_EQ(probe.ends, "");

  // A reader that failed inside a captured element captures the next document's from scratch.
  SAXReader reused(true, nullptr);
  TalSDK::MSaxUnhandledElement kept;
  Probe capture;
  capture.onTag = [&](const std::string& tag, TalSAX::ISAXReader& reader) {
    return tag != "K" || reader.CaptureElement(kept);
  };
  EXPECT_THAT([&] { reused.ParseBuffer("<R><K><a><b>&nope;</b></a></K></R>", &capture); },
              FailsWith("undefined entity"));
  reused.ParseBuffer("<R><K><a/></K></R>", &capture);
  TalSDK::MSaxUnhandledElement expected("K");
  expected.AppendElement(1, "a");
  EXPECT_EQ(kept, expected);
}

// Only regular files are read, whole: a FIFO without a writer, a directory or a device is
// refused at once instead of blocking the reader.
TEST(SAXReaderTest, SizeAndElementLimitsOfFilesAndBuffersAndOnlyRegularFiles) {
  TestSupport::TempDirectory dir;
  const auto path = dir.Path() / "doc.xml", fifo = dir.Path() / "fifo.xml";
  const std::string document = "<R><A/><A/><A/></R>";  // 4 elements, 19 bytes
  TestSupport::WriteFile(path, document);
  EXPECT_EQ(SAXReader(true, nullptr).GetLimits().maxDocumentBytes, std::uint64_t{1} << 30);
  for (const bool fromFile : {true, false}) {
    const auto parse = [&](TalSAX::SAXReaderLimits limits) {
      TestSupport::KeepEverything root;
      SAXReader reader(true, nullptr);
      reader.SetLimits(limits);
      fromFile ? reader.Parse(path.wstring().c_str(), &root) : reader.ParseBuffer(document, &root);
    };
    errno = EINTR;  // left over from an earlier call: no reason to read again
    EXPECT_NO_THROW(parse({19, 4}));
    const auto tooLong = [&] { parse({18, 4}); };
    EXPECT_THAT(tooLong, FailsWithoutPlace("19 bytes, more than the reader's limit of 18 bytes"));
    EXPECT_THAT([&] { parse({19, 3}); }, FailsWith(":1:12: more than 3 elements"));
  }
  // A file of one byte is read whole, in one read of one byte.
  TestSupport::WriteFile(path, "x");
  TestSupport::KeepEverything oneByte;
  EXPECT_THAT([&] { SAXReader(true, nullptr).Parse(path.wstring().c_str(), &oneByte); },
              FailsWith("text before the root element"));

  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  for (const std::filesystem::path& other :
       {fifo, dir.Path(), std::filesystem::path("/dev/zero")}) {
    TestSupport::KeepEverything root;
    EXPECT_THAT([&] { SAXReader(true, nullptr).Parse(other.wstring().c_str(), &root); },
                FailsWithoutPlace("not a regular file"))
        << other;
  }
}

// After an element's content was dispatched, nothing reads ahead: a handler asking for text or
// a capture from HandleEndTag gets none, and the rest of the document is dispatched as usual.
TEST(SAXReaderTest, NoReadingAheadFromAnEndTag) {
  struct EndProbe : ISAXPersist {
    std::vector<std::string> seen;
    TalSAX::ISAXReader* reader = nullptr;
    bool HandleTag(const std::string& tag, TalSAX::ISAXReader& r) override {
      reader = &r;
      seen.push_back("<" + tag);
      return true;
    }
    void HandleEndTag(std::string_view tag) override {
      TalSDK::MSaxUnhandledElement element;
      seen.push_back("/" + std::string(tag) + "[" + std::string(reader->GetElementTextView()) +
                     "]" + (reader->CaptureElement(element) ? "captured" : ""));
    }
  } probe;
  SAXReader(true, nullptr).ParseBuffer("<R><A><B/></A><C>c</C><D/></R>", &probe);
  EXPECT_THAT(probe.seen,
              ElementsAre("<R", "<A", "<B", "/B[]", "/A[]", "<C", "/C[]", "<D", "/D[]", "/R[]"));
}

// One reader parses document after document, each from a clean start whatever the one before
// left: its warnings and object ids, and an owned handler and a capture of a parse that failed.
TEST(SAXReaderTest, EachParseStartsAfresh) {
  std::vector<std::string> log;
  TalSDK::MSaxUnhandledElement kept;
  struct Target : ISAXPersist {
  } target;
  Probe probe;
  probe.onTag = [&](const std::string& tag, TalSAX::ISAXReader& reader) {
    log.push_back(tag);
    if (tag == "Kept") return reader.CaptureElement(kept);
    if (tag == "Obj") return reader.DelegateToChild(target);
    if (tag == "Owned") return reader.DelegateToOwnedChild(new Recorder("owned", log));
    return tag != "Refused";
  };
  // A document cut short, then a file cut short, each leaving something behind; then a document
  // read whole.
  SAXReader reader(true, nullptr);
  TestSupport::TempDirectory dir;
  TestSupport::WriteFile(dir.File("cut.xml"), "<R><Refused/><Kept>stale");
  EXPECT_THAT([&] { reader.ParseBuffer("<R><Refused/><Obj ID=\"4\"/><Owned><B>", &probe); },
              FailsWith("is not closed"));
  EXPECT_THAT([&] { reader.Parse(dir.File("cut.xml").wstring().c_str(), &probe); },
              FailsWith("is not closed"));
  reader.ParseBuffer("<R><Kept>t<In/></Kept></R>", &probe);
  EXPECT_THAT(log, ElementsAre("R", "Refused", "Obj", "Owned", "owned <B>", "owned destroyed", "R",
                               "Refused", "Kept", "R", "Kept"));
  EXPECT_EQ(TestSupport::Listed(reader.GetWarnings()), "");
  EXPECT_EQ(reader.FindReference(4), nullptr);
  TalSDK::MSaxUnhandledElement expected;
  expected.AppendElement(0, "Kept");
  expected.AppendText(1, "t");
  expected.AppendElement(1, "In");
  EXPECT_EQ(kept, expected);
}

// A kept element names the elements around it, also where the path of the one before is a
// prefix of its own, longer by a name, or different in its innermost name only.
TEST(SAXReaderTest, KeptElementsNameTheElementsAroundThem) {
  std::vector<TalSDK::MSaxUnhandledElement> kept;
  Probe probe;
  probe.onTag = [&](const std::string& tag, TalSAX::ISAXReader& reader) {
    return tag != "x" || reader.CaptureElement(kept.emplace_back());
  };
  SAXReader(true, nullptr)
      .ParseBuffer("<R><x/><AB><x/></AB><B><x/></B><A><x/><x/><C><x/></C></A></R>", &probe);
  std::string paths;
  for (const TalSDK::MSaxUnhandledElement& element : kept)
    paths += element.GetSourcePath() + " ";
  EXPECT_EQ(paths, "R R/AB R/B R/A R/A R/A/C ");
}

// Refused elements are placed exactly anywhere in a long document whose lines have every length
// and whose elements are near each other or far apart: the reader counts lines and finds their
// starts sixteen and sixty-four bytes at a time, and starts again for a place before the last.
TEST(SAXReaderTest, PlacesAreExactInDocumentsWithLinesOfEveryLength) {
  std::mt19937 random(20261124);
  std::string xml = "\n<R>", expected;
  std::size_t line = 2, lineStart = 1;
  for (int element = 0; element < 600; ++element) {
    const auto gap = random() % 8 == 0 ? random() % 400 : random() % 40;
    const auto lineEnds = random() % 2 == 0 ? 2 : 100;  // one byte in that many ends a line
    for (auto i = gap; i > 0; --i) {
      xml += random() % lineEnds == 0 ? '\n' : 'x';
      if (xml.back() == '\n') {
        ++line;
        lineStart = xml.size();
      }
    }
    expected += std::to_string(line) + ":" + std::to_string(xml.size() - lineStart + 1) + " ";
    xml += "<E/>";
  }
  Probe probe;
  probe.onTag = [](const std::string& tag, TalSAX::ISAXReader&) { return tag == "R"; };
  SAXReader reader(true, nullptr);
  reader.ParseBuffer(xml + "</R>", &probe);
  std::string places;
  for (const TalSAX::SAXWarning& warning : reader.GetWarnings())
    places += std::to_string(warning.line) + ":" + std::to_string(warning.column) + " ";
  EXPECT_EQ(places, expected);
  // A place before the last one found: the root's, when the document ends without its end tag.
  EXPECT_THAT([&] { reader.ParseBuffer(xml, &probe, "doc.xml"); },
              FailsWith("doc.xml:2:1: not well-formed XML: element 'R' is not closed"));
}
