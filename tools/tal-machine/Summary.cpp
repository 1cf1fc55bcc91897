#include "Summary.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>

#include "Text.h"

namespace TalMachineTool {

namespace {

using TalAM::FieldKind;
using TalSDK::MSaxUnhandledElement;

// Values start in this column, whatever the indentation of their label.
constexpr std::size_t kValueColumn = 36;

void Field(std::ostream& out, std::size_t indent, std::string_view label, std::string_view value) {
  std::string head = std::string(indent, ' ') + std::string(label) + ":";
  head.resize(std::max(head.size() + 1, kValueColumn), ' ');
  out << head << value << '\n';
}

// A value that may span lines: the first line beside the label, the others below it.
void MultiLineField(std::ostream& out, std::size_t indent, std::string_view label,
                    std::string_view value) {
  bool first = true;
  for (const std::string_view line : SplitLines(value)) {
    if (first) {
      Field(out, indent, label, Printable(line));
      first = false;
    } else {
      out << std::string(kValueColumn, ' ') << Printable(line) << '\n';
    }
  }
  if (first) Field(out, indent, label, "");
}

// What a field shows: its text, lengths also in millimetres.
std::string Shown(const TalAM::FieldView& field) {
  const std::string text = Printable(field.text);
  switch (field.kind) {
    case FieldKind::Length:
    case FieldKind::Point:
      return Millimetres(field.text) + " mm (" + text + ")";
    case FieldKind::String:
      return field.text.empty() ? "(none)" : std::string(field.text);  // printed line by line
    case FieldKind::Settings:
      return field.text.empty() ? "(structured)" : text;
    default:
      return text;
  }
}

}  // namespace

std::string Millimetres(std::string_view internal) {
  std::istringstream in{std::string(internal)};
  std::ostringstream out;
  long value = 0;
  bool first = true;
  while (in >> value) {
    out << (first ? "" : " ") << static_cast<double>(value) / MUnit::GetIE();
    first = false;
  }
  return out.str();
}

TalSDK::MSaxPersistExtensibleObject::ElementList KeptElements(
    const TalAM::MachineParameters& machine) {
  auto elements = machine.GetUnhandledElementsFromAllNodes();
  std::stable_sort(elements.begin(), elements.end(),
                   [](const MSaxUnhandledElement& a, const MSaxUnhandledElement& b) {
                     return a.GetSourceLine() < b.GetSourceLine();
                   });
  return elements;
}

std::string KeptElementPath(const MSaxUnhandledElement& element) {
  const std::string& parent = element.GetSourcePath();
  std::string tag(element.GetTagName());
  return parent.empty() ? tag : parent + "/" + tag;
}

// Every field the machine's description visits, indented by its depth below "Machine": blocks
// and list items as headings, lists with their number of items.
void PrintSummary(std::ostream& out, std::string_view file,
                  const TalAM::MachineParameters& machine) {
  Field(out, 0, "File", Printable(file));
  TalAM::FieldVisit visit(
      [&out](const TalAM::FieldView& field) {
        const std::size_t depth =
            static_cast<std::size_t>(std::count(field.path.begin(), field.path.end(), '/'));
        const std::size_t indent = 2 * (depth - 1);
        const std::string label = Printable(field.tag);
        if (field.kind == FieldKind::Block || field.kind == FieldKind::Item) {
          out << (depth == 1 ? "\n" : "") << std::string(indent, ' ') << label << '\n';
        } else if (field.kind == FieldKind::String) {
          MultiLineField(out, indent, label, Shown(field));
        } else {
          Field(out, indent, label, Shown(field));
        }
      },
      "Machine");
  machine.VisitFields(visit);

  const auto elements = KeptElements(machine);
  out << '\n';
  Field(out, 0, "Kept unknown elements", std::to_string(elements.size()));
  for (const MSaxUnhandledElement& element : elements) {
    std::string where = "  " + Printable(KeptElementPath(element));
    if (element.GetSourceLine() > 0) where += ", line " + std::to_string(element.GetSourceLine());
    out << where << (element.IsRequired() ? ", required" : ", not required") << '\n';
  }
}

}  // namespace TalMachineTool
