#include <TalSDK/persistence/ValueTags.h>

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <TalSDK/sdk/sax/SAXError.h>
#include <TalSDK/sdk/sax/SAXWriter.h>

namespace {

using TalAM::WriteValueOnly;
using TalAM::WriteValueTag;
using WriteFunction = std::function<void(TalSAX::ISAXWriter&)>;

// The document written by `write`, without the XML declaration and the final line feed.
std::string Body(const WriteFunction& write) {
  std::string text;
  TalSAX::SAXWriter writer(nullptr);
  EXPECT_TRUE(writer.OpenString(text));
  write(writer);
  EXPECT_TRUE(writer.Close());
  const std::string declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  EXPECT_EQ(text.substr(0, declaration.size()), declaration);
  text.erase(0, declaration.size());
  if (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

struct Case {
  const char* name;
  WriteFunction tag;   // WriteValueTag
  WriteFunction only;  // WriteValueOnly into an element the test opens itself, if any
  std::string expected;
};

// Both forms of one value.
template <class T>
Case Both(const char* name, T value, std::string expected) {
  return {name, [value](auto& w) { EXPECT_TRUE(WriteValueTag(w, "V", value)); },
          [value](auto& w) {
            MSAXTagWriter element(w, "V");
            EXPECT_TRUE(WriteValueOnly(w, value));
          },
          std::move(expected)};
}

// Each overload must format its own type: a wrong one shows as a truncated integer, a float
// widened to double digits, a bool written as a number, and so on.
TEST(ValueTagsTest, EachTypeIsWrittenInItsOwnForm) {
  const std::vector<Case> cases = {
      Both("int", std::numeric_limits<int>::min(), "<V>-2147483648</V>"),
      Both("unsigned", std::numeric_limits<unsigned int>::max(), "<V>4294967295</V>"),
      Both("long", std::numeric_limits<long>::min(), "<V>-9223372036854775808</V>"),
      Both("unsigned short", static_cast<unsigned short>(65535), "<V>65535</V>"),
      Both("bool", true, "<V>true</V>"),
      Both("float, 8 digits", 1.23456789f, "<V>1.2345679</V>"),
      Both("double, 17 digits", 0.1, "<V>0.10000000000000001</V>"),
      Both("wide text as UTF-8", std::wstring(L"B\u00e4r \U0001D11E"),
           "<V>B\xc3\xa4r \xf0\x9d\x84\x9e</V>"),
      Both("empty wide text", std::wstring(), "<V/>"),
      Both("narrow text", "a < \xc3\xa4", "<V>a &lt; \xc3\xa4</V>"),
      Both("std::string", std::string("abc"), "<V>abc</V>"),
      Both("null text", static_cast<const char*>(nullptr), "<V/>"),
      {"float fixed", [](auto& w) { WriteValueTag(w, "V", 1.5f, 3, true); }, {}, "<V>1.500</V>"},
      {"double significant",
       [](auto& w) { WriteValueTag(w, "V", 1234.5678, 5, false); },
       {},
       "<V>1234.6</V>"},
      {"double fixed",
       [](auto& w) { WriteValueTag(w, "V", 2.0 / 3.0, 2, true); },
       {},
       "<V>0.67</V>"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Body(c.tag), c.expected);
    if (c.only) {
      EXPECT_EQ(Body(c.only), c.expected);
    }
  }
}

// The message of the MGeneric that `write` throws, or nothing.
std::string FailureMessage(const WriteFunction& write) {
  std::string out;
  TalSAX::SAXWriter writer(nullptr);
  EXPECT_TRUE(writer.OpenString(out));
  try {
    write(writer);
  } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
    return error.GetMessage();
  }
  ADD_FAILURE() << "no exception";
  return {};
}

// A value that is not a character cannot be encoded (StringConversion finds which); the
// failure must name the element.
TEST(ValueTagsTest, WideTextThatIsNotUnicodeFailsNamingTheElement) {
  const std::wstring text = L"ok" + std::wstring(1, static_cast<wchar_t>(0xDFFF));
  EXPECT_NE(FailureMessage([&](auto& w) { WriteValueTag(w, "Label", text); }).find("Label"),
            std::string::npos);
  const std::string message = FailureMessage([&](auto& w) {
    w.StartTag("Outer");
    WriteValueOnly(w, text);
  });
  EXPECT_NE(message.find("Outer"), std::string::npos) << message;
}

}  // namespace
