#pragma once
// The base plate built under the parts ("BaseplateParameters"): whether it is built, how its
// outline is found, its thickness and offset, raised edges and perforations. The model does
// not depend on persistence: a reader helper and a writer persist it. Lengths are 32-bit
// integers stored as given.

#include <cstdint>
#include <string>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

// Written as its name.
enum class BaseplateMethod : std::int32_t { Contour = 0, BoundingBox = 1 };

class TALSDK_MACHINES_EXPORT MBaseplateParameters : public TalSDK::MSaxPersistExtensibleObject {
 public:
  // The kept elements first, then every member exactly.
  bool operator==(const MBaseplateParameters& other) const;
  bool operator!=(const MBaseplateParameters& other) const { return !(*this == other); }
  void VisitFields(TalAM::FieldVisit& visit) const;

  bool m_enabled = false;
  BaseplateMethod m_method = BaseplateMethod::Contour;
  std::int32_t m_thickness = 20000;
  std::int32_t m_offset = 20000;
  bool m_liftEdgesEnabled = false;
  std::int32_t m_liftHeight = 20000;
  bool m_perforationsEnabled = false;
  std::int32_t m_perforationsSize = 20000;
  std::int32_t m_perforationsSpacing = 20000;
};

class TALSDK_MACHINES_EXPORT MSaxBaseplateParametersReaderHelper : public ISAXPersistHelper {
 public:
  explicit MSaxBaseplateParametersReaderHelper(MBaseplateParameters& parameters);
  // "Method" reads "BoundingBox" as such and any other text as Contour, kept for
  // compatibility with existing machine files.
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // The defaults, keeping the operating mode.
  void SetDefaults() override;

 private:
  MBaseplateParameters& m_parameters;
};

class TALSDK_MACHINES_EXPORT MSaxBaseplateParametersWriter : public ISAXPersist {
 public:
  explicit MSaxBaseplateParametersWriter(const MBaseplateParameters& parameters);
  // "Method" is written "BoundingBox" for 1 and "Contour" for any other value.
  bool Write(TalSAX::ISAXWriter& writer) const override;

 private:
  const MBaseplateParameters& m_parameters;
};
