#pragma once
// In which file format the slices of a build are written, and how the two special exporters
// (layer images and Sony's SCDB slice format) are set up. MFormatParameters is held by the
// slicer and again by the post-processing block; the other two by post-processing only.
// Settings only: the exporters are the application's.

#include <cstdint>
#include <string>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

// The slice file formats, with the numbers machine files and the application use (they have
// gaps); each is written as its text, which is the enumerator's name.
enum class SliceFormat : std::int32_t {
  cli = 0,
  sli_3d = 3,
  slc_3d = 4,
  ssl = 5,
  fs = 6,
  cli_float = 9,
  bitmap_export = 12,
  scdb_dp = 13,
  sli_eos = 14,
  dxf_2d = 15,
  meiko_nc = 22,
  cmet = 33,
  tarrow = 34,
  sli_by_rptools = 41,
  pellin = 43,
};

class TALSDK_MACHINES_EXPORT MFormatParameters : public ISAXPersist,
                                                 public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool operator==(const MFormatParameters& other) const;
  bool operator!=(const MFormatParameters& other) const { return !(*this == other); }

  void SetDefaults() override;
  // An unknown "Format" text is refused and leaves the format as it was.
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // A format without a text writes nothing at all and fails.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  SliceFormat m_format = SliceFormat::cli;  // "Format"
  std::uint16_t m_units = 50;               // "Units", written into the slice files
};

// Layer images. The two resolution fields agree by default (25400 / 1.71 ≈ 14854) but are kept
// independent: setting one never changes the other.
class TALSDK_MACHINES_EXPORT MBitmapExportParameters : public ISAXPersist,
                                                       public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool operator==(const MBitmapExportParameters& other) const;
  bool operator!=(const MBitmapExportParameters& other) const { return !(*this == other); }

  void SetDefaults() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  std::int32_t m_columns = 10;
  std::int32_t m_rows = 10;
  std::int32_t m_dpi = 14854;
  float m_micronPerPixel = 1.71f;
  std::int32_t m_bitmapX = 1024;  // image width in pixels
  std::int32_t m_bitmapY = 768;   // image height in pixels
  bool m_boundingBox = false;
  bool m_empty = true;
  std::int32_t m_overlap = 0;
};

namespace Sony {

// The SCDB slice format of Sony machines. Doubles are written with 17 significant digits, so
// they read back exactly.
class TALSDK_MACHINES_EXPORT SCDBExportParameters : public ISAXPersist,
                                                    public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool operator==(const SCDBExportParameters& other) const;
  bool operator!=(const SCDBExportParameters& other) const { return !(*this == other); }

  void SetDefaults() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // In member order, but "InternalMinWidth" last.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  bool m_solidwareExt = false;
  int m_outlineCount = 0;
  double m_outlineOffset1 = 0.0;
  double m_outlineOffset2 = 0.0;
  double m_internalOffset = 0.0;
  double m_surfaceOffset = 0.0;
  double m_surfaceBoundaryOffset = 0.0;
  bool m_detectSurface = false;
  double m_filteringOffset = 0.0;
  double m_internalMinWidth = 0.0;
  double m_surfaceMinThickness = 0.0;
  double m_surfaceMinWidth = 0.0;
  double m_surfaceMinArea = 0.0;
  double m_filteringX = 0.0;
};

}  // namespace Sony
