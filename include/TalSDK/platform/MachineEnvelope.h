#pragma once
// The usable build volume of a machine: three extents in internal length units, and the tests
// that decide whether a part's bounding box exceeds it on a box-shaped or a round platform.
// Persisted as the content of the platform's "Envelope" element.

#include <cstdint>
#include <string>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/math/BoundingBox.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

class TALSDK_MACHINES_EXPORT MSAXMachineEnvelope : public ISAXPersist,
                                                   public TalSDK::MSaxPersistExtensibleObject {
 public:
  MSAXMachineEnvelope();
  MSAXMachineEnvelope(const MSAXMachineEnvelope&) = default;
  MSAXMachineEnvelope(MSAXMachineEnvelope&&) = default;
  MSAXMachineEnvelope& operator=(const MSAXMachineEnvelope&) = default;
  MSAXMachineEnvelope& operator=(MSAXMachineEnvelope&&) = default;
  ~MSAXMachineEnvelope() override;

  // Compares the three extents and the kept elements; m_circleExtent follows m_dx and is left
  // out.
  bool operator==(const MSAXMachineEnvelope& other) const;
  bool operator!=(const MSAXMachineEnvelope& other) const { return !(other == *this); }

  // True when the box is larger than the envelope along any axis; a box exactly as large as
  // the envelope fits. (The name is spelled so in the application's interface.)
  bool IsBiggerThanBoxPltform(const TalSDK::Math::boundingbox<int, 3>& box) const;
  // Quick test for a round platform: true when the box is higher than the envelope or the
  // diagonal of its footprint is longer than 2 * m_circleExtent.
  bool IsBiggerThanCirclePlatform_Fast(const TalSDK::Math::boundingbox<int, 3>& box) const;

  void SetDefaults() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  // Every field with its path, kind and value text.
  void VisitFields(TalAM::FieldVisit& visit) const;

  // Extent of the round-platform test. Not persisted: reading "Dx" sets it to m_dx.
  std::int32_t m_circleExtent;
  std::int32_t m_dx;
  std::int32_t m_dy;
  std::int32_t m_dz;
};
