#include <TalSDK/sdk/mesh/StlBase.h>

#include <algorithm>
#include <utility>

#include <TalSDK/sdk/common/Units.h>

namespace {

constexpr double kMillimetresPerInch = 25.4;

bool IndicesValid(const std::vector<MStlTriangle>& triangles, std::size_t vertexCount) {
  return std::all_of(triangles.begin(), triangles.end(), [vertexCount](const MStlTriangle& t) {
    return t.v[0] < vertexCount && t.v[1] < vertexCount && t.v[2] < vertexCount;
  });
}

}  // namespace

// --- MStlProperties ---

MStlProperties::MStlProperties(const Box& box, double volume, std::size_t vertexCount,
                               std::size_t triangleCount)
    : m_box(box), m_volume(volume), m_vertexCount(vertexCount), m_triangleCount(triangleCount) {}

double MStlProperties::Convert(double millimetres, MStlUnit unit, bool internalUnits) const {
  if (internalUnits) return millimetres * MUnit::GetIE();
  return unit == MStlUnit::Inch ? millimetres / kMillimetresPerInch : millimetres;
}

double MStlProperties::Corner(bool maximum, std::size_t axis, MStlUnit unit,
                              bool internalUnits) const {
  if (m_box.IsEmpty()) return 0.0;
  return Convert(maximum ? m_box.Max(axis) : m_box.Min(axis), unit, internalUnits);
}

double MStlProperties::GetMinX(MStlUnit unit, bool internalUnits) const {
  return Corner(false, 0, unit, internalUnits);
}
double MStlProperties::GetMinY(MStlUnit unit, bool internalUnits) const {
  return Corner(false, 1, unit, internalUnits);
}
double MStlProperties::GetMinZ(MStlUnit unit, bool internalUnits) const {
  return Corner(false, 2, unit, internalUnits);
}
double MStlProperties::GetMaxX(MStlUnit unit, bool internalUnits) const {
  return Corner(true, 0, unit, internalUnits);
}
double MStlProperties::GetMaxY(MStlUnit unit, bool internalUnits) const {
  return Corner(true, 1, unit, internalUnits);
}
double MStlProperties::GetMaxZ(MStlUnit unit, bool internalUnits) const {
  return Corner(true, 2, unit, internalUnits);
}

double MStlProperties::GetVolume(MStlUnit unit) const {
  if (unit == MStlUnit::Inch) {
    return m_volume / (kMillimetresPerInch * kMillimetresPerInch * kMillimetresPerInch);
  }
  return m_volume;
}

// --- MStlBase ---

MStlBase::MStlBase() = default;
MStlBase::MStlBase(const MStlBase& other) = default;
MStlBase::MStlBase(MStlBase&& other) noexcept = default;
MStlBase& MStlBase::operator=(const MStlBase& other) = default;
MStlBase& MStlBase::operator=(MStlBase&& other) noexcept = default;
MStlBase::~MStlBase() = default;

bool MStlBase::Copy(const MStlBase& source, const MStlProgress* progress) {
  if (&source == this) return true;
  const auto report = [progress](double fraction) {
    return progress == nullptr || !*progress || (*progress)(fraction);
  };

  // Everything is copied aside first, so that a cancellation (or an allocation failure)
  // leaves this mesh as it was.
  if (!report(0.0)) return false;
  std::vector<MStlVertex> vertices = source.m_vertices;
  const double total = static_cast<double>(source.m_vertices.size() + source.m_triangles.size());
  if (!report(total > 0.0 ? static_cast<double>(source.m_vertices.size()) / total : 0.5)) {
    return false;
  }
  std::vector<MStlTriangle> triangles = source.m_triangles;
  std::wstring name = source.m_name;
  MSaxPersistExtensibleObject kept = source;
  if (!report(1.0)) return false;

  kept.SetOperatingMode(GetOperatingMode());
  m_vertices = std::move(vertices);
  m_triangles = std::move(triangles);
  m_name = std::move(name);
  static_cast<MSaxPersistExtensibleObject&>(*this) = std::move(kept);
  m_support = source.m_support;
  return true;
}

void MStlBase::ClearStl(bool releaseMemory) {
  if (releaseMemory) {
    std::vector<MStlVertex>().swap(m_vertices);
    std::vector<MStlTriangle>().swap(m_triangles);
  } else {
    m_vertices.clear();
    m_triangles.clear();
  }
}

bool MStlBase::AddTriangle(const MStlTriangle& triangle) {
  const std::size_t n = m_vertices.size();
  if (triangle.v[0] >= n || triangle.v[1] >= n || triangle.v[2] >= n) return false;
  m_triangles.push_back(triangle);
  return true;
}

bool MStlBase::SetGeometry(std::vector<MStlVertex> vertices, std::vector<MStlTriangle> triangles) {
  if (!IndicesValid(triangles, vertices.size())) return false;
  m_vertices = std::move(vertices);
  m_triangles = std::move(triangles);
  return true;
}

void MStlBase::SetVertices(std::vector<MStlVertex> vertices) {
  m_vertices = std::move(vertices);
  m_triangles.clear();
}

bool MStlBase::SetTriangles(std::vector<MStlTriangle> triangles) {
  if (!IndicesValid(triangles, m_vertices.size())) return false;
  m_triangles = std::move(triangles);
  return true;
}

MStlProperties MStlBase::GetProperties() const {
  MStlProperties::Box box;
  for (const MStlVertex& v : m_vertices)
    box.Add({v.x, v.y, v.z});

  // Divergence theorem: each triangle spans a signed tetrahedron with the origin. Summed in
  // double, since the float coordinates are multiplied three at a time.
  double sixfold = 0.0;
  for (const MStlTriangle& t : m_triangles) {
    const MStlVertex& a = m_vertices[t.v[0]];
    const MStlVertex& b = m_vertices[t.v[1]];
    const MStlVertex& c = m_vertices[t.v[2]];
    const double cx = static_cast<double>(b.y) * c.z - static_cast<double>(b.z) * c.y;
    const double cy = static_cast<double>(b.z) * c.x - static_cast<double>(b.x) * c.z;
    const double cz = static_cast<double>(b.x) * c.y - static_cast<double>(b.y) * c.x;
    sixfold += a.x * cx + a.y * cy + a.z * cz;
  }
  return MStlProperties(box, sixfold / 6.0, m_vertices.size(), m_triangles.size());
}
