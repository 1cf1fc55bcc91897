#include "Text.h"

#include <TalSDK/Machines.h>

#include <cstdio>

#include <utf8.h>

namespace TalMachineTool {

bool AppendRest(std::FILE* stream, std::string& bytes) {
  char chunk[1 << 16];
  for (std::size_t got; (got = std::fread(chunk, 1, sizeof chunk, stream)) > 0;)
    bytes.append(chunk, got);
  return std::ferror(stream) == 0;
}

std::string ToUtf8(std::wstring_view text) {
  std::string utf8;
  if (StringConversion::TryNativeToUtf8(text, utf8)) return utf8;
  utf8.clear();
  std::string one;
  for (const wchar_t c : text) {
    utf8 += StringConversion::TryNativeToUtf8(std::wstring_view(&c, 1), one) ? one : "\uFFFD";
  }
  return utf8;
}

std::vector<std::string_view> SplitLines(std::string_view text) {
  std::vector<std::string_view> lines;
  std::size_t start = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\n' && text[i] != '\r') continue;
    lines.push_back(text.substr(start, i - start));
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
    start = i + 1;
  }
  lines.push_back(text.substr(start));
  return lines;
}

std::string Printable(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  const auto escape = [&out](unsigned char byte) {
    char escaped[8];
    std::snprintf(escaped, sizeof escaped, "\\x%02X", static_cast<unsigned>(byte));
    out += escaped;
  };
  auto at = text.begin();
  while (at != text.end()) {
    // Up to the next byte that does not start a valid UTF-8 sequence, which is escaped.
    const auto invalid = utf8::find_invalid(at, text.end());
    for (; at != invalid; ++at) {
      const char c = *at;
      const auto byte = static_cast<unsigned char>(c);
      if (c == '\n') {
        out += "\\n";
      } else if (c == '\r') {
        out += "\\r";
      } else if ((byte < 0x20 && c != '\t') || byte == 0x7F) {
        escape(byte);
      } else {
        out += c;
      }
    }
    if (at != text.end()) escape(static_cast<unsigned char>(*at++));
  }
  return out;
}

std::string OneLine(std::string_view text) {
  std::string out;
  for (const std::string_view line : SplitLines(text)) {
    if (line.empty()) continue;
    if (!out.empty()) out += ": ";
    out += Printable(line);
  }
  return out;
}

}  // namespace TalMachineTool
