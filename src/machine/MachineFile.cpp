#include <TalSDK/machine/MachineFile.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <functional>
#include <optional>
#include <random>
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
    if (tag != "Machine") return false;
    m_machineFound = true;
    return reader.DelegateToChild(m_read);
  }
  bool MachineFound() const { return m_machineFound; }

 private:
  MachineParametersSaxRead m_read;
  bool m_machineFound = false;
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

// The root "Machine" and everything in it; false when a block refused to write.
bool WriteMachine(TalSAX::SAXWriter& writer, const MachineParameters& machine) {
  MSAXTagWriter root(writer, "Machine");
  MachineParametersSaxWrite content(machine);
  content.RegisterUnhandledElementIds(writer);
  return content.Write(writer);
}

bool Save(const MachineParameters& machine, const wchar_t* path, std::wstring* message) {
  try {
    TalSAX::SAXWriter writer(nullptr);
    if (!writer.Open(path, TalSAX::eEncryptionNone, TalSAX::eCompressionNone, true)) return false;
    // A block that refused leaves the file as written so far: the writer is dropped unclosed.
    if (!WriteMachine(writer, machine)) return false;
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

// Follows symbolic links from `path` to the file they finally name, which need not exist yet:
// 40 links at most, as the kernel follows.
std::optional<std::filesystem::path> ResolveLinks(std::filesystem::path path, std::string& error) {
  constexpr int kMaxLinks = 40;
  for (int followed = 0; followed <= kMaxLinks; ++followed) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) {
      if (errno == ENOENT) return path;
      error = std::strerror(errno);
      return std::nullopt;
    }
    if (!S_ISLNK(info.st_mode)) return path;
    std::error_code failure;
    std::filesystem::path target = std::filesystem::read_symlink(path, failure);
    if (failure) {
      error = failure.message();
      return std::nullopt;
    }
    path = target.is_relative() ? path.parent_path() / target : target;
  }
  error = "too many levels of symbolic links";
  return std::nullopt;
}

// A temporary file beside the target, removed unless it was renamed into place.
class TemporaryFile {
 public:
  TemporaryFile() = default;
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    if (m_fd >= 0) ::close(m_fd);
    if (!m_path.empty()) ::unlink(m_path.c_str());
  }

  // Creates a file that did not exist; errno tells why not when false.
  bool Create(const std::filesystem::path& target, mode_t mode) {
    std::random_device seed;
    std::mt19937_64 random(seed());
    for (int attempt = 0; attempt < 100; ++attempt) {
      std::string name = ".";
      name += target.filename().string();
      name += ".tmp-";
      name += std::to_string(random() % 1000000000);
      const std::filesystem::path candidate = target.parent_path() / name;
      m_fd = ::open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
      if (m_fd >= 0) {
        m_path = candidate;
        return true;
      }
      if (errno != EEXIST) return false;
    }
    return false;
  }
  int Descriptor() const { return m_fd; }
  const std::filesystem::path& Path() const { return m_path; }
  // Closes the descriptor; false (errno set) when the close reports a failed write.
  bool Close() { return ::close(std::exchange(m_fd, -1)) == 0; }
  // The file was renamed into place: nothing to remove.
  void Keep() { m_path.clear(); }

 private:
  int m_fd = -1;
  std::filesystem::path m_path;
};

// The body of every load: `parse` runs the reader over the file or the document.
MachineLoadResult Load(MachineParameters& machine, std::wstring_view name, Policy policy,
                       const TalSAX::SAXReaderLimits& limits,
                       const std::function<void(TalSAX::SAXReader&, TMCFHandler&)>& parse) {
  MachineLoadResult result;
  try {
    // The mode holds for the whole machine: every block keeps or drops alike.
    Utilities::SetOperatingModeOfAllNodes(machine, OperatingModeOf(policy));
    {
      TalSAX::SAXReader reader(true, nullptr);
      reader.SetLimits(limits);
      TMCFHandler handler(machine);
      // Filled in first, so that they are known also when the parse fails halfway.
      const auto collect = [&] {
        result.refusedElements = reader.GetWarnings();
        result.lenientReadings = reader.GetLenientReadings();
        result.machineFound = handler.MachineFound();
      };
      try {
        parse(reader, handler);
      } catch (...) {
        collect();
        throw;
      }
      reader.InitHelpersAfterLoading();
      collect();
    }
    result.requiredElements =
        Utilities::GetRequiredElementsDescription(machine.GetUnhandledElementsFromAllNodes());
    if (policy != MachineParametersSaxRead::RejectRequiredUnhandledElements ||
        result.requiredElements.empty()) {
      result.success = true;
      return result;
    }
    std::wostringstream text;
    text << L"Error while reading machine file" << L" '" << name << L"'" << L'\n'
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

}  // namespace

MachineLoadResult LoadMachineFile(MachineParameters& machine, const wchar_t* path, Policy policy,
                                  const TalSAX::SAXReaderLimits& limits) {
  return Load(
      machine, path, policy, limits,
      [path](TalSAX::SAXReader& reader, TMCFHandler& handler) { reader.Parse(path, &handler); });
}

MachineLoadResult LoadMachineFile(MachineParameters& machine, const wchar_t* path, Policy policy) {
  return LoadMachineFile(machine, path, policy, TalSAX::SAXReaderLimits{});
}

MachineLoadResult LoadMachineDocument(MachineParameters& machine, std::string_view document,
                                      std::string_view sourceName, Policy policy) {
  const std::wstring name = StringConversion::Utf8ToNative(std::string(sourceName));
  return Load(machine, name, policy, TalSAX::SAXReaderLimits{},
              [&](TalSAX::SAXReader& reader, TMCFHandler& handler) {
                reader.ParseBuffer(document, &handler, sourceName);
              });
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

bool SaveMachineDocument(const MachineParameters& machine, std::string& document,
                         std::wstring& message) {
  try {
    TalSAX::SAXWriter writer(nullptr);
    writer.OpenString(document, true);
    if (!WriteMachine(writer, machine)) return false;
    writer.Close();
    return true;
  } catch (const MGeneric& error) {
    message = StringConversion::Utf8ToNative(error.GetMessage());
    return false;
  }
}

MachineSaveResult SaveMachineFileAtomically(const MachineParameters& machine, const wchar_t* path) {
  MachineSaveResult result;
  std::string name;
  if (path == nullptr || !StringConversion::TryNativeToUtf8(path, name) || name.empty()) {
    result.message = L"Cannot save: no file name";
    return result;
  }
  const auto fail = [&](const std::string& reason) {
    result.message = StringConversion::Utf8ToNative("Cannot save '" + name + "': " + reason);
    return result;
  };
  try {
    std::string error;
    const std::optional<std::filesystem::path> target = ResolveLinks(name, error);
    if (!target) return fail(error);

    // A file that is replaced keeps its permission bits; a new one gets the usual 0666 less
    // the umask.
    struct stat info {};
    bool replacing = false;
    if (::stat(target->c_str(), &info) == 0) {
      if (!S_ISREG(info.st_mode)) return fail("not a regular file");
      replacing = true;
    } else if (errno != ENOENT) {
      return fail(std::strerror(errno));
    }
    TemporaryFile temporary;
    if (!temporary.Create(*target, replacing ? 0600 : 0666)) return fail(std::strerror(errno));
    if (replacing && ::fchmod(temporary.Descriptor(), info.st_mode & 07777) != 0) {
      return fail(std::strerror(errno));
    }

    TalSAX::SAXWriter writer(nullptr);
    writer.OpenDescriptor(temporary.Descriptor(), name, true);
    if (!WriteMachine(writer, machine)) {
      return fail("a block of the machine could not be written; the file was not changed");
    }
    writer.Close();
    if (::fsync(temporary.Descriptor()) != 0 || !temporary.Close()) {
      return fail(std::strerror(errno));
    }
    if (::rename(temporary.Path().c_str(), target->c_str()) != 0) {
      return fail(std::strerror(errno));
    }
    temporary.Keep();

    // The rename itself reaches the disk with the directory.
    std::filesystem::path directory = target->parent_path();
    if (directory.empty()) directory = ".";
    const int directoryFd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool flushed = directoryFd >= 0 && ::fsync(directoryFd) == 0;
    const int flushError = errno;
    if (directoryFd >= 0) ::close(directoryFd);
    result.success = true;
    if (!flushed) {
      result.message = StringConversion::Utf8ToNative(
          "Saved '" + name +
          "', but its directory could not be flushed to disk: " + std::strerror(flushError));
    }
    return result;
  } catch (const MGeneric& error) {
    result.message = StringConversion::Utf8ToNative(error.GetMessage());
  } catch (const std::exception& error) {
    result.message = StringConversion::Utf8ToNative(error.what());
  }
  return result;
}

}  // namespace TalAM
