#include <TalSDK/buildtime/BuildTimeCalculation.h>

#include <cmath>

#include <TalSDK/sdk/common/Units.h>

#include "buildtime/BuildTimeTexts.h"
#include "persistence/Description.h"

namespace {

using namespace TalAM::Persistence;
using Resin = MACHINE_EN_RESIN_PARAMETERS;
using Part = PART_PARAMETERS;
using Recoat = RECOAT_PARAMETERS;
using Params = BUILD_TIME_PARAMETERS;
using Plateau = PLATEAU_DATA;
using Learning = SELF_LEARNING_PARAMETERS;
using Calculation = BUILD_TIME_CALCULATIE;

// `factor` millimetres in internal units, as a float.
float Internal(double factor) {
  return static_cast<float>(factor * MUnit::GetIE());
}

constexpr auto kResinFields = Describe<Resin>(
    Value("Ec", &Resin::m_ec), Value("Dp", &Resin::m_dp), Value("LaserPower", &Resin::m_laserPower),
    Value("AskLaserPowerDuringEstimation", &Resin::m_askLaserPowerDuringEstimation),
    Value("LaserDiameter", &Resin::m_laserDiameter),
    Value("RecoatTimeNoSweep", &Resin::m_recoatTimeNoSweep),
    Value("RecoatTimeOneSweep", &Resin::m_recoatTimeOneSweep),
    Value("RecoatTimeThreeSweeps", &Resin::m_recoatTimeThreeSweeps));

constexpr auto kPartFields = Describe<Part>(
    Value("BorderScanSpeed", &Part::m_borderScanSpeed),
    Value("HatchScanSpeed", &Part::m_hatchScanSpeed), Value("BorderOC", &Part::m_borderOC),
    Value("HatchOC", &Part::m_hatchOC), Value("HatchDistance", &Part::m_hatchDistance),
    Value("LayerThickness", &Part::m_layerThickness), Value("RecoatTime", &Part::m_recoatTime));

// Each range's sweep count is written before its end.
constexpr auto kRecoatFields =
    Describe<Recoat>(Value("NumberOfSweepsRange1", &Recoat::m_numberOfSweepsRange1),
                     Value("EndRange1", &Recoat::m_endRange1),
                     Value("NumberOfSweepsRange2", &Recoat::m_numberOfSweepsRange2),
                     Value("EndRange2", &Recoat::m_endRange2),
                     Value("NumberOfSweepsRange3", &Recoat::m_numberOfSweepsRange3),
                     Value("EndRange3", &Recoat::m_endRange3));

// "SupportHeight" is written before the recoat parameters, unlike its place among the members.
constexpr auto kParamsFields =
    Describe<Params>(Child("MachineAndResinParameters", &Params::m_machineAndResinParameters),
                     Child("PartParameters", &Params::m_partParameters),
                     Child("SupportParameters", &Params::m_supportParameters),
                     Value("SupportHeight", &Params::m_supportHeight),
                     Child("RecoatParameters", &Params::m_recoatParameters));

constexpr auto kPlateauFields = Describe<Plateau>(
    Value("Filename", &Plateau::m_filename), Value("Volume", &Plateau::m_volume),
    Value("SupportVolume", &Plateau::m_supportVolume),
    Value("MantleSurface", &Plateau::m_mantleSurface), Value("XYSurface", &Plateau::m_xySurface),
    Value("Height", &Plateau::m_height), Value("LaserPower", &Plateau::m_laserPower),
    Value("RealTime", &Plateau::m_realTime), Value("DeltaX", &Plateau::m_deltaX),
    Value("DeltaY", &Plateau::m_deltaY), Value("DeltaZ", &Plateau::m_deltaZ),
    Value("NumberOfStls", &Plateau::m_numberOfStls), Value("XMinimum", &Plateau::m_xMinimum),
    Value("YMinimum", &Plateau::m_yMinimum), Value("ZMinimum", &Plateau::m_zMinimum),
    Value("EstimatedTime", &Plateau::m_estimatedTime),
    Value("AbsoluteError", &Plateau::m_absoluteError),
    Value("RelativeError", &Plateau::m_relativeError), Value("AddingDate", &Plateau::m_addingDate),
    Value("Author", &Plateau::m_author));

// The reference builds come last in the file. "PlateauDataList" does not empty the list, and a
// "PlateauData" outside it is accepted without making a record.
constexpr auto kLearningFields = Describe<Learning>(
    Value("LaserBased", &Learning::m_laserBased), Value("FixedTimeUse", &Learning::m_fixedTimeUse),
    Value("FixedTimeLaser", &Learning::m_fixedTimeLaser),
    Value("VolumeUse", &Learning::m_volumeUse), Value("VolumeLaser", &Learning::m_volumeLaser),
    Value("ProjectAreaUse", &Learning::m_projectAreaUse),
    Value("ProjectAreaLaser", &Learning::m_projectAreaLaser),
    Value("ZProjectAreaUse", &Learning::m_zProjectAreaUse),
    Value("ZProjectAreaLaser", &Learning::m_zProjectAreaLaser),
    Value("SurfaceUse", &Learning::m_surfaceUse), Value("SurfaceLaser", &Learning::m_surfaceLaser),
    Value("SupportVolumeUse", &Learning::m_supportVolumeUse),
    Value("SupportVolumeLaser", &Learning::m_supportVolumeLaser),
    Value("ZMinimumUse", &Learning::m_zMinimumUse),
    Value("ZMinimumLaser", &Learning::m_zMinimumLaser), Value("DeltaXUse", &Learning::m_deltaXUse),
    Value("DeltaXLaser", &Learning::m_deltaXLaser), Value("DeltaYUse", &Learning::m_deltaYUse),
    Value("DeltaYLaser", &Learning::m_deltaYLaser), Value("DeltaZUse", &Learning::m_deltaZUse),
    Value("DeltaZLaser", &Learning::m_deltaZLaser),
    List("PlateauDataList", &Learning::m_plateauDataList,
         {.itemTag = "PlateauData", .outside = ItemOutsideWrapper::Ignored}));

// A type outside 0 to 3 fails the write before anything is written.
constexpr auto kCalculationFields =
    Describe<Calculation>(Enum("Type", &Calculation::m_type, UnknownText::Refused,
                               ValueWithoutText::FailsWrite, BuildTimeEstimationType::None),
                          Child("BuildTimeParameters", &Calculation::m_buildTimeParameters),
                          Child("SelfLearningParameters", &Calculation::m_selfLearningParameters));

}  // namespace

MACHINE_EN_RESIN_PARAMETERS::MACHINE_EN_RESIN_PARAMETERS() : m_laserDiameter(Internal(0.2)) {}
TALAM_DESCRIBED_BLOCK(MACHINE_EN_RESIN_PARAMETERS, kResinFields)
void MACHINE_EN_RESIN_PARAMETERS::SetDefaults() {
  kResinFields.SetDefaults(*this);
}

PART_PARAMETERS::PART_PARAMETERS()
    : m_borderOC(Internal(0.03)),
      m_hatchOC(Internal(-0.02)),
      m_hatchDistance(Internal(4.0)),
      m_layerThickness(Internal(MUnit::GetISU() == MUnit::GetIE() ? 0.25 : 0.254)) {}
TALAM_DESCRIBED_BLOCK(PART_PARAMETERS, kPartFields)
void PART_PARAMETERS::SetDefaults() {
  kPartFields.SetDefaults(*this);
}

RECOAT_PARAMETERS::RECOAT_PARAMETERS()
    : m_endRange1(Internal(10.0)), m_endRange2(Internal(500.0)), m_endRange3(Internal(1000.0)) {}
TALAM_DESCRIBED_BLOCK(RECOAT_PARAMETERS, kRecoatFields)
void RECOAT_PARAMETERS::SetDefaults() {
  kRecoatFields.SetDefaults(*this);
}

TALAM_DESCRIBED_BLOCK(BUILD_TIME_PARAMETERS, kParamsFields)
// Clears only this block's kept elements: its values and members stay, kept for compatibility
// with the application's estimator.
void BUILD_TIME_PARAMETERS::SetDefaults() {
  ClearUnhandledElements();
}
BUILD_TIME_PARAMETERS::NodeList BUILD_TIME_PARAMETERS::GetExtensibleObjectNodes() const {
  return kParamsFields.Nodes(*this);
}

float BUILD_TIME_PARAMETERS::SCAN_SNELHEID(float cureDepth) const {
  const MACHINE_EN_RESIN_PARAMETERS& resin = m_machineAndResinParameters;
  const int ie = MUnit::GetIE();
  double numerator = static_cast<double>(resin.m_laserPower) * 0.79788;
  const float radius = static_cast<float>(static_cast<double>(resin.m_laserDiameter) / (2.0 * ie));
  numerator = numerator / radius;
  const float exposure = std::exp(cureDepth / resin.m_dp) * resin.m_ec;
  return static_cast<float>(numerator / exposure);
}

TALAM_DESCRIBED_BLOCK(PLATEAU_DATA, kPlateauFields)
void PLATEAU_DATA::SetDefaults() {
  kPlateauFields.SetDefaults(*this);
}

SELF_LEARNING_PARAMETERS::SELF_LEARNING_PARAMETERS(const SELF_LEARNING_PARAMETERS& other)
    : ISAXReference(other), ISAXPersist(other), MSaxPersistExtensibleObject(other) {
  _Copy(other);
}

SELF_LEARNING_PARAMETERS& SELF_LEARNING_PARAMETERS::operator=(
    const SELF_LEARNING_PARAMETERS& other) {
  if (this != &other) {
    ISAXPersist::operator=(other);
    MSaxPersistExtensibleObject::operator=(other);
    _Copy(other);
  }
  return *this;
}

// The reference builds deeply, then every switch.
void SELF_LEARNING_PARAMETERS::_Copy(const SELF_LEARNING_PARAMETERS& other) {
  m_plateauDataList = other.m_plateauDataList;
  m_laserBased = other.m_laserBased;
  m_fixedTimeUse = other.m_fixedTimeUse;
  m_fixedTimeLaser = other.m_fixedTimeLaser;
  m_volumeUse = other.m_volumeUse;
  m_volumeLaser = other.m_volumeLaser;
  m_projectAreaUse = other.m_projectAreaUse;
  m_projectAreaLaser = other.m_projectAreaLaser;
  m_zProjectAreaUse = other.m_zProjectAreaUse;
  m_zProjectAreaLaser = other.m_zProjectAreaLaser;
  m_surfaceUse = other.m_surfaceUse;
  m_surfaceLaser = other.m_surfaceLaser;
  m_supportVolumeUse = other.m_supportVolumeUse;
  m_supportVolumeLaser = other.m_supportVolumeLaser;
  m_zMinimumUse = other.m_zMinimumUse;
  m_zMinimumLaser = other.m_zMinimumLaser;
  m_deltaXUse = other.m_deltaXUse;
  m_deltaXLaser = other.m_deltaXLaser;
  m_deltaYUse = other.m_deltaYUse;
  m_deltaYLaser = other.m_deltaYLaser;
  m_deltaZUse = other.m_deltaZUse;
  m_deltaZLaser = other.m_deltaZLaser;
}

TALAM_DESCRIBED_BLOCK(SELF_LEARNING_PARAMETERS, kLearningFields)
void SELF_LEARNING_PARAMETERS::SetDefaults() {
  kLearningFields.SetDefaults(*this);
}
SELF_LEARNING_PARAMETERS::NodeList SELF_LEARNING_PARAMETERS::GetExtensibleObjectNodes() const {
  return kLearningFields.Nodes(*this);
}

// "ZMinimumUse" is read, written and compared like the others but does not count.
unsigned int SELF_LEARNING_PARAMETERS::NumParametersUsed() const {
  const bool used[] = {m_fixedTimeUse,    m_volumeUse,  m_projectAreaUse,
                       m_zProjectAreaUse, m_surfaceUse, m_supportVolumeUse,
                       m_deltaXUse,       m_deltaYUse,  m_deltaZUse};
  unsigned int count = 0;
  for (const bool on : used)
    count += on ? 1 : 0;
  return count;
}

TALAM_DESCRIBED_BLOCK(BUILD_TIME_CALCULATIE, kCalculationFields)
// Resets the whole tree below it.
void BUILD_TIME_CALCULATIE::SetDefaults() {
  kCalculationFields.SetDefaults(*this);
}
BUILD_TIME_CALCULATIE::NodeList BUILD_TIME_CALCULATIE::GetExtensibleObjectNodes() const {
  return kCalculationFields.Nodes(*this);
}
