#pragma once
// The bands where the fields of neighbouring lasers overlap on a multi-laser machine, each with
// an orientation, a position, a width and a display colour. Persisted as the content of the
// platform's "LaserOverlaps" element, one "Overlap" element per band.

#include <cstdint>
#include <string>
#include <vector>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/platform/PlatformTypes.h>
#include <TalSDK/sdk/common/Color.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

class TALSDK_MACHINES_EXPORT MSAXMachineLaserOverlaps : public ISAXPersist,
                                                        public TalSDK::MSaxPersistExtensibleObject {
 public:
  // One overlap band; it keeps its own unknown elements.
  class TALSDK_MACHINES_EXPORT LaserOverlap : public ISAXPersist,
                                              public TalSDK::MSaxPersistExtensibleObject {
   public:
    LaserOverlap();
    LaserOverlap(const LaserOverlap&) = default;
    LaserOverlap(LaserOverlap&&) = default;
    LaserOverlap& operator=(const LaserOverlap&) = default;
    LaserOverlap& operator=(LaserOverlap&&) = default;
    ~LaserOverlap() override;

    // The colour is for display only and takes no part in the comparison.
    bool operator==(const LaserOverlap& other) const;
    bool operator!=(const LaserOverlap& other) const { return !(other == *this); }

    void SetDefaults() override;
    bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
    bool Write(TalSAX::ISAXWriter& writer) const override;
    // Every field with its path, kind and value text.
    void VisitFields(TalAM::FieldVisit& visit) const;

    std::int32_t position = 0;  // internal length units
    std::int32_t width = 0;     // internal length units
    DirectionAxis orientation = DirectionAxis::X;
    TalSDK::Common::Color color;  // red by default
  };

  MSAXMachineLaserOverlaps();
  MSAXMachineLaserOverlaps(const MSAXMachineLaserOverlaps&) = default;
  MSAXMachineLaserOverlaps(MSAXMachineLaserOverlaps&&) = default;
  MSAXMachineLaserOverlaps& operator=(const MSAXMachineLaserOverlaps&) = default;
  MSAXMachineLaserOverlaps& operator=(MSAXMachineLaserOverlaps&&) = default;
  ~MSAXMachineLaserOverlaps() override;

  bool operator==(const MSAXMachineLaserOverlaps& other) const;
  bool operator!=(const MSAXMachineLaserOverlaps& other) const { return !(other == *this); }

  // This object, then every overlap in order.
  NodeList GetExtensibleObjectNodes() const override;

  void SetDefaults() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  // Every field with its path, kind and value text.
  void VisitFields(TalAM::FieldVisit& visit) const;

  std::vector<LaserOverlap> m_overlaps;  // in file order
};
