#include <TalSDK/platform/MachinePlatform.h>

#include <locale>
#include <string_view>

#include <boost/iostreams/device/array.hpp>
#include <boost/iostreams/stream.hpp>

#include <TalSDK/persistence/ValueTags.h>
#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/common/Units.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include <TalSDK/sdk/sax/StreamTextOut.h>
#include "persistence/FieldTable.h"

namespace {

using Shape = MSAXMachinePlatform::PlatformShape;
using Direction = MSAXMachinePlatform::Direction;

constexpr std::string_view kShapeTag = "Shape";
constexpr std::string_view kEnvelopeTag = "Envelope";
constexpr std::string_view kPositionTag = "Position";
constexpr std::string_view kDefaultPartPositionTag = "DefaultPartPosition";
constexpr std::string_view kLaserOverlapsTag = "LaserOverlaps";
constexpr std::string_view kPlatformStlTag = "PlatformStl";

// The three tags of a gas-flow or recoater indication. Only the recoater knows "Double".
struct IndicationTags {
  std::string_view visible;
  std::string_view directionAxis;
  std::string_view direction;
  bool doubleDirection;
};

constexpr IndicationTags kGasFlowTags{"GasFlowVisible", "GasFlowDirectionAxis", "GasFlowDirection",
                                      false};
constexpr IndicationTags kRecoaterTags{"RecoaterVisible", "RecoaterDirectionAxis",
                                       "RecoaterDirection", true};

// Unknown axis and direction texts read as the first value, so that machine files with
// misspelt or newer values still load.
DirectionAxis AxisFromText(std::string_view text) {
  return text == "Y" ? DirectionAxis::Y : DirectionAxis::X;
}

std::string_view AxisText(DirectionAxis axis) {
  return axis == DirectionAxis::Y ? "Y" : "X";
}

Direction DirectionFromText(std::string_view text, bool doubleDirection) {
  if (text == "Negative") return Direction::Negative;
  if (doubleDirection && text == "Double") return Direction::Double;
  return Direction::Positive;
}

std::string_view DirectionText(Direction direction, bool doubleDirection) {
  if (direction == Direction::Negative) return "Negative";
  if (doubleDirection && direction == Direction::Double) return "Double";
  return "Positive";
}

// Reads one of the tags of an indication into the value `engage` returns (engaging it only
// when the read succeeds). Nothing when `tag` is none of the three.
template <class Engage>
std::optional<bool> ReadIndication(std::string_view tag, const IndicationTags& tags,
                                   TalSAX::ISAXReader& reader, Engage engage) {
  if (tag == tags.visible) {
    bool visible = false;
    if (!reader.ReadValue(visible)) return false;
    engage().visible = visible;
    return true;
  }
  if (tag == tags.directionAxis || tag == tags.direction) {
    std::string text;
    if (!reader.ReadValue(text)) return false;
    if (tag == tags.directionAxis) {
      engage().directionAxis = AxisFromText(text);
    } else {
      engage().direction = DirectionFromText(text, tags.doubleDirection);
    }
    return true;
  }
  return std::nullopt;
}

template <class Indication>
bool WriteIndication(TalSAX::ISAXWriter& writer, const IndicationTags& tags,
                     const Indication& indication) {
  return TalAM::WriteValueTag(writer, tags.visible, indication.visible) &&
         writer.WriteElement(tags.directionAxis, AxisText(indication.directionAxis)) &&
         writer.WriteElement(tags.direction,
                             DirectionText(indication.direction, tags.doubleDirection));
}

// "x y z" in the element's text. Values are extracted straight into the point: those read
// before a failing one stay, and the failing one takes what the stream stores (0, or the
// nearest limit when out of range). False for an empty text or when any of the three fails.
bool ReadPoint(TalSAX::ISAXReader& reader, MSAXMachinePlatform::Point& point) {
  const std::string_view text = reader.GetElementTextView();
  if (text.empty()) return false;
  boost::iostreams::stream<boost::iostreams::array_source> in(text.data(), text.size());
  // Machine files never group digits, whatever the process locale does.
  in.imbue(std::locale::classic());
  in >> point.x >> point.y >> point.z;
  return !in.fail();
}

void WritePoint(TalSAX::ISAXWriter& writer, std::string_view tag,
                const MSAXMachinePlatform::Point& point) {
  MStreamTextOut<wchar_t> text;
  text << point.x << point.y << point.z;
  writer.StartTag(tag);
  writer.WriteText(StringConversion::NativeToUtf8(text.str()));
  writer.EndTag(tag);
}

// A block written as the content of its own container element.
bool WriteContainer(TalSAX::ISAXWriter& writer, std::string_view tag, const ISAXPersist& block) {
  MSAXTagWriter container(writer, tag);
  return block.Write(writer);
}

}  // namespace

MSAXMachinePlatform::MSAXMachinePlatform()
    : m_position{0, 0, 4 * MUnit::GetIE()},
      m_defaultPartPosition{10 * MUnit::GetIE(), 10 * MUnit::GetIE(), 10 * MUnit::GetIE()} {}

MSAXMachinePlatform::~MSAXMachinePlatform() = default;

bool MSAXMachinePlatform::operator==(const MSAXMachinePlatform& other) const {
  return m_shape == other.m_shape && m_envelope == other.m_envelope &&
         m_position == other.m_position && m_defaultPartPosition == other.m_defaultPartPosition &&
         m_laserOverlaps == other.m_laserOverlaps && MSaxPersistExtensibleObject::operator==(other);
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
  NodeList nodes = MSaxPersistExtensibleObject::GetExtensibleObjectNodes();
  TalSDK::MSaxPersistExtensibleObjectUtilities::RecursiveInsertNodes(
      nodes, {m_envelope, m_laserOverlaps, m_platformStl});
  return nodes;
}

void MSAXMachinePlatform::SetDefaults() {
  TalAM::Persistence::ResetKeepingMode(*this);
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
  if (tagName == kShapeTag) {
    // Unlike the indications, an unknown shape is refused: guessing an outline would change
    // which parts fit.
    std::string text;
    if (!reader.ReadValue(text)) return false;
    if (text == "Box") {
      m_shape = PlatformShape::Box;
    } else if (text == "Circle") {
      m_shape = PlatformShape::Circle;
    } else {
      return false;
    }
    return true;
  }
  if (const auto result = ReadIndication(tagName, kGasFlowTags, reader, [this]() -> GasFlow& {
        return _GetGasFlowInitialized();
      })) {
    return *result;
  }
  if (const auto result = ReadIndication(tagName, kRecoaterTags, reader, [this]() -> Recoater& {
        return _GetRecoaterInitialized();
      })) {
    return *result;
  }
  if (tagName == kEnvelopeTag) return reader.DelegateToChild(m_envelope);
  if (tagName == kPositionTag) return ReadPoint(reader, m_position);
  if (tagName == kDefaultPartPositionTag) return ReadPoint(reader, m_defaultPartPosition);
  if (tagName == kLaserOverlapsTag) return reader.DelegateToChild(m_laserOverlaps);
  if (tagName == kPlatformStlTag) return reader.DelegateToChild(m_platformStl);
  return TalSDK::MSaxPersistExtensibleObjectReader(*this).HandleTag(tagName, reader);
}

bool MSAXMachinePlatform::Write(TalSAX::ISAXWriter& writer) const {
  // Any value other than Box is drawn as a circle, so it is written as one.
  if (!writer.WriteElement(kShapeTag, m_shape == PlatformShape::Box ? "Box" : "Circle")) {
    return false;
  }
  if (m_gasFlow && !WriteIndication(writer, kGasFlowTags, *m_gasFlow)) return false;
  if (m_recoater && !WriteIndication(writer, kRecoaterTags, *m_recoater)) return false;
  if (!WriteContainer(writer, kEnvelopeTag, m_envelope)) return false;
  WritePoint(writer, kPositionTag, m_position);
  WritePoint(writer, kDefaultPartPositionTag, m_defaultPartPosition);
  if (!WriteContainer(writer, kLaserOverlapsTag, m_laserOverlaps)) return false;
  if (m_platformStl.Enabled() && !WriteContainer(writer, kPlatformStlTag, m_platformStl)) {
    return false;
  }
  return TalSDK::MSaxPersistExtensibleObjectWriter(*this).Write(writer);
}
