#include <TalSDK/sdk/common/StringConversion.h>

#include <cstring>
#include <cwchar>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <TalSDK/sdk/sax/SAXError.h>

using namespace StringConversion;
using namespace std::string_view_literals;
using TalSDK::FileIO::MSAXError::MGeneric;
using ::testing::Property;
using ::testing::Throws;

// The first and last code point of each UTF-8 length, each at every alignment relative to
// the eight-byte steps over ASCII.
TEST(StringConversion, KnownEncodings) {
  using P = std::pair<std::wstring_view, std::string_view>;
  for (auto [wide, utf8] :
       {P{L"A\0z\x7F"sv, "A\0z\x7F"sv}, P{L"\u0080\u07FF"sv, "\xC2\x80\xDF\xBF"sv},
        P{L"\u0800\uD7FF"sv, "\xE0\xA0\x80\xED\x9F\xBF"sv},
        P{L"\uE000\uFFFF"sv, "\xEE\x80\x80\xEF\xBF\xBF"sv},
        P{L"\U00010000"sv, "\xF0\x90\x80\x80"sv}, P{L"\U0010FFFF"sv, "\xF4\x8F\xBF\xBF"sv}}) {
    for (std::size_t pad = 0; pad <= 16; ++pad) {
      const std::wstring w = std::wstring(pad, L'a') + std::wstring(wide) + L"bcdefghi";
      const std::string u = std::string(pad, 'a') + std::string(utf8) + "bcdefghi";
      EXPECT_EQ(NativeToUtf8(w), u);
      EXPECT_EQ(Utf8ToNative(u), w);
      std::wstring strict;
      EXPECT_TRUE(TryUtf8ToNative(u, strict));
      EXPECT_EQ(strict, w);
    }
  }
  // A view's conversion ends at the view's end, also after a whole eight-byte step.
  EXPECT_EQ(std::wcslen(Utf8ToNative("abcdefghij"sv.substr(0, 8)).c_str()), 8u);
  EXPECT_EQ(std::strlen(NativeToUtf8(L"abc"sv.substr(0, 2)).c_str()), 2u);
}

TEST(StringConversion, ValuesThatAreNotScalarValuesCannotBeEncoded) {
  using P = std::pair<int, const char*>;
  for (auto [value, name] :
       {P{0xD800, "U+D800"}, P{0xDFFF, "U+DFFF"}, P{0x110000, "U+110000"}, P{-1, "U+FFFFFFFF"}}) {
    const std::wstring text = L"ok" + std::wstring(1, static_cast<wchar_t>(value));
    std::string out;
    EXPECT_FALSE(TryNativeToUtf8(text, out));
    EXPECT_THAT([&] { NativeToUtf8(text); },
                Throws<MGeneric>(Property(&MGeneric::GetMessage,
                                          "cannot encode " + std::string(name) + " as UTF-8")));
  }
}

TEST(StringConversion, InvalidUtf8) {
  // Lenient decoding replaces each invalid sequence with one U+FFFD; strict decoding fails.
  using P = std::pair<std::string_view, std::wstring_view>;
  for (auto [utf8, lenient] :
       {P{"\xC0\x80"sv, L"\uFFFD"sv}, P{"a\x80z"sv, L"a\uFFFDz"sv},
        P{"\x80\xBF"sv, L"\uFFFD\uFFFD"sv}, P{"\xE0\x80\xAF"sv, L"\uFFFD"sv},
        P{"ab\xE2\x82"sv, L"ab\uFFFD"sv}, P{"\xE2\x82z"sv, L"\uFFFDz"sv},
        P{"\xED\xA0\x80!"sv, L"\uFFFD!"sv}, P{"\xF4\x90\x80\x80"sv, L"\uFFFD"sv},
        P{"\xFF\xFE"sv, L"\uFFFD\uFFFD"sv},
        P{"0123456789abcdef\xC3"sv, L"0123456789abcdef\uFFFD"sv}}) {
    EXPECT_EQ(Utf8ToNative(utf8), lenient);
    std::wstring strict;
    EXPECT_FALSE(TryUtf8ToNative(utf8, strict)) << utf8;
  }
}
