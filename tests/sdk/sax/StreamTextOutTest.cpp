#include "sdk/sax/StreamTextOut.h"

#include <climits>

#include <gtest/gtest.h>

using Stream = MStreamTextOut<wchar_t>;

TEST(StreamTextOut, ValuesAreSeparatedBySpacesStringsAreNot) {
  Stream s;
  s << 1 << 2 << 3;
  EXPECT_EQ(s.str(), L"1 2 3");
  s << L"|" << true << false << L"," << L"\u00e9\U0001F600" << LONG_MIN << ULONG_MAX << 7u
    << static_cast<unsigned short>(65535);
  EXPECT_EQ(s.str(),
            L"1 2 3|true false,\u00e9\U0001F600-9223372036854775808 18446744073709551615 "
            L"7 65535");
  s.clear();
  s << -5;
  EXPECT_EQ(s.str(), L"-5");
}

TEST(StreamTextOut, FloatingPointPrecision) {
  Stream s;
  s << 1.71f << 0.1 << 30.0 << 0.1f;
  EXPECT_EQ(s.str(), L"1.71 0.10000000000000001 30 0.1");
  s.clear();
  s.SetPrecision(3);
  s << 3.14159 << 2.71828f;
  s.SetPrecision(2, true);
  s << 3.14159 << 1.0f;
  s.SetPrecision(0);
  s << 0.1;
  EXPECT_EQ(s.str(), L"3.14 2.72 3.14 1.00 0.10000000000000001");
}
