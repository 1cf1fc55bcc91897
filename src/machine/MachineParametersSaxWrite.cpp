#include <TalSDK/machine/MachineParametersSaxWrite.h>

#include <map>

#include <TalSDK/sdk/sax/SAXWriter.h>

#include "machine/MachineDescription.h"

namespace TalAM {

namespace Utilities = TalSDK::MSaxPersistExtensibleObjectUtilities;

MachineParametersSaxWrite::MachineParametersSaxWrite(const MachineParameters& machine)
    : m_machine(machine) {}

void MachineParametersSaxWrite::RegisterUnhandledElementIds(TalSAX::ISAXWriter& writer) {
  std::map<unsigned int, const ISAXReference*> ids;
  Utilities::GetUntraceableIDs(m_machine.GetUnhandledElementsFromAllNodes(), ids);
  Utilities::RegisterUsedIds(ids, writer);  // a clash among kept ids changes nothing here
}

// The fields in the order of the file, then the kept elements; a block that refuses stops it.
bool MachineParametersSaxWrite::Write(TalSAX::ISAXWriter& writer) const {
  return MachineParametersDescription::kFields.Write(m_machine, writer);
}

}  // namespace TalAM
