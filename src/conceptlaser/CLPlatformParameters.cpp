#include <TalSDK/conceptlaser/CLPlatformParameters.h>

#include <TalSDK/sdk/common/Units.h>
#include "conceptlaser/CLFields.h"

namespace {

using namespace TalAM::Persistence;
using namespace TalAM::Persistence::ConceptLaser;
using Q = MCLQuadrantParameters;
using S = MCLSliceParameters;
using T = MCLTracingParameters;
using P = MCLPlatformParameters;

// Quadrant and slice sets write every tag and succeed whatever the tags gave.
constexpr auto kQuadrantFields =
    Describe<Q>(Value("QuadrantsEnabled", &Q::m_enabled).WriteResultIgnored(),
                ClLength("QuadrantSizeX", &Q::m_sizeX).WriteResultIgnored(),
                ClLength("QuadrantSizeY", &Q::m_sizeY).WriteResultIgnored(),
                ClLength("QuadrantOverlapX", &Q::m_overlapX).WriteResultIgnored(),
                ClLength("QuadrantOverlapY", &Q::m_overlapY).WriteResultIgnored());

constexpr auto kSliceFields =
    Describe<S>(ClLength("Thickness", &S::m_thickness).WriteResultIgnored(),
                ClLength("ThicknessFine", &S::m_thicknessFine).WriteResultIgnored());

constexpr auto kTracingFields =
    Describe<T>(Value("TracingEnabled", &T::m_enabled), Value("TraceFileName", &T::m_traceFileName),
                Value("AddAllSlices", &T::m_addAllSlices));

// The size is written as "PlatformX/Y/Z"; the minimum is not part of the file.
constexpr auto kPlatformValues = Describe<P>(
    Value("BuildReference", &P::m_buildID), Value("MachineID", &P::m_machineID),
    ClLengthElement("PlatformX", &P::m_size, 0), ClLengthElement("PlatformY", &P::m_size, 1),
    ClLengthElement("PlatformZ", &P::m_size, 2), Value("PowderDoseFactor", &P::m_powderDoseFactor),
    Value("PreprocessSlices", &P::m_preprocessSlices),
    Value("ScanOptimization", &P::m_scanOptimization),
    Value("ScanOptimizationSupport", &P::m_scanOptimizationSupport));

constexpr auto kPlatformContainers =
    Describe<P>(Child("PlatformProcessParameters", &P::m_postProcess),
                Child("QuadrantParameters", &P::m_quadrant));

}  // namespace

// ---------------------------------------------------------------------------------------------

MCLQuadrantParameters::MCLQuadrantParameters()
    : m_sizeX(50 * MUnit::GetIE()),
      m_sizeY(50 * MUnit::GetIE()),
      m_overlapX(1 * MUnit::GetIE()),
      m_overlapY(1 * MUnit::GetIE()) {}

MCLQuadrantParameters::~MCLQuadrantParameters() = default;

bool MCLQuadrantParameters::operator==(const MCLQuadrantParameters& other) const {
  return kQuadrantFields.EqualFields(*this, other);
}

void MCLQuadrantParameters::Set(int sizeX, int sizeY, int overlapX, int overlapY) {
  m_sizeX = sizeX;
  m_sizeY = sizeY;
  m_overlapX = overlapX;
  m_overlapY = overlapY;
}

bool MCLQuadrantParameters::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  return kQuadrantFields.HandleTag(tagName, *this, reader);
}

bool MCLQuadrantParameters::Write(TalSAX::ISAXWriter& writer) const {
  kQuadrantFields.WriteFields(*this, writer);
  WriteKept(*this, writer);
  return true;
}

void MCLQuadrantParameters::VisitFields(TalAM::FieldVisit& visit) const {
  kQuadrantFields.Visit(*this, visit);
}

// ---------------------------------------------------------------------------------------------

MCLSliceParameters::~MCLSliceParameters() = default;

bool MCLSliceParameters::operator==(const MCLSliceParameters& other) const {
  return kSliceFields.EqualFields(*this, other);
}

bool MCLSliceParameters::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  return kSliceFields.HandleTag(tagName, *this, reader);
}

bool MCLSliceParameters::Write(TalSAX::ISAXWriter& writer) const {
  kSliceFields.WriteFields(*this, writer);
  WriteKept(*this, writer);
  return true;
}

void MCLSliceParameters::VisitFields(TalAM::FieldVisit& visit) const {
  kSliceFields.Visit(*this, visit);
}

// ---------------------------------------------------------------------------------------------

MCLTracingParameters::~MCLTracingParameters() = default;

bool MCLTracingParameters::operator==(const MCLTracingParameters& other) const {
  return kTracingFields.EqualFields(*this, other);
}

bool MCLTracingParameters::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  return kTracingFields.HandleTag(tagName, *this, reader);
}

bool MCLTracingParameters::Write(TalSAX::ISAXWriter& writer) const {
  const bool fields = kTracingFields.WriteEveryField(*this, writer);
  return WriteKept(*this, writer) && fields;
}

void MCLTracingParameters::VisitFields(TalAM::FieldVisit& visit) const {
  kTracingFields.Visit(*this, visit);
}

// ---------------------------------------------------------------------------------------------

MCLPlatformParameters::~MCLPlatformParameters() = default;

bool MCLPlatformParameters::operator==(const MCLPlatformParameters& other) const {
  return kPlatformValues.EqualFields(*this, other) &&
         kPlatformContainers.EqualFields(*this, other) && m_min[0] == other.m_min[0] &&
         m_min[1] == other.m_min[1] && m_min[2] == other.m_min[2];
}

bool MCLPlatformParameters::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  if (const std::optional<bool> result = kPlatformValues.Read(tagName, *this, reader)) {
    return *result;
  }
  return kPlatformContainers.HandleTag(tagName, *this, reader);
}

bool MCLPlatformParameters::Write(TalSAX::ISAXWriter& writer) const {
  const bool values = kPlatformValues.WriteFields(*this, writer);
  const bool containers = kPlatformContainers.WriteEveryField(*this, writer);
  return WriteKept(*this, writer) && values && containers;
}

MCLPlatformParameters::NodeList MCLPlatformParameters::GetExtensibleObjectNodes() const {
  return kPlatformContainers.Nodes(*this);
}

void MCLPlatformParameters::VisitFields(TalAM::FieldVisit& visit) const {
  kPlatformValues.Visit(*this, visit);
  kPlatformContainers.Visit(*this, visit);
}
