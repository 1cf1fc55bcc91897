#include <TalSDK/sdk/sax/StreamTextOut.h>

#include <climits>

#include <gtest/gtest.h>

TEST(StreamTextOut, ValuesAreSeparatedBySpacesStringsAreNotAndPrecisionApplies) {
  MStreamTextOut<wchar_t> s;
  s << 1 << 2 << L"|" << true << false << L"," << L"\u00e9\U0001F600" << LONG_MIN << ULONG_MAX << 7u
    << static_cast<unsigned short>(65535) << 1.71f << 0.1;
  EXPECT_EQ(s.str(),
            L"1 2|true false,\u00e9\U0001F600-9223372036854775808 18446744073709551615 7 65535 "
            L"1.71 0.10000000000000001");
  s.clear();  // also forgets that a value came last
  s << -5;
  s.SetPrecision(3);
  s << 3.14159 << 2.71828f;
  s.SetPrecision(2, true);
  s << 3.14159 << 1.0f;
  s.SetPrecision(0);
  s << 0.1 << 0.1f;
  EXPECT_EQ(s.str(), L"-5 3.14 2.72 3.14 1.00 0.10000000000000001 0.1");
}
