#pragma once
// Field-level commands of tal-machine: compare two machine files, read one value, change one.
// Fields are named by the paths of the library's visitor ("Machine/Platform/Envelope/Dx").

#include <string>

#include "Commands.h"

namespace TalMachineTool {

// Prints the fields that differ (path, both values, lengths also in millimetres), then the
// kept elements that differ, then list items and blocks only one file has. Exit status 0
// when the machines are equal by the library's equality, 1 when not, 2 when a file cannot be
// loaded.
int RunDiff(const std::string& first, const std::string& second, Policy policy);
// Prints the text of one value (a list: its number of items).
int RunGet(const std::string& file, const std::string& path, Policy policy);
// Changes one value as if the machine file held `value` there, and saves the machine to
// `out` (or over `file` when `out` is empty). A text the value does not take is refused.
int RunSet(const std::string& file, const std::string& path, const std::string& value,
           const std::string& out, bool force);

}  // namespace TalMachineTool
