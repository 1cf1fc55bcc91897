#include <TalSDK/sdk/sax/ValueText.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <system_error>
#include <type_traits>

namespace TalSAX::ValueText {

namespace {

// Values are nearly always written without white space around them: that case is one check
// of each end, inline in the parsers.
[[gnu::always_inline]] inline std::string_view Trim(std::string_view text) {
  if (!text.empty() && !IsXmlSpace(text.front()) && !IsXmlSpace(text.back())) return text;
  std::size_t begin = 0;
  std::size_t end = text.size();
  while (begin < end && IsXmlSpace(text[begin]))
    ++begin;
  while (end > begin && IsXmlSpace(text[end - 1]))
    --end;
  return text.substr(begin, end - begin);
}

template <class Int>
void AppendInteger(std::string& out, Int value) {
  char buffer[24];  // 20 digits of a uint64 plus a sign
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out.append(buffer, result.ptr);
}

template <class Int>
bool ParseInteger(std::string_view text, Int& value) {
  text = Trim(text);
  if (text.empty()) return false;
  Int parsed{};
  // from_chars takes no '+' and no white space, and unsigned types take no '-'.
  const auto result = std::from_chars(text.data(), text.data() + text.size(), parsed);
  if (result.ec != std::errc{} || result.ptr != text.data() + text.size()) return false;
  value = parsed;
  return true;
}

// No float or double has a non-zero digit beyond the 1074th place after the decimal point
// (nor more than 767 significant digits), so a larger precision could only add zeros; the cap
// keeps the buffer size bounded whatever the caller asks for.
constexpr int kMaxPrecision = 1100;

template <class Float>
void AppendFloat(std::string& out, Float value, int precision, int defaultPrecision, bool fixed) {
  if (std::isnan(value)) {
    out += "nan";  // to_chars would write "-nan" for a NaN with the sign bit set
    return;
  }
  if (std::isinf(value)) {
    out += value < 0 ? "-inf" : "inf";
    return;
  }
  if (precision <= 0) precision = defaultPrecision;
  precision = std::min(precision, kMaxPrecision);
  // Fixed: sign, up to 309 integer digits, the point and the fraction digits. General:
  // sign, the significant digits, the point and an exponent such as "e-308".
  const std::size_t bound = static_cast<std::size_t>(precision) + (fixed ? 320 : 16);
  const std::size_t start = out.size();
  out.resize(start + bound);
  char* first = out.data() + start;
  const auto result =
      std::to_chars(first, first + bound, value,
                    fixed ? std::chars_format::fixed : std::chars_format::general, precision);
  out.resize(result.ec == std::errc{} ? static_cast<std::size_t>(result.ptr - out.data()) : start);
}

// True when the mantissa of a decimal text (the part before any exponent) has a non-zero
// digit, i.e. the text does not denote zero.
bool HasNonZeroMantissa(std::string_view text) {
  for (const char c : text) {
    if (c == 'e' || c == 'E') break;
    if (c >= '1' && c <= '9') return true;
  }
  return false;
}

// Most values in machine files are short decimals ("0.5", "-12.25", "0.33333334"). Such a text
// is m / 10^k with m < 2^53 and 10^k (k <= 22) both exact doubles, and one IEEE division of
// exact operands is correctly rounded, so a double comes out as from_chars gives it. A float
// is rounded from that double, which can only differ from rounding the exact value when the
// double lies exactly halfway between two floats: that case, and any text not of this form,
// is left to from_chars (false).
template <class Float>
bool ParseShortDecimal(std::string_view text, Float& value) {
  constexpr std::size_t kMaxDigits = 15;  // m < 10^15 < 2^53
  constexpr std::size_t kMaxFractionDigits = 22;
  static constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                            1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                            1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  if (text.size() > kMaxDigits + 2) return false;  // more digits than a sign and a point allow
  const bool negative = text.front() == '-';
  std::size_t at = negative ? 1 : 0;
  std::uint64_t mantissa = 0;
  std::size_t digits = 0;
  std::size_t fractionDigits = 0;
  bool point = false;
  for (; at < text.size(); ++at) {
    const char c = text[at];
    if (c >= '0' && c <= '9') {
      if (++digits > kMaxDigits) return false;
      mantissa = mantissa * 10 + static_cast<std::uint64_t>(c - '0');
      if (point) ++fractionDigits;
    } else if (c == '.' && !point && digits > 0) {
      point = true;
    } else {
      return false;  // also ".5", "1e5", "inf": from_chars reads them
    }
  }
  if (digits == 0 || (point && fractionDigits == 0) || fractionDigits > kMaxFractionDigits)
    return false;
  double exact = static_cast<double>(mantissa);
  if (fractionDigits > 0) exact /= kPowersOfTen[fractionDigits];
  if constexpr (std::is_same_v<Float, float>) {
    // Halfway between two floats: the 29 mantissa bits a float drops are 1 then 28 zeros.
    constexpr std::uint64_t kDropped = (std::uint64_t{1} << 29) - 1;
    if ((std::bit_cast<std::uint64_t>(exact) & kDropped) == (std::uint64_t{1} << 28)) return false;
  }
  const Float result = static_cast<Float>(exact);
  value = negative ? -result : result;
  return true;
}

template <class Float>
bool ParseFloat(std::string_view text, Float& value) {
  text = Trim(text);
  if (text.empty()) return false;
  if (ParseShortDecimal(text, value)) return true;
  Float parsed{};
  // chars_format::general takes decimal and exponent notation, "inf", "infinity" and "nan"
  // in any case, and neither a '+' nor hexadecimal ("0x10" stops after the "0").
  const auto result =
      std::from_chars(text.data(), text.data() + text.size(), parsed, std::chars_format::general);
  // A finite text out of the type's range fails: libstdc++ reports result_out_of_range both
  // when the value overflows and when a non-zero value rounds to zero, while it accepts a
  // value that lands on a denormal ("1e-40" for float). The checks below keep that behaviour
  // should a library return an infinity or a zero instead.
  if (result.ec != std::errc{} || result.ptr != text.data() + text.size()) return false;
  if (std::isinf(parsed)) {
    const char first = text[text[0] == '-' ? 1 : 0];
    if (first != 'i' && first != 'I') return false;
  } else if (parsed == 0 && HasNonZeroMantissa(text)) {
    return false;
  }
  value = parsed;
  return true;
}

}  // namespace

void Append(std::string& out, bool value) {
  out += value ? "true" : "false";
}
void Append(std::string& out, std::int32_t value) {
  AppendInteger(out, value);
}
void Append(std::string& out, std::uint32_t value) {
  AppendInteger(out, value);
}
void Append(std::string& out, std::int64_t value) {
  AppendInteger(out, value);
}
void Append(std::string& out, std::uint64_t value) {
  AppendInteger(out, value);
}
void Append(std::string& out, std::uint16_t value) {
  AppendInteger(out, value);
}

void Append(std::string& out, float value, int precision, bool fixed) {
  AppendFloat(out, value, precision, kFloatPrecision, fixed);
}
void Append(std::string& out, double value, int precision, bool fixed) {
  AppendFloat(out, value, precision, kDoublePrecision, fixed);
}

bool Parse(std::string_view text, bool& value) {
  text = Trim(text);
  if (text == "true" || text == "1") {
    value = true;
  } else if (text == "false" || text == "0") {
    value = false;
  } else {
    return false;
  }
  return true;
}

bool Parse(std::string_view text, std::int32_t& value) {
  return ParseInteger(text, value);
}
bool Parse(std::string_view text, std::uint32_t& value) {
  return ParseInteger(text, value);
}
bool Parse(std::string_view text, std::int64_t& value) {
  return ParseInteger(text, value);
}
bool Parse(std::string_view text, std::uint64_t& value) {
  return ParseInteger(text, value);
}
bool Parse(std::string_view text, std::uint16_t& value) {
  return ParseInteger(text, value);
}
bool Parse(std::string_view text, float& value) {
  return ParseFloat(text, value);
}
bool Parse(std::string_view text, double& value) {
  return ParseFloat(text, value);
}

std::string_view TrimXmlSpace(std::string_view text) {
  return Trim(text);
}

std::string_view NextToken(std::string_view& text) {
  std::size_t begin = 0;
  while (begin < text.size() && IsXmlSpace(text[begin]))
    ++begin;
  std::size_t end = begin;
  while (end < text.size() && !IsXmlSpace(text[end]))
    ++end;
  const std::string_view token = text.substr(begin, end - begin);
  text.remove_prefix(end);
  return token;
}

}  // namespace TalSAX::ValueText
