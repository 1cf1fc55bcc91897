#pragma once
// The slicing block of a machine ("Slicer"): how a part's mesh is cut into layers and how the
// layer contours are repaired, the slice file format, and where a slice is taken for display.
// Settings only: lengths are whole numbers in the application's unit, neither converted nor
// range-checked here.

#include <cstdint>
#include <string>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>
#include <TalSDK/slicing/OutputFormats.h>

// Contour smoothing strength, written as its name.
enum class SmoothingType : std::uint16_t { None = 1, Normal = 2, Heavy = 4 };

// Contour repair.
class TALSDK_MACHINES_EXPORT MFixParameters : public ISAXPersist,
                                              public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool operator==(const MFixParameters& other) const;
  bool operator!=(const MFixParameters& other) const { return !(*this == other); }

  void SetDefaults() override;
  // "Smoothing" other than "None", "Normal" or "Heavy" (exactly) is refused.
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // A smoothing value other than 1, 2 or 4 writes the four numbers and fails.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  std::int32_t m_maximumGapFill = 50000;  // largest gap between contour ends that is closed
  std::uint16_t m_iterations = 5;         // repair passes
  std::int32_t m_minimumLengthOpenContour = 10000;  // shorter open contours are dropped
  std::int32_t m_minimumLengthClosedContour = 0;    // shorter closed contours are dropped
  SmoothingType m_smoothing = SmoothingType::None;
};

class TALSDK_MACHINES_EXPORT MSliceParameters : public ISAXPersist,
                                                public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool operator==(const MSliceParameters& other) const;
  bool operator!=(const MSliceParameters& other) const { return !(*this == other); }

  void SetDefaults() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  std::int32_t m_thickness = 1250;         // layer thickness
  std::int32_t m_toolCompensation = 1000;  // contour offset for the beam width
};

class TALSDK_MACHINES_EXPORT MSliceVisualizationParameters
    : public ISAXPersist,
      public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool operator==(const MSliceVisualizationParameters& other) const;
  bool operator!=(const MSliceVisualizationParameters& other) const { return !(*this == other); }

  void SetDefaults() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  int m_sliceLocation = 1;  // where within a layer the displayed slice is taken (a plain number)
};

// Keeps the base class's SetDefaults (which changes nothing).
class TALSDK_MACHINES_EXPORT MSlicer : public ISAXPersist,
                                       public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool operator==(const MSlicer& other) const;
  bool operator!=(const MSlicer& other) const { return !(*this == other); }

  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // The four containers in order; the first that fails ends the block (closed) with false.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  // This block, then fix, format, slice and visualisation parameters.
  NodeList GetExtensibleObjectNodes() const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  MFixParameters m_fixParameters;
  MFormatParameters m_formatParameters;
  MSliceParameters m_sliceParameters;
  MSliceVisualizationParameters m_sliceVisualizationParameters;
};
