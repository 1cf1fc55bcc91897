#pragma once
// How the application arranges parts on the platform automatically ("Nesting"): whether nesting
// is on, across several platforms, the method code, the settings of the three methods (by
// bounding box, by part geometry, by a custom bitmap), and sorting by height. Settings only:
// the integer codes are stored as given, and lengths are in internal units (multiples of
// MUnit::GetIE() taken at construction).

#include <cstdint>
#include <string>
#include <vector>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

class TALSDK_MACHINES_EXPORT MSaxNestingBoundingBox : public ISAXPersist,
                                                      public TalSDK::MSaxPersistExtensibleObject {
 public:
  MSaxNestingBoundingBox();
  bool operator==(const MSaxNestingBoundingBox& other) const;
  bool operator!=(const MSaxNestingBoundingBox& other) const { return !(*this == other); }

  void SetDefaults() override;
  // Its own tag "BoundingBox" met inside it is accepted and ignored.
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  std::int32_t m_interval;  // 10 mm
  std::int32_t m_margin;    // 10 mm
  int m_placement = 0;      // code
};

class TALSDK_MACHINES_EXPORT MSaxNestingGeometry : public ISAXPersist,
                                                   public TalSDK::MSaxPersistExtensibleObject {
 public:
  MSaxNestingGeometry();
  bool operator==(const MSaxNestingGeometry& other) const;
  bool operator!=(const MSaxNestingGeometry& other) const { return !(*this == other); }

  void SetDefaults() override;
  // Its own tag "Geometry" met inside it is accepted and ignored.
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  std::int32_t m_interval;  // 5 mm
  std::int32_t m_margin;    // 5 mm
  int m_placement = 0;      // code
  int m_placementSolution = 0;
  int m_rotationAngle = 0;
};

// A custom nesting bitmap of m_width × m_height 32-bit cells.
class TALSDK_MACHINES_EXPORT MSaxNestingCustom : public ISAXPersist,
                                                 public TalSDK::MSaxPersistExtensibleObject {
 public:
  // The largest bitmap a file may give, in cells: far above any real bitmap, so that a
  // hostile "Width" × "Height" fails the load instead of asking for gigabytes.
  static constexpr std::int64_t kMaxBitmapCells = std::int64_t{1} << 26;

  bool operator==(const MSaxNestingCustom& other) const;
  bool operator!=(const MSaxNestingCustom& other) const { return !(*this == other); }

  void SetDefaults() override;
  // "Bitmap" takes m_width × m_height cells (as read so far) from the element's binary
  // payload; cells the payload does not cover keep what resizing gave them (0 when new). A
  // negative size or one above kMaxBitmapCells throws MGeneric naming the element.
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // "Bitmap" is written only when the bitmap has cells.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  std::int32_t m_height = 0;  // bitmap rows
  std::int32_t m_width = 0;   // bitmap columns
  int m_accuracy = 50;
  bool m_showCustomBitmap = false;
  std::vector<std::uint32_t> m_bitmap;
};

class TALSDK_MACHINES_EXPORT MSaxMachineNesting : public ISAXPersist,
                                                  public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool operator==(const MSaxMachineNesting& other) const;
  bool operator!=(const MSaxMachineNesting& other) const { return !(*this == other); }

  void SetDefaults() override;
  // Its own tag "Nesting" met inside it is accepted and ignored.
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // All three method blocks are written, whatever m_type says.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  // This block, then the bounding-box, geometry and custom blocks.
  NodeList GetExtensibleObjectNodes() const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  bool m_enabled = true;
  bool m_multiPlatformNesting = false;
  int m_type = 0;  // nesting method code
  MSaxNestingBoundingBox m_boundingBox;
  MSaxNestingGeometry m_geometry;
  MSaxNestingCustom m_custom;
  bool m_sortByZ = false;
  int m_sortByZType = 0;
};
