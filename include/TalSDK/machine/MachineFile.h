#pragma once
// Loading a machine from a machine file and saving it to one.

#include <string>
#include <string_view>
#include <vector>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/machine/MachineParameters.h>
#include <TalSDK/machine/MachineParametersSaxRead.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
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

// Everything a load has to tell, as data.
struct MachineLoadResult {
  bool success = false;  // what LoadFromTMCF returns for the same file and policy
  std::wstring message;  // the reason of a failure, as LoadFromTMCF gives it; empty on success
  std::string file;      // the file a reader error concerns (UTF-8); empty for other failures
  int line = 0;          // 1-based line of a reader error; 0 when none or unknown
  int column = 0;        // 1-based column (in bytes) of a reader error; 0 when none or unknown
  std::vector<TalSAX::SAXWarning> refusedElements;  // elements the reader refused, in file order
  // Values read leniently (an unknown text taken as a fallback value), in file order. They
  // do not fail the load, but saving writes the fallback's text in place of the file's.
  std::vector<TalSAX::SAXLenientReading> lenientReadings;
  // False when the document held no "Machine" element: nothing was read into the machine.
  bool machineFound = false;
  // Kept elements marked required="true", anywhere in the machine, once the file was read
  // (none under IgnoreUnhandledElements, which keeps nothing).
  std::vector<TalSDK::MSaxUnhandledElementDescription> requiredElements;
};

// Loads as LoadFromTMCF does and reports the outcome as data.
TALSDK_MACHINES_EXPORT MachineLoadResult
LoadMachineFile(MachineParameters& machine, const wchar_t* path,
                MachineParametersSaxRead::LoadPolicyUnhandledElements policy);
// The same with other bounds on the file read (the default: 1 GiB and 10 million elements).
// A file beyond them fails the load with a message that names the limit.
TALSDK_MACHINES_EXPORT MachineLoadResult
LoadMachineFile(MachineParameters& machine, const wchar_t* path,
                MachineParametersSaxRead::LoadPolicyUnhandledElements policy,
                const TalSAX::SAXReaderLimits& limits);

// Loads as LoadMachineFile does from a document in memory; `sourceName` stands for the file
// name in messages and in the result.
TALSDK_MACHINES_EXPORT MachineLoadResult LoadMachineDocument(
    MachineParameters& machine, std::string_view document, std::string_view sourceName,
    MachineParametersSaxRead::LoadPolicyUnhandledElements policy);

// Saves `machine` to the file at `path`. False when the file cannot be created (no message),
// when a block refuses to write (no message; the file holds what was written so far) or on a
// write error (message; the file is deleted).
TALSDK_MACHINES_EXPORT bool SaveToTMCF(const MachineParameters& machine, const wchar_t* path,
                                       std::wstring& message);
TALSDK_MACHINES_EXPORT bool SaveToTMCF(const MachineParameters& machine, const wchar_t* path);
// The document SaveToTMCF writes, into `document`. False when a block refuses to write
// (`document` then holds what was written so far) or a text cannot be written (a character
// XML does not allow; `message` says which).
TALSDK_MACHINES_EXPORT bool SaveMachineDocument(const MachineParameters& machine,
                                                std::string& document, std::wstring& message);

// The outcome of SaveMachineFileAtomically.
struct MachineSaveResult {
  bool success = false;
  // Why the save failed; on success empty, or a warning when the file was replaced but the
  // directory could not be flushed (the replacement may not survive a power failure).
  std::wstring message;
};

// Saves `machine` to `path` without ever leaving a damaged or partial file there: the document
// is written to a new temporary file in the same directory, flushed to disk, and renamed over
// `path` only when everything was written; then the directory is flushed. Readers see either
// the previous file or the complete new one. On failure the previous file is untouched and no
// temporary file remains. A `path` that is a symbolic link updates the file it points to (the
// link stays); an existing `path` that is not a regular file (a directory, a device, a FIFO) is
// refused. A replaced file keeps its permission bits. The file written is the one SaveToTMCF
// writes.
TALSDK_MACHINES_EXPORT MachineSaveResult SaveMachineFileAtomically(const MachineParameters& machine,
                                                                   const wchar_t* path);

}  // namespace TalAM
