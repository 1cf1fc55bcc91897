#include <TalSDK/platform/MachinePlatform.h>

#include <locale>
#include <string_view>

#include <boost/iostreams/device/array.hpp>
#include <boost/iostreams/stream.hpp>

#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/common/Units.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include <TalSDK/sdk/sax/StreamTextOut.h>
#include "persistence/Description.h"
#include "platform/PlatformTexts.h"

namespace {

using namespace TalAM::Persistence;
using P = MSAXMachinePlatform;
using Shape = P::PlatformShape;
using Direction = P::Direction;
using TalAM::FieldKind;

// A point "x y z" in internal units. Values are extracted straight into the point: those read
// before a failing one stay, and the failing one takes what the stream stores (0, or the
// nearest limit when out of range). False for an empty text or when any of the three fails.
struct PointCodec {
  P::Point P::*member;

  bool Read(P& platform, TalSAX::ISAXReader& reader) const {
    const std::string_view text = reader.GetElementTextView();
    if (text.empty()) return false;
    boost::iostreams::stream<boost::iostreams::array_source> in(text.data(), text.size());
    // Machine files never group digits, whatever the process locale does.
    in.imbue(std::locale::classic());
    P::Point& point = platform.*member;
    in >> point.x >> point.y >> point.z;
    return !in.fail();
  }
  static std::string Text(const P::Point& point) {
    MStreamTextOut<wchar_t> text;
    text << point.x << point.y << point.z;
    return StringConversion::NativeToUtf8(text.str());
  }
  bool Write(const P& platform, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    writer.StartTag(tag);
    writer.WriteText(Text(platform.*member));
    writer.EndTag(tag);
    return true;
  }
  bool Equal(const P& a, const P& b) const { return a.*member == b.*member; }
  void Visit(const P& platform, TalAM::FieldVisit& visit, std::string_view tag) const {
    visit.Value(tag, FieldKind::Point, Text(platform.*member));
  }
};

constexpr Field<P, PointCodec> Point(std::string_view tag, P::Point P::*member) {
  return {tag, PointCodec{member}};
}

// A gas flow goes one way only: "Double" is the recoater's.
constexpr auto kGasFlowDirections = std::to_array<EnumText<Direction>>(
    {{Direction::Positive, "Positive"}, {Direction::Negative, "Negative"}});

}  // namespace

// Gas flow and recoater are written only when the machine has them; reading any of their tags
// engages the indication with its defaults, through the platform's private operations (hence a
// friend of the platform). Unknown axis and direction texts read as the first value, so that
// machine files with misspelt or newer values still load, and any other value is written as that
// first value. Unlike them, an unknown shape is refused: guessing an outline would change which
// parts fit; any shape but a box is drawn, and written, as a circle.
// Gas flow, recoater and mesh are for display: they take no part in the comparison.
struct MSAXMachinePlatformDescription {
  static constexpr auto kFields = Describe<P>(
      Enum("Shape", &P::m_shape, UnknownText::Refused, ValueWithoutText::WritesFallback,
           Shape::Circle),
      Value<P>("GasFlowVisible",
               InOptional(&P::m_gasFlow, &P::_GetGasFlowInitialized, &P::GasFlow::visible))
          .NotCompared(),
      Enum<DirectionAxis, P>(
          "GasFlowDirectionAxis",
          InOptional(&P::m_gasFlow, &P::_GetGasFlowInitialized, &P::GasFlow::directionAxis),
          UnknownText::AsFallback, ValueWithoutText::WritesFallback, DirectionAxis::X)
          .NotCompared(),
      EnumWith<Direction, P>(
          "GasFlowDirection",
          InOptional(&P::m_gasFlow, &P::_GetGasFlowInitialized, &P::GasFlow::direction),
          kGasFlowDirections, UnknownText::AsFallback, ValueWithoutText::WritesFallback,
          Direction::Positive)
          .NotCompared(),
      Value<P>("RecoaterVisible",
               InOptional(&P::m_recoater, &P::_GetRecoaterInitialized, &P::Recoater::visible))
          .NotCompared(),
      Enum<DirectionAxis, P>(
          "RecoaterDirectionAxis",
          InOptional(&P::m_recoater, &P::_GetRecoaterInitialized, &P::Recoater::directionAxis),
          UnknownText::AsFallback, ValueWithoutText::WritesFallback, DirectionAxis::X)
          .NotCompared(),
      Enum<Direction, P>(
          "RecoaterDirection",
          InOptional(&P::m_recoater, &P::_GetRecoaterInitialized, &P::Recoater::direction),
          UnknownText::AsFallback, ValueWithoutText::WritesFallback, Direction::Positive)
          .NotCompared(),
      Child("Envelope", &P::m_envelope), Point("Position", &P::m_position),
      Point("DefaultPartPosition", &P::m_defaultPartPosition),
      Child("LaserOverlaps", &P::m_laserOverlaps),
      Child("PlatformStl", &P::m_platformStl)
          .WriteIf([](const P& p) { return p.m_platformStl.Enabled(); })
          .NotCompared());
};

namespace {
constexpr const auto& kFields = MSAXMachinePlatformDescription::kFields;
}  // namespace

MSAXMachinePlatform::MSAXMachinePlatform()
    : m_position{0, 0, 4 * MUnit::GetIE()},
      m_defaultPartPosition{10 * MUnit::GetIE(), 10 * MUnit::GetIE(), 10 * MUnit::GetIE()} {}

MSAXMachinePlatform::~MSAXMachinePlatform() = default;

bool MSAXMachinePlatform::operator==(const MSAXMachinePlatform& other) const {
  return kFields.Equal(*this, other);
}

bool MSAXMachinePlatform::IsBiggerThanPlatform(const TalSDK::Math::boundingbox<int, 3>& box) const {
  switch (m_shape) {
    case PlatformShape::Box:
      return m_envelope.IsBiggerThanBoxPltform(box);
    case PlatformShape::Circle:
      return m_envelope.IsBiggerThanCirclePlatform_Fast(box);
  }
  return false;
}

MSAXMachinePlatform::NodeList MSAXMachinePlatform::GetExtensibleObjectNodes() const {
  return kFields.Nodes(*this);
}

// Also removes the platform mesh.
void MSAXMachinePlatform::SetDefaults() {
  kFields.SetDefaults(*this);
}

MSAXMachinePlatform::GasFlow& MSAXMachinePlatform::_GetGasFlowInitialized() {
  if (!m_gasFlow) m_gasFlow = GasFlow{};
  return *m_gasFlow;
}

MSAXMachinePlatform::Recoater& MSAXMachinePlatform::_GetRecoaterInitialized() {
  if (!m_recoater) m_recoater = Recoater{};
  return *m_recoater;
}

bool MSAXMachinePlatform::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  return kFields.HandleTag(tagName, *this, reader);
}

bool MSAXMachinePlatform::Write(TalSAX::ISAXWriter& writer) const {
  return kFields.Write(*this, writer);
}

void MSAXMachinePlatform::VisitFields(TalAM::FieldVisit& visit) const {
  kFields.Visit(*this, visit);
}
