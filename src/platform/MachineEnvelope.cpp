#include <TalSDK/platform/MachineEnvelope.h>

#include <TalSDK/sdk/common/Units.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include "persistence/Description.h"

namespace {

using namespace TalAM::Persistence;
using E = MSAXMachineEnvelope;

// Reading "Dx" also sets the extent of the round-platform test.
constexpr auto kFields =
    Describe<E>(Length("Dx", &E::m_dx).AfterRead([](E& e) { e.m_circleExtent = e.m_dx; }),
                Length("Dy", &E::m_dy), Length("Dz", &E::m_dz));

// The extent of the box along `axis`, as a 32-bit difference that wraps like the integer
// arithmetic of the application (a box wider than 2^31 - 1 units is not expected).
std::int32_t Extent(const TalSDK::Math::boundingbox<int, 3>& box, std::size_t axis) {
  const std::int64_t difference =
      static_cast<std::int64_t>(box.Max(axis)) - static_cast<std::int64_t>(box.Min(axis));
  return static_cast<std::int32_t>(difference);
}

// Whether a * a + b * b > 4 * c * c, exactly for every 32-bit input: the squares are split
// into quotient and remainder by 4 so that no intermediate leaves 64 bits.
bool SumOfSquaresExceedsFourSquared(std::int64_t a, std::int64_t b, std::int64_t c) {
  const std::int64_t aa = a * a;
  const std::int64_t bb = b * b;
  const std::int64_t quotient = aa / 4 + bb / 4;
  const std::int64_t remainder = aa % 4 + bb % 4;  // 0 to 2: a square is 0 or 1 modulo 4
  const std::int64_t cc = c * c;
  return quotient > cc || (quotient == cc && remainder > 0);
}

}  // namespace

MSAXMachineEnvelope::MSAXMachineEnvelope()
    : m_circleExtent(10000 * MUnit::GetIE()),
      m_dx(10000 * MUnit::GetIE()),
      m_dy(10000 * MUnit::GetIE()),
      m_dz(10000 * MUnit::GetIE()) {}

MSAXMachineEnvelope::~MSAXMachineEnvelope() = default;

bool MSAXMachineEnvelope::operator==(const MSAXMachineEnvelope& other) const {
  return kFields.Equal(*this, other);
}

bool MSAXMachineEnvelope::IsBiggerThanBoxPltform(
    const TalSDK::Math::boundingbox<int, 3>& box) const {
  return Extent(box, 2) > m_dz || Extent(box, 0) > m_dx || Extent(box, 1) > m_dy;
}

bool MSAXMachineEnvelope::IsBiggerThanCirclePlatform_Fast(
    const TalSDK::Math::boundingbox<int, 3>& box) const {
  if (Extent(box, 2) > m_dz) return true;
  // Generous on purpose: the footprint's diagonal is held against twice the extent, so this
  // quick test never refuses a part that fits.
  return SumOfSquaresExceedsFourSquared(Extent(box, 0), Extent(box, 1), m_circleExtent);
}

void MSAXMachineEnvelope::SetDefaults() {
  kFields.SetDefaults(*this);
}

bool MSAXMachineEnvelope::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  return kFields.HandleTag(tagName, *this, reader);
}

bool MSAXMachineEnvelope::Write(TalSAX::ISAXWriter& writer) const {
  return kFields.Write(*this, writer);
}

void MSAXMachineEnvelope::VisitFields(TalAM::FieldVisit& visit) const {
  kFields.Visit(*this, visit);
}
