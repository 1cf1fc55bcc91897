#include "sdk/sax/Base64.h"

#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace B64 = TalSAX::Base64;
using namespace std::string_view_literals;

namespace {

std::vector<std::byte> Bytes(std::string_view s) {
  const auto* p = reinterpret_cast<const std::byte*>(s.data());
  return {p, p + s.size()};
}

// Appends the text to a string, and encodes it into a buffer of exactly the encoded size
// followed by guard bytes that must stay untouched; both give the same text.
std::string Encoded(const std::vector<std::byte>& bytes) {
  std::string out = "x";
  B64::AppendEncoded(bytes, out);
  EXPECT_EQ(out.size(), 1 + B64::EncodedSize(bytes.size()));
  std::string buffer(B64::EncodedSize(bytes.size()) + 16, '#');
  B64::Encode(bytes, buffer.data());
  EXPECT_EQ(buffer, out.substr(1) + std::string(16, '#'));
  return out.substr(1);
}

// Decodes into a buffer of `capacity` bytes followed by guard bytes that must stay untouched.
// Returns the bytes, or nothing when Decode reports a failure, which must be -1.
std::optional<std::vector<std::byte>> Decoded(std::string_view text, std::size_t capacity) {
  constexpr std::byte kGuard{0xA5};
  std::vector<std::byte> buffer(capacity + 16, kGuard);
  const std::ptrdiff_t n = B64::Decode(text, buffer.data(), capacity);
  for (std::size_t i = capacity; i < buffer.size(); ++i)
    EXPECT_EQ(buffer[i], kGuard) << i;
  if (n < 0) {
    EXPECT_EQ(n, -1);
    return std::nullopt;
  }
  EXPECT_LE(static_cast<std::size_t>(n), capacity);
  buffer.resize(static_cast<std::size_t>(n));
  return buffer;
}

std::optional<std::vector<std::byte>> Decoded(std::string_view text) {
  return Decoded(text, B64::DecodedSizeUpperBound(text.size()));
}

}  // namespace

// The vectors of RFC 4648 and a few more; texts without white space are also how their bytes
// encode, white space anywhere else is ignored.
TEST(Base64, KnownTexts) {
  using P = std::pair<std::string_view, std::string_view>;  // the bytes and their text
  for (const auto& [plain, text] :
       {P{"", ""}, P{"f", "Zg=="}, P{"fo", "Zm8="}, P{"foo", "Zm9v"}, P{"foob", "Zm9vYg=="},
        P{"fooba", "Zm9vYmE="}, P{"foobar", "Zm9vYmFy"}, P{"\xFB\xFF\xBF", "+/+/"},
        P{"\0\0\0"sv, "AAAA"}, P{"foobar", " Zm9v\r\nYmFy\t"}, P{"foob", "Zm9vYg=\n="},
        P{"foob", "Zm9vYg==  \n"}, P{"fooba", "\nZ m 9 v Y m E ="}, P{"", " \n\t"}}) {
    EXPECT_EQ(Decoded(text), Bytes(plain)) << text;
    if (text.find_first_of(" \t\r\n") != std::string_view::npos) continue;
    EXPECT_EQ(Encoded(Bytes(plain)), text);
  }
}

// Every length up to 100 reaches both decoding paths and every tail, also with white space put
// in anywhere, and a bad character anywhere fails; a capacity of exactly the decoded size is
// enough, one byte less is refused.
TEST(Base64, RandomRoundTripsAndCapacity) {
  std::mt19937 rng(42);
  for (std::size_t n = 0; n <= 100; ++n) {
    std::vector<std::byte> bytes(n);
    for (auto& b : bytes)
      b = static_cast<std::byte>(rng());
    std::string text = Encoded(bytes);
    EXPECT_EQ(Decoded(text, n), bytes) << n;
    if (n == 0) continue;
    EXPECT_EQ(Decoded(text, n - 1), std::nullopt) << n;
    std::string bad = text;
    bad[rng() % bad.size()] = '*';
    EXPECT_EQ(Decoded(bad), std::nullopt) << bad;
    for (int i = 0; i < 3; ++i)
      text.insert(rng() % text.size(), 1, " \t\r\n"[rng() % 4]);
    EXPECT_EQ(Decoded(text), bytes) << text;
  }
}

TEST(Base64, MalformedTextFails) {
  const std::string_view kBad[] = {"Zm9",        "Zm9vY",     "Z",    "Zm9!",        "Zm9vYg=",
                                   "Zm9vY===",   "====",      "=Zm9", "Zm=v",        "Zg=x",
                                   "Zg==Zg==",   "Zg== Zm9v", "Zh==", "Zm9=",        "Zm9\v",
                                   "Zm\xC3\xA9", "Zm9-",      "Zm9_", "Zm\0vZm9v"sv, "Zm8=Zm9v"};
  for (const std::string_view text : kBad)
    EXPECT_EQ(Decoded(text), std::nullopt) << text;
}
