#pragma once
// Reads and writes a triangle mesh inside the element its caller opened:
//   <Name>..</Name> <Vertices>base64</Vertices> <Triangles>base64</Triangles> [kept elements]
// Vertices are 12 bytes each (little-endian float x, y, z), triangles 12 bytes each (three
// little-endian 32-bit vertex indices).

#include <string>

#include <TalSDK/SDKExport.h>
#include <TalSDK/sdk/mesh/StlBase.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

class TALSDK_SDK_EXPORT MSaxStlBase : public ISAXPersist {
 public:
  // Reads into and writes `mesh`, which must outlive this object.
  explicit MSaxStlBase(MStlBase& mesh);
  // Writes `mesh` only; reading through this object handles no element.
  explicit MSaxStlBase(const MStlBase& mesh);

  // With true, Write adds the mesh's object id as the attribute ID of the enclosing element
  // (which must still be open for attributes), so that other elements can refer to it.
  void SetSaveReferenceID(bool save) { m_saveReferenceId = save; }
  bool GetSaveReferenceID() const { return m_saveReferenceId; }

  // Clears the mesh's geometry, name and kept elements.
  void SetDefaults() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  // The mesh (for a write-only object, this object itself).
  ISAXReference* GetObjectReference() override;
  void SetObjectId(unsigned int id, TalSAX::SaxIDType type) override;
  void SetObjectId(unsigned int id) override;

 private:
  const MStlBase& m_mesh;
  MStlBase* m_target = nullptr;  // null when write only
  bool m_saveReferenceId = false;
};
