#include <TalSDK/machine/MachineParametersSaxWrite.h>

#include <map>

#include <TalSDK/persistence/ValueTags.h>
#include <TalSDK/sdk/sax/SAXWriter.h>

namespace TalAM {

namespace Utilities = TalSDK::MSaxPersistExtensibleObjectUtilities;
using TalSDK::SupportGeneration::MSaxSupportGlobal;

MachineParametersSaxWrite::MachineParametersSaxWrite(const MachineParameters& machine)
    : m_machine(machine) {}

void MachineParametersSaxWrite::RegisterUnhandledElementIds(TalSAX::ISAXWriter& writer) {
  std::map<unsigned int, const ISAXReference*> ids;
  Utilities::GetUntraceableIDs(m_machine.GetUnhandledElementsFromAllNodes(), ids);
  Utilities::RegisterUsedIds(ids, writer);  // a clash among kept ids changes nothing here
}

bool MachineParametersSaxWrite::Write(TalSAX::ISAXWriter& writer) const {
  WriteValueTag(writer, "Name", m_machine.GetName());
  WriteValueTag(writer, "Comments", m_machine.m_comments);
  {
    MSAXTagWriter material(writer, "Material");
    WriteValueTag(writer, "Name", m_machine.m_materialName);
  }
  // Any unit but millimetres is written as inches, the only other text readers accept.
  WriteValueTag(writer, "Unit", m_machine.m_unit != eMillimetre ? "Inch" : "Mm");
  WriteValueTag(writer, "ZCompensation", m_machine.m_zCompensationParameters.m_zCompensationValue);
  {
    MSAXTagWriter tag(writer, "Platform");
    if (!m_machine.m_platform.Write(writer)) return false;
  }
  {
    MSAXTagWriter vector(writer, "SupportProfilesVector");
    for (const auto& profile : m_machine.m_supportProfiles) {
      MSAXTagWriter tag(writer, "SupportProfile");
      if (!MSaxSupportGlobal(profile).Write(writer)) return false;
    }
  }
  {
    MSAXTagWriter tag(writer, "Support");
    if (!MSaxSupportGlobal(m_machine.m_support).Write(writer)) return false;
  }
  {
    MSAXTagWriter tag(writer, "ZCompensationParameters");
    if (!m_machine.m_zCompensationParameters.Write(writer)) return false;
  }
  return TalSDK::MSaxPersistExtensibleObjectWriter(m_machine).Write(writer);
}

}  // namespace TalAM
