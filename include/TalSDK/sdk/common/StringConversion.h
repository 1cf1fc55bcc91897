#pragma once
// Conversion between the native wide strings of the API (UTF-32 on this platform) and the
// UTF-8 text of files and messages.

#include <string>
#include <string_view>

#include <TalSDK/SDKExport.h>

namespace StringConversion {

// Encodes a wide string as UTF-8. Throws TalSDK::FileIO::MSAXError::MGeneric when the string
// holds a value that is not a Unicode scalar value (a surrogate, or above U+10FFFF).
TALSDK_SDK_EXPORT std::string NativeToUtf8(std::wstring_view text);

// Decodes UTF-8 into a wide string. Lenient: every invalid sequence becomes U+FFFD, so that
// messages built from file names or foreign text can always be shown.
TALSDK_SDK_EXPORT std::wstring Utf8ToNative(std::string_view text);

// Strict forms. They return false (and leave `out` unspecified) instead of throwing or
// replacing: the reader uses them so that invalid text makes a value read fail.
TALSDK_SDK_EXPORT bool TryNativeToUtf8(std::wstring_view text, std::string& out);
TALSDK_SDK_EXPORT bool TryUtf8ToNative(std::string_view text, std::wstring& out);

}  // namespace StringConversion
