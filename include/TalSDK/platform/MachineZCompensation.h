#pragma once
// Z compensation settings of a machine: the amount parts are compensated in the build
// direction, what to preserve, and an optional table of factors by surface angle. The library
// stores the settings; the application compensates.

#include <cstdint>
#include <string>
#include <vector>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

class TALSDK_MACHINES_EXPORT MSAXMachineZCompensation : public ISAXPersist,
                                                        public TalSDK::MSaxPersistExtensibleObject {
 public:
  MSAXMachineZCompensation();
  MSAXMachineZCompensation(const MSAXMachineZCompensation&) = default;
  MSAXMachineZCompensation(MSAXMachineZCompensation&&) = default;
  MSAXMachineZCompensation& operator=(const MSAXMachineZCompensation&) = default;
  MSAXMachineZCompensation& operator=(MSAXMachineZCompensation&&) = default;
  ~MSAXMachineZCompensation() override;

  bool operator==(const MSAXMachineZCompensation& other) const;
  bool operator!=(const MSAXMachineZCompensation& other) const { return !(other == *this); }

  void SetDefaults() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  // Every field with its path, kind and value text.
  void VisitFields(TalAM::FieldVisit& visit) const;

  // Also persisted at the top level of a machine file as "ZCompensation".
  std::int32_t m_zCompensationValue = 1000;
  std::int32_t m_preserveThin = 10;
  bool m_preserveSmallFeatures = false;
  bool m_removeSelfIteractions = false;
  int m_zCompType = 0;  // type code of the application, kept as given
  bool m_saveZCompToPartName = true;
  bool m_useAngleBasedFactor = false;
  // Factors by surface angle, in internal units (1.0 is MInternalUnits::Get()).
  std::vector<std::int32_t> m_angleFactors;
  bool m_filterSharpTriangles = true;
};
