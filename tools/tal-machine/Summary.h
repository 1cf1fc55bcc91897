#pragma once
// The readable summary `tal-machine show` prints: every field of the machine in the order of
// the machine file (from the library's visitor), then the unknown elements the load kept.

#include <TalSDK/Machines.h>

#include <ostream>
#include <string>
#include <string_view>

namespace TalMachineTool {

// Millimetres of a text of integers in internal units ("0 0 4000" gives "0 0 4").
std::string Millimetres(std::string_view internal);
// The unknown elements the machine kept, in the order of the file.
TalSDK::MSaxPersistExtensibleObject::ElementList KeptElements(
    const TalAM::MachineParameters& machine);

// Where a kept element was read, the element included: "Machine/AdaptiveLayerThickness".
std::string KeptElementPath(const TalSDK::MSaxUnhandledElement& element);

void PrintSummary(std::ostream& out, std::string_view file,
                  const TalAM::MachineParameters& machine);

}  // namespace TalMachineTool
