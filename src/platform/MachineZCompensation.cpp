#include <TalSDK/platform/MachineZCompensation.h>

#include <cmath>

#include <TalSDK/persistence/ValueTags.h>
#include <TalSDK/sdk/common/Units.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include "persistence/FieldTable.h"

namespace {

using namespace TalAM::Persistence;
using Z = MSAXMachineZCompensation;

// A fraction of the internal unit as an integer: rounded half away from zero, clamped to
// 32 bits.
std::int32_t InternalUnits(double fraction) {
  const double v = TalSDK::Common::MInternalUnits::GetInstance().Get() * fraction;
  const double rounded = std::trunc(v >= 0.0 ? v + 0.5 : v - 0.5);
  if (rounded > 2147483647.0) return 2147483647;
  if (rounded < -2147483648.0) return -2147483647 - 1;
  return static_cast<std::int32_t>(rounded);
}

// The container "AngleFactorArray" replaces the table; its "AngleFactor" children come back
// to the block's own HandleTag. It is written only when the table has entries.
constexpr auto kAngleFactorArray = Custom<Z>(
    "AngleFactorArray",
    [](Z& z, TalSAX::ISAXReader&) {
      z.m_angleFactors.clear();
      return true;
    },
    [](const Z& z, TalSAX::ISAXWriter& writer, std::string_view tag) {
      MSAXTagWriter array(writer, tag);
      for (const std::int32_t factor : z.m_angleFactors) {
        if (!TalAM::WriteValueTag(writer, "AngleFactor", factor)) return false;
      }
      return true;
    },
    [](const Z& a, const Z& b) { return a.m_angleFactors == b.m_angleFactors; },
    [](Z& z, const Z& defaults) { z.m_angleFactors = defaults.m_angleFactors; });

// Written in this order: "FilterSharpTriangles" comes before the factor table in machine files.
constexpr auto kFields = MakeFieldTable<Z>(
    Value("ZCompensationValue", &Z::m_zCompensationValue),
    Value("PreserveThin", &Z::m_preserveThin),
    Value("PreserveSmallFeatures", &Z::m_preserveSmallFeatures),
    Value("RemoveSelfIteractions", &Z::m_removeSelfIteractions),  // spelled so in machine files
    Value("ZCompType", &Z::m_zCompType), Value("SaveZCompToPartName", &Z::m_saveZCompToPartName),
    Value("UseAngleBasedFactor", &Z::m_useAngleBasedFactor),
    Value("FilterSharpTriangles", &Z::m_filterSharpTriangles),
    kAngleFactorArray.WriteIf([](const Z& z) { return !z.m_angleFactors.empty(); }));

}  // namespace

MSAXMachineZCompensation::MSAXMachineZCompensation()
    : m_angleFactors{InternalUnits(1.0),
                     InternalUnits(0.74),
                     InternalUnits(0.5),
                     InternalUnits(0.293),
                     InternalUnits(0.134),
                     InternalUnits(0.034),
                     0} {}

MSAXMachineZCompensation::~MSAXMachineZCompensation() = default;

bool MSAXMachineZCompensation::operator==(const MSAXMachineZCompensation& other) const {
  return kFields.Equal(*this, other) && MSaxPersistExtensibleObject::operator==(other);
}

void MSAXMachineZCompensation::SetDefaults() {
  ResetKeepingMode(*this);
}

bool MSAXMachineZCompensation::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  if (const auto result = kFields.Read(tagName, *this, reader)) return *result;
  if (tagName == "AngleFactor") {
    std::int32_t factor = 0;
    if (!reader.ReadValue(factor)) return false;
    m_angleFactors.push_back(factor);
    return true;
  }
  return TalSDK::MSaxPersistExtensibleObjectReader(*this).HandleTag(tagName, reader);
}

bool MSAXMachineZCompensation::Write(TalSAX::ISAXWriter& writer) const {
  return kFields.Write(*this, writer) &&
         TalSDK::MSaxPersistExtensibleObjectWriter(*this).Write(writer);
}
