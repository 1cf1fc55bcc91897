// What the reader accepts and refuses as XML: one case per rule of well-formedness, edge cases
// that must load with the text they yield, and James Clark's XML test cases when present.

#include <TalSDK/sdk/sax/SAXReader.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXError.h>
#include "support/TestSupport.h"

using TalSAX::SAXReader;
using TalSDK::FileIO::MSAXError::MGeneric;
using ::testing::HasSubstr;

namespace {

// Records, for every element, "name|text|attr=value|...", as the dispatching reader sees it.
class Recorder : public ISAXPersist {
 public:
  std::vector<std::string> seen;
  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    std::string entry = tag + "|" + reader.GetElementText();
    for (const char* name : {"a", "b"}) {
      if (const auto value = reader.GetAttribute(name))
        entry += "|" + std::string(name) + "=" + std::string(*value);
    }
    seen.push_back(entry);
    return true;
  }
};

}  // namespace

TEST(WellFormednessTest, EachRuleIsRefusedWithItsPlace) {
  // The document, the line and column reported, and a part of the reason.
  const std::tuple<std::string, int, int, const char*> cases[] = {
      // References: five predefined entities, characters XML allows, complete syntax.
      {"<a>ab&#0;cd</a>", 1, 6, "U+0000"},
      {"<a>&#xD800;</a>", 1, 4, "U+D800"},
      {"<a>&#xFFFE;</a>", 1, 4, "U+FFFE"},
      {"<a>&#x110000;</a>", 1, 4, "above U+10FFFF"},
      {"<a>&#12a;</a>", 1, 4, "malformed character reference"},
      {"<a>&#;</a>", 1, 4, "malformed character reference"},
      {"<a>&#x10FFFF0;</a>", 1, 4, "above U+10FFFF"},
      {"<a>\n&foo;</a>", 2, 1, "undefined entity '&foo;'"},
      {"<a>&amp</a>", 1, 4, "not closed by ';'"},
      {"<a>fish & chips</a>", 1, 9, "'&' must start a character or entity reference"},
      {"<a>x&/a>", 1, 5, "'&' must start a character or entity reference"},
      {"<a x='&bar;'/>", 1, 7, "undefined entity"},
      // Attributes.
      {"<a x=\"<\"/>", 1, 7, "'<' is not allowed in attribute values"},
      {"<a x=\"1\" x=\"2\"/>", 1, 10, "duplicate attribute 'x'"},
      {"<a x=\"1/>", 1, 6, "attribute value is not closed"},
      {"<a/b/>", 1, 3, "'/' in a start tag must be followed by '>'"},
      // More than sixteen attributes, which are sorted to find a duplicate: the later one named.
      {"<a b0='' b1='' b2='' b3='' b4='' b5='' b6='' b7='' b8='' b3='' b9='' ba='' bb='' bc='' "
       "bd='' be='' bf=''/>",
       1, 58, "duplicate attribute 'b3'"},
      {"<a x=1/>", 1, 6, "must be quoted"},
      {"<a x=\"1\"y=\"2\"/>", 1, 9, "separated by white space"},
      {"<a x/>", 1, 4, "has no '='"},
      // Text, comments, CDATA, processing instructions.
      {"<a>x]]>y</a>", 1, 5, "']]>' is not allowed in text"},
      {"<a><!-- a -- b --></a>", 1, 11, "'--' is not allowed inside a comment"},
      {"<a><!-- a ---></a>", 1, 11, "'--' is not allowed"},
      {"<a><!-- x --", 1, 11, "'--' is not allowed"},
      {"<a><!-- open</a>", 1, 4, "comment is not closed"},
      {"<a><![CDATA[open</a>", 1, 4, "CDATA section is not closed"},
      {"<a><? x?></a>", 1, 4, "must start with a target name"},
      {"<a><?XmL x?></a>", 1, 4, "'XmL' is reserved"},
      {"<a><?pi?x?></a>", 1, 8, "followed by white space"},
      {"<a><?pi x", 1, 4, "processing instruction is not closed"},
      {"<a><?pi \x80?></a>", 1, 9, "invalid UTF-8"},
      {std::string("<a>\0</a>", 8), 1, 4, "U+0000"},
      {"<a>\x01</a>", 1, 4, "U+0001"},
      {"<a>\x80</a>", 1, 4, "invalid UTF-8"},
      {"<a>\xE0\x80</a>", 1, 4, "invalid UTF-8"},
      {"<a>\xC3x\x80</a>", 1, 4, "invalid UTF-8"},
      {"<a>\xE1\x80x\x80</a>", 1, 4, "invalid UTF-8"},
      {"<a><![CDATA[\x80]]></a>", 1, 13, "invalid UTF-8"},
      {"<a><!--\x80--></a>", 1, 8, "invalid UTF-8"},
      {"<a b='\x80'/>", 1, 7, "invalid UTF-8"},
      {"<a>\n\xC3\x28</a>", 2, 1, "invalid UTF-8"},
      {"<a>\xEF\xBF\xBF</a>", 1, 4, "U+FFFF"},
      // The XML declaration: first, and in its one form.
      {" <?xml version=\"1.0\"?><a/>", 1, 2, "must come first"},
      {"<a/><?xml version=\"1.0\"?>", 1, 5, "must come first"},
      {"<?xml encoding=\"UTF-8\" version=\"1.0\"?><a/>", 1, 1, "must start with version"},
      {"<?xml version=\"2.0\"?><a/>", 1, 15, "'2.0' is not 1.x"},
      {"<?xml version=\"1.<?><a/>", 1, 18, "the value of version is not closed"},
      {"<?xml version=\"1.0\"encoding=\"UTF-8\"?><a/>", 1, 20, "malformed XML declaration"},
      {"<?xml version=\"1.0\"standalone=\"yes\"?><a/>", 1, 20, "malformed XML declaration"},
      {"<?xml version\"1.0\"?><a/>", 1, 14, "'=' expected after version"},
      {"<?xml version=\"1.0\" encoding\"UTF-8\"?><a/>", 1, 29, "'=' expected after encoding"},
      {"<?xml version=\"1.0\" standalone \"yes\"?><a/>", 1, 32, "'=' expected after standalone"},
      {"<?xml version=\"1.0\x7F\"?><a/>", 1, 19, "the value of version is not closed"},
      {"<?xml version=\"1.a\"?><a/>", 1, 15, "'1.a' is not 1.x"},
      {"<?xml version=\"1.0\" encoding=\"a+b\"?><a/>", 1, 30, "'a+b' is not an encoding name"},
      {"<?xml version=\"1.0\" encoding=\"Zz09._-\"?><a/>", 1, 1, "'Zz09._-'; only UTF-8"},
      {"<?xml version=\"1.0\" encoding=\" UTF-8\"?><a/>", 1, 30, "not an encoding name"},
      {"<?xml version=\"1.0\" standalone=\"maybe\"?><a/>", 1, 32, "'yes' or 'no'"},
      {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a/>", 1, 1, "only UTF-8"},
      // Names.
      {"<1a/>", 1, 1, "'<' must start a tag"},
      {"<a>x < y</a>", 1, 6, "'<' must start a tag"},
      {"<a -b=\"1\"/>", 1, 4, "unexpected character in the start tag of 'a'"},
      {"<a\xC2\xA0/>", 1, 3, "unexpected character"},
      {"<a\x80/>", 1, 3, "invalid UTF-8"},
      {"<a></ a>", 1, 4, "'</' must be followed by an element name"},
      {"<a></", 1, 4, "'</' must be followed by an element name"},
      // One root element, and nothing but markup and white space outside it.
      {"text<a/>", 1, 1, "text before the root element"},
      {"<a/>\ntext", 2, 1, "text after the root element"},
      {"<a/>\n<b/>", 2, 1, "a second root element"},
      {"<a/></a>", 1, 5, "end tag outside the root element"},
      {"<a/></", 1, 5, "end tag outside the root element"},
      {"<![CDATA[x]]><a/>", 1, 1, "must start a comment"},
      {"<!-- only a comment -->", 1, 24, "no root element"},
      {"", 1, 1, "no root element"},
      // Nesting.
      {"<a>\n  <b></c>\n</a>", 2, 6, "end tag 'c' does not match the open element 'b'"},
      {"<ab>text</a>", 1, 9, "end tag 'a' does not match the open element 'ab'"},
      {"<a>text</ab>", 1, 8, "end tag 'ab' does not match the open element 'a'"},
      {"<a>\n<b>\n", 2, 1, "element 'b' is not closed"},
      {"<a>x<ba>", 1, 5, "element 'ba' is not closed"},
      {"<a></a x>", 1, 8, "the end tag of 'a' must end with '>'"},
      {"<a>" + std::string(20000, '\n') + "  </b>", 20001, 3, "does not match"},
      {"<a>\n<b", 2, 1, "start tag of 'b' is not closed"},
      // What machine files never hold.
      {"<!DOCTYPE a [<!ENTITY e \"x\">]><a>&e;</a>", 1, 1, "DOCTYPE is not allowed"},
      {"\xFF\xFE<\0a\0/\0>\0", 1, 1, "UTF-16"},
  };
  for (const auto& [xml, line, column, reason] : cases) {
    SCOPED_TRACE(xml);
    TestSupport::KeepEverything root;
    try {
      SAXReader(true, nullptr).ParseBuffer(xml, &root, "doc.xml");
      ADD_FAILURE() << "read";
    } catch (const MGeneric& error) {
      EXPECT_THAT(error.GetMessage(), HasSubstr(reason));
      EXPECT_THAT(error.GetMessage(), HasSubstr("doc.xml:" + std::to_string(line) + ":" +
                                                std::to_string(column) + ": "));
      EXPECT_EQ(std::pair(error.GetLine(), error.GetColumn()), std::pair(line, column));
    }
  }
}

TEST(WellFormednessTest, EdgeCasesLoadWithTheTextTheyHold) {
  // The document and, per element, name|text|attributes.
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"<v>a&amp;b&lt;&gt;&apos;&quot;</v>", {"v|a&b<>'\""}},
      {"<v>&#65;&#x42;&#0000067;&#x10000;&#x10FFFF;&#xe9;&#xD7FF;&#xE000;&#xFFFD;"
       "&#x80;&#x7FF;&#x800;&#xaA;&#xfF;</v>",
       {"v|ABC\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\xC3\xA9\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBD"
        "\xC2\x80\xDF\xBF\xE0\xA0\x80\xC2\xAA\xC3\xBF"}},
      {"<v>x]y]]z &gt; ]]&gt;</v>", {"v|x]y]]z > ]]>"}},
      {"<v>a\r\nb\rc\n</v>", {"v|a\nb\nc\n"}},
      {"<v><![CDATA[<&>]]]>&amp;<![CDATA[\r\n]]></v>", {"v|<&>]&\n"}},
      {"<v>a<!-- c -->b<?pi data?>c</v>", {"v|abc"}},
      {"<v>   </v>", {"v|   "}},
      // Beside child elements, white-space-only text is formatting; a reference is not.
      {"<v>\n  <c/>\n</v>", {"v|", "c|"}},
      {"<v>x<c>in</c>y</v>", {"v|xy", "c|in"}},
      {"<v>&#32;<c/></v>", {"v| ", "c|"}},
      // Sixteen blanks, a scan's width, before text that is not indentation.
      {"<v>" + std::string(16, ' ') + "x<c/>" + std::string(16, ' ') + "abcdefghijklmnop<c/></v>",
       {"v|" + std::string(16, ' ') + "x" + std::string(16, ' ') + "abcdefghijklmnop", "c|", "c|"}},
      {"<v a=\"x&#10;y&#9;z\" b=' x\ty\r\nz\n'/>", {"v||a=x\ny\tz|b= x y z "}},
      {"<v a='\"' b=\"'\"></v >", {"v||a=\"|b='"}},
      {"<v a = 'x' b\n=\n\"y\"/>", {"v||a=x|b=y"}},
      {"<v a=\"&lt;\" p=\"plain\" b=\"x&amp;y\"/>", {"v||a=<|b=x&y"}},
      {"<?xml version=\"1.1\" encoding=\"utf-8\" standalone=\"no\" ?>\n<!-- c -->\n<?pi?>\n"
       "<v>t</v>\n<!-- after -->\n<?after x?>\n",
       {"v|t"}},
      {"<?xml version = '1.9' encoding = 'UTF-8' standalone = \"yes\" ?><v/>", {"v|"}},
      {"<?xml version=\"1.0\" encoding=\"US-ASCII\"?><v/>", {"v|"}},
      {"<?xml version=\"1.0\" encoding=\"ascii\"?><v/>", {"v|"}},
      {"<?xml version=\"1.0\" encoding=\"UTF8\"?><v/>", {"v|"}},
      {"<?xml-stylesheet href=\"x\"?><v/>", {"v|"}},
      {"\xEF\xBB\xBF<v>t</v>", {"v|t"}},
      {"<\xC3\xA9:\xC3\xB1-1.x\xC2\xB7 a=\"\xF0\x9F\x99\x82\"><_/></\xC3\xA9:\xC3\xB1-1.x\xC2\xB7>",
       {"\xC3\xA9:\xC3\xB1-1.x\xC2\xB7||a=\xF0\x9F\x99\x82", "_|"}},
      {"<v><!----><c/></v>", {"v|", "c|"}},
  };
  for (const auto& [xml, seen] : cases) {
    SCOPED_TRACE(xml);
    Recorder recorder;
    EXPECT_NO_THROW(SAXReader(true, nullptr).ParseBuffer(xml, &recorder));
    EXPECT_EQ(recorder.seen, seen);
  }
}

// Which characters names may start with, and which may only follow the first: the ends of every
// ASCII and XML 1.0 range and their neighbours outside it. Each name is read at the end of the
// document and with more behind it, where the reader scans sixteen bytes at a time.
TEST(WellFormednessTest, NameCharacters) {
  // Characters that may start a name, those that may only follow the first, and neither.
  const std::tuple<std::wstring, bool, bool> cases[] = {
      {L"azAZ_:\u00C0\u00D6\u00D8\u00F6\u00F8\u02FF\u0370\u037D\u037F\u1FFF\u200C\u200D"
       L"\u2070\u218F\u2C00\u2FEF\u3001\uD7FF\uF900\uFDCF\uFDF0\uFFFD\U00010000\U000EFFFF",
       true, true},
      {L"09-.\u00B7\u0300\u036F\u203F\u2040", false, true},
      {L"`{@[,;\u00B6\u00BF\u00D7\u00F7\u037E\u2000\u200B\u200E\u203E\u2041\u206F\u2190"
       L"\u2BFF\u2FF0\u3000\uF8FF\uFDD0\uFDEF\U000F0000",
       false, false}};
  const std::string padding = "<!--" + std::string(20, ' ') + "-->";
  for (const auto& [characters, start, follows] : cases) {
    for (const wchar_t character : characters) {
      const std::string c = StringConversion::NativeToUtf8(std::wstring(1, character));
      for (const auto& [name, allowed] : {std::pair{c, start}, {"a" + c, follows}}) {
        for (const std::string& after : {std::string(), padding}) {
          const std::string xml = "<" + name + "/>" + after;
          Recorder recorder;
          if (allowed) {
            EXPECT_NO_THROW(SAXReader(true, nullptr).ParseBuffer(xml, &recorder)) << xml;
            EXPECT_EQ(recorder.seen, std::vector{name + "|"}) << xml;
          } else {
            EXPECT_THROW(SAXReader(true, nullptr).ParseBuffer(xml, &recorder), MGeneric) << xml;
          }
        }
      }
    }
  }
}

// Multi-byte characters at the edges of the reader's unchecked fast paths (text of a leaf,
// text beside elements, attribute values), at every place in and across the sixteen bytes the
// text scan takes at a time: only well-formed characters XML allows pass.
TEST(WellFormednessTest, MultiByteCharactersAtTheEdgesOfTheFastPaths) {
  const std::pair<std::string, bool> cases[] = {
      // the bytes; whether XML allows them
      {"\xE0\xA0\x80", true},      {"\xE0\x80\xAF", false},  // U+0800; an overlong '/'
      {"\xE1\x80\x80", true},      {"\xEC\xBF\xBF", true},   // U+1000, U+CFFF
      {"\xED\x9F\xBF", true},      {"\xED\xA0\x80", false},  // U+D7FF; a surrogate
      {"\xEE\x80\x80", true},      {"\xEF\xBF\xBD", true},   // U+E000, U+FFFD
      {"\xEF\xBF\xBE", false},     {"\xE1\x80x", false},     // U+FFFE; a missing continuation
      {"\xEEx\x80", false},        {"\xEC\xBF", false},
      {"\xC2\x80", true},          {"\xDF\xBF", true},           // U+0080, U+07FF
      {"\xC1\xBF", false},         {"\xC3\xA9\xA9", false},      // overlong; a stray continuation
      {"\xED\xBF\xBF", false},     {"\xF0\x9F\x99\x82]", true},  // a surrogate; U+1F642
      {"\xF0\x90\x80\x80", true},  {"\xF4\x8F\xBF\xBF", true},   // U+10000, U+10FFFF
      {"\xF0\x8F\xBF\xBF", false}, {"\xF4\x90\x80\x80", false},  // overlong; above U+10FFFF
      {"\xF0P\x80\x80", false},    {"\xF0\x90P\x80", false},     // missing continuations
  };
  for (const auto& [character, allowed] : cases) {
    for (std::size_t offset = 0; offset < 18; ++offset) {
      const std::string bytes = std::string(offset, 'a') + character + std::string(16, 'b');
      const std::pair<std::string, std::vector<std::string>> documents[] = {
          {"<a>" + bytes + "</a>", {"a|" + bytes}},
          {"<a>" + bytes + "<c/></a>", {"a|" + bytes, "c|"}},
          {"<a b='" + bytes + "'/>", {"a||b=" + bytes}}};
      for (const auto& [xml, seen] : documents) {
        SCOPED_TRACE(xml);
        Recorder recorder;
        if (allowed) {
          EXPECT_NO_THROW(SAXReader(true, nullptr).ParseBuffer(xml, &recorder));
          EXPECT_EQ(recorder.seen, seen);
        } else {
          EXPECT_THROW(SAXReader(true, nullptr).ParseBuffer(xml, &recorder), MGeneric);
        }
      }
    }
  }
  // An attribute value cut right after its '=': the byte behind the input is no quote of it.
  const std::string_view cut = std::string_view("<a x=\"\"/>").substr(0, 5);
  Recorder recorder;
  EXPECT_THROW(SAXReader(true, nullptr).ParseBuffer(cut, &recorder), MGeneric);
}

// ---------------------------------------------------------------------------------------------
// James Clark's XML test cases, read in place.

namespace {

namespace fs = std::filesystem;

const fs::path kXmlTest = TALSDK_XMLTEST_DIR;

// James Clark's canonical form of a kept element: attributes sorted, every element with an
// end tag, and &, <, >, ", tab, LF, CR written as references.
std::string Canonical(const TalSDK::MSaxUnhandledElement& element) {
  using Node = TalSDK::MSaxUnhandledElement::Node;
  const auto escaped = [](std::string_view text) {
    std::string out;
    for (const char c : text) {
      const auto at = std::string_view("&<>\"\t\n\r").find(c);
      const char* const kReferences[] = {"&amp;", "&lt;",  "&gt;", "&quot;",
                                         "&#9;",  "&#10;", "&#13;"};
      out += at == std::string_view::npos ? std::string(1, c) : kReferences[at];
    }
    return out;
  };
  std::string out;
  std::vector<std::string> open;
  const auto closeTo = [&](std::size_t depth) {
    for (; open.size() > depth; open.pop_back())
      out += "</" + open.back() + ">";
  };
  for (const Node node : element.GetNodes()) {
    closeTo(node.depth);
    if (node.kind == Node::Kind::Text) {
      out += escaped(node.value);
      continue;
    }
    std::vector<TalSDK::MSaxUnhandledElement::Attribute> attributes(node.attributes.begin(),
                                                                    node.attributes.end());
    std::sort(attributes.begin(), attributes.end(),
              [](const auto& x, const auto& y) { return x.name < y.name; });
    open.emplace_back(node.value);
    out += "<" + open.back();
    for (const auto& attribute : attributes)
      out += " " + std::string(attribute.name) + "=\"" + escaped(attribute.value) + "\"";
    out += ">";
  }
  closeTo(0);
  return out;
}

// Runs `check` over the .xml cases of `subdirectory` that have no DOCTYPE (which machine files
// never hold). Returns how many were checked.
int ForEachCase(const fs::path& subdirectory,
                const std::function<void(const fs::path&, const std::string&)>& check) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(kXmlTest / subdirectory)) {
    if (entry.path().extension() == ".xml") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  int checked = 0;
  for (const fs::path& file : files) {
    const std::string bytes = TestSupport::ReadFile(file);
    if (bytes.find("<!DOCTYPE") != std::string::npos) continue;
    SCOPED_TRACE(file.filename().string());
    check(file, bytes);
    ++checked;
  }
  return checked;
}

}  // namespace

// Every not-well-formed standalone case is refused. The valid cases nearly all carry a DOCTYPE;
// those written in UTF-8 without one load. Their canonical outputs are themselves well-formed
// documents without a DOCTYPE: each must load, and a kept copy must give back exactly its text
// (processing instructions are not kept: those documents are only loaded).
TEST(WellFormednessTest, XmlTestCases) {
  if (!fs::is_directory(kXmlTest)) GTEST_SKIP() << kXmlTest << " is absent";
  TestSupport::KeepEverything root;
  const auto parse = [&root](const fs::path& file) {
    root.ClearUnhandledElements();
    SAXReader(true, nullptr).Parse(file.wstring().c_str(), &root);
  };
  const int refused = ForEachCase("not-wf/sa", [&](const fs::path& file, const std::string& bytes) {
    EXPECT_THROW(parse(file), MGeneric) << bytes;
  });
  EXPECT_GT(refused, 80);
  ForEachCase("valid/sa", [&](const fs::path& file, const std::string& bytes) {
    if (bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF")) return;  // UTF-16
    EXPECT_NO_THROW(parse(file));
  });
  int compared = 0;
  ForEachCase("valid/sa/out", [&](const fs::path& file, const std::string& bytes) {
    ASSERT_NO_THROW(parse(file)) << bytes;
    ASSERT_EQ(root.GetUnhandledElements().size(), 1u);
    if (bytes.find("<?") != std::string::npos) return;
    EXPECT_EQ(Canonical(root.GetUnhandledElements().front()), bytes);
    ++compared;
  });
  EXPECT_GT(compared, 100);
}
