#include <TalSDK/machine/MachineParameters.h>

#include <cmath>

#include <TalSDK/sdk/common/Units.h>

#include "machine/MachineDescription.h"

namespace TalAM {

namespace {

// Millimetres exactly when the process-wide factor is exactly 1.0 (a factor that is not a
// number is not).
std::int32_t UnitOfProcess() {
  return TalSDK::Common::MInternalUnits::GetInstance().GetConversionFactor() == 1.0 ? eMillimetre
                                                                                    : eInch;
}

}  // namespace

MachineParameters::MachineParameters() : m_unit(UnitOfProcess()) {}
MachineParameters::MachineParameters(const MachineParameters&) = default;
MachineParameters::MachineParameters(MachineParameters&&) noexcept = default;
MachineParameters& MachineParameters::operator=(const MachineParameters&) = default;
MachineParameters& MachineParameters::operator=(MachineParameters&&) noexcept = default;
MachineParameters::~MachineParameters() = default;

bool MachineParameters::operator==(const MachineParameters& other) const {
  return MachineParametersDescription::kFields.Equal(*this, other);
}

void MachineParameters::VisitFields(FieldVisit& visit) const {
  MachineParametersDescription::kFields.Visit(*this, visit);
}

// In this order, which is not the order of the file: the blocks, the support settings, then
// each list's items.
MachineParameters::NodeList MachineParameters::GetExtensibleObjectNodes() const {
  // The blocks and what they hold come to about a hundred nodes in a large machine file.
  NodeList nodes;
  nodes.reserve(128 + m_qualityPartsProfiles.size() + m_supportProfiles.size());
  nodes.emplace_back(*this);
  Persistence::InsertNodesOf(nodes, m_buildTimeCalculation, m_slicer, m_postProcessing,
                             m_exportPart, m_costFragments, m_nesting, m_platform,
                             m_zCompensationParameters, m_lockedAreas, m_qualityParts,
                             m_kestrumSupport, m_baseplateParameters, m_support);
  for (const auto& profile : m_qualityPartsProfiles)
    Persistence::InsertNodesOf(nodes, profile);
  for (const auto& profile : m_supportProfiles)
    Persistence::InsertNodesOf(nodes, profile);
  return nodes;
}

}  // namespace TalAM

namespace TalAM::Persistence {

void VisitSupportSettings(const TalSDK::SupportGeneration::MSupportGlobal& support,
                          FieldVisit& visit) {
  for (const TalSDK::MSaxUnhandledElement& setting : support.GetSettings()) {
    std::string text;
    bool nested = false;
    for (const auto& node : setting.GetNodes()) {
      if (node.depth != 1) continue;
      if (node.kind == TalSDK::MSaxUnhandledElement::Node::Kind::Text) text += node.value;
      if (node.kind == TalSDK::MSaxUnhandledElement::Node::Kind::Element) nested = true;
    }
    visit.Value(setting.GetTagName(), nested ? FieldKind::Settings : FieldKind::String, text);
  }
}

}  // namespace TalAM::Persistence
