#pragma once
// Locked areas: regions of the build volume where nothing may be placed. An area is a box, an
// upright cylinder or a free shape given by a triangle mesh; AreaHolder keeps one area of any
// kind with its type identifier and visibility. All lengths are platform coordinates, compared
// exactly.

#include <any>
#include <memory>
#include <string>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/sdk/mesh/StlBase.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>

namespace LockedAreas {

// The type identifiers of the three kinds of area, as machine files hold them.
TALSDK_MACHINES_EXPORT const std::wstring& RectangleTypeId();
TALSDK_MACHINES_EXPORT const std::wstring& CylindricalTypeId();
TALSDK_MACHINES_EXPORT const std::wstring& CustomShapeTypeId();

struct TALSDK_MACHINES_EXPORT Coordinate2D {
  Coordinate2D(double xValue, double yValue) : x(xValue), y(yValue) {}
  bool operator==(const Coordinate2D&) const = default;

  double x;
  double y;
};

struct TALSDK_MACHINES_EXPORT CoordinateZ {
  CoordinateZ(double min, double max) : zMin(min), zMax(max) {}
  bool operator==(const CoordinateZ&) const = default;
  // zMax - zMin; an inverted range gives a negative distance.
  double Distance() const { return zMax - zMin; }

  double zMin;
  double zMax;
};

// A box: its centre and extents in x and y, and its z range.
class TALSDK_MACHINES_EXPORT Rectangle : public TalSDK::MSaxPersistExtensibleObject {
 public:
  Rectangle() = default;
  Rectangle(const Rectangle&) = default;
  Rectangle(Rectangle&&) = default;
  Rectangle& operator=(const Rectangle&) = default;
  Rectangle& operator=(Rectangle&&) = default;
  ~Rectangle() override;

  // Kept elements, then every member exactly.
  bool operator==(const Rectangle& other) const;

  Coordinate2D center{10.0, 10.0};
  Coordinate2D width{10.0, 10.0};  // extent in x, extent in y
  CoordinateZ height{0.0, 100.0};
  bool fullPlatformHeight = false;  // the area spans the full platform height
};

// An upright cylinder.
class TALSDK_MACHINES_EXPORT Cylindrical : public TalSDK::MSaxPersistExtensibleObject {
 public:
  Cylindrical() = default;
  Cylindrical(const Cylindrical&) = default;
  Cylindrical(Cylindrical&&) = default;
  Cylindrical& operator=(const Cylindrical&) = default;
  Cylindrical& operator=(Cylindrical&&) = default;
  ~Cylindrical() override;

  // Kept elements, then every member exactly.
  bool operator==(const Cylindrical& other) const;

  Coordinate2D center{10.0, 10.0};
  double radius = 5.0;
  CoordinateZ height{0.0, 100.0};
  bool fullPlatformHeight = false;
};

// A free shape outlined by a triangle mesh. Copies share the mesh until MakeStlPrivate.
class TALSDK_MACHINES_EXPORT CustomShape : public TalSDK::MSaxPersistExtensibleObject {
 public:
  CustomShape() = default;
  CustomShape(const CustomShape&) = default;
  CustomShape(CustomShape&&) = default;
  CustomShape& operator=(const CustomShape&) = default;
  CustomShape& operator=(CustomShape&&) = default;
  ~CustomShape() override;

  // The meshes' bounding boxes and volumes (millimetres), then the kept elements. Different
  // meshes with the same box and volume compare equal.
  bool operator==(const CustomShape& other) const;
  bool operator!=(const CustomShape& other) const { return !(*this == other); }

  // Replaces the shared mesh by a private copy of it.
  void MakeStlPrivate();

  // This shape, then its mesh (which keeps unknown elements of its own).
  NodeList GetExtensibleObjectNodes() const override;

  std::shared_ptr<MStlBase> stl = std::make_shared<MStlBase>();
};

// One area of any kind: a Rectangle, Cylindrical or CustomShape as the identifier says.
class TALSDK_MACHINES_EXPORT AreaHolder {
 public:
  AreaHolder() = default;
  AreaHolder(std::wstring typeId, std::any value, bool visible = true);
  AreaHolder(const AreaHolder&) = default;
  AreaHolder(AreaHolder&&) = default;
  AreaHolder& operator=(const AreaHolder&) = default;
  AreaHolder& operator=(AreaHolder&&) = default;
  ~AreaHolder();

  const std::wstring& GetTypeId() const { return m_typeId; }
  std::any& GetValue() { return m_value; }
  const std::any& GetValue() const { return m_value; }
  bool IsVisible() const { return m_visible; }
  void SetVisible(bool visible) { m_visible = visible; }
  void swap(AreaHolder& other);

  // A custom shape takes a private copy of its mesh (std::bad_any_cast when the value is no
  // CustomShape); other kinds are left as they are.
  void MakeDataPrivate();

 private:
  std::wstring m_typeId;
  std::any m_value;
  bool m_visible = true;
};

}  // namespace LockedAreas
