#include "persistence/Description.h"

#include <cmath>
#include <optional>

#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/common/Units.h>
#include <TalSDK/sdk/sax/StreamTextOut.h>

namespace TalAM::Persistence {

namespace {

template <class T>
std::string Formatted(T value) {
  MStreamTextOut<wchar_t> out;
  out << value;
  return StringConversion::NativeToUtf8(out.str());
}

// The length mode of Concept Laser files; 0 until a file operation sets it.
int g_clLengthMode = 0;

// A length in internal units from a length in `millimetresPerUnit`: rounded half away from
// zero (std::round, exact also next to .5 where adding 0.5 would round up) and clamped to 32
// bits, infinities included. NaN has no integer value: nothing, and the read fails.
std::optional<std::int32_t> InternalUnits(double length, double millimetresPerUnit) {
  const double v =
      length * millimetresPerUnit * TalSDK::Common::MInternalUnits::GetInstance().Get();
  if (std::isnan(v)) return std::nullopt;
  const double rounded = std::round(v);
  if (rounded >= 2147483647.0) return 2147483647;
  if (rounded <= -2147483648.0) return -2147483647 - 1;
  return static_cast<std::int32_t>(rounded);
}

}  // namespace

std::string ValueText(bool value) {
  return Formatted(value);
}
std::string ValueText(int value) {
  return Formatted(value);
}
std::string ValueText(unsigned int value) {
  return Formatted(value);
}
std::string ValueText(long value) {
  return Formatted(value);
}
std::string ValueText(unsigned short value) {
  return Formatted(value);
}
std::string ValueText(float value) {
  return Formatted(value);
}
std::string ValueText(double value) {
  return Formatted(value);
}
std::string ValueText(const std::wstring& value) {
  std::string utf8;
  if (StringConversion::TryNativeToUtf8(value, utf8)) return utf8;
  std::wstring shown = value;
  for (wchar_t& c : shown) {
    const auto code = static_cast<std::uint32_t>(c);
    if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) c = L'\xFFFD';
  }
  return StringConversion::NativeToUtf8(shown);
}

int GetClLengthMode() {
  return g_clLengthMode;
}

void SetClLengthMode(int mode) {
  g_clLengthMode = mode;
}

ScopedClLengthMode::ScopedClLengthMode(int mode) : m_previous(g_clLengthMode) {
  g_clLengthMode = mode;
}

ScopedClLengthMode::~ScopedClLengthMode() {
  g_clLengthMode = m_previous;
}

namespace Detail {

void VisitMesh(const MStlBase& mesh, FieldVisit& visit, std::string_view tag) {
  const std::string triangles = ValueText(static_cast<long>(mesh.GetTriangleCount()));
  const std::string vertices = ValueText(static_cast<long>(mesh.GetVertexCount()));
  visit.Enter(tag, FieldKind::Mesh, triangles + " triangles, " + vertices + " vertices");
  visit.Value("Name", FieldKind::String, ValueText(mesh.GetName()));
  visit.Value("Triangles", FieldKind::Integer, triangles);
  visit.Value("Vertices", FieldKind::Integer, vertices);
  if (mesh.GetTriangleCount() > 0) {
    const MStlProperties p = mesh.GetProperties();
    MStreamTextOut<wchar_t> box;
    box << p.GetMinX() << p.GetMinY() << p.GetMinZ() << p.GetMaxX() << p.GetMaxY() << p.GetMaxZ();
    visit.Value("BoundingBox", FieldKind::String, StringConversion::NativeToUtf8(box.str()));
    visit.Value("Volume", FieldKind::Double, ValueText(p.GetVolume()));
  }
  visit.Leave();
}

bool ReadClLength(TalSAX::ISAXReader& reader, std::int32_t& value) {
  switch (g_clLengthMode) {
    case 0:
      return reader.ReadValue(value);
    case 1:
    case 2: {
      double length = 0.0;
      if (!reader.ReadValue(length)) return false;
      const std::optional<std::int32_t> units =
          InternalUnits(length, g_clLengthMode == 2 ? 25.4 : 1.0);
      if (!units) return false;
      value = *units;
      return true;
    }
    default:
      return false;
  }
}

bool WriteClLength(TalSAX::ISAXWriter& writer, std::string_view tag, std::int32_t value) {
  const double unit = TalSDK::Common::MInternalUnits::GetInstance().Get();
  switch (g_clLengthMode) {
    case 0:
      return WriteValueTag(writer, tag, value);
    case 1:
      return WriteValueTag(writer, tag, value / unit, 17, false);
    case 2:
      return WriteValueTag(writer, tag, value / unit / 25.4, 17, false);
    default:
      return false;
  }
}

}  // namespace Detail

}  // namespace TalAM::Persistence
