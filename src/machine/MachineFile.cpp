#include <TalSDK/machine/MachineFile.h>

#include <exception>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include <TalSDK/machine/MachineParametersSaxWrite.h>
#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/sax/SAXError.h>
#include <TalSDK/sdk/sax/SAXWriter.h>

namespace TalAM {

namespace {

using Policy = MachineParametersSaxRead::LoadPolicyUnhandledElements;
using TalSDK::MSaxPersistExtensibleObject;
using TalSDK::FileIO::MSAXError::MGeneric;
namespace Utilities = TalSDK::MSaxPersistExtensibleObjectUtilities;

// The root of a machine file: "Machine", possibly inside the wrapper "tal:ProjectFile".
class TMCFHandler : public ISAXPersistHelper {
 public:
  explicit TMCFHandler(MachineParameters& machine) : m_read(machine) {}
  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    if (tag == "tal:ProjectFile") return true;
    if (tag == "Machine") return reader.DelegateToChild(m_read);
    return false;
  }

 private:
  MachineParametersSaxRead m_read;
};

MSaxPersistExtensibleObject::OperatingMode OperatingModeOf(Policy policy) {
  switch (policy) {
    case MachineParametersSaxRead::IgnoreUnhandledElements:
      return MSaxPersistExtensibleObject::eIgnoreUnhandledElements;
    case MachineParametersSaxRead::KeepUnhandledElements:
    case MachineParametersSaxRead::RejectRequiredUnhandledElements:
      return MSaxPersistExtensibleObject::eKeepUnhandledElements;
  }
  throw std::invalid_argument(
      "_LoadFromTMCF, _GetExtensibleObjectOperatingMode : unexpected "
      "MachineParametersSaxRead::LoadPolicyUnhandledElements enum");
}

bool Save(const MachineParameters& machine, const wchar_t* path, std::wstring* message) {
  try {
    TalSAX::SAXWriter writer(nullptr);
    if (!writer.Open(path, TalSAX::eEncryptionNone, TalSAX::eCompressionNone, true)) return false;
    bool written = false;
    {
      MSAXTagWriter root(writer, "Machine");
      MachineParametersSaxWrite content(machine);
      content.RegisterUnhandledElementIds(writer);
      written = content.Write(writer);
    }
    // A block that refused leaves the file as written so far: the writer is dropped unclosed.
    if (!written) return false;
    writer.Close();
    return true;
  } catch (const MGeneric& error) {
    if (message != nullptr) *message = StringConversion::Utf8ToNative(error.GetMessage());
    // Never leave a file that cannot be read back. Only a regular file is removed (a device
    // such as /dev/full stays).
    std::error_code ignored;
    const std::filesystem::path file(path);
    if (std::filesystem::is_regular_file(file, ignored)) std::filesystem::remove(file, ignored);
    return false;
  }
}

}  // namespace

MachineLoadResult LoadMachineFile(MachineParameters& machine, const wchar_t* path, Policy policy) {
  MachineLoadResult result;
  try {
    // The mode holds for the whole machine: every block keeps or drops alike.
    Utilities::SetOperatingModeOfAllNodes(machine, OperatingModeOf(policy));
    {
      TalSAX::SAXReader reader(true, nullptr);
      TMCFHandler handler(machine);
      reader.Parse(path, &handler);
      reader.InitHelpersAfterLoading();
      result.refusedElements = reader.GetWarnings();
    }
    result.requiredElements =
        Utilities::GetRequiredElementsDescription(machine.GetUnhandledElementsFromAllNodes());
    if (policy != MachineParametersSaxRead::RejectRequiredUnhandledElements ||
        result.requiredElements.empty()) {
      result.success = true;
      return result;
    }
    std::wostringstream text;
    text << L"Error while reading machine file" << L" '" << path << L"'" << L'\n'
         << L"Required unhandled elements found.";
    result.message = text.str();
  } catch (const MGeneric& error) {
    result.message = StringConversion::Utf8ToNative(error.GetMessage());
    result.file = error.GetFile();
    result.line = error.GetLine();
    result.column = error.GetColumn();
  } catch (const std::exception& error) {
    result.message = StringConversion::Utf8ToNative(error.what());
  } catch (...) {
    result.message = L"Unknown error";
  }
  return result;
}

bool LoadFromTMCF(MachineParameters& machine, const wchar_t* path, std::wstring& message,
                  Policy policy) {
  MachineLoadResult result = LoadMachineFile(machine, path, policy);
  if (!result.success) message = std::move(result.message);
  return result.success;
}

bool LoadFromTMCF(MachineParameters& machine, const wchar_t* path, Policy policy) {
  return LoadMachineFile(machine, path, policy).success;
}

bool LoadFromTMCF(MachineParameters& machine, const wchar_t* path, std::wstring& message,
                  Policy policy, std::vector<TalSAX::SAXWarning>& refusedElements) {
  MachineLoadResult result = LoadMachineFile(machine, path, policy);
  if (!result.success) message = std::move(result.message);
  refusedElements = std::move(result.refusedElements);
  return result.success;
}

bool SaveToTMCF(const MachineParameters& machine, const wchar_t* path, std::wstring& message) {
  return Save(machine, path, &message);
}

bool SaveToTMCF(const MachineParameters& machine, const wchar_t* path) {
  return Save(machine, path, nullptr);
}

}  // namespace TalAM
