#include "ConceptLaser.h"

#include <TalSDK/Machines.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "Commands.h"
#include "Json.h"
#include "Summary.h"
#include "Text.h"

namespace TalMachineTool {

namespace {

using TalAM::FieldKind;

// Loads the file ("-": the standard input); refused elements are reported with `severity`,
// a failure as an error.
bool Load(MCLParameters& set, const std::string& file, std::string_view severity,
          std::vector<TalSAX::SAXWarning>& refused) {
  TalAM::CLLoadResult result;
  if (file == "-") {
    std::string document;
    if (const std::string reason = ReadStandardInput(document); !reason.empty()) {
      result.message = StringConversion::Utf8ToNative(reason);
    } else {
      result = TalAM::ReadCLParameterDocument(set, document, ShownName(file));
    }
  } else {
    result = TalAM::LoadCLParameterFile(set, StringConversion::Utf8ToNative(file));
  }
  std::vector<Diagnostic> diagnostics;
  for (const TalSAX::SAXWarning& element : result.refusedElements) {
    diagnostics.push_back({std::string(severity), element.path, element.line, element.column,
                           element.text, "refused element"});
  }
  if (!result.success) {
    diagnostics.push_back(
        FailureDiagnostic(file == "-" ? ShownName(file) : file, ToUtf8(result.message)));
  }
  PrintDiagnostics(file, diagnostics);
  refused = std::move(result.refusedElements);
  return result.success;
}

// Saves through a temporary file renamed over `target` once complete ("-": the standard
// output).
bool SaveReplacing(MCLParameters& set, const std::string& target) {
  if (target == "-") {
    std::string document;
    if (!TalAM::WriteCLParameterDocument(set, document)) {
      Error("<stdout>: the parameter set could not be written");
      return false;
    }
    std::cout << document;
    return true;
  }
  return TalMachineTool::SaveReplacing(target, [&set](const std::string& temporary) {
    try {
      if (set.Save(StringConversion::Utf8ToNative(temporary))) return std::string();
      return "cannot write " + Quoted(temporary);
    } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
      return OneLine(error.GetMessage());
    }
  });
}

// Every field as a line "  label: value", indented by its depth, lengths in millimetres.
void PrintText(std::ostream& out, std::string_view file, const MCLParameters& set) {
  constexpr std::size_t kValueColumn = 40;
  const auto line = [&](std::size_t indent, std::string_view label, std::string_view value) {
    std::string head = std::string(indent, ' ') + std::string(label) + ":";
    head.resize(std::max(head.size() + 1, kValueColumn), ' ');
    out << head << value << '\n';
  };
  line(0, "File", Printable(file));
  TalAM::FieldVisit visit(
      [&](const TalAM::FieldView& field) {
        const auto depth =
            static_cast<std::size_t>(std::count(field.path.begin(), field.path.end(), '/'));
        const std::size_t indent = 2 * (depth - 1);
        const std::string label = Printable(field.tag);
        switch (field.kind) {
          case FieldKind::Block:
          case FieldKind::Item:
            out << (depth == 1 ? "\n" : "") << std::string(indent, ' ') << label << '\n';
            break;
          case FieldKind::List:
            out << (depth == 1 ? "\n" : "") << std::string(indent, ' ') << label << " ("
                << Printable(field.text) << ")\n";
            break;
          case FieldKind::Length:
            line(indent, label, Millimetres(field.text) + " mm (" + Printable(field.text) + ")");
            break;
          case FieldKind::String:
            line(indent, label, field.text.empty() ? "(none)" : Printable(field.text));
            break;
          default:
            line(indent, label, Printable(field.text));
        }
      },
      "CLParameterFile");
  set.VisitFields(visit);

  const auto kept = set.GetUnhandledElementsFromAllNodes();
  out << '\n';
  line(0, "Kept unknown elements", std::to_string(kept.size()));
}

// Every field as `show --format json` gives a machine's, without diagnostics.
void PrintSetJson(std::ostream& out, std::string_view file, const MCLParameters& set) {
  PrintJson(out,
            Json{{"file", file},
                 {"fields", FieldsJson([&set](TalAM::FieldVisit& visit) { set.VisitFields(visit); },
                                       "CLParameterFile")},
                 {"keptUnknownElements", KeptJson(set.GetUnhandledElementsFromAllNodes())},
                 {"diagnostics", Json::array()}});
}

// Every laser set of every scanning set, and every post-process set, as the library's dump
// operators print them (the text the application writes into its logs).
void PrintDump(std::ostream& out, const MCLParameters& set) {
  std::wostringstream dump;
  const auto scanning = [&dump](const std::wstring& name, const MCLScanningParameters& sets) {
    dump << L"Scanning set " << name << std::endl;
    for (int type = eCLVectorBorder; type <= eCLVectorInnerContours; ++type) {
      const auto vector = static_cast<eCLVectorType>(type);
      dump << L"  " << StringConversion::Utf8ToNative(MCLScanningParameters::ContainerTag(vector))
           << std::endl
           << sets.GetBuildParametersOfType(vector);
    }
  };
  scanning(L"Default", set.GetDefaultComponentScanningParameters());
  for (const auto& [name, sets] : set.GetNamedScanningParameters())
    scanning(name, sets);
  dump << L"Post-process set of the platform" << std::endl
       << set.GetPlatformParameters().GetPostProcessParameters();
  for (const auto& [name, postProcess] : set.GetNamedPostProcessingParameters())
    dump << L"Post-process set " << name << std::endl << postProcess;
  // Line by line, so that a name holding a control character cannot break the layout.
  const std::string text = ToUtf8(dump.str());
  for (const std::string_view line : SplitLines(text))
    out << Printable(line) << '\n';
}

// Paths reach the library as wide strings; text that is not UTF-8 has none.
const CLI::Validator kUtf8(
    [](std::string& text) {
      std::wstring ignored;
      return StringConversion::TryUtf8ToNative(text, ignored) ? std::string() : "not valid UTF-8";
    },
    "UTF-8");

}  // namespace

ClCommands::ClCommands(CLI::App& app)
    : m_group(app.add_subcommand("cl",
                                 "Create, inspect, check and convert Concept Laser "
                                 "parameter files")) {
  m_group->require_subcommand(1);
  m_group->footer(
      "Lengths in a parameter file are millimetres. Exit status 0, 1 when a file cannot be\n"
      "read or written (or, for check, holds refused elements; for convert, had refused\n"
      "elements and no --force; for new, exists), 2 on a usage error. A FILE of - is the\n"
      "standard input (or, written, the standard output).\n"
      "Example: tal-machine cl show examples/conceptlaser/example.xml");
  m_new = m_group->add_subcommand("new", "Write a default parameter set");
  m_new->add_option("FILE", m_file, "Parameter file to write")->required()->check(kUtf8);
  m_new->add_flag("--force", m_force, "Replace an existing FILE (default: refuse)");
  m_show = m_group->add_subcommand("show", "Print every value of a parameter file");
  m_show->add_option("FILE", m_file, "Parameter file to read")->required()->check(kUtf8);
  m_show->add_option("--format", m_format, "Output format")
      ->check(CLI::IsMember({"text", "json"}))
      ->capture_default_str();
  m_show->add_flag("--dump", m_dump,
                   "Print every laser and post-process set as the library's dump writes them");
  m_check = m_group->add_subcommand("check", "Report every problem of a parameter file");
  m_check->add_option("FILE", m_file, "Parameter file to read")->required()->check(kUtf8);
  m_convert = m_group->add_subcommand("convert", "Read a parameter file and write it again");
  m_convert->add_option("IN", m_file, "Parameter file to read")->required()->check(kUtf8);
  m_convert->add_option("OUT", m_output, "Parameter file to write (replaced only when complete)")
      ->required()
      ->check(kUtf8);
  m_convert->add_flag("--force", m_force,
                      "Write even when the file read had refused elements (default: refuse)");
}

int ClCommands::Run() const {
  if (m_new->parsed()) return RunClNew(m_file, m_force);
  if (m_show->parsed()) return RunClShow(m_file, m_format, m_dump);
  if (m_check->parsed()) return RunClCheck(m_file);
  if (m_convert->parsed()) return RunClConvert(m_file, m_output, m_force);
  return kUsageError;
}

int RunClNew(const std::string& file, bool force) {
  std::error_code error;
  if (!force && file != "-" &&
      std::filesystem::symlink_status(file, error).type() !=
          std::filesystem::file_type::not_found) {
    Error(ShownName(file) + ": not written: the file exists (--force replaces it)");
    return kFailure;
  }
  MCLParameters set;
  return SaveReplacing(set, file) ? kSuccess : kFailure;
}

int RunClShow(const std::string& file, const std::string& format, bool dump) {
  MCLParameters set;
  std::vector<TalSAX::SAXWarning> refused;
  if (!Load(set, file, "warning", refused)) return kFailure;
  if (dump) {
    PrintDump(std::cout, set);
  } else if (format == "json") {
    PrintSetJson(std::cout, ShownName(file), set);
  } else {
    PrintText(std::cout, ShownName(file), set);
  }
  return kSuccess;
}

int RunClCheck(const std::string& file) {
  MCLParameters set;
  std::vector<TalSAX::SAXWarning> refused;
  if (!Load(set, file, "error", refused)) return kFailure;
  if (!refused.empty()) return kFailure;
  std::cout << ShownName(file) << ": OK";
  const std::size_t kept = set.GetUnhandledElementsFromAllNodes().size();
  if (kept > 0) {
    std::cout << " (" << kept << " unknown element" << (kept == 1 ? "" : "s") << " kept)";
  }
  std::cout << '\n';
  return kSuccess;
}

int RunClConvert(const std::string& in, const std::string& out, bool force) {
  MCLParameters set;
  std::vector<TalSAX::SAXWarning> refused;
  if (!Load(set, in, "warning", refused)) return kFailure;
  if (!refused.empty() && !force) {
    RefuseToWrite(in, RefusedWouldBeLost(refused));
    return kFailure;
  }
  return SaveReplacing(set, out) ? kSuccess : kFailure;
}

}  // namespace TalMachineTool
