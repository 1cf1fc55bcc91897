#include <TalSDK/sdk/sax/ValueText.h>

#include <bit>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <limits>
#include <locale>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace VT = TalSAX::ValueText;
using namespace std::string_view_literals;

namespace {

template <class T>
std::string Text(T value, int precision = 0, bool fixed = false) {
  std::string out = "<";  // appending must keep what is there
  if constexpr (std::is_floating_point_v<T>) {
    VT::Append(out, value, precision, fixed);
  } else {
    VT::Append(out, value);
  }
  return out.substr(1);
}

// Parses `text` into a T preset to `value`; returns whether it succeeded and the value.
template <class T>
std::pair<bool, T> ParseInto(std::string_view text, T value) {
  const bool ok = VT::Parse(text, value);
  return {ok, value};
}

template <class T>
void ExpectIntegerLimits(const char* minText, const char* maxText, const char* belowMin,
                         const char* aboveMax) {
  using L = std::numeric_limits<T>;
  EXPECT_EQ(Text(L::min()), minText);
  EXPECT_EQ(Text(L::max()), maxText);
  EXPECT_EQ(ParseInto<T>(minText, 7), std::make_pair(true, L::min()));
  EXPECT_EQ(ParseInto<T>(maxText, 7), std::make_pair(true, L::max()));
  for (const char* bad : {belowMin, aboveMax, "", " \t", "12abc", "+1", "0x10", "1.5", "1e3", "- 1",
                          "1 2", "\v1", "\xC2\xA0\x31"}) {
    EXPECT_EQ(ParseInto<T>(bad, 7), std::make_pair(false, T{7})) << '"' << bad << '"';
  }
  for (const char* spaced : {" \t\r\n12\n ", "12\t", "\n12"})
    EXPECT_EQ(ParseInto<T>(spaced, 7), std::make_pair(true, T{12})) << '"' << spaced << '"';
}

}  // namespace

TEST(ValueText, IntegersAtTheirLimitsAndBeyond) {
  ExpectIntegerLimits<std::int32_t>("-2147483648", "2147483647", "-2147483649", "2147483648");
  ExpectIntegerLimits<std::uint32_t>("0", "4294967295", "-1", "4294967296");
  ExpectIntegerLimits<std::int64_t>("-9223372036854775808", "9223372036854775807",
                                    "-9223372036854775809", "9223372036854775808");
  ExpectIntegerLimits<std::uint64_t>("0", "18446744073709551615", "-1", "18446744073709551616");
  ExpectIntegerLimits<std::uint16_t>("0", "65535", "-1", "65536");
}

TEST(ValueText, Booleans) {
  EXPECT_EQ(Text(true) + Text(false), "truefalse");
  for (auto [text, expected] :
       {std::pair{"true", true}, {"1", true}, {" false\n", false}, {"0", false}})
    EXPECT_EQ(ParseInto(text, !expected), std::make_pair(true, expected)) << text;
  for (const char* bad : {"", "TRUE", "yes", "2", "01", "t"})
    EXPECT_EQ(ParseInto(bad, true), std::make_pair(false, true)) << bad;
}

TEST(ValueText, FloatingPointTexts) {
  using D = std::numeric_limits<double>;
  using F = std::numeric_limits<float>;
  // A precision below 1 is the type's own.
  EXPECT_EQ((std::vector{Text(1.71f), Text(0.1f), Text(30.0), Text(0.1), Text(1e20), Text(-0.0),
                         Text(3.14159, 3), Text(3.14159, 2, true), Text(2.0f, 0, true),
                         Text(1.23456789f, -1), Text(0.1, -5, true), Text(D::infinity()),
                         Text(-F::infinity()), Text(D::quiet_NaN()), Text(-F::quiet_NaN())}),
            (std::vector<std::string>{"1.71", "0.1", "30", "0.10000000000000001", "1e+20", "-0",
                                      "3.14", "3.14", "2.00000000", "1.2345679",
                                      "0.10000000000000001", "inf", "-inf", "nan", "nan"}));
  EXPECT_EQ(Text(1e300, 1, true).size(), 303u);
}

TEST(ValueText, FloatingPointParsing) {
  const double inf = std::numeric_limits<double>::infinity();
  using P = std::pair<const char*, double>;  // 1e-40 is a float denormal
  for (auto [text, expected] :
       {P{" 1e5\n", 1e5}, P{"-2.5", -2.5}, P{".5", 0.5}, P{"inf", inf}, P{"-INF", -inf},
        P{"Infinity", inf}, P{"0e-999", 0.0}, P{"1e-40", 1e-40}, P{"3.4028235e38", 3.4028235e38}}) {
    EXPECT_EQ(ParseInto(text, 7.0), std::make_pair(true, expected)) << text;
    EXPECT_EQ(ParseInto(text, 7.0f), std::make_pair(true, static_cast<float>(expected))) << text;
  }
  EXPECT_TRUE(std::isnan(ParseInto("NaN", 7.0).second));
  EXPECT_TRUE(std::signbit(ParseInto("-0", 7.0f).second));
  // Denormals are read; finite texts that overflow or that round a non-zero value to zero fail.
  EXPECT_EQ(ParseInto("4.9e-324", 7.0), std::make_pair(true, 4.9e-324));
  for (const char* bad : {"1e39", "-1e39", "3.4028236e38", "1e-50", "1e-46"})
    EXPECT_EQ(ParseInto(bad, 7.0f), std::make_pair(false, 7.0f)) << bad;
  for (const char* bad : {"1e309", "-1e309", "1e-400", "", " ", "-", "+1", "0x1p3", "0x10", "1e",
                          "1,5", "1.5f", "- 1", "infinit", "1 2"}) {
    EXPECT_EQ(ParseInto(bad, 7.0), std::make_pair(false, 7.0)) << bad;
    EXPECT_EQ(ParseInto(bad, 7.0f), std::make_pair(false, 7.0f)) << bad;
  }
}

// Short decimals take a quicker path than other texts; whatever path a text takes, the value
// must be the correctly rounded one, bit for bit what from_chars gives.
template <class Float>
void ExpectSameAsFromChars(const std::string& text) {
  Float expected{};
  Float parsed{};
  const auto result = std::from_chars(text.data(), text.data() + text.size(), expected);
  ASSERT_EQ(result.ec, std::errc{}) << text;
  ASSERT_TRUE(VT::Parse(text, parsed)) << text;
  using Bits = std::conditional_t<sizeof(Float) == 4, std::uint32_t, std::uint64_t>;
  EXPECT_EQ(std::bit_cast<Bits>(parsed), std::bit_cast<Bits>(expected)) << text;
}

TEST(ValueText, EveryFormOfDecimalReadsAsFromChars) {
  // Around the limits of the quick path: digit counts, fraction digits, signs, zeros.
  for (const char* text :
       {"0", "-0", "0.0", "-0.0", "1", "0.1", "0.5", "-12.25", "250000", "9999999", "99999999",
        "0.3333333", "3.333333", "16777217", "8388608.5", "9007199254740993", "0.1234567890123",
        "123456789012345", "1234567890123456", "0.0000000001", "0.00000000001",
        "1.0000000000000000000001", "007", "1e5", "2.5E-3",
        // not halfway between two floats, but their nearest doubles are
        "76.8000373840332", "25.4087553024292", "1.60561865568161"}) {
    SCOPED_TRACE(text);
    ExpectSameAsFromChars<float>(text);
    ExpectSameAsFromChars<double>(text);
  }
  std::mt19937_64 random(7);
  for (int i = 0; i < 20000; ++i) {
    std::string text = (random() & 1) ? "-" : "";
    text += std::to_string(random() % 100000000000000000ULL >> (random() % 57));
    const std::size_t point = random() % (text.size() + 1);
    if (point > (text[0] == '-' ? 1U : 0U) && point < text.size()) text.insert(point, ".");
    ExpectSameAsFromChars<float>(text);
    ExpectSameAsFromChars<double>(text);
  }
}

// The extremes of each type read back from their default text. Random bit patterns and the
// extremes (NaNs aside): with max_digits10 digits the text reads back to the same bits; with the
// default precision, writing what was read gives the same text again.
template <class Float, class Bits>
void ExpectRoundTrips(std::mt19937_64& rng) {
  using L = std::numeric_limits<Float>;
  std::vector<Float> values = {L::max(), L::lowest(), L::denorm_min(), -L::denorm_min(), L::min()};
  for (const Float value : values)
    EXPECT_EQ(ParseInto(Text(value), Float{7}), std::make_pair(true, value)) << Text(value);
  for (int i = 0; i < 1000; ++i)
    values.push_back(std::bit_cast<Float>(static_cast<Bits>(rng())));
  for (const Float value : values) {
    if (std::isnan(value)) continue;
    const std::string exact = Text(value, L::max_digits10);
    Float back = 0;
    ASSERT_TRUE(VT::Parse(exact, back)) << exact;
    ASSERT_EQ(std::bit_cast<Bits>(back), std::bit_cast<Bits>(value)) << exact;
    const std::string text = Text(value);
    ASSERT_TRUE(VT::Parse(text, back)) << text;
    ASSERT_EQ(Text(back), text);
  }
}

TEST(ValueText, ExtremeAndRandomFloatsRoundTrip) {
  std::mt19937_64 rng(20240611);
  ExpectRoundTrips<float, std::uint32_t>(rng);
  ExpectRoundTrips<double, std::uint64_t>(rng);
}

TEST(ValueText, UnaffectedByTheProcessLocale) {
  const std::string previous = std::setlocale(LC_ALL, nullptr);
  const char* comma = nullptr;
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8", "fr_FR.utf8",
                           "nl_NL.UTF-8", "ru_RU.UTF-8"})
    if (!comma && std::setlocale(LC_ALL, name) && std::localeconv()->decimal_point == ","sv)
      comma = name;
  if (comma == nullptr) {
    std::setlocale(LC_ALL, previous.c_str());
    FAIL() << "no locale with a decimal comma is installed; scripts/install-deps.sh generates "
              "de_DE.UTF-8";
  }
  std::locale::global(std::locale(comma));
  EXPECT_EQ(Text(1.5) + " " + Text(1234567.25f, 9) + " " + Text(std::int32_t{-1234567}),
            "1.5 1234567.25 -1234567");
  EXPECT_EQ(ParseInto("1.5", 0.0), std::make_pair(true, 1.5));
  EXPECT_EQ(ParseInto("1,5", 0.0f), std::make_pair(false, 0.0f));
  std::locale::global(std::locale::classic());
  std::setlocale(LC_ALL, previous.c_str());
}
