#pragma once
// The optional triangle mesh of a build platform, for display and collision checks by the
// application. Persisted as the content of the platform's "PlatformStl" element: the mesh
// inside a "Mesh" element, followed by the kept unknown elements.

#include <memory>
#include <string>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/mesh/StlBase.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

class TALSDK_MACHINES_EXPORT MSAXMachinePlatformStl : public ISAXPersist,
                                                      public TalSDK::MSaxPersistExtensibleObject {
 public:
  // No mesh: the platform mesh is disabled.
  MSAXMachinePlatformStl();
  // Copies are deep. A copy into a holder that already has a mesh reuses that mesh object.
  // There are no move operations: moving copies, so a mesh is never shared or stolen.
  MSAXMachinePlatformStl(const MSAXMachinePlatformStl& other);
  MSAXMachinePlatformStl& operator=(const MSAXMachinePlatformStl& other);
  ~MSAXMachinePlatformStl() override;

  // True creates an empty mesh when there is none (an existing one is kept); false removes
  // the mesh.
  void EnablePlatformStl(bool enable);
  // True when a mesh is held, even an empty one.
  bool Enabled() const { return m_stl != nullptr; }

  // The mesh, or null when disabled; `createIfMissing` enables first. The holder keeps
  // ownership.
  MStlBase* GetPlatformStl(bool createIfMissing);
  const MStlBase* GetPlatformStl() const { return m_stl.get(); }

  // Clears the kept elements only; the mesh stays.
  // This object, then the mesh (which keeps unknown elements of its own), when there is one.
  NodeList GetExtensibleObjectNodes() const override;

  void SetDefaults() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;
  // Every field with its path, kind and value text.
  void VisitFields(TalAM::FieldVisit& visit) const;

 private:
  std::unique_ptr<MStlBase> m_stl;
};
