#include <TalSDK/persistence/ValueTags.h>

#include <optional>

#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/sax/SAXError.h>
#include <TalSDK/sdk/sax/StreamTextOut.h>

namespace TalAM {
namespace {

// UTF-8 of a wide text. Called with the element open, so that the writer's failure names it.
std::string ToUtf8(TalSAX::ISAXWriter& writer, std::wstring_view text) {
  std::string utf8;
  std::optional<std::string> failure;
  try {
    utf8 = StringConversion::NativeToUtf8(text);
  } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
    failure = error.GetMessage();
  }
  if (failure) writer.Fail(*failure);
  return utf8;
}

// Empty text is left out, so that the element is written empty (<Tag/>).
void WriteUtf8(TalSAX::ISAXWriter& writer, std::string_view utf8) {
  if (!utf8.empty()) writer.WriteText(utf8);
}

void WriteWide(TalSAX::ISAXWriter& writer, std::wstring_view text) {
  WriteUtf8(writer, ToUtf8(writer, text));
}

template <class T>
bool WriteFormatted(TalSAX::ISAXWriter& writer, T value) {
  MStreamTextOut<wchar_t> out;
  out << value;
  WriteWide(writer, out.str());
  return true;
}

template <class T>
bool WriteFormattedTag(TalSAX::ISAXWriter& writer, std::string_view tag, T value) {
  writer.StartTag(tag);
  WriteFormatted(writer, value);
  writer.EndTag(tag);
  return true;
}

bool WriteUtf8Tag(TalSAX::ISAXWriter& writer, std::string_view tag, std::string_view utf8) {
  writer.StartTag(tag);
  WriteUtf8(writer, utf8);
  writer.EndTag(tag);
  return true;
}

}  // namespace

bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag, int value) {
  return WriteFormattedTag(writer, tag, value);
}
bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag, unsigned int value) {
  return WriteFormattedTag(writer, tag, value);
}
bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag, long value) {
  return WriteFormattedTag(writer, tag, value);
}
bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag, bool value) {
  return WriteFormattedTag(writer, tag, value);
}
bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag, unsigned short value) {
  return WriteFormattedTag(writer, tag, value);
}
bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag, float value) {
  return WriteFormattedTag(writer, tag, value);
}
bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag, double value) {
  return WriteFormattedTag(writer, tag, value);
}
bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag, const std::wstring& value) {
  writer.StartTag(tag);
  WriteWide(writer, value);
  writer.EndTag(tag);
  return true;
}
bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag, const char* utf8Value) {
  return WriteUtf8Tag(writer, tag, utf8Value != nullptr ? utf8Value : "");
}
bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag, const std::string& utf8Value) {
  return WriteUtf8Tag(writer, tag, utf8Value);
}
bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag, float value, int precision,
                   bool fixed) {
  return writer.WriteFloatElement(tag, value, precision, fixed);
}
bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag, double value, int precision,
                   bool fixed) {
  return writer.WriteDoubleElement(tag, value, precision, fixed);
}

bool WriteValueOnly(TalSAX::ISAXWriter& writer, int value) {
  return WriteFormatted(writer, value);
}
bool WriteValueOnly(TalSAX::ISAXWriter& writer, unsigned int value) {
  return WriteFormatted(writer, value);
}
bool WriteValueOnly(TalSAX::ISAXWriter& writer, long value) {
  return WriteFormatted(writer, value);
}
bool WriteValueOnly(TalSAX::ISAXWriter& writer, bool value) {
  return WriteFormatted(writer, value);
}
bool WriteValueOnly(TalSAX::ISAXWriter& writer, unsigned short value) {
  return WriteFormatted(writer, value);
}
bool WriteValueOnly(TalSAX::ISAXWriter& writer, float value) {
  return WriteFormatted(writer, value);
}
bool WriteValueOnly(TalSAX::ISAXWriter& writer, double value) {
  return WriteFormatted(writer, value);
}
bool WriteValueOnly(TalSAX::ISAXWriter& writer, const std::wstring& value) {
  WriteWide(writer, value);
  return true;
}
bool WriteValueOnly(TalSAX::ISAXWriter& writer, const char* utf8Value) {
  WriteUtf8(writer, utf8Value != nullptr ? utf8Value : "");
  return true;
}
bool WriteValueOnly(TalSAX::ISAXWriter& writer, const std::string& utf8Value) {
  WriteUtf8(writer, utf8Value);
  return true;
}

}  // namespace TalAM
