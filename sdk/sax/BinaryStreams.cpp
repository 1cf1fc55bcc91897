#include <TalSDK/sdk/sax/BinaryStreams.h>

#include "sdk/sax/Base64.h"

MSAXStreamBinaryIn::MSAXStreamBinaryIn(std::string_view base64Text) {
  if (!TalSAX::DecodeBinaryArray(base64Text, m_bytes)) m_failed = true;
}

MSAXStreamBinaryIn& MSAXStreamBinaryIn::Extract(void* data, std::size_t size) {
  if (m_failed || Remaining() < size) {
    m_failed = true;
    return *this;
  }
  std::memcpy(data, m_bytes.data() + m_position, size);
  m_position += size;
  return *this;
}
