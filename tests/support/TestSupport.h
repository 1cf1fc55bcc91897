#pragma once
// Shared helpers of the test programs.

#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <TalSDK/sdk/common/Logging.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>
#include <TalSDK/sdk/sax/SAXReader.h>

namespace TestSupport {

// A fresh directory under the system's temporary directory, removed with its content.
class TempDirectory {
 public:
  TempDirectory();
  ~TempDirectory();
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;
  const std::filesystem::path& Path() const { return m_path; }
  std::filesystem::path File(std::string_view name) const { return m_path / name; }

 private:
  std::filesystem::path m_path;
};

std::string ReadFile(const std::filesystem::path& path);
void WriteFile(const std::filesystem::path& path, std::string_view content);
// The names of the entries of `directory`.
std::set<std::string> Entries(const std::filesystem::path& directory);

// Collects what is sent to it as the process logger.
struct CapturedLog : TalSDK::Common::Logging::ILogger {
  void LogMessage(std::string_view message) override { messages.emplace_back(message); }
  std::vector<std::string> messages;
};

// A root handler that keeps the whole document as kept elements and writes it back.
class KeepEverything : public ISAXPersist, public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override {
    return TalSDK::MSaxPersistExtensibleObjectReader(*this).HandleTag(tagName, reader);
  }
  bool Write(TalSAX::ISAXWriter& writer) const override {
    return TalSDK::MSaxPersistExtensibleObjectWriter(*this).Write(writer);
  }
};

// Parses `xml` into a KeepEverything and writes it back to text.
std::string RoundTrip(std::string_view xml);

// What `steps` write into a new document, which must close.
std::string Written(const std::function<void(TalSAX::ISAXWriter&)>& steps, bool indent = true);
// The message of the writer failure (MGeneric) `step` throws; empty when it throws none.
std::string FailureOf(const std::function<void()>& step);
// The message of the failure `step` causes inside <Machine>; empty when it writes.
std::string WriteFailure(const std::function<void(TalSAX::ISAXWriter&)>& step);
// The text between the first "<tag>" of `document` and the last "</tag>"; empty without them.
std::string Inside(std::string_view document, std::string_view tag);

// Writes `block` inside an element named `tag` into a new document: whether the block's Write
// succeeded, and the document (a failing block still closes its element).
std::pair<bool, std::string> TryWriteBlock(std::string_view tag, const ISAXPersistBase& block,
                                           bool indent = true);

// Writes `block` inside an element named `tag` into a new document and returns it.
std::string WriteBlock(std::string_view tag, const ISAXPersistBase& block);

// Reads `document`, handing its root element's content to `block`; returns the elements the
// reader refused.
std::vector<TalSAX::SAXWarning> ReadBlock(std::string_view document, ISAXPersistBase& block);
// The same with the caller's reader, which stays available afterwards (references, warnings).
void ReadBlock(std::string_view document, ISAXPersistBase& block, TalSAX::SAXReader& reader);

// Runs `step` with the standard input closed, so that the next descriptor opened is 0 (a
// program may have closed its standard input); the standard input is restored afterwards.
void WithStandardInputClosed(const std::function<void()>& step);

// "path " for each warning; with `places`, "path line:column 'text' ".
std::string Listed(const std::vector<TalSAX::SAXWarning>& warnings, bool places = false);

}  // namespace TestSupport
