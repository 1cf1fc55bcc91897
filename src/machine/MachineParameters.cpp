#include <TalSDK/machine/MachineParameters.h>

#include <cmath>

#include <TalSDK/sdk/common/Units.h>

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
  // In this order, stopping at the first difference; the kept elements come last.
  return m_materialName == other.m_materialName && m_comments == other.m_comments &&
         m_unit == other.m_unit && m_support == other.m_support &&
         m_supportProfiles == other.m_supportProfiles && m_platform == other.m_platform &&
         m_zCompensationParameters == other.m_zCompensationParameters && m_name == other.m_name &&
         MSaxPersistExtensibleObject::operator==(other);
}

MachineParameters::NodeList MachineParameters::GetExtensibleObjectNodes() const {
  NodeList nodes = MSaxPersistExtensibleObject::GetExtensibleObjectNodes();
  TalSDK::MSaxPersistExtensibleObjectUtilities::RecursiveInsertNodes(
      nodes, {m_platform, m_zCompensationParameters, m_support});
  for (const auto& profile : m_supportProfiles) {
    TalSDK::MSaxPersistExtensibleObjectUtilities::RecursiveInsertNodes(nodes, profile);
  }
  return nodes;
}

}  // namespace TalAM
