#pragma once
// Checks that text can stand in an XML 1.0 document: valid UTF-8 (no surrogates, nothing
// above U+10FFFF) and none of the characters XML 1.0 forbids (C0 controls other than tab,
// line feed and carriage return; U+FFFE and U+FFFF).

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <TalSDK/SDKExport.h>

namespace TalSAX::XmlText {

struct Problem {
  std::size_t offset;  // byte offset of the offending sequence
  std::string reason;  // e.g. "invalid UTF-8" or "character U+0001 is not allowed in XML 1.0"
};

// The first problem in `text`, or nothing when the text is fine. ASCII runs are checked a
// word at a time, so the check costs little next to parsing.
TALSDK_SDK_EXPORT std::optional<Problem> FindProblem(std::string_view text);

inline bool IsValid(std::string_view text) {
  return !FindProblem(text).has_value();
}

}  // namespace TalSAX::XmlText
