#include "Json.h"

#include <sstream>

#include "Summary.h"

namespace TalMachineTool {

namespace {

using TalAM::FieldKind;

// Millimetres of integers in internal units: one number for a length, three for a point.
Json Millimetres(std::string_view internal, FieldKind kind) {
  std::istringstream in{std::string(internal)};
  Json values = Json::array();
  long value = 0;
  while (in >> value)
    values.push_back(static_cast<double>(value) / MUnit::GetIE());
  if (kind == FieldKind::Length) return values.size() == 1 ? values.front() : Json();
  return values;
}

}  // namespace

Json FieldsJson(const std::function<void(TalAM::FieldVisit&)>& visitFields,
                const std::string& root) {
  Json fields = Json::array();
  TalAM::FieldVisit visit(
      [&fields](const TalAM::FieldView& field) {
        Json entry = {{"path", field.path},
                      {"tag", field.tag},
                      {"kind", TalAM::FieldKindName(field.kind)},
                      {"text", field.text},
                      {"compared", field.compared}};
        if (field.kind == FieldKind::Length || field.kind == FieldKind::Point) {
          entry["mm"] = Millimetres(field.text, field.kind);
        }
        fields.push_back(std::move(entry));
      },
      root);
  visitFields(visit);
  return fields;
}

Json KeptJson(const TalSDK::MSaxPersistExtensibleObject::ElementList& elements) {
  Json kept = Json::array();
  for (const TalSDK::MSaxUnhandledElement& element : elements) {
    kept.push_back({{"path", KeptElementPath(element)},
                    {"line", element.GetSourceLine()},
                    {"required", element.IsRequired()}});
  }
  return kept;
}

Json DiagnosticsJson(const std::vector<Diagnostic>& diagnostics) {
  Json list = Json::array();
  for (const Diagnostic& diagnostic : diagnostics) {
    list.push_back({{"severity", diagnostic.severity},
                    {"path", diagnostic.path},
                    {"line", diagnostic.line},
                    {"column", diagnostic.column},
                    {"text", diagnostic.text},
                    {"message", diagnostic.message}});
  }
  return list;
}

Json ShowJson(const std::string& file, const TalAM::MachineParameters& machine,
              const std::vector<Diagnostic>& diagnostics) {
  return {
      {"file", file},
      {"fields",
       FieldsJson([&machine](TalAM::FieldVisit& visit) { machine.VisitFields(visit); }, "Machine")},
      {"keptUnknownElements", KeptJson(KeptElements(machine))},
      {"diagnostics", DiagnosticsJson(diagnostics)}};
}

Json CheckJson(const std::vector<CheckedFile>& files) {
  Json list = Json::array();
  for (const CheckedFile& file : files) {
    list.push_back({{"file", file.file},
                    {"ok", file.ok},
                    {"keptUnknownElements", file.kept},
                    {"diagnostics", DiagnosticsJson(file.diagnostics)}});
  }
  return {{"files", list}};
}

void PrintJson(std::ostream& out, const Json& document) {
  out << document.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace TalMachineTool
