#include "sdk/sax/XmlText.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <utf8.h>

namespace TalSAX::XmlText {

namespace {

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

std::string NotAllowed(std::uint32_t codePoint) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string reason = "character U+";
  const int digits = codePoint > 0xFFFF ? 6 : 4;
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
    reason += kHex[(codePoint >> shift) & 0xF];
  reason += " is not allowed in XML 1.0";
  return reason;
}

}  // namespace

std::optional<Problem> FindProblem(std::string_view text) {
  const char* const data = text.data();
  const std::size_t size = text.size();
  std::size_t i = 0;
  while (i < size) {
    // Skip clean words: four at a time, then one at a time.
    while (size - i >= 32 &&
           (Flags(LoadWord(data + i)) | Flags(LoadWord(data + i + 8)) |
            Flags(LoadWord(data + i + 16)) | Flags(LoadWord(data + i + 24))) == 0) {
      i += 32;
    }
    while (size - i >= 8 && Flags(LoadWord(data + i)) == 0)
      i += 8;

    // Look at the bytes of the flagged word (or of the short tail) one by one. A multi-byte
    // sequence may run past the word; the scan then resumes after it.
    const std::size_t stop = std::min(size, i + 8);
    while (i < stop) {
      const auto c = static_cast<unsigned char>(data[i]);
      if (c >= 0x80) {
        const char* it = data + i;
        std::uint32_t codePoint = 0;
        if (utf8::internal::validate_next(it, data + size, codePoint) != utf8::internal::UTF8_OK) {
          return Problem{i, "invalid UTF-8"};
        }
        if (codePoint == 0xFFFE || codePoint == 0xFFFF) return Problem{i, NotAllowed(codePoint)};
        i = static_cast<std::size_t>(it - data);
      } else if (c < 0x20 && c != '\t' && c != '\n' && c != '\r') {
        return Problem{i, NotAllowed(c)};
      } else {
        ++i;
      }
    }
  }
  return std::nullopt;
}

}  // namespace TalSAX::XmlText
