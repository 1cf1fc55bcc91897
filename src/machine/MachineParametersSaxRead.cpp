#include <TalSDK/machine/MachineParametersSaxRead.h>

#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/sax/SAXReader.h>

namespace TalAM {

namespace Utilities = TalSDK::MSaxPersistExtensibleObjectUtilities;
using TalSDK::SupportGeneration::MSaxSupportGlobal;
using TalSDK::SupportGeneration::MSupportGlobal;

MachineParametersSaxRead::MachineParametersSaxRead(MachineParameters& machine)
    : m_machine(machine) {}

MachineParametersSaxRead::~MachineParametersSaxRead() = default;

void MachineParametersSaxRead::SetChild(ChildKind kind, std::unique_ptr<ISAXPersistBase> child) {
  m_child.reset();  // the previous reader goes first
  m_child = std::move(child);
  m_childKind = kind;
}

void MachineParametersSaxRead::SetDefaults() {
  MachineParameters defaults;
  Utilities::SetOperatingModeOfAllNodes(defaults, m_machine.GetOperatingMode());
  m_machine = std::move(defaults);
}

bool MachineParametersSaxRead::HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) {
  // "Material" and "SupportProfilesVector" are plain wrappers: their children arrive here too,
  // so "Name" and "SupportProfile" ask for the enclosing element.
  if (tag == "Name") {
    if (reader.GetParentTagName(1) == "Material") return reader.ReadValue(m_machine.m_materialName);
    std::wstring name;
    if (!reader.ReadValue(name)) return false;
    m_machine.SetName(name);
    return true;
  }
  if (tag == "Material") return true;
  if (tag == "Comments") return reader.ReadValue(m_machine.m_comments);
  if (tag == "Unit") {
    std::string unit;
    if (!reader.ReadValue(unit)) return false;
    if (unit == "Mm") {
      m_machine.m_unit = eMillimetre;
      return true;
    }
    if (unit == "Inch") {
      m_machine.m_unit = eInch;
      return true;
    }
    return false;
  }
  if (tag == "ZCompensationParameters") {
    return reader.DelegateToChild(m_machine.m_zCompensationParameters);
  }
  if (tag == "ZCompensation") {
    // Kept for compatibility with existing machine files: an unreadable value is ignored.
    reader.ReadValue(m_machine.m_zCompensationParameters.m_zCompensationValue);
    return true;
  }
  if (tag == "Platform") return reader.DelegateToChild(m_machine.m_platform);
  if (tag == "SupportProfilesVector") {
    m_machine.m_supportProfiles.clear();
    return true;
  }
  if (tag == "SupportProfile" && reader.GetParentTagName(1) == "SupportProfilesVector") {
    MSupportGlobal& profile = m_machine.m_supportProfiles.emplace_back();
    profile.SetOperatingMode(m_machine.GetOperatingMode());
    SetChild(ChildKind::SupportSettings, std::make_unique<MSaxSupportGlobal>(profile));
    return reader.DelegateToChild(*m_child);
  }
  if (tag == "Support") {
    SetChild(ChildKind::SupportSettings, std::make_unique<MSaxSupportGlobal>(m_machine.m_support));
    return reader.DelegateToChild(*m_child);
  }
  return TalSDK::MSaxPersistExtensibleObjectReader(m_machine).HandleTag(tag, reader);
}

void MachineParametersSaxRead::HandleEndTag(std::string_view tag) {
  if (tag == "SupportProfile" || tag == "Support") SetChild(ChildKind::None, nullptr);
}

void MachineParametersSaxRead::GetRequiredUnhandledElementDescriptions(
    std::vector<TalSDK::MSaxUnhandledElementDescription>& descriptions) const {
  descriptions =
      Utilities::GetRequiredElementsDescription(m_machine.GetUnhandledElementsFromAllNodes());
}

void MachineParametersSaxRead::GetRequiredUnhandledElementMessage(std::wstring& message) const {
  message = StringConversion::Utf8ToNative(
      Utilities::FormatRequiredElementsMessage(m_machine.GetUnhandledElementsFromAllNodes()));
}

}  // namespace TalAM
