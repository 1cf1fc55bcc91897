#include <TalSDK/conceptlaser/CLBuildParameters.h>

#include "conceptlaser/CLFields.h"

namespace {

using namespace TalAM::Persistence;
using namespace TalAM::Persistence::ConceptLaser;
using B = MCLBuildParameters;
using S = MCLScanningParameters;

// Laser values are integers without a unit.
constexpr auto kBuildFields = Describe<B>(
    Value("LaserPower", &B::m_laserPower), Value("LaserFocus", &B::m_laserFocus),
    Value("LaserSpeed", &B::m_laserSpeed), Value("LaserExposureTime", &B::m_laserExposureTime),
    Value("LaserOnDelay", &B::m_laserOnDelay), Value("LaserOffDelay", &B::m_laserOffDelay),
    Value("LaserMarkDelay", &B::m_laserMarkDelay),
    Value("LaserPolygonDelay", &B::m_laserPolygonDelay),
    Value("LaserJumpDelay", &B::m_laserJumpDelay),
    Value("LaserJumpDelayMin", &B::m_laserJumpDelayMin),
    Value("LaserJumpDelayMax", &B::m_laserJumpDelayMax),
    Value("LaserSaturationTime", &B::m_laserSaturationTime));

// One of the seven laser sets in a container element of its own.
struct BuildSetCodec {
  std::size_t index;

  bool Read(S& object, TalSAX::ISAXReader& reader) const {
    return reader.DelegateToChild(object.m_buildParameters[index]);
  }
  bool Write(const S& object, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    MSAXTagWriter container(writer, tag);
    return object.m_buildParameters[index].Write(writer);
  }
  bool Equal(const S& a, const S& b) const {
    return a.m_buildParameters[index] == b.m_buildParameters[index];
  }
  void Nodes(const S& object, NodeList& nodes) const {
    TalSDK::MSaxPersistExtensibleObjectUtilities::RecursiveInsertNodes(
        nodes, object.m_buildParameters[index]);
  }
  void Visit(const S& object, TalAM::FieldVisit& visit, std::string_view tag) const {
    visit.Enter(tag, TalAM::FieldKind::Block);
    object.m_buildParameters[index].VisitFields(visit);
    visit.Leave();
  }
};

constexpr auto BuildSet(std::string_view tag, eCLVectorType type) {
  return Field<S, BuildSetCodec>(tag, {static_cast<std::size_t>(type)});
}

constexpr std::string_view kContainerTags[S::kVectorTypes] = {
    "BorderProcessParameters",       "HatchingProcessParameters", "UpHatchingProcessParameters",
    "DownHatchingProcessParameters", "ProcessParametersSupport",  "ProcessParametersPoints",
    "ProcessParametersInnerContours"};

// The file's order is not the index order: inner contours come before support and points.
constexpr auto kScanningFields =
    Describe<S>(BuildSet(kContainerTags[eCLVectorBorder], eCLVectorBorder),
                BuildSet(kContainerTags[eCLVectorHatching], eCLVectorHatching),
                BuildSet(kContainerTags[eCLVectorUpHatching], eCLVectorUpHatching),
                BuildSet(kContainerTags[eCLVectorDownHatching], eCLVectorDownHatching),
                BuildSet(kContainerTags[eCLVectorInnerContours], eCLVectorInnerContours),
                BuildSet(kContainerTags[eCLVectorSupport], eCLVectorSupport),
                BuildSet(kContainerTags[eCLVectorPoints], eCLVectorPoints));

// The laser values only: each set keeps its own unknown elements, so that they are neither
// lost nor multiplied through a load and a save.
void CopyLaserValues(const B& from, B& to) {
  TalSDK::MSaxPersistExtensibleObject kept = std::move(to);
  to = from;
  static_cast<TalSDK::MSaxPersistExtensibleObject&>(to) = std::move(kept);
}

}  // namespace

MCLBuildParameters::~MCLBuildParameters() = default;

bool MCLBuildParameters::operator==(const MCLBuildParameters& other) const {
  return kBuildFields.EqualFields(*this, other);
}

bool MCLBuildParameters::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  return kBuildFields.HandleTag(tagName, *this, reader);
}

bool MCLBuildParameters::Write(TalSAX::ISAXWriter& writer) const {
  return kBuildFields.WriteFields(*this, writer) && WriteKept(*this, writer);
}

void MCLBuildParameters::VisitFields(TalAM::FieldVisit& visit) const {
  kBuildFields.Visit(*this, visit);
}

MCLScanningParameters::~MCLScanningParameters() = default;

bool MCLScanningParameters::operator==(const MCLScanningParameters& other) const {
  return kScanningFields.EqualFields(*this, other);
}

std::string_view MCLScanningParameters::ContainerTag(eCLVectorType type) {
  return kContainerTags[static_cast<std::size_t>(type)];
}

bool MCLScanningParameters::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  return kScanningFields.HandleTag(tagName, *this, reader);
}

void MCLScanningParameters::HandleEndTag(std::string_view tagName) {
  if (tagName != kContainerTags[eCLVectorBorder]) return;
  const MCLBuildParameters& border = m_buildParameters[eCLVectorBorder];
  for (const eCLVectorType type : {eCLVectorInnerContours, eCLVectorPoints, eCLVectorSupport}) {
    CopyLaserValues(border, m_buildParameters[type]);
  }
}

bool MCLScanningParameters::Write(TalSAX::ISAXWriter& writer) const {
  const bool fields = kScanningFields.WriteEveryField(*this, writer);
  return WriteKept(*this, writer) && fields;
}

MCLScanningParameters::NodeList MCLScanningParameters::GetExtensibleObjectNodes() const {
  return kScanningFields.Nodes(*this);
}

void MCLScanningParameters::VisitFields(TalAM::FieldVisit& visit) const {
  kScanningFields.Visit(*this, visit);
}
