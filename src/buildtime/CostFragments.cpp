#include <TalSDK/buildtime/CostFragments.h>

#include <TalSDK/sdk/common/Units.h>

#include "buildtime/BuildTimeTexts.h"
#include "persistence/Description.h"

using P = MBuildtimeEstimatorParameter;

struct MCostFragmentDescription {
  using F = MCostFragment;
  // A dependency without a file text fails after "Name".
  static constexpr auto kFields = TalAM::Persistence::Describe<F>(
      TalAM::Persistence::Value("Name", &F::m_name),
      TalAM::Persistence::Enum(
          "Dependency", &F::m_dependency, TalAM::Persistence::UnknownText::Refused,
          TalAM::Persistence::ValueWithoutText::FailsWrite, P::EstimatedBuildTime),
      TalAM::Persistence::Value("UnitCost", &F::m_unitCost));
};

struct MCostFragmentsDescription {
  using C = MCostFragments;
  // "CostFragmentList" does not empty the list; a "CostFragment" outside it makes no fragment.
  static constexpr auto kFields = TalAM::Persistence::Describe<C>(
      TalAM::Persistence::Value("Currency", &C::m_currency),
      TalAM::Persistence::List(
          "CostFragmentList", &C::m_costFragmentList,
          {.itemTag = "CostFragment", .outside = TalAM::Persistence::ItemOutsideWrapper::Ignored}));
};

TALAM_DESCRIBED_BLOCK(MCostFragment, MCostFragmentDescription::kFields)
void MCostFragment::SetDefaults() {
  m_name.clear();
}

const MBuildtimeEstimatorParameter MCostFragments::m_dependency_list[10] = {
    P::EstimatedBuildTime, P::FixedTime,        P::Volume, P::SupportVolume,
    P::SurfaceArea,        P::DeltaX,           P::DeltaY, P::DeltaZ,
    P::NumberOfStls,       P::VolumeBoundingBox};

TALAM_DESCRIBED_BLOCK(MCostFragments, MCostFragmentsDescription::kFields)
void MCostFragments::SetDefaults() {
  m_costFragmentList.clear();
  m_currency.clear();
}
MCostFragments::NodeList MCostFragments::GetExtensibleObjectNodes() const {
  return MCostFragmentsDescription::kFields.Nodes(*this);
}

void MCostFragments::AddCostFragment(const MCostFragment& fragment) {
  m_costFragmentList.push_back(fragment);
}

void MCostFragments::Remove(std::size_t index) {
  if (index < m_costFragmentList.size()) {
    m_costFragmentList.erase(m_costFragmentList.begin() + static_cast<std::ptrdiff_t>(index));
  }
}

void MCostFragments::ClearList() {
  m_costFragmentList.clear();
}

bool MCostFragments::NeedTimeCalculation() const {
  for (const MCostFragment& fragment : m_costFragmentList) {
    if (fragment.GetDependency() == P::EstimatedBuildTime) return true;
  }
  return false;
}

double MCostFragments::CalculateTotalUnits(std::size_t index, const MBuildtimePlatform& platform,
                                           double time) const {
  const bool metric = TalSDK::Common::MInternalUnits::GetInstance().GetConversionFactor() == 1.0;
  const double f = metric ? 1.0 : 0.03937007874015748;  // millimetres to inches
  const P dependency = m_costFragmentList[index].GetDependency();
  const double p = platform.GetParameter(static_cast<unsigned int>(dependency), false);
  switch (dependency) {
    case P::FixedTime:
      return 1.0;
    case P::Volume:
    case P::SupportVolume:
    case P::VolumeBoundingBox:
      // Cubic millimetres to litres; the factor is the single-precision 1e-6, as the
      // application computes it.
      return p * f * f * f * (metric ? 9.999999974752427e-7 : 1.0);
    case P::SurfaceArea:
      // Square millimetres to square centimetres, with the single-precision 0.01.
      return p * f * f * (metric ? 0.009999999776482582 : 1.0);
    case P::DeltaX:
    case P::DeltaY:
    case P::DeltaZ:
      return p * f;
    case P::NumberOfStls:
      return p;
    case P::EstimatedBuildTime:
      return time;
    default:
      // The quantities a fragment may not depend on cost nothing, even when a file names them.
      return 0.0;
  }
}

double MCostFragments::CalculateFragmentCost(std::size_t index, const MBuildtimePlatform& platform,
                                             double time) const {
  const double units = CalculateTotalUnits(index, platform, time);
  const double unitCost = m_costFragmentList[index].GetUnitCost();
  // Build time is charged per hour.
  if (m_costFragmentList[index].GetDependency() == P::EstimatedBuildTime) {
    return unitCost * (units / 3600.0);
  }
  return unitCost * units;
}
