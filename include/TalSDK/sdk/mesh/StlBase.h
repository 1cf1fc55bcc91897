#pragma once
// The triangle mesh of a machine part (a platform shape, a clamp, a nozzle body): an indexed
// set of float vertices in millimetres and triangles referring to them. Unknown child
// elements of a mesh element are kept (MSaxPersistExtensibleObject), and the application may
// attach the support structure it generated for the mesh.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <TalSDK/SDKExport.h>
#include <TalSDK/sdk/math/BoundingBox.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

namespace TalSDK::SupportGeneration {
class MSupportSupport;
}

// One vertex, in millimetres.
struct TALSDK_SDK_EXPORT MStlVertex {
  float x = 0.0f;
  float y = 0.0f;
  float z = 0.0f;
  bool operator==(const MStlVertex&) const = default;
};

// Three indices into the vertex array. Counter-clockwise seen from outside: the normal
// (v1 - v0) x (v2 - v0) points out of the solid.
struct TALSDK_SDK_EXPORT MStlTriangle {
  std::array<std::uint32_t, 3> v{};
  bool operator==(const MStlTriangle&) const = default;
};

// Both are stored and written as raw arrays of little-endian 32-bit values.
static_assert(sizeof(MStlVertex) == 12 && std::is_trivially_copyable_v<MStlVertex>);
static_assert(sizeof(MStlTriangle) == 12 && std::is_trivially_copyable_v<MStlTriangle>);

// The unit in which mesh measurements are reported. Coordinates are always millimetres.
enum class MStlUnit { Millimetre = 0, Inch = 1 };

// Reports the progress of a long operation as a fraction in [0, 1]; returning false cancels.
using MStlProgress = std::function<bool(double fraction)>;

// Measurements of a mesh, taken when GetProperties is called.
class TALSDK_SDK_EXPORT MStlProperties {
 public:
  using Box = TalSDK::Math::boundingbox<double, 3>;

  // An empty mesh.
  MStlProperties() = default;
  // `box` over the vertices (empty for none), `volume` in cubic millimetres.
  MStlProperties(const Box& box, double volume, std::size_t vertexCount, std::size_t triangleCount);

  // The bounding box corners in `unit`, or with `internalUnits` in internal units
  // (millimetres * MUnit::GetIE(); `unit` is then ignored). 0 for an empty mesh.
  double GetMinX(MStlUnit unit = MStlUnit::Millimetre, bool internalUnits = false) const;
  double GetMinY(MStlUnit unit = MStlUnit::Millimetre, bool internalUnits = false) const;
  double GetMinZ(MStlUnit unit = MStlUnit::Millimetre, bool internalUnits = false) const;
  double GetMaxX(MStlUnit unit = MStlUnit::Millimetre, bool internalUnits = false) const;
  double GetMaxY(MStlUnit unit = MStlUnit::Millimetre, bool internalUnits = false) const;
  double GetMaxZ(MStlUnit unit = MStlUnit::Millimetre, bool internalUnits = false) const;

  // The enclosed volume in cubic `unit`s. Positive for a closed mesh whose triangles face
  // outwards, negative when they all face inwards; not meaningful for an open mesh.
  double GetVolume(MStlUnit unit = MStlUnit::Millimetre) const;

  // In millimetres; empty for a mesh without vertices.
  const Box& GetBoundingBox() const { return m_box; }
  std::size_t GetVertexCount() const { return m_vertexCount; }
  std::size_t GetTriangleCount() const { return m_triangleCount; }

 private:
  double Convert(double millimetres, MStlUnit unit, bool internalUnits) const;
  double Corner(bool maximum, std::size_t axis, MStlUnit unit, bool internalUnits) const;

  Box m_box;
  double m_volume = 0.0;
  std::size_t m_vertexCount = 0;
  std::size_t m_triangleCount = 0;
};

class TALSDK_SDK_EXPORT MStlBase : public ISAXReference,
                                   public TalSDK::MSaxPersistExtensibleObject {
 public:
  using SupportPtr = std::shared_ptr<const TalSDK::SupportGeneration::MSupportSupport>;

  MStlBase();
  // Copies are deep, except for the attached support, which copies share (it is immutable).
  MStlBase(const MStlBase& other);
  MStlBase(MStlBase&& other) noexcept;
  MStlBase& operator=(const MStlBase& other);
  MStlBase& operator=(MStlBase&& other) noexcept;
  ~MStlBase() override;

  // Makes this mesh a copy of `source`: geometry, name, kept elements and attached support
  // (its object id and operating mode stay). `progress` is called a few times; when it
  // returns false the copy is abandoned, this mesh is unchanged and the result is false.
  bool Copy(const MStlBase& source, const MStlProgress* progress = nullptr);

  // Removes the vertices and triangles; the name, kept elements and support stay. With
  // `releaseMemory` the arrays also give their memory back.
  void ClearStl(bool releaseMemory);

  const std::wstring& GetName() const { return m_name; }
  void SetName(std::wstring name) { m_name = std::move(name); }

  const std::vector<MStlVertex>& GetVertices() const { return m_vertices; }
  const std::vector<MStlTriangle>& GetTriangles() const { return m_triangles; }
  std::size_t GetVertexCount() const { return m_vertices.size(); }
  std::size_t GetTriangleCount() const { return m_triangles.size(); }

  void AddVertex(const MStlVertex& vertex) { m_vertices.push_back(vertex); }
  // False (and nothing added) when an index does not name an existing vertex.
  bool AddTriangle(const MStlTriangle& triangle);
  // Replaces the whole geometry. False, and the mesh unchanged, when a triangle refers to a
  // vertex that does not exist.
  bool SetGeometry(std::vector<MStlVertex> vertices, std::vector<MStlTriangle> triangles);
  // Replaces the vertices and removes the triangles, whose indices referred to the old ones.
  void SetVertices(std::vector<MStlVertex> vertices);
  // Replaces the triangles; false, and the mesh unchanged, when one refers to a vertex that
  // does not exist.
  bool SetTriangles(std::vector<MStlTriangle> triangles);

  MStlProperties GetProperties() const;

  // The support structure the application generated for this mesh, or null.
  const SupportPtr& GetAttachedSupport() const { return m_support; }
  void SetAttachedSupport(SupportPtr support) { m_support = std::move(support); }

  // Records the object id the mesh was read under (used by its persist object).
  void AssignObjectId(unsigned int id, TalSAX::SaxIDType type = TalSAX::SaxIDType::Object) {
    StoreObjectId(id, type);
  }

 private:
  std::wstring m_name;
  std::vector<MStlVertex> m_vertices;
  std::vector<MStlTriangle> m_triangles;
  SupportPtr m_support;
};
