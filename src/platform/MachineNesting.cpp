#include <TalSDK/platform/MachineNesting.h>

#include <TalSDK/sdk/common/Units.h>
#include <TalSDK/sdk/sax/SAXError.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>

#include "persistence/Description.h"

namespace {

using namespace TalAM::Persistence;
using Box = MSaxNestingBoundingBox;
using Geometry = MSaxNestingGeometry;
using Custom = MSaxNestingCustom;
using Nesting = MSaxMachineNesting;

// The bitmap's cells as the binary payload of "Bitmap", one 32-bit value each, in order.
struct BitmapCodec {
  bool Read(Custom& custom, TalSAX::ISAXReader& reader) const {
    // The size is the product as a signed 32-bit integer, as existing machine files expect.
    const auto cells =
        static_cast<std::int32_t>(static_cast<std::int64_t>(custom.m_width) * custom.m_height);
    if (cells < 0 || cells > Custom::kMaxBitmapCells) {
      throw TalSDK::FileIO::MSAXError::MGeneric(
          "Nesting bitmap \"Bitmap\" of " + std::to_string(custom.m_width) + " x " +
          std::to_string(custom.m_height) + " cells is negative or larger than " +
          std::to_string(Custom::kMaxBitmapCells) + " cells");
    }
    MSAXStreamBinaryIn in = reader.GetBinaryInStream();
    custom.m_bitmap.resize(static_cast<std::size_t>(cells));
    for (std::uint32_t& cell : custom.m_bitmap) {
      TalSAX::UserUint32_t value{cell};
      in >> value;
      cell = value.value;
    }
    return true;
  }
  bool Write(const Custom& custom, TalSAX::ISAXWriter& writer, std::string_view tag) const {
    MSAXStreamBinaryOut out = writer.CreateBinaryOut();
    for (const std::uint32_t cell : custom.m_bitmap)
      out << TalSAX::UserUint32_t{cell};
    return writer.WriteBinaryElement(tag, out);
  }
  bool Equal(const Custom& a, const Custom& b) const { return a.m_bitmap == b.m_bitmap; }
  void Visit(const Custom& custom, TalAM::FieldVisit& visit, std::string_view tag) const {
    visit.Value(tag, TalAM::FieldKind::Integer,
                ValueText(static_cast<long>(custom.m_bitmap.size())) + " cells");
  }
};

constexpr auto kBoxFields =
    Describe<Box>(OwnTag<Box>("BoundingBox"), Length("Interval", &Box::m_interval),
                  Length("Margin", &Box::m_margin), Value("Placement", &Box::m_placement));

constexpr auto kGeometryFields = Describe<Geometry>(
    OwnTag<Geometry>("Geometry"), Length("Interval", &Geometry::m_interval),
    Length("Margin", &Geometry::m_margin), Value("Placement", &Geometry::m_placement),
    Value("PlacementSolution", &Geometry::m_placementSolution),
    Value("RotationAngle", &Geometry::m_rotationAngle));

// "Width" and "Height" must come before "Bitmap" in a file: a bitmap read before them is empty.
constexpr auto kCustomFields = Describe<Custom>(
    Value("Height", &Custom::m_height), Value("Width", &Custom::m_width),
    Value("Accuracy", &Custom::m_accuracy), Value("ShowCustomBitmap", &Custom::m_showCustomBitmap),
    Field<Custom, BitmapCodec>("Bitmap", {}).WriteIf([](const Custom& c) {
      return !c.m_bitmap.empty();
    }));

constexpr auto kNestingFields = Describe<Nesting>(
    OwnTag<Nesting>("Nesting"), Value("Enabled", &Nesting::m_enabled),
    Value("MultiPlatformNesting", &Nesting::m_multiPlatformNesting),
    Value("Type", &Nesting::m_type), Child("BoundingBox", &Nesting::m_boundingBox),
    Child("Geometry", &Nesting::m_geometry), Child("Custom", &Nesting::m_custom),
    Value("SortByZ", &Nesting::m_sortByZ), Value("SortByZType", &Nesting::m_sortByZType));

}  // namespace

MSaxNestingBoundingBox::MSaxNestingBoundingBox()
    : m_interval(10 * MUnit::GetIE()), m_margin(10 * MUnit::GetIE()) {}
TALAM_DESCRIBED_BLOCK(MSaxNestingBoundingBox, kBoxFields)
void MSaxNestingBoundingBox::SetDefaults() {
  kBoxFields.SetDefaults(*this);
}

MSaxNestingGeometry::MSaxNestingGeometry()
    : m_interval(5 * MUnit::GetIE()), m_margin(5 * MUnit::GetIE()) {}
TALAM_DESCRIBED_BLOCK(MSaxNestingGeometry, kGeometryFields)
void MSaxNestingGeometry::SetDefaults() {
  kGeometryFields.SetDefaults(*this);
}

TALAM_DESCRIBED_BLOCK(MSaxNestingCustom, kCustomFields)
void MSaxNestingCustom::SetDefaults() {
  kCustomFields.SetDefaults(*this);
}

TALAM_DESCRIBED_BLOCK(MSaxMachineNesting, kNestingFields)
void MSaxMachineNesting::SetDefaults() {
  kNestingFields.SetDefaults(*this);
}
MSaxMachineNesting::NodeList MSaxMachineNesting::GetExtensibleObjectNodes() const {
  return kNestingFields.Nodes(*this);
}
