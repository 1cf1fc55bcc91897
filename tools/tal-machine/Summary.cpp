#include "Summary.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>

#include "Text.h"

namespace TalMachineTool {

namespace {

using TalSDK::MSaxUnhandledElement;
using TalSDK::SupportGeneration::MSupportGlobal;

// Values start in this column, whatever the indentation of their label.
constexpr std::size_t kValueColumn = 30;

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
}

std::string YesNo(bool value) {
  return value ? "yes" : "no";
}

std::string OrNone(const std::wstring& text) {
  return text.empty() ? "(none)" : ToUtf8(text);
}

std::string UnitName(std::int32_t unit) {
  switch (unit) {
    case TalAM::eMillimetre:
      return "millimetre";
    case TalAM::eInch:
      return "inch";
    default:
      return "unknown (" + std::to_string(unit) + ")";
  }
}

// The text directly inside a kept element (not that of its children).
std::string OwnText(const MSaxUnhandledElement& element) {
  std::string text;
  for (const auto& node : element.GetNodes()) {
    if (node.kind == MSaxUnhandledElement::Node::Kind::Text && node.depth == 1) text += node.value;
  }
  return text;
}

std::string SettingNames(const MSupportGlobal& support) {
  const auto& settings = support.GetSettings();
  std::string names = std::to_string(settings.size());
  for (std::size_t i = 0; i < settings.size(); ++i) {
    names += (i == 0 ? " (" : ", ") + Printable(settings[i].GetTagName());
  }
  if (!settings.empty()) names += ")";
  return names;
}

void PrintIdentity(std::ostream& out, const TalAM::MachineParameters& machine) {
  Field(out, 0, "Name", Printable(ToUtf8(machine.GetName())));
  Field(out, 0, "Material", Printable(OrNone(machine.m_materialName)));
  MultiLineField(out, 0, "Comments", OrNone(machine.m_comments));
  Field(out, 0, "Unit", UnitName(machine.m_unit));
}

void PrintZCompensation(std::ostream& out, const MSAXMachineZCompensation& z) {
  out << "\nZ compensation\n";
  Field(out, 2, "Value", std::to_string(z.m_zCompensationValue));
  Field(out, 2, "Preserve thin", std::to_string(z.m_preserveThin));
  Field(out, 2, "Preserve small features", YesNo(z.m_preserveSmallFeatures));
  Field(out, 2, "Remove self-intersections", YesNo(z.m_removeSelfIteractions));
  Field(out, 2, "Type", std::to_string(z.m_zCompType));
  Field(out, 2, "Save to part name", YesNo(z.m_saveZCompToPartName));
  Field(out, 2, "Filter sharp triangles", YesNo(z.m_filterSharpTriangles));
  Field(out, 2, "Angle-based factors", YesNo(z.m_useAngleBasedFactor));
  // Stored in internal units; shown as the factors they stand for.
  const double unit = TalSDK::Common::MInternalUnits::GetInstance().Get();
  std::ostringstream factors;
  for (std::size_t i = 0; i < z.m_angleFactors.size(); ++i) {
    factors << (i == 0 ? "" : " ") << z.m_angleFactors[i] / unit;
  }
  Field(out, 2, "Angle factors", z.m_angleFactors.empty() ? "(none)" : factors.str());
}

void PrintSupport(std::ostream& out, const TalAM::MachineParameters& machine) {
  out << '\n';
  Field(out, 0, "Support settings", SettingNames(machine.m_support));
  out << '\n';
  Field(out, 0, "Support profiles", std::to_string(machine.m_supportProfiles.size()));
  int number = 0;
  for (const MSupportGlobal& profile : machine.m_supportProfiles) {
    const MSaxUnhandledElement* name = profile.FindSetting("ProfileName");
    const std::string label = "Profile " + std::to_string(++number);
    Field(out, 2, label, name != nullptr ? Printable(OwnText(*name)) : "(unnamed)");
    Field(out, 4, "Settings", SettingNames(profile));
  }
}

void PrintKeptElements(std::ostream& out, const TalAM::MachineParameters& machine) {
  const auto elements = KeptElements(machine);
  out << '\n';
  Field(out, 0, "Kept unknown elements", std::to_string(elements.size()));
  for (const MSaxUnhandledElement& element : elements) {
    std::string where = "  " + Printable(KeptElementPath(element));
    if (element.GetSourceLine() > 0) where += ", line " + std::to_string(element.GetSourceLine());
    out << where << (element.IsRequired() ? ", required" : ", not required") << '\n';
  }
}

}  // namespace

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
  return parent.empty() ? element.GetTagName() : parent + "/" + element.GetTagName();
}

void PrintSummary(std::ostream& out, std::string_view file,
                  const TalAM::MachineParameters& machine) {
  Field(out, 0, "File", Printable(file));
  PrintIdentity(out, machine);
  PrintZCompensation(out, machine.m_zCompensationParameters);
  PrintSupport(out, machine);
  PrintKeptElements(out, machine);
}

}  // namespace TalMachineTool
