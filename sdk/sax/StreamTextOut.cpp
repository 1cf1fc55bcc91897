#include <TalSDK/sdk/sax/StreamTextOut.h>

MStreamTextOut<wchar_t>& MStreamTextOut<wchar_t>::operator<<(float value) {
  m_scratch.clear();
  TalSAX::ValueText::Append(m_scratch, value, m_precision, m_fixed);
  AppendAscii();
  return *this;
}

MStreamTextOut<wchar_t>& MStreamTextOut<wchar_t>::operator<<(double value) {
  m_scratch.clear();
  TalSAX::ValueText::Append(m_scratch, value, m_precision, m_fixed);
  AppendAscii();
  return *this;
}

MStreamTextOut<wchar_t>& MStreamTextOut<wchar_t>::operator<<(std::wstring_view text) {
  m_text.append(text);
  m_lastWasValue = false;
  return *this;
}

void MStreamTextOut<wchar_t>::AppendAscii() {
  // The formatted value is plain ASCII, so widening is a per-character copy.
  const std::size_t start = m_text.size() + (m_lastWasValue ? 1 : 0);
  m_text.resize(start + m_scratch.size(), L' ');
  for (std::size_t i = 0; i < m_scratch.size(); ++i) {
    m_text[start + i] = static_cast<wchar_t>(m_scratch[i]);
  }
  m_lastWasValue = true;
}
