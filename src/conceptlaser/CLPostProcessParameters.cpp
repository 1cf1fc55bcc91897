#include <TalSDK/conceptlaser/CLPostProcessParameters.h>

#include <cmath>

#include <TalSDK/sdk/common/Units.h>
#include "conceptlaser/CLFields.h"

namespace {

using namespace TalAM::Persistence;
using namespace TalAM::Persistence::ConceptLaser;
using H = MCLHatchingParameters;
using I = MCLIslandParameters;
using P = MCLPostProcessParameters;

// "MeandersEnabled" is written from the meandering switch but read into the hatching switch,
// kept for compatibility with existing parameter files.
constexpr auto kMeandersEnabled = Custom<H>(
    "MeandersEnabled",
    [](H& h, TalSAX::ISAXReader& reader) { return reader.ReadValue(h.m_enabled); },
    [](const H& h, TalSAX::ISAXWriter& writer, std::string_view tag) {
      return TalAM::WriteValueTag(writer, tag, h.m_meanderingEnabled);
    },
    [](const H& a, const H& b) { return a.m_meanderingEnabled == b.m_meanderingEnabled; },
    [](const H& h) { return ValueText(h.m_meanderingEnabled); }, TalAM::FieldKind::Bool);

// Older files say whether the hatch direction alternates: true turns it by 90 degrees each
// layer. Accepted whatever it holds.
bool ReadHatchingAlternated(H& h, TalSAX::ISAXReader& reader) {
  bool alternated = false;
  if (reader.ReadValue(alternated) && alternated) h.m_turningAngle = 90.0;
  return true;
}

// "Meanders" is a wrapper whose children come back to the hatching set; the retract takes no
// part in equality.
constexpr auto kHatchingFields = Describe<H>(
    Value("HatchingEnabled", &H::m_enabled), ClLength("HatchingDistance", &H::m_distance),
    ClLength("HatchingOffset", &H::m_offset),
    ClLength("HatchingRetract", &H::m_retract).NotCompared(),
    Value("HatchingInitialAngle", &H::m_initialAngle),
    Value("HatchingTurningAngle", &H::m_turningAngle),
    Group<H>("Meanders", kMeandersEnabled, Value("MeandersFactor", &H::m_meanderingFactor)),
    ReadOnly<H>("HatchingAlternated", ReadHatchingAlternated));

// "IslandsOrientation" is read into a temporary that starts at 0.0 and stored whatever the
// read gave, kept for compatibility with existing parameter files.
constexpr auto kIslandOrientation = Custom<I>(
    "IslandsOrientation",
    [](I& island, TalSAX::ISAXReader& reader) {
      double orientation = 0.0;
      reader.ReadValue(orientation);
      island.m_orientation = orientation;
      return true;
    },
    [](const I& island, TalSAX::ISAXWriter& writer, std::string_view tag) {
      return TalAM::WriteValueTag(writer, tag, island.m_orientation);
    },
    [](const I& a, const I& b) { return a.m_orientation == b.m_orientation; },
    [](const I& island) { return ValueText(island.m_orientation); }, TalAM::FieldKind::Double);

// Type, orientation increment, slice rotation angles, overlap gaps and the small-area filter
// are not part of the file.
constexpr auto kIslandFields =
    Describe<I>(Value("IslandsEnabled", &I::m_enabled), ClLength("IslandsSizeX", &I::m_sizeX),
                ClLength("IslandsSizeY", &I::m_sizeY), ClLength("IslandsSizeEdge", &I::m_sizeEdge),
                ClLength("IslandsShiftX", &I::m_shiftX), ClLength("IslandsShiftY", &I::m_shiftY),
                ClLength("InterIslandGap", &I::m_interIslandGap), kIslandOrientation);

// The lower-case "o" of the two interval tags is part of the format.
constexpr auto kPostProcessValues = Describe<P>(
    ClLength("SkinWidth", &P::m_skinWidth), ClLength("BeamCompensation", &P::m_beamCompensation),
    Value("InsideOffsetCount", &P::m_insideOffsetCount),
    ClLength("InsideoffsetInterval", &P::m_insideOffsetInterval),
    Value("OutsideOffsetCount", &P::m_outsideOffsetCount),
    ClLength("OutsideoffsetInterval", &P::m_outsideOffsetInterval),
    ClLength("DataMinValueX", &P::m_dataMinValueX), ClLength("DataMinValueY", &P::m_dataMinValueY),
    ClLength("DataMinValueZ", &P::m_dataMinValueZ), ClLength("DataMaxValueX", &P::m_dataMaxValueX),
    ClLength("DataMaxValueY", &P::m_dataMaxValueY), ClLength("DataMaxValueZ", &P::m_dataMaxValueZ));

constexpr auto kPostProcessContainers = Describe<P>(Child("IslandParameters", &P::m_island),
                                                    Child("HatchingParameters", &P::m_hatching));

// Fills an empty cache with `count` multiples of `interval`; 32-bit results wrap.
void FillOffsets(std::vector<std::int32_t>& cache, std::uint32_t count, std::int32_t interval) {
  if (!cache.empty() || count == 0) return;
  cache.resize(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    cache[i] = static_cast<std::int32_t>(static_cast<std::int64_t>(i + 1) * interval);
  }
}

}  // namespace

// ---------------------------------------------------------------------------------------------

MCLHatchingParameters::~MCLHatchingParameters() = default;

bool MCLHatchingParameters::operator==(const MCLHatchingParameters& other) const {
  return kHatchingFields.EqualFields(*this, other);
}

bool MCLHatchingParameters::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  return kHatchingFields.HandleTag(tagName, *this, reader);
}

bool MCLHatchingParameters::Write(TalSAX::ISAXWriter& writer) const {
  const bool fields = kHatchingFields.WriteEveryField(*this, writer);
  return WriteKept(*this, writer) && fields;
}

void MCLHatchingParameters::VisitFields(TalAM::FieldVisit& visit) const {
  kHatchingFields.Visit(*this, visit);
}

// ---------------------------------------------------------------------------------------------

MCLIslandParameters::MCLIslandParameters()
    : m_sizeX(static_cast<std::int32_t>(5.0 * MUnit::GetIE())),
      m_sizeY(static_cast<std::int32_t>(5.0 * MUnit::GetIE())),
      m_sizeEdge(static_cast<std::int32_t>(3.0 * MUnit::GetIE())) {}

MCLIslandParameters::~MCLIslandParameters() = default;

bool MCLIslandParameters::operator==(const MCLIslandParameters& other) const {
  return kIslandFields.EqualFields(*this, other) && m_type == other.m_type &&
         m_orientationIncrement == other.m_orientationIncrement;
}

void MCLIslandParameters::Set(MType type, long a, long b) {
  m_type = type;
  switch (type) {
    case eRectangular:
    case eRectangularAlternate:
      m_sizeEdge = static_cast<std::int32_t>(a);
      m_sizeX = static_cast<std::int32_t>(a);
      m_sizeY = static_cast<std::int32_t>(b);
      break;
    case eHexagonal:
      m_sizeEdge = static_cast<std::int32_t>(a);
      m_sizeX = static_cast<std::int32_t>(std::sqrt(3.0) * static_cast<double>(a));
      m_sizeY = static_cast<std::int32_t>((3 * static_cast<std::int64_t>(a)) / 2);
      break;
  }
}

void MCLIslandParameters::SetShift(long x, long y) {
  switch (m_type) {
    case eRectangular:
    case eRectangularAlternate:
      m_shiftX = static_cast<std::int32_t>(x);
      m_shiftY = static_cast<std::int32_t>(y);
      break;
    case eHexagonal:
      m_shiftX = m_sizeX / 2;
      m_shiftY = static_cast<std::int32_t>((2 * static_cast<std::int64_t>(m_sizeY)) / 3);
      break;
  }
}

bool MCLIslandParameters::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  return kIslandFields.HandleTag(tagName, *this, reader);
}

bool MCLIslandParameters::Write(TalSAX::ISAXWriter& writer) const {
  const bool fields = kIslandFields.WriteEveryField(*this, writer);
  return WriteKept(*this, writer) && fields;
}

void MCLIslandParameters::VisitFields(TalAM::FieldVisit& visit) const {
  kIslandFields.Visit(*this, visit);
}

// ---------------------------------------------------------------------------------------------

MCLPostProcessParameters::~MCLPostProcessParameters() = default;

bool MCLPostProcessParameters::operator==(const MCLPostProcessParameters& other) const {
  return kPostProcessValues.EqualFields(*this, other) &&
         kPostProcessContainers.EqualFields(*this, other) && m_flagWord == other.m_flagWord;
}

void MCLPostProcessParameters::SetIncrementalInsideOffset(unsigned long count, long interval) {
  m_insideOffsetCount = static_cast<std::uint32_t>(count);
  m_insideOffsetInterval = static_cast<std::int32_t>(interval);
  UpdateIndividualOffsets();
}

void MCLPostProcessParameters::SetIncrementalOutsideOffset(unsigned long count, long interval) {
  m_outsideOffsetCount = static_cast<std::uint32_t>(count);
  m_outsideOffsetInterval = static_cast<std::int32_t>(interval);
  UpdateIndividualOffsets();
}

void MCLPostProcessParameters::UpdateIndividualOffsets() const {
  FillOffsets(m_individualInsideOffsets, m_insideOffsetCount, m_insideOffsetInterval);
  FillOffsets(m_individualOutsideOffsets, m_outsideOffsetCount, m_outsideOffsetInterval);
}

bool MCLPostProcessParameters::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  if (const std::optional<bool> result = kPostProcessValues.Read(tagName, *this, reader)) {
    return *result;
  }
  return kPostProcessContainers.HandleTag(tagName, *this, reader);
}

bool MCLPostProcessParameters::Write(TalSAX::ISAXWriter& writer) const {
  const bool values = kPostProcessValues.WriteFields(*this, writer);
  const bool containers = kPostProcessContainers.WriteEveryField(*this, writer);
  return WriteKept(*this, writer) && values && containers;
}

MCLPostProcessParameters::NodeList MCLPostProcessParameters::GetExtensibleObjectNodes() const {
  return kPostProcessContainers.Nodes(*this);
}

void MCLPostProcessParameters::VisitFields(TalAM::FieldVisit& visit) const {
  kPostProcessValues.Visit(*this, visit);
  kPostProcessContainers.Visit(*this, visit);
}
