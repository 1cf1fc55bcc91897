#include <TalSDK/sdk/sax/SAXReader.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include <TalSDK/sdk/sax/SAXError.h>
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

// Delegated handlers get the content of their element and hand back at its end tag; an owned
// one is destroyed there. A refused element is skipped and reported with its place.
TEST(SAXReaderTest, DelegationOrderOwnershipAndRefusedElements) {
  std::vector<std::string> log;
  Recorder root("root", log);
  Recorder child("child", log);
  root.child = &child;
  SAXReader reader(true, nullptr);
  reader.ParseBuffer(
      "<R>\n  <Child><A/><Owned><B/></Owned></Child>\n  <Refused>some text<Inner/></Refused>\n"
      "  <C/>\n</R>",
      &root);
  reader.InitHelpersAfterLoading();
  EXPECT_THAT(
      log, ElementsAre("root <R>", "root <Child>", "child <A>", "child </A>", "child <Owned>",
                       "owned <B>", "owned </B>", "owned init", "child </Owned>", "owned destroyed",
                       "child init", "root </Child>", "root <Refused>", "root </Refused>",
                       "root <C>", "root </C>", "root </R>", "root init"));
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

// Texts and colours are read here (numbers by ValueText); a read that fails leaves the target.
TEST(SAXReaderTest, ReadValueOfTextsAndColoursChangesTheTargetOnlyOnSuccess) {
  using TalSDK::Common::Color;
  struct Case {
    const char* xml;
    bool colourOk, textOk;
  };
  const Case cases[] = {{"<v>1 0.5 0.25 0.75</v>", true, true}, {"<v>1 0.5 0</v>", false, true},
                        {"<v>1 0.5 0 1 1</v>", false, true},    {"<v>r g b a</v>", false, true},
                        {"<v>&#1;</v>", false, false},          {"<v>&#xD800;</v>", false, false}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.xml);
    Color colour{9, 9, 9, 9};
    std::wstring wide = L"unchanged";
    std::string narrow = "unchanged";
    Probe probe;
    probe.onTag = [&](const std::string&, TalSAX::ISAXReader& reader) {
      EXPECT_EQ(reader.ReadValue(colour), c.colourOk);
      EXPECT_EQ(reader.ReadValue(wide), c.textOk);
      EXPECT_EQ(reader.ReadValue(narrow), c.textOk);
      return true;
    };
    SAXReader(true, nullptr).ParseBuffer(c.xml, &probe);
    EXPECT_EQ(colour, (c.colourOk ? Color{1.0f, 0.5f, 0.25f, 0.75f} : Color{9, 9, 9, 9}));
    if (!c.textOk) {
      EXPECT_EQ(wide, L"unchanged");
      EXPECT_EQ(narrow, "unchanged");
    }
  }
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
      {"<?xml version=\"1.0\"?>\n<!DOCTYPE a [<!ENTITY e \"&#38;e;\">]>\n<a>&e;</a>",
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
