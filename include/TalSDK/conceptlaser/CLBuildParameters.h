#pragma once
// Laser settings of a Concept Laser machine: one MCLBuildParameters per kind of scan vector,
// seven of them in an MCLScanningParameters. Laser values are plain integers in the machine's
// own units; nothing converts them.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

// The kinds of scan vector, as indices into MCLScanningParameters.
enum eCLVectorType : std::int32_t {
  eCLVectorBorder = 0,
  eCLVectorHatching = 1,
  eCLVectorUpHatching = 2,
  eCLVectorDownHatching = 3,
  eCLVectorSupport = 4,
  eCLVectorPoints = 5,
  eCLVectorInnerContours = 6,
};

// The laser settings of one kind of scan vector. Public data, no accessors.
class TALSDK_MACHINES_EXPORT MCLBuildParameters : public ISAXPersist,
                                                  public TalSDK::MSaxPersistExtensibleObject {
 public:
  MCLBuildParameters() = default;
  MCLBuildParameters(const MCLBuildParameters&) = default;
  MCLBuildParameters& operator=(const MCLBuildParameters&) = default;
  ~MCLBuildParameters() override;

  // The twelve values; kept elements are not compared.
  bool operator==(const MCLBuildParameters& other) const;
  bool operator!=(const MCLBuildParameters& other) const { return !(*this == other); }

  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // Stops at the first value that cannot be written and returns false.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  std::int32_t m_laserPower = 100;
  std::int32_t m_laserFocus = 50;
  std::int32_t m_laserSpeed = 600;
  std::int32_t m_laserExposureTime = 300;
  std::int32_t m_laserOnDelay = 80;
  std::int32_t m_laserOffDelay = 300;
  std::int32_t m_laserMarkDelay = 0;
  std::int32_t m_laserPolygonDelay = 0;
  std::int32_t m_laserJumpDelay = 0;
  std::int32_t m_laserJumpDelayMin = 500;
  std::int32_t m_laserJumpDelayMax = 1000;
  std::int32_t m_laserSaturationTime = 5;
};

// The laser settings of all seven kinds of scan vector, indexed by eCLVectorType.
class TALSDK_MACHINES_EXPORT MCLScanningParameters : public ISAXPersist,
                                                     public TalSDK::MSaxPersistExtensibleObject {
 public:
  static constexpr std::size_t kVectorTypes = 7;

  MCLScanningParameters() = default;
  MCLScanningParameters(const MCLScanningParameters&) = default;
  MCLScanningParameters& operator=(const MCLScanningParameters&) = default;
  ~MCLScanningParameters() override;

  // All seven laser sets; kept elements are not compared.
  bool operator==(const MCLScanningParameters& other) const;
  bool operator!=(const MCLScanningParameters& other) const { return !(*this == other); }

  MCLBuildParameters& GetBorderBuildParameters() { return m_buildParameters[eCLVectorBorder]; }
  MCLBuildParameters& GetHatchingBuildParameters() { return m_buildParameters[eCLVectorHatching]; }
  MCLBuildParameters& GetSupportBuildParameters() { return m_buildParameters[eCLVectorSupport]; }
  MCLBuildParameters& GetPointsBuildParameters() { return m_buildParameters[eCLVectorPoints]; }
  MCLBuildParameters& GetInnerContourBuildParameters() {
    return m_buildParameters[eCLVectorInnerContours];
  }
  // The set of `type`; the index is not checked.
  const MCLBuildParameters& GetBuildParametersOfType(const eCLVectorType& type) const {
    return m_buildParameters[static_cast<std::size_t>(type)];
  }

  // Each of the seven containers delegates to its laser set; other tags are kept.
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // At the end of "BorderProcessParameters" the border set is copied into the inner-contour,
  // points and support sets. Files that lack those three containers get the border values;
  // files that have them overwrite the copy, as they come after the border.
  void HandleEndTag(std::string_view tagName) override;
  // The seven containers in file order (border, hatching, up, down, inner contours, support,
  // points), every one of them; true when all were written.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  NodeList GetExtensibleObjectNodes() const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  // The container tag of each kind, in index order.
  static std::string_view ContainerTag(eCLVectorType type);

  std::array<MCLBuildParameters, kVectorTypes> m_buildParameters;
};
