#pragma once
// The JSON output of tal-machine (`show`, `check`, `cl show` with --format json), built with
// nlohmann::json. Its form is described by the schemas in tools/tal-machine/schema.

#include <TalSDK/Machines.h>

#include <nlohmann/json.hpp>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "Commands.h"

namespace TalMachineTool {

using Json = nlohmann::ordered_json;

// One checked file of `check`.
struct CheckedFile {
  std::string file;
  bool ok = false;
  std::size_t kept = 0;  // unknown elements kept
  std::vector<Diagnostic> diagnostics;
};

// Every entry the visitor gives, in order: path, tag, kind, text, whether equality compares
// it, and for lengths and points also millimetres.
Json FieldsJson(const std::function<void(TalAM::FieldVisit&)>& visitFields,
                const std::string& root);
// Kept unknown elements: path, line (0 when unknown) and whether they are marked required.
Json KeptJson(const TalSDK::MSaxPersistExtensibleObject::ElementList& elements);
Json DiagnosticsJson(const std::vector<Diagnostic>& diagnostics);

// `show --format json`: the file, its fields, its kept elements and the load's diagnostics.
Json ShowJson(const std::string& file, const TalAM::MachineParameters& machine,
              const std::vector<Diagnostic>& diagnostics);
// `check --format json`: one entry per file.
Json CheckJson(const std::vector<CheckedFile>& files);

// Indented, one document per call; text that is not UTF-8 is replaced, never refused.
void PrintJson(std::ostream& out, const Json& document);

}  // namespace TalMachineTool
