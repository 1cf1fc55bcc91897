#include "sdk/sax/XmlText.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <utf8.h>

#include "sdk/sax/Sse2.h"

namespace TalSAX::XmlText {

namespace {

#if !TALSDK_SSE2
constexpr std::uint64_t kOnes = 0x0101010101010101u;
constexpr std::uint64_t kHighBits = 0x80 * kOnes;

std::uint64_t LoadWord(const char* p) {
  std::uint64_t w;
  std::memcpy(&w, p, sizeof w);
  return w;
}

// Non-zero when a byte of `w` is >= 0x80 or < 0x20. Subtracting 0x20 from each byte sets the
// byte's high bit when it was below 0x20; the borrow can only start at such a byte, so there
// is no false alarm, though the flags above the first hit are not exact.
std::uint64_t Flags(std::uint64_t w) {
  return ((w - 0x20 * kOnes) | w) & kHighBits;
}
#endif

// The characters refused here are all in the Basic Multilingual Plane: four hex digits.
std::string NotAllowed(std::uint32_t codePoint) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string reason = "character U+";
  for (int shift = 12; shift >= 0; shift -= 4)
    reason += kHex[(codePoint >> shift) & 0xF];
  reason += " is not allowed in XML 1.0";
  return reason;
}

// Index of the first byte at or after `i` that is not plain allowed ASCII (a control
// character other than tab, LF and CR, or any byte of 0x80 and above), or `size`.
std::size_t SkipPlainAscii(const char* data, std::size_t size, std::size_t i) {
#if TALSDK_SSE2
  // Sixteen bytes at a time: a signed compare flags bytes below 0x20 and, being negative, all
  // bytes of 0x80 and above; tab, LF and CR are then let through.
  const __m128i space = _mm_set1_epi8(0x20);
  const __m128i tab = _mm_set1_epi8('\t');
  const __m128i lf = _mm_set1_epi8('\n');
  const __m128i cr = _mm_set1_epi8('\r');
  while (size - i >= 16) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i));
    const __m128i allowed = _mm_or_si128(
        _mm_or_si128(_mm_cmpeq_epi8(x, tab), _mm_cmpeq_epi8(x, lf)), _mm_cmpeq_epi8(x, cr));
    const int mask = _mm_movemask_epi8(_mm_andnot_si128(allowed, _mm_cmplt_epi8(x, space)));
    if (mask != 0) return i + static_cast<std::size_t>(__builtin_ctz(static_cast<unsigned>(mask)));
    i += 16;
  }
#else
  while (size - i >= 8 && Flags(LoadWord(data + i)) == 0)
    i += 8;
#endif
  for (; i < size; ++i) {
    const auto c = static_cast<unsigned char>(data[i]);
    if (c >= 0x80 || (c < 0x20 && c != '\t' && c != '\n' && c != '\r')) return i;
  }
  return size;
}

}  // namespace

std::optional<Problem> FindProblem(std::string_view text) {
  const char* const data = text.data();
  const std::size_t size = text.size();
  std::size_t i = 0;
  while ((i = SkipPlainAscii(data, size, i)) < size) {
    const auto c = static_cast<unsigned char>(data[i]);
    if (c < 0x80) return Problem{i, NotAllowed(c)};
    const char* it = data + i;
    std::uint32_t codePoint = 0;
    if (utf8::internal::validate_next(it, data + size, codePoint) != utf8::internal::UTF8_OK) {
      return Problem{i, "invalid UTF-8"};
    }
    if (codePoint == 0xFFFE || codePoint == 0xFFFF) return Problem{i, NotAllowed(codePoint)};
    i = static_cast<std::size_t>(it - data);
  }
  return std::nullopt;
}

}  // namespace TalSAX::XmlText
