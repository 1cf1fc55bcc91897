#include <TalSDK/persistence/ValueTags.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include <TalSDK/sdk/sax/SAXWriter.h>
#include "support/TestSupport.h"

namespace {

using TalAM::WriteValueOnly;
using TalAM::WriteValueTag;
using WriteFunction = std::function<void(TalSAX::ISAXWriter&)>;

// What `write` writes inside an unindented <R>.
std::string Body(const WriteFunction& write) {
  const auto inR = [&](TalSAX::ISAXWriter& w) {
    MSAXTagWriter root(w, "R");
    write(w);
  };
  return TestSupport::Inside(TestSupport::Written(inR, false), "R");
}

using Case = std::tuple<const char*, WriteFunction, std::string>;  // name, write, expected

// A value written both ways: as a whole element <V>, and as the text of an open element <O>.
template <class T>
Case Both(const char* name, T value, const std::string& text) {
  return {name,
          [value](auto& w) {
            EXPECT_TRUE(WriteValueTag(w, "V", value));
            MSAXTagWriter element(w, "O");
            EXPECT_TRUE(WriteValueOnly(w, value));
          },
          text.empty() ? "<V/><O/>" : "<V>" + text + "</V><O>" + text + "</O>"};
}

// Each overload must format its own type: a wrong one shows as a truncated integer, a float
// widened to double digits, a bool written as a number, and so on.
TEST(ValueTagsTest, EachTypeIsWrittenInItsOwnForm) {
  const std::vector<Case> cases = {
      Both("int", std::numeric_limits<int>::min(), "-2147483648"),
      Both("unsigned", std::numeric_limits<unsigned int>::max(), "4294967295"),
      Both("long", std::numeric_limits<long>::min(), "-9223372036854775808"),
      Both("unsigned short", static_cast<unsigned short>(65535), "65535"),
      Both("bool", true, "true"),
      Both("float, 8 digits", 1.23456789f, "1.2345679"),
      Both("double, 17 digits", 0.1, "0.10000000000000001"),
      Both("wide text as UTF-8", std::wstring(L"B\u00e4r \U0001D11E"),
           "B\xc3\xa4r \xf0\x9d\x84\x9e"),
      Both("empty wide text", std::wstring(), ""),
      Both("narrow text", "a < \xc3\xa4", "a &lt; \xc3\xa4"),
      Both("std::string", std::string("abc"), "abc"),
      Both("null text", static_cast<const char*>(nullptr), ""),
      {"float fixed", [](auto& w) { WriteValueTag(w, "V", 1.5f, 3, true); }, "<V>1.500</V>"},
      {"double significant", [](auto& w) { WriteValueTag(w, "V", 1234.5678, 5, false); },
       "<V>1234.6</V>"},
      {"double fixed", [](auto& w) { WriteValueTag(w, "V", 2.0 / 3.0, 2, true); }, "<V>0.67</V>"},
  };
  for (const auto& [name, write, expected] : cases)
    EXPECT_EQ(Body(write), expected) << name;
}

// A value that is not a character cannot be encoded; the failure names the element, also
// when only the text is written into an element the caller opened. (The whole-element form
// is checked by the machine file's save of such a comment.)
TEST(ValueTagsTest, WideTextThatIsNotUnicodeFailsNamingTheElement) {
  EXPECT_THAT(TestSupport::WriteFailure([](TalSAX::ISAXWriter& w) {
                WriteValueOnly(w, L"ok" + std::wstring(1, static_cast<wchar_t>(0xDFFF)));
              }),
              ::testing::HasSubstr("Machine"));
}

}  // namespace
