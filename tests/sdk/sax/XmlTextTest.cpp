#include "sdk/sax/XmlText.h"

#include <string>

#include <gtest/gtest.h>

using TalSAX::XmlText::FindProblem;
using namespace std::string_view_literals;

namespace {

constexpr const char* kInvalid = "invalid UTF-8";

std::string NotAllowed(const char* codePoint) {
  return std::string("character U+") + codePoint + " is not allowed in XML 1.0";
}

}  // namespace

TEST(XmlText, AcceptsWhatXmlAllows) {
  for (const std::string_view text :
       {""sv, "<a b=\"c\">\t\r\n</a>"sv, "\x7F \xC2\x85 caf\xC3\xA9"sv,
        "\xED\x9F\xBF \xEE\x80\x80"sv, "\xEF\xBF\xBD \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF"sv}) {
    const auto problem = FindProblem(text);
    EXPECT_FALSE(problem) << text << ": " << problem->reason;
  }
  // Multi-byte characters at every alignment relative to the eight-byte words.
  std::string text;
  for (int i = 0; i < 40; ++i)
    text += std::string(static_cast<std::size_t>(i % 7), 'a') + "\xE2\x82\xAC\xF0\x9F\x98\x80";
  EXPECT_FALSE(FindProblem(text));
}

TEST(XmlText, ReportsTheFirstProblem) {
  struct Case {
    std::string_view text;
    std::size_t offset;
    std::string reason;
  };
  const Case cases[] = {
      {"\x01"sv, 0, NotAllowed("0001")},
      {"abc\x1F"sv, 3, NotAllowed("001F")},
      {"a\0b"sv, 1, NotAllowed("0000")},
      {"x\xEF\xBF\xBE"sv, 1, NotAllowed("FFFE")},
      {"\xEF\xBF\xBF"sv, 0, NotAllowed("FFFF")},
      {"ab\xC0\x80"sv, 2, kInvalid},        // overlong NUL
      {"\xE0\x80\xAF"sv, 0, kInvalid},      // overlong '/'
      {"a\x80"sv, 1, kInvalid},             // lone continuation byte
      {"\xE2\x82"sv, 0, kInvalid},          // truncated at the end
      {"\xE2\x82x"sv, 0, kInvalid},         // truncated inside
      {"\xED\xA0\x80"sv, 0, kInvalid},      // surrogate U+D800
      {"\xF4\x90\x80\x80"sv, 0, kInvalid},  // above U+10FFFF
      {"\xF8\x88\x80\x80\x80"sv, 0, kInvalid},
      {"\xFF"sv, 0, kInvalid},
      {"\xC3\xA9\x02\xFF"sv, 2, NotAllowed("0002")},  // the first of two problems
  };
  for (const Case& c : cases) {
    const auto problem = FindProblem(c.text);
    ASSERT_TRUE(problem) << c.text;
    EXPECT_EQ(problem->offset, c.offset) << c.text;
    EXPECT_EQ(problem->reason, c.reason) << c.text;
  }
}

TEST(XmlText, FindsAProblemAtEveryPositionOfLongText) {
  for (const char bad : {'\x0B', '\x80'}) {
    for (std::size_t pos = 0; pos < 80; ++pos) {
      std::string text(80, 'x');
      text[pos] = bad;
      const auto problem = FindProblem(text);
      ASSERT_TRUE(problem) << pos;
      EXPECT_EQ(problem->offset, pos);
    }
  }
}
