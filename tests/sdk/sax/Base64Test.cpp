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

std::string Encoded(const std::vector<std::byte>& bytes) {
  std::string out = "x";
  B64::AppendEncoded(bytes, out);
  EXPECT_EQ(out.size(), 1 + B64::EncodedSize(bytes.size()));
  return out.substr(1);
}

// Decodes into a buffer of `capacity` bytes followed by guard bytes that must stay untouched.
// Returns the bytes, or nothing when Decode reports -1.
std::optional<std::vector<std::byte>> Decoded(std::string_view text, std::size_t capacity) {
  constexpr std::byte kGuard{0xA5};
  std::vector<std::byte> buffer(capacity + 16, kGuard);
  const std::ptrdiff_t n = B64::Decode(text, buffer.data(), capacity);
  for (std::size_t i = capacity; i < buffer.size(); ++i)
    EXPECT_EQ(buffer[i], kGuard) << i;
  if (n < 0) return std::nullopt;
  EXPECT_LE(static_cast<std::size_t>(n), capacity);
  buffer.resize(static_cast<std::size_t>(n));
  return buffer;
}

std::optional<std::vector<std::byte>> Decoded(std::string_view text) {
  return Decoded(text, B64::DecodedSizeUpperBound(text.size()));
}

std::vector<std::byte> RandomBytes(std::mt19937& rng, std::size_t n) {
  std::vector<std::byte> bytes(n);
  for (auto& b : bytes)
    b = static_cast<std::byte>(rng());
  return bytes;
}

}  // namespace

TEST(Base64, Rfc4648Vectors) {
  for (auto [plain, text] : {std::pair{""sv, ""sv},
                             {"f"sv, "Zg=="sv},
                             {"fo"sv, "Zm8="sv},
                             {"foo"sv, "Zm9v"sv},
                             {"foob"sv, "Zm9vYg=="sv},
                             {"fooba"sv, "Zm9vYmE="sv},
                             {"foobar"sv, "Zm9vYmFy"sv},
                             {"\xFB\xFF\xBF"sv, "+/+/"sv},
                             {"\0\0\0"sv, "AAAA"sv}}) {
    EXPECT_EQ(Encoded(Bytes(plain)), text);
    EXPECT_EQ(Decoded(text), Bytes(plain)) << text;
  }
}

// Every length up to 100 reaches both decoding paths and every tail; a capacity of exactly
// the decoded size is enough, one byte less is refused.
TEST(Base64, RandomRoundTripsAndCapacity) {
  std::mt19937 rng(42);
  for (std::size_t n = 0; n <= 100; ++n) {
    const auto bytes = RandomBytes(rng, n);
    const std::string text = Encoded(bytes);
    EXPECT_EQ(Decoded(text), bytes) << n;
    EXPECT_EQ(Decoded(text, n), bytes) << n;
    if (n > 0) {
      EXPECT_EQ(Decoded(text, n - 1), std::nullopt) << n;
    }
  }
}

TEST(Base64, WhiteSpaceAnywhereIsIgnored) {
  for (auto [text, plain] : {std::pair{" Zm9v\r\nYmFy\t", "foobar"},
                             {"Zm9vYg=\n=", "foob"},
                             {"Zm9vYg==  \n", "foob"},
                             {"\nZ m 9 v Y m E =", "fooba"}}) {
    EXPECT_EQ(Decoded(text), Bytes(plain)) << text;
  }
  std::mt19937 rng(7);
  const auto bytes = RandomBytes(rng, 5000);
  std::string text = Encoded(bytes);
  for (int i = 0; i < 300; ++i)
    text.insert(rng() % text.size(), 1, " \t\r\n"[rng() % 4]);
  EXPECT_EQ(Decoded(text), bytes);
  EXPECT_EQ(Decoded(" \n\t"), std::vector<std::byte>{});
}

TEST(Base64, MalformedTextFails) {
  const std::string_view kBad[] = {"Zm9",        "Zm9vY",     "Z",    "Zm9!",   "Zm9vYg=",
                                   "Zm9vY===",   "====",      "=Zm9", "Zm=v",   "Zg=x",
                                   "Zg==Zg==",   "Zg== Zm9v", "Zh==", "Zm9=",   "Zm9\v",
                                   "Zm\xC3\xA9", "Zm9-",      "Zm9_", "Zm\0v"sv};
  for (const std::string_view text : kBad)
    EXPECT_EQ(Decoded(text), std::nullopt) << text;
  // A bad character deep inside a long run, where the fast path handles the groups.
  std::mt19937 rng(3);
  const std::string good = Encoded(RandomBytes(rng, 3000));
  for (const std::size_t pos : {0u, 1u, 17u, 2000u, 3999u}) {
    std::string text = good;
    text[pos] = '*';
    EXPECT_EQ(Decoded(text), std::nullopt) << pos;
  }
}
