#pragma once
// A text stream that formats values exactly as the tag reader reads them back.

#include <cstdint>
#include <string>
#include <string_view>

#include <TalSDK/SDKExport.h>
#include <TalSDK/sdk/sax/ValueText.h>

template <class CharT>
class MStreamTextOut;

// Numbers and booleans inserted one after another are separated by one space ("1 2 3");
// strings are appended as they are. Floats use 8 significant digits and doubles 17 unless
// SetPrecision says otherwise.
template <>
class TALSDK_SDK_EXPORT MStreamTextOut<wchar_t> {
 public:
  MStreamTextOut() = default;

  MStreamTextOut& operator<<(bool value) { return AppendValue(value); }
  MStreamTextOut& operator<<(int value) { return AppendValue(static_cast<std::int32_t>(value)); }
  MStreamTextOut& operator<<(unsigned int value) {
    return AppendValue(static_cast<std::uint32_t>(value));
  }
  MStreamTextOut& operator<<(long value) { return AppendValue(static_cast<std::int64_t>(value)); }
  MStreamTextOut& operator<<(unsigned long value) {
    return AppendValue(static_cast<std::uint64_t>(value));
  }
  MStreamTextOut& operator<<(unsigned short value) {
    return AppendValue(static_cast<std::uint16_t>(value));
  }
  MStreamTextOut& operator<<(float value);
  MStreamTextOut& operator<<(double value);
  MStreamTextOut& operator<<(std::wstring_view text);
  MStreamTextOut& operator<<(const wchar_t* text) { return *this << std::wstring_view(text); }
  MStreamTextOut& operator<<(const std::wstring& text) { return *this << std::wstring_view(text); }

  // Significant digits for the following floating-point values; 0 restores the defaults
  // (8 for float, 17 for double). With `fixed`, digits after the decimal point instead.
  void SetPrecision(int precision, bool fixed = false) {
    m_precision = precision;
    m_fixed = fixed;
  }

  const std::wstring& str() const { return m_text; }
  void clear() {
    m_text.clear();
    m_lastWasValue = false;
  }

 private:
  template <class T>
  MStreamTextOut& AppendValue(T value) {
    m_scratch.clear();
    TalSAX::ValueText::Append(m_scratch, value);
    AppendAscii();
    return *this;
  }
  void AppendAscii();

  std::wstring m_text;
  std::string m_scratch;
  int m_precision = 0;
  bool m_fixed = false;
  bool m_lastWasValue = false;
};
