#include <TalSDK/platform/MachineZCompensation.h>

#include <cmath>

#include <TalSDK/sdk/common/Units.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include "persistence/Description.h"

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

// "FilterSharpTriangles" comes before the factor table in machine files. "AngleFactorArray"
// replaces the table; its "AngleFactor" items are read wherever they stand, and the table is
// written only when it has entries.
constexpr auto kFields = Describe<Z>(
    Value("ZCompensationValue", &Z::m_zCompensationValue),
    Value("PreserveThin", &Z::m_preserveThin),
    Value("PreserveSmallFeatures", &Z::m_preserveSmallFeatures),
    Value("RemoveSelfIteractions", &Z::m_removeSelfIteractions),  // spelled so in machine files
    Value("ZCompType", &Z::m_zCompType), Value("SaveZCompToPartName", &Z::m_saveZCompToPartName),
    Value("UseAngleBasedFactor", &Z::m_useAngleBasedFactor),
    Value("FilterSharpTriangles", &Z::m_filterSharpTriangles),
    ValueList(
        "AngleFactorArray", &Z::m_angleFactors,
        {.itemTag = "AngleFactor", .wrapperClears = true, .outside = ItemOutsideWrapper::Taken})
        .WriteIf([](const Z& z) { return !z.m_angleFactors.empty(); }));

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
  return kFields.Equal(*this, other);
}

void MSAXMachineZCompensation::SetDefaults() {
  kFields.SetDefaults(*this);
}

bool MSAXMachineZCompensation::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  return kFields.HandleTag(tagName, *this, reader);
}

bool MSAXMachineZCompensation::Write(TalSAX::ISAXWriter& writer) const {
  return kFields.Write(*this, writer);
}

void MSAXMachineZCompensation::VisitFields(TalAM::FieldVisit& visit) const {
  kFields.Visit(*this, visit);
}
