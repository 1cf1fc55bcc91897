#include <TalSDK/machine/MachineParametersSaxRead.h>

#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/sax/SAXReader.h>

#include "machine/MachineDescription.h"

namespace TalAM {

namespace Utilities = TalSDK::MSaxPersistExtensibleObjectUtilities;

MachineParametersSaxRead::MachineParametersSaxRead(MachineParameters& machine)
    : m_machine(machine) {}

MachineParametersSaxRead::~MachineParametersSaxRead() = default;

void MachineParametersSaxRead::SetDefaults() {
  MachineParameters defaults;
  Utilities::SetOperatingModeOfAllNodes(defaults, m_machine.GetOperatingMode());
  m_machine = std::move(defaults);
}

bool MachineParametersSaxRead::HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) {
  return MachineParametersDescription::kFields.HandleTag(tag, m_machine, reader);
}

// The readers of the support settings and profiles are owned by the reader, which destroys
// them at their end tags.
void MachineParametersSaxRead::HandleEndTag(std::string_view) {}

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
