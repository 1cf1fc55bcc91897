#include <TalSDK/sdk/sax/ValueText.h>

#include <bit>
#include <charconv>
#include <cstdint>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace {

// Short decimals take a quicker path than other texts; whatever path a text takes, the value
// must be the correctly rounded one, bit for bit what from_chars gives.
template <class Float>
void ExpectSameAsFromChars(const std::string& text) {
  Float expected{};
  Float parsed{};
  const auto result = std::from_chars(text.data(), text.data() + text.size(), expected);
  ASSERT_EQ(result.ec, std::errc{}) << text;
  ASSERT_TRUE(TalSAX::ValueText::Parse(text, parsed)) << text;
  using Bits = std::conditional_t<sizeof(Float) == 4, std::uint32_t, std::uint64_t>;
  EXPECT_EQ(std::bit_cast<Bits>(parsed), std::bit_cast<Bits>(expected)) << text;
}

TEST(ValueTextDecimal, EveryFormOfDecimalReadsAsFromChars) {
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

}  // namespace
