#pragma once
// A whole Concept Laser process parameter set: slice, platform and trace settings, the
// default laser settings and named per-component laser and post-process sets. Saved and
// loaded as its own XML file ("CLParameterFile", lengths in millimetres); see
// docs/file-format.md.

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/conceptlaser/CLBuildParameters.h>
#include <TalSDK/conceptlaser/CLPlatformParameters.h>
#include <TalSDK/conceptlaser/CLPostProcessParameters.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>
#include <TalSDK/sdk/sax/SAXReader.h>

class TALSDK_MACHINES_EXPORT MCLParameters : public ISAXPersist,
                                             public TalSDK::MSaxPersistExtensibleObject {
 public:
  static constexpr int DEFAULT_FILE_SIZE_LIMIT = 500;

  using ScanningMap = std::map<std::wstring, MCLScanningParameters>;
  using PostProcessMap = std::map<std::wstring, MCLPostProcessParameters>;

  MCLParameters() = default;
  // Copies every value, set and map, but not the set's own kept elements: a copy starts
  // without them, and an assignment leaves the target's as they were. The reading state is
  // not copied (a copy and an assigned target start without a current set).
  MCLParameters(const MCLParameters& other);
  const MCLParameters& operator=(const MCLParameters& other);
  ~MCLParameters() override;

  // Name, size limit, CLWRX name, the slice, platform and trace sets, both maps (sizes, then
  // keys and sets in order) and the default laser settings; kept elements and the reading
  // state are left out.
  bool operator==(const MCLParameters& other) const;
  bool operator!=(const MCLParameters& other) const { return !(*this == other); }

  const std::wstring& GetName() const { return m_name; }
  void SetName(const std::wstring& name) { m_name = name; }
  int GetCLFileSizeLimit() const { return m_clFileSizeLimit; }
  void SetCLFileSizeLimit(int limit) { m_clFileSizeLimit = limit; }
  const std::wstring& GetCLWRXParameterName() const { return m_clwrxParameterName; }
  void SetCLWRXParameterName(const std::wstring& name) { m_clwrxParameterName = name; }
  MCLSliceParameters& GetSliceParameters() { return m_slice; }
  const MCLSliceParameters& GetSliceParameters() const { return m_slice; }
  MCLPlatformParameters& GetPlatformParameters() { return m_platform; }
  const MCLPlatformParameters& GetPlatformParameters() const { return m_platform; }
  MCLTracingParameters& GetTracingParameters() { return m_tracing; }
  const MCLTracingParameters& GetTracingParameters() const { return m_tracing; }
  ScanningMap& GetNamedScanningParameters() { return m_componentScanning; }
  const ScanningMap& GetNamedScanningParameters() const { return m_componentScanning; }
  PostProcessMap& GetNamedPostProcessingParameters() { return m_componentPostProcess; }
  const PostProcessMap& GetNamedPostProcessingParameters() const { return m_componentPostProcess; }
  MCLScanningParameters& GetDefaultComponentScanningParameters() {
    return m_defaultComponentScanning;
  }
  const MCLScanningParameters& GetDefaultComponentScanningParameters() const {
    return m_defaultComponentScanning;
  }

  // The named laser settings, which become the current set. Unknown names give null, or
  // with `create` a new entry with factory defaults (not a copy of the default set) in the
  // owner's operating mode.
  MCLScanningParameters* GetComponentScanningParameters(const std::wstring& name, bool create);
  const MCLScanningParameters* GetComponentScanningParameters(const std::wstring& name) const;
  // The named post-process set, which becomes the current set. Unknown names give a new
  // entry with `create`, otherwise the platform's own post-process set: never null.
  MCLPostProcessParameters* GetComponentPostProcessParameters(const std::wstring& name,
                                                              bool create);
  const MCLPostProcessParameters* GetComponentPostProcessParameters(const std::wstring& name) const;
  void RemoveComponentScanningParameters(const std::wstring& name);
  void RemoveComponentPostProcessParameters(const std::wstring& name);
  // Append the names of the named sets, in map order; the vector is not cleared first and
  // the default set is not listed.
  void GetAvailableScanningParameters(std::vector<std::wstring>& names) const;
  void GetAvailablePostProcessParameters(std::vector<std::wstring>& names) const;

  // Reads the content of a parameter file's root (or of an element holding a set). A
  // "ParameterSet" routes its content by its "Name" ("Default": the default laser settings,
  // any other: that named set, created when new); a "Parameters" inside
  // "ComponentPostProcessParameters" routes its content to the named post-process set.
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // The end of a "ParameterSet" ends its routing; other end tags go to the current laser
  // settings.
  void HandleEndTag(std::string_view tagName) override;
  // Every element; true when all were written (the default set's "Name" does not count).
  bool Write(TalSAX::ISAXWriter& writer) const override;
  NodeList GetExtensibleObjectNodes() const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  // Writes the set as a parameter file with lengths in millimetres. False when the file
  // cannot be created or the set refuses to write (the file then holds what was written);
  // a write error of the file itself throws TalSDK::FileIO::MSAXError::MGeneric.
  virtual bool Save(const std::wstring& path);
  // Reads a parameter file into the set, which is not reset first (values absent from the
  // file stay as they were). The name becomes the file-name part of `path`, extension
  // included. False when the file cannot be read or is not a parameter file; what was read
  // before the failure stays.
  virtual bool Load(const std::wstring& path);

  std::wstring m_name;
  int m_clFileSizeLimit = DEFAULT_FILE_SIZE_LIMIT;
  std::wstring m_clwrxParameterName;
  MCLSliceParameters m_slice;
  MCLPlatformParameters m_platform;
  MCLTracingParameters m_tracing;
  ScanningMap m_componentScanning;
  PostProcessMap m_componentPostProcess;

 private:
  // Where the content of the "ParameterSet" or "Parameters" element being read goes.
  MCLScanningParameters* m_currentScanningSet = nullptr;
  MCLPostProcessParameters* m_currentPostProcessSet = nullptr;

 public:
  MCLScanningParameters m_defaultComponentScanning;
};

namespace TalAM {

// Everything a load of a Concept Laser parameter file has to tell.
struct CLLoadResult {
  bool success = false;  // what MCLParameters::Load returns
  std::wstring message;  // why the load failed (names the file, line and column when known)
  std::vector<TalSAX::SAXWarning> refusedElements;  // elements the set refused, in file order
};

// Loads as MCLParameters::Load does and reports the outcome as data.
TALSDK_MACHINES_EXPORT CLLoadResult LoadCLParameterFile(MCLParameters& parameters,
                                                        const std::wstring& path);

// The content of a parameter file, read from memory with the framing "CLParameterFile" and
// lengths in millimetres (the name is left as it is). `sourceName` names the document in
// messages.
TALSDK_MACHINES_EXPORT CLLoadResult ReadCLParameterDocument(MCLParameters& parameters,
                                                            std::string_view document,
                                                            std::string_view sourceName);

// Writes the set as the document of a parameter file into `document` (replacing its content),
// with lengths in millimetres. False when the set refuses to write.
TALSDK_MACHINES_EXPORT bool WriteCLParameterDocument(const MCLParameters& parameters,
                                                     std::string& document);

}  // namespace TalAM
