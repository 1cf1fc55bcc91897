#pragma once
// Text helpers of tal-machine: reading a stream whole, conversion between the wide strings of the
// library and the UTF-8 of the terminal, and shaping text so that each message stays on one line.

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace TalMachineTool {

// Appends what is left of `stream` to `bytes`; false on a read error (errno says which).
bool AppendRest(std::FILE* stream, std::string& bytes);

// UTF-8 of a wide string; a value that is not a Unicode scalar value becomes U+FFFD.
std::string ToUtf8(std::wstring_view text);

// The lines of `text`, split at LF, CR LF and lone CR.
std::vector<std::string_view> SplitLines(std::string_view text);

// `text` with control characters and bytes that are not UTF-8 shown as escapes (\n, \r,
// \x01, \xFF, ...); tabs stay.
std::string Printable(std::string_view text);

// A message on one line: its non-empty lines joined with ": ", control characters escaped.
std::string OneLine(std::string_view text);

}  // namespace TalMachineTool
