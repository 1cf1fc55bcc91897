#pragma once
// The commands of tal-machine. Each returns the exit status and writes its errors to stderr,
// one line each, as "tal-machine: FILE:LINE:COLUMN: message".

#include <TalSDK/Machines.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace TalMachineTool {

using Policy = TalAM::MachineParametersSaxRead::LoadPolicyUnhandledElements;

enum ExitStatus : int { kSuccess = 0, kFailure = 1, kUsageError = 2 };

// At most this many diagnostics of one file are printed as text; a last line counts the rest.
// The JSON output lists them all.
inline constexpr std::size_t kPrintedDiagnostics = 20;

// "tal-machine: LINE" on stderr.
void Error(std::string_view line);
// 'text', control characters and invalid UTF-8 escaped.
std::string Quoted(std::string_view text);
// How messages name a file: "-" is the standard input or output.
std::string ShownName(std::string_view file);

// Something a load has to say about one file.
struct Diagnostic {
  std::string severity;  // "error", "warning" or "note"
  std::string path;      // the element concerned ("Machine/Unit"); empty for the whole file
  int line = 0;          // 0 when unknown
  int column = 0;        // 0 when unknown
  std::string text;      // the element's text, when it has one
  std::string message;   // what happened, in lower case
};

// A failure a library reported in `message`, which may start with "FILE:LINE:COLUMN:".
Diagnostic FailureDiagnostic(std::string_view file, std::string_view message);

// Everything to report about a load, in file order: a failure, refused elements (with
// `refusedSeverity`), unknown required elements the policy refused, and lenient readings.
std::vector<Diagnostic> Diagnostics(const TalAM::MachineLoadResult& result,
                                    const TalAM::MachineParameters& machine, Policy policy,
                                    std::string_view refusedSeverity);
// The diagnostics as "tal-machine: FILE:LINE:COLUMN: severity: message" lines on stderr, at
// most kPrintedDiagnostics of them.
void PrintDiagnostics(std::string_view file, const std::vector<Diagnostic>& diagnostics);

// Loads the machine file `file` ("-": the standard input).
TalAM::MachineLoadResult LoadMachine(TalAM::MachineParameters& machine, const std::string& file,
                                     Policy policy);
// Loads for a command that goes on despite refused elements: they are reported as warnings,
// a failed load as an error. False when the load fails.
bool LoadWarning(TalAM::MachineParameters& machine, const std::string& file, Policy policy);
// Whether a machine loaded from `file` may be written without losing what the file held: not
// when the load refused an element, read a value leniently or found no "Machine" element,
// unless `force`. A refusal is one line naming what would be lost.
bool MayWrite(const std::string& file, const TalAM::MachineLoadResult& result, bool force);
// "N refused elements (first PATH) would be written with their previous values"; `refused` is
// not empty.
std::string RefusedWouldBeLost(const std::vector<TalSAX::SAXWarning>& refused);
// Reports that `file`, once loaded, is not written because `lost` would be lost.
void RefuseToWrite(const std::string& file, const std::string& lost);
// Saves `machine` to `target` through the library's atomic save ("-": the standard output).
bool WriteMachine(const TalAM::MachineParameters& machine, const std::string& target);
// Writes `target` through a temporary file beside it, renamed over it only once complete (a
// symbolic link updates the file it names). `save` writes the temporary file and returns ""
// or what went wrong. For files the library has no atomic save of its own for.
bool SaveReplacing(const std::string& target,
                   const std::function<std::string(const std::string& temporary)>& save);
// Reads the standard input, whole, into `text`; returns why it cannot be read ("cannot read:
// REASON"), or "".
std::string ReadStandardInput(std::string& text);

// Writes a default machine named `name` in `unit`; an existing file only with `force`.
int RunNew(const std::string& file, const std::string& name, TalAM::MachineUnit unit, bool force);
// Prints every field of the machine, as text or JSON; refused elements are warnings.
int RunShow(const std::string& file, Policy policy, std::string_view format);
// Reports every problem of each file; fails when any load fails or refuses an element.
int RunCheck(const std::vector<std::string>& files, Policy policy, std::string_view format);
// Puts the mesh of an STL file (millimetres) into the machine's platform mesh, or removes the
// platform mesh, and saves the machine as `out` (or over `file` when `out` is empty).
int RunPlatformMesh(const std::string& file, const std::string& stl, bool remove,
                    const std::string& out, bool force);
// Loads `in` and saves it as `out`.
int RunConvert(const std::string& in, const std::string& out, Policy policy, bool force);

}  // namespace TalMachineTool
