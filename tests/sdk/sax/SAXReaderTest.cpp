#include "sdk/sax/SAXReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "sdk/sax/SAXError.h"
#include "support/TestSupport.h"

using TalSAX::SAXReader;
using TalSDK::FileIO::MSAXError::MGeneric;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

// Records every call it receives into a shared log, prefixed with its name.
class Recorder : public ISAXPersist {
 public:
  Recorder(std::string name, std::vector<std::string>& log) : m_name(std::move(name)), m_log(log) {}
  ~Recorder() override { m_log.push_back(m_name + " destroyed"); }

  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    m_log.push_back(m_name + " <" + tag + ">");
    if (tag == "Refused") return false;
    if (tag == "Child") return reader.DelegateToChild(*child);
    if (tag == "Owned") return reader.DelegateToOwnedChild(new Recorder("owned", m_log));
    return true;
  }
  void HandleEndTag(std::string_view tag) override {
    m_log.push_back(m_name + " </" + std::string(tag) + ">");
  }
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
  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    return onTag(tag, reader);
  }
};

std::string Nested(int depth) {
  std::string xml;
  for (int i = 0; i < depth; ++i)
    xml += "<e>";
  for (int i = 0; i < depth; ++i)
    xml += "</e>";
  return xml;
}

std::string ParseError(std::string_view xml) {
  TestSupport::KeepEverything root;
  SAXReader reader(true, nullptr);
  try {
    reader.ParseBuffer(xml, &root, "doc.xml");
  } catch (const MGeneric& error) {
    return error.GetMessage();
  }
  return "";
}

}  // namespace

TEST(SAXReaderTest, DelegatesContentAndReturnsAtTheEndTag) {
  std::vector<std::string> log;
  Recorder root("root", log);
  Recorder child("child", log);
  root.child = &child;
  SAXReader reader(true, nullptr);
  reader.ParseBuffer("<R><Child><A/><Owned><B/></Owned></Child><C/></R>", &root);
  reader.InitHelpersAfterLoading();
  EXPECT_THAT(log, ElementsAre("root <R>", "root <Child>", "child <A>", "child </A>",
                               "child <Owned>", "owned <B>", "owned </B>", "owned init",
                               "child </Owned>", "owned destroyed", "child init", "root </Child>",
                               "root <C>", "root </C>", "root </R>", "root init"));
}

TEST(SAXReaderTest, RefusedElementIsSkippedAndReportedWithItsPlace) {
  std::vector<std::string> log;
  Recorder root("root", log);
  SAXReader reader(true, nullptr);
  reader.ParseBuffer("<R>\n  <A/>\n  <Refused>some text<Inner/></Refused>\n  <B/>\n</R>", &root);
  EXPECT_THAT(log, ElementsAre("root <R>", "root <A>", "root </A>", "root <Refused>",
                               "root </Refused>", "root <B>", "root </B>", "root </R>"));
  ASSERT_EQ(reader.GetWarnings().size(), 1u);
  const TalSAX::SAXWarning& warning = reader.GetWarnings()[0];
  EXPECT_EQ(warning.path, "R/Refused");
  EXPECT_EQ(warning.line, 3);
  EXPECT_EQ(warning.column, 3);
  EXPECT_EQ(warning.text, "some text");
}

TEST(SAXReaderTest, ParentTagNamesAndElementText) {
  std::vector<std::string> seen;
  Probe probe;
  probe.onTag = [&](const std::string& tag, TalSAX::ISAXReader& reader) {
    seen.push_back(tag + ":" + reader.GetParentTagName(1) + ":" + reader.GetParentTagName(2) + ":" +
                   reader.GetParentTagName(9) + ":[" + reader.GetElementText() + "]");
    return true;
  };
  SAXReader reader(true, nullptr);
  reader.ParseBuffer(
      "<M><Material><Name>steel &amp; <![CDATA[<x>]]></Name></Material>"
      "<Blank>   </Blank></M>",
      &probe);
  EXPECT_THAT(seen, ElementsAre("M::::[]", "Material:M:::[]", "Name:Material:M::[steel & <x>]",
                                "Blank:M:::[   ]"));
}

TEST(SAXReaderTest, ReadsValuesStrictly) {
  struct Case {
    const char* xml;
    bool expectOk;
  };
  const Case cases[] = {{"<v> 42 </v>", true},
                        {"<v>12abc</v>", false},
                        {"<v></v>", false},
                        {"<v>2147483648</v>", false},
                        {"<v>-2147483648</v>", true}};
  for (const Case& c : cases) {
    int value = 7;
    bool ok = false;
    Probe probe;
    probe.onTag = [&](const std::string&, TalSAX::ISAXReader& reader) {
      ok = reader.ReadValue(value);
      return true;
    };
    SAXReader(true, nullptr).ParseBuffer(c.xml, &probe);
    EXPECT_EQ(ok, c.expectOk) << c.xml;
    if (!ok) {
      EXPECT_EQ(value, 7) << c.xml;
    }
  }
}

TEST(SAXReaderTest, ReadsColoursAndRefusesForbiddenCharacterReferences) {
  struct Case {
    const char* xml;
    bool colourOk;
    bool textOk;
  };
  const Case cases[] = {{"<c>1 0.5 0 1</c>", true, true},    {"<c>1 0.5 0</c>", false, true},
                        {"<c>1 0.5 0 1 1</c>", false, true}, {"<c>r g b a</c>", false, true},
                        {"<c>&#1;</c>", false, false},       {"<c>&#xD800;</c>", false, false}};
  for (const Case& c : cases) {
    TalSDK::Common::Color colour;
    std::wstring wide = L"unchanged";
    std::string narrow = "unchanged";
    bool colourOk = false, wideOk = false, narrowOk = false;
    Probe probe;
    probe.onTag = [&](const std::string&, TalSAX::ISAXReader& reader) {
      colourOk = reader.ReadValue(colour);
      wideOk = reader.ReadValue(wide);
      narrowOk = reader.ReadValue(narrow);
      return true;
    };
    SAXReader(true, nullptr).ParseBuffer(c.xml, &probe);
    EXPECT_EQ(colourOk, c.colourOk) << c.xml;
    EXPECT_EQ(wideOk, c.textOk) << c.xml;
    EXPECT_EQ(narrowOk, c.textOk) << c.xml;
    if (!c.textOk) {
      EXPECT_EQ(wide, L"unchanged") << c.xml;
    }
  }
  TalSDK::Common::Color colour;
  Probe probe;
  probe.onTag = [&](const std::string&, TalSAX::ISAXReader& reader) {
    return reader.ReadValue(colour);
  };
  SAXReader(true, nullptr).ParseBuffer("<c>1 0.5 0.25 0.75</c>", &probe);
  EXPECT_EQ(colour, (TalSDK::Common::Color{1.0f, 0.5f, 0.25f, 0.75f}));
}

TEST(SAXReaderTest, DepthLimit) {
  TestSupport::KeepEverything root;
  EXPECT_NO_THROW(SAXReader(true, nullptr).ParseBuffer(Nested(TalSAX::kMaxElementDepth), &root));
  EXPECT_THAT(ParseError(Nested(TalSAX::kMaxElementDepth + 1)),
              HasSubstr("nested deeper than 256"));
  // Far deeper input is refused the same way, without exhausting the stack.
  EXPECT_THAT(ParseError(Nested(200000)), HasSubstr("doc.xml:1:"));
}

TEST(SAXReaderTest, MalformedDocumentsNameFileLineAndReason) {
  struct Case {
    std::string xml;
    std::string where;
    std::string reason;
  };
  const Case cases[] = {
      {"<a>\n<b>\n", "doc.xml:2:", "not well-formed"},
      {"<a>\n  <b></c>\n</a>", "doc.xml:2:", "not well-formed"},
      {"<a>\n\xC3\x28</a>", "doc.xml:2:1", "UTF-8"},
      {"<a>\xED\xA0\x80</a>", "doc.xml:1:4", "UTF-8"},
      {"<a>\x01</a>", "doc.xml:1:4", "U+0001"},
      {"<?xml version=\"1.0\"?>\n<!DOCTYPE lolz [\n <!ENTITY lol \"lol\">\n"
       " <!ENTITY lol1 \"&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;\">\n"
       " <!ENTITY lol2 \"&lol1;&lol1;&lol1;&lol1;&lol1;&lol1;&lol1;&lol1;&lol1;&lol1;\">\n"
       " <!ENTITY lol3 \"&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;\">\n"
       "]>\n<lolz>&lol3;</lolz>",
       "doc.xml:2:", "DOCTYPE"},
      {"\xFF\xFE<\0a\0/\0>\0", "doc.xml:1:1", "UTF-16"},
      {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a/>", "doc.xml:1:", "ISO-8859-1"},
      {"", "doc.xml:", "no root element"},
      {"   <!-- only a comment -->", "doc.xml:", "no root element"},
  };
  for (const Case& c : cases) {
    const std::string message = ParseError(c.xml);
    EXPECT_THAT(message, HasSubstr(c.where)) << c.xml;
    EXPECT_THAT(message, HasSubstr(c.reason)) << c.xml;
  }
}

TEST(SAXReaderTest, FileErrorsNameTheFile) {
  TestSupport::TempDirectory dir;
  TestSupport::KeepEverything root;
  SAXReader reader(true, nullptr);
  const auto message = [&](const std::filesystem::path& path) -> std::string {
    try {
      reader.Parse(path.wstring().c_str(), &root);
    } catch (const MGeneric& error) {
      return error.GetMessage();
    }
    return "";
  };
  EXPECT_THAT(message(dir.File("missing.xml")), HasSubstr("missing.xml"));
  EXPECT_THAT(message(dir.Path()), HasSubstr("not a regular file"));
  TestSupport::WriteFile(dir.File("bad.xml"), "<a>\n<b>\n</a>");
  const std::string bad = message(dir.File("bad.xml"));
  EXPECT_THAT(bad, HasSubstr("bad.xml:3:"));
}

TEST(SAXReaderTest, ObjectIdsReachTheDelegatedHandler) {
  struct Target : ISAXPersist {};
  Target target;
  Probe probe;
  probe.onTag = [&](const std::string& tag, TalSAX::ISAXReader& reader) {
    return tag == "Doc" || reader.DelegateToChild(target);
  };
  SAXReader reader(true, nullptr);
  reader.ParseBuffer("<Doc><Obj ID=\"17\"/><Other ID=\"x\"/></Doc>", &probe);
  EXPECT_EQ(target.GetObjectId(), 17u);
  EXPECT_EQ(reader.FindReference(17), static_cast<ISAXReference*>(&target));
  EXPECT_EQ(reader.FindReference(18), nullptr);
}

TEST(SAXReaderTest, LargeTextIsPassedWithoutCopy) {
  std::string xml = "<d>";
  xml.append(8u << 20, 'A');
  xml += "</d>";
  std::size_t size = 0;
  Probe probe;
  probe.onTag = [&](const std::string&, TalSAX::ISAXReader& reader) {
    size = reader.GetElementTextView().size();
    return true;
  };
  SAXReader(true, nullptr).ParseBuffer(xml, &probe);
  EXPECT_EQ(size, 8u << 20);
}
