#include "sdk/sax/XmlText.h"

#include <TalSDK/sdk/sax/SAXReader.h>

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

TEST(XmlText, FindsTheFirstProblemOrNone) {
  constexpr std::size_t kFine = std::string_view::npos;
  // The text, the offset of its first problem (kFine for none) and the reason.
  const std::tuple<std::string_view, std::size_t, std::string> cases[] = {
      {""sv, kFine, ""},
      {"<a b=\"c\">\t\r\n</a>"sv, kFine, ""},
      {"\x7F \xC2\x85 caf\xC3\xA9"sv, kFine, ""},
      {"\xED\x9F\xBF \xEE\x80\x80"sv, kFine, ""},
      {"\xEF\xBF\xBD \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF"sv, kFine, ""},
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
  for (const auto& [text, offset, reason] : cases) {
    const auto problem = FindProblem(text);
    EXPECT_EQ(problem ? problem->offset : kFine, offset) << text;
    EXPECT_EQ(problem ? problem->reason : "", reason) << text;
  }
}

// Every position of long text, relative to the words the check reads at once; multi-byte
// characters at every alignment pass.
TEST(XmlText, FindsAProblemAtEveryPositionOfLongText) {
  std::string fine;
  for (int i = 0; i < 40; ++i)
    fine += std::string(static_cast<std::size_t>(i % 7), 'a') + "\xE2\x82\xAC\xF0\x9F\x98\x80";
  EXPECT_FALSE(FindProblem(fine));
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

// A reader of another kind, which does not vouch for its texts: the string reads check them.
TEST(XmlText, ReadsOfAnUncheckedReaderRefuseInvalidText) {
  struct TextOnly : TalSAX::ISAXReader {
    std::string text, none;
    bool DelegateToChild(ISAXPersistBase&) override { return false; }
    bool DelegateToOwnedChild(ISAXPersistBase*) override { return false; }
    const std::string& GetElementText() override { return text; }
    std::string_view GetElementTextView() const override { return text; }
    const std::string& GetParentTagName(int) const override { return none; }
    std::optional<std::string_view> GetAttribute(std::string_view) const override { return {}; }
    bool CaptureElement(TalSDK::MSaxUnhandledElement&) override { return false; }
    void SkipElementContent() override {}
    ISAXReference* FindReference(unsigned int) const override { return nullptr; }
  } reader;
  for (const auto& [text, valid] : {std::pair{"caf\xC3\xA9", true}, {"a\x01", false}}) {
    reader.text = text;
    std::wstring wide = L"kept";
    std::string narrow = "kept";
    EXPECT_EQ(reader.ReadValue(wide), valid);
    EXPECT_EQ(reader.ReadValue(narrow), valid);
    EXPECT_EQ(wide, valid ? L"caf\u00e9" : L"kept");
    EXPECT_EQ(narrow, valid ? text : "kept");
  }
}
