#include <TalSDK/lockedareas/AreasData.h>

#include <stdexcept>
#include <string_view>
#include <utility>

#include <TalSDK/persistence/ValueTags.h>
#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/mesh/SaxStlBase.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include <TalSDK/sdk/sax/StreamTextOut.h>

#include "persistence/Description.h"

namespace LockedAreas::SAX {

namespace {

using TalAM::FieldKind;
using TalAM::WriteValueTag;

using namespace TalAM::Persistence;

// Each area's parameters, doubles with 17 digits. The heights are written also when the area
// spans the full platform height.
constexpr auto kRectangleFields = Describe<Rectangle>(
    Value<Rectangle>("CenterX", InMember(&Rectangle::center, &Coordinate2D::x)),
    Value<Rectangle>("CenterY", InMember(&Rectangle::center, &Coordinate2D::y)),
    Value<Rectangle>("WidthX", InMember(&Rectangle::width, &Coordinate2D::x)),
    Value<Rectangle>("WidthY", InMember(&Rectangle::width, &Coordinate2D::y)),
    Value("FullPlatformHeight", &Rectangle::fullPlatformHeight),
    Value<Rectangle>("HeightZMin", InMember(&Rectangle::height, &CoordinateZ::zMin)),
    Value<Rectangle>("HeightZMax", InMember(&Rectangle::height, &CoordinateZ::zMax)));

constexpr auto kCylinderFields = Describe<Cylindrical>(
    Value<Cylindrical>("CenterX", InMember(&Cylindrical::center, &Coordinate2D::x)),
    Value<Cylindrical>("CenterY", InMember(&Cylindrical::center, &Coordinate2D::y)),
    Value("Radius", &Cylindrical::radius),
    Value("FullPlatformHeight", &Cylindrical::fullPlatformHeight),
    Value<Cylindrical>("HeightZMin", InMember(&Cylindrical::height, &CoordinateZ::zMin)),
    Value<Cylindrical>("HeightZMax", InMember(&Cylindrical::height, &CoordinateZ::zMax)));

// The shape's mesh is read into in place, never replaced.
struct ShapeMesh {
  const MStlBase* Find(const CustomShape& shape) const { return shape.stl.get(); }
  MStlBase& Access(CustomShape& shape) const { return *shape.stl; }
};

// The mesh's own write result adds nothing: the shape's kept elements decide.
constexpr auto kCustomShapeFields =
    Describe<CustomShape>(Mesh<CustomShape>("Mesh", ShapeMesh{}).WriteResultIgnored());

const char* BoolText(bool value) {
  return value ? "true" : "false";
}

// A new default shape of type T in mode `mode`, stored in the map under `name` (replacing
// any area of that name); returns the shape inside the map.
template <class T>
T& StoreArea(std::map<std::wstring, AreaHolder>& areas, const std::wstring& name,
             const std::wstring& typeId, bool visible,
             TalSDK::MSaxPersistExtensibleObject::OperatingMode mode) {
  T shape;
  shape.SetOperatingMode(mode);
  auto it = areas.insert_or_assign(name, AreaHolder(typeId, std::move(shape), visible)).first;
  return std::any_cast<T&>(it->second.GetValue());
}

bool WriteParameters(const AreaHolder& area, TalSAX::ISAXWriter& writer) {
  const std::wstring& id = area.GetTypeId();
  if (id == RectangleTypeId()) {
    return RectangleAreaData(std::any_cast<const Rectangle&>(area.GetValue())).Write(writer);
  }
  if (id == CylindricalTypeId()) {
    return CylindricalAreaData(std::any_cast<const Cylindrical&>(area.GetValue())).Write(writer);
  }
  if (id == CustomShapeTypeId()) {
    return CustomShapeAreaData(std::any_cast<const CustomShape&>(area.GetValue())).Write(writer);
  }
  return true;  // an unknown kind has no parameters to write
}

bool EqualValues(const AreaHolder& a, const AreaHolder& b) {
  const std::wstring& id = a.GetTypeId();
  if (id == RectangleTypeId()) {
    return std::any_cast<const Rectangle&>(a.GetValue()) ==
           std::any_cast<const Rectangle&>(b.GetValue());
  }
  if (id == CylindricalTypeId()) {
    return std::any_cast<const Cylindrical&>(a.GetValue()) ==
           std::any_cast<const Cylindrical&>(b.GetValue());
  }
  if (id == CustomShapeTypeId()) {
    return std::any_cast<const CustomShape&>(a.GetValue()) ==
           std::any_cast<const CustomShape&>(b.GetValue());
  }
  // An unknown kind cannot be compared by content.
  return a.GetValue().type() == b.GetValue().type();
}

void VisitParameters(TalAM::FieldVisit& visit, const AreaHolder& area) {
  const std::wstring& id = area.GetTypeId();
  if (id == RectangleTypeId()) {
    kRectangleFields.Visit(std::any_cast<const Rectangle&>(area.GetValue()), visit);
  } else if (id == CylindricalTypeId()) {
    kCylinderFields.Visit(std::any_cast<const Cylindrical&>(area.GetValue()), visit);
  } else if (id == CustomShapeTypeId()) {
    kCustomShapeFields.Visit(std::any_cast<const CustomShape&>(area.GetValue()), visit);
  }
}

}  // namespace

AreasData::AreasData() = default;

AreasData::AreasData(const AreasData& other)
    : ISAXReference(other),
      ISAXPersist(other),
      MSaxPersistExtensibleObject(other),
      m_areaName(other.m_areaName),
      m_areaType(other.m_areaType),
      m_areaVisibility(other.m_areaVisibility),
      m_areaVisibilityRead(other.m_areaVisibilityRead),
      m_areas(other.m_areas),
      m_areasEnabled(other.m_areasEnabled) {
  for (auto& [name, area] : m_areas)
    area.MakeDataPrivate();
}

AreasData& AreasData::operator=(const AreasData& other) {
  if (this == &other) return *this;
  ISAXPersist::operator=(other);
  MSaxPersistExtensibleObject::operator=(other);
  m_areaName = other.m_areaName;
  m_areaType = other.m_areaType;
  m_areaVisibility = other.m_areaVisibility;
  m_areaVisibilityRead = other.m_areaVisibilityRead;
  m_areas = other.m_areas;
  m_areasEnabled = other.m_areasEnabled;
  for (auto& [name, area] : m_areas)
    area.MakeDataPrivate();
  return *this;
}

AreasData::~AreasData() = default;

bool AreasData::operator==(const AreasData& other) const {
  if (m_areasEnabled != other.m_areasEnabled || m_areas.size() != other.m_areas.size()) {
    return false;
  }
  for (auto a = m_areas.begin(), b = other.m_areas.begin(); a != m_areas.end(); ++a, ++b) {
    if (a->first != b->first || a->second.GetTypeId() != b->second.GetTypeId() ||
        a->second.IsVisible() != b->second.IsVisible() || !EqualValues(a->second, b->second)) {
      return false;
    }
  }
  return MSaxPersistExtensibleObject::operator==(other);
}

AreasData::NodeList AreasData::GetExtensibleObjectNodes() const {
  NodeList nodes = MSaxPersistExtensibleObject::GetExtensibleObjectNodes();
  for (const auto& [name, area] : m_areas) {
    const std::wstring& id = area.GetTypeId();
    const std::any& value = area.GetValue();
    if (id == RectangleTypeId()) {
      nodes.emplace_back(std::any_cast<const Rectangle&>(value));
    } else if (id == CylindricalTypeId()) {
      nodes.emplace_back(std::any_cast<const Cylindrical&>(value));
    } else if (id == CustomShapeTypeId()) {
      TalSDK::MSaxPersistExtensibleObjectUtilities::RecursiveInsertNodes(
          nodes, std::any_cast<const CustomShape&>(value));
    } else {
      throw std::logic_error("SAX::AreasData, GetExtensibleObjectNodes : unexpected area type id");
    }
  }
  return nodes;
}

bool AreasData::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  // Machine files nest the block in a "LockedAreas" element of the same name; the inner start
  // tag arrives here and is accepted so that its content keeps coming to this object.
  if (tagName == "LockedAreas") return true;
  if (tagName == "AreasEnabled") return reader.ReadValue(m_areasEnabled);
  if (tagName == "AreaName") return reader.ReadValue(m_areaName);
  if (tagName == "AreaVisibility") {
    m_areaVisibilityRead = reader.ReadValue(m_areaVisibility);
    return m_areaVisibilityRead;
  }
  if (tagName == "AreaType") return reader.ReadValue(m_areaType);
  if (tagName != "AreaParameters") {
    return TalSDK::MSaxPersistExtensibleObjectReader(*this).HandleTag(tagName, reader);
  }

  const OperatingMode mode = GetOperatingMode();
  // Without a preceding "AreaVisibility" a custom shape is hidden while boxes and cylinders
  // show: kept for compatibility with existing machine files.
  bool defaultVisibility = true;
  if (m_areaType == RectangleTypeId()) {
    auto& shape = StoreArea<Rectangle>(m_areas, m_areaName, m_areaType, m_areaVisibility, mode);
    reader.DelegateToOwnedChild(new RectangleAreaData(shape));
  } else if (m_areaType == CylindricalTypeId()) {
    auto& shape = StoreArea<Cylindrical>(m_areas, m_areaName, m_areaType, m_areaVisibility, mode);
    reader.DelegateToOwnedChild(new CylindricalAreaData(shape));
  } else if (m_areaType == CustomShapeTypeId()) {
    auto& shape = StoreArea<CustomShape>(m_areas, m_areaName, m_areaType, m_areaVisibility, mode);
    reader.DelegateToOwnedChild(new CustomShapeAreaData(shape));
    defaultVisibility = false;
  } else {
    return false;
  }
  AreaHolder& area = m_areas[m_areaName];
  if (m_areaVisibilityRead) {
    area.SetVisible(m_areaVisibility);
    m_areaVisibilityRead = false;
  } else {
    area.SetVisible(defaultVisibility);
  }
  return true;
}

bool AreasData::Write(TalSAX::ISAXWriter& writer) const {
  MSAXTagWriter block(writer, "LockedAreas");
  WriteValueTag(writer, "AreasEnabled", m_areasEnabled);
  for (const auto& [name, area] : m_areas) {
    WriteValueTag(writer, "AreaName", name);
    WriteValueTag(writer, "AreaVisibility", area.IsVisible());
    WriteValueTag(writer, "AreaType", area.GetTypeId());
    MSAXTagWriter parameters(writer, "AreaParameters");
    if (!WriteParameters(area, writer)) return false;
  }
  return TalSDK::MSaxPersistExtensibleObjectWriter(*this).Write(writer);
}

void AreasData::VisitFields(TalAM::FieldVisit& visit) const {
  visit.Value("AreasEnabled", FieldKind::Bool, BoolText(m_areasEnabled));
  visit.Enter("Areas", FieldKind::List, std::to_string(m_areas.size()));
  std::size_t number = 0;
  for (const auto& [name, area] : m_areas) {
    visit.Enter("Area[" + std::to_string(++number) + "]", FieldKind::Item);
    visit.Value("AreaName", FieldKind::String, StringConversion::NativeToUtf8(name));
    visit.Value("AreaVisibility", FieldKind::Bool, BoolText(area.IsVisible()));
    visit.Value("AreaType", FieldKind::String, StringConversion::NativeToUtf8(area.GetTypeId()));
    VisitParameters(visit, area);
    visit.Leave();
  }
  visit.Leave();
}

bool RectangleAreaData::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  return m_target != nullptr && kRectangleFields.HandleTag(tagName, *m_target, reader);
}

bool RectangleAreaData::Write(TalSAX::ISAXWriter& writer) const {
  return kRectangleFields.Write(*m_shape, writer);
}

bool CylindricalAreaData::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  return m_target != nullptr && kCylinderFields.HandleTag(tagName, *m_target, reader);
}

bool CylindricalAreaData::Write(TalSAX::ISAXWriter& writer) const {
  return kCylinderFields.Write(*m_shape, writer);
}

bool CustomShapeAreaData::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  return m_target != nullptr && kCustomShapeFields.HandleTag(tagName, *m_target, reader);
}

bool CustomShapeAreaData::Write(TalSAX::ISAXWriter& writer) const {
  return kCustomShapeFields.Write(*m_shape, writer);
}

}  // namespace LockedAreas::SAX
