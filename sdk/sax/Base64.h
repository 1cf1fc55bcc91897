#pragma once
// Standard base64 (RFC 4648, with padding) for the binary elements of tag documents.

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <TalSDK/SDKExport.h>

namespace TalSAX::Base64 {

// Characters needed to encode `byteCount` bytes.
constexpr std::size_t EncodedSize(std::size_t byteCount) {
  return (byteCount + 2) / 3 * 4;
}
// An upper bound of the bytes that `textLength` characters decode to.
constexpr std::size_t DecodedSizeUpperBound(std::size_t textLength) {
  return (textLength + 3) / 4 * 3;
}

// Encodes `bytes` into `out`, which must hold EncodedSize(bytes.size()) characters.
TALSDK_SDK_EXPORT void Encode(std::span<const std::byte> bytes, char* out);
TALSDK_SDK_EXPORT void AppendEncoded(std::span<const std::byte> bytes, std::string& out);

// Decodes `text` into `out` (capacity `outCapacity`, at least DecodedSizeUpperBound of the
// text length). XML white space anywhere in the text is ignored. Returns the number of bytes
// decoded, or -1 when the text is not valid base64: a character outside the alphabet,
// misplaced or missing padding, a length that is not a multiple of four, or trailing bits
// that are not zero (only the canonical form is accepted, so a read and a write agree).
TALSDK_SDK_EXPORT std::ptrdiff_t Decode(std::string_view text, std::byte* out,
                                        std::size_t outCapacity);

}  // namespace TalSAX::Base64

namespace TalSAX {

// Decodes the base64 `text` straight into `out` as an array of T, without an intermediate
// buffer (used for large meshes). False when the text is not valid base64 or its byte count
// is not a multiple of sizeof(T); `out` is then empty.
template <class T>
requires std::is_trivially_copyable_v<T>
bool DecodeBinaryArray(std::string_view text, std::vector<T>& out) {
  const std::size_t upper = Base64::DecodedSizeUpperBound(text.size());
  out.resize((upper + sizeof(T) - 1) / sizeof(T));
  const std::ptrdiff_t n =
      Base64::Decode(text, reinterpret_cast<std::byte*>(out.data()), out.size() * sizeof(T));
  if (n < 0 || static_cast<std::size_t>(n) % sizeof(T) != 0) {
    out.clear();
    return false;
  }
  out.resize(static_cast<std::size_t>(n) / sizeof(T));
  return true;
}

}  // namespace TalSAX
