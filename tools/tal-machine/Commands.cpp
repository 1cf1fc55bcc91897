#include "Commands.h"

#include "StlImport.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <string_view>
#include <system_error>
#include <vector>

#include "Summary.h"
#include "Text.h"

namespace TalMachineTool {

namespace {

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

}  // namespace

void Error(std::string_view line) {
  std::cerr << "tal-machine: " << line << '\n';
}

std::string Quoted(std::string_view path) {
  return "'" + Printable(path) + "'";
}

// "file:12:3: warning: refused element Machine/Unit, text 'Metre'"
void ReportRefused(const std::string& file, const std::vector<TalSAX::SAXWarning>& refused,
                   std::string_view severity) {
  for (const TalSAX::SAXWarning& element : refused) {
    std::cerr << Printable(file) << ':' << element.line << ':' << element.column << ": " << severity
              << ": refused element " << Printable(element.path);
    if (!element.text.empty()) std::cerr << ", text " << Quoted(element.text);
    std::cerr << '\n';
  }
}

bool SaveReplacing(const std::string& target,
                   const std::function<std::string(const std::string& temporary)>& save) {
  namespace fs = std::filesystem;
  const fs::path targetPath(target);
  std::string temporary =
      (targetPath.parent_path() / ("." + targetPath.filename().string() + ".XXXXXX")).string();
  const int fd = ::mkstemp(temporary.data());
  if (fd < 0) {
    Error("cannot write " + Quoted(target) + ": " + std::strerror(errno));
    return false;
  }
  ::fchmod(fd, PermissionsFor(target));
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
    Error(failure);
    return false;
  }
  std::error_code error;
  fs::rename(temporary, targetPath, error);
  if (error) {
    fs::remove(temporary, ignored);
    Error("cannot replace " + Quoted(target) + ": " + error.message());
    return false;
  }
  return true;
}

namespace {

namespace fs = std::filesystem;

TalAM::MachineLoadResult Load(TalAM::MachineParameters& machine, const std::string& file,
                              Policy policy) {
  return TalAM::LoadMachineFile(machine, StringConversion::Utf8ToNative(file).c_str(), policy);
}

// The failure of a load on one line that names the file.
std::string LoadError(const TalAM::MachineLoadResult& result, const std::string& file,
                      Policy policy) {
  std::string text = OneLine(ToUtf8(result.message));
  // A reader error names the file, and so does the refusal of required elements; other
  // failures get it put in front. So does a name that OneLine would escape or split.
  const bool refusedRequired =
      policy == TalAM::MachineParametersSaxRead::RejectRequiredUnhandledElements &&
      !result.requiredElements.empty();
  if ((!result.file.empty() || refusedRequired) && Printable(file) == file) return text;
  return "cannot load " + Quoted(file) + (text.empty() ? std::string() : ": " + text);
}

// The required elements a load refused, with where they were read.
void ReportRequired(const std::string& file, const TalAM::MachineParameters& machine) {
  for (const TalSDK::MSaxUnhandledElement& element : KeptElements(machine)) {
    if (!element.IsRequired()) continue;
    std::cerr << Printable(file);
    if (element.GetSourceLine() > 0) std::cerr << ':' << element.GetSourceLine();
    std::cerr << ": error: unknown required element " << Printable(KeptElementPath(element))
              << '\n';
  }
}

bool SaveReplacing(const TalAM::MachineParameters& machine, const std::string& target) {
  return TalMachineTool::SaveReplacing(target, [&machine](const std::string& temporary) {
    std::wstring message;
    if (TalAM::SaveToTMCF(machine, StringConversion::Utf8ToNative(temporary).c_str(), message))
      return std::string();
    const std::string text = OneLine(ToUtf8(message));
    return text.empty() ? "cannot write '" + Printable(temporary) + "'" : text;
  });
}

}  // namespace

int RunNew(const std::string& file, const std::string& name, TalAM::MachineUnit unit) {
  TalAM::MachineParameters machine;
  machine.SetName(StringConversion::Utf8ToNative(name));
  machine.m_unit = unit;
  return SaveReplacing(machine, file) ? kSuccess : kFailure;
}

bool LoadWarning(TalAM::MachineParameters& machine, const std::string& file, Policy policy) {
  const TalAM::MachineLoadResult result = Load(machine, file, policy);
  ReportRefused(file, result.refusedElements, "warning");
  if (!result.success) Error(LoadError(result, file, policy));
  return result.success;
}

int RunShow(const std::string& file, Policy policy) {
  TalAM::MachineParameters machine;
  if (!LoadWarning(machine, file, policy)) return kFailure;
  PrintSummary(std::cout, file, machine);
  return kSuccess;
}

int RunCheck(const std::string& file, Policy policy) {
  TalAM::MachineParameters machine;
  const TalAM::MachineLoadResult result = Load(machine, file, policy);
  ReportRefused(file, result.refusedElements, "error");
  if (!result.success) {
    if (policy == TalAM::MachineParametersSaxRead::RejectRequiredUnhandledElements) {
      ReportRequired(file, machine);
    }
    Error(LoadError(result, file, policy));
    return kFailure;
  }
  if (!result.refusedElements.empty()) return kFailure;
  std::cout << Printable(file) << ": OK";
  const std::size_t kept = machine.GetUnhandledElementsFromAllNodes().size();
  if (kept > 0) {
    std::cout << " (" << kept << " unknown element" << (kept == 1 ? "" : "s") << " kept)";
  }
  std::cout << '\n';
  return kSuccess;
}

int RunPlatformMesh(const std::string& file, const std::string& stl, bool remove,
                    const std::string& out) {
  TalAM::MachineParameters machine;
  if (!LoadWarning(machine, file, TalAM::MachineParametersSaxRead::KeepUnhandledElements)) {
    return kFailure;
  }
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
  return SaveReplacing(machine, out.empty() ? file : out) ? kSuccess : kFailure;
}

int RunConvert(const std::string& in, const std::string& out, Policy policy) {
  TalAM::MachineParameters machine;
  if (!LoadWarning(machine, in, policy)) return kFailure;
  return SaveReplacing(machine, out) ? kSuccess : kFailure;
}

}  // namespace TalMachineTool
