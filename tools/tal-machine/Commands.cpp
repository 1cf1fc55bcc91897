#include "Commands.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

#include "Json.h"
#include "StlImport.h"
#include "Summary.h"
#include "Text.h"

namespace TalMachineTool {

namespace {

namespace fs = std::filesystem;
using Read = TalAM::MachineParametersSaxRead;

// How the standard input is named in messages.
constexpr std::string_view kStandardInput = "<stdin>";

// The permissions a replacing file gets: those of the file it replaces, else the usual ones
// for a new file.
mode_t PermissionsFor(const std::string& target) {
  struct stat existing {};
  if (::stat(target.c_str(), &existing) == 0 && S_ISREG(existing.st_mode)) {
    return existing.st_mode & 07777;
  }
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

// A library message as the tail of an error line: one line, its first word in lower case
// (unless it is an acronym), and without the file name it may start with.
std::string Message(std::string text, std::string_view file) {
  text = OneLine(text);
  const std::pair<std::string_view, std::string_view> kNamed[] = {
      {"Cannot read '", "cannot read: "}, {"Cannot save '", "cannot write: "}};
  for (const auto& [start, replacement] : kNamed) {
    const std::string named = std::string(start) + std::string(file) + "': ";
    if (text.starts_with(named)) text = std::string(replacement) + text.substr(named.size());
  }
  if (text.size() >= 2 && std::isupper(static_cast<unsigned char>(text[0])) &&
      std::islower(static_cast<unsigned char>(text[1]))) {
    text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  }
  return text;
}

// The reason of a failed load.
Diagnostic LoadFailure(const TalAM::MachineLoadResult& result, Policy policy) {
  if (result.message.find(L"Required unhandled elements found") != std::wstring::npos &&
      policy == Read::RejectRequiredUnhandledElements) {
    return {"error", "", 0, 0, "", "unknown required elements found (policy reject-required)"};
  }
  return FailureDiagnostic(result.file, ToUtf8(result.message));
}

// A number and the colon after it at the start of `text`, taken off it; 0 when none.
int TakePosition(std::string_view& text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end == text.data() + text.size() || *end != ':') return 0;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()) + 1);
  return number;
}

}  // namespace

Diagnostic FailureDiagnostic(std::string_view file, std::string_view message) {
  Diagnostic failure{"error", "", 0, 0, "", ""};
  std::string_view text = message;
  if (!file.empty() && text.starts_with(file) && text.substr(file.size()).starts_with(':')) {
    text.remove_prefix(file.size() + 1);
    failure.line = TakePosition(text);
    if (failure.line > 0) failure.column = TakePosition(text);
    while (text.starts_with(' '))
      text.remove_prefix(1);
  }
  failure.message = Message(std::string(text), file);
  return failure;
}

void Error(std::string_view line) {
  std::cerr << "tal-machine: " << line << '\n';
}

std::string Quoted(std::string_view text) {
  return "'" + Printable(text) + "'";
}

std::string ShownName(std::string_view file) {
  return file == "-" ? std::string(kStandardInput) : Printable(file);
}

std::vector<Diagnostic> Diagnostics(const TalAM::MachineLoadResult& result,
                                    const TalAM::MachineParameters& machine, Policy policy,
                                    std::string_view refusedSeverity) {
  // In the order of the file: by line, then column.
  std::vector<Diagnostic> diagnostics;
  for (const TalSAX::SAXWarning& element : result.refusedElements) {
    diagnostics.push_back({std::string(refusedSeverity), element.path, element.line, element.column,
                           element.text, "refused element"});
  }
  for (const TalSAX::SAXLenientReading& element : result.lenientReadings) {
    diagnostics.push_back({"note", element.path, element.line, element.column, element.text,
                           "unknown text read as '" + element.readAs + "'"});
  }
  if (!result.success && policy == Read::RejectRequiredUnhandledElements) {
    for (const TalSDK::MSaxUnhandledElement& element : KeptElements(machine)) {
      if (!element.IsRequired()) continue;
      diagnostics.push_back({"error", KeptElementPath(element), element.GetSourceLine(), 0, "",
                             "unknown required element"});
    }
  }
  std::stable_sort(diagnostics.begin(), diagnostics.end(),
                   [](const Diagnostic& a, const Diagnostic& b) {
                     return std::tie(a.line, a.column) < std::tie(b.line, b.column);
                   });
  if (!result.success) {
    diagnostics.push_back(LoadFailure(result, policy));
  } else if (!result.machineFound) {
    diagnostics.push_back({"warning", "", 0, 0, "", "no 'Machine' element: nothing was read"});
  }
  return diagnostics;
}

void PrintDiagnostics(std::string_view file, const std::vector<Diagnostic>& diagnostics) {
  std::size_t printed = 0;
  for (const Diagnostic& diagnostic : diagnostics) {
    // The last line, a failure, is always printed.
    const bool last = &diagnostic == &diagnostics.back();
    if (printed == kPrintedDiagnostics && !last) continue;
    if (printed == kPrintedDiagnostics) {
      std::cerr << "tal-machine: " << ShownName(file) << ": "
                << diagnostics.size() - kPrintedDiagnostics - 1
                << " more diagnostics not shown (see --format json)\n";
    }
    std::cerr << "tal-machine: " << ShownName(file) << ':';
    if (diagnostic.line > 0) std::cerr << diagnostic.line << ':';
    if (diagnostic.column > 0) std::cerr << diagnostic.column << ':';
    // "refused element PATH, text 'T'"; a note says what became of the element after it:
    // "PATH, text 'T': unknown text read as 'X'".
    const bool note = diagnostic.severity == "note";
    std::cerr << ' ' << diagnostic.severity << ": ";
    if (!note) std::cerr << Printable(diagnostic.message) << (diagnostic.path.empty() ? "" : " ");
    std::cerr << Printable(diagnostic.path);
    if (!diagnostic.text.empty()) std::cerr << ", text " << Quoted(diagnostic.text);
    if (note) std::cerr << ": " << Printable(diagnostic.message);
    std::cerr << '\n';
    if (!last) ++printed;
  }
}

std::string ReadStandardInput(std::string& text) {
  // Read through the C stream: a stream buffer iterator takes a read error (a directory as
  // the standard input, say) for the end of the input.
  text.clear();
  return AppendRest(stdin, text) ? "" : std::string("cannot read: ") + std::strerror(errno);
}

TalAM::MachineLoadResult LoadMachine(TalAM::MachineParameters& machine, const std::string& file,
                                     Policy policy) {
  if (file != "-") {
    TalAM::MachineLoadResult result =
        TalAM::LoadMachineFile(machine, StringConversion::Utf8ToNative(file).c_str(), policy);
    if (result.file.empty() && !result.success) result.file = file;
    return result;
  }
  std::string document;
  if (const std::string reason = ReadStandardInput(document); !reason.empty()) {
    TalAM::MachineLoadResult failed;
    failed.message = StringConversion::Utf8ToNative(reason);
    return failed;
  }
  return TalAM::LoadMachineDocument(machine, document, kStandardInput, policy);
}

bool LoadWarning(TalAM::MachineParameters& machine, const std::string& file, Policy policy) {
  const TalAM::MachineLoadResult result = LoadMachine(machine, file, policy);
  PrintDiagnostics(file, Diagnostics(result, machine, policy, "warning"));
  return result.success;
}

bool MayWrite(const std::string& file, const TalAM::MachineLoadResult& result, bool force) {
  if (force) return true;
  std::string lost;
  if (!result.machineFound) {
    lost = "it holds no 'Machine' element, so a default machine would be written";
  } else if (!result.refusedElements.empty()) {
    lost = RefusedWouldBeLost(result.refusedElements);
  } else if (!result.lenientReadings.empty()) {
    const std::size_t count = result.lenientReadings.size();
    lost = std::to_string(count) + " value" + (count == 1 ? "" : "s") + " read leniently (first " +
           Printable(result.lenientReadings.front().path) +
           ") would be written as the fallback text";
  }
  if (lost.empty()) return true;
  RefuseToWrite(file, lost);
  return false;
}

std::string RefusedWouldBeLost(const std::vector<TalSAX::SAXWarning>& refused) {
  const std::size_t count = refused.size();
  return std::to_string(count) + " refused element" + (count == 1 ? "" : "s") + " (first " +
         Printable(refused.front().path) + ") would be written with " +
         (count == 1 ? "its" : "their") + " previous value" + (count == 1 ? "" : "s");
}

void RefuseToWrite(const std::string& file, const std::string& lost) {
  Error(ShownName(file) + ": not written: " + lost + " (--force writes anyway)");
}

bool WriteMachine(const TalAM::MachineParameters& machine, const std::string& target) {
  if (target == "-") {
    std::string document;
    std::wstring message;
    if (!TalAM::SaveMachineDocument(machine, document, message)) {
      Error("<stdout>: " + (message.empty() ? "a block of the machine could not be written"
                                            : Message(ToUtf8(message), "")));
      return false;
    }
    std::cout << document;
    return true;
  }
  const TalAM::MachineSaveResult saved =
      TalAM::SaveMachineFileAtomically(machine, StringConversion::Utf8ToNative(target).c_str());
  if (!saved.message.empty()) {
    Error(ShownName(target) + ": " + (saved.success ? "warning: " : "") +
          Message(ToUtf8(saved.message), target));
  }
  return saved.success;
}

bool SaveReplacing(const std::string& target,
                   const std::function<std::string(const std::string& temporary)>& save) {
  std::error_code error;
  // A symbolic link updates the file it names; anything but a regular file is refused.
  fs::path resolved = fs::weakly_canonical(target, error);
  if (error) resolved = target;
  if (fs::exists(resolved, error) && !fs::is_regular_file(resolved, error)) {
    Error(ShownName(target) + ": not written: not a regular file");
    return false;
  }
  std::string temporary =
      (resolved.parent_path() / ("." + resolved.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkstemp(temporary.data());
  if (fd < 0) {
    Error(ShownName(target) + ": cannot write: " + std::strerror(errno));
    return false;
  }
  ::fchmod(fd, PermissionsFor(resolved.string()));
  ::close(fd);

  std::error_code ignored;
  std::string failure = save(temporary);
  if (!failure.empty()) {
    fs::remove(temporary, ignored);
    // The message names the temporary file; the user knows only the target.
    for (std::size_t at = failure.find(temporary); at != std::string::npos;
         at = failure.find(temporary, at + target.size())) {
      failure.replace(at, temporary.size(), target);
    }
    Error(ShownName(target) + ": " + Message(failure, target));
    return false;
  }
  fs::rename(temporary, resolved, error);
  if (error) {
    fs::remove(temporary, ignored);
    Error(ShownName(target) + ": cannot replace: " + error.message());
    return false;
  }
  return true;
}

int RunNew(const std::string& file, const std::string& name, TalAM::MachineUnit unit, bool force) {
  std::error_code error;
  if (!force && file != "-" && fs::symlink_status(file, error).type() != fs::file_type::not_found) {
    Error(ShownName(file) + ": not written: the file exists (--force replaces it)");
    return kFailure;
  }
  TalAM::MachineParameters machine;
  machine.SetName(StringConversion::Utf8ToNative(name));
  machine.m_unit = unit;
  return WriteMachine(machine, file) ? kSuccess : kFailure;
}

int RunShow(const std::string& file, Policy policy, std::string_view format) {
  TalAM::MachineParameters machine;
  const TalAM::MachineLoadResult result = LoadMachine(machine, file, policy);
  const std::vector<Diagnostic> diagnostics = Diagnostics(result, machine, policy, "warning");
  if (format == "json") {
    if (!result.success) {
      PrintDiagnostics(file, diagnostics);
      return kFailure;
    }
    PrintJson(std::cout, ShowJson(ShownName(file), machine, diagnostics));
    return kSuccess;
  }
  PrintDiagnostics(file, diagnostics);
  if (!result.success) return kFailure;
  PrintSummary(std::cout, ShownName(file), machine);
  return kSuccess;
}

int RunCheck(const std::vector<std::string>& files, Policy policy, std::string_view format) {
  int status = kSuccess;
  std::vector<CheckedFile> checked;
  for (const std::string& file : files) {
    TalAM::MachineParameters machine;
    const TalAM::MachineLoadResult result = LoadMachine(machine, file, policy);
    CheckedFile entry{ShownName(file), result.success && result.refusedElements.empty(),
                      machine.GetUnhandledElementsFromAllNodes().size(),
                      Diagnostics(result, machine, policy, "error")};
    if (!entry.ok) status = kFailure;
    if (format == "json") {
      checked.push_back(std::move(entry));
      continue;
    }
    PrintDiagnostics(file, entry.diagnostics);
    if (!entry.ok) continue;
    std::cout << entry.file << ": OK";
    if (entry.kept > 0) {
      std::cout << " (" << entry.kept << " unknown element" << (entry.kept == 1 ? "" : "s")
                << " kept)";
    }
    std::cout << '\n';
  }
  if (format == "json") PrintJson(std::cout, CheckJson(checked));
  return status;
}

int RunPlatformMesh(const std::string& file, const std::string& stl, bool remove,
                    const std::string& out, bool force) {
  TalAM::MachineParameters machine;
  const TalAM::MachineLoadResult result = LoadMachine(machine, file, Read::KeepUnhandledElements);
  PrintDiagnostics(file, Diagnostics(result, machine, Read::KeepUnhandledElements, "warning"));
  if (!result.success || !MayWrite(file, result, force)) return kFailure;
  MSAXMachinePlatformStl& holder = machine.m_platform.m_platformStl;
  if (remove) {
    holder.EnablePlatformStl(false);
  } else {
    // Read into a separate mesh first: a bad STL file leaves the machine file untouched.
    MStlBase mesh;
    std::string error;
    if (!ReadStl(stl, mesh, error)) {
      Error(error);
      return kFailure;
    }
    holder.GetPlatformStl(true)->Copy(mesh);
  }
  return WriteMachine(machine, out.empty() ? file : out) ? kSuccess : kFailure;
}

int RunConvert(const std::string& in, const std::string& out, Policy policy, bool force) {
  TalAM::MachineParameters machine;
  const TalAM::MachineLoadResult result = LoadMachine(machine, in, policy);
  PrintDiagnostics(in, Diagnostics(result, machine, policy, "warning"));
  if (!result.success || !MayWrite(in, result, force)) return kFailure;
  return WriteMachine(machine, out) ? kSuccess : kFailure;
}

}  // namespace TalMachineTool
