#include <TalSDK/lockedareas/LockedAreas.h>

#include <utility>

namespace LockedAreas {

const std::wstring& RectangleTypeId() {
  static const std::wstring id = L"com.quillon.brisko.area.rectangle";
  return id;
}

const std::wstring& CylindricalTypeId() {
  static const std::wstring id = L"com.quillon.brisko.area.cylindrical";
  return id;
}

const std::wstring& CustomShapeTypeId() {
  static const std::wstring id = L"com.quillon.brisko.area.customshape";
  return id;
}

Rectangle::~Rectangle() = default;

bool Rectangle::operator==(const Rectangle& other) const {
  return MSaxPersistExtensibleObject::operator==(other) && center.x == other.center.x &&
         center.y == other.center.y && width.x == other.width.x && width.y == other.width.y &&
         height.zMin == other.height.zMin && height.zMax == other.height.zMax &&
         fullPlatformHeight == other.fullPlatformHeight;
}

Cylindrical::~Cylindrical() = default;

bool Cylindrical::operator==(const Cylindrical& other) const {
  return MSaxPersistExtensibleObject::operator==(other) && center.x == other.center.x &&
         center.y == other.center.y && radius == other.radius && height.zMin == other.height.zMin &&
         height.zMax == other.height.zMax && fullPlatformHeight == other.fullPlatformHeight;
}

CustomShape::~CustomShape() = default;

// Comparing meshes triangle by triangle would be costly for large shapes; the box and the
// volume tell apart the shapes a user edits.
bool CustomShape::operator==(const CustomShape& other) const {
  const MStlProperties a = stl->GetProperties();
  const MStlProperties b = other.stl->GetProperties();
  return a.GetMinX() == b.GetMinX() && a.GetMinY() == b.GetMinY() && a.GetMinZ() == b.GetMinZ() &&
         a.GetMaxX() == b.GetMaxX() && a.GetMaxY() == b.GetMaxY() && a.GetMaxZ() == b.GetMaxZ() &&
         a.GetVolume() == b.GetVolume() && MSaxPersistExtensibleObject::operator==(other);
}

CustomShape::NodeList CustomShape::GetExtensibleObjectNodes() const {
  NodeList nodes = MSaxPersistExtensibleObject::GetExtensibleObjectNodes();
  if (stl != nullptr)
    TalSDK::MSaxPersistExtensibleObjectUtilities::RecursiveInsertNodes(nodes, *stl);
  return nodes;
}

void CustomShape::MakeStlPrivate() {
  stl = std::make_shared<MStlBase>(*stl);
}

AreaHolder::AreaHolder(std::wstring typeId, std::any value, bool visible)
    : m_typeId(std::move(typeId)), m_value(std::move(value)), m_visible(visible) {}

AreaHolder::~AreaHolder() = default;

void AreaHolder::swap(AreaHolder& other) {
  m_typeId.swap(other.m_typeId);
  m_value.swap(other.m_value);
  std::swap(m_visible, other.m_visible);
}

void AreaHolder::MakeDataPrivate() {
  if (m_typeId == CustomShapeTypeId()) std::any_cast<CustomShape&>(m_value).MakeStlPrivate();
}

}  // namespace LockedAreas
