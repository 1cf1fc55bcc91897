#pragma once
// Writes the content of the "Machine" element of a machine file, in one fixed order: the
// top-level values, each block through the block's own writer, then the kept elements.

#include <TalSDK/MachinesExport.h>
#include <TalSDK/machine/MachineParameters.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

namespace TalAM {

class TALSDK_MACHINES_EXPORT MachineParametersSaxWrite : public ISAXPersistHelper {
 public:
  explicit MachineParametersSaxWrite(const MachineParameters& machine);

  // Marks the object ids used inside kept elements as taken, so that the writer never hands
  // them out again. Called once before Write.
  void RegisterUnhandledElementIds(TalSAX::ISAXWriter& writer);

  // False as soon as a block refuses to write; what was written stays written.
  bool Write(TalSAX::ISAXWriter& writer) const override;

 private:
  const MachineParameters& m_machine;
};

}  // namespace TalAM
