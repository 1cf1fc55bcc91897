#include <TalSDK/sdk/common/StringConversion.h>

#include <cstdint>
#include <cstring>

#include <utf8.h>

#include <TalSDK/sdk/sax/SAXError.h>

static_assert(sizeof(wchar_t) == 4, "wide strings are expected to hold UTF-32");

namespace StringConversion {

namespace {

constexpr std::uint64_t kHighBits = 0x8080808080808080u;
constexpr char32_t kReplacement = 0xFFFD;

// The UTF-8 length of `text`, or false with the offending value when it holds something that
// is not a Unicode scalar value. A negative wchar_t becomes a value above U+10FFFF.
bool Utf8Length(std::wstring_view text, std::size_t& length, std::uint32_t& badValue) {
  length = 0;
  for (const wchar_t c : text) {
    const auto u = static_cast<std::uint32_t>(c);
    if (u < 0x80) {
      length += 1;
    } else if (u < 0x800) {
      length += 2;
    } else if (u < 0x10000) {
      if (u >= 0xD800 && u <= 0xDFFF) {
        badValue = u;
        return false;
      }
      length += 3;
    } else if (u <= 0x10FFFF) {
      length += 4;
    } else {
      badValue = u;
      return false;
    }
  }
  return true;
}

bool Encode(std::wstring_view text, std::string& out, std::uint32_t& badValue) {
  std::size_t length = 0;
  if (!Utf8Length(text, length, badValue)) return false;
  out.resize(length);
  char* o = out.data();
  if (length == text.size()) {
    // All ASCII: a plain narrowing copy.
    for (std::size_t i = 0; i < length; ++i)
      o[i] = static_cast<char>(text[i]);
  } else {
    for (const wchar_t c : text)
      o = utf8::unchecked::append(static_cast<std::uint32_t>(c), o);
  }
  return true;
}

// Decodes UTF-8; an invalid sequence either fails (strict) or becomes one U+FFFD, after
// which decoding resumes past the sequence's continuation bytes (as utf8::replace_invalid).
template <bool kLenient>
bool Decode(std::string_view text, std::wstring& out) {
  out.resize(text.size());  // never more characters than bytes
  const char* const data = text.data();
  const char* const end = data + text.size();
  const char* p = data;
  wchar_t* o = out.data();
  while (p < end) {
    // ASCII eight bytes at a time.
    while (end - p >= 8) {
      std::uint64_t w;
      std::memcpy(&w, p, sizeof w);
      if (w & kHighBits) break;
      for (int i = 0; i < 8; ++i)
        o[i] = static_cast<wchar_t>(p[i]);
      p += 8;
      o += 8;
    }
    if (p == end) break;
    if (static_cast<unsigned char>(*p) < 0x80) {
      *o++ = static_cast<wchar_t>(*p++);
      continue;
    }
    std::uint32_t codePoint = 0;
    const auto error = utf8::internal::validate_next(p, end, codePoint);
    if (error == utf8::internal::UTF8_OK) {
      *o++ = static_cast<wchar_t>(codePoint);
      continue;
    }
    if constexpr (!kLenient) {
      return false;
    } else {
      *o++ = static_cast<wchar_t>(kReplacement);
      ++p;
      if (error != utf8::internal::INVALID_LEAD) {
        while (p < end && utf8::internal::is_trail(*p))
          ++p;
      }
    }
  }
  out.resize(static_cast<std::size_t>(o - out.data()));
  return true;
}

std::string HexCodePoint(std::uint32_t value) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string digits;
  for (int shift = 28; shift >= 0; shift -= 4) {
    const char digit = kHex[(value >> shift) & 0xF];
    if (digits.empty() && digit == '0' && shift >= 16) continue;  // at least four digits
    digits += digit;
  }
  return digits;
}

}  // namespace

std::string NativeToUtf8(std::wstring_view text) {
  std::string out;
  std::uint32_t badValue = 0;
  if (!Encode(text, out, badValue)) {
    throw TalSDK::FileIO::MSAXError::MGeneric("cannot encode U+" + HexCodePoint(badValue) +
                                              " as UTF-8");
  }
  return out;
}

std::wstring Utf8ToNative(std::string_view text) {
  std::wstring out;
  Decode<true>(text, out);
  return out;
}

bool TryNativeToUtf8(std::wstring_view text, std::string& out) {
  std::uint32_t badValue = 0;
  return Encode(text, out, badValue);
}

bool TryUtf8ToNative(std::string_view text, std::wstring& out) {
  return Decode<false>(text, out);
}

}  // namespace StringConversion
