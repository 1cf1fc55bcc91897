#include "persistence/ValueTags.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "sdk/sax/SAXError.h"
#include "sdk/sax/SAXWriter.h"

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

// Writes `value` into an element the test opens itself.
template <class T>
WriteFunction Only(T value) {
  return [value](TalSAX::ISAXWriter& writer) {
    writer.StartTag("V");
    EXPECT_TRUE(WriteValueOnly(writer, value));
    writer.EndTag("V");
  };
}

template <class T>
WriteFunction Tag(T value) {
  return [value](TalSAX::ISAXWriter& writer) { EXPECT_TRUE(WriteValueTag(writer, "V", value)); };
}

// Each overload must format its own type: a wrong one shows as a truncated integer, a float
// widened to double digits, a bool written as a number, and so on.
TEST(ValueTagsTest, EachTypeIsWrittenInItsOwnForm) {
  struct Case {
    const char* name;
    WriteFunction write;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {"int", Tag(std::numeric_limits<int>::min()), "<V>-2147483648</V>"},
      {"unsigned", Tag(std::numeric_limits<unsigned int>::max()), "<V>4294967295</V>"},
      {"long", Tag(std::numeric_limits<long>::min()), "<V>-9223372036854775808</V>"},
      {"unsigned short", Tag(static_cast<unsigned short>(65535)), "<V>65535</V>"},
      {"bool", Tag(true), "<V>true</V>"},
      {"float, 8 digits", Tag(1.23456789f), "<V>1.2345679</V>"},
      {"double, 17 digits", Tag(0.1), "<V>0.10000000000000001</V>"},
      {"wide text as UTF-8", Tag(std::wstring(L"B\u00e4r \U0001D11E")),
       "<V>B\xc3\xa4r \xf0\x9d\x84\x9e</V>"},
      {"empty wide text", Tag(std::wstring()), "<V/>"},
      {"narrow text", Tag("a < \xc3\xa4"), "<V>a &lt; \xc3\xa4</V>"},
      {"std::string", Tag(std::string("abc")), "<V>abc</V>"},
      {"null text", Tag(static_cast<const char*>(nullptr)), "<V/>"},
      {"float fixed", [](auto& w) { WriteValueTag(w, "V", 1.5f, 3, true); }, "<V>1.500</V>"},
      {"double significant", [](auto& w) { WriteValueTag(w, "V", 1234.5678, 5, false); },
       "<V>1234.6</V>"},
      {"double fixed", [](auto& w) { WriteValueTag(w, "V", 2.0 / 3.0, 2, true); }, "<V>0.67</V>"},
      {"only int", Only(-7), "<V>-7</V>"},
      {"only unsigned", Only(4294967295u), "<V>4294967295</V>"},
      {"only long", Only(std::numeric_limits<long>::max()), "<V>9223372036854775807</V>"},
      {"only unsigned short", Only(static_cast<unsigned short>(65535)), "<V>65535</V>"},
      {"only bool", Only(false), "<V>false</V>"},
      {"only float", Only(0.1f), "<V>0.1</V>"},
      {"only double", Only(0.1), "<V>0.10000000000000001</V>"},
      {"only wide text", Only(std::wstring(L"\u00e4")), "<V>\xc3\xa4</V>"},
      {"only narrow text", Only("abc"), "<V>abc</V>"},
      {"only std::string", Only(std::string("abc")), "<V>abc</V>"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Body(c.write), c.expected);
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

// Values that are not characters cannot be encoded; the failure must name the element.
TEST(ValueTagsTest, WideTextThatIsNotUnicodeFailsNamingTheElement) {
  const std::wstring texts[] = {std::wstring(1, static_cast<wchar_t>(0xD800)),
                                L"ok" + std::wstring(1, static_cast<wchar_t>(0xDFFF)),
                                std::wstring(1, static_cast<wchar_t>(0x110000))};
  for (const std::wstring& text : texts) {
    EXPECT_NE(FailureMessage([&](auto& w) { WriteValueTag(w, "Label", text); }).find("Label"),
              std::string::npos);
    const std::string message = FailureMessage([&](auto& w) {
      w.StartTag("Outer");
      WriteValueOnly(w, text);
    });
    EXPECT_NE(message.find("Outer"), std::string::npos) << message;
  }
}

}  // namespace
