#pragma once
// The post-processing block of a machine ("PostProcessing"): what is done to the sliced
// layers before export (hatching, skin fill, merging of slice files) and a second set of
// output settings. Settings only: lengths and spacings are whole numbers in the application's
// unit.

#include <cstdint>
#include <string>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>
#include <TalSDK/slicing/OutputFormats.h>

// How the hatch lines are laid.
class TALSDK_MACHINES_EXPORT MHatchStyle : public ISAXPersist,
                                           public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool operator==(const MHatchStyle& other) const;
  bool operator!=(const MHatchStyle& other) const { return !(*this == other); }

  void SetDefaults() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  bool m_alternated = false;            // neighbouring lines in alternate directions
  bool m_retracted = false;             // lines stop short of the contour
  std::int32_t m_retractedValue = 300;  // by this distance
  bool m_staggered = false;
};

class TALSDK_MACHINES_EXPORT MHatchParameters : public ISAXPersist,
                                                public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool operator==(const MHatchParameters& other) const;
  bool operator!=(const MHatchParameters& other) const { return !(*this == other); }

  // Resets the style too.
  void SetDefaults() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  // This block, then its style.
  NodeList GetExtensibleObjectNodes() const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  bool m_enableHatchings = false;
  bool m_layerAlternated = false;   // hatch direction alternates from layer to layer
  std::int32_t m_xHatching = 2000;  // spacing of the lines along X
  std::int32_t m_yHatching = 2000;  // spacing of the lines along Y
  std::int32_t m_offset = 0;        // from the contour
  std::int32_t m_filter = 0;
  MHatchStyle m_style;  // "Style"
};

class TALSDK_MACHINES_EXPORT MSkinfillParameters : public ISAXPersist,
                                                   public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool operator==(const MSkinfillParameters& other) const;
  bool operator!=(const MSkinfillParameters& other) const { return !(*this == other); }

  void SetDefaults() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  bool m_enableSkinFill = false;
  std::int32_t m_numberUp = 1;         // up-facing skin layers
  std::int32_t m_numberDown = 1;       // down-facing skin layers
  std::int32_t m_hatchingUp = 1000;    // hatch spacing in up-facing skins
  std::int32_t m_hatchingDown = 1000;  // hatch spacing in down-facing skins
  float m_angle = 30.0f;               // degrees
};

// Merging the slices of parts and of supports into one file each.
class TALSDK_MACHINES_EXPORT MMergeParameters : public ISAXPersist,
                                                public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool operator==(const MMergeParameters& other) const;
  bool operator!=(const MMergeParameters& other) const { return !(*this == other); }

  void SetDefaults() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  bool m_parts = false;
  std::wstring m_partsName = L"parts.sli";
  bool m_supports = false;
  std::wstring m_supportsName = L"supports.sli";
  bool m_firstHatch = true;    // in the merged file the hatch comes first
  bool m_keepOriginal = true;  // the unmerged slice files stay
};

class TALSDK_MACHINES_EXPORT MPostParameters : public ISAXPersist,
                                               public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool operator==(const MPostParameters& other) const;
  bool operator!=(const MPostParameters& other) const { return !(*this == other); }

  // Resets the whole block, every member included; the operating mode stays.
  void SetDefaults() override;
  // The two switches are read wherever they stand.
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // The two switches are written between the hatch and the skin-fill containers; the first
  // member that fails ends the block (closed) with false.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  // This block, then hatch, skin fill, merge, format, bitmap export and SCDB export.
  NodeList GetExtensibleObjectNodes() const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  MHatchParameters m_hatchParameters;
  MSkinfillParameters m_skinFillParameters;
  bool m_bordersFirst = true;  // the borders come before the hatch
  MMergeParameters m_mergeParameters;
  MFormatParameters m_formatParameters;
  bool m_enablePostProcessing = false;
  MBitmapExportParameters m_bitmapExportParameters;
  Sony::SCDBExportParameters m_scdbExportParameters;
};
