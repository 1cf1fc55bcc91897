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

// A length in internal units, shown in millimetres with the internal value beside it.
std::string Length(std::int32_t internal) {
  std::ostringstream text;
  text << static_cast<double>(internal) / MUnit::GetIE() << " mm (" << internal << ")";
  return text.str();
}

std::string PointText(const MSAXMachinePlatform::Point& p) {
  std::ostringstream text;
  text << static_cast<double>(p.x) / MUnit::GetIE() << ", "
       << static_cast<double>(p.y) / MUnit::GetIE() << ", "
       << static_cast<double>(p.z) / MUnit::GetIE() << " mm (" << p.x << " " << p.y << " " << p.z
       << ")";
  return text.str();
}

std::string AxisName(DirectionAxis axis) {
  return axis == DirectionAxis::Y ? "Y" : axis == DirectionAxis::X ? "X" : "(invalid)";
}

std::string DirectionName(MSAXMachinePlatform::Direction direction) {
  switch (direction) {
    case MSAXMachinePlatform::Direction::Positive:
      return "positive";
    case MSAXMachinePlatform::Direction::Negative:
      return "negative";
    case MSAXMachinePlatform::Direction::Double:
      return "both ways";
  }
  return "(invalid)";
}

void PrintPlatform(std::ostream& out, const MSAXMachinePlatform& platform) {
  out << "\nPlatform\n";
  const bool round = platform.m_shape == MSAXMachinePlatform::PlatformShape::Circle;
  Field(out, 2, "Shape",
        round                                                         ? "round"
        : platform.m_shape == MSAXMachinePlatform::PlatformShape::Box ? "box"
                                                                      : "(invalid)");
  const MSAXMachineEnvelope& envelope = platform.m_envelope;
  Field(out, 2, round ? "Envelope diameter" : "Envelope X", Length(envelope.m_dx));
  if (!round) Field(out, 2, "Envelope Y", Length(envelope.m_dy));
  Field(out, 2, "Envelope Z", Length(envelope.m_dz));
  Field(out, 2, "Position", PointText(platform.m_position));
  Field(out, 2, "Default part position", PointText(platform.m_defaultPartPosition));
  if (platform.m_gasFlow) {
    Field(out, 2, "Gas flow",
          AxisName(platform.m_gasFlow->directionAxis) + " " +
              DirectionName(platform.m_gasFlow->direction) +
              (platform.m_gasFlow->visible ? ", shown" : ", hidden"));
  }
  if (platform.m_recoater) {
    Field(out, 2, "Recoater",
          AxisName(platform.m_recoater->directionAxis) + " " +
              DirectionName(platform.m_recoater->direction) +
              (platform.m_recoater->visible ? ", shown" : ", hidden"));
  }
  const auto& overlaps = platform.m_laserOverlaps.m_overlaps;
  Field(out, 2, "Laser overlaps", std::to_string(overlaps.size()));
  for (std::size_t i = 0; i < overlaps.size(); ++i) {
    const auto& o = overlaps[i];
    std::ostringstream text;
    text << "along " << AxisName(o.orientation) << " at " << Length(o.position) << ", width "
         << Length(o.width);
    Field(out, 4, "Overlap " + std::to_string(i + 1), text.str());
  }
  const MStlBase* mesh = platform.m_platformStl.GetPlatformStl();
  if (mesh == nullptr) {
    Field(out, 2, "Mesh", "(none)");
    return;
  }
  const MStlProperties properties = mesh->GetProperties();
  std::ostringstream text;
  text << mesh->GetTriangleCount() << " triangles, " << mesh->GetVertexCount() << " vertices";
  Field(out, 2, "Mesh", Printable(OrNone(mesh->GetName())));
  Field(out, 4, "Size", text.str());
  if (mesh->GetTriangleCount() > 0) {
    std::ostringstream box;
    box << properties.GetMinX() << ", " << properties.GetMinY() << ", " << properties.GetMinZ()
        << " to " << properties.GetMaxX() << ", " << properties.GetMaxY() << ", "
        << properties.GetMaxZ() << " mm";
    Field(out, 4, "Bounding box", box.str());
    std::ostringstream volume;
    volume << properties.GetVolume() << " mm³";
    Field(out, 4, "Volume", volume.str());
  }
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
  PrintPlatform(out, machine.m_platform);
  PrintZCompensation(out, machine.m_zCompensationParameters);
  PrintSupport(out, machine);
  PrintKeptElements(out, machine);
}

}  // namespace TalMachineTool
