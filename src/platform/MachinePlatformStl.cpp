#include <TalSDK/platform/MachinePlatformStl.h>

#include <string_view>

#include <TalSDK/sdk/mesh/SaxStlBase.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>

namespace {

constexpr std::string_view kMeshTag = "Mesh";

}  // namespace

MSAXMachinePlatformStl::MSAXMachinePlatformStl() = default;

MSAXMachinePlatformStl::MSAXMachinePlatformStl(const MSAXMachinePlatformStl& other)
    : ISAXReference(other), ISAXPersist(other), MSaxPersistExtensibleObject(other) {
  if (other.m_stl != nullptr) {
    m_stl = std::make_unique<MStlBase>();
    m_stl->Copy(*other.m_stl);
  }
}

MSAXMachinePlatformStl& MSAXMachinePlatformStl::operator=(const MSAXMachinePlatformStl& other) {
  if (this == &other) return *this;
  ISAXPersist::operator=(other);
  MSaxPersistExtensibleObject::operator=(other);
  if (other.m_stl != nullptr) {
    if (m_stl == nullptr) m_stl = std::make_unique<MStlBase>();
    m_stl->Copy(*other.m_stl);
  } else {
    m_stl.reset();
  }
  return *this;
}

MSAXMachinePlatformStl::~MSAXMachinePlatformStl() = default;

void MSAXMachinePlatformStl::EnablePlatformStl(bool enable) {
  if (!enable) {
    m_stl.reset();
  } else if (m_stl == nullptr) {
    m_stl = std::make_unique<MStlBase>();
  }
}

MStlBase* MSAXMachinePlatformStl::GetPlatformStl(bool createIfMissing) {
  if (createIfMissing) EnablePlatformStl(true);
  return m_stl.get();
}

void MSAXMachinePlatformStl::SetDefaults() {
  ClearUnhandledElements();
}

bool MSAXMachinePlatformStl::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  if (tagName == kMeshTag) {
    // A later "Mesh" replaces the earlier one entirely; the old mesh goes first so that two
    // large meshes are never held at once.
    m_stl.reset();
    m_stl = std::make_unique<MStlBase>();
    // Unknown elements inside the mesh follow the holder's mode, like the rest of the machine.
    m_stl->SetOperatingMode(GetOperatingMode());
    reader.DelegateToOwnedChild(new MSaxStlBase(*m_stl));
    return true;
  }
  return TalSDK::MSaxPersistExtensibleObjectReader(*this).HandleTag(tagName, reader);
}

MSAXMachinePlatformStl::NodeList MSAXMachinePlatformStl::GetExtensibleObjectNodes() const {
  NodeList nodes = MSaxPersistExtensibleObject::GetExtensibleObjectNodes();
  if (m_stl != nullptr)
    TalSDK::MSaxPersistExtensibleObjectUtilities::RecursiveInsertNodes(nodes, *m_stl);
  return nodes;
}

bool MSAXMachinePlatformStl::Write(TalSAX::ISAXWriter& writer) const {
  if (m_stl != nullptr) {
    MSAXTagWriter mesh(writer, kMeshTag);
    const MStlBase& stl = *m_stl;
    // Without a reference id the mesh write can only fail by throwing: its result adds nothing.
    MSaxStlBase(stl).Write(writer);
  }
  return TalSDK::MSaxPersistExtensibleObjectWriter(*this).Write(writer);
}
