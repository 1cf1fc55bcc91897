#pragma once
// The text form of scalar values in tag documents. Locale-independent (std::to_chars and
// std::from_chars) and strict on reading: surrounding XML white space is ignored, the rest
// must convert completely, and a value outside the target's range fails.

#include <cstdint>
#include <string>
#include <string_view>

#include <TalSDK/SDKExport.h>

namespace TalSAX::ValueText {

// Default significant digits. 17 round-trips every double; 8 gives floats their short texts
// ("1.71", not "1.71000004"), though a few floats need 9 to read back bit for bit.
inline constexpr int kFloatPrecision = 8;
inline constexpr int kDoublePrecision = 17;

TALSDK_SDK_EXPORT void Append(std::string& out, bool value);
TALSDK_SDK_EXPORT void Append(std::string& out, std::int32_t value);
TALSDK_SDK_EXPORT void Append(std::string& out, std::uint32_t value);
TALSDK_SDK_EXPORT void Append(std::string& out, std::int64_t value);
TALSDK_SDK_EXPORT void Append(std::string& out, std::uint64_t value);
TALSDK_SDK_EXPORT void Append(std::string& out, std::uint16_t value);
// Floating point in the shortest "%.<precision>g" form, or with `fixed` as "%.<precision>f".
// Infinities are "inf" and "-inf", every NaN is "nan".
TALSDK_SDK_EXPORT void Append(std::string& out, float value, int precision = kFloatPrecision,
                              bool fixed = false);
TALSDK_SDK_EXPORT void Append(std::string& out, double value, int precision = kDoublePrecision,
                              bool fixed = false);

// "true" / "false"; "1" / "0" are accepted as well.
TALSDK_SDK_EXPORT bool Parse(std::string_view text, bool& value);
TALSDK_SDK_EXPORT bool Parse(std::string_view text, std::int32_t& value);
TALSDK_SDK_EXPORT bool Parse(std::string_view text, std::uint32_t& value);
TALSDK_SDK_EXPORT bool Parse(std::string_view text, std::int64_t& value);
TALSDK_SDK_EXPORT bool Parse(std::string_view text, std::uint64_t& value);
TALSDK_SDK_EXPORT bool Parse(std::string_view text, std::uint16_t& value);
// Decimal or exponent notation, "inf", "-inf", "infinity", "nan" (any case). A finite text
// whose value does not fit the type fails.
TALSDK_SDK_EXPORT bool Parse(std::string_view text, float& value);
TALSDK_SDK_EXPORT bool Parse(std::string_view text, double& value);

// XML white space: space, tab, carriage return, line feed.
constexpr bool IsXmlSpace(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}
TALSDK_SDK_EXPORT std::string_view TrimXmlSpace(std::string_view text);

// Splits off the next white-space separated token of `text` (advancing it); empty at the end.
TALSDK_SDK_EXPORT std::string_view NextToken(std::string_view& text);

}  // namespace TalSAX::ValueText
