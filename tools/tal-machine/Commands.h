#pragma once
// The commands of tal-machine. Each returns the exit status and writes its errors to stderr,
// one line each.

#include <TalSDK/Machines.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace TalMachineTool {

using Policy = TalAM::MachineParametersSaxRead::LoadPolicyUnhandledElements;

enum ExitStatus : int { kSuccess = 0, kFailure = 1, kUsageError = 2 };

// "tal-machine: LINE" on stderr.
void Error(std::string_view line);
// 'path', control characters escaped.
std::string Quoted(std::string_view path);
// "file:12:3: SEVERITY: refused element Machine/Unit, text 'Metre'", one line each.
void ReportRefused(const std::string& file, const std::vector<TalSAX::SAXWarning>& refused,
                   std::string_view severity);
// Writes `target` through a temporary file beside it (with the target's permissions), renamed
// over it only once complete: a failed save leaves an existing target as it was and no
// temporary behind. `save` writes the temporary file and returns "" or what went wrong (its
// mentions of the temporary file are shown as the target).
bool SaveReplacing(const std::string& target,
                   const std::function<std::string(const std::string& temporary)>& save);

// Loads for a command that goes on despite refused elements: they are reported as warnings,
// a failed load as an error. False when the load fails.
bool LoadWarning(TalAM::MachineParameters& machine, const std::string& file, Policy policy);

// Writes a default machine named `name` in `unit`.
int RunNew(const std::string& file, const std::string& name, TalAM::MachineUnit unit);
// Prints a summary of the machine; refused elements are reported as warnings.
int RunShow(const std::string& file, Policy policy);
// Reports every problem of the load; fails when the load fails or refuses any element.
int RunCheck(const std::string& file, Policy policy);
// Puts the mesh of an STL file (millimetres) into the machine's platform mesh, or removes the
// platform mesh, and saves the machine as `out` (or over `file` when `out` is empty).
int RunPlatformMesh(const std::string& file, const std::string& stl, bool remove,
                    const std::string& out);
// Loads `in` and saves it as `out`; an existing `out` is replaced only by a complete file.
int RunConvert(const std::string& in, const std::string& out, Policy policy);

}  // namespace TalMachineTool
