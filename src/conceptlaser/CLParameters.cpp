#include <TalSDK/conceptlaser/CLParameters.h>

#include <cwctype>
#include <optional>

#include <TalSDK/conceptlaser/CLLengthMode.h>
#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/sax/SAXError.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include "conceptlaser/CLFields.h"

namespace {

using namespace TalAM::Persistence;
using namespace TalAM::Persistence::ConceptLaser;
using TalSDK::FileIO::MSAXError::MGeneric;
using P = MCLParameters;

constexpr std::string_view kRootTag = "CLParameterFile";
constexpr std::string_view kParameterSet = "ParameterSet";
constexpr std::string_view kPostProcessSets = "ComponentPostProcessParameters";
constexpr std::string_view kPostProcessSet = "Parameters";
constexpr std::wstring_view kDefaultSetName = L"Default";

// The set's own values and blocks. The laser and post-process sets follow them in the file,
// each in an element of its own that HandleTag routes by its "Name".
constexpr auto kOwnFields = Describe<P>(
    Value("ParametersName", &P::m_name), Value("FileSizeLimit", &P::m_clFileSizeLimit),
    Value("CLWRXParameterName", &P::m_clwrxParameterName), Child("SliceParameters", &P::m_slice),
    Child("PlatformParameters", &P::m_platform), Child("TracingParameters", &P::m_tracing));

void SetFraming(TalSAX::SAXWriter& writer) {
  writer.SetProjectTag(std::string(kRootTag));
  writer.SetProjectNamespaceName("CL");
  writer.SetProjectNamespaceValue("urn:ConceptLaser");
}

// The root of a parameter file: the framing element, whose content is the set's.
class FileRoot : public ISAXPersistHelper {
 public:
  FileRoot(MCLParameters& parameters, std::string_view source)
      : m_parameters(parameters), m_source(source) {}
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override {
    if (tagName != kRootTag) {
      throw MGeneric(m_source + ": the root element is '" + tagName + "', not '" +
                     std::string(kRootTag) + "'; this is not a Concept Laser parameter file");
    }
    return reader.DelegateToChild(m_parameters);
  }

 private:
  MCLParameters& m_parameters;
  std::string m_source;
};

// Parses with lengths in millimetres; the mode in force before comes back on every way out.
template <class Parse>
TalAM::CLLoadResult Read(MCLParameters& parameters, std::string_view source, Parse parse) {
  TalAM::CLLoadResult result;
  const ScopedClLengthMode mode(1);
  try {
    TalSAX::SAXReader reader(true, nullptr);
    FileRoot root(parameters, source);
    parse(reader, root);
    reader.InitHelpersAfterLoading();
    result.refusedElements = reader.GetWarnings();
    result.success = true;
  } catch (const MGeneric& error) {
    result.message = StringConversion::Utf8ToNative(error.GetMessage());
  }
  return result;
}

// The file-name part of a path: after the last '\' or '/', or after a drive ("C:name").
std::wstring FileNamePart(const std::wstring& path) {
  const std::size_t slash = path.find_last_of(L"\\/");
  if (slash != std::wstring::npos) return path.substr(slash + 1);
  if (path.size() >= 2 && path[1] == L':' && std::iswalpha(path[0])) return path.substr(2);
  return path;
}

std::string Utf8OrReplaced(const std::wstring& text) {
  std::string utf8;
  if (StringConversion::TryNativeToUtf8(text, utf8)) return utf8;
  return ValueText(text);
}

// A named set's entry in a map, created with factory defaults in the owner's mode when new.
template <class Map>
typename Map::mapped_type* FindOrCreate(Map& map, const std::wstring& name, bool create,
                                        const MCLParameters& owner) {
  auto entry = map.find(name);
  if (entry == map.end()) {
    if (!create) return nullptr;
    entry = map.try_emplace(name).first;
    TalSDK::MSaxPersistExtensibleObjectUtilities::SetOperatingModeOfAllNodes(
        entry->second, owner.GetOperatingMode());
  }
  return &entry->second;
}

}  // namespace

MCLParameters::MCLParameters(const MCLParameters& other)
    : ISAXReference(other),
      ISAXPersist(other),
      TalSDK::MSaxPersistExtensibleObject(),
      m_name(other.m_name),
      m_clFileSizeLimit(other.m_clFileSizeLimit),
      m_clwrxParameterName(other.m_clwrxParameterName),
      m_slice(other.m_slice),
      m_platform(other.m_platform),
      m_tracing(other.m_tracing),
      m_componentScanning(other.m_componentScanning),
      m_componentPostProcess(other.m_componentPostProcess),
      m_defaultComponentScanning(other.m_defaultComponentScanning) {
  SetOperatingMode(other.GetOperatingMode());
}

const MCLParameters& MCLParameters::operator=(const MCLParameters& other) {
  if (this == &other) return *this;
  m_name = other.m_name;
  m_clFileSizeLimit = other.m_clFileSizeLimit;
  m_clwrxParameterName = other.m_clwrxParameterName;
  m_slice = other.m_slice;
  m_platform = other.m_platform;
  m_tracing = other.m_tracing;
  m_componentScanning = other.m_componentScanning;
  m_componentPostProcess = other.m_componentPostProcess;
  m_defaultComponentScanning = other.m_defaultComponentScanning;
  // The old current sets belonged to the replaced maps.
  m_currentScanningSet = nullptr;
  m_currentPostProcessSet = nullptr;
  return *this;
}

MCLParameters::~MCLParameters() = default;

bool MCLParameters::operator==(const MCLParameters& other) const {
  return kOwnFields.EqualFields(*this, other) && m_componentScanning == other.m_componentScanning &&
         m_componentPostProcess == other.m_componentPostProcess &&
         m_defaultComponentScanning == other.m_defaultComponentScanning;
}

MCLScanningParameters* MCLParameters::GetComponentScanningParameters(const std::wstring& name,
                                                                     bool create) {
  m_currentScanningSet = nullptr;
  m_currentScanningSet = FindOrCreate(m_componentScanning, name, create, *this);
  return m_currentScanningSet;
}

const MCLScanningParameters* MCLParameters::GetComponentScanningParameters(
    const std::wstring& name) const {
  const auto entry = m_componentScanning.find(name);
  return entry == m_componentScanning.end() ? nullptr : &entry->second;
}

MCLPostProcessParameters* MCLParameters::GetComponentPostProcessParameters(const std::wstring& name,
                                                                           bool create) {
  m_currentPostProcessSet = nullptr;
  MCLPostProcessParameters* set = FindOrCreate(m_componentPostProcess, name, create, *this);
  m_currentPostProcessSet = set != nullptr ? set : &m_platform.GetPostProcessParameters();
  return m_currentPostProcessSet;
}

const MCLPostProcessParameters* MCLParameters::GetComponentPostProcessParameters(
    const std::wstring& name) const {
  const auto entry = m_componentPostProcess.find(name);
  return entry == m_componentPostProcess.end() ? &m_platform.GetPostProcessParameters()
                                               : &entry->second;
}

void MCLParameters::RemoveComponentScanningParameters(const std::wstring& name) {
  const auto entry = m_componentScanning.find(name);
  if (entry == m_componentScanning.end()) return;
  if (m_currentScanningSet == &entry->second) m_currentScanningSet = nullptr;
  m_componentScanning.erase(entry);
}

void MCLParameters::RemoveComponentPostProcessParameters(const std::wstring& name) {
  const auto entry = m_componentPostProcess.find(name);
  if (entry == m_componentPostProcess.end()) return;
  if (m_currentPostProcessSet == &entry->second) m_currentPostProcessSet = nullptr;
  m_componentPostProcess.erase(entry);
}

void MCLParameters::GetAvailableScanningParameters(std::vector<std::wstring>& names) const {
  for (const auto& entry : m_componentScanning)
    names.push_back(entry.first);
}

void MCLParameters::GetAvailablePostProcessParameters(std::vector<std::wstring>& names) const {
  for (const auto& entry : m_componentPostProcess)
    names.push_back(entry.first);
}

bool MCLParameters::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  // The set's own values and blocks, wherever they stand.
  if (const std::optional<bool> result = kOwnFields.Read(tagName, *this, reader)) return *result;
  // Read only: older files hold the default laser settings in an element of their own.
  if (tagName == "ComponentProcessParametersDefault") {
    reader.DelegateToChild(m_defaultComponentScanning);
    return true;
  }
  if (tagName == kParameterSet) return true;

  const std::string& parent = reader.GetParentTagName(1);
  if (parent == kParameterSet) {
    if (tagName == "Name") {
      std::wstring name;
      reader.ReadValue(name);
      if (name == kDefaultSetName) {
        m_currentScanningSet = &m_defaultComponentScanning;
      } else {
        GetComponentScanningParameters(name, true);
      }
      return true;
    }
    // Without a "Name" first, the content is kept like any unknown element.
    if (m_currentScanningSet != nullptr) return m_currentScanningSet->HandleTag(tagName, reader);
  }

  if (tagName == kPostProcessSets) return true;
  if (tagName == kPostProcessSet && parent == kPostProcessSets) return true;
  if (parent == kPostProcessSet) {
    if (tagName == "Name") {
      std::wstring name;
      reader.ReadValue(name);
      GetComponentPostProcessParameters(name, true);
      return true;
    }
    if (m_currentPostProcessSet != nullptr) {
      return m_currentPostProcessSet->HandleTag(tagName, reader);
    }
  }
  return TalSDK::MSaxPersistExtensibleObjectReader(*this).HandleTag(tagName, reader);
}

void MCLParameters::HandleEndTag(std::string_view tagName) {
  if (tagName == kParameterSet) {
    m_currentScanningSet = nullptr;
    return;
  }
  // The end of a laser container: the border is copied into three other sets there. The
  // current post-process set stays until the next "Name" replaces it.
  if (m_currentScanningSet != nullptr) m_currentScanningSet->HandleEndTag(tagName);
}

bool MCLParameters::Write(TalSAX::ISAXWriter& writer) const {
  bool written = kOwnFields.WriteEveryField(*this, writer);
  {
    MSAXTagWriter set(writer, kParameterSet);
    TalAM::WriteValueTag(writer, "Name", std::wstring(kDefaultSetName));  // does not count
    written = m_defaultComponentScanning.Write(writer) && written;
  }
  for (const auto& [name, scanning] : m_componentScanning) {
    MSAXTagWriter set(writer, kParameterSet);
    written = TalAM::WriteValueTag(writer, "Name", name) && written;
    written = scanning.Write(writer) && written;
  }
  {
    // Written also when there is no named post-process set.
    MSAXTagWriter sets(writer, kPostProcessSets);
    for (const auto& [name, postProcess] : m_componentPostProcess) {
      MSAXTagWriter set(writer, kPostProcessSet);
      written = TalAM::WriteValueTag(writer, "Name", name) && written;
      written = postProcess.Write(writer) && written;
    }
  }
  return WriteKept(*this, writer) && written;
}

MCLParameters::NodeList MCLParameters::GetExtensibleObjectNodes() const {
  NodeList nodes = TalSDK::MSaxPersistExtensibleObject::GetExtensibleObjectNodes();
  TalSDK::MSaxPersistExtensibleObjectUtilities::RecursiveInsertNodes(
      nodes, {m_slice, m_platform, m_tracing, m_defaultComponentScanning});
  return nodes;
}

void MCLParameters::VisitFields(TalAM::FieldVisit& visit) const {
  kOwnFields.Visit(*this, visit);
  // The laser sets as the file holds them: the default one first, then the named ones.
  const auto laserSet = [&](std::size_t index, const std::wstring& name,
                            const MCLScanningParameters& set) {
    visit.Enter(std::string(kParameterSet) + "[" + ValueText(static_cast<long>(index)) + "]",
                TalAM::FieldKind::Item);
    visit.Value("Name", TalAM::FieldKind::String, ValueText(name));
    set.VisitFields(visit);
    visit.Leave();
  };
  laserSet(1, std::wstring(kDefaultSetName), m_defaultComponentScanning);
  std::size_t index = 1;
  for (const auto& [name, set] : m_componentScanning)
    laserSet(++index, name, set);

  visit.Enter(kPostProcessSets, TalAM::FieldKind::List,
              ValueText(static_cast<long>(m_componentPostProcess.size())));
  index = 0;
  for (const auto& [name, set] : m_componentPostProcess) {
    visit.Enter(std::string(kPostProcessSet) + "[" + ValueText(static_cast<long>(++index)) + "]",
                TalAM::FieldKind::Item);
    visit.Value("Name", TalAM::FieldKind::String, ValueText(name));
    set.VisitFields(visit);
    visit.Leave();
  }
  visit.Leave();
}

bool MCLParameters::Save(const std::wstring& path) {
  try {
    TalSAX::SAXWriter writer(nullptr);
    SetFraming(writer);
    if (!writer.OpenXMLBase64(path.c_str())) return false;
    bool written = false;
    {
      const ScopedClLengthMode mode(1);
      written = Write(writer);
    }
    // A set that refused leaves the file as written so far: the writer is dropped unclosed.
    if (!written) return false;
    writer.Close();
    return true;
  } catch (const TalSDK::FileIO::MSAXError::MMissingReference&) {
    return false;
  }
}

bool MCLParameters::Load(const std::wstring& path) {
  return TalAM::LoadCLParameterFile(*this, path).success;
}

namespace TalAM {

CLLoadResult LoadCLParameterFile(MCLParameters& parameters, const std::wstring& path) {
  CLLoadResult result =
      Read(parameters, Utf8OrReplaced(path),
           [&](TalSAX::SAXReader& reader, FileRoot& root) { reader.Parse(path.c_str(), &root); });
  // The file's "ParametersName" gives way to the name of the file.
  if (result.success) parameters.SetName(FileNamePart(path));
  return result;
}

CLLoadResult ReadCLParameterDocument(MCLParameters& parameters, std::string_view document,
                                     std::string_view sourceName) {
  return Read(parameters, sourceName, [&](TalSAX::SAXReader& reader, FileRoot& root) {
    reader.ParseBuffer(document, &root, sourceName);
  });
}

bool WriteCLParameterDocument(const MCLParameters& parameters, std::string& document) {
  TalSAX::SAXWriter writer(nullptr);
  SetFraming(writer);
  writer.OpenString(document);
  bool written = false;
  {
    const ScopedClLengthMode mode(1);
    written = parameters.Write(writer);
  }
  if (!written) return false;
  writer.Close();
  return true;
}

}  // namespace TalAM
