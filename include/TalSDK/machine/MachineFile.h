#pragma once
// Loading a machine from a machine file and saving it to one.

#include <string>
#include <vector>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/machine/MachineParameters.h>
#include <TalSDK/machine/MachineParametersSaxRead.h>
#include <TalSDK/sdk/sax/SAXReader.h>

namespace TalAM {

// Loads `machine` from the file at `path`, whose root is "Machine" (or "tal:ProjectFile" with
// "Machine" inside). False on failure, with the reason in `message`; the machine then holds
// what was read before the failure (it is not reset before reading). Elements the machine
// does not know are dropped, kept, or kept and refused when marked required, as `policy` says.
TALSDK_MACHINES_EXPORT bool LoadFromTMCF(
    MachineParameters& machine, const wchar_t* path, std::wstring& message,
    MachineParametersSaxRead::LoadPolicyUnhandledElements policy);
TALSDK_MACHINES_EXPORT bool LoadFromTMCF(
    MachineParameters& machine, const wchar_t* path,
    MachineParametersSaxRead::LoadPolicyUnhandledElements policy);
// The same, also listing the elements the reader refused (a value that did not convert, an
// unknown enumeration text, ...). Such elements do not fail the load.
TALSDK_MACHINES_EXPORT bool LoadFromTMCF(
    MachineParameters& machine, const wchar_t* path, std::wstring& message,
    MachineParametersSaxRead::LoadPolicyUnhandledElements policy,
    std::vector<TalSAX::SAXWarning>& refusedElements);

// Saves `machine` to the file at `path`. False when the file cannot be created (no message),
// when a block refuses to write (no message; the file holds what was written so far) or on a
// write error (message; the file is deleted).
TALSDK_MACHINES_EXPORT bool SaveToTMCF(const MachineParameters& machine, const wchar_t* path,
                                       std::wstring& message);
TALSDK_MACHINES_EXPORT bool SaveToTMCF(const MachineParameters& machine, const wchar_t* path);

}  // namespace TalAM
