#pragma once
// Length units. Integer lengths are stored in internal units: GetIE() of them per millimetre.
// The user unit (millimetre or inch) is process-wide and set by the application.

#include <atomic>

#include <TalSDK/SDKExport.h>

class TALSDK_SDK_EXPORT MUnit {
 public:
  // Internal units per millimetre (1000).
  static int GetIE();
  // Internal units per user unit: 1000 for millimetres, 25400 for inches.
  static int GetISU();
};

namespace TalSDK::Common {

// The process-wide user unit, expressed as millimetres per user unit (1.0 or 25.4).
class TALSDK_SDK_EXPORT MInternalUnits {
 public:
  static MInternalUnits& GetInstance();

  // Millimetres per user unit: 1.0 for millimetres, 25.4 for inches.
  double GetConversionFactor() const;
  void SetConversionFactor(double millimetresPerUserUnit);

  // Internal units per millimetre, as a double (1000.0).
  double Get() const;

  MInternalUnits(const MInternalUnits&) = delete;
  MInternalUnits& operator=(const MInternalUnits&) = delete;

 private:
  MInternalUnits() = default;
  std::atomic<double> m_conversionFactor{1.0};
};

// Sets the process-wide conversion factor for the lifetime of the object and restores the
// previous one afterwards (for tests and for short operations that need another unit).
class TALSDK_SDK_EXPORT ScopedConversionFactor {
 public:
  explicit ScopedConversionFactor(double millimetresPerUserUnit);
  ~ScopedConversionFactor();
  ScopedConversionFactor(const ScopedConversionFactor&) = delete;
  ScopedConversionFactor& operator=(const ScopedConversionFactor&) = delete;

 private:
  double m_previous;
};

}  // namespace TalSDK::Common
