#pragma once
// Writing scalar members as tag elements. One helper per type, in two forms: a whole value
// element (<Tag>text</Tag>) and the text alone, into an element the caller already opened.
// Numbers and booleans are formatted by MStreamTextOut (floats with 8 significant digits,
// doubles with 17, so that they read back exactly). Wide strings are written as UTF-8; one
// holding a value that is not a character (a surrogate, or above U+10FFFF) makes the writer
// fail naming the element. Enumerations are converted by the caller, to int or a keyword.
// Every function returns true; failures throw (see ISAXWriter::Fail).

#include <string>
#include <string_view>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/sdk/sax/SAXWriter.h>

namespace TalAM {

TALSDK_MACHINES_EXPORT bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag,
                                          int value);
TALSDK_MACHINES_EXPORT bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag,
                                          unsigned int value);
TALSDK_MACHINES_EXPORT bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag,
                                          long value);
TALSDK_MACHINES_EXPORT bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag,
                                          bool value);
TALSDK_MACHINES_EXPORT bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag,
                                          unsigned short value);
TALSDK_MACHINES_EXPORT bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag,
                                          float value);
TALSDK_MACHINES_EXPORT bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag,
                                          double value);
TALSDK_MACHINES_EXPORT bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag,
                                          const std::wstring& value);
// Narrow text is UTF-8 and written as it is; null writes an empty element.
TALSDK_MACHINES_EXPORT bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag,
                                          const char* utf8Value);
TALSDK_MACHINES_EXPORT bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag,
                                          const std::string& utf8Value);
// Explicit precision: significant digits, or with `fixed` digits after the point.
TALSDK_MACHINES_EXPORT bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag,
                                          float value, int precision, bool fixed);
TALSDK_MACHINES_EXPORT bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag,
                                          double value, int precision, bool fixed);
// Any other pointer (L"text" above all) would silently become the bool overload.
template <class T>
bool WriteValueTag(TalSAX::ISAXWriter& writer, std::string_view tag, const T* value) = delete;

TALSDK_MACHINES_EXPORT bool WriteValueOnly(TalSAX::ISAXWriter& writer, int value);
TALSDK_MACHINES_EXPORT bool WriteValueOnly(TalSAX::ISAXWriter& writer, unsigned int value);
TALSDK_MACHINES_EXPORT bool WriteValueOnly(TalSAX::ISAXWriter& writer, long value);
TALSDK_MACHINES_EXPORT bool WriteValueOnly(TalSAX::ISAXWriter& writer, bool value);
TALSDK_MACHINES_EXPORT bool WriteValueOnly(TalSAX::ISAXWriter& writer, unsigned short value);
TALSDK_MACHINES_EXPORT bool WriteValueOnly(TalSAX::ISAXWriter& writer, float value);
TALSDK_MACHINES_EXPORT bool WriteValueOnly(TalSAX::ISAXWriter& writer, double value);
TALSDK_MACHINES_EXPORT bool WriteValueOnly(TalSAX::ISAXWriter& writer, const std::wstring& value);
TALSDK_MACHINES_EXPORT bool WriteValueOnly(TalSAX::ISAXWriter& writer, const char* utf8Value);
TALSDK_MACHINES_EXPORT bool WriteValueOnly(TalSAX::ISAXWriter& writer,
                                           const std::string& utf8Value);
template <class T>
bool WriteValueOnly(TalSAX::ISAXWriter& writer, const T* value) = delete;

}  // namespace TalAM
