#include <TalSDK/platform/MachineLaserOverlaps.h>

#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include <TalSDK/sdk/sax/StreamTextOut.h>

#include "persistence/Description.h"
#include "platform/PlatformTexts.h"

namespace {

using namespace TalAM::Persistence;
using Overlaps = MSAXMachineLaserOverlaps;
using Overlap = MSAXMachineLaserOverlaps::LaserOverlap;

std::string ColorText(const Overlap& overlap) {
  MStreamTextOut<wchar_t> text;
  text << overlap.color.r << overlap.color.g << overlap.color.b << overlap.color.a;
  return StringConversion::NativeToUtf8(text.str());
}

// Four floats "r g b a", for display only.
constexpr auto kColor = Custom<Overlap>(
    "Color",
    [](Overlap& overlap, TalSAX::ISAXReader& reader) { return reader.ReadValue(overlap.color); },
    [](const Overlap& overlap, TalSAX::ISAXWriter& writer, std::string_view tag) {
      writer.StartTag(tag);
      writer.WriteText(ColorText(overlap));
      writer.EndTag(tag);
      return true;
    },
    [](const Overlap& a, const Overlap& b) { return a.color == b.color; }, ColorText,
    TalAM::FieldKind::Color);

// An orientation without a text is written as an empty element; an unknown text is refused.
constexpr auto kOverlapFields = Describe<Overlap>(
    Enum("Orientation", &Overlap::orientation, UnknownText::Refused, ValueWithoutText::WritesEmpty,
         DirectionAxis::X),
    Length("Position", &Overlap::position), Length("Width", &Overlap::width), kColor.NotCompared());

// The overlaps stand directly in the block. An overlap's own write result does not stop the
// list: only the list's kept elements decide.
constexpr auto kFields = Describe<Overlaps>(
    List("", &Overlaps::m_overlaps,
         {.itemTag = "Overlap", .outside = ItemOutsideWrapper::Taken, .itemResultsIgnored = true}));

}  // namespace

// --- LaserOverlap ---

MSAXMachineLaserOverlaps::LaserOverlap::LaserOverlap() : color{1.0f, 0.0f, 0.0f} {}

MSAXMachineLaserOverlaps::LaserOverlap::~LaserOverlap() = default;

bool MSAXMachineLaserOverlaps::LaserOverlap::operator==(const LaserOverlap& other) const {
  return kOverlapFields.Equal(*this, other);
}

void MSAXMachineLaserOverlaps::LaserOverlap::SetDefaults() {
  kOverlapFields.SetDefaults(*this);
}

bool MSAXMachineLaserOverlaps::LaserOverlap::HandleTag(const std::string& tagName,
                                                       TalSAX::ISAXReader& reader) {
  return kOverlapFields.HandleTag(tagName, *this, reader);
}

bool MSAXMachineLaserOverlaps::LaserOverlap::Write(TalSAX::ISAXWriter& writer) const {
  return kOverlapFields.Write(*this, writer);
}

void MSAXMachineLaserOverlaps::LaserOverlap::VisitFields(TalAM::FieldVisit& visit) const {
  kOverlapFields.Visit(*this, visit);
}

// --- MSAXMachineLaserOverlaps ---

MSAXMachineLaserOverlaps::MSAXMachineLaserOverlaps() = default;

MSAXMachineLaserOverlaps::~MSAXMachineLaserOverlaps() = default;

bool MSAXMachineLaserOverlaps::operator==(const MSAXMachineLaserOverlaps& other) const {
  return this == &other || kFields.Equal(*this, other);
}

MSAXMachineLaserOverlaps::NodeList MSAXMachineLaserOverlaps::GetExtensibleObjectNodes() const {
  return kFields.Nodes(*this);
}

void MSAXMachineLaserOverlaps::SetDefaults() {
  kFields.SetDefaults(*this);
}

bool MSAXMachineLaserOverlaps::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  return kFields.HandleTag(tagName, *this, reader);
}

bool MSAXMachineLaserOverlaps::Write(TalSAX::ISAXWriter& writer) const {
  return kFields.Write(*this, writer);
}

void MSAXMachineLaserOverlaps::VisitFields(TalAM::FieldVisit& visit) const {
  kFields.Visit(*this, visit);
}
