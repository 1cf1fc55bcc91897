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

bool Load(MachineParameters& machine, const wchar_t* path, std::wstring* message, Policy policy,
          std::vector<TalSAX::SAXWarning>* refused) {
  const auto fail = [message](std::wstring text) {
    if (message != nullptr) *message = std::move(text);
    return false;
  };
  try {
    // The mode holds for the whole machine: every block keeps or drops alike.
    Utilities::SetOperatingModeOfAllNodes(machine, OperatingModeOf(policy));
    {
      TalSAX::SAXReader reader(true, nullptr);
      TMCFHandler handler(machine);
      reader.Parse(path, &handler);
      reader.InitHelpersAfterLoading();
      if (refused != nullptr) *refused = reader.GetWarnings();
    }
    if (policy != MachineParametersSaxRead::RejectRequiredUnhandledElements) return true;
    if (!Utilities::DoRequiredElementsExist(machine.GetUnhandledElementsFromAllNodes())) {
      return true;
    }
    std::wostringstream text;
    text << L"Error while reading machine file" << L" '" << path << L"'" << L'\n'
         << L"Required unhandled elements found.";
    return fail(text.str());
  } catch (const MGeneric& error) {
    return fail(StringConversion::Utf8ToNative(error.GetMessage()));
  } catch (const std::exception& error) {
    return fail(StringConversion::Utf8ToNative(error.what()));
  } catch (...) {
    return fail(L"Unknown error");
  }
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

bool LoadFromTMCF(MachineParameters& machine, const wchar_t* path, std::wstring& message,
                  Policy policy) {
  return Load(machine, path, &message, policy, nullptr);
}

bool LoadFromTMCF(MachineParameters& machine, const wchar_t* path, Policy policy) {
  return Load(machine, path, nullptr, policy, nullptr);
}

bool LoadFromTMCF(MachineParameters& machine, const wchar_t* path, std::wstring& message,
                  Policy policy, std::vector<TalSAX::SAXWarning>& refusedElements) {
  refusedElements.clear();
  return Load(machine, path, &message, policy, &refusedElements);
}

bool SaveToTMCF(const MachineParameters& machine, const wchar_t* path, std::wstring& message) {
  return Save(machine, path, &message);
}

bool SaveToTMCF(const MachineParameters& machine, const wchar_t* path) {
  return Save(machine, path, nullptr);
}

}  // namespace TalAM
