#include <TalSDK/sdk/common/Units.h>

#include <cmath>

int MUnit::GetIE() {
  return 1000;
}

int MUnit::GetISU() {
  const double factor = TalSDK::Common::MInternalUnits::GetInstance().GetConversionFactor();
  return static_cast<int>(std::lround(GetIE() * factor));
}

namespace TalSDK::Common {

MInternalUnits& MInternalUnits::GetInstance() {
  static MInternalUnits instance;
  return instance;
}

double MInternalUnits::GetConversionFactor() const {
  return m_conversionFactor.load();
}

void MInternalUnits::SetConversionFactor(double millimetresPerUserUnit) {
  // Every user-unit conversion multiplies or divides by the factor, so one that is not a
  // positive finite number is ignored rather than allowed to poison all lengths.
  if (!std::isfinite(millimetresPerUserUnit) || millimetresPerUserUnit <= 0.0) return;
  m_conversionFactor.store(millimetresPerUserUnit);
}

double MInternalUnits::Get() const {
  return static_cast<double>(MUnit::GetIE());
}

ScopedConversionFactor::ScopedConversionFactor(double millimetresPerUserUnit)
    : m_previous(MInternalUnits::GetInstance().GetConversionFactor()) {
  MInternalUnits::GetInstance().SetConversionFactor(millimetresPerUserUnit);
}

ScopedConversionFactor::~ScopedConversionFactor() {
  MInternalUnits::GetInstance().SetConversionFactor(m_previous);
}

}  // namespace TalSDK::Common
