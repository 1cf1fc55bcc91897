#include <TalSDK/sdk/mesh/SaxStlBase.h>

#include <span>
#include <utility>
#include <vector>

#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/sax/BinaryStreams.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXError.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include <TalSDK/sdk/sax/ValueText.h>

#include "sdk/sax/Base64.h"

namespace {

constexpr std::string_view kNameTag = "Name";
constexpr std::string_view kVerticesTag = "Vertices";
constexpr std::string_view kTrianglesTag = "Triangles";

}  // namespace

MSaxStlBase::MSaxStlBase(MStlBase& mesh) : m_mesh(mesh), m_target(&mesh) {}

MSaxStlBase::MSaxStlBase(const MStlBase& mesh) : m_mesh(mesh) {}

void MSaxStlBase::SetDefaults() {
  if (m_target == nullptr) return;
  m_target->ClearStl(true);
  m_target->SetName({});
  m_target->ClearUnhandledElements();
}

bool MSaxStlBase::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  if (m_target == nullptr) return false;

  if (tagName == kNameTag) {
    std::wstring name;
    if (!reader.ReadValue(name)) return false;
    m_target->SetName(std::move(name));
    // A value element has no children of the mesh; they must not end up among its kept
    // elements.
    reader.SkipElementContent();
    return true;
  }

  // The arrays are decoded straight from the reader's text into the vectors the mesh keeps:
  // a large mesh is never held a second time.
  if (tagName == kVerticesTag) {
    std::vector<MStlVertex> vertices;
    if (!TalSAX::DecodeBinaryArray(reader.GetElementTextView(), vertices)) return false;
    // Indices read so far referred to the previous vertices.
    m_target->SetVertices(std::move(vertices));
    reader.SkipElementContent();
    return true;
  }
  if (tagName == kTrianglesTag) {
    std::vector<MStlTriangle> triangles;
    if (!TalSAX::DecodeBinaryArray(reader.GetElementTextView(), triangles)) return false;
    // Checked against the vertices read before: an index past them would be read out of
    // bounds by every user of the mesh.
    if (!m_target->SetTriangles(std::move(triangles))) return false;
    reader.SkipElementContent();
    return true;
  }

  return TalSDK::MSaxPersistExtensibleObjectReader(*m_target).HandleTag(tagName, reader);
}

bool MSaxStlBase::Write(TalSAX::ISAXWriter& writer) const {
  if (m_saveReferenceId) {
    const unsigned int id = writer.GetObjectId(&m_mesh);
    if (id == 0) return false;
    std::string idText;
    TalSAX::ValueText::Append(idText, static_cast<std::uint32_t>(id));
    if (!writer.WriteAttribute("ID", idText)) return false;
  }

  std::string name;
  try {
    name = StringConversion::NativeToUtf8(m_mesh.GetName());
  } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
    writer.Fail("the mesh name cannot be written as UTF-8: " + error.GetMessage());
  }
  writer.WriteElement(kNameTag, name);

  writer.WriteBinaryElement(kVerticesTag, std::as_bytes(std::span(m_mesh.GetVertices())));
  writer.WriteBinaryElement(kTrianglesTag, std::as_bytes(std::span(m_mesh.GetTriangles())));

  return TalSDK::MSaxPersistExtensibleObjectWriter(m_mesh).Write(writer);
}

ISAXReference* MSaxStlBase::GetObjectReference() {
  if (m_target == nullptr) return ISAXPersist::GetObjectReference();
  return m_target;
}

void MSaxStlBase::SetObjectId(unsigned int id, TalSAX::SaxIDType type) {
  if (m_target != nullptr) m_target->AssignObjectId(id, type);
}

void MSaxStlBase::SetObjectId(unsigned int id) {
  SetObjectId(id, TalSAX::SaxIDType::Object);
}
