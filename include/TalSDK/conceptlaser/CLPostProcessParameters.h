#pragma once
// Island and hatch strategies, skin and contour offsets of one component of a Concept Laser
// build. Lengths are 32-bit integers in internal units (MUnit::GetIE() per millimetre), angles
// doubles in degrees.

#include <cstdint>
#include <string>
#include <vector>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

// How the scan vectors of an area are laid out: distance, offset, meanders and angles.
class TALSDK_MACHINES_EXPORT MCLHatchingParameters : public ISAXPersist,
                                                     public TalSDK::MSaxPersistExtensibleObject {
 public:
  MCLHatchingParameters() = default;
  MCLHatchingParameters(const MCLHatchingParameters&) = default;
  MCLHatchingParameters& operator=(const MCLHatchingParameters&) = default;
  ~MCLHatchingParameters() override;

  // Every field but the retract, exactly; kept elements are not compared.
  bool operator==(const MCLHatchingParameters& other) const;
  bool operator!=(const MCLHatchingParameters& other) const { return !(*this == other); }

  bool GetEnabled() const { return m_enabled; }
  void SetEnabled(bool enabled) { m_enabled = enabled; }
  long GetDistance() const { return m_distance; }
  void SetDistance(long distance) { m_distance = static_cast<std::int32_t>(distance); }
  long GetOffset() const { return m_offset; }
  void SetOffset(long offset) { m_offset = static_cast<std::int32_t>(offset); }
  long GetRetract() const { return m_retract; }
  void SetRetract(long retract) { m_retract = static_cast<std::int32_t>(retract); }
  bool GetMeanderingEnabled() const { return m_meanderingEnabled; }
  float GetMeanderingFactor() const { return m_meanderingFactor; }
  void SetMeandering(bool enabled, float factor) {
    m_meanderingEnabled = enabled;
    m_meanderingFactor = factor;
  }

  // Kept for compatibility with existing parameter files: "MeandersEnabled" switches the
  // hatching itself (reading never changes the meandering switch), "Meanders" is only a
  // wrapper whose children come back here, and "HatchingAlternated" (read, never written)
  // sets the turning angle to 90 when true and is accepted whatever it holds.
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // Every element; true when all were written. "MeandersEnabled" is written from the
  // meandering switch.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  bool m_enabled = true;
  // Raw internal units, not scaled by the unit of the platform.
  std::int32_t m_distance = 1000;
  std::int32_t m_offset = 1000;
  std::int32_t m_retract = 0;
  bool m_meanderingEnabled = true;
  float m_meanderingFactor = 3.0f;
  double m_initialAngle = 0.0;
  double m_turningAngle = 0.0;
};

// The island (checkerboard) scan strategy.
class TALSDK_MACHINES_EXPORT MCLIslandParameters : public ISAXPersist,
                                                   public TalSDK::MSaxPersistExtensibleObject {
 public:
  // 0 and 2: rectangular islands; 1: hexagonal islands. Other values are kept as they are
  // and have no geometry.
  enum MType : std::int32_t { eRectangular = 0, eHexagonal = 1, eRectangularAlternate = 2 };

  MCLIslandParameters();
  MCLIslandParameters(const MCLIslandParameters&) = default;
  MCLIslandParameters& operator=(const MCLIslandParameters&) = default;
  ~MCLIslandParameters() override;

  // Enabled, type, sizes, shifts, gap, orientation and its increment; the slice rotation
  // angles, the overlap gaps and the small-area filter are left out, as are kept elements.
  bool operator==(const MCLIslandParameters& other) const;
  bool operator!=(const MCLIslandParameters& other) const { return !(*this == other); }

  const std::vector<double>& GetSliceRotationAngles() const { return m_sliceRotationAngles; }
  void AddSliceRotationAngle(double angle) { m_sliceRotationAngles.push_back(angle); }
  void ClearSliceRotationAngles() { m_sliceRotationAngles.clear(); }
  bool GetEnabled() const { return m_enabled; }
  void SetEnabled(bool enabled) { m_enabled = enabled; }
  MType GetType() const { return m_type; }
  long GetInterIslandGap() const { return m_interIslandGap; }
  void SetInterIslandGap(long gap) { m_interIslandGap = static_cast<std::int32_t>(gap); }
  double GetOrientation() const { return m_orientation; }
  void SetOrientation(double orientation) { m_orientation = orientation; }
  double GetOrientationIncrement() const { return m_orientationIncrement; }
  void SetOrientationIncrement(double increment) { m_orientationIncrement = increment; }
  long GetOverlapGapHorizontal() const { return m_overlapGapHorizontal; }
  void SetOverlapGapHorizontal(long gap) {
    m_overlapGapHorizontal = static_cast<std::int32_t>(gap);
  }
  long GetOverlapGapVertical() const { return m_overlapGapVertical; }
  void SetOverlapGapVertical(long gap) { m_overlapGapVertical = static_cast<std::int32_t>(gap); }
  bool GetFilterSmallAreas() const { return m_filterSmallAreas; }
  void SetFilterSmallAreas(bool filter) { m_filterSmallAreas = filter; }

  // Stores the type and the island's size: rectangles take a × b (the edge is a); hexagons
  // of edge a are trunc(sqrt(3) a) wide and 3a / 2 high. Other types change only the type.
  void Set(MType type, long a, long b);
  // Rectangles take the shift as given; hexagons ignore it and shift by half their width and
  // two thirds of their height. Other types change nothing.
  void SetShift(long x, long y);

  // "IslandsOrientation" is accepted whatever it holds: a text that is not a number stores
  // 0.0, kept for compatibility with existing parameter files.
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // Every element; true when all were written.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  std::vector<double> m_sliceRotationAngles{0.0};
  bool m_enabled = true;
  MType m_type = eRectangular;
  std::int32_t m_sizeX;     // 5 mm
  std::int32_t m_sizeY;     // 5 mm
  std::int32_t m_sizeEdge;  // 3 mm
  std::int32_t m_shiftX = 0;
  std::int32_t m_shiftY = 0;
  std::int32_t m_interIslandGap = 0;
  double m_orientation = 15.0;
  double m_orientationIncrement = 0.0;
  std::int32_t m_overlapGapHorizontal = 0;
  std::int32_t m_overlapGapVertical = 0;
  bool m_filterSmallAreas = false;
};

// Contour offsets, skin and the island and hatch strategies of one component.
class TALSDK_MACHINES_EXPORT MCLPostProcessParameters : public ISAXPersist,
                                                        public TalSDK::MSaxPersistExtensibleObject {
 public:
  MCLPostProcessParameters() = default;
  MCLPostProcessParameters(const MCLPostProcessParameters&) = default;
  MCLPostProcessParameters& operator=(const MCLPostProcessParameters&) = default;
  ~MCLPostProcessParameters() override;

  // The island and hatching sets (by their own comparison), beam compensation, skin width,
  // the flag word, the offset counts and intervals and the data range. The header word, the
  // order table, the offset caches and kept elements are left out.
  bool operator==(const MCLPostProcessParameters& other) const;
  bool operator!=(const MCLPostProcessParameters& other) const { return !(*this == other); }

  MCLIslandParameters& GetIslandParameters() { return m_island; }
  const MCLIslandParameters& GetIslandParameters() const { return m_island; }
  MCLHatchingParameters& GetHatchingParameters() { return m_hatching; }
  const MCLHatchingParameters& GetHatchingParameters() const { return m_hatching; }

  // A skin as wide as anything: no core.
  void SetNoCore() { m_skinWidth = 2147483647; }
  void SetNoSkin() { m_skinWidth = 0; }
  // Store count and interval, then fill the offset caches that are still empty.
  void SetIncrementalInsideOffset(unsigned long count, long interval);
  void SetIncrementalOutsideOffset(unsigned long count, long interval);
  // Fills an empty cache with count offsets, interval, 2 × interval, ...; a cache that holds
  // offsets is never rebuilt, even when count or interval changed since.
  void UpdateIndividualOffsets() const;

  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // The values stop at the first one that cannot be written; the island and hatching
  // containers are written all the same. True when everything was written.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  NodeList GetExtensibleObjectNodes() const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

 private:
  // Kept and copied as they are; not persisted and not used here.
  std::int32_t m_headerWord = 1;

 public:
  MCLIslandParameters m_island;
  MCLHatchingParameters m_hatching;

 private:
  std::int32_t m_orderTable[8] = {0, 10, 8, 0, 0, 7, 6, 9};

 public:
  std::int32_t m_beamCompensation = 2500;
  std::int32_t m_skinWidth = 20000;

 private:
  std::int32_t m_flagWord = 1;  // compared, not persisted

 public:
  std::uint32_t m_insideOffsetCount = 0;
  std::int32_t m_insideOffsetInterval = 0;
  std::uint32_t m_outsideOffsetCount = 0;
  std::int32_t m_outsideOffsetInterval = 0;
  mutable std::vector<std::int32_t> m_individualInsideOffsets;
  mutable std::vector<std::int32_t> m_individualOutsideOffsets;
  std::int32_t m_dataMinValueX = 0;
  std::int32_t m_dataMinValueY = 0;
  std::int32_t m_dataMinValueZ = 0;
  std::int32_t m_dataMaxValueX = 0;
  std::int32_t m_dataMaxValueY = 0;
  std::int32_t m_dataMaxValueZ = 0;
};
