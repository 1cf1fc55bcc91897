#pragma once
// Reads the content of the "Machine" element of a machine file into a MachineParameters: the
// top-level values itself, each block through the block's own reader.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/machine/MachineParameters.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

namespace TalAM {

class TALSDK_MACHINES_EXPORT MachineParametersSaxRead : public ISAXPersistHelper {
 public:
  // What a load does with elements the machine does not know.
  enum LoadPolicyUnhandledElements : std::int32_t {
    IgnoreUnhandledElements = 0,          // drop them
    KeepUnhandledElements = 1,            // keep them (and write them back on saving)
    RejectRequiredUnhandledElements = 2,  // keep them, but fail when one is marked required
  };

  explicit MachineParametersSaxRead(MachineParameters& machine);
  ~MachineParametersSaxRead() override;
  MachineParametersSaxRead(const MachineParametersSaxRead&) = delete;
  MachineParametersSaxRead& operator=(const MachineParametersSaxRead&) = delete;

  void SetDefaults() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  void HandleEndTag(std::string_view tagName) override;

  // The kept elements marked required, anywhere in the machine.
  void GetRequiredUnhandledElementDescriptions(
      std::vector<TalSDK::MSaxUnhandledElementDescription>& descriptions) const;
  void GetRequiredUnhandledElementMessage(std::wstring& message) const;

 private:
  MachineParameters& m_machine;
};

}  // namespace TalAM
