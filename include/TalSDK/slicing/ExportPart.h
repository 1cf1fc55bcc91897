#pragma once
// What the application does when it exports the parts of a build for this machine ("ExportPart"):
// which files it produces, under which name template, scaling, how kestrum supports are merged
// and which support template is used, and which checks run first. Settings only.

#include <cstdint>
#include <string>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

class TALSDK_MACHINES_EXPORT MSAXMachineExportPart : public ISAXPersist,
                                                     public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool operator==(const MSAXMachineExportPart& other) const;
  bool operator!=(const MSAXMachineExportPart& other) const { return !(*this == other); }

  void SetDefaults() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // In member order, except that "LoadGenSupport" comes before "kestrumMerge" and
  // "kestrumParFile" before "kestrumNoBuildZones".
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  bool m_stl = true;
  bool m_slice = false;
  bool m_generateSupport = false;
  std::wstring m_fileTemplate = L"*.ext";
  bool m_useScaling = false;
  bool m_applyZCompensation = false;
  bool m_saveAsBrisko = true;
  float m_scaleX = 1.0f;
  float m_scaleY = 1.0f;
  float m_scaleZ = 1.0f;
  float m_scaleRadius = 1.0f;
  bool m_zcp = false;
  bool m_genSupportSelectedPart = false;
  bool m_genSupportOfNotsupported = true;
  bool m_kestrumMerge = true;
  bool m_kestrumMergeWithOther = false;
  bool m_loadGenSupport = false;
  bool m_kestrumNoBuildZones = false;
  std::wstring m_kestrumParFile;
  bool m_checkCollisions = false;
  bool m_checkCollisionsWithClearance = true;
  std::int32_t m_collisionClearance = 10000;  // in the application's unit
  bool m_checkOutOfPlatform = true;
  std::wstring m_onePlatformSupportTemplate = L"kestrumMergedPart";
};
