#pragma once
// Binary element streams. A binary element holds the base64 text of little-endian bytes;
// MSAXStreamBinaryOut collects the bytes to write and MSAXStreamBinaryIn extracts them from
// the element being read.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

#include <TalSDK/SDKExport.h>

static_assert(std::endian::native == std::endian::little,
              "binary elements hold little-endian bytes; this build assumes a little-endian host");

namespace TalSAX {

// A 32-bit unsigned value for binary streams (four little-endian bytes).
struct UserUint32_t {
  std::uint32_t value = 0;
};

template <class T>
concept BinaryScalar = std::is_arithmetic_v<T> && !std::is_same_v<T, bool>;

}  // namespace TalSAX

class TALSDK_SDK_EXPORT MSAXStreamBinaryOut {
 public:
  MSAXStreamBinaryOut& operator<<(TalSAX::UserUint32_t v) { return Append(&v.value, 4); }
  template <TalSAX::BinaryScalar T>
  MSAXStreamBinaryOut& operator<<(T v) {
    return Append(&v, sizeof v);
  }
  MSAXStreamBinaryOut& Append(const void* data, std::size_t size) {
    const auto* p = static_cast<const std::byte*>(data);
    m_bytes.insert(m_bytes.end(), p, p + size);
    return *this;
  }

  std::span<const std::byte> Bytes() const { return m_bytes; }
  std::size_t Size() const { return m_bytes.size(); }

 private:
  std::vector<std::byte> m_bytes;
};

// Extraction reads the next bytes; when too few are left the stream fails, the target keeps
// its value and every later extraction fails too. A payload that is not valid base64 makes
// the stream fail at once.
class TALSDK_SDK_EXPORT MSAXStreamBinaryIn {
 public:
  // Decodes the base64 `text` (usually the text of the element just opened).
  explicit MSAXStreamBinaryIn(std::string_view base64Text);

  MSAXStreamBinaryIn& operator>>(TalSAX::UserUint32_t& v) { return Extract(&v.value, 4); }
  template <TalSAX::BinaryScalar T>
  MSAXStreamBinaryIn& operator>>(T& v) {
    return Extract(&v, sizeof v);
  }
  MSAXStreamBinaryIn& Extract(void* data, std::size_t size);

  bool good() const { return !m_failed; }
  bool fail() const { return m_failed; }
  explicit operator bool() const { return !m_failed; }
  std::size_t Remaining() const { return m_bytes.size() - m_position; }
  std::span<const std::byte> Bytes() const { return m_bytes; }

 private:
  std::vector<std::byte> m_bytes;
  std::size_t m_position = 0;
  bool m_failed = false;
};
