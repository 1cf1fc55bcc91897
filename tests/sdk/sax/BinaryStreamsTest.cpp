#include <TalSDK/sdk/sax/BinaryStreams.h>

#include <gtest/gtest.h>

#include <tuple>

#include <TalSDK/sdk/sax/SAXWriter.h>
#include "support/TestSupport.h"

using TalSAX::UserUint32_t;

TEST(BinaryStreamsTest, ValuesComeBackInOrderAsLittleEndianBytes) {
  MSAXStreamBinaryOut out;
  out << UserUint32_t{0x01020304u} << std::int16_t{-2} << 1.5f << 2.25 << std::uint8_t{7};
  EXPECT_EQ(out.Size(), 4u + 2u + 4u + 8u + 1u);
  EXPECT_EQ(static_cast<unsigned>(out.Bytes()[0]), 0x04u);  // little-endian
  // A default value is zero; a bool, whose size is the compiler's choice, is no scalar.
  EXPECT_EQ(UserUint32_t{}.value, 0u);
  EXPECT_FALSE(TalSAX::BinaryScalar<bool>);

  // Read from the text of the binary element the stream is written as.
  MSAXStreamBinaryIn in(TestSupport::Inside(
      TestSupport::Written([&](TalSAX::ISAXWriter& w) { w.WriteBinaryElement("Bits", out); }),
      "Bits"));
  UserUint32_t u;
  std::int16_t s = 0;
  float f = 0;
  double d = 0;
  std::uint8_t b = 0;
  in >> u >> s >> f >> d >> b;
  ASSERT_TRUE(in.good());
  EXPECT_EQ(std::tuple(u.value, s, f, d, b, in.Remaining()),
            std::tuple(0x01020304u, std::int16_t{-2}, 1.5f, 2.25, std::uint8_t{7}, 0u));
}

TEST(BinaryStreamsTest, ShortOrMalformedPayloadsFailWithoutTouchingTheTarget) {
  // The payload, whether it decodes, and the whole UserUint32_t values before the stream fails.
  const std::tuple<const char*, bool, std::size_t> cases[] = {
      {"AQAAAAIAAAA=", true, 2},      {"AQAAAAIAAA==", true, 1}, {"", true, 0},
      {" AQAA\nAAIA AAA= ", true, 2}, {"AQAAAAIAAA", false, 0},  {"AQ$AAAIAAAA=", false, 0},
  };
  for (const auto& [text, decodes, extractable] : cases) {
    SCOPED_TRACE(text);
    MSAXStreamBinaryIn in(text);
    EXPECT_EQ(in.good(), decodes);
    std::size_t extracted = 0;
    for (; extracted <= extractable; ++extracted) {  // bounded: one past the expected
      UserUint32_t value{0xDEADBEEFu};
      if (!(in >> value)) {
        EXPECT_EQ(value.value, 0xDEADBEEFu);
        break;
      }
    }
    EXPECT_EQ(extracted, extractable);
  }
}
