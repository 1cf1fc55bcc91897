#pragma once
// The settings for generating kestrum supports ("KestrumSupport"): the parameter file, which
// zones, layer thickness and envelope are taken into account, merging, the support template of
// one platform, and the kestrum base plate. The model does not depend on persistence: a reader
// helper and a writer persist it.

#include <cstdint>
#include <string>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

class TALSDK_MACHINES_EXPORT MKestrumSupportParameters
    : public TalSDK::MSaxPersistExtensibleObject {
 public:
  // The kept elements first, then every member exactly.
  bool operator==(const MKestrumSupportParameters& other) const;
  bool operator!=(const MKestrumSupportParameters& other) const { return !(*this == other); }
  void VisitFields(TalAM::FieldVisit& visit) const;

  std::wstring m_parametersFilePath;
  bool m_useNoBuildZones = false;
  bool m_useRealNoBuildZones = false;
  bool m_useLayerThickness = true;
  std::int32_t m_layerThickness = 500;
  bool m_kestrumMerge = false;  // "kestrumMerge", lower-case as in machine files
  std::wstring m_onePlatformSupportTemplate = L"kestrumMergedPart";
  bool m_useBuildEnvelope = true;
  bool m_ignoreKestrumBaseplate = false;
};

class TALSDK_MACHINES_EXPORT MSaxKestrumSupportParametersReaderHelper : public ISAXPersistHelper {
 public:
  explicit MSaxKestrumSupportParametersReaderHelper(MKestrumSupportParameters& parameters);
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // The defaults, keeping the operating mode.
  void SetDefaults() override;

 private:
  MKestrumSupportParameters& m_parameters;
};

class TALSDK_MACHINES_EXPORT MSaxKestrumSupportParametersWriter : public ISAXPersist {
 public:
  explicit MSaxKestrumSupportParametersWriter(const MKestrumSupportParameters& parameters);
  // In the order of machine files ("UseRealNoBuildZones" after "LayerThickness"), then the
  // kept elements.
  bool Write(TalSAX::ISAXWriter& writer) const override;

 private:
  const MKestrumSupportParameters& m_parameters;
};
