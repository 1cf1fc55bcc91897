#pragma once
// The build-time estimation block of a machine ("BuildTimeCalculation"): which method the
// application estimates with, the working-curve parameters of a stereolithography machine and
// its resin, and the settings and reference builds of a self-learning estimator. The block
// computes the scan speed of the working curve; the estimation itself is the application's.
// Lengths marked "internal units" are multiples of MUnit::GetIE() taken at construction.

#include <cstdint>
#include <string>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/buildtime/SList.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

// Written as the enumerator's name.
enum class BuildTimeEstimationType : std::int32_t {
  SlaParameters = 0,  // from the machine and resin parameters
  DrawingSpeed = 1,
  SelfLearning = 2,  // from the reference builds
  None = 3,
};

// A declaration of the persist operations every build-time class has.
#define TALSDK_BUILD_TIME_PERSISTENCE(Class)                                       \
  bool operator==(const Class& other) const;                                       \
  bool operator!=(const Class& other) const {                                      \
    return !(*this == other);                                                      \
  }                                                                                \
  void SetDefaults() override;                                                     \
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override; \
  bool Write(TalSAX::ISAXWriter& writer) const override;                           \
  void VisitFields(TalAM::FieldVisit& visit) const;

class TALSDK_MACHINES_EXPORT MACHINE_EN_RESIN_PARAMETERS
    : public ISAXPersist,
      public TalSDK::MSaxPersistExtensibleObject {
 public:
  MACHINE_EN_RESIN_PARAMETERS();
  TALSDK_BUILD_TIME_PERSISTENCE(MACHINE_EN_RESIN_PARAMETERS)

  float m_ec = 0.095f;   // critical exposure of the resin
  float m_dp = 0.1651f;  // penetration depth of the resin
  float m_laserPower = 20.0f;
  bool m_askLaserPowerDuringEstimation = true;
  float m_laserDiameter;  // internal units, 0.2 mm
  float m_recoatTimeNoSweep = 25.0f;
  float m_recoatTimeOneSweep = 35.0f;
  float m_recoatTimeThreeSweeps = 45.0f;
};

class TALSDK_MACHINES_EXPORT PART_PARAMETERS : public ISAXPersist,
                                               public TalSDK::MSaxPersistExtensibleObject {
 public:
  // The layer thickness is a quarter millimetre when the user unit is the internal unit,
  // otherwise ten thousandths of an inch (0.254 mm).
  PART_PARAMETERS();
  TALSDK_BUILD_TIME_PERSISTENCE(PART_PARAMETERS)

  float m_borderScanSpeed = 500.0f;
  float m_hatchScanSpeed = 500.0f;
  float m_borderOC;        // internal units, 0.03 mm
  float m_hatchOC;         // internal units, -0.02 mm
  float m_hatchDistance;   // internal units, 4 mm
  float m_layerThickness;  // internal units
  float m_recoatTime = 25.0f;
};

class TALSDK_MACHINES_EXPORT RECOAT_PARAMETERS : public ISAXPersist,
                                                 public TalSDK::MSaxPersistExtensibleObject {
 public:
  RECOAT_PARAMETERS();
  TALSDK_BUILD_TIME_PERSISTENCE(RECOAT_PARAMETERS)

  std::uint16_t m_numberOfSweepsRange1 = 0;
  std::uint16_t m_numberOfSweepsRange2 = 1;
  std::uint16_t m_numberOfSweepsRange3 = 1;
  float m_endRange1;  // internal units, 10 mm
  float m_endRange2;  // internal units, 500 mm
  float m_endRange3;  // internal units, 1000 mm
};

class TALSDK_MACHINES_EXPORT BUILD_TIME_PARAMETERS : public ISAXPersist,
                                                     public TalSDK::MSaxPersistExtensibleObject {
 public:
  TALSDK_BUILD_TIME_PERSISTENCE(BUILD_TIME_PARAMETERS)
  // This block, then its four members.
  NodeList GetExtensibleObjectNodes() const override;

  // The scan speed that cures the resin to `cureDepth` (the working curve of
  // stereolithography). No guard: a zero Dp, diameter or Ec gives what the arithmetic gives.
  float SCAN_SNELHEID(float cureDepth) const;

  MACHINE_EN_RESIN_PARAMETERS m_machineAndResinParameters;
  PART_PARAMETERS m_partParameters;
  PART_PARAMETERS m_supportParameters;
  RECOAT_PARAMETERS m_recoatParameters;
  float m_supportHeight = 0.0f;
};

// One measured reference build.
class TALSDK_MACHINES_EXPORT PLATEAU_DATA : public ISAXPersist,
                                            public TalSDK::MSaxPersistExtensibleObject {
 public:
  TALSDK_BUILD_TIME_PERSISTENCE(PLATEAU_DATA)

  std::wstring m_filename;
  double m_volume = 0.0;
  double m_supportVolume = 0.0;
  double m_mantleSurface = 0.0;
  double m_xySurface = 0.0;
  double m_height = 0.0;
  double m_laserPower = 0.0;
  double m_realTime = 0.0;  // the measured build time
  double m_deltaX = 0.0;
  double m_deltaY = 0.0;
  double m_deltaZ = 0.0;
  double m_numberOfStls = 0.0;
  double m_xMinimum = 0.0;
  double m_yMinimum = 0.0;
  double m_zMinimum = 0.0;
  double m_estimatedTime = 0.0;
  double m_absoluteError = 0.0;
  double m_relativeError = 0.0;
  std::wstring m_addingDate;
  std::wstring m_author;
};

class TALSDK_MACHINES_EXPORT SELF_LEARNING_PARAMETERS : public ISAXPersist,
                                                        public TalSDK::MSaxPersistExtensibleObject {
 public:
  SELF_LEARNING_PARAMETERS() = default;
  SELF_LEARNING_PARAMETERS(const SELF_LEARNING_PARAMETERS& other);
  SELF_LEARNING_PARAMETERS& operator=(const SELF_LEARNING_PARAMETERS& other);
  TALSDK_BUILD_TIME_PERSISTENCE(SELF_LEARNING_PARAMETERS)
  // This block, then every reference build in order.
  NodeList GetExtensibleObjectNodes() const override;

  // How many quantities enter the estimate: the Use switches that are on, "ZMinimumUse" not
  // counted (0 to 9).
  unsigned int NumParametersUsed() const;

  S_LIST<PLATEAU_DATA> m_plateauDataList;  // "PlateauDataList", in file order
  std::uint16_t m_laserBased = 1;
  bool m_fixedTimeUse = false;
  bool m_fixedTimeLaser = false;
  bool m_volumeUse = true;
  bool m_volumeLaser = true;
  bool m_projectAreaUse = true;
  bool m_projectAreaLaser = true;
  bool m_zProjectAreaUse = true;
  bool m_zProjectAreaLaser = true;
  bool m_surfaceUse = false;
  bool m_surfaceLaser = false;
  bool m_supportVolumeUse = true;
  bool m_supportVolumeLaser = true;
  bool m_zMinimumUse = false;
  bool m_zMinimumLaser = false;
  bool m_deltaXUse = false;
  bool m_deltaXLaser = false;
  bool m_deltaYUse = false;
  bool m_deltaYLaser = false;
  bool m_deltaZUse = true;
  bool m_deltaZLaser = false;

 private:
  void _Copy(const SELF_LEARNING_PARAMETERS& other);
};

class TALSDK_MACHINES_EXPORT BUILD_TIME_CALCULATIE : public ISAXPersist,
                                                     public TalSDK::MSaxPersistExtensibleObject {
 public:
  TALSDK_BUILD_TIME_PERSISTENCE(BUILD_TIME_CALCULATIE)
  // This block, then the build-time and self-learning parameters.
  NodeList GetExtensibleObjectNodes() const override;

  BuildTimeEstimationType m_type = BuildTimeEstimationType::None;
  BUILD_TIME_PARAMETERS m_buildTimeParameters;
  SELF_LEARNING_PARAMETERS m_selfLearningParameters;
};

#undef TALSDK_BUILD_TIME_PERSISTENCE
