#include <TalSDK/platform/MachineLaserOverlaps.h>

#include <array>

#include <TalSDK/persistence/ValueTags.h>
#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include <TalSDK/sdk/sax/StreamTextOut.h>
#include "persistence/FieldTable.h"

namespace {

using namespace TalAM::Persistence;
using Overlap = MSAXMachineLaserOverlaps::LaserOverlap;

// An orientation without a text is written as an empty element; an unknown text is refused.
inline constexpr std::array<EnumText<DirectionAxis>, 2> kOrientationTexts{
    {{DirectionAxis::X, "X"}, {DirectionAxis::Y, "Y"}}};

// Four floats "r g b a". Display only, so never compared.
constexpr auto kColor = Custom<Overlap>(
    "Color",
    [](Overlap& overlap, TalSAX::ISAXReader& reader) { return reader.ReadValue(overlap.color); },
    [](const Overlap& overlap, TalSAX::ISAXWriter& writer, std::string_view tag) {
      MStreamTextOut<wchar_t> text;
      text << overlap.color.r << overlap.color.g << overlap.color.b << overlap.color.a;
      writer.StartTag(tag);
      writer.WriteText(StringConversion::NativeToUtf8(text.str()));
      writer.EndTag(tag);
      return true;
    },
    [](const Overlap&, const Overlap&) { return true; },
    [](Overlap& overlap, const Overlap& defaults) { overlap.color = defaults.color; });

constexpr auto kOverlapFields = MakeFieldTable<Overlap>(
    Enum("Orientation", &Overlap::orientation, kOrientationTexts, EnumReading::Strict,
         DirectionAxis::X),
    Value("Position", &Overlap::position), Value("Width", &Overlap::width), kColor.NotCompared());

}  // namespace

// --- LaserOverlap ---

MSAXMachineLaserOverlaps::LaserOverlap::LaserOverlap() : color{1.0f, 0.0f, 0.0f} {}

MSAXMachineLaserOverlaps::LaserOverlap::~LaserOverlap() = default;

bool MSAXMachineLaserOverlaps::LaserOverlap::operator==(const LaserOverlap& other) const {
  return kOverlapFields.Equal(*this, other) && MSaxPersistExtensibleObject::operator==(other);
}

void MSAXMachineLaserOverlaps::LaserOverlap::SetDefaults() {
  ResetKeepingMode(*this);
}

bool MSAXMachineLaserOverlaps::LaserOverlap::HandleTag(const std::string& tagName,
                                                       TalSAX::ISAXReader& reader) {
  if (const auto result = kOverlapFields.Read(tagName, *this, reader)) return *result;
  return TalSDK::MSaxPersistExtensibleObjectReader(*this).HandleTag(tagName, reader);
}

bool MSAXMachineLaserOverlaps::LaserOverlap::Write(TalSAX::ISAXWriter& writer) const {
  return kOverlapFields.Write(*this, writer) &&
         TalSDK::MSaxPersistExtensibleObjectWriter(*this).Write(writer);
}

// --- MSAXMachineLaserOverlaps ---

MSAXMachineLaserOverlaps::MSAXMachineLaserOverlaps() = default;

MSAXMachineLaserOverlaps::~MSAXMachineLaserOverlaps() = default;

bool MSAXMachineLaserOverlaps::operator==(const MSAXMachineLaserOverlaps& other) const {
  if (this == &other) return true;
  return m_overlaps == other.m_overlaps && MSaxPersistExtensibleObject::operator==(other);
}

MSAXMachineLaserOverlaps::NodeList MSAXMachineLaserOverlaps::GetExtensibleObjectNodes() const {
  NodeList nodes = MSaxPersistExtensibleObject::GetExtensibleObjectNodes();
  for (const LaserOverlap& overlap : m_overlaps) {
    TalSDK::MSaxPersistExtensibleObjectUtilities::RecursiveInsertNodes(nodes, overlap);
  }
  return nodes;
}

// Only the overlaps and the kept elements go; the operating mode stays.
void MSAXMachineLaserOverlaps::SetDefaults() {
  m_overlaps.clear();
  ClearUnhandledElements();
}

bool MSAXMachineLaserOverlaps::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  if (tagName == "Overlap") {
    // Each overlap starts from the defaults and reads its own content.
    LaserOverlap& overlap = m_overlaps.emplace_back();
    overlap.SetOperatingMode(GetOperatingMode());
    reader.DelegateToChild(overlap);
    return true;
  }
  return TalSDK::MSaxPersistExtensibleObjectReader(*this).HandleTag(tagName, reader);
}

// An overlap's own result does not stop the list: only the list's kept elements decide.
bool MSAXMachineLaserOverlaps::Write(TalSAX::ISAXWriter& writer) const {
  for (const LaserOverlap& overlap : m_overlaps) {
    MSAXTagWriter tag(writer, "Overlap");
    overlap.Write(writer);
  }
  return TalSDK::MSaxPersistExtensibleObjectWriter(*this).Write(writer);
}
